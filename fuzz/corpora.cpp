// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// Makes the inputs that the harnesses begin with, from exchanges of the library with the virtual
// reader, from the images of new cards and of those that were used, and from the user's guide.
//
//   fuzz_corpora FOLDER GUIDE

#include <quorra.h>

#include <array>
#include <chrono>
#include <cstdio>
#include <deque>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>
#include <string>
#include <string_view>
#include <vector>

#include "fuzz/support/adversary.hpp"
#include "fuzz/support/functions.hpp"
#include "fuzz/support/simulator_line.hpp"
#include "simulator/cards/image.hpp"
#include "simulator/line/faults.hpp"
#include "toolkit/wire/pcapng.hpp"

using namespace quorra::fuzzing;
namespace simulator = quorra::simulator;
namespace wire = quorra::toolkit::wire;

namespace {

using Content = std::vector<unsigned char>;

std::filesystem::path folder;

void keep(std::string_view harness, const std::string& name, Bytes content) {
  std::filesystem::create_directories(folder / harness);
  std::ofstream file(folder / harness / name, std::ios::binary);
  file.write(static_cast<const char*>(static_cast<const void*>(content.data())),
             static_cast<std::streamsize>(content.size()));
}

void keep(std::string_view harness, const std::string& name, std::string_view text) {
  keep(harness, name, Content(text.begin(), text.end()));
}

void append(Content& content, Bytes bytes) {
  content.insert(content.end(), bytes.begin(), bytes.end());
}

// The virtual reader at the other end of the library's line.
class VirtualPeer final : public Peer {
 public:
  ssize_t read(unsigned char& byte) override {
    if (waiting_.empty()) return 0;
    byte = waiting_.front();
    waiting_.pop_front();
    return 1;
  }
  ssize_t write(Bytes bytes) override {
    for (const unsigned char byte : bytes) {
      const auto reply = line.take(byte);
      if (reply.empty()) continue;
      requests.emplace_back(line.parser.frame().begin(), line.parser.frame().end());
      replies.emplace_back(reply.begin(), reply.end());
      waiting_.insert(waiting_.end(), reply.begin(), reply.end());
    }
    return static_cast<ssize_t>(bytes.size());
  }

  SimulatorLine line;
  std::vector<Content> requests;
  std::vector<Content> replies;

