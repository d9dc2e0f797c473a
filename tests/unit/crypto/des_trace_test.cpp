// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// What DES leaves behind on the stack: nothing that depends on key or text.

#include <gtest/gtest.h>
#include <quorra.h>
#include <sys/mman.h>
#include <ucontext.h>

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <random>
#include <system_error>

#include "tests/support/bytes.hpp"

namespace quorra::testing {
namespace {

constexpr std::size_t stack_size = 64UL * 1024;
constexpr unsigned char fresh = 0xA5;

// What the calls work on. It does not lie on the stack that is looked at.
struct Texts {
  unsigned char key[8];
  unsigned char input[1600];
  unsigned char output[1600];
  unsigned char round_keys[16][48];
  unsigned char packed[16][6];
};

Texts texts;

// Calls on a stack of their own.
class OwnStack {
 public:
  OwnStack()
      : memory_(mmap(nullptr, stack_size, PROT_READ | PROT_WRITE,
                     MAP_PRIVATE | MAP_ANONYMOUS | MAP_STACK, -1, 0)) {
    if (memory_ == MAP_FAILED) throw std::system_error(errno, std::generic_category(), "mmap");
  }
  OwnStack(const OwnStack&) = delete;
  OwnStack& operator=(const OwnStack&) = delete;
  ~OwnStack() { (void)munmap(memory_, stack_size); }

  // All that `work` leaves on a fresh stack.
  Bytes after(void (*work)()) {
    auto* const begin = static_cast<unsigned char*>(memory_);
    std::fill_n(begin, stack_size, fresh);
    ucontext_t here{};
    ucontext_t there{};
    EXPECT_EQ(getcontext(&there), 0);
    there.uc_stack.ss_sp = memory_;
    there.uc_stack.ss_size = stack_size;
    there.uc_link = &here;
    makecontext(&there, work, 0);
    EXPECT_EQ(swapcontext(&here, &there), 0);
    return {begin, begin + stack_size};
  }

 private:
  void* memory_;
};

template <std::size_t size>
void randomise(std::mt19937& engine, unsigned char (&bytes)[size]) {
  std::ranges::generate(bytes, [&] { return static_cast<unsigned char>(engine()); });
}

void randomise(unsigned seed) {
  std::mt19937 engine(seed);
  texts = Texts{};
  randomise(engine, texts.key);
  randomise(engine, texts.input);
}

// How many bytes of the stack are the same whenever key and text are, but depend on them.
long bytes_left_by(void (*work)()) {
  OwnStack stack;
  const auto left_with = [&](unsigned seed) {
    randomise(seed);
    return stack.after(work);
  };
  // What the first call of a function leaves behind may be the loader's.
  left_with(1);
  const Bytes first = left_with(1);
  Bytes differing(stack_size, 0);
  for (unsigned seed = 2; seed < 8; ++seed) {
    const Bytes other = left_with(seed);
    const Bytes again = left_with(seed);
    const Bytes first_again = left_with(1);
    for (std::size_t i = 0; i < stack_size; ++i) {
      const bool steady = first[i] == first_again[i] && other[i] == again[i];
      if (steady && first[i] != other[i]) differing[i] = 1;
    }
  }
  return std::ranges::count(differing, 1);
}

class DesTrace : public ::testing::Test {
 protected:
  void SetUp() override {
#ifdef QUORRA_INSTRUMENTED
    GTEST_SKIP() << "instrumented code keeps more on its stack";
#endif
  }
};

// Leaves the key and the text.
__attribute__((noinline)) int copy_texts() {
  volatile unsigned char copy[32];
  std::copy_n(texts.key, 8, copy);
  std::copy_n(texts.input, 24, copy + 8);
  return copy[0];
}

TEST_F(DesTrace, IsSeenWhereThereIsOne) {
  const auto work = [] { texts.output[0] = static_cast<unsigned char>(copy_texts()); };
  EXPECT_GE(bytes_left_by(work), 32);
}

struct Call {
  const char* name;
  void (*work)();
};

class DesCall : public DesTrace, public ::testing::WithParamInterface<Call> {};

constexpr Call calls[] = {
    {"ic_encrypt", [] { ic_encrypt(texts.key, texts.input, 24, texts.output); }},
    {"ic_decrypt", [] { ic_decrypt(texts.key, texts.input, 24, texts.output); }},
    {"DES_Encrypt", [] { DES_Encrypt(texts.key, 5, texts.input, 17, texts.output); }},
    {"DES_Decrypt", [] { DES_Decrypt(texts.key, 8, texts.input, 8, texts.output); }},
    {"DES_Encrypt_many", [] { DES_Encrypt(texts.key, 5, texts.input, 100, texts.output); }},
    {"DES_Decrypt_many", [] { DES_Decrypt(texts.key, 8, texts.input, 1600, texts.output); }},
    {"Gen_Childkey1", [] { Gen_Childkey1(texts.key, texts.round_keys); }},
    {"Gen_Childkey2", [] { Gen_Childkey2(texts.key, texts.packed); }},
};

INSTANTIATE_TEST_SUITE_P(, DesCall, ::testing::ValuesIn(calls),
                         [](const auto& row) { return row.param.name; });

TEST_P(DesCall, LeavesNothingOfKeyOrText) { EXPECT_EQ(bytes_left_by(GetParam().work), 0); }

}  // namespace
}  // namespace quorra::testing
