// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// What operations cost besides time: the stack below the caller, and memory from the heap. A call
// of getppid() stands before and behind each operation in the main thread, so that who traces the
// program's system calls finds those of the operations, in the order in which these are printed.

#include <modbus/modbus-rtu.h>
#include <pthread.h>
#include <quorra.h>
#include <unistd.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "bench/line.hpp"
#include "bench/modbus.hpp"
#include "bench/report.hpp"

namespace {

// How often this program asked for memory.
std::size_t allocations = 0;

}  // namespace

// They take the places of those of the C library, which has the same under these names.
extern "C" {
// NOLINTBEGIN(bugprone-reserved-identifier): names of the C library
void* __libc_malloc(std::size_t size);
void* __libc_calloc(std::size_t count, std::size_t size);
void* __libc_realloc(void* memory, std::size_t size);
void* malloc(std::size_t size) {
  ++allocations;
  return __libc_malloc(size);
}
void* calloc(std::size_t count, std::size_t size) {
  ++allocations;
  return __libc_calloc(count, size);
}
void* realloc(void* memory, std::size_t size) {
  ++allocations;
  return __libc_realloc(memory, size);
}
// NOLINTEND(bugprone-reserved-identifier)
}

namespace {

using namespace quorra::benchmarks;

[[noreturn]] void give_up(const char* what) {
  std::perror(what);
  std::exit(2);
}

// How many bytes of its stack a thread uses for doing this: it leaves its marks in the paint.
double stack_used_by(const std::function<void()>& work) {
  constexpr std::uint8_t paint = 0xA5;
  std::vector<std::uint8_t> stack(std::size_t{512} * 1024, paint);
  struct Task {
    const std::function<void()>& work;
  } task{work};
  const auto run = [](void* what) -> void* {
    static_cast<Task*>(what)->work();
    return nullptr;
  };
  pthread_attr_t attributes;
  pthread_t thread{};
  if (pthread_attr_init(&attributes) != 0 ||
      pthread_attr_setstack(&attributes, stack.data(), stack.size()) != 0 ||
      pthread_create(&thread, &attributes, run, &task) != 0 || pthread_join(thread, nullptr) != 0)
    give_up("thread");
  pthread_attr_destroy(&attributes);
  std::size_t untouched = 0;
  while (stack[untouched] == paint)
    ++untouched;
  return static_cast<double>(stack.size() - untouched);
}

// A reply of so many bytes of data, all zero, which end with their check byte.
Bytes reply_with(int count) {
  Bytes frame(static_cast<std::size_t>(5 + count));
  frame.front() = 0x55;
  frame[3] = static_cast<unsigned char>(count);
  frame.back() = static_cast<unsigned char>(0x55 ^ count);
  return frame;
}

struct Operation {
  const char* name;
  Bytes replies;  // that wait when it begins
  std::size_t requests_size;
  std::function<void()> run;
};

void expect(bool good, const char* what) {
  if (!good) give_up(what);
}

void measure(const Line& line, const Operation& operation) {
  const auto prepared = [&](const auto& how) {
    if (!operation.replies.empty()) line.send(operation.replies);
    const auto found = how();
    line.drop(operation.requests_size);
    return found;
  };
  const double asked_for = prepared([&] {
    const std::size_t before = allocations;
    getppid();
    operation.run();
    getppid();
    return static_cast<double>(allocations - before);
  });
  const double empty = stack_used_by([] {});
  const double used = prepared([&] { return stack_used_by(operation.run); });
  print({"stack", {{"operation", operation.name}}, "bytes", {used - empty}});
  print({"allocations", {{"operation", operation.name}}, "", {asked_for}});
}

}  // namespace

int main(int argc, char** argv) {
  (void)wanted(argc, argv);
  const Line line;
  const Modbus modbus(line);
  std::array<unsigned char, 256> buffer{};
  const std::vector<unsigned char> text(4096);
  std::vector<unsigned char> cipher(text.size());
  const std::array<unsigned char, 8> key{0x13, 0x34, 0x57, 0x79, 0x9B, 0xBC, 0xDF, 0xF1};
  const auto encrypt = [&](unsigned size) {
    expect(DES_Encrypt(key.data(), key.size(), text.data(), size, cipher.data()) ==
               static_cast<int>(size),
           "DES_Encrypt");
  };
  Bytes two_replies = reply_with(144);
  const Bytes second_reply = reply_with(112);
  two_replies.insert(two_replies.end(), second_reply.begin(), second_reply.end());

  const Operation operations[] = {
      {"status", reply_with(1), 10,
       [&] {
         int out = 1;
         expect(get_status0(line.program(), &out) == 0, "get_status0");
       }},
      {"read of 20 bytes", reply_with(20), 12,
       [&] { expect(srd_4442(line.program(), 16, 20, buffer.data()) == 0, "srd_4442"); }},
      {"read of 256 bytes", two_replies, 24,
       [&] { expect(srd_4442(line.program(), 0, 256, buffer.data()) == 0, "srd_4442"); }},
      {"write of 20 bytes", reply_with(0), 30,
       [&] { expect(swr_4442(line.program(), 32, 20, buffer.data()) == 0, "swr_4442"); }},
      {"DES of 8 bytes", {}, 0, [&] { encrypt(8); }},
      {"DES of 4096 bytes", {}, 0, [&] { encrypt(4096); }},
      {"libmodbus, read of 20 bytes", registers_reply, registers_request.size(),
       [&] { modbus.exchange(); }},
  };
  for (const Operation& operation : operations)
    measure(line, operation);
}
