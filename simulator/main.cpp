#include <fmt/format.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <functional>
#include <nlohmann/json.hpp>
#include <optional>
#include <span>
#include <sstream>
#include <string>
#include <string_view>
#include <vector>

#include "simulator/cards/image.hpp"
#include "simulator/cards/kinds.hpp"
#include "simulator/configuration_file.hpp"
#include "simulator/files.hpp"
#include "simulator/line/auxiliary_port.hpp"
#include "simulator/line/serial_terminal.hpp"
#include "simulator/stop_signals.hpp"
#include "simulator/text.hpp"
#include "simulator/unix_socket.hpp"
#include "simulator/virtual_reader.hpp"

namespace quorra::simulator {
namespace {

constexpr int exit_refused = 1;
constexpr int exit_failure = 2;

void print(std::string_view text) {
  if (std::fwrite(text.data(), 1, text.size(), stdout) != text.size() || std::fflush(stdout) != 0)
    throw Error(fmt::format("standard output: {}", system_error_text()));
}

VirtualReader* reader_to_stop = nullptr;

extern "C" void stop_reader(int /*signal*/) { reader_to_stop->stop(); }

// SIG_BLOCK or SIG_UNBLOCK for the signals that end the program.
void mask_stop_signals(int how) {
  const sigset_t signals = set_of_stop_signals();
  ::pthread_sigmask(how, &signals, nullptr);
}

// As long as it lives, the signals that end the program stop the reader.
class SignalsStop {
 public:
  explicit SignalsStop(VirtualReader& reader) {
    reader_to_stop = &reader;
    for (const int signal : stop_signals)
      if (!is_ignored(signal)) static_cast<void>(std::signal(signal, stop_reader));
    mask_stop_signals(SIG_UNBLOCK);
  }
  SignalsStop(const SignalsStop&) = delete;
  SignalsStop& operator=(const SignalsStop&) = delete;
  ~SignalsStop() { mask_stop_signals(SIG_BLOCK); }
};

int run(const Options& options) {
  // While the reader comes and goes, a signal would leave its files behind.
  mask_stop_signals(SIG_BLOCK);
  // When nobody reads standard output any more, that is an error like others.
  static_cast<void>(std::signal(SIGPIPE, SIG_IGN));
  VirtualReader reader(options);
  print(fmt::format("{}\ncontrol socket: {}\n", reader.configuration().string(),
                    reader.socket().string()));
  const SignalsStop signals_stop(reader);
  reader.run();
  return 0;
}

// Runs a program on a serial terminal with the reader at its auxiliary port.
int run_on_terminal(Options options, std::vector<std::string> command) {
  if (command.empty()) throw Error("--terminal needs a program: quorra-sim --terminal -- PROGRAM");
  // The terminal takes them as they come, whichever thread they are meant for.
  sigset_t signals = set_of_stop_signals();
  sigaddset(&signals, SIGCHLD);
  ::pthread_sigmask(SIG_BLOCK, &signals, nullptr);
  static_cast<void>(std::signal(SIGPIPE, SIG_IGN));

  const TemporaryFolder folder;
  ConfigurationFile configuration(options.configuration.empty() ? folder.path() / "terminal.conf"
                                                                : options.configuration);
  configuration.write(auxiliary_port_lines());
  if (::setenv("QUORRA_CONFIG", configuration.path().c_str(), 1) != 0)
    throw Error(fmt::format("environment: {}", system_error_text()));
  options.configuration.clear();
  RunningReader reader(options);
  SerialTerminal terminal(std::move(command), reader->state().device);
  return terminal.run();
}

// Reads N=FILE.
void add_sam(Options& options, const std::string& text) {
  const std::size_t sign = text.find('=');
  const auto number = parse_number(std::string_view(text).substr(0, sign));
  if (sign == std::string::npos || !number || sign + 1 == text.size())
    throw Error(fmt::format("sam must be SLOT=FILE: {}", text));
  if (!options.sams.emplace(*number, text.substr(sign + 1)).second)
    throw Error(fmt::format("there are two SAMs for slot {}", *number));
}

// The content that the options of "new" give to a card.
struct NewCard {
  std::string kind;
  std::string file;
  bool overwrite = false;
  std::optional<std::string> code;
  std::optional<std::string> answer_to_reset;
  std::optional<std::string> key;
  std::optional<std::string> counter;
  std::optional<std::string> memory;
  std::vector<std::string> data;
  std::vector<std::string> protect;
};

const Field& field_of(const Kind& kind, std::string_view name) {
  const auto found = std::ranges::find(kind.fields, name, &Field::name);
  if (found == kind.fields.end()) throw Error(fmt::format("a {} has no {}", kind.name, name));
  return *found;
}

void set_bytes(Image& image, std::string_view name, const std::string& hex) {
  const Field& field = field_of(image.kind(), name);
  const auto bytes = parse_hex(hex);
  if (!bytes || bytes->size() != field.extent)
    throw Error(fmt::format("{} must be {} bytes in hexadecimal: {}", name, field.extent, hex));
  std::ranges::copy(*bytes, image.field(name).begin());
}

void set_answer_to_reset(Image& image, const std::string& hex) {
  const Field& field = field_of(image.kind(), "atr");
  const auto bytes = parse_hex(hex);
  if (!bytes || bytes->empty() || bytes->size() > field.extent)
    throw Error(fmt::format("atr must be 1 to {} bytes in hexadecimal: {}", field.extent, hex));
  image.assign(field.name, *bytes);
}

void set_number(Image& image, std::string_view name, const std::string& text) {
  const Field& field = field_of(image.kind(), name);
  const auto number = parse_number(text);
  if (!number || *number > field.extent)
    throw Error(fmt::format("{} must be 0 to {}: {}", name, field.extent, text));
  image.field(name).front() = static_cast<std::uint8_t>(*number);
}

void set_memory(Image& image, const std::string& file) {
  const Field& field = field_of(image.kind(), "memory");
  const std::string content = read_file(file);
  if (content.size() != field.extent)
    throw Error(fmt::format("{}: {} bytes, but a {} has {}", file, content.size(),
                            image.kind().name, field.extent));
  std::ranges::transform(content, image.field("memory").begin(),
                         [](char byte) { return static_cast<std::uint8_t>(byte); });
}

void set_data(Image& image, const std::string& text) {
  const Field& field = field_of(image.kind(), "memory");
  const std::size_t colon = text.find(':');
  const auto address = parse_number(std::string_view(text).substr(0, colon));
  const auto bytes = colon == std::string::npos
                         ? std::nullopt
                         : parse_hex(std::string_view(text).substr(colon + 1));
  if (!address || !bytes || bytes->empty())
    throw Error(fmt::format("data must be ADDRESS:HEX: {}", text));
  if (*address > field.extent || bytes->size() > field.extent - *address)
    throw Error(fmt::format("data goes beyond the {} bytes of a {}: {}", field.extent,
                            image.kind().name, text));
  std::ranges::copy(*bytes, image.field("memory").subspan(*address).begin());
}

void protect(Image& image, const std::string& text) {
  const Field& field = field_of(image.kind(), "protected");
  const auto range = parse_address_range(text);
  if (!range || range->last >= field.extent)
    throw Error(fmt::format("protect must be ADDRESS or ADDRESS-ADDRESS, up to 0x{:02X}: {}",
                            field.extent - 1, text));
  std::ranges::fill(image.field("protected").subspan(range->first, range->last - range->first + 1),
                    std::uint8_t{1});
}

int make_card(const NewCard& card) {
  Image image(find_kind(card.kind));
  if (card.code) set_bytes(image, "code", *card.code);
  if (card.answer_to_reset) set_answer_to_reset(image, *card.answer_to_reset);
  if (card.key) set_bytes(image, "key", *card.key);
  if (card.counter) set_number(image, "counter", *card.counter);
  if (card.memory) set_memory(image, *card.memory);
  for (const std::string& data : card.data)
    set_data(image, data);
  for (const std::string& range : card.protect)
    protect(image, range);

  std::error_code error;
  const auto status = std::filesystem::symlink_status(card.file, error);
  if (!card.overwrite && std::filesystem::exists(status))
    throw Error(fmt::format("{}: exists already (--force overwrites it)", card.file));
  save_image(image, card.file);
  return 0;
}

int show_card(const std::string& file) {
  const Image image = load_image(file);
  std::string text = fmt::format("kind: {} ({})\n", image.kind().name, image.kind().description);
  for (const Field& field : image.kind().fields) {
    const auto value = image.field(field.name);
    switch (field.form) {
      case FieldForm::memory:
      case FieldForm::raw:
        text += fmt::format("{}: {} bytes\n{}", field.name, value.size(), hex_dump(value, true));
        break;
      case FieldForm::bytes:
      case FieldForm::text_of_bytes:
        text += fmt::format("{}: {}\n", field.name, to_hex(value));
        break;
      case FieldForm::number:
        text += fmt::format("{}: {}\n", field.name, value.front());
        break;
      case FieldForm::addresses:
        text += fmt::format("{}: {}\n", field.name, fmt::join(address_list(value), " "));
        break;
    }
  }
  print(text);
  return 0;
}

int show_kinds() {
  std::string text;
  for (const Kind& kind : kinds())
    text += fmt::format("{:8} {}\n", kind.name, kind.description);
  print(text);
  return 0;
}

// Whether the connection goes on after the answer.
bool is_request_for_trace(const std::string& line) {
  const auto request = nlohmann::json::parse(line, nullptr, false);
  return request.is_object() && request.value("command", nlohmann::json()) == "trace" &&
         request.value("on", nlohmann::json()) == true;
}

// For the answers of a reader; zero: for ever.
void set_patience(const FileDescriptor& connection, std::chrono::seconds patience) {
  const timeval timeout{.tv_sec = patience.count(), .tv_usec = 0};
  if (::setsockopt(connection.get(), SOL_SOCKET, SO_RCVTIMEO, &timeout, sizeof timeout) != 0)
    throw Error(fmt::format("setsockopt: {}", system_error_text()));
}

// Prints what comes until the reader ends.
void print_trace(const FileDescriptor& connection) {
  set_patience(connection, {});
  std::array<char, 4096> buffer{};
  for (;;) {
    const ssize_t count = ::recv(connection.get(), buffer.data(), buffer.size(), 0);
    if (count <= 0) return;
    print({buffer.data(), static_cast<std::size_t>(count)});
  }
}

int control(const std::string& socket, const std::string& line) {
  const FileDescriptor connection = connect_to(socket);
  if (!connection.is_open()) throw Error(fmt::format("{}: {}", socket, system_error_text()));
  std::string unsent = line + '\n';
  while (!unsent.empty()) {
    const ssize_t sent = ::send(connection.get(), unsent.data(), unsent.size(), MSG_NOSIGNAL);
    if (sent < 0) throw Error(fmt::format("{}: {}", socket, system_error_text()));
    unsent.erase(0, static_cast<std::size_t>(sent));
  }
  constexpr std::chrono::seconds patience(10);
  set_patience(connection, patience);
  std::string answer;
  while (!answer.ends_with('\n')) {
    char character = 0;
    const ssize_t count = ::recv(connection.get(), &character, 1, 0);
    if (count < 0 && errno == EINTR) continue;
    if (count == 0) throw Error(fmt::format("{}: no answer", socket));
    if (count < 0)
      throw Error(fmt::format("{}: no answer within {} seconds", socket, patience.count()));
    answer += character;
  }
  print(answer);
  const auto object = nlohmann::json::parse(answer, nullptr, false);
  if (!object.is_object() || !object.value("ok", false)) return exit_refused;
  if (is_request_for_trace(line)) print_trace(connection);
  return 0;
}

int dispatch(int argument_count, const char* const* arguments) {
  // What follows "--" is not for this program if it begins another.
  const std::span all(arguments, static_cast<std::size_t>(argument_count));
  const auto is_text = [](std::string_view text) {
    return [text](const char* argument) { return argument == text; };
  };
  const auto separator = std::ranges::find_if(all, is_text("--"));
  const bool has_program =
      separator != all.end() && std::any_of(all.begin(), separator, is_text("--terminal"));
  const std::vector<const char*> own_arguments(all.begin(), has_program ? separator : all.end());
  const std::vector<std::string> command(has_program ? separator + 1 : all.end(), all.end());

  CLI::App app{"A virtual smart-card reader on a pseudo-terminal", "quorra-sim"};
  app.set_version_flag("--version", "quorra-sim " QUORRA_VERSION);
  Options options;
  app.add_option(
      "--card", options.card,
      "image file of the card in the slot, or vicc://HOST:PORT to wait there for an emulator");
  std::vector<std::string> sams;
  app.add_option("--sam", sams,
                 "SLOT=FILE, image file of the SAM in slot 0 to 7, any number of times")
      ->allow_extra_args(false);
  app.add_option("--config", options.configuration, "where to write the configuration file");
  app.add_option("--socket", options.socket, "where to put the control socket");
  app.add_option("--speed", options.speed, "bits per second; without it bytes take no time");
  app.add_option("--line-speed", options.line_speed,
                 "1200, 2400, 4800, 9600, 19200 or 38400: the host must have the same; without it "
                 "any speed will do");
  app.add_option("--version-text", options.version_text, "1 to 18 characters")
      ->capture_default_str();
  app.add_option("--serial", options.serial_number, "16 characters")->capture_default_str();
  bool on_terminal = false;
  app.add_flag("--terminal", on_terminal,
               "run the program that is given after --, with its arguments, on a serial terminal "
               "with the reader at its auxiliary port");
  app.require_subcommand(0, 1);
  app.footer(
      "Without a subcommand the reader runs until a signal or \"stop\" ends it. The first "
      "line it prints is the path of the configuration file.");
  std::function<int()> action = [&] {
    for (const std::string& sam : sams)
      add_sam(options, sam);
    return on_terminal ? run_on_terminal(options, command) : run(options);
  };

  NewCard card;
  auto* const new_command = app.add_subcommand("new", "make the image file of a new card");
  new_command->add_option("kind", card.kind, "kind of card, see \"kinds\"")->required();
  new_command->add_option("file", card.file, "image file")->required();
  new_command->add_flag("--force", card.overwrite, "overwrite an existing file");
  new_command->add_option("--code", card.code, "security code, HEX");
  new_command->add_option("--counter", card.counter, "error counter");
  new_command->add_option("--atr", card.answer_to_reset,
                          "answer to reset of a processor card, HEX");
  new_command->add_option("--key", card.key, "internal key of a processor card, HEX");
  new_command->add_option("--memory", card.memory, "file with the raw bytes of the whole memory");
  new_command->add_option("--data", card.data, "bytes of memory, ADDRESS:HEX, any number of times")
      ->allow_extra_args(false);
  new_command
      ->add_option("--protect", card.protect,
                   "addresses to protect, ADDRESS[-ADDRESS], any number of times")
      ->allow_extra_args(false);
  new_command->callback([&] { action = [&card] { return make_card(card); }; });

  std::string file;
  auto* const show_command = app.add_subcommand("show", "print an image file");
  show_command->add_option("file", file, "image file")->required();
  show_command->callback([&] { action = [&file] { return show_card(file); }; });

  auto* const kinds_command = app.add_subcommand("kinds", "list the kinds of cards");
  kinds_command->callback([&] { action = show_kinds; });

  std::string socket;
  std::string line;
  auto* const control_command =
      app.add_subcommand("control", "send a command to a running reader and print the answer");
  control_command->add_option("socket", socket, "control socket")->required();
  control_command->add_option("json", line, "command, a JSON object")->required();
  control_command->callback([&] { action = [&] { return control(socket, line); }; });

  try {
    app.parse(static_cast<int>(own_arguments.size()), own_arguments.data());
  } catch (const CLI::Success& request) {  // help or version
    std::ostringstream text;
    app.exit(request, text);
    print(text.str());
    return 0;
  } catch (const CLI::ParseError& error) {
    throw Error(error.what());
  }
  return action();
}

}  // namespace
}  // namespace quorra::simulator

int main(int argument_count, char** arguments) {
  quorra::simulator::occupy_standard_streams();
  try {
    return quorra::simulator::dispatch(argument_count, arguments);
  } catch (const std::exception& error) {
    quorra::simulator::complain(error.what());
    return quorra::simulator::exit_failure;
  }
}
