#pragma once

#include "simulator/cards/chip.hpp"

namespace quorra::simulator {

// The card slot: the reader's hand on the contacts of the chip that is in it, if any. An empty
// slot reads IO as the reader leaves it, for the pull-up is the reader's.
class Slot {
 public:
  bool occupied() const { return chip_ != nullptr; }
  bool powered() const { return contacts_.vcc; }

  // Puts a card into the empty slot. The chip must stay alive until remove().
  void insert(Chip& chip) { chip_ = &chip; }
  // Takes the card out; it loses its power.
  void remove() {
    power_off();
    chip_ = nullptr;
  }

  void set_vcc(bool level) { set(&Contacts::vcc, level); }
  void set_rst(bool level) { set(&Contacts::rst, level); }
  void set_clk(bool level) { set(&Contacts::clk, level); }
  void set_io(bool level) { set(&Contacts::io, level); }
  void set_c4(bool level) { set(&Contacts::c4, level); }
  void set_c8(bool level) { set(&Contacts::c8, level); }
  void clock_pulse() {
    set_clk(true);
    set_clk(false);
  }
  bool read_io() const { return contacts_.io && (chip_ == nullptr || !chip_->pulls_io_low()); }

  // All contacts go low at once.
  void power_off() {
    const Contacts before = contacts_;
    contacts_ = Contacts{};
    if (chip_ != nullptr && before != contacts_) chip_->contacts_changed(before, contacts_);
  }

 private:
  void set(bool Contacts::*contact, bool level) {
    if (contacts_.*contact == level) return;
    const Contacts before = contacts_;
    contacts_.*contact = level;
    if (chip_ != nullptr) chip_->contacts_changed(before, contacts_);
  }

  Contacts contacts_;
  Chip* chip_ = nullptr;
};

}  // namespace quorra::simulator
