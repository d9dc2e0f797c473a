// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#include "simulator/control/control.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <unistd.h>

#include <memory>
#include <nlohmann/json.hpp>

#include "simulator/bench/virtual_reader.hpp"
#include "simulator/control/unix_socket.hpp"
#include "tests/simulator/support.hpp"

namespace quorra::simulator {
namespace {

using nlohmann::json;
using test::Bytes;
using test::RawClient;
using test::reply;
using test::request;
using ::testing::HasSubstr;

const Bytes read_version = request(0xB0, "80 00 00 00 00 00 0A");
const Bytes version = reply(0, "4B 57 53 50 43 2D 56 49 52 54");
const Bytes read_status = request(0xB9, "80 00 00 00 00");

class ControlClient {
 public:
  explicit ControlClient(const std::filesystem::path& path) : connection_(connect_to(path)) {}

  void send(std::string_view text) const {
    while (!text.empty()) {
      const ssize_t sent = ::send(connection_.get(), text.data(), text.size(), MSG_NOSIGNAL);
      if (sent < 0) throw std::runtime_error("send: " + system_error_text());
      text.remove_prefix(static_cast<std::size_t>(sent));
    }
  }
  void end_sending() const { ::shutdown(connection_.get(), SHUT_WR); }
  // The next line without its end; empty when the connection has ended.
  std::string receive_line() {
    std::size_t end = 0;
    while ((end = received_.find('\n')) == std::string::npos) {
      char buffer[4096];
      const ssize_t count = ::recv(connection_.get(), buffer, sizeof(buffer), 0);
      if (count <= 0) return {};
      received_.append(buffer, static_cast<std::size_t>(count));
    }
    std::string line = received_.substr(0, end);
    received_.erase(0, end + 1);
    return line;
  }
  json ask(const std::string& line) {
    send(line + "\n");
    return json::parse(receive_line());
  }
  // The text of the error that the line brings.
  std::string error_of(const std::string& line) {
    const json answer = ask(line);
    EXPECT_EQ(answer.at("ok"), false) << line;
    return answer.at("error");
  }

