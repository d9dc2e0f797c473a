// quorra code

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <memory>

#include "cli/card_access.hpp"
#include "cli/commands.hpp"
#include "cli/files.hpp"
#include "cli/options.hpp"

namespace quorra::cli {
namespace {

constexpr Operation changing{"changing the code"};
constexpr Operation reading_back{"reading back the new code"};

struct CodeOptions {
  std::optional<std::string> present;
  std::vector<std::string> hex;
  bool yes = false;

  std::string all_hex() const { return fmt::format("{}", fmt::join(hex, " ")); }
};

void run_present(const Settings& settings, const CodeOptions& options) {
  const Bytes code = parse_code(*settings.card, "HEX", options.all_hex());
  {
    const Connection connection(settings);
    present_code(connection, *settings.card, code, options.yes);
  }
  print("The code is right.\n");
}

void run_change(const Settings& settings, const CodeOptions& options) {
  const Card& card = *settings.card;
  const SecurityCode& functions = code_of(card);
  const Bytes old_code = *parse_present_code(card, options.present);
  const Bytes new_code = parse_code(card, "NEW", options.all_hex());
  {
    const Connection connection(settings);
    present_code(connection, card, old_code, options.yes);
    connection.run(changing, functions.change, functions.size, new_code.data());
    Bytes held(new_code.size());
    connection.run(reading_back, functions.read, functions.size, held.data());
    if (held != new_code) {
      throw Failure(fmt::format("{}: the card holds another code", reading_back.doing));
    }
  }
  print("The code is changed.\n");
}

void run_counter(const Settings& settings) {
  code_of(*settings.card);
  int attempts = 0;
  {
    const Connection connection(settings);
    attempts = attempts_left(connection, *settings.card);
  }
  print(describe_attempts(attempts) + ".\n");
}

}  // namespace

void add_code(CLI::App& program, const Settings& settings) {
  CLI::App* command = program.add_subcommand("code", "Present or change the card's code");
  want_subcommand(*command);
  const auto options = std::make_shared<CodeOptions>();

  CLI::App* present = command->add_subcommand("present", "Find out whether a code is the card's");
  present->add_option("HEX", options->hex, "The code")->required()->type_name("");
  add_yes(*present, options->yes);
  add_examples(*present, {"quorra code present --config reader.conf FFFFFF"});
  present->callback([&settings, options] { run_present(settings, *options); });

  CLI::App* change = command->add_subcommand("change", "Give the card another code");
  add_present_code(*change, options->present)->required();
  change->add_option("NEW", options->hex, "The new code")->required()->type_name("");
  add_yes(*change, options->yes);
  add_examples(*change, {"quorra code change --config reader.conf --code FFFFFF 12 34 56"});
  change->callback([&settings, options] { run_change(settings, *options); });

  CLI::App* counter =
      command->add_subcommand("counter", "Tell how many attempts at the code are left");
  add_examples(*counter, {"quorra code counter --config reader.conf"});
  counter->callback([&settings] { run_counter(settings); });
  add_examples(*command, {"quorra code counter --config reader.conf"});
}

}  // namespace quorra::cli