 private:
  std::deque<unsigned char> waiting_;
};

// The replies, as an adversary is told to give them.
Content as_answers(const std::vector<Content>& replies) {
  Content content;
  for (const Content& reply : replies) {
    const Bytes data = Bytes(reply).subspan(4, reply[3]);
    if (reply[1] == 0) {
      append(content, std::array{static_cast<unsigned char>(Answer::bytes), reply[3]});
      append(content, data);
    } else {
      append(content, std::array<unsigned char, 4>{static_cast<unsigned char>(Answer::status),
                                                   reply[1], reply[3], 0});
    }
  }
  return content;
}

// A recording of these exchanges.
Content as_recording(const std::vector<Content>& requests, const std::vector<Content>& replies) {
  Content content = wire::recording_head("corpora", "line");
  for (std::size_t i = 0; i < replies.size(); ++i) {
    const std::chrono::milliseconds time(i);
    append(content, wire::recorded(wire::Direction::request, time, requests[i]));
    append(content, wire::recorded(wire::Direction::reply, time, replies[i]));
  }
  return content;
}

// The steps that make a card of that kind see these requests.
Content as_steps(std::size_t kind, const std::vector<Content>& requests) {
  constexpr unsigned char raw = 2;
  constexpr unsigned char insert = 3;
  Content content{insert, static_cast<unsigned char>(kind)};
  for (const Content& request : requests) {
    if (request.size() > 255) continue;
    append(content, std::array{raw, static_cast<unsigned char>(request.size())});
    append(content, request);
  }
  return content;
}

void reset_line(VirtualPeer& peer) {
  Line::instance().reset(peer);
  Input nothing{{}};
  set_globals(nothing);
}

// Calls a function with arguments by chance until some calls have reached the reader.
void keep_exchanges(VirtualPeer& peer, std::size_t kind, std::size_t number) {
  constexpr int trials = 60;
  constexpr int wanted = 3;
  const Function& function = functions()[number];
  std::minstd_rand random(static_cast<unsigned>(number + 1));
  int kept = 0;
  for (int trial = 0; trial < trials && kept < wanted; ++trial) {
    Content arguments(40);
    // A handle and numbers that are small, mostly.
    for (unsigned char& byte : arguments)
      byte = static_cast<unsigned char>(random() % (trial % 2 == 0 ? 8 : 200));
    arguments[0] = 0;
    Input input(arguments);
    reset_line(peer);
    peer.requests.clear();
    peer.replies.clear();
    function.run(function, input, Line::instance());
    if (peer.replies.empty()) continue;
    ++kept;
    const std::string name = std::string(function.name) + "-" + std::to_string(kept);
    Content content{0, 0, 0, static_cast<unsigned char>(number)};
    append(content, Bytes(arguments).first(input.taken()));
    append(content, as_answers(peer.replies));
    keep("interface", name, content);
    keep("reader_frames", name, as_steps(kind, peer.requests));
    keep("recording", name, as_recording(peer.requests, peer.replies));
  }
}

void keep_cards() {
  const auto kinds = simulator::kinds();
  constexpr std::size_t longest_text = 4096;
  for (std::size_t kind = 0; kind < kinds.size(); ++kind) {
    const std::string name(kinds[kind].name);
    VirtualPeer peer;
    peer.line.insert_sam(0);
    peer.line.insert(kinds[kind]);
    for (std::size_t number = 0; number < functions().size(); ++number) {
      const std::string_view function = functions()[number].name;
      const std::size_t end = function.rfind('_');
      const std::string_view card = end == std::string_view::npos ? "" : function.substr(end + 1);
      const bool is_of_a_card = std::ranges::count(kinds, card, &simulator::Kind::name) > 0;
      if (is_of_a_card ? card == name : kind == 0) keep_exchanges(peer, kind, number);
    }
    const std::string fresh = to_text(simulator::Image(kinds[kind]));
    if (fresh.size() > longest_text) continue;
    keep("image_file", name, fresh);
    keep("image_file", name + "-used", to_text(std::as_const(*peer.line.card).image()));
  }
}

// Conversations with the virtual processor card, in the card slot and in that of a SAM.
void keep_conversations() {
  const Content commands[] = {
      {0x00, 0xA4, 0x00, 0x00, 0x02, 0x3F, 0x00},
      {0x00, 0xA4, 0x04, 0x00, 0x01, 0xA0},
      {0x00, 0xB0, 0x00, 0x00, 0x10},
      {0x00, 0xB0, 0x81, 0x00, 0x00},
      {0x00, 0x84, 0x00, 0x00, 0x08},
      {0x00, 0x20, 0x00, 0x01, 0x02, 0x12, 0x34},
      {0x00, 0xB2, 0x01, 0x04, 0x00},
      {0x00, 0x88, 0x00, 0x00, 0x08, 1, 2, 3, 4, 5, 6, 7, 8},
      {0x00, 0xC0, 0x00, 0x00, 0x10},
      {0x80},
  };
  const std::string_view names[] = {"cpu_protocol", "sam_protocol", "cpu_comres",
                                    "sam_comres",   "cpu_reset",    "sam_reset"};
  // How the harness numbers them.
  constexpr unsigned char numbers[] = {0, 1, 6, 7, 8, 9};
  for (std::size_t i = 0; i < std::size(names); ++i) {
    VirtualPeer peer;
    peer.line.insert_sam(0);
    peer.line.insert(simulator::find_kind("cpu"));
    for (std::size_t command = 0; command < std::size(commands); ++command) {
      reset_line(peer);
      unsigned char answer[512] = {};
      int length = 0;
      turn_on(Line::instance().descriptor);
      sam_power_on(Line::instance().descriptor);
      if (i % 2 == 0) cpu_reset(Line::instance().descriptor, answer);
      if (i % 2 == 1) sam_reset(Line::instance().descriptor, &length, answer);
      peer.requests.clear();
      peer.replies.clear();
      Content bytes = commands[command];
      if (i < 2) {
        bytes.insert(bytes.begin(), {0, 0, static_cast<unsigned char>(bytes.size())});
        bytes.push_back(
            static_cast<unsigned char>(cr_bcc(static_cast<int>(bytes.size()), bytes.data())));
      }
      Content arguments{0};
      if (i < 4) {
        append(arguments,
               std::array<unsigned char, 2>{static_cast<unsigned char>(bytes.size()), 0});
        append(arguments, bytes);
      }
      arguments.push_back(0);
      Input input(arguments);
      const Function& function = find_function(names[i]);
      function.run(function, input, Line::instance());
      const std::string name = std::string(names[i]) + "-" + std::to_string(command);
      Content content{0, 0, numbers[i]};
      append(content, arguments);
      append(content, as_answers(peer.replies));
      keep("conversation", name, content);
      constexpr std::size_t cpu_kind = 22;
      keep("reader_frames", name, as_steps(cpu_kind, peer.requests));
    }
  }
}

void keep_control_commands(const char* guide) {
  std::ifstream file(guide);
  const std::string text{std::istreambuf_iterator<char>(file), {}};
  int count = 0;
  constexpr std::string_view begin = "{\"command\"";
  for (std::size_t at = text.find(begin); at != std::string::npos; at = text.find(begin, at + 1)) {
    const std::size_t end = text.find('}', at);
    keep("control_socket", "guide-" + std::to_string(++count),
         text.substr(at, end - at + 1) + "\n" + std::string("\0\1", 2));
  }
  if (count == 0) std::fprintf(stderr, "%s: no control command\n", guide);
  for (const simulator::Kind& kind : simulator::kinds()) {
    const std::string name(kind.name);
    keep("control_socket", "card-" + name,
         R"({"command":"trace","on":true})"
         "\n"
         R"({"command":"insert","file":")" +
             name + "\"}\n" + std::string("\0\2", 2) +
             "{\"command\":\"state\"}\n{\"command\":\"remove\"}\n");
  }
  for (const simulator::FaultRule& rule : simulator::fault_rules()) {
    const std::string name(rule.name);
    const std::string parameter =
        rule.parameter.empty() ? "" : ",\"" + std::string(rule.parameter) + "\":1";
    keep("control_socket", "fault-" + name,
         R"({"command":"fault","kind":")" + name + "\"" + parameter +
             ",\"on\":\"0xB9\",\"times\":2}\n{\"command\":\"state\"}\n" + std::string("\0\1", 2) +
             "{\"command\":\"clear_faults\"}\n");
  }
}

