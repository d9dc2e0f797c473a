// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#include "simulator/waves/capture.hpp"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <initializer_list>
#include <optional>
#include <span>
#include <string_view>
#include <utility>

#include "simulator/cards/kinds.hpp"
#include "simulator/cards/slot.hpp"
#include "simulator/error.hpp"
#include "simulator/waves/signals.hpp"

namespace quorra::simulator {
namespace {

using Level = VcdReader::Level;

constexpr std::size_t most_differences_told = 20;

// When nothing happens for so long, a card has programmed what it was programming.
constexpr std::uint64_t rest_in_femtoseconds = 1'000'000'000'000;

// The contacts that are needed of a kind of card, besides IO.
struct Wiring {
  std::string_view kind;  // what its name begins with
  std::span<const std::string_view> contacts;
  bool answers_on_c8 = false;
};

constexpr std::array two_wires{waves::clk};
constexpr std::array three_wires{waves::rst, waves::clk};
constexpr std::array four_wires{waves::rst, waves::clk, waves::c8};
constexpr std::array security_wires{waves::rst, waves::clk, waves::c4};

constexpr std::array wirings{
    Wiring{"24c", two_wires},           Wiring{"93c", three_wires},
    Wiring{"4442", three_wires},        Wiring{"4432", three_wires},
    Wiring{"4428", three_wires},        Wiring{"4418", three_wires},
    Wiring{"45d041", four_wires, true}, Wiring{"4404", security_wires},
    Wiring{"4406", security_wires},     Wiring{"101", security_wires},
    Wiring{"102", security_wires},      Wiring{"1604", security_wires},
};

const Wiring& wiring_of(std::string_view kind) {
  const auto* const found = std::ranges::find_if(
      wirings, [kind](const Wiring& wiring) { return kind.starts_with(wiring.kind); });
  if (found == wirings.end())
    throw Error(fmt::format("a {} is not spoken to bit by bit at its contacts", kind));
  return *found;
}

bool are_alike(std::string_view one, std::string_view other) {
  return std::ranges::equal(one, other, [](unsigned char a, unsigned char b) {
    return std::tolower(a) == std::tolower(b);
  });
}

std::string full_name(const VcdReader::Signal& signal) {
  return signal.scope.empty() ? signal.name : signal.scope + '.' + signal.name;
}

// A signal of the capture, and its level at the moment.
struct Pin {
  std::string code;
  Level level = Level::unknown;

  std::optional<bool> is_high(bool when_let_go) const {
    if (level == Level::unknown) return std::nullopt;
    return level == Level::let_go ? when_let_go : level == Level::high;
  }
};

// The signal that is called so, absent if there is none. Throws Error if there are several.
std::optional<Pin> find_pin(const VcdReader& capture, const SignalNames& names,
                            std::string_view contact) {
  const auto given = names.find(contact);
  const std::string name = given == names.end() ? std::string(contact) : given->second;
  std::vector<const VcdReader::Signal*> found;
  for (const VcdReader::Signal& signal : capture.signals()) {
    if (!are_alike(signal.name, name) && full_name(signal) != name) continue;
    const bool is_known = std::ranges::any_of(
        found, [&signal](const auto* other) { return other->code == signal.code; });
    if (!is_known) found.push_back(&signal);
  }
  if (found.empty() && given == names.end()) return std::nullopt;
  if (found.empty()) throw Error(fmt::format("{}: there is no signal {}", capture.name(), name));
  if (found.size() > 1)
    throw Error(fmt::format("{}: there are several signals {}; name one: --signal {}={}",
                            capture.name(), name, contact, full_name(*found.front())));
  if (!found.front()->is_bit)
    throw Error(fmt::format("{}: the signal {} is not of one bit", capture.name(), name));
  return Pin{.code = found.front()->code};
}

// The levels at which the card was seen; absent where they are not known.
struct Seen {
  std::optional<bool> io;
  std::optional<bool> c8;
};

// What a capture knows of a card.
class Capture {
 public:
  Capture(VcdReader& file, const SignalNames& names, const Wiring& wiring, std::string_view kind)
      : file_(file),
        vcc_(find_pin(file, names, waves::vcc)),
        rst_(find_pin(file, names, waves::rst)),
        clk_(find_pin(file, names, waves::clk)),
        io_(find_pin(file, names, waves::io)),
        c4_(find_pin(file, names, waves::c4)),
        c8_(find_pin(file, names, waves::c8)),
        io_of_reader_(find_pin(file, names, waves::io_of_reader)),
        io_of_card_(find_pin(file, names, waves::io_of_card)) {
    expect_contacts(names, wiring, kind);
    for (const VcdReader::Signal& signal : file.signals())
      if (signal.is_string && signal.name == waves::request) code_of_request_ = signal.code;
    contacts_.io = contacts_.c8 = true;
    contacts_.vcc = !vcc_;
  }

