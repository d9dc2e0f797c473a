// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// quorra apdu

#include <fmt/core.h>

#include <exception>
#include <memory>
#include <string>
#include <vector>

#include "cli/card_in_reader.hpp"
#include "cli/commands/commands.hpp"
#include "cli/files.hpp"
#include "cli/options.hpp"
#include "cli/report.hpp"
#include "cli/terminal/hex_dump.hpp"
#include "toolkit/processor/conversation.hpp"
#include "toolkit/processor/status_words.hpp"
#include "toolkit/text.hpp"

namespace quorra::cli {
namespace {

constexpr std::size_t shortest_apdu = 4;
// Some editors begin a text in UTF-8 with it.
constexpr std::string_view byte_order_mark = "\xEF\xBB\xBF";
constexpr std::size_t largest_script = std::size_t{1024} * 1024;

struct ApduOptions {
  SamNumber sam;
  std::optional<std::string> script;
  std::vector<std::string> apdus;
  bool keeps_going = false;
  bool no_reset = false;
};

// Reads one APDU from a place of this name.
Bytes parse_apdu(std::string_view name, std::string_view text) {
  Bytes apdu = parse_hex(name, text);
  const std::string size = counted(static_cast<int>(apdu.size()), "byte");
  if (apdu.size() < shortest_apdu) {
    throw UsageError(
        fmt::format("{}: '{}' has {}; an APDU has at least {}, and is one word or stands in quotes",
                    name, text, size, shortest_apdu));
  }
  if (apdu.size() > longest_apdu) {
    throw UsageError(
        fmt::format("{}: the APDU has {}; an APDU has {} at most", name, size, longest_apdu));
  }
  return apdu;
}

// A script has one APDU a line; what follows '#' is a comment.
std::vector<Bytes> parse_script(const std::string& file) {
  const Bytes content = read_file(file, largest_script + 1);
  if (content.size() > largest_script) {
    throw UsageError(fmt::format("--script: {} holds more than {} bytes", file, largest_script));
  }
  std::string_view rest(reinterpret_cast<const char*>(content.data()), content.size());
  if (rest.starts_with(byte_order_mark)) rest.remove_prefix(byte_order_mark.size());
  std::vector<Bytes> apdus;
  for (int line_number = 1; !rest.empty(); ++line_number) {
    std::string_view line = rest.substr(0, rest.find('\n'));
    rest.remove_prefix(std::min(line.size() + 1, rest.size()));
    line = line.substr(0, line.find('#'));
    if (line.find_first_not_of(" \t\r") == std::string_view::npos) continue;
    const std::string name =
        fmt::format("{}:{}", file == standard_stream ? "standard input" : file, line_number);
    apdus.push_back(parse_apdu(name, line));
  }
  if (apdus.empty()) throw UsageError(fmt::format("--script: {} has no APDU", file));
  return apdus;
}

std::vector<Bytes> parse_apdus(const ApduOptions& options) {
  if (options.script && !options.apdus.empty()) {
    throw UsageError("give APDUs or --script, not both");
  }
  if (options.script) return parse_script(*options.script);
  if (options.apdus.empty()) throw UsageError("nothing to send: give an APDU or --script");
  std::vector<Bytes> apdus;
  for (const std::string& text : options.apdus) {
    apdus.push_back(parse_apdu("APDU", text));
  }
  return apdus;
}

// Only blocks can be chained.
void check_lengths(const Conversation& conversation, const std::vector<Bytes>& apdus) {
  for (const Bytes& apdu : apdus) {
    if (apdu.size() <= conversation.longest_apdu()) continue;
    throw UsageError(
        fmt::format("an APDU has {}; a frame to the reader carries {} at most, and "
                    "the card does not speak T=1",
                    counted(static_cast<int>(apdu.size()), "byte"), conversation.longest_apdu()));
  }
}

// What was said.
struct Transcript {
  std::string text;
  Json exchanges = Json::array();

  void add(const Bytes& apdu) {
    text += fmt::format("> {}\n", hex_text(apdu));
    exchanges.push_back({{"command", plain_hex(apdu)}});
  }
  void add(const CardAnswer& answer, const std::string& words) {
    if (!answer.data.empty()) text += hex_or_dump(answer.data);
    text += words + '\n';
    exchanges.back()["data"] = plain_hex(answer.data);
    exchanges.back()["status_words"] = fmt::format("{:04X}", answer.status_words);
  }
};

// Sends the APDUs and puts down what was said, up to a failure.
void converse(const Connection& connection, const ApduOptions& options,
              const std::vector<Bytes>& apdus, Transcript& transcript) {
  select(connection, options.sam);
  std::optional<Bytes> answer_to_reset;
  if (!options.no_reset) answer_to_reset = reset(connection, options.sam);
  Conversation conversation(connection, options.sam, answer_to_reset);
  check_lengths(conversation, apdus);
  std::size_t sent = 0;
  for (const Bytes& apdu : apdus) {
    transcript.add(apdu);
    const CardAnswer answer = conversation.send(apdu);
    ++sent;
    const std::string words = describe_status_words(answer.status_words);
    transcript.add(answer, words);
    const bool is_last = sent == apdus.size();
    if (answer.status_words == status_words_done || (options.keeps_going && !is_last)) continue;
    std::string error = fmt::format("the card answers {}", words);
    if (!is_last) error += fmt::format("; {} of {} APDUs sent", sent, apdus.size());
    throw Failure(error, {.word = "status_words"});
  }
}

void run_apdu(const Settings& settings, const ApduOptions& options) {
  const std::vector<Bytes> apdus = parse_apdus(options);
  Transcript transcript;
  std::exception_ptr failure;
  {
    const Connection connection(settings, Subject::anything);
    try {
      try {
        converse(connection, options, apdus, transcript);
      } catch (const Failure& error) {
        expect_card_behind(error, connection, options.sam);
        throw;
      }
    } catch (const Failure&) {
      failure = std::current_exception();
    }
  }
  // While the session is open, standard output may be the line to the reader.
  const Json fields{{"exchanges", transcript.exchanges}};
  if (!failure) return tell(settings, transcript.text, fields);
  try {
    std::rethrow_exception(failure);
  } catch (const Failure& error) {
    tell_and_fail(settings, transcript.text, fields, error);
  }
}

}  // namespace

void add_apdu(CLI::App& program, const Settings& settings) {
  const auto options = std::make_shared<ApduOptions>();
  CLI::App* command = program.add_subcommand(
      "apdu",
      "Reset a processor card, send it commands and show its answers. It succeeds if the last "
      "answer ends with 9000");
  command->add_option("APDU", options->apdus, "A command in hex, as one word or in quotes")
      ->type_name("");
  add_file(*command, "--script", options->script,
           "Or: the commands in this file, one a line; # begins a comment ('-': standard input)");
  command->add_flag("--continue", options->keeps_going,
                    "Go on after an answer that does not end with 9000");
  command->add_flag("--no-reset", options->no_reset, "Do not reset the card first");
  add_sam(*command, options->sam);
  add_examples(*command, {"quorra apdu --config reader.conf 00A40000023F00 00B0000010",
                          "quorra apdu --config reader.conf --sam 0 '00 84 00 00 08'",
                          "quorra apdu --virtual card.toml --script commands.txt"});
  command->callback([&settings, options] { run_apdu(settings, *options); });
}

}  // namespace quorra::cli
