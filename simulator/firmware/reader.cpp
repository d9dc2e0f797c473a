#include "simulator/firmware/reader.hpp"

#include <algorithm>

namespace quorra::simulator {
namespace {

struct SpeedCode {
  unsigned speed;
  std::uint8_t code;
};

constexpr std::array speed_codes{
    SpeedCode{1200, 1},  SpeedCode{2400, 2},  SpeedCode{4800, 3},
    SpeedCode{19200, 5}, SpeedCode{38400, 7},
};

// 9600 bits per second, and every speed without a code of its own.
constexpr std::uint8_t usual_speed_code = 4;

constexpr std::size_t value_register_size = 4;

}  // namespace

ReaderMemory new_reader_memory(unsigned speed, std::string_view serial_number) {
  ReaderMemory memory;
  memory.fill(0xFF);
  const auto* const found = std::ranges::find(speed_codes, speed, &SpeedCode::speed);
  memory[speed_address] = found == speed_codes.end() ? usual_speed_code : found->code;
  memory[security_mode_address] = 0;
  std::fill_n(memory.begin() + value_register_address, value_register_size, std::uint8_t{0});
  std::ranges::copy(serial_number.substr(0, serial_number_size),
                    memory.begin() + serial_number_address);
  return memory;
}

}  // namespace quorra::simulator