  // Goes on to the next time at which something changes. False at the end.
  bool advance() {
    if (!next_) next_ = file_.next();
    if (!next_) {
      expect_whole_requests();
      return false;
    }
    const std::uint64_t time = next_->time;
    for (; next_ && next_->time == time; next_ = file_.next())
      take(*next_);
    time_ = time;
    return true;
  }

  std::uint64_t time() const { return time_; }
  // The end of the capture, when it was reached.
  std::uint64_t end() const { return file_.time(); }

  // What the reader does. Where only the line was recorded, this is the line.
  Contacts contacts() {
    update(contacts_.vcc, vcc_, false);
    update(contacts_.rst, rst_, contacts_.rst);
    update(contacts_.clk, clk_, contacts_.clk);
    update(contacts_.c4, c4_, contacts_.c4);
    update(contacts_.c8, c8_, true);
    update(contacts_.io, io_of_reader_ ? io_of_reader_ : io_, true);
    return contacts_;
  }
  bool tells_sides() const { return io_of_reader_.has_value(); }

  Seen seen() const {
    return {.io = (io_of_card_ ? io_of_card_ : io_)->is_high(true),
            .c8 = c8_ ? c8_->is_high(true) : std::nullopt};
  }
  bool sees_card_alone() const { return io_of_card_.has_value(); }

 private:
  static void update(bool& level, const std::optional<Pin>& pin, bool when_let_go) {
    if (pin) level = pin->is_high(when_let_go).value_or(level);
  }

  void take(const VcdReader::Change& change) {
    for (auto* const pin : {&vcc_, &rst_, &clk_, &io_, &c4_, &c8_, &io_of_reader_, &io_of_card_})
      if (*pin && (*pin)->code == change.code) (*pin)->level = change.level;
    if (change.code == code_of_request_) is_within_request_ = change.text != waves::idle;
  }

  void expect_contacts(const SignalNames& names, const Wiring& wiring,
                       std::string_view kind) const {
    std::vector<std::string_view> missing;
    for (const std::string_view contact : wiring.contacts)
      if (!find_pin(file_, names, contact)) missing.push_back(contact);
    if (!io_ && !(io_of_reader_ && io_of_card_)) missing.push_back(waves::io);
    if (missing.empty()) return;
    std::vector<std::string> there;
    for (const VcdReader::Signal& signal : file_.signals())
      if (there.size() < most_differences_told) there.push_back(full_name(signal));
    throw Error(fmt::format("{}: a {} needs the signals {}; there are {}", file_.name(), kind,
                            fmt::join(missing, ", "),
                            there.empty() ? "none" : fmt::format("{}", fmt::join(there, ", "))));
  }

  // Where it was recorded nothing ends within a request.
  void expect_whole_requests() const {
    if (is_within_request_)
      throw Error(fmt::format("{}: the file is cut off within a request", file_.name()));
  }

  VcdReader& file_;
  std::optional<Pin> vcc_;
  std::optional<Pin> rst_;
  std::optional<Pin> clk_;
  std::optional<Pin> io_;
  std::optional<Pin> c4_;
  std::optional<Pin> c8_;
  std::optional<Pin> io_of_reader_;
  std::optional<Pin> io_of_card_;
  std::optional<std::string> code_of_request_;
  bool is_within_request_ = false;
  Contacts contacts_;
  std::optional<VcdReader::Change> next_;
  std::uint64_t time_ = 0;
};

// The chip in the place of the card that was recorded.
class Trial {
 public:
  Trial(Chip& chip, const Wiring& wiring) : chip_(chip), wiring_(wiring) { slot_.insert(chip); }

  // Makes the changes of one moment. Where several contacts change, data is there before CLK rises,
  // and goes when it has fallen.
  void put(const Contacts& now) {
    const Contacts before = std::exchange(before_, now.vcc ? now : Contacts());
    if (!now.vcc) return slot_.power_off();
    slot_.set_vcc(true);
    if (now.clk && !before.clk) {
      put_rest(now);
      slot_.set_clk(true);
    } else {
      slot_.set_clk(now.clk);
      slot_.set_io(now.io);
      put_rest(now);
    }
  }

