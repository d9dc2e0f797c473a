// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// quorra map

#include <fmt/color.h>
#include <fmt/core.h>
#include <unistd.h>

#include <algorithm>
#include <bit>
#include <cmath>
#include <memory>
#include <numeric>

#include "cli/card_in_reader.hpp"
#include "cli/commands/commands.hpp"
#include "cli/files.hpp"
#include "cli/keys.hpp"
#include "cli/options.hpp"
#include "cli/report.hpp"
#include "cli/terminal/hex_dump.hpp"
#include "cli/terminal/terminal.hpp"
#include "toolkit/memory/layout.hpp"
#include "toolkit/memory/transfer.hpp"
#include "toolkit/text.hpp"

namespace quorra::cli {
namespace {

constexpr int strip_width = 78;
constexpr std::size_t most_bytes_shown = 12;

struct MapOptions {
  CodeOptions code;
  std::optional<std::string> yes;
};

// How an area is drawn.
struct Sign {
  AreaRole role;
  char letter;
  bool guards;  // a code or a counter
};

constexpr Sign signs[] = {
    {AreaRole::identification, 'i', false}, {AreaRole::protectable, 'r', false},
    {AreaRole::issuer, 'o', false},         {AreaRole::code, 'C', true},
    {AreaRole::attempts, 'a', true},        {AreaRole::flags, 'f', false},
    {AreaRole::data, '-', false},           {AreaRole::erase_code, 'E', true},
    {AreaRole::erasures, 'e', true},        {AreaRole::personalisation, 'p', true},
    {AreaRole::units, 'u', false},
};

// Every role has one.
const Sign& sign_of(AreaRole role) { return *std::ranges::find(signs, role, &Sign::role); }

// An area with the bytes that were read from it. Those of a card that is nothing but data are not
// read: they may be many.
struct DrawnArea {
  const Memory* memory;
  Area area;
  int count;
  Bytes bytes;
};

constexpr Area only_data[] = {{0, AreaRole::data}};

struct Picture {
  const Card* card = nullptr;
  std::vector<DrawnArea> places;
  std::vector<Region> regions;    // the same, as other commands name them
  std::string state;              // whether it is personalised
  std::vector<std::string> left;  // what counters say, for each place
};

bool all_are(const Bytes& bytes, unsigned char value) {
  return std::ranges::all_of(bytes, [value](unsigned char byte) { return byte == value; });
}

void add_places(Picture& picture, const Connection& connection, const Memory& memory,
                std::span<const Area> areas) {
  Bytes held;
  if (areas.empty()) {
    areas = only_data;
  } else {
    held = read_memory(connection, memory, {0, memory.size}, reading_card);
  }
  for (std::size_t i = 0; i < areas.size(); ++i) {
    const int first = areas[i].first;
    const int end = i + 1 < areas.size() ? areas[i + 1].first : memory.size;
    DrawnArea place{.memory = &memory, .area = areas[i], .count = end - first, .bytes = {}};
    if (!held.empty()) place.bytes = {held.begin() + first, held.begin() + end};
    picture.places.push_back(std::move(place));
  }
}

// Codes are shown to the issuer only, who has presented the master code.
std::string state_of(const Picture& picture, const Keys& keys) {
  constexpr std::string_view unknown = "It does not tell whether it is personalised.";
  // It comes first.
  const auto master = std::ranges::find_if(
      picture.places, [](const DrawnArea& place) { return place.area.role == AreaRole::code; });
  if (!keys.code || keys.code->code != &picture.card->codes.front()) return std::string(unknown);
  if (all_are(keys.code->bytes, 0xFF)) return std::string(unknown);
  return master->bytes == keys.code->bytes ? "It is not personalised."
                                           : "It is personalised, or its fuse is imitated.";
}

std::string words_for_attempts(const Connection& connection, const Card& card, int number) {
  const Code& code = card.codes[static_cast<std::size_t>(number)];
  const int left = attempts_left(connection, card, code);
  std::string_view meaning;
  if (left == 0) meaning = ": locked for good";
  if (left == 1) meaning = ": the last one";
  return counted(left, "attempt") + " left" + std::string(meaning);
}

std::string words_for_counter(const Connection& connection, const Card& card, const Area& area) {
  if (area.role == AreaRole::attempts) {
    return words_for_attempts(connection, card, area.number);
  }
  if (area.role != AreaRole::erasures) return {};
  const std::optional<int> zone = card.has_zones() ? std::optional(area.number) : std::nullopt;
  const Code& erase_code = erase_code_of(card, memory_of(card, zone));
  return counted(erasures_left(connection, erase_code), "erasure") + " left";
}

Picture take_picture(const Connection& connection, const Card& card, const Keys& keys) {
  Picture picture{.card = &card, .places = {}, .regions = {}, .state = {}, .left = {}};
  const bool is_personalised = is_known_as_personalised(connection, card);
  picture.regions = regions_of(card, is_personalised);
  if (card.units) {
    add_places(picture, connection, card.memory,
               is_personalised ? card.units->areas : card.memory.areas);
    picture.state = is_personalised ? "It is personalised." : "It is not personalised.";
  } else {
    add_places(picture, connection, card.memory, card.memory.areas);
    for (const Memory& zone : card.further_zones) {
      add_places(picture, connection, zone, zone.areas);
    }
    if (card.personalise != nullptr) picture.state = state_of(picture, keys);
  }
  for (const DrawnArea& place : picture.places) {
    picture.left.push_back(words_for_counter(connection, card, place.area));
  }
  return picture;
}

// Each zone has a colour of its own; what guards it is drawn in bright letters.
fmt::text_style style_of(const DrawnArea& place, bool colour) {
  constexpr fmt::terminal_color zones[] = {fmt::terminal_color::cyan, fmt::terminal_color::blue,
                                           fmt::terminal_color::green, fmt::terminal_color::magenta,
                                           fmt::terminal_color::yellow};
  if (!colour) return {};
  const auto style = bg(zones[static_cast<std::size_t>(place.memory->zone)]);
  return sign_of(place.area.role).guards
             ? style | fg(fmt::terminal_color::bright_white) | fmt::emphasis::bold
             : style | fg(fmt::terminal_color::black);
}

// The columns of each place in the strip: a large area is wider than a small one, but not as much
// as it is larger, and each is to be seen.
std::vector<int> widths_of(const Picture& picture, int columns) {
  std::vector<int> widths;
  for (const DrawnArea& place : picture.places) {
    widths.push_back(static_cast<int>(std::ceil(std::sqrt(place.count))));
  }
  const int wanted = std::accumulate(widths.begin(), widths.end(), 0);
  for (int& width : widths) {
    width = std::max(1, width * columns / wanted);
  }
  const auto widest = std::ranges::max_element(widths);
  *widest += columns - std::accumulate(widths.begin(), widths.end(), 0);
  return widths;
}

std::string strip_of(const Picture& picture, bool colour) {
  const auto zones = static_cast<int>(picture.card->further_zones.size()) + 1;
  const std::vector<int> widths = widths_of(picture, strip_width - zones - 1);
  std::string strip = "|";
  for (std::size_t i = 0; i < widths.size(); ++i) {
    const DrawnArea& place = picture.places[i];
    const std::string letters(static_cast<std::size_t>(widths[i]), sign_of(place.area.role).letter);
    strip += fmt::format(style_of(place, colour), "{}", letters);
    const bool is_last = i + 1 == widths.size();
    if (is_last || picture.places[i + 1].memory != place.memory) strip += '|';
  }
  return strip + "\n";
}

std::string words_for_flags(unsigned char flags) {
  return fmt::format("{}, {}", (flags & write_flag) != 0 ? "may be written" : "no more writing",
                     (flags & read_flag) != 0 ? "read by everybody" : "read with the code only");
}

std::string words_for_bytes(const Bytes& bytes) {
  if (bytes.size() <= most_bytes_shown) return hex_text(bytes);
  const std::string all = counted(static_cast<int>(bytes.size()), "byte");
  const auto used = std::ranges::count_if(bytes, [](unsigned char byte) { return byte != 0xFF; });
  return used == 0 ? all + ", all of them FF" : fmt::format("{}, {} of them not FF", all, used);
}

bool may_be_hidden(const Picture& picture, const DrawnArea& place) {
  if (sign_of(place.area.role).guards) return all_are(place.bytes, 0xFF) || all_are(place.bytes, 0);
  if (place.area.role != AreaRole::data || !place.memory->flags) return false;
  const auto flags = std::ranges::find_if(picture.places, [&place](const DrawnArea& other) {
    return other.memory == place.memory && other.area.role == AreaRole::flags;
  });
  return (flags->bytes.front() & read_flag) == 0 && all_are(place.bytes, 0xFF);
}

std::string words_for(const Picture& picture, std::size_t index) {
  const DrawnArea& place = picture.places[index];
  switch (place.area.role) {
    case AreaRole::attempts:
    case AreaRole::erasures:
      return picture.left[index];
    case AreaRole::flags:
      return words_for_flags(place.bytes.front());
    case AreaRole::personalisation:
      return hex_text(place.bytes);
    case AreaRole::units:
      return counted(std::popcount(place.bytes.front()), "unit") + " left";
    default:
      if (place.bytes.empty()) return counted(place.count, "byte");
      return words_for_bytes(place.bytes) + (may_be_hidden(picture, place) ? ", or hidden" : "");
  }
}

std::size_t width_of_names(const Picture& picture) {
  const auto longest = std::ranges::max_element(
      picture.regions, {}, [](const Region& region) { return region.name.size(); });
  return longest->name.size();
}

std::string row_of(const Picture& picture, std::size_t index, bool colour) {
  const DrawnArea& place = picture.places[index];
  const int first = place.area.first;
  const int last = first + place.count - 1;
  const std::string addresses =
      first == last ? fmt::format("{:04X}", first) : fmt::format("{:04X}-{:04X}", first, last);
  return fmt::format("  {}  {:9}  {:{}}  {}\n",
                     fmt::format(style_of(place, colour), " {} ", sign_of(place.area.role).letter),
                     addresses, picture.regions[index].name, width_of_names(picture),
                     words_for(picture, index));
}

std::string draw(const Picture& picture, std::string_view size, bool colour) {
  std::string text =
      fmt::format("{} card, {}.{}{}\n\n{}", picture.card->name, size,
                  picture.state.empty() ? "" : " ", picture.state, strip_of(picture, colour));
  const Memory* memory = nullptr;
  for (std::size_t i = 0; i < picture.places.size(); ++i) {
    const DrawnArea& place = picture.places[i];
    if (place.memory != memory) {
      memory = place.memory;
      text += picture.card->has_zones() ? fmt::format("\nzone {}, {} from 0x{:04X}\n", memory->zone,
                                                      counted(memory->size, "byte"),
                                                      first_address_of(*picture.card, *memory))
                                        : "\n";
    }
    text += row_of(picture, i, colour);
  }
  return text;
}

Json describe_for_programs(const Picture& picture) {
  Json areas = Json::array();
  for (std::size_t i = 0; i < picture.places.size(); ++i) {
    const DrawnArea& place = picture.places[i];
    Json area = fields_of(*picture.card, *place.memory, {place.area.first, place.count});
    area.erase("card");
    area["name"] = picture.regions[i].name;
    area["card_address"] = picture.regions[i].range.address;
    if (!place.bytes.empty()) area["data"] = plain_hex(place.bytes);
    area["words"] = words_for(picture, i);
    areas.push_back(area);
  }
  return {{"card", picture.card->name}, {"state", picture.state}, {"areas", areas}};
}

void run_map(const Settings& settings, const MapOptions& options) {
  CardInReader slot(settings, options.yes);
  const Card& card = slot.kind();
  const Keys keys = parse_keys(card, options.code);
  Picture picture;
  {
    const Connection connection = slot.connect();
    present(connection, card, keys, confirm_unless(options.yes, card, connection));
    picture = take_picture(connection, card, keys);
  }
  tell(settings, draw(picture, describe_size(card), wants_colour(STDOUT_FILENO)),
       describe_for_programs(picture));
}

}  // namespace

void add_map(CLI::App& program, const Settings& settings) {
  const auto options = std::make_shared<MapOptions>();
  CLI::App* command = program.add_subcommand(
      "map", "Draw what is where on a card, by names that --at takes, and what its counters say");
  add_present_code(*command, options->code);
  add_yes(*command, options->yes);
  add_examples(*command, {"quorra map --config reader.conf --card 1604",
                          "quorra map --config reader.conf --card 102 --code FFFF"});
  command->callback([&settings, options] { run_map(settings, *options); });
}

}  // namespace quorra::cli
