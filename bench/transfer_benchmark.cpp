// How well whole cards travel between the library and the virtual reader.
//
// Paced: how much of the time a transfer at 115,200 bits per second keeps the line busy, by the
// bytes of its frames. Unpaced: how long reading a whole 45D041 takes beside the bare system calls
// of its frames. Exit status 1: a line was busy for less than 97 % of the time, or reading the
// 45D041 took more than 1.2 times as long as the bare calls.

#include <fmt/format.h>
#include <quorra.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <string>
#include <vector>

#include "bench/line.hpp"
#include "simulator/cards/kinds.hpp"
#include "simulator/virtual_reader.hpp"

namespace {

using namespace quorra;
using Clock = std::chrono::steady_clock;

constexpr unsigned speed = 115200;
constexpr double bits_per_byte = 11;
constexpr double least_busy = 0.97;
constexpr double most_time = 1.2;

[[noreturn]] void give_up(const std::string& what) {
  fmt::print(stderr, "{}\n", what);
  std::exit(2);
}

double seconds_for(const std::function<void()>& work) {
  const auto start = Clock::now();
  work();
  return std::chrono::duration<double>(Clock::now() - start).count();
}

// A virtual reader with a new card, and a session on it.
class Bench {
 public:
  Bench(const char* kind, unsigned line_speed) : reader_(options(kind, line_speed)) {
    handle_ = ic_init(reader_->configuration().c_str(), 9600);
    if (handle_ < 0) give_up("no session");
  }
  Bench(const Bench&) = delete;
  Bench& operator=(const Bench&) = delete;
  ~Bench() {
    ic_exit(handle_);
    std::error_code ignored;
    std::filesystem::remove_all(folder_, ignored);
  }

  int handle() const { return handle_; }

 private:
  simulator::Options options(const char* kind, unsigned line_speed) {
    std::string pattern = (std::filesystem::temp_directory_path() / "quorra-bench-XXXXXX").string();
    if (mkdtemp(pattern.data()) == nullptr) give_up("no temporary folder");
    folder_ = pattern;
    simulator::Options options;
    options.card = folder_ / "card";
    options.speed = line_speed;
    save_image(simulator::Image(simulator::find_kind(kind)), options.card);
    return options;
  }

  std::filesystem::path folder_;
  simulator::RunningReader reader_;
  int handle_ = -1;
};

struct Transfer {
  const char* kind;
  const char* what;
  int units;
  int unit_bytes;
  int chunk;            // the most units in a frame
  int other_exchanges;  // status exchanges before the transfer
  int (*run)(int handle, int units, unsigned char* buffer);
};

constexpr Transfer transfers[] = {
    {"4442", "read", 256, 1, 144, 0,
     [](int h, int n, unsigned char* b) { return srd_4442(h, 0, n, b); }},
    {"4432", "write", 224, 1, 144, 0,
     [](int h, int n, unsigned char* b) { return swr_4432(h, 32, n, b); }},
    {"4428", "read", 1024, 1, 144, 0,
     [](int h, int n, unsigned char* b) { return srd_4428(h, 0, n, b); }},
    {"4418", "write", 960, 1, 144, 0,
     [](int h, int n, unsigned char* b) { return swr_4418(h, 64, n, b); }},
    {"24c64", "read", 8192, 1, 144, 0,
     [](int h, int n, unsigned char* b) { return srd_24c64(h, 0, n, b); }},
    {"24c64", "write", 8192, 1, 144, 0,
     [](int h, int n, unsigned char* b) { return swr_24c64(h, 0, n, b); }},
    {"93c46a", "read", 64, 2, 64, 0,
     [](int h, int n, unsigned char* b) { return srd_93c46a(h, 0, n, b); }},
    {"93c66", "write", 512, 1, 144, 0,
     [](int h, int n, unsigned char* b) { return swr_93c66(h, 0, n, b); }},
    // A hundredth of the card: all of it takes a minute. 144 and 120 bytes in turn.
    {"45d041", "read", 20 * 264, 1, 132, 4,
     [](int h, int n, unsigned char* b) { return srd_45d041(h, 0, 0, n, b); }},
    {"45d041", "write", 20 * 264, 1, 132, 4,
     [](int h, int n, unsigned char* b) { return swr_45d041(h, 0, 0, n, b); }},
};

bool keeps_the_line_busy(const Transfer& transfer) {
  const Bench bench(transfer.kind, speed);
  std::vector<unsigned char> buffer(static_cast<std::size_t>(transfer.units * transfer.unit_bytes));
  const double took = seconds_for([&] {
    if (const int code = transfer.run(bench.handle(), transfer.units, buffer.data()); code != 0) {
      give_up(fmt::format("{} {}: {}", transfer.kind, transfer.what, code));
    }
  });
  const int frames = (transfer.units + transfer.chunk - 1) / transfer.chunk;
  const bool reads = transfer.what == std::string_view("read");
  const int data = transfer.units * transfer.unit_bytes;
  const int per_frame = reads ? 12 + 5 : 10 + 5;
  const int bytes = data + frames * per_frame + transfer.other_exchanges * (10 + 6);
  const double busy = bytes * bits_per_byte / speed / took;
  fmt::print("{:<7} {:<5} {:>6} bytes on the line, busy {:.1f} %\n", transfer.kind, transfer.what,
             bytes, busy * 100);
  return busy >= least_busy;
}

bool reads_the_45d041_fast() {
  constexpr int size = 2048 * 264;
  const Bench bench("45d041", 0);
  std::vector<unsigned char> buffer(size);
  const double card = seconds_for([&] {
    if (srd_45d041(bench.handle(), 0, 0, size, buffer.data()) != 0) give_up("srd_45d041");
  });
  // The frames of one page, often enough to know what all of them take.
  constexpr int pages_measured = 200;
  const benchmarks::Line line;
  double bare = 0;
  const benchmarks::Bytes request(12, 0xAA);
  for (int page = 0; page < pages_measured; ++page) {
    for (const std::size_t data : {std::size_t{144}, std::size_t{120}}) {
      const benchmarks::Bytes reply(4 + data + 1, 0x55);
      bare +=
          line.seconds_for(request, reply, [&] { line.exchange_by_bare_calls(request, reply); });
    }
  }
  bare *= 2048.0 / pages_measured;
  fmt::print("45d041  read  whole, unpaced: {:.3f} s, bare system calls {:.3f} s, ratio {:.3f}\n",
             card, bare, card / bare);
  return card / bare <= most_time;
}

}  // namespace

int main() {
  bool good = true;
  for (const Transfer& transfer : transfers)
    good = keeps_the_line_busy(transfer) && good;
  good = reads_the_45d041_fast() && good;
  return good ? 0 : 1;
}
