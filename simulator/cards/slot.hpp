// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#pragma once

#include <vector>

#include "simulator/cards/chip.hpp"
#include "simulator/cards/cpu/processor_card.hpp"

namespace quorra::simulator {

// Sees all that happens at the contacts of a slot.
class ContactsWatcher {
 public:
  ContactsWatcher() = default;
  ContactsWatcher(const ContactsWatcher&) = delete;
  ContactsWatcher& operator=(const ContactsWatcher&) = delete;
  virtual ~ContactsWatcher() = default;

  // The reader has put the contacts to these levels, and what the card pulls low is its answer.
  virtual void contacts_changed(const Contacts& now, const CardSide& card) = 0;
  // The reader has looked at IO, or at C8.
  virtual void line_was_read() {}
};

// The card slot: the reader's hand on the contacts of the chip that is in it, if any. An empty
// slot reads IO and C8 as the reader leaves them, for the pull-ups are the reader's. A card with a
// processor is told of its power, and otherwise spoken to in commands.
class Slot {
 public:
  bool occupied() const {
    return processor_ != nullptr ? processor_->is_present() : chip_ != nullptr;
  }
  bool powered() const { return contacts_.vcc; }

  // Null if the card in the slot has no processor.
  ProcessorCard* processor() const { return processor_; }

  // Puts a card into the empty slot. It must stay alive until remove().
  void insert(Chip& chip) {
    chip_ = &chip;
    processor_ = chip.processor();
  }
  // The same for a card that has no contacts to be looked at.
  void insert_processor(ProcessorCard& card) { processor_ = &card; }
  // Becomes what a slot was, with the card as this object; null if it was empty. Whoever watches
  // goes on.
  void restore(const Slot& earlier, Chip* chip) {
    contacts_ = earlier.contacts_;
    before_ = earlier.before_;
    chip_ = chip;
    processor_ = chip == nullptr ? nullptr : chip->processor();
    show_all();
  }
  // Takes the card out; it loses its power.
  void remove() {
    power_off();
    chip_ = nullptr;
    processor_ = nullptr;
  }

  // From now on, the card leaves instead of seeing rising edge number `clock` of CLK; 0: it does
  // not.
  void remove_at_clock(unsigned clock) { clocks_left_ = clock; }
  // 0 when there are none, or when it has left.
  unsigned clocks_until_removal() const { return clocks_left_; }

  void set_vcc(bool level) { set(&Contacts::vcc, level); }
  void set_rst(bool level) { set(&Contacts::rst, level); }
  void set_clk(bool level) {
    if (level && !contacts_.clk && clocks_left_ != 0 && --clocks_left_ == 0) return remove();
    set(&Contacts::clk, level);
  }
  void set_io(bool level) { set(&Contacts::io, level); }
  void set_c4(bool level) { set(&Contacts::c4, level); }
  void set_c8(bool level) { set(&Contacts::c8, level); }
  void clock_pulse() {
    set_clk(true);
    set_clk(false);
  }
  bool read_io() const {
    tell_of_look();
    return contacts_.io && (chip_ == nullptr || !chip_->pulls_io_low());
  }
  bool read_c8() const {
    tell_of_look();
    return contacts_.c8 && (chip_ == nullptr || !chip_->pulls_c8_low());
  }
  // The levels at the contacts, with what the card pulls low.
  Contacts lines() const {
    Contacts lines = contacts_;
    lines.io = lines.io && (chip_ == nullptr || !chip_->pulls_io_low());
    lines.c8 = lines.c8 && (chip_ == nullptr || !chip_->pulls_c8_low());
    return lines;
  }

  // From now on until unwatch() `watcher` sees the contacts, beginning with how they are.
  void watch(ContactsWatcher& watcher) {
    watchers_.push_back(&watcher);
    show(watcher);
  }
  void unwatch(const ContactsWatcher& watcher) { std::erase(watchers_, &watcher); }

  // All contacts go low at once.
  void power_off() {
    contacts_ = Contacts{};
    if (before_ != contacts_) tell();
    before_ = contacts_;
  }

 private:
  void set(bool Contacts::*contact, bool level) {
    if (contacts_.*contact == level) return;
    contacts_.*contact = level;
    tell();
    before_.*contact = level;
  }
  void tell() {
    if (chip_ != nullptr) chip_->contacts_changed(before_, contacts_);
    if (processor_ != nullptr && before_.vcc != contacts_.vcc) processor_->set_power(contacts_.vcc);
    show_all();
  }
  void show_all() const {
    for (ContactsWatcher* const watcher : watchers_)
      show(*watcher);
  }
  void show(ContactsWatcher& watcher) const {
    watcher.contacts_changed(contacts_, chip_ == nullptr ? CardSide{} : chip_->card_side());
  }
  void tell_of_look() const {
    for (ContactsWatcher* const watcher : watchers_)
      watcher->line_was_read();
  }

  Contacts contacts_;
  // The same as contacts_, except while the chip is being told of a change. A read is thousands of
  // changes; to copy all contacts for each of them takes almost as long as what the chip does.
  Contacts before_;
  unsigned clocks_left_ = 0;
  Chip* chip_ = nullptr;
  ProcessorCard* processor_ = nullptr;
  std::vector<ContactsWatcher*> watchers_;
};

}  // namespace quorra::simulator
