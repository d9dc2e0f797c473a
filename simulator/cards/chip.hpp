#pragma once

#include <cstdint>
#include <utility>

#include "simulator/cards/image.hpp"

namespace quorra::simulator {

// The levels that the reader puts on the contacts of a card. IO is a line with a pull-up: true
// means that the reader lets it go, and the line is high only if the chip lets it go as well.
struct Contacts {
  bool vcc = false;
  bool rst = false;
  bool clk = false;
  bool io = false;
  bool c4 = false;
  bool c8 = false;

  bool operator==(const Contacts&) const = default;
};

// The chip of a card: it sees nothing but its contacts, and answers by pulling IO low.
class Chip {
 public:
  explicit Chip(Image image) : image_(std::move(image)) {}
  Chip(const Chip&) = delete;
  Chip& operator=(const Chip&) = delete;
  virtual ~Chip() = default;

  // Tells the chip that the reader changed the contacts. Only one of them differs, except when
  // power is lost: then all of them go low at once.
  virtual void contacts_changed(const Contacts& before, const Contacts& now) = 0;

  bool pulls_io_low() const { return pulls_io_low_; }

  // What the chip keeps without power.
  const Image& image() const { return image_; }
  // Grows with every change of that content.
  std::uint64_t changes() const { return changes_; }

 protected:
  Image& image() { return image_; }
  void pull_io_low(bool low) { pulls_io_low_ = low; }
  // Gives a cell of the image its new content.
  void program(std::uint8_t& cell, std::uint8_t content) {
    if (cell == content) return;
    cell = content;
    ++changes_;
  }

 private:
  Image image_;
  std::uint64_t changes_ = 0;
  bool pulls_io_low_ = false;
};

}  // namespace quorra::simulator
