// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// How well whole cards travel between the library and the virtual reader; with quorra.so, and with
// the build whose waits sleep.
//
// Paced: how much of the time a transfer at 115,200 bits per second keeps the line busy, by the
// bytes of its frames. Unpaced: how long reading a whole 45D041 takes beside the bare system calls
// of its frames, which two threads make at the two ends of a pseudo-terminal. Each figure is the
// best of some runs, for other work on the machine disturbs some of them. With --json all that was
// found is printed for the paced transfers, also for cards whose frames are few; their bytes are
// those that the system counts.
//
// Exit status 1: a line was busy for less than 97 % of the time or for more than all of it, which
// would mean that some bytes travelled for nothing, or reading the 45D041 took more than 1.2 times
// as long as the bare calls.

#include <fcntl.h>
#include <fmt/format.h>
#include <quorra.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "bench/line.hpp"
#include "bench/report.hpp"
#include "bench/virtual_bench.hpp"

namespace {

using namespace quorra;
using benchmarks::VirtualBench;
using Clock = std::chrono::steady_clock;

constexpr unsigned speed = 115200;
constexpr double bits_per_byte = 11;
constexpr double least_busy = 0.97;
constexpr double most_busy = 1;
constexpr double most_time = 1.2;
constexpr int runs = 5;

[[noreturn]] void give_up(const std::string& what) {
  fmt::print(stderr, "{}\n", what);
  std::exit(2);
}

double seconds_for(const std::function<void()>& work) {
  const auto start = Clock::now();
  work();
  return std::chrono::duration<double>(Clock::now() - start).count();
}

// A function that reads or writes a card from its beginning on.
struct Transfer {
  const char* kind;
  const char* what;
  int units;
  int unit_bytes;
  int chunk;            // the most units in a frame
  int other_exchanges;  // status exchanges before the transfer
  int (*run)(int handle, int units, unsigned char* buffer);

  bool reads() const { return what == std::string_view("read"); }

