// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// Waves: any bytes are refused with a complaint of one line, or are played to a card of each
// family.

#include <array>
#include <sstream>
#include <string>
#include <string_view>

#include "fuzz/support/check.hpp"
#include "simulator/cards/image.hpp"
#include "simulator/cards/kinds.hpp"
#include "simulator/error.hpp"
#include "simulator/waves/capture.hpp"
#include "simulator/waves/vcd_reader.hpp"

using namespace quorra::fuzzing;
using namespace quorra::simulator;

namespace {

// The large one takes longer than all the others.
constexpr std::array<std::string_view, 6> played{"24c02", "93c46a", "4442", "4428", "101", "4406"};

template <typename Work>
void expect_one_line(Work work) {
  try {
    work();
  } catch (const Error& error) {
    const std::string_view complaint = error.what();
    require(!complaint.empty() && complaint.find('\n') == std::string_view::npos,
            "a complaint is one line");
  }
}

void read_all(const std::string& text) {
  std::istringstream stream(text);
  VcdReader reader(stream, "waves");
  std::uint64_t time = 0;
  while (const auto change = reader.next()) {
    require(change->time >= time && change->time <= reader.time(), "time goes on");
    require(!change->code.empty(), "a change is one of a signal");
    time = change->time;
  }
}

void play(const std::string& text, std::string_view kind) {
  std::istringstream stream(text);
  VcdReader reader(stream, "waves");
  const auto chip = find_kind(kind).make_chip(Image(find_kind(kind)));
  const Judgement judgement = judge(*chip, reader, {});
  require(judgement.first_differences.size() <= judgement.differences &&
              judgement.differences <= judgement.comparisons,
          "a difference is found by comparing");
  for (const Difference& difference : judgement.first_differences) {
    require(difference.begin <= difference.end && difference.end <= reader.time(),
            "a difference lies in the waves");
    require(!time_in_words(reader, difference.end).empty(), "its time can be told");
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size) {
  const std::string text(data, data + size);
  expect_one_line([&] { read_all(text); });
  for (const std::string_view kind : played)
    expect_one_line([&] { play(text, kind); });
  return 0;
}
