// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#include <fmt/core.h>
#include <gtest/gtest.h>

#include <algorithm>

#include "simulator/cards/image.hpp"
#include "simulator/cards/kinds.hpp"
#include "simulator/error.hpp"

namespace quorra::simulator {
namespace {

constexpr std::size_t card_size = std::size_t{2048} * 264;
const std::string header = "# A card of the virtual reader.\nformat = 1\nkind = \"45d041\"\n---\n";

std::string complaint_about(const std::string& content) {
  try {
    parse_image(content, "card");
    return {};
  } catch (const Error& error) {
    return error.what();
  }
}

TEST(RawImage, is_a_text_with_the_bytes_behind_it) {
  Image image(find_kind("45d041"));
  image.field("memory").front() = '\n';
  image.field("memory").back() = 0;
  std::string memory(card_size, '\xFF');
  memory.front() = '\n';
  memory.back() = '\0';
  EXPECT_TRUE(to_text(image) == header + memory);
  const Image again = parse_image(header + memory, "card");
  EXPECT_TRUE(std::ranges::equal(again.field("memory"), image.field("memory")));
}

TEST(RawImage, may_have_any_bytes) {
  std::string memory(card_size, '\0');
  const std::string_view text = "\n---\nkind = 5\n---\n\xFF\x00";
  std::ranges::copy(text, memory.begin() + 1000);
  EXPECT_EQ(complaint_about(header + memory), "");
}

TEST(RawImage, must_have_all_its_bytes_and_no_more) {
  EXPECT_EQ(complaint_about(header + std::string(card_size - 1, ' ')),
            "card:4: memory has 540671 bytes, but a card of this kind has 540672");
  EXPECT_EQ(complaint_about(header + std::string(card_size + 1, ' ')),
            "card:4: memory has 540673 bytes, but a card of this kind has 540672");
  EXPECT_EQ(complaint_about(header),
            "card:4: memory has 0 bytes, but a card of this kind has 540672");
}

TEST(RawImage, may_be_cut_nowhere) {
  for (std::size_t length = 0; length < header.size(); ++length)
    EXPECT_NE(complaint_about(header.substr(0, length)), "") << length;
  EXPECT_EQ(complaint_about(header.substr(0, header.size() - 4)), "card: memory is missing");
}

TEST(RawImage, has_its_memory_nowhere_else) {
  const std::string bytes(card_size, ' ');
  EXPECT_EQ(complaint_about("format = 1\nkind = \"45d041\"\nmemory = \"\"\n---\n" + bytes),
            "card:3: unknown key memory for a 45d041");
  EXPECT_EQ(complaint_about("format = 2\nkind = \"45d041\"\n---\n" + bytes),
            "card:1: format must be 1");
}

TEST(RawImage, is_not_for_every_kind) {
  const std::string text = to_text(Image(find_kind("4432")));
  EXPECT_EQ(complaint_about(text + "---\n"),
            fmt::format("card:{}: nothing can follow the text of a 4432",
                        std::ranges::count(text, '\n') + 1));
}

}  // namespace
}  // namespace quorra::simulator