  void compare(const Capture& capture, const Seen& seen, std::uint64_t until) {
    if (!slot_.powered()) {
      has_c8_ = false;
      return;
    }
    const bool lets_io_go = !chip_.pulls_io_low();
    if (capture.sees_card_alone()) {
      compare(io_, waves::io_of_card, seen.io, lets_io_go, until);
    } else if (capture.tells_sides()) {
      compare(io_, waves::io, seen.io, before_.io && lets_io_go, until);
    } else if (chip_.answers_on_io()) {
      compare(io_, waves::io, seen.io, lets_io_go, until);
    } else {
      end(io_);
    }
    // Until the reader lets it go, C8 is not the card's.
    has_c8_ = has_c8_ || seen.c8.value_or(false);
    if (wiring_.answers_on_c8 && has_c8_)
      compare(c8_, waves::c8, seen.c8, !chip_.pulls_c8_low(), until);
  }

  void rest() { chip_.rest(); }
  void set_time(std::uint64_t time) { since_ = time; }
  std::uint64_t since() const { return since_; }

  Judgement judgement() {
    end(io_);
    end(c8_);
    return std::move(judgement_);
  }

 private:
  void put_rest(const Contacts& now) {
    slot_.set_rst(now.rst);
    slot_.set_c4(now.c4);
    slot_.set_c8(now.c8 || chip_.pulls_c8_low());
    slot_.set_io(now.io);
  }

  // The same difference, over more than one change of the reader, is one.
  void compare(std::optional<Difference>& open, std::string_view signal, std::optional<bool> seen,
               bool expected, std::uint64_t until) {
    if (!seen) return;
    ++judgement_.comparisons;
    if (open && (*seen == expected || open->recorded != *seen)) end(open);
    if (*seen == expected) return;
    if (!open)
      open = Difference{
          .signal = std::string(signal), .recorded = *seen, .begin = since_, .end = until};
    open->end = until;
  }

  void end(std::optional<Difference>& open) {
    if (!open) return;
    ++judgement_.differences;
    if (judgement_.first_differences.size() < most_differences_told)
      judgement_.first_differences.push_back(*open);
    open.reset();
  }

  Chip& chip_;
  const Wiring& wiring_;
  Slot slot_;
  Contacts before_;
  bool has_c8_ = false;
  std::uint64_t since_ = 0;
  std::optional<Difference> io_;
  std::optional<Difference> c8_;
  Judgement judgement_;
};

// What is told of the kind must be right; most files tell nothing.
void expect_kind(const VcdReader& capture, std::string_view kind) {
  for (const std::string& comment : capture.comments()) {
    const std::string begin = fmt::format("{} ", waves::kind_of_card);
    if (!comment.starts_with(begin)) continue;
    const std::string recorded = comment.substr(begin.size());
    const bool is_known = std::ranges::find(kinds(), recorded, &Kind::name) != kinds().end();
    if (is_known && recorded != kind)
      throw Error(fmt::format("{}: it was recorded with a {}, and this card is a {}",
                              capture.name(), recorded, kind));
  }
}

// With the line alone, a change of IO may be the card's.
bool reader_acts(const Contacts& before, Contacts now, bool tells_sides) {
  if (!tells_sides) now.io = before.io;
  now.c8 = before.c8;
  return now != before;
}

}  // namespace

Judgement judge(Chip& chip, VcdReader& capture, const SignalNames& names) {
  const std::string_view kind = std::as_const(chip).image().kind().name;
  const Wiring& wiring = wiring_of(kind);
  expect_kind(capture, kind);
  Capture recorded(capture, names, wiring, kind);
  Trial trial(chip, wiring);
  const std::uint64_t rest =
      capture.femtoseconds() == 0 ? 0 : rest_in_femtoseconds / capture.femtoseconds();
  std::uint64_t clocks = 0;
  Contacts before;
  Seen seen = recorded.seen();
  while (recorded.advance()) {
    const Contacts now = recorded.contacts();
    if (reader_acts(before, now, recorded.tells_sides())) {
      if (rest != 0 && recorded.time() - trial.since() >= rest) trial.rest();
      trial.compare(recorded, seen, recorded.time());
      trial.set_time(recorded.time());
    }
    if (now.clk != before.clk) ++clocks;
    trial.put(now);
    before = now;
    seen = recorded.seen();
  }
  trial.compare(recorded, seen, recorded.end());
  Judgement judgement = trial.judgement();
  if (clocks < 2 || judgement.comparisons == 0)
    throw Error(fmt::format("{}: {}", capture.name(),
                            clocks < 2 ? "CLK does not change in it"
                                       : "there is no moment at which the card would answer"));
  return judgement;
}

std::string time_in_words(const VcdReader& capture, std::uint64_t time) {
  if (capture.femtoseconds() == 0) return fmt::format("#{}", time);
  constexpr double femtoseconds_per_millisecond = 1e12;
  const double milliseconds = static_cast<double>(time) *
                              static_cast<double>(capture.femtoseconds()) /
                              femtoseconds_per_millisecond;
  return fmt::format("#{} ({:.10g} ms)", time, milliseconds);
}

}  // namespace quorra::simulator
