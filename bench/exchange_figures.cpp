// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// What an exchange takes beside the bare system calls for its bytes, once by spinning and once by
// sleeping, and beside libmodbus, which reads as many bytes of data by Modbus RTU. Unpaced, the
// reply already waits: that is what the program's side of the line costs. All take turns, each at a
// pseudo-terminal of its own.

#include <quorra.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <string>
#include <thread>
#include <vector>

#include "bench/line.hpp"
#include "bench/modbus.hpp"
#include "bench/report.hpp"

namespace {

using namespace quorra::benchmarks;

constexpr double bits_per_byte = 11;
constexpr int data_size = 20;

[[noreturn]] void give_up(const char* what) {
  std::perror(what);
  std::exit(2);
}

// Reads 20 bytes at address 16 of a 4442 card.
const Bytes request = {0xAA, 0x61, 0x00, 0x07, 0x79, 0x00, 0x00, 0x00, 0x10, 0x00, 0x14, 0xB1};
const Bytes reply = {0x55, 0x00, 0x00, 0x14, 1,  2,  3,  4,  5,  6,  7,  8,   9,
                     10,   11,   12,   13,   14, 15, 16, 17, 18, 19, 20, 0x55};

struct Contestant {
  std::string name;
  const Line& line;
  const Bytes& request;
  const Bytes& reply;
  std::function<void()> exchange;
  std::vector<double> times{};
  std::vector<double> processor_times{};

  double bytes() const { return static_cast<double>(request.size() + reply.size()); }
};

void run(Contestant& contestant) {
  const double start = now();
  const double start_of_processor = processor_time();
  contestant.exchange();
  contestant.processor_times.push_back(processor_time() - start_of_processor);
  contestant.times.push_back(now() - start);
}

void run_unpaced(std::vector<Contestant>& contestants, int rounds) {
  for (int round = 0; round < rounds; ++round) {
    for (Contestant& contestant : contestants) {
      contestant.line.send(contestant.reply);
      run(contestant);
      contestant.line.take(contestant.request);
    }
  }
}

void run_paced(std::vector<Contestant>& contestants, int rounds, unsigned speed) {
  std::thread reader;
  {
    const Precedence precedence;
    reader = std::thread([&] {
      for (int round = 0; round < rounds; ++round) {
        for (const Contestant& contestant : contestants)
          contestant.line.answer_paced(contestant.request, contestant.reply, bits_per_byte / speed);
      }
    });
  }
  for (int round = 0; round < rounds; ++round) {
    for (Contestant& contestant : contestants)
      run(contestant);
  }
  reader.join();
}

// Prints what they took, and forgets it. Speed 0: unpaced.
void report(std::vector<Contestant>& contestants, unsigned speed) {
  for (Contestant& contestant : contestants) {
    const std::string line = std::to_string(speed);
    print({"exchange", {{"line", line}, {"who", contestant.name}}, "s", contestant.times});
    print({"exchange processor",
           {{"line", line}, {"who", contestant.name}},
           "s",
           contestant.processor_times});
    if (speed != 0) {
      std::vector<double> shares;
      for (const double time : contestant.times)
        shares.push_back(contestant.bytes() * bits_per_byte / speed / time);
      print({"exchange line", {{"line", line}, {"who", contestant.name}}, "", shares});
    }
    contestant.times.clear();
    contestant.processor_times.clear();
  }
}

}  // namespace

int main(int argc, char** argv) {
  const bool quick = wanted(argc, argv).quick;
  const std::array<Line, 4> lines;
  const Modbus modbus(lines[3]);
  std::vector<Contestant> contestants{
      {"quorra", lines[0], request, reply,
       [&] {
         std::array<unsigned char, data_size> data{};
         if (srd_4442(lines[0].program(), 16, data_size, data.data()) != 0 || data.back() != 20)
           give_up("srd_4442");
       }},
      {"spinning calls", lines[1], request, reply,
       [&] { lines[1].exchange_by_bare_calls(request, reply); }},
      {"sleeping calls", lines[2], request, reply,
       [&] { lines[2].exchange_by_sleeping_calls(request, reply); }},
      {"libmodbus", lines[3], registers_request, registers_reply, [&] { modbus.exchange(); }},
  };

  run_unpaced(contestants, quick ? 50 : 3000);
  report(contestants, 0);
  struct Pace {
    unsigned speed;
    int rounds;
  };
  for (const Pace pace : {Pace{9600, 15}, {38400, 50}, {115200, 100}}) {
    run_paced(contestants, quick ? 2 : pace.rounds, pace.speed);
    report(contestants, pace.speed);
  }
}
