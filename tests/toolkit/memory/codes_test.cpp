// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// Codes that a card refuses are remembered, whichever way it refuses them.
#include "toolkit/memory/codes.hpp"

#include <gtest/gtest.h>

#include <string>

#include "simulator/bench/virtual_reader.hpp"
#include "simulator/cards/image.hpp"
#include "simulator/cards/kinds.hpp"
#include "tests/support/open_session.hpp"
#include "tests/support/process.hpp"
#include "toolkit/memory/refused_codes.hpp"
#include "toolkit/session/errors.hpp"

namespace quorra::testing {
namespace {

using toolkit::Bytes;
using toolkit::Card;
using toolkit::Code;

class RememberingSession : public OpenSession {
 public:
  using OpenSession::OpenSession;
  toolkit::RefusedCodes* refused_codes() const override { return &refused_; }

 private:
  mutable toolkit::RefusedCodes refused_;
};

class PresentedCode : public ::testing::Test {
 protected:
  void insert(std::string_view kind) {
    save_image(simulator::Image(simulator::find_kind(kind)), folder_ / "card");
    reader_->insert(folder_ / "card");
  }

  // The word for what became of it; empty if the card took it.
  std::string present(const Card& kind, const Code& code, const Bytes& bytes) {
    try {
      toolkit::present_code(session_, kind, {.code = &code, .bytes = bytes},
                            [](const auto&, const auto&) {});
    } catch (const toolkit::Failure& failure) {
      return std::string(failure.particulars().word);
    }
    return {};
  }

  TemporaryDirectory folder_;
  simulator::RunningReader reader_;
  RememberingSession session_{reader_->configuration()};
};

TEST_F(PresentedCode, IsNotPresentedAgainAfterItWasWrong) {
  const Card& kind = *toolkit::find_card("4442");
  insert("4442");
  EXPECT_EQ(present(kind, kind.codes.front(), {1, 2, 3}), "wrong_code");
  EXPECT_EQ(present(kind, kind.codes.front(), {1, 2, 3}), "refused_before");
  EXPECT_EQ(present(kind, kind.codes.front(), {0xFF, 0xFF, 0xFF}), "");
  EXPECT_FALSE(session_.refused_codes()->contains({&kind.codes.front(), {0xFF, 0xFF, 0xFF}}));
}

// The same result of another call says that nothing was sent, which is no refusal.
TEST_F(PresentedCode, IsRefusedByACardThatHoldsAnotherOne) {
  constexpr auto other = [](int, const unsigned char*) { return -129; };
  insert("4406");
  const Card& compared = *toolkit::find_card("4406");
  Code code = compared.codes.front();
  code.present = other;
  EXPECT_NE(present(compared, code, {1, 2, 3}), "");
  EXPECT_TRUE(session_.refused_codes()->contains({&code, {1, 2, 3}}));
  reader_->remove();
  insert("4442");
  const Card& plain = *toolkit::find_card("4442");
  code = plain.codes.front();
  code.present = other;
  EXPECT_NE(present(plain, code, {4, 5, 6}), "");
  EXPECT_FALSE(session_.refused_codes()->contains({&code, {4, 5, 6}}));
}

TEST(ErasuresLeft, AreToldWithWhatTheirEndMeans) {
  EXPECT_EQ(toolkit::describe_erasures(0), "0 erasures left: what is written stays");
  EXPECT_EQ(toolkit::describe_erasures(1), "1 erasure left");
  EXPECT_EQ(toolkit::describe_erasures(128), "128 erasures left");
}

}  // namespace
}  // namespace quorra::testing
