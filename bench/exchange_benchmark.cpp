// What an exchange costs beyond the system calls that it cannot do without: a request of 12 bytes
// sent one by one, and a reply of 25 bytes read one by one, with a reading of the clock for each.
//
// Library and bare calls take turns in one run, on a pseudo-terminal on which the reply already
// waits. Exit status 1: the library took more than 1.15 times as long as the bare calls.

#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <quorra.h>
#include <sys/ioctl.h>
#include <termios.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <vector>

namespace {

using Clock = std::chrono::steady_clock;

constexpr double allowed_ratio = 1.15;

// Reads 20 bytes at address 16 of a 4442 card.
constexpr std::array<unsigned char, 12> request = {0xAA, 0x61, 0x00, 0x07, 0x79, 0x00,
                                                   0x00, 0x00, 0x10, 0x00, 0x14, 0xB1};
constexpr std::array<unsigned char, 25> reply = {0x55, 0x00, 0x00, 0x14, 1,  2,  3,   4,  5,
                                                 6,    7,    8,    9,    10, 11, 12,  13, 14,
                                                 15,   16,   17,   18,   19, 20, 0x55};

[[noreturn]] void give_up(const char* what) {
  std::perror(what);
  std::exit(2);
}

// A pseudo-terminal whose other end plays the reader, without ever being measured.
class Line {
 public:
  Line() : master_(posix_openpt(O_RDWR | O_NOCTTY)) {
    if (master_ < 0 || grantpt(master_) != 0 || unlockpt(master_) != 0) give_up("pseudo-terminal");
    program_ = open(ptsname(master_), O_RDWR | O_NOCTTY);
    termios settings{};
    if (program_ < 0 || tcgetattr(program_, &settings) != 0) give_up("pseudo-terminal");
    cfmakeraw(&settings);
    settings.c_cc[VMIN] = 0;
    if (tcsetattr(program_, TCSANOW, &settings) != 0) give_up("pseudo-terminal");
    term_flg = 1;
  }
  Line(const Line&) = delete;
  Line& operator=(const Line&) = delete;
  ~Line() {
    close(program_);
    close(master_);
  }

  int program() const { return program_; }

  void send_reply() const {
    if (write(master_, reply.data(), reply.size()) != ssize_t{reply.size()}) give_up("reply");
    int waiting = 0;
    while (waiting != int{reply.size()}) {
      if (ioctl(program_, FIONREAD, &waiting) != 0) give_up("reply");
    }
  }

  void take_request() const {
    std::array<unsigned char, request.size()> taken{};
    for (std::size_t size = 0; size < taken.size();) {
      const ssize_t got = read(master_, taken.data() + size, taken.size() - size);
      if (got < 1) give_up("request");
      size += static_cast<std::size_t>(got);
    }
    if (taken != request) give_up("another request than expected");
  }

 private:
  int master_;
  int program_ = -1;
};

void exchange_by_library(int handle) {
  std::array<unsigned char, 20> data{};
  if (srd_4442(handle, 16, 20, data.data()) != 0 || data[19] != 20) give_up("srd_4442");
}

void exchange_by_bare_calls(int handle) {
  for (const unsigned char byte : request) {
    if (write(handle, &byte, 1) != 1) give_up("write");
  }
  std::array<unsigned char, reply.size()> taken{};
  for (unsigned char& byte : taken) {
    benchmark::DoNotOptimize(std::clock());
    if (read(handle, &byte, 1) != 1) give_up("read");
  }
  if (taken != reply) give_up("another reply than expected");
}

double seconds_for(const Line& line, void (*exchange)(int)) {
  line.send_reply();
  const auto start = Clock::now();
  exchange(line.program());
  const std::chrono::duration<double> took = Clock::now() - start;
  line.take_request();
  return took.count();
}

double median(std::vector<double> values) {
  const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
  std::nth_element(values.begin(), middle, values.end());
  return *middle;
}

double worst_ratio = 0;

void exchange(benchmark::State& state) {
  const Line line;
  std::vector<double> library;
  std::vector<double> bare;
  for ([[maybe_unused]] auto round : state) {
    library.push_back(seconds_for(line, exchange_by_library));
    bare.push_back(seconds_for(line, exchange_by_bare_calls));
    state.SetIterationTime(library.back());
  }
  const double ratio = median(library) / median(bare);
  worst_ratio = std::max(worst_ratio, ratio);
  state.counters["library_us"] = median(library) * 1e6;
  state.counters["bare_us"] = median(bare) * 1e6;
  state.counters["ratio"] = ratio;
}
BENCHMARK(exchange)->UseManualTime()->Iterations(20000)->Unit(benchmark::kMicrosecond);

}  // namespace

int main(int argc, char** argv) {
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 2;
  benchmark::RunSpecifiedBenchmarks();
  benchmark::Shutdown();
  std::printf("worst ratio of library to bare calls: %.3f (allowed: %.2f)\n", worst_ratio,
              allowed_ratio);
  return worst_ratio <= allowed_ratio ? 0 : 1;
}