  // All bytes on the line, in both directions.
  int bytes_on_the_line() const {
    const int frames = (units + chunk - 1) / chunk;
    const int bytes_besides_data = reads() ? 12 + 5 : 10 + 5;
    constexpr int bytes_of_status_exchange = 10 + 6;
    return units * unit_bytes + frames * bytes_besides_data +
           other_exchanges * bytes_of_status_exchange;
  }
};

template <auto function>
constexpr auto from_zero =
    [](int handle, int units, unsigned char* buffer) { return function(handle, 0, units, buffer); };
template <auto function>
constexpr auto from_page_zero = [](int handle, int units, unsigned char* buffer) {
  return function(handle, 0, 0, units, buffer);
};
// The first bytes of these cards are protected.
constexpr int behind_protected_bytes = 32;
template <auto function>
constexpr auto from_32 = [](int handle, int units, unsigned char* buffer) {
  return function(handle, behind_protected_bytes, units, buffer);
};

constexpr Transfer transfers[] = {
    {"4442", "read", 256, 1, 144, 0, from_zero<srd_4442>},
    {"4432", "write", 256 - 32, 1, 144, 0, from_32<swr_4432>},
    {"4428", "read", 1024, 1, 144, 0, from_zero<srd_4428>},
    {"4418", "write", 1024 - 32, 1, 144, 0, from_32<swr_4418>},
    {"24c01a", "read", 128, 1, 128, 0, from_zero<srd_24c01a>},
    {"24c01a", "write", 128, 1, 128, 0, from_zero<swr_24c01a>},
    {"24c02", "read", 256, 1, 144, 0, from_zero<srd_24c02>},
    {"24c02", "write", 256, 1, 144, 0, from_zero<swr_24c02>},
    {"24c16", "read", 2048, 1, 144, 0, from_zero<srd_24c16>},
    {"24c16", "write", 2048, 1, 144, 0, from_zero<swr_24c16>},
    {"24c32", "read", 4096, 1, 144, 0, from_zero<srd_24c32>},
    {"24c32", "write", 4096, 1, 144, 0, from_zero<swr_24c32>},
    {"24c64", "read", 8192, 1, 144, 0, from_zero<srd_24c64>},
    {"24c64", "write", 8192, 1, 144, 0, from_zero<swr_24c64>},
    {"93c46a", "read", 64, 2, 64, 0, from_zero<srd_93c46a>},
    {"93c46a", "write", 64, 2, 64, 0, from_zero<swr_93c46a>},
    {"93c46", "read", 128, 1, 128, 0, from_zero<srd_93c46>},
    {"93c46", "write", 128, 1, 128, 0, from_zero<swr_93c46>},
    {"93c57", "read", 256, 1, 144, 0, from_zero<srd_93c57>},
    {"93c57", "write", 256, 1, 144, 0, from_zero<swr_93c57>},
    {"93c66", "read", 512, 1, 144, 0, from_zero<srd_93c66>},
    {"93c66", "write", 512, 1, 144, 0, from_zero<swr_93c66>},
    // A hundredth of the card: all of it takes a minute. 144 and 120 bytes in turn.
    {"45d041", "read", 20 * 264, 1, 132, 4, from_page_zero<srd_45d041>},
    {"45d041", "write", 20 * 264, 1, 132, 4, from_page_zero<swr_45d041>},
};

double busy_part_of(const Transfer& transfer) {
  const VirtualBench bench(transfer.kind, speed);
  // What is written differs from the FF of a new card, so that all of it must be saved.
  std::vector<unsigned char> buffer(static_cast<std::size_t>(transfer.units * transfer.unit_bytes));
  const double took = seconds_for([&] {
    if (const int code = transfer.run(bench.handle(), transfer.units, buffer.data()); code != 0) {
      give_up(fmt::format("{} {}: {}", transfer.kind, transfer.what, code));
    }
  });
  return transfer.bytes_on_the_line() * bits_per_byte / speed / took;
}

bool keeps_the_line_busy(const Transfer& transfer) {
  double busy = 0;
  for (int run = 0; run < runs && busy < least_busy; ++run)
    busy = std::max(busy, busy_part_of(transfer));
  std::string_view verdict;
  if (busy < least_busy) verdict = ": too little";
  if (busy > most_busy) verdict = ": more than the line can carry";
  fmt::print("{:<7} {:<5} {:>6} bytes on the line, busy {:6.2f} %{}\n", transfer.kind,
             transfer.what, transfer.bytes_on_the_line(), busy * 100, verdict);
  return verdict.empty();
}

// What else there is to read of other families.
struct Reading {
  const char* kind;
  const char* what;
  int (*run)(int handle, unsigned char* buffer);
};

constexpr int resets = 30;

constexpr Reading readings[] = {
    {"4404", "read",
     [](int handle, unsigned char* buffer) { return srd_4404(handle, 0, 52, buffer); }},
    {"4406", "read",
     [](int handle, unsigned char* buffer) { return srd_4406(handle, 0, 13, buffer); }},
    {"101", "read",
     [](int handle, unsigned char* buffer) { return srd_101(handle, 0, 172, buffer); }},
    {"1604", "read",
     [](int handle, unsigned char* buffer) { return srd_1604(handle, 1, 0, 1200, buffer); }},
    {"cpu", "reset",
     [](int handle, unsigned char* buffer) {
       for (int reset = 0; reset < resets; ++reset) {
         if (const int code = cpu_reset(handle, buffer); code != 0) return code;
       }
       return 0;
     }},
};

// The bytes that this thread has read and written, as the system counts them.
class ByteCount {
 public:
  ByteCount() : file_(open("/proc/thread-self/io", O_RDONLY | O_CLOEXEC)) { start_ = count(); }
  ByteCount(const ByteCount&) = delete;
  ByteCount& operator=(const ByteCount&) = delete;
  ~ByteCount() { close(file_); }

  // Since this object is there.
  double so_far() { return count() - start_; }

