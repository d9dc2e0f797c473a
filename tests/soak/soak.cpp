// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#include "tests/soak/soak.hpp"

#include <fmt/core.h>
#include <malloc.h>
#include <quorra.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <exception>
#include <filesystem>
#include <fstream>
#include <optional>
#include <random>
#include <stdexcept>
#include <vector>

#include "simulator/cards/image.hpp"
#include "simulator/cards/kinds.hpp"
#include "simulator/line/faults.hpp"
#include "tests/soak/line.hpp"
#include "tests/soak/places.hpp"
#include "tests/support/process.hpp"

namespace quorra::testing {
namespace {

using simulator::Fault;
using simulator::FaultKind;

constexpr int bytes_per_frame = 144;
constexpr unsigned char erased = 0xFF;

// What is in use after the first operations may differ from what is in use later by so much.
constexpr long warm_up = 1000;
constexpr long heap_tolerance = 2'000'000;
constexpr long resident_tolerance = 16'000'000;

[[noreturn]] void fail(const std::string& what) { throw std::runtime_error(what); }

long descriptors() {
  const std::filesystem::directory_iterator open("/proc/self/fd");
  return std::distance(begin(open), end(open));
}

long heap_in_use() {
  const struct mallinfo2 info = mallinfo2();
  return static_cast<long>(info.uordblks + info.hblkhd);
}

long resident_memory() {
  long total = 0;
  long resident = 0;
  std::ifstream("/proc/self/statm") >> total >> resident;
  return resident * sysconf(_SC_PAGESIZE);
}

// A part of a place: address of the first byte, counted from the place's own first one, and count.
struct Range {
  int at;
  int count;
};

// What a transfer is cut into.
std::vector<Range> frames_of(const Place& place, const Range& range) {
  std::vector<Range> frames;
  for (int at = range.at; at < range.at + range.count;) {
    int count = std::min(bytes_per_frame, range.at + range.count - at);
    if (place.page != 0) count = std::min(count, place.page - at % place.page);
    frames.push_back({at, count});
    at += count;
  }
  return frames;
}

// A write or an erase that is under way.
struct Change {
  Range range;
  Bytes content;
};

class Soak {
 public:
  Soak(unsigned seed, Summary& summary)
      : random_(seed),
        summary_(summary),
        line_(options(), (std::filesystem::path(folder_ / "reader.conf"))) {
    reopen();
    for (const Place& place : places()) {
      if (!place.kind.empty()) exchange_card(place);
      power_up(place);
      cells_.push_back(read(place, {0, place.size}));
    }
    descriptors_ = descriptors();
  }

  void step() {
    if (below(10) == 0) exchange_card(some_card());
    const Place& place = some_place();
    if (!is_ready(place)) power_up(place);
    ++summary_.operations_by_place[place.name];
    const std::optional<FaultKind> fault = below(8) == 0 ? std::optional(arm()) : std::nullopt;
    change_.reset();
    const int code = operate(place, fault.has_value());
    digest(code);
    if (fault) recover(place, *fault);
    ++summary_.operations;
    if (summary_.operations == warm_up) {
      heap_ = heap_in_use();
      resident_ = resident_memory();
    }
  }

  // What is left at the end is what the arrays say, and nothing was lost.
  void finish() {
    for (std::size_t i = 0; i < places().size(); ++i) {
      const Place& place = places()[i];
      if (!place.kind.empty()) exchange_card(place);
      power_up(place);
      if (read(place, {0, place.size}) != cells_[i]) fail(place.name + " holds other bytes");
    }
    line_.close();
    line_.bench().remove();
    for (std::size_t i = 0; i < places().size(); ++i)
      if (!places()[i].kind.empty()) check_image(places()[i], cells_[i]);
    // Without the session and the card.
    if (descriptors() != descriptors_ - 2)
      fail(fmt::format("{} descriptors were open, {} are", descriptors_ - 2, descriptors()));
    if (summary_.operations <= warm_up) return;
    if (heap_in_use() > heap_ + heap_tolerance)
      fail(fmt::format("{} bytes of the heap were in use, {} are", heap_, heap_in_use()));
    if (resident_memory() > resident_ + resident_tolerance)
      fail(fmt::format("{} bytes were resident, {} are", resident_, resident_memory()));
  }

