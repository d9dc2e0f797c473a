// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#include "tests/pcsc/pcscd.hpp"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <csignal>
#include <cstring>
#include <filesystem>

namespace quorra::testing {
namespace {

constexpr char shell[] = "/bin/sh";
// The one that Debian packages belong to.
constexpr char debian_python[] = "/usr/bin/python3";
constexpr char client_program[] = QUORRA_PCSC_CLIENT;
constexpr char simulator_program[] = QUORRA_SIM_PROGRAM;

std::vector<std::string> operator+(std::vector<std::string> left,
                                   const std::vector<std::string>& right) {
  left.insert(left.end(), right.begin(), right.end());
  return left;
}

// A program is looked for as the shell does it.
std::vector<std::string> by_path(const std::vector<std::string>& command) {
  return std::vector<std::string>{"/usr/bin/env"} + command;
}

int listening_socket(const std::string& path) {
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  EXPECT_LT(path.size(), sizeof address.sun_path);
  path.copy(address.sun_path, sizeof address.sun_path - 1);
  const int listening = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
  EXPECT_EQ(bind(listening, reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
  EXPECT_EQ(listen(listening, 16), 0);
  return listening;
}

}  // namespace

std::string missing_for_pcscd() {
  struct Need {
    const char* check;
    const char* package;
  };
  constexpr Need needs[] = {
      {"PATH=$PATH:/usr/sbin; command -v pcscd", "pcscd"},
      {"command -v opensc-tool", "opensc"},
      {"command -v scriptor && command -v pcsc_scan", "pcsc-tools"},
      {"/usr/bin/python3 -c 'import smartcard'", "python3-pyscard"},
  };
  for (const Need& need : needs) {
    if (run({shell, "-c", need.check}).status != 0) return need.package;
  }
  return {};
}

VirtualReader::VirtualReader(const TemporaryDirectory& folder, const std::string& name,
                             const std::vector<std::string>& options)
    : configuration_(folder / (name + ".conf")),
      socket_(folder / (name + ".socket")) {
  command_ =
      std::vector<std::string>{simulator_program, "--config", configuration_, "--socket", socket_} +
      options;
  start();
}

void VirtualReader::start() {
  process_ = std::make_unique<Process>(command_);
  EXPECT_EQ(process_->read_line(), configuration_);
}

void VirtualReader::stop() {
  process_->signal(SIGTERM);
  EXPECT_EQ(process_->wait().status, 0);
}

void VirtualReader::freeze() const { process_->freeze(); }
void VirtualReader::go_on() const { process_->signal(SIGCONT); }

std::string VirtualReader::control(const std::string& command) const {
  const Outcome outcome = run({simulator_program, "control", socket_, command});
  EXPECT_EQ(outcome.status, 0) << outcome.errors;
  return outcome.output;
}

void VirtualReader::insert(const std::string& image) const {
  control(R"({"command":"insert","file":")" + image + R"("})");
}

std::string make_card(const TemporaryDirectory& folder, const std::string& name,
                      const std::vector<std::string>& options) {
  const std::string file = folder / name;
  const Outcome made =
      run(std::vector<std::string>{simulator_program, "new", options.front(), file} +
          std::vector<std::string>(options.begin() + 1, options.end()));
  EXPECT_EQ(made.status, 0) << made.errors;
  return file;
}

Pcscd::Pcscd(const TemporaryDirectory& folder, const std::map<std::string, std::string>& readers)
    : socket_(folder / "pcscd.comm") {
  const std::string configuration = folder / "readers";
  std::filesystem::create_directory(configuration);
  std::string text;
  for (const auto& [name, device] : readers) {
    text += "FRIENDLYNAME \"" + name + "\"\nDEVICENAME " + device +
            "\nLIBPATH " QUORRA_DRIVER "\nCHANNELID 0\n";
  }
  write_file(configuration + "/quorra", text);
  // It takes the socket over from whoever starts it.
  const int listening = listening_socket(socket_);
  Surroundings surroundings;
  surroundings.streams[3] = listening;
  process_ = std::make_unique<Process>(
      std::vector<std::string>{shell, "-c",
                               "PATH=$PATH:/usr/sbin LISTEN_FDS=1 LISTEN_PID=$$ "
                               "exec pcscd --foreground --config \"$0\" >/dev/null 2>&1",
                               configuration},
      surroundings);
  close(listening);
}

Outcome Pcscd::run(const std::vector<std::string>& command) const { return start(command)->wait(); }

std::unique_ptr<Process> Pcscd::start(const std::vector<std::string>& command) const {
  Surroundings surroundings;
  surroundings.environment["PCSCLITE_CSOCK_NAME"] = socket_;
  return std::make_unique<Process>(by_path(command), surroundings);
}

std::unique_ptr<Process> Pcscd::start_client(const std::vector<std::string>& arguments) const {
  return start(std::vector<std::string>{debian_python, client_program} + arguments);
}

std::string Pcscd::client(const std::vector<std::string>& arguments) const {
  const Outcome outcome = start_client(arguments)->wait();
  return outcome.output + outcome.errors;
}

void Pcscd::wait_for(const std::string& reader, bool card) const {
  const auto watching = start_client({"watch", reader, "1000"});
  while ((watching->read_line() != "absent") != card) {
  }
}

}  // namespace quorra::testing