 private:
  FileDescriptor connection_;
  std::string received_;
};

class ControlSocket : public ::testing::Test {
 protected:
  TemporaryFolder folder;
  std::filesystem::path file = test::new_card(folder, "4442");
  RunningReader reader;
  RawClient host{reader->configuration()};
  ControlClient client{reader->socket()};
  const json ok = {{"ok", true}};
};

TEST_F(ControlSocket, inserts_and_removes_a_card) {
  EXPECT_EQ(client.ask(json{{"command", "insert"}, {"file", file.string()}}.dump()), ok);
  EXPECT_EQ(host.exchange(read_status), reply(0, "01"));
  EXPECT_EQ(client.ask(R"({"command":"remove"})"), ok);
  EXPECT_EQ(host.exchange(read_status), reply(0, "00"));
}

TEST_F(ControlSocket, says_why_a_card_cannot_be_inserted_or_removed) {
  EXPECT_EQ(client.error_of(R"({"command":"remove"})"), "no card is in the slot");
  EXPECT_EQ(client.error_of(R"({"command":"insert","file":"/nowhere/card"})"),
            "/nowhere/card: cannot open: No such file or directory");
  EXPECT_EQ(client.error_of(R"({"command":"insert"})"), "\"file\" is missing");
  EXPECT_EQ(client.error_of(R"({"command":"insert","file":5})"), "\"file\" must be a string");
  EXPECT_EQ(client.error_of(R"({"command":"insert","file":""})"), "the name of the file is empty");
  EXPECT_EQ(client.error_of(R"({"command":"waves","file":""})"), "the name of the file is empty");
  EXPECT_EQ(client.error_of(R"({"command":"insert","file":"a\u0000b"})"),
            "\"file\" has a character that is not allowed");
  const std::string insert = json{{"command", "insert"}, {"file", file.string()}}.dump();
  EXPECT_EQ(client.ask(insert), ok);
  EXPECT_EQ(client.error_of(insert), "a card is already in the slot");
}

TEST_F(ControlSocket, arms_and_clears_faults) {
  EXPECT_EQ(client.ask(R"({"command":"fault","kind":"status","status":6,"on":"0xB0","times":2})"),
            ok);
  EXPECT_EQ(host.exchange(read_status), reply(0, "00"));
  EXPECT_EQ(host.exchange(read_version), reply(6));
  EXPECT_EQ(client.ask(R"({"command":"clear_faults"})"), ok);
  EXPECT_EQ(host.exchange(read_version), version);
}

TEST_F(ControlSocket, arms_faults_that_come_again) {
  EXPECT_EQ(client.ask(R"({"command":"fault","kind":"status","status":6,"every":2})"), ok);
  for (int i = 0; i < 3; ++i) {
    EXPECT_EQ(host.exchange(read_version), version);
    EXPECT_EQ(host.exchange(read_version), reply(6));
  }
}

TEST_F(ControlSocket, arms_faults_by_chance) {
  const json order = json::parse(
      R"({"command":"fault","kind":"random","seed":7,"silence":0,"status":1,"bit_error":0.0})");
  EXPECT_EQ(client.ask(order.dump()), (json{{"ok", true}, {"seed", 7}}));
  EXPECT_EQ(host.exchange(read_version), reply(5));
  const json state = client.ask(R"({"command":"state"})");
  EXPECT_EQ(state.at("faults"), json::parse(R"([{"kind":"random","seed":7,"status":1.0}])"));
  EXPECT_EQ(state.at("injected"), json::parse(R"({"status":1})"));
  EXPECT_EQ(client.ask(R"({"command":"clear_faults"})"),
            json::parse(R"({"ok":true,"seed":7,"injected":{"status":1}})"));
  EXPECT_EQ(host.exchange(read_version), version);
  EXPECT_EQ(client.ask(R"({"command":"state"})").at("injected"), json::object());
  EXPECT_EQ(client.ask(R"({"command":"clear_faults"})"), ok);
}

TEST_F(ControlSocket, chooses_a_seed_and_tells_it) {
  const json answer = client.ask(R"({"command":"fault","kind":"random","bit_error":"0.5"})");
  EXPECT_EQ(answer.at("ok"), true);
  const json state = client.ask(R"({"command":"state"})");
  EXPECT_EQ(state.at("faults").at(0).at("seed"), answer.at("seed"));
  EXPECT_EQ(state.at("faults").at(0).at("bit_error"), 0.5);
}

TEST_F(ControlSocket, takes_a_probability_for_every_kind_of_fault) {
  json order{{"command", "fault"}, {"kind", "random"}, {"seed", 4294967295}, {"on", "0x61"}};
  for (const FaultRule& rule : fault_rules())
    order[std::string(rule.name)] = 0.25;
  EXPECT_EQ(client.ask(order.dump()).at("ok"), true);
  json expected = order;
  expected.erase("command");
  expected["on"] = 0x61;
  EXPECT_EQ(client.ask(R"({"command":"state"})").at("faults").at(0), expected);
}

TEST_F(ControlSocket, refuses_chances_it_does_not_understand) {
  const std::pair<const char*, const char*> cases[] = {
      {R"("silence":1.01)", "\"silence\" must be a probability from 0 to 1"},
      {R"("silence":-0.01)", "\"silence\" must be a probability from 0 to 1"},
      {R"("silence":"often")", "\"silence\" must be a probability from 0 to 1"},
      {R"("silence":"nan")", "\"silence\" must be a probability from 0 to 1"},
      {R"("silence":"0.1 ")", "\"silence\" must be a probability from 0 to 1"},
      {R"("silence":null)", "\"silence\" must be a probability from 0 to 1"},
      {R"("bit_error":2)", "\"bit_error\" must be a probability from 0 to 1"},
      {R"("fire":0.1)", "unknown field \"fire\""},
      {R"("silence":0.1,"times":3)", "random has no \"times\""},
      {R"("silence":0.1,"ms":3)", "random has no \"ms\""},
      {R"("silence":0.1,"seed":-1)", "\"seed\" must be a number from 0 to 4294967295"},
      {R"("silence":0.1,"seed":4294967296)", "\"seed\" must be a number from 0 to 4294967295"},
      {R"("silence":0.1,"on":256)", "\"on\" must be a number from 0 to 255"},
      {R"("seed":7)", "random needs a probability"}};
  for (const auto& [fields, error] : cases)
    EXPECT_THAT(
        client.error_of(std::string(R"({"command":"fault","kind":"random",)") + fields + "}"),
        HasSubstr(error));
  EXPECT_FALSE(reader->state().fault_odds);
}

TEST_F(ControlSocket, keeps_and_restores_the_bench) {
  reader->insert(file);
  EXPECT_EQ(host.exchange(request(0x64, "79 00 00 00 00 FF FF FF")), reply(0));
  EXPECT_EQ(client.ask(R"({"command":"snapshot","name":"a"})"), ok);
  EXPECT_EQ(host.exchange(request(0x60, "79 00 00 00 20 11")), reply(0));
  EXPECT_EQ(client.ask(R"({"command":"remove"})"), ok);
  EXPECT_EQ(client.ask(R"({"command":"restore","name":"a"})"), ok);
  EXPECT_EQ(host.exchange(request(0x61, "79 00 00 00 20 00 01")), reply(0, "FF"));
  EXPECT_EQ(host.exchange(request(0x60, "79 00 00 00 20 11")), reply(0));
  EXPECT_EQ(client.ask(R"({"command":"state"})").at("snapshots"), json::array({"a"}));
}

TEST_F(ControlSocket, says_why_a_snapshot_cannot_be_had) {
  EXPECT_EQ(client.error_of(R"({"command":"restore","name":"a"})"),
            "unknown snapshot \"a\" (known: none)");
  EXPECT_EQ(client.error_of(R"({"command":"restore"})"), "\"name\" is missing");
  EXPECT_EQ(client.error_of(R"({"command":"snapshot"})"), "\"name\" is missing");
  EXPECT_EQ(client.error_of(R"({"command":"snapshot","name":1})"), "\"name\" must be a string");
  EXPECT_EQ(client.error_of(R"({"command":"snapshot","name":""})"),
            "the name of the snapshot is empty");
  EXPECT_EQ(client.error_of(R"({"command":"snapshot","name":"a","file":"b"})"),
            "unknown field \"file\"");
}

TEST_F(ControlSocket, knows_every_kind_of_fault) {
  for (const FaultRule& rule : fault_rules()) {
    json fault{{"command", "fault"}, {"kind", rule.name}};
    if (!rule.parameter.empty()) fault[std::string(rule.parameter)] = rule.largest_parameter;
    EXPECT_EQ(client.ask(fault.dump()), ok) << rule.name;
  }
  EXPECT_EQ(client.ask(R"({"command":"state"})").at("faults").size(), fault_rules().size());
}

TEST_F(ControlSocket, refuses_faults_it_does_not_understand) {
  const std::pair<const char*, const char*> cases[] = {
      {R"({"command":"fault"})", "\"kind\" is missing"},
      {R"({"command":"fault","kind":"fire"})", "unknown kind of fault \"fire\""},
      {R"({"command":"fault","kind":"silence","ms":1})", "silence has no \"ms\""},
      {R"({"command":"fault","kind":"late_first_byte","status":1})",
       "late_first_byte has no \"status\""},
      {R"({"command":"fault","kind":"status","status":256})",
       "\"status\" must be a number from 0 to 255"},
      {R"({"command":"fault","kind":"status","status":-1})",
       "\"status\" must be a number from 0 to 255"},
      {R"({"command":"fault","kind":"pull_card","clock":0})",
       "\"clock\" must be a number from 1 to"},
      {R"({"command":"fault","kind":"silence","clock":1})", "silence has no \"clock\""},
      {R"({"command":"fault","kind":"silence","seed":1})", "unknown field \"seed\""},
      {R"({"command":"fault","kind":"silence","on":1.5})", "\"on\" must be a number from 0 to 255"},
      {R"({"command":"fault","kind":"silence","times":0})", "\"times\" must be a number from 1"},
      {R"({"command":"fault","kind":"silence","every":"x"})", "\"every\" must be a number from 1"},
      {R"({"command":"fault","kind":"silence","times":1,"every":1})",
       R"("times" and "every" exclude each other)"}};
  for (const auto& [line, error] : cases)
    EXPECT_THAT(client.error_of(line), HasSubstr(error));
  EXPECT_TRUE(reader->state().faults.empty());
}

TEST_F(ControlSocket, tells_its_state) {
  json state = client.ask(R"({"command":"state"})");
  EXPECT_EQ(state.at("present"), false);
  EXPECT_EQ(state.at("card"), nullptr);
  EXPECT_EQ(state.at("exchanges"), 0);
  EXPECT_EQ(state.at("faults"), json::array());
  EXPECT_EQ(state.at("configuration"), reader->configuration().string());
  EXPECT_THAT(test::content_of(reader->configuration()),
              HasSubstr("P=" + state.at("device").get<std::string>() + "\n"));

  reader->insert(file);
  client.ask(R"({"command":"fault","kind":"noise","count":3,"on":176,"times":4})");
  host.exchange(request(0x64, "79 00 00 00 00 00 00 00"));
  state = client.ask(R"({"command":"state"})");
  EXPECT_EQ(state.at("present"), true);
  EXPECT_EQ(state.at("exchanges"), 1);
  EXPECT_EQ(state.at("faults"), json::parse(R"([{"kind":"noise","count":3,"on":176,"times":4}])"));
  EXPECT_EQ(state.at("card"), (json{{"kind", "4442"},
                                    {"file", file.string()},
                                    {"powered", true},
                                    {"code", "FF FF FF"},
                                    {"counter", 6},
                                    {"protected", {"0x00-0x03", "0x06-0x07", "0x15-0x1A"}}}));
}

TEST_F(ControlSocket, tells_its_state_with_all_it_can_hold) {
  Options options;
  options.card = "vicc://127.0.0.1:0";
  options.sams[5] = test::new_card(folder, "cpu", "sam");
  options.line_speed = 4800;
  RunningReader full(options);
  ControlClient other(full->socket());
  EXPECT_EQ(other.ask(R"({"command":"fault","kind":"silence","every":3})"), ok);
  const json state = other.ask(R"({"command":"state"})");
  EXPECT_EQ(state.at("card").at("kind"), "live");
  EXPECT_THAT(state.at("card").at("file").get<std::string>(),
              ::testing::MatchesRegex("vicc://127.0.0.1:[1-9][0-9]*"));
  EXPECT_EQ(state.at("card").at("powered"), false);
  EXPECT_EQ(state.at("line_speed"), 4800);
  EXPECT_EQ(state.at("faults"), json::parse(R"([{"kind":"silence","every":3}])"));
  ASSERT_EQ(state.at("sams").size(), 1U);
  EXPECT_EQ(state.at("sams")[0].at("slot"), 5);
  EXPECT_EQ(state.at("sams")[0].at("kind"), "cpu");
  EXPECT_EQ(state.at("sams")[0].at("file"), options.sams[5].string());
  EXPECT_EQ(state.at("sams")[0].at("atr"), "3B 86 01 51 55 4F 52 52 41 8D");
}

TEST_F(ControlSocket, traces_frames_for_those_who_want_them) {
  ControlClient other(reader->socket());
  EXPECT_EQ(other.ask(R"({"command":"trace","on":true})"), ok);
  host.exchange(read_status);
  const json in = json::parse(other.receive_line());
  const json out = json::parse(other.receive_line());
  EXPECT_EQ(in, (json{{"trace", "in"},
                      {"number", 1},
                      {"time", in.at("time")},
                      {"card", nullptr},
                      {"fault", nullptr},
                      {"frame", "AA B9 00 05 80 00 00 00 00 96"}}));
  EXPECT_EQ(out, (json{{"trace", "out"},
                       {"number", 1},
                       {"time", out.at("time")},
                       {"card", nullptr},
                       {"fault", nullptr},
                       {"frame", "55 00 00 01 00 54"}}));
  EXPECT_GT(in.at("time"), 0.0);
  EXPECT_GE(out.at("time"), in.at("time"));
  EXPECT_EQ(other.ask(R"({"command":"trace","on":false})"), ok);
  host.exchange(read_status);
  EXPECT_EQ(other.ask(R"({"command":"state"})").at("exchanges"), 2);
  EXPECT_EQ(other.ask(R"({"command":"trace","on":true})"), ok);
  host.exchange(read_status);
  EXPECT_EQ(json::parse(other.receive_line()).at("number"), 3);
}

TEST_F(ControlSocket, traces_card_and_faults) {
  client.ask(json{{"command", "insert"}, {"file", file.string()}}.dump());
  client.ask(R"({"command":"fault","kind":"noise"})");
  client.ask(R"({"command":"fault","kind":"late_first_byte","ms":60000,"on":"0xB9"})");
  client.ask(R"({"command":"fault","kind":"silence"})");
  ControlClient other(reader->socket());
  EXPECT_EQ(other.ask(R"({"command":"trace","on":true})"), ok);
  host.send(read_status);
  const json in = json::parse(other.receive_line());
  EXPECT_EQ(in.at("card"), "4442");
  EXPECT_EQ(in.at("fault"), "noise, late_first_byte, silence");
  host.exchange(read_status);
  EXPECT_EQ(json::parse(other.receive_line()).at("fault"), nullptr);
  const json out = json::parse(other.receive_line());
  EXPECT_EQ(out.at("fault"), nullptr);
  EXPECT_EQ(out.at("card"), "4442");
  EXPECT_EQ(client.ask(R"({"command":"state"})").at("exchanges"), 2);
}

TEST(Control, stops_the_reader) {
  VirtualReader reader;
  std::thread running([&reader] { reader.run(); });
  ControlClient client(reader.socket());
  EXPECT_EQ(client.ask(R"({"command":"stop"})").at("ok"), true);
  running.join();
}

TEST_F(ControlSocket, answers_garbage_with_an_error) {
  for (const auto* const line :
       {"", "{", "garbage", "[]", "5", "null", R"("state")", R"({"command":"state"} {})",
        "\xff\xfe\x00", "{\"command\":\"\xff\"}"})
    EXPECT_EQ(client.error_of(line), "the line is not a JSON object") << line;
  EXPECT_EQ(client.error_of("{}"), "\"command\" is missing");
  EXPECT_EQ(client.error_of(R"({"command":5})"), "\"command\" must be a string");
  EXPECT_EQ(
      client.error_of(R"({"command":"fly"})"),
      "unknown command \"fly\" (known: insert, remove, fault, clear_faults, snapshot, restore, "
      "trace, waves, state, stop)");
  EXPECT_EQ(client.error_of(R"({"command":"state","colour":1})"), "unknown field \"colour\"");
  EXPECT_EQ(client.error_of(R"({"command":"state","command":"stop"})"),
            "\"command\" is there twice");
  EXPECT_EQ(client.error_of(R"({"command":"trace","on":true,"on":true})"), "\"on\" is there twice");
  EXPECT_EQ(client.error_of(R"({"command":"trace"})"), "\"on\" is missing");
  EXPECT_EQ(client.error_of(R"({"command":"trace","on":1})"), "\"on\" must be true or false");
  EXPECT_EQ(client.ask(R"({"command":"clear_faults"})"), ok);
}

TEST_F(ControlSocket, survives_deep_nesting) {
  EXPECT_EQ(client.error_of(std::string(60000, '[')), "the line is not a JSON object");
  EXPECT_EQ(client.error_of(std::string(30000, '[') + std::string(30000, ']')),
            "the line is not a JSON object");
}

TEST_F(ControlSocket, takes_a_line_in_pieces_and_lines_that_are_glued_together) {
  client.send(R"({"command":)");
  ControlClient other(reader->socket());
  EXPECT_EQ(other.ask(R"({"command":"clear_faults"})"), ok);
  client.send("\"clear_faults\"}\n{\"command\":\"clear_faults\"}\n");
  EXPECT_EQ(json::parse(client.receive_line()), ok);
  EXPECT_EQ(json::parse(client.receive_line()), ok);
}

TEST_F(ControlSocket, takes_a_last_line_without_an_end) {
  client.send(R"({"command":"clear_faults"})");
  client.end_sending();
  EXPECT_EQ(json::parse(client.receive_line()), ok);
  EXPECT_EQ(client.receive_line(), "");
}

TEST_F(ControlSocket, goes_on_with_the_trace_of_a_client_that_has_nothing_more_to_say) {
  ControlClient other(reader->socket());
  other.send(R"({"command":"trace","on":true})");
  other.end_sending();
  EXPECT_EQ(json::parse(other.receive_line()), ok);
  for (int i = 0; i < 2; ++i) {
    host.exchange(read_status);
    EXPECT_THAT(other.receive_line(), HasSubstr("AA B9"));
    EXPECT_THAT(other.receive_line(), HasSubstr("55 00"));
  }
}

TEST_F(ControlSocket, refuses_a_line_that_is_too_long_and_goes_on) {
  client.send(std::string(300'000, 'x'));
  client.send("\n{\"command\":\"clear_faults\"}\n");
  EXPECT_EQ(json::parse(client.receive_line()).at("error"), "the line is too long");
  EXPECT_EQ(json::parse(client.receive_line()), ok);
}

TEST_F(ControlSocket, is_not_held_up_by_a_client_that_does_not_read) {
  ControlClient lazy(reader->socket());
  EXPECT_EQ(lazy.ask(R"({"command":"trace","on":true})"), ok);
  // More than the reader keeps for a client.
  for (int i = 0; i < 12'000; ++i)
    ASSERT_EQ(host.exchange(read_version), version);
  EXPECT_EQ(client.ask(R"({"command":"clear_faults"})"), ok);
  int lines = 0;
  while (!lazy.receive_line().empty())
    ++lines;
  EXPECT_LT(lines, 24'000) << "given up";
}

TEST_F(ControlSocket, is_not_held_up_by_a_client_that_vanishes) {
  for (int i = 0; i < 20; ++i) {
    auto vanishing = std::make_unique<ControlClient>(reader->socket());
    vanishing->send(R"({"command":"trace","on":true})"
                    "\n{\"command\":");
    if (i % 2 == 0) vanishing->receive_line();
    vanishing.reset();
    ASSERT_EQ(host.exchange(read_version), version);
  }
  EXPECT_EQ(client.ask(R"({"command":"clear_faults"})"), ok);
}

TEST_F(ControlSocket, serves_more_clients_than_it_takes_at_a_time) {
  std::vector<std::unique_ptr<ControlClient>> clients;
  for (int i = 0; i < 80; ++i) {
    clients.push_back(std::make_unique<ControlClient>(reader->socket()));
    // The others wait until one of these goes.
    if (i < 63) {
      EXPECT_EQ(clients.back()->ask(R"({"command":"clear_faults"})"), ok);
    }
    if (i >= 63 && clients.size() > 60) clients.erase(clients.begin());
  }
  EXPECT_EQ(clients.back()->ask(R"({"command":"clear_faults"})"), ok);
}

class SocketPath : public ::testing::Test {
 protected:
  std::string complaint() const {
    try {
      Options options;
      options.socket = path;
      const VirtualReader reader(options);
      return {};
    } catch (const Error& error) {
      return error.what();
    }
  }

  TemporaryFolder folder;
  std::filesystem::path path = folder.path() / "socket";
};

TEST_F(SocketPath, is_free_again_afterwards) {
  EXPECT_EQ(complaint(), "");
  EXPECT_FALSE(std::filesystem::exists(path));
}

TEST_F(SocketPath, may_not_be_in_use) {
  Options options;
  options.socket = path;
  const RunningReader first(options);
  EXPECT_EQ(complaint(), path.string() + ": the socket is in use");
  EXPECT_TRUE(connect_to(path).is_open());
}

TEST_F(SocketPath, may_not_be_another_file) {
  test::write_file(path, "precious");
  EXPECT_EQ(complaint(), path.string() + ": there is a file of that name that is no socket");
  EXPECT_EQ(test::content_of(path), "precious");
}

TEST_F(SocketPath, may_not_be_a_socket_of_another_kind) {
  const FileDescriptor datagrams(::socket(AF_UNIX, SOCK_DGRAM, 0));
  ASSERT_EQ(bind_to(datagrams, socket_address(path)), 0);
  EXPECT_THAT(complaint(), HasSubstr("Protocol wrong type for socket"));
  EXPECT_TRUE(std::filesystem::exists(path));
}

TEST_F(SocketPath, may_be_a_socket_that_nobody_listens_at) {
  {
    const FileDescriptor stale(::socket(AF_UNIX, SOCK_STREAM, 0));
    ASSERT_EQ(bind_to(stale, socket_address(path)), 0);
  }
  ASSERT_TRUE(std::filesystem::exists(path));
  EXPECT_EQ(complaint(), "");
}

TEST_F(SocketPath, may_not_be_too_long) {
  path = folder.path() / std::string(200, 'x');
  EXPECT_THAT(complaint(), HasSubstr("the path of a socket must have 1 to 107 characters"));
}

}  // namespace
}  // namespace quorra::simulator