 private:
  int below(int bound) { return static_cast<int>(random_() % static_cast<unsigned>(bound)); }

  void digest(int number) {
    constexpr std::uint64_t prime = 0x100000001B3;
    summary_.digest = (summary_.digest ^ static_cast<unsigned>(number)) * prime;
  }

  std::string file_of(const std::string& name) const { return folder_ / name; }

  simulator::Options options() const {
    for (const Place& place : places())
      if (!place.kind.empty())
        save_image(simulator::Image(simulator::find_kind(place.kind)), file_of(place.kind));
    simulator::Options options;
    options.sams[0] = file_of("sam");
    save_image(simulator::Image(simulator::find_kind("cpu")), options.sams[0]);
    return options;
  }

  Bytes& cells_of(const Place& place) {
    return cells_.at(static_cast<std::size_t>(&place - places().data()));
  }

  // ---- The bench
  // ---------------------------------------------------------------------------------

  void reopen() {
    handle_ = line_.open();
    if (handle_ < 0) fail(fmt::format("ic_init gives {}", handle_));
  }

  void exchange_card(const Place& place) {
    if (card_ != nullptr) line_.bench().remove();
    insert(place);
  }

  void insert(const Place& place) {
    line_.bench().insert(file_of(place.kind));
    card_ = &place;
    card_is_ready_ = false;
  }

  const Place& some_card() {
    for (;;) {
      const Place& place =
          places()[static_cast<std::size_t>(below(static_cast<int>(places().size())))];
      if (!place.kind.empty()) return place;
    }
  }

  // The card in the slot, most of the time.
  const Place& some_place() {
    if (below(4) != 0) return *card_;
    for (;;) {
      const Place& place =
          places()[static_cast<std::size_t>(below(static_cast<int>(places().size())))];
      if (place.kind.empty()) return place;
    }
  }

  bool is_ready(const Place& place) const {
    return place.kind.empty() ? sam_is_ready_ : card_is_ready_;
  }

  void power_up(const Place& place) {
    if (place.prepare) {
      const int code = place.prepare(handle_);
      if (code != 0) fail(fmt::format("{} cannot be prepared: {}", place.name, code));
    }
    if (!place.kind.empty()) card_is_ready_ = true;
    if (place.name == "sam") sam_is_ready_ = true;
  }

  // ---- Operations
  // --------------------------------------------------------------------------------

  Range some_range(const Place& place) {
    const int units = place.size / place.unit;
    const int most = below(8) == 0 ? 600 : 16;
    const int at = below(units);
    // The functions for files of processor cards know one frame.
    const int largest = place.name == "cpu" || place.name == "sam" ? 64 : most;
    const int count = 1 + below(std::min(largest, units - at));
    return {at * place.unit, count * place.unit};
  }

  Bytes read(const Place& place, const Range& range) {
    Bytes bytes(static_cast<std::size_t>(range.count));
    const bool in_pieces = place.name == "cpu" || place.name == "sam";
    const int piece = in_pieces ? 64 : range.count;
    for (int done = 0; done < range.count; done += piece) {
      const int count = std::min(piece, range.count - done);
      const int code =
          place.read(handle_, place.begin + range.at + done, count, bytes.data() + done);
      if (code != 0) fail(fmt::format("reading from {} gives {}", place.name, code));
    }
    return bytes;
  }

  int operate(const Place& place, bool may_fail) {
    switch (below(8)) {
      case 0:
        return ask_the_reader(may_fail);
      case 1:
        if (place.present_wrong_code) return present_wrong_code(place, may_fail);
        [[fallthrough]];
      case 2:
      case 3:
      case 4:
        return read_some(place, may_fail);
      case 5:
        if (place.erase) return erase(place, may_fail);
        [[fallthrough]];
      default:
        return write(place, may_fail);
    }
  }

  static void expect(bool good, bool may_fail, const std::string& what, int code) {
    if (!good && !may_fail) fail(fmt::format("{} gives {}", what, code));
  }

