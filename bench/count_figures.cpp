// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// How long reading takes by how much is read, up to a whole 45D041, unpaced: from the virtual
// reader, from a reader that does no work, and by the bare system calls for the same frames.

#include <poll.h>
#include <quorra.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <thread>
#include <vector>

#include "bench/line.hpp"
#include "bench/report.hpp"
#include "bench/virtual_bench.hpp"

namespace {

using namespace quorra::benchmarks;

constexpr int page_size = 264;
constexpr int largest_chunk = 144;
constexpr int whole = 2048 * page_size;

[[noreturn]] void give_up(const char* what) {
  std::perror(what);
  std::exit(2);
}

// A frame of the exchange that reads so many bytes; its check byte makes the XOR of all bytes zero.
Bytes closed(Bytes frame) {
  unsigned char check = 0;
  for (const unsigned char byte : frame)
    check ^= byte;
  frame.push_back(check);
  return frame;
}

Bytes reply_with(int count) {
  Bytes frame = {0x55, 0x00, 0x00, static_cast<unsigned char>(count)};
  frame.resize(frame.size() + static_cast<std::size_t>(count), 0xA5);
  return closed(std::move(frame));
}

struct Exchange {
  Bytes request;
  Bytes reply;
};

// A card that is ready says so four times, then comes page after page in frames of up to 144 bytes.
std::vector<Exchange> exchanges_of(int count) {
  std::vector<Exchange> exchanges(
      4, {closed({0xAA, 0x77, 0x00, 0x05, 0x6E, 0, 0, 0, 0}), closed({0x55, 0, 0, 1, 0xAC})});
  for (int done = 0; done < count;) {
    const int page = done / page_size;
    const int offset = done % page_size;
    const int size = std::min({count - done, page_size - offset, largest_chunk});
    exchanges.push_back(
        {closed({0xAA, 0x61, 0x00, 0x07, 0x6E, static_cast<unsigned char>(page / 256),
                 static_cast<unsigned char>(page % 256), static_cast<unsigned char>(offset / 256),
                 static_cast<unsigned char>(offset % 256), 0, static_cast<unsigned char>(size)}),
         reply_with(size)});
    done += size;
  }
  return exchanges;
}

double seconds_on_a_line(const std::vector<Exchange>& exchanges, const auto& read) {
  const Line line;
  std::thread reader;
  {
    const Precedence precedence;
    reader = std::thread([&] {
      for (const Exchange& exchange : exchanges)
        line.answer(exchange.request, exchange.reply);
    });
  }
  const double start = now();
  read(line);
  const double took = now() - start;
  reader.join();
  return took;
}

double seconds_by_library(int handle, int count) {
  std::vector<unsigned char> buffer(static_cast<std::size_t>(count));
  const double start = now();
  if (srd_45d041(handle, 0, 0, count, buffer.data()) != 0) give_up("srd_45d041");
  return now() - start;
}

}  // namespace

int main(int argc, char** argv) {
  const bool quick = wanted(argc, argv).quick;
  const VirtualBench bench("45d041");
  for (const int count : {1, 10, 100, 1000, 10'000, 100'000, whole}) {
    if (quick && count > 1000) break;
    const int rounds = quick ? 1 : std::clamp(20'000 / count, 1, 50);
    const std::vector<Exchange> exchanges = exchanges_of(count);
    std::array<std::vector<double>, 3> times;
    for (int round = 0; round < rounds; ++round) {
      times[0].push_back(seconds_by_library(bench.handle(), count));
      times[1].push_back(seconds_on_a_line(exchanges, [&](const Line& line) {
        if (seconds_by_library(line.program(), count) < 0) give_up("time runs backwards");
      }));
      times[2].push_back(seconds_on_a_line(exchanges, [&](const Line& line) {
        for (const Exchange& exchange : exchanges)
          line.exchange_by_bare_calls(exchange.request, exchange.reply);
      }));
    }
    const std::array names = {"virtual reader", "quorra", "spinning calls"};
    for (std::size_t i = 0; i < names.size(); ++i)
      print({"count", {{"bytes", std::to_string(count)}, {"who", names[i]}}, "s", times[i]});
  }
}