void keep_small_ones() {
  const std::string_view files[] = {
      "# A comment\nP=/dev/ttyS0\n",
      "P = /dev/pts/17\n",
      "S=\\033[?38h\nI=\\033[5i\nW=\\033[5i\nA=\\033[4i\nC=\\033[?38l\n",
      "E=\\033[2l\nD=\\033[2h\nW=\\033[/5h\\033[3i\r\nA=\\033[4i\nP=/dev/ttyUSB0\n",
  };
  for (std::size_t i = 0; i < std::size(files); ++i)
    keep("configuration_file", "file-" + std::to_string(i),
         std::string("\0\0\100", 3) + std::string(files[i]));
  for (std::size_t length = 0; length < 40; length += 5) {
    Content content{static_cast<unsigned char>(length % 9), 1, 35, 69, 103, 137, 171, 205, 239};
    content.resize(content.size() + length, 'x');
    keep("des", "text-" + std::to_string(length), content);
  }
  const std::string_view data_files[] = {
      ":10010000214601360121470136007EFE09D2190140\n:020000040001F9\n:00000001FF\n",
      ":020000021200EA\n:0300300002337A1E\n:0400000500000000F7\n:00000001FF\n",
      "S0030000FC\nS104FFFFAA53\nS5030001FB\nS9030000FC\n",
      "S20507FFFFAA4B\nS604000001FA\nS804000000FB\n",
      "S3060008400FAAF8\nS70500000000FA\n",
      R"({"schema_version": 1, "segments": [{"address": 32, "hex": "DEAD"}]})",
  };
  for (std::size_t i = 0; i < std::size(data_files); ++i) {
    keep("data_file", "file-" + std::to_string(i), data_files[i]);
  }
  const std::string waves =
      "$timescale 1 us $end\n$scope module card $end\n$var wire 1 ! VCC $end\n"
      "$var wire 1 \" RST $end\n$var wire 1 # CLK $end\n$var wire 1 $ IO $end\n"
      "$var wire 1 % C4 $end\n$upscope $end\n$enddefinitions $end\n"
      "#0\n$dumpvars\n1!\n0\"\n0#\n1$\n0%\n$end\n";
  // An answer to reset, and the begin of what a two-wire card is told.
  keep("waves", "reset", waves + "#4 1\"\n#8 1#\n#12 0#\n#16 0\"\n#20 1#\n#24 0#\n#28 1#\n");
  keep("waves", "start",
       waves + "#4 1#\n#8 0$\n#12 0#\n#16 1$\n#20 1#\n#24 0#\n#28 b0 $\n#32 z$\n");
  // A reset or a command, calls that go well, and an answer of two bytes.
  for (std::size_t calls = 0; calls < 16; ++calls) {
    Content content{static_cast<unsigned char>(calls % 2 == 0 ? 0x10 : 0x45)};
    content.resize(content.size() + calls);
    append(content, std::array<unsigned char, 6>{0, 2, 0, 0, 0x90, 0});
    keep("live_card", "answer-" + std::to_string(calls), content);
  }
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 3) {
    std::fprintf(stderr, "usage: fuzz_corpora FOLDER GUIDE\n");
    return 2;
  }
  folder = argv[1];
  keep_cards();
  keep_conversations();
  keep_control_commands(argv[2]);
  keep_small_ones();
  return 0;
}
