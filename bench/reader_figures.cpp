// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// What the virtual reader's own work costs: a request, down to the contacts of the chip, without
// the line; and loading and saving an image, beside reading and writing a file of that content.

#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "bench/report.hpp"
#include "bench/virtual_bench.hpp"
#include "simulator/cards/image.hpp"
#include "simulator/cards/kinds.hpp"
#include "simulator/firmware/firmware.hpp"
#include "simulator/firmware/frame.hpp"
#include "simulator/firmware/reader.hpp"

namespace {

using namespace quorra;
using benchmarks::now;
using benchmarks::print;
using Frame = std::vector<std::uint8_t>;

[[noreturn]] void give_up(const char* what) {
  std::perror(what);
  std::exit(2);
}

Frame closed(Frame frame) {
  std::uint8_t check = 0;
  for (const std::uint8_t byte : frame)
    check ^= byte;
  frame.push_back(check);
  return frame;
}

struct Exchange {
  const char* kind;
  std::uint8_t type;
  std::uint8_t write_command;
  std::uint8_t address;
  std::uint8_t count;
};

Frame reading(const Exchange& exchange) {
  return closed(
      {0xAA, 0x61, 0x00, 0x07, exchange.type, 0, 0, 0, exchange.address, 0, exchange.count});
}

Frame writing(const Exchange& exchange, std::uint8_t content) {
  Frame frame = {0xAA,
                 exchange.write_command,
                 0x00,
                 static_cast<std::uint8_t>(5 + exchange.count),
                 exchange.type,
                 0,
                 0,
                 0,
                 exchange.address};
  frame.resize(frame.size() + exchange.count, content);
  return closed(std::move(frame));
}

// The most that a frame transfers of one card of each family with a memory. Some begin with bytes
// that are protected.
constexpr std::array exchanges{
    Exchange{"4432", 0x79, 0x60, 32, 144},  Exchange{"4418", 0x76, 0x60, 32, 144},
    Exchange{"24c01a", 0x60, 0x62, 0, 128}, Exchange{"24c64", 0x66, 0x62, 0, 144},
    Exchange{"93c66", 0x6B, 0x60, 0, 144},  Exchange{"45d041", 0x6E, 0x60, 0, 132}};

std::size_t carry_out(simulator::Reader& reader, const Frame& frame) {
  simulator::RequestParser parser;
  for (const std::uint8_t byte : frame)
    parser.push(byte);
  simulator::Reply reply;
  const simulator::Status status = execute(reader, parser.request(), reply);
  if (status != simulator::Status::success) give_up("the virtual reader refuses a request");
  return reply.finish(static_cast<std::uint8_t>(status)).size();
}

void tell_requests(const Exchange& exchange, int rounds) {
  const auto chip = simulator::find_kind(exchange.kind)
                        .make_chip(simulator::Image(simulator::find_kind(exchange.kind)));
  simulator::Reader reader;
  reader.memory = simulator::new_reader_memory(9600, "VIRTUAL-00000001");
  reader.slot.insert(*chip);
  std::vector<double> reads;
  std::vector<double> writes;
  for (int round = 0; round < rounds; ++round) {
    // Something else each time.
    const Frame write = writing(exchange, static_cast<std::uint8_t>(round % 256));
    const Frame read = reading(exchange);
    const double start = now();
    carry_out(reader, write);
    const double middle = now();
    const std::size_t size = carry_out(reader, read);
    reads.push_back(now() - middle);
    writes.push_back(middle - start);
    if (size != std::size_t{5} + exchange.count) give_up("a reply of another size");
  }
  const std::string bytes = std::to_string(exchange.count);
  print({"request", {{"kind", exchange.kind}, {"what", "read"}, {"bytes", bytes}}, "s", reads});
  print({"request", {{"kind", exchange.kind}, {"what", "write"}, {"bytes", bytes}}, "s", writes});
  reader.slot.remove();
}

// The bare calls, for a file that is there or comes in one piece.
std::string read_file(const std::filesystem::path& path) {
  std::string text(std::filesystem::file_size(path), '\0');
  const int file = open(path.c_str(), O_RDONLY | O_CLOEXEC);
  if (file < 0 || read(file, text.data(), text.size()) != static_cast<ssize_t>(text.size()))
    give_up("read");
  close(file);
  return text;
}

void write_file(const std::filesystem::path& path, const std::string& text) {
  const std::string temporary = path.string() + ".new";
  const int file = open(temporary.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
  if (file < 0 || write(file, text.data(), text.size()) != static_cast<ssize_t>(text.size()))
    give_up("write");
  close(file);
  if (rename(temporary.c_str(), path.c_str()) != 0) give_up("rename");
}

void tell_images(const char* kind, int rounds) {
  const simulator::TemporaryFolder folder;
  const std::filesystem::path path = folder.path() / "card";
  const simulator::Image image(simulator::find_kind(kind));
  struct Way {
    const char* what;
    const char* who;
    std::function<void()> work;
    std::vector<double> times{};
  };
  save_image(image, path);
  const std::string text = read_file(path);
  std::array ways{Way{"load", "virtual reader",
                      [&] {
                        if (simulator::load_image(path).kind().name != kind)
                          give_up("another kind");
                      }},
                  Way{"load", "bare calls",
                      [&] {
                        if (read_file(path).size() != text.size()) give_up("another file");
                      }},
                  Way{"save", "virtual reader", [&] { save_image(image, path); }},
                  Way{"save", "bare calls", [&] { write_file(path, text); }}};
  for (int round = 0; round < rounds; ++round) {
    for (Way& way : ways) {
      const double start = now();
      way.work();
      way.times.push_back(now() - start);
    }
  }
  for (const Way& way : ways) {
    print({"image",
           {{"kind", kind},
            {"bytes", std::to_string(text.size())},
            {"what", way.what},
            {"who", way.who}},
           "s",
           way.times});
  }
}

}  // namespace

int main(int argc, char** argv) {
  const bool quick = benchmarks::wanted(argc, argv).quick;
  for (const Exchange& exchange : exchanges)
    tell_requests(exchange, quick ? 5 : 500);
  for (const char* kind : {"4442", "24c64", "45d041"})
    tell_images(kind, quick ? 3 : 100);
}