  int read_some(const Place& place, bool may_fail) {
    const Range range = some_range(place);
    Bytes bytes(static_cast<std::size_t>(range.count));
    const int code = place.read(handle_, place.begin + range.at, range.count, bytes.data());
    expect(code == 0, may_fail, "reading from " + place.name, code);
    const Bytes& cells = cells_of(place);
    if (code == 0 && !std::equal(bytes.begin(), bytes.end(), cells.begin() + range.at))
      fail(fmt::format("{} bytes at {} of {} are others", range.count, range.at, place.name));
    for (const unsigned char byte : bytes)
      digest(byte);
    return code;
  }

  int write(const Place& place, bool may_fail) {
    const Range range = some_range(place);
    const Bytes& cells = cells_of(place);
    Bytes content(static_cast<std::size_t>(range.count));
    for (std::size_t i = 0; i < content.size(); ++i) {
      const auto byte = static_cast<unsigned char>(random_());
      const unsigned char held = cells[static_cast<std::size_t>(range.at) + i];
      content[i] = place.bits_only_fall ? static_cast<unsigned char>(held & byte) : byte;
    }
    const int code = place.write(handle_, place.begin + range.at, range.count, content.data());
    expect(code == 0, may_fail, "writing to " + place.name, code);
    return changes(place, {range, content}, code);
  }

  int erase(const Place& place, bool may_fail) {
    const Range range = some_range(place);
    const int code = place.erase(handle_, place.begin + range.at, range.count);
    expect(code == 0, may_fail, "erasing " + place.name, code);
    return changes(place, {range, Bytes(static_cast<std::size_t>(range.count), erased)}, code);
  }

  int changes(const Place& place, Change change, int code) {
    if (code == 0 && !answers_may_lie_) {
      std::ranges::copy(change.content, cells_of(place).begin() + change.range.at);
    } else {
      change_ = std::move(change);
    }
    return code;
  }

  int present_wrong_code(const Place& place, bool may_fail) {
    const int code = place.present_wrong_code(handle_);
    expect(code != 0, may_fail, "a wrong code of " + place.name, code);
    if (!may_fail) power_up(place);
    return code;
  }

  int ask_the_reader(bool may_fail) {
    std::array<unsigned char, 18> text{};
    int out = -1;
    int code = 0;
    switch (below(6)) {
      case 0:
        code = get_status(handle_, &out);
        break;
      case 1:
        code = srd_snr(handle_, 16, text.data());
        break;
      case 2:
        code = srd_ver(handle_, 18, text.data());
        break;
      case 3:
        code = dv_beep(handle_, below(256));
        break;
      case 4:
        code = turn_off(handle_);
        card_is_ready_ = false;
        break;
      default:
        code = sam_power_down(handle_);
        sam_is_ready_ = false;
    }
    expect(code == 0, may_fail, "a command to the reader", code);
    for (const unsigned char byte : text)
      digest(byte);
    return code;
  }

  // ---- Faults
  // ------------------------------------------------------------------------------------

