// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#include "simulator/program/play.hpp"

#include <fmt/core.h>

#include <algorithm>
#include <array>
#include <fstream>
#include <string_view>

#include "simulator/cards/image.hpp"
#include "simulator/cards/kinds.hpp"
#include "simulator/error.hpp"
#include "simulator/files.hpp"
#include "simulator/program/output.hpp"
#include "simulator/text.hpp"
#include "simulator/waves/capture.hpp"
#include "simulator/waves/signals.hpp"

namespace quorra::simulator {
namespace {

constexpr int exit_differs = 1;

constexpr std::array contacts{waves::vcc, waves::rst, waves::clk,          waves::io,
                              waves::c4,  waves::c8,  waves::io_of_reader, waves::io_of_card};

SignalNames parse_names(const std::vector<std::string>& texts) {
  SignalNames names;
  for (const std::string& text : texts) {
    const std::size_t sign = text.find('=');
    const std::string contact = text.substr(0, sign);
    if (sign == std::string::npos || sign + 1 == text.size() ||
        std::ranges::find(contacts, contact) == contacts.end())
      throw Error(fmt::format("signal must be CONTACT=NAME, such as CLK=D0: {}", text));
    if (!names.emplace(contact, text.substr(sign + 1)).second)
      throw Error(fmt::format("there are two signals for {}", contact));
  }
  return names;
}

std::string counted(std::uint64_t count, std::string_view what) {
  return fmt::format("{} {}{}", count, what, count == 1 ? "" : "s");
}

}  // namespace

int play_waves(const std::string& waves, const std::string& image,
               const std::vector<std::string>& names) {
  const SignalNames signals = parse_names(names);
  Image card = load_image(image);
  const Kind& kind = card.kind();
  const auto chip = kind.make_chip(std::move(card));
  std::ifstream file(waves, std::ios::binary);
  if (!file || file.peek() == std::ifstream::traits_type::eof())
    throw Error(fmt::format("{}: {}", waves,
                            file.is_open() ? "no value change dump (VCD)" : system_error_text()));
  VcdReader capture(file, waves);
  const Judgement judgement = judge(*chip, capture, signals);

  std::string text;
  for (const Difference& difference : judgement.first_differences)
    text += fmt::format("{} to {}: {} is {:d} in the capture, and {:d} with this card\n",
                        time_in_words(capture, difference.begin),
                        time_in_words(capture, difference.end), difference.signal,
                        difference.recorded, !difference.recorded);
  const std::uint64_t untold = judgement.differences - judgement.first_differences.size();
  if (untold != 0) text += fmt::format("and {} more\n", untold);
  const std::string compared = counted(judgement.comparisons, "comparison");
  text += judgement.differences == 0
              ? fmt::format("The {} does what was recorded: {}.\n", kind.name, compared)
              : fmt::format("The {} does not do what was recorded: {} in {}.\n", kind.name,
                            counted(judgement.differences, "difference"), compared);
  print(text);
  return judgement.differences == 0 ? 0 : exit_differs;
}

}  // namespace quorra::simulator
