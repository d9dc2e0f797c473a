// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#include "simulator/bench/bench.hpp"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <system_error>
#include <utility>

#include "simulator/bench/taken_back.hpp"
#include "simulator/cards/kinds.hpp"
#include "simulator/error.hpp"
#include "simulator/firmware/firmware.hpp"
#include "simulator/firmware/line_speed.hpp"
#include "simulator/text.hpp"

namespace quorra::simulator {
namespace {

// A request that stalls for longer is forgotten.
constexpr std::chrono::seconds patience{1};

// A host that sends requests without reading replies is not listened to beyond this.
constexpr std::size_t most_unsent_bytes = 65536;

constexpr std::size_t most_snapshots = 100;

bool is_same_card(const std::filesystem::path& file, const std::filesystem::path& other) {
  std::error_code error;
  return file == other || std::filesystem::equivalent(file, other, error);
}

}  // namespace

Bench::Bench(const Options& options, const std::filesystem::path& configuration, int stop)
    : configuration_(configuration),
      stop_(stop),
      byte_time_(byte_time(options.speed)),
      line_speed_(options.line_speed),
      incoming_(byte_time_),
      outgoing_(byte_time_),
      start_(options.has_virtual_time ? Time() : Clock::now()) {
  check(options);
  reader_.memory = new_reader_memory(options.line_speed != 0 ? options.line_speed : options.speed,
                                     options.serial_number);
  reader_.version_text = options.version_text;
  if (!options.reader.empty()) load_reader(options);
  if (!options.card.empty()) insert(options.card);
  if (!options.waves.empty()) record_waves(options.waves);
  for (const auto& [number, file] : options.sams)
    insert_sam(number, file);
  for (const FaultOrder& order : options.faults)
    arm(order);
  configuration_.name_device(terminal_.device());
}

// The reader is what it was, whatever a new one would be like.
void Bench::load_reader(const Options& options) {
  reader_file_.emplace(options.reader, reader_.memory);
  const auto serial_number =
      std::span(reader_file_->memory()).subspan(serial_number_address, serial_number_size);
  if (options.serial_number != Options().serial_number &&
      !std::ranges::equal(serial_number, options.serial_number))
    throw Error(fmt::format("{}: the reader has another serial number", options.reader.string()));
  reader_.memory = reader_file_->memory();
  const auto speed = speed_of_code(reader_.memory[speed_address]);
  if (speed && line_speed_ != 0) change_speed(*speed);
}

void Bench::insert(const std::filesystem::path& file) {
  if (card_ || live_card_) throw Error("a card is already in the slot");
  if (file.native().starts_with(LiveCard::scheme)) {
    live_card_ = std::make_unique<LiveCard>(file.native(), LiveCard::usual_patience, stop_);
    reader_.slot.insert_processor(*live_card_);
  } else {
    card_.emplace(file);
    reader_.slot.insert(card_->chip());
  }
  tell_of_change();
}

void Bench::insert_sam(std::size_t number, const std::filesystem::path& file) {
  CardFile& sam = sams_.at(number).emplace(file);
  if (sam.chip().processor() == nullptr)
    throw Error(fmt::format("{}: a {} cannot be a SAM", file.string(), sam.image().kind().name));
  reader_.sams.at(number).insert(sam.chip());
}

void Bench::remove() {
  if (!card_ && !live_card_) throw Error("no card is in the slot");
  // Without power even if it cannot be saved, and then stays.
  reader_.slot.power_off();
  if (card_) card_->save();
  reader_.slot.remove();
  card_.reset();
  live_card_.reset();
  tell_of_change();
}

// One that cannot be saved does not keep the others from being so.
void Bench::save() {
  std::optional<Error> failure;
  const auto save_one = [&failure](std::optional<CardFile>& card) {
    try {
      if (card) card->save();
    } catch (const Error& error) {
      if (!failure) failure = error;
    }
  };
  save_one(card_);
  std::ranges::for_each(sams_, save_one);
  try {
    if (reader_file_) reader_file_->save(reader_.memory);
  } catch (const Error& error) {
    if (!failure) failure = error;
  }
  if (failure) throw Error(*failure);
}

void Bench::record_waves(const std::filesystem::path& file) {
  waves_.record(file, card_ ? card_->image().kind().name : std::string_view());
}

State Bench::state() const {
  State state;
  state.card_present = reader_.slot.occupied();
  state.card_powered = reader_.slot.powered();
  state.lines = reader_.slot.lines();
  state.faults = faults_.list();
  state.fault_odds = faults_.odds();
  state.injected_faults = faults_.injected();
  for (const auto& [name, snapshot] : snapshots_)
    state.snapshots.push_back(name);
  state.exchanges = exchanges_;
  state.device = terminal_.device();
  if (card_) {
    state.card = card_->image();
    state.card_file = card_->path();
  }
  if (live_card_) state.card_file = live_card_->address();
  state.card_speed = reader_.card_speed;
  state.sam_speed = reader_.sam_speed;
  state.sams_powered = reader_.sams_have_power;
  state.selected_sam = reader_.selected_sam;
  for (std::size_t number = 0; number < sams_.size(); ++number)
    if (const auto& sam = sams_.at(number))
      state.sams.push_back({number, sam->image(), sam->path(), reader_.sams.at(number).powered()});
  state.line_speed = line_speed_;
  state.waves = waves_.file();
  return state;
}

void Bench::take_snapshot(const std::string& name) {
  if (name.empty()) throw Error("the name of the snapshot is empty");
  if (live_card_) throw Error("a live card cannot be kept in a snapshot");
  if (!snapshots_.contains(name) && snapshots_.size() == most_snapshots)
    throw Error(fmt::format("there are {} snapshots already", most_snapshots));
  Snapshot snapshot{.reader = reader_,
                    .card = {},
                    .sams = {},
                    .faults = faults_,
                    .line_speed = line_speed_,
                    .byte_time = byte_time_};
  if (card_) snapshot.card = KeptCard{card_->path(), card_->chip().copy()};
  for (std::size_t number = 0; number < sams_.size(); ++number)
    if (auto& sam = sams_.at(number)) snapshot.sams.at(number) = sam->chip().copy();
  snapshots_.insert_or_assign(name, std::move(snapshot));
}

void Bench::restore_snapshot(const std::string& name) {
  const auto found = snapshots_.find(name);
  if (found == snapshots_.end())
    throw Error(fmt::format("unknown snapshot \"{}\" (known: {})", on_one_line(name),
                            snapshots_.empty() ? "none" : names_of_snapshots()));
  if (live_card_) throw Error("a live card is in the slot: take it out first");
  const Snapshot& snapshot = found->second;
  // All that can fail comes first.
  const auto& kept = snapshot.card;
  const bool is_in_slot = card_ && kept && is_same_card(card_->path(), kept->file);
  std::optional<CardFile> other;
  if (kept && !is_in_slot) {
    other.emplace(kept->file);
    if (&other->image().kind() != &std::as_const(*kept->chip).image().kind())
      throw Error(fmt::format("{}: the file has a card of another kind now", kept->file.string()));
  }
  if (card_ && !is_in_slot) card_->save();

  if (!is_in_slot) card_.swap(other);
  if (card_) card_->replace_chip(kept->chip->copy());
  for (std::size_t number = 0; number < sams_.size(); ++number)
    if (auto& sam = sams_.at(number)) sam->replace_chip(snapshot.sams.at(number)->copy());
  restore_reader(snapshot.reader);
  faults_ = snapshot.faults;
  line_speed_ = snapshot.line_speed;
  set_byte_time(snapshot.byte_time);
  tell_of_change();
  try {
    save();
  } catch (const Error& error) {
    throw Error(fmt::format("restored, but not saved: {}", error.what()));
  }
}

// The slots take the cards that are there now.
void Bench::restore_reader(const Reader& earlier) {
  Reader reader = earlier;
  reader.slot = reader_.slot;
  reader.sams = reader_.sams;
  reader_ = std::move(reader);
  const auto restore_slot = [](ProcessorSlot& slot, const ProcessorSlot& was,
                               std::optional<CardFile>& card) {
    slot.restore(was, card ? &card->chip() : nullptr);
    slot.link = was.link;
  };
  restore_slot(reader_.slot, earlier.slot, card_);
  for (std::size_t number = 0; number < sams_.size(); ++number)
    restore_slot(reader_.sams.at(number), earlier.sams.at(number), sams_.at(number));
}

std::string Bench::names_of_snapshots() const {
  std::vector<std::string> names;
  for (const auto& [name, snapshot] : snapshots_)
    names.push_back(name);
  return fmt::format("{}", fmt::join(names, ", "));
}

bool Bench::wants_to_read() const {
  return incoming_.size() + outgoing_.size() < most_unsent_bytes;
}

std::optional<Time> Bench::next_due() const {
  std::optional<Time> next;
  if (!incoming_.empty()) next = incoming_.due();
  if (!outgoing_.empty() && !line_is_full_)
    next = next ? std::min(*next, outgoing_.due()) : outgoing_.due();
  return next;
}

void Bench::serve(Time now, bool can_read, bool can_write, std::optional<Time> wall) {
  wall_ = wall;
  if (can_write) line_is_full_ = false;
  if (can_read) {
    const auto bytes = std::span(read_buffer_).first(terminal_.read(read_buffer_));
    if (host_has_another_speed()) std::ranges::fill(bytes, stray_byte);
    // A line that was idle begins with the first of them when they are read.
    incoming_.push(bytes, now + byte_time_);
  }
  while (!incoming_.empty() && incoming_.due() <= now) {
    const std::uint8_t byte = incoming_.front();
    const Time arrival = incoming_.due();
    incoming_.pop(1);
    take(byte, arrival);
  }
  if (!line_is_full_) send_due_bytes(now);
  if (reader_.next_line_speed != 0 && outgoing_.empty())
    change_speed(std::exchange(reader_.next_line_speed, 0U));
}

bool Bench::host_has_another_speed() const {
  return line_speed_ != 0 && !terminal_.host_has_speed(line_speed_);
}

// A line whose bytes take no time, or that takes hosts of any speed, goes on to do so.
void Bench::change_speed(unsigned speed) {
  if (line_speed_ != 0) line_speed_ = speed;
  if (byte_time_ == Duration::zero()) return;
  set_byte_time(byte_time(speed));
}

void Bench::set_byte_time(Duration byte_time) {
  byte_time_ = byte_time;
  incoming_.set_byte_time(byte_time_);
  outgoing_.set_byte_time(byte_time_);
}

void Bench::arm(const FaultOrder& order) {
  std::visit([this](const auto& faults) { faults_.arm(faults); }, order);
  tell_of_change();
}

void Bench::clear_faults() {
  faults_.clear();
  tell_of_change();
}

void Bench::take(std::uint8_t byte, Time arrival) {
  byte = faults_.receive(byte);
  const Time heard = wall_.value_or(arrival);
  if (parser_.has_begun() && heard - last_heard_ > patience) parser_.reset();
  last_heard_ = heard;

  if (parser_.awaits_check_byte()) {
    Exchange fresh;
    fresh.reply.swap(exchange_.reply);
    exchange_ = std::move(fresh);
    faults_.begin(parser_.request().command);
    faults_.apply(FaultStage::request, exchange_);
    if (exchange_.request_is_cut) return faults_.finish(exchange_);
  }
  const auto result = parser_.push(byte);
  if (result != RequestParser::Result::incomplete)
    answer(result == RequestParser::Result::complete, arrival);
}

void Bench::answer(bool check_byte_is_right, Time arrival) {
  ++exchanges_;
  tell(Direction::in, parser_.frame(), arrival);

  Reply reply;
  const auto frame = reply.finish(carry_out(check_byte_is_right, reply));
  exchange_.reply.assign(frame.begin(), frame.end());
  faults_.apply(FaultStage::reply, exchange_);
  if (exchange_.line_hangs_up) {
    hang_up();
  } else {
    send_reply(arrival);
  }
  faults_.finish(exchange_);
}

std::uint8_t Bench::carry_out(bool check_byte_is_right, Reply& reply) {
  if (exchange_.status) return *exchange_.status;
  Status status = Status::wrong_check_byte;
  if (check_byte_is_right) {
    waves_.begin_request(parser_.frame());
    status = execute_with_faults(reply);
    waves_.end_request();
  }
  if (!save_cards()) {
    status = Status::image_not_saved;
    // What is not saved would be lost with the card, so it does not leave.
    if (card_ && !reader_.slot.occupied()) reader_.slot.insert(card_->chip());
  }
  if (!reader_.slot.occupied()) card_.reset();
  if (reader_.slot.processor() == nullptr) live_card_.reset();
  return static_cast<std::uint8_t>(status);
}

Status Bench::execute_with_faults(Reply& reply) {
  std::optional<ActivityWatch> watch;
  if (watcher_ != nullptr) watch.emplace(reader_.slot, card_ ? &card_->chip() : nullptr);
  std::optional<TakenBack> taken_back;
  if (exchange_.fate != WriteFate::stays) taken_back.emplace(reader_, chips());
  reader_.card_will_slip = exchange_.card_slips;
  reader_.slot.remove_at_clock(exchange_.last_clock);
  const Status status = execute(reader_, parser_.request(), reply);
  exchange_.card_has_left = exchange_.card_slips != reader_.card_will_slip ||
                            (exchange_.last_clock != 0 && reader_.slot.clocks_until_removal() == 0);
  reader_.card_will_slip = false;
  reader_.slot.remove_at_clock(0);
  if (taken_back) exchange_.cells_were_taken_back = taken_back->take_back(exchange_.fate);
  if (watch) watcher_->card_was_used(watch->activity());
  return status;
}

std::vector<Chip*> Bench::chips() {
  std::vector<Chip*> chips;
  if (card_) chips.push_back(&card_->chip());
  for (auto& sam : sams_)
    if (sam) chips.push_back(&sam->chip());
  return chips;
}

bool Bench::save_cards() {
  try {
    save();
    return true;
  } catch (const Error& error) {
    complain(error.what());
    return false;
  }
}

// The first byte of the reply is on the line as soon as the last byte of the request has arrived,
// and reaches the host a byte's time later.
void Bench::send_reply(Time arrival) {
  const std::span<const std::uint8_t> bytes = exchange_.reply;
  if (bytes.empty()) return;
  const auto begin = arrival + byte_time_ + exchange_.pause_before;
  tell(Direction::out, bytes, begin);
  const std::size_t middle = std::min(exchange_.middle, bytes.size());
  outgoing_.push(bytes.first(middle), begin, exchange_.pause_before);
  outgoing_.push(bytes.subspan(middle), begin + exchange_.pause_in_the_middle,
                 exchange_.pause_in_the_middle);
}

void Bench::tell(Direction direction, std::span<const std::uint8_t> bytes, Time time) const {
  if (!listener_ && watcher_ == nullptr) return;
  TracedFrame frame{.direction = direction,
                    .bytes = bytes,
                    .time = time - start_,
                    .exchange = exchanges_,
                    .faults = faults_.names_of_hits(),
                    .card = {}};
  if (card_) frame.card = card_->image().kind().name;
  if (live_card_) frame.card = live_card_kind;
  if (listener_) listener_(frame);
  if (watcher_ != nullptr) watcher_->frame_passed(frame);
}

void Bench::tell_of_change() const {
  if (watcher_ != nullptr) watcher_->bench_was_changed();
}

void Bench::send_due_bytes(Time now) {
  for (auto bytes = outgoing_.ready(now); !bytes.empty(); bytes = outgoing_.ready(now)) {
    const std::vector<std::uint8_t> noise(host_has_another_speed() ? bytes.size() : 0, stray_byte);
    const std::size_t sent = terminal_.write(noise.empty() ? bytes : std::span(noise));
    outgoing_.pop(sent);
    if (sent < bytes.size()) {
      line_is_full_ = true;
      return;
    }
  }
}

// The new line is there before the old one goes, so that their devices have different names.
void Bench::hang_up() {
  PseudoTerminal fresh;
  configuration_.name_device(fresh.device());
  terminal_ = std::move(fresh);
  incoming_.clear();
  outgoing_.clear();
  line_is_full_ = false;
}

}  // namespace quorra::simulator