  // Arms a fault for the first exchange, or for the second.
  FaultKind arm() {
    const auto rules = simulator::fault_rules();
    const auto& rule = rules[static_cast<std::size_t>(below(static_cast<int>(rules.size())))];
    Fault fault;
    fault.kind = rule.kind;
    if (rule.parameter == "ms") fault.parameter = static_cast<unsigned>(below(10'000));
    if (rule.parameter == "count") fault.parameter = static_cast<unsigned>(1 + below(300));
    if (rule.parameter == "status") fault.parameter = static_cast<unsigned>(1 + below(255));
    if (rule.parameter == "clock" && below(2) == 0)
      fault.parameter = static_cast<unsigned>(1 + below(3000));
    answers_may_lie_ = rule.kind == FaultKind::lie || rule.kind == FaultKind::partial;
    if (below(2) == 0) {
      line_.bench().arm(fault);
    } else {
      line_.bench().trace(
          [this, fault, armed = false](const simulator::TracedFrame& frame) mutable {
            if (frame.direction == simulator::Direction::out && !std::exchange(armed, true))
              line_.bench().arm(fault);
          });
    }
    return rule.kind;
  }

  // Whatever a fault did, a new session finds the reader as it was, and the place either old or
  // new.
  void recover(const Place& place, FaultKind kind) {
    line_.settle();
    line_.bench().trace(nullptr);
    const simulator::State state = line_.bench().state();
    line_.bench().clear_faults();
    const bool hit = state.faults.empty();
    if (hit) ++summary_.faults_by_kind[std::string(simulator::rule_of(kind).name)];
    line_.close();
    reopen();
    ++summary_.reopenings;
    if (!state.card_present) insert(*card_);
    card_is_ready_ = sam_is_ready_ = false;
    power_up(place);
    // Not all places need something to be done before.
    read(place, {0, place.unit});
    learn(place, kind == FaultKind::pull_card);
    answers_may_lie_ = false;
    if (descriptors() != descriptors_)
      fail(fmt::format("{} descriptors were open, {} are", descriptors_, descriptors()));
  }

  // Each frame of a change was carried out or not, none behind one that was not. Of a frame during
  // which the card was pulled, each byte is old, new, erased or on the way from one to the other. A
  // frame whose answer was a lie has bytes that are old, and perhaps new ones.
  void learn(const Place& place, bool was_pulled) {
    if (!change_) return;
    Bytes& cells = cells_of(place);
    bool was_refused = false;
    for (const Range& frame : frames_of(place, change_->range)) {
      const auto wanted = change_->content.begin() + (frame.at - change_->range.at);
      const auto held = cells.begin() + frame.at;
      const Bytes found = read(place, frame);
      const bool is_new = std::equal(found.begin(), found.end(), wanted);
      const bool is_old = std::equal(found.begin(), found.end(), held);
      bool is_between = was_pulled && !was_refused;
      if (answers_may_lie_) {
        is_between = true;
        for (int i = 0; i < frame.count && is_between; ++i)
          is_between = found[static_cast<std::size_t>(i)] == held[i] ||
                       found[static_cast<std::size_t>(i)] == wanted[i];
      }
      for (int i = 0; i < frame.count && is_between && !answers_may_lie_; ++i) {
        const unsigned byte = found[static_cast<std::size_t>(i)];
        is_between = byte == erased || (byte & ~unsigned{held[i]} & ~unsigned{wanted[i]}) == 0;
      }
      if (!(is_new && !was_refused) && !is_old && !is_between)
        fail(fmt::format("{} bytes at {} of {} are neither old nor new", frame.count, frame.at,
                         place.name));
      if (was_pulled && place.page != 0) learn_page(place, frame);
      was_refused = was_refused || !is_new;
      std::ranges::copy(found, held);
    }
  }

  // The rest of the page is as it was or erased.
  void learn_page(const Place& place, const Range& frame) {
    const Range page{frame.at / place.page * place.page, place.page};
    const Bytes found = read(place, page);
    const auto held = cells_of(place).begin() + page.at;
    for (int i = 0; i < page.count; ++i) {
      const bool is_in_frame = page.at + i >= frame.at && page.at + i < frame.at + frame.count;
      if (is_in_frame) continue;
      const unsigned char byte = found[static_cast<std::size_t>(i)];
      if (byte != held[i] && byte != erased)
        fail(fmt::format("byte {} of {} was not written, but is another", page.at + i, place.name));
      held[i] = byte;
    }
  }

  // The whole image is that of a new card with these bytes in it.
  void check_image(const Place& place, const Bytes& cells) const {
    simulator::Image expected(simulator::find_kind(place.kind));
    std::ranges::copy(cells, expected.field("memory").begin() + place.image_at);
    if (to_text(expected) != to_text(simulator::load_image(file_of(place.kind))))
      fail("the image of the " + place.name + " is another");
  }

  TemporaryDirectory folder_;
  std::mt19937 random_;
  Summary& summary_;
  Line line_;
  int handle_ = -1;
  std::vector<Bytes> cells_;
  const Place* card_ = nullptr;
  bool card_is_ready_ = false;
  bool sam_is_ready_ = false;
  std::optional<Change> change_;
  // The fault that is armed makes the reader say that it has done what it has not.
  bool answers_may_lie_ = false;
  long descriptors_ = 0;
  long heap_ = 0;
  long resident_ = 0;
};

}  // namespace

Summary soak(unsigned seed, long operations) {
  Summary summary;
  try {
    Soak soak(seed, summary);
    for (long i = 0; i < operations; ++i)
      soak.step();
    soak.finish();
  } catch (const std::exception& error) {
    fail(fmt::format("seed {}, step {}: {}", seed, summary.operations, error.what()));
  }
  return summary;
}

}  // namespace quorra::testing
