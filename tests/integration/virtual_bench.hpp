// A virtual reader with a card, and a session of the library on it.
#pragma once

#include <gtest/gtest.h>
#include <quorra.h>

#include "simulator/cards/image.hpp"
#include "simulator/virtual_reader.hpp"
#include "tests/support/process.hpp"

namespace quorra::testing {

class VirtualBench {
 public:
  explicit VirtualBench(const simulator::Image& card) : reader_(options_for(card)) {
    handle_ = ic_init(reader_->configuration().c_str(), 9600);
    EXPECT_GE(handle_, 0);
  }
  VirtualBench(const VirtualBench&) = delete;
  VirtualBench& operator=(const VirtualBench&) = delete;
  ~VirtualBench() { ic_exit(handle_); }

  int handle() const { return handle_; }
  // The card as it is now.
  simulator::Image card() { return *reader_->state().card; }

 private:
  simulator::Options options_for(const simulator::Image& card) const {
    simulator::Options options;
    options.card = folder_ / "card";
    save_image(card, options.card);
    return options;
  }

  TemporaryDirectory folder_;
  simulator::RunningReader reader_;
  int handle_ = -1;
};

}  // namespace quorra::testing