 private:
  double count() {
    std::array<char, 512> text{};
    const ssize_t size = pread(file_, text.data(), text.size() - 1, 0);
    unsigned long long read = 0;
    unsigned long long written = 0;
    if (size <= 0 || std::sscanf(text.data(), "rchar: %llu wchar: %llu", &read, &written) != 2)
      give_up("/proc/thread-self/io");
    const double counted = static_cast<double>(read + written) - read_here_;
    read_here_ += static_cast<double>(size);
    return counted;
  }

  int file_;
  // By earlier counting.
  double read_here_ = 0;
  double start_;
};

// Prints what part of the time a transfer keeps the line busy.
void tell_busy_part(const char* kind, const char* what, const std::function<int(int handle)>& run) {
  const VirtualBench bench(kind, speed);
  ByteCount bytes;
  const double took = seconds_for([&] {
    if (const int code = run(bench.handle()); code != 0)
      give_up(fmt::format("{} {}: {}", kind, what, code));
  });
  const double counted = bytes.so_far();
  const std::vector<std::pair<std::string, std::string>> labels = {{"kind", kind}, {"what", what}};
  benchmarks::print({"line use", labels, "", {counted * bits_per_byte / speed / took}});
  benchmarks::print({"line bytes", labels, "bytes", {counted}});
}

void tell_all(bool quick) {
  std::vector<unsigned char> buffer(std::size_t{64} * 1024);
  for (const Transfer& transfer : transfers) {
    // What is seen of a part is the same.
    const int units = quick ? std::min(transfer.units, 64) : transfer.units;
    tell_busy_part(transfer.kind, transfer.what,
                   [&](int handle) { return transfer.run(handle, units, buffer.data()); });
  }
  for (const Reading& reading : readings) {
    tell_busy_part(reading.kind, reading.what,
                   [&](int handle) { return reading.run(handle, buffer.data()); });
  }
}

constexpr int pages = 2048;
constexpr int page_size = 264;

double seconds_by_library() {
  const VirtualBench bench("45d041", 0);
  std::vector<unsigned char> buffer(static_cast<std::size_t>(pages) * page_size);
  return seconds_for([&] {
    const auto size = static_cast<int>(buffer.size());
    if (srd_45d041(bench.handle(), 0, 0, size, buffer.data()) != 0) give_up("srd_45d041");
  });
}

// A page travels in two frames. The four exchanges before the first one are left out.
double seconds_by_bare_calls() {
  const benchmarks::Line line;
  const benchmarks::Bytes request(12, 0xAA);
  const std::array replies = {benchmarks::Bytes(4 + 144 + 1, 0x55),
                              benchmarks::Bytes(4 + 120 + 1, 0x55)};
  const auto for_each_frame = [&replies](const auto& work) {
    for (int page = 0; page < pages; ++page)
      std::ranges::for_each(replies, work);
  };
  std::thread reader(
      [&] { for_each_frame([&](const auto& reply) { line.answer(request, reply); }); });
  const double took = seconds_for([&] {
    for_each_frame([&](const auto& reply) { line.exchange_by_bare_calls(request, reply); });
  });
  reader.join();
  return took;
}

bool reads_the_45d041_fast() {
  double library = seconds_by_library();
  double bare = seconds_by_bare_calls();
  for (int run = 1; run < runs; ++run) {
    library = std::min(library, seconds_by_library());
    bare = std::min(bare, seconds_by_bare_calls());
  }
  fmt::print("45d041  read  whole, unpaced: {:.3f} s, bare system calls {:.3f} s, ratio {:.3f}\n",
             library, bare, library / bare);
  return library / bare <= most_time;
}

}  // namespace

int main(int argc, char** argv) {
  const benchmarks::Wanted wanted = benchmarks::wanted(argc, argv);
  if (wanted.json) {
    tell_all(wanted.quick);
    return 0;
  }
  bool good = true;
  for (const Transfer& transfer : transfers)
    good = keeps_the_line_busy(transfer) && good;
  good = reads_the_45d041_fast() && good;
  return good ? 0 : 1;
}
