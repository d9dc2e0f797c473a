// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause
#pragma once

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
    show_watcher();
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
  bool read_io() const { return contacts_.io && (chip_ == nullptr || !chip_->pulls_io_low()); }
  bool read_c8() const { return contacts_.c8 && (chip_ == nullptr || !chip_->pulls_c8_low()); }

  // From now on `watcher` sees the contacts, beginning with how they are; null for nobody. It must
  // stay alive until then.
  void watch(ContactsWatcher* watcher) {
    watcher_ = watcher;
    show_watcher();
  }

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
    show_watcher();
  }
  void show_watcher() const {
    if (watcher_ != nullptr)
      watcher_->contacts_changed(contacts_, chip_ == nullptr ? CardSide{} : chip_->card_side());
  }

  Contacts contacts_;
  // The same as contacts_, except while the chip is being told of a change. A read is thousands of
  // changes; to copy all contacts for each of them takes almost as long as what the chip does.
  Contacts before_;
  unsigned clocks_left_ = 0;
  Chip* chip_ = nullptr;
  ProcessorCard* processor_ = nullptr;
  ContactsWatcher* watcher_ = nullptr;
};

}  // namespace quorra::simulator
