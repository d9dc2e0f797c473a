// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#include "pcsc/device_name.hpp"

#include <algorithm>
#include <charconv>
#include <iterator>
#include <set>
#include <utility>

namespace quorra::pcsc {
namespace {

constexpr int speeds[] = {9600, 19200, 38400, 57600, 115200};

std::optional<int> number_in(std::string_view text) {
  int number = 0;
  const char* const end = text.data() + text.size();
  const auto [stop, error] = std::from_chars(text.data(), end, number);
  if (error != std::errc() || stop != end) return std::nullopt;
  return number;
}

bool set_speed(DeviceName& name, std::string_view value) {
  const std::optional<int> speed = number_in(value);
  if (!speed || std::ranges::find(speeds, *speed) == std::end(speeds)) return false;
  name.speed = *speed;
  return true;
}

bool set_card(DeviceName& name, std::string_view value) {
  name.kind = toolkit::find_card(value);
  if (value == "auto") {
    name.card = CardChoice::automatic;
  } else if (value == "cpu") {
    name.card = CardChoice::processor;
  } else {
    name.card = CardChoice::memory;
    return name.kind != nullptr;
  }
  return true;
}

bool set_sams(DeviceName& name, std::string_view value) {
  name.sams = number_in(value);
  return name.sams && *name.sams >= 0 && *name.sams <= most_sams;
}

bool set_presence(DeviceName& name, std::string_view value) {
  name.always_present = value == "always";
  return name.always_present || value == "auto";
}

struct Option {
  std::string_view name;
  std::string_view values;
  bool (*set)(DeviceName& name, std::string_view value);
};

constexpr Option options[] = {
    {"speed", "9600, 19200, 38400, 57600 or 115200", set_speed},
    {"card", "auto, cpu or a kind of memory card", set_card},
    {"sams", "a number from 0 to 8", set_sams},
    {"presence", "auto or always", set_presence},
};

std::string quoted(std::string_view text) { return "\"" + std::string(text) + "\""; }

void apply(DeviceName& name, std::string_view text, std::set<std::string_view>& seen) {
  const std::size_t sign = text.find('=');
  const std::string_view key = text.substr(0, sign);
  const auto* const option = std::ranges::find(options, key, &Option::name);
  if (option == std::end(options)) {
    throw BadDeviceName(quoted(text) +
                        " is none of the options speed=, card=, sams= and presence=");
  }
  if (!seen.insert(option->name).second) {
    throw BadDeviceName("there are two options " + quoted(option->name));
  }
  const bool has_value = sign != std::string_view::npos;
  if (!has_value || !option->set(name, text.substr(sign + 1))) {
    throw BadDeviceName(quoted(text) + ": " + std::string(option->name) + " is " +
                        std::string(option->values));
  }
}

}  // namespace

DeviceName parse_device_name(std::string_view text) {
  DeviceName name;
  name.path = text.substr(0, text.find(':'));
  if (name.path.empty()) throw BadDeviceName("it names neither a device nor a configuration file");
  text.remove_prefix(name.path.size());
  std::set<std::string_view> seen;
  while (!text.empty()) {
    text.remove_prefix(1);
    const std::string_view option = text.substr(0, text.find(':'));
    text.remove_prefix(option.size());
    if (!option.empty()) apply(name, option, seen);
  }
  return name;
}

}  // namespace quorra::pcsc
