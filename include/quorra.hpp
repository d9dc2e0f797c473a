// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// quorra for C++20: the functions of quorra.h, with sessions that close themselves, spans in the
// place of pointers and counts, and results that hold a value or a code.
//
//   if (auto session = quorra::Session::open("reader.conf")) {
//     std::array<unsigned char, 16> bytes;
//     if (auto done = quorra::Card4442(*session).read(0, bytes); !done) report(done.error());
//   }
//
// Nothing here allocates memory, throws, or does more than the call below it. What a call does, and
// what its codes mean, is said in quorra.h at the function of the same kind: read is srd_, write
// swr_, erase ser_, probe chk_.
#ifndef QUORRA_HPP
#define QUORRA_HPP

#include <quorra.h>

#include <array>
#include <climits>
#include <cstddef>
#include <span>
#include <utility>

namespace quorra {

using Byte = unsigned char;

// Why a call failed: what the library returned.
enum class Error : int {
  configuration = -1,
  device = -16,
  bad_reply = -128,
  not_written = -129,  // or not taken by the line; see quorra.h
  timeout = -132,
  bad_check = -133,  // or another card
  below_zero = -135,
  no_reader = -136,
  no_speed = -141,
  bad_length = -143,
  bad_address = -144,
};

// Done, or why not.
template <typename Value = void>
class [[nodiscard]] Result {
 public:
  constexpr Result(Value value) : value_(std::move(value)) {}
  constexpr Result(Error error) : code_(static_cast<int>(error)) {}

  constexpr explicit operator bool() const { return code_ == 0; }
  constexpr bool has_value() const { return code_ == 0; }
  // What the library returned; 0 if it is done.
  constexpr int code() const { return code_; }
  constexpr Error error() const { return static_cast<Error>(code_); }
  // To be asked only for what is done.
  constexpr Value &operator*() & { return value_; }
  constexpr const Value &operator*() const & { return value_; }
  constexpr Value &&operator*() && { return std::move(value_); }
  constexpr Value *operator->() { return &value_; }
  constexpr const Value *operator->() const { return &value_; }
  constexpr Value value_or(Value other) const & { return code_ == 0 ? value_ : other; }

 private:
  Value value_{};
  int code_ = 0;
};

template <>
class [[nodiscard]] Result<void> {
 public:
  // What a function of the library returned.
  constexpr explicit Result(int code) : code_(code) {}

  constexpr explicit operator bool() const { return code_ == 0; }
  constexpr bool has_value() const { return code_ == 0; }
  constexpr int code() const { return code_; }
  constexpr Error error() const { return static_cast<Error>(code_); }

 private:
  int code_;
};

namespace detail {

// How many units of so many bytes; a count that the library refuses for more than it can count, and
// for a part of a unit.
constexpr int count_of(std::size_t size, std::size_t unit = 1) {
  return size > static_cast<std::size_t>(INT_MAX) || size % unit != 0
             ? -1
             : static_cast<int>(size / unit);
}

template <typename Value>
constexpr Result<Value> value_or_error(int code, Value value) {
  if (code != 0) return static_cast<Error>(code);
  return value;
}

// Calls a function whose numbers are signed where those of its neighbours are not, or the other way
// round.
template <typename... Wanted, typename... Given>
int call(int (*function)(Wanted...), Given... given) {
  return function(static_cast<Wanted>(given)...);
}

// A value that a function of the library stores.
template <typename Value, typename Function, typename... Arguments>
Result<int> counted(Function function, Arguments... arguments) {
  Value value{};
  const int code = function(arguments..., &value);
  return value_or_error(code, static_cast<int>(value));
}

}  // namespace detail

// An open session; it is closed when this goes. One for the process at a time.
class Session {
 public:
  static Result<Session> open(const char *configuration, int speed = 9600) {
    return made_of(ic_init(configuration, speed));
  }
  // The same without asking the reader for its version.
  static Result<Session> open_silently(const char *configuration, int speed = 9600) {
    return made_of(ic_init0(configuration, speed));
  }

  // Takes a session that was opened before, and will close it.
  explicit Session(int handle) : handle_(handle) {}

  Session() = default;
  Session(Session &&other) noexcept : handle_(std::exchange(other.handle_, closed)) {}
  Session &operator=(Session &&other) noexcept {
    if (this != &other) {
      close();
      handle_ = std::exchange(other.handle_, closed);
    }
    return *this;
  }
  ~Session() { close(); }

  int handle() const { return handle_; }
  // The handle, which the caller is to close.
  int release() { return std::exchange(handle_, closed); }
  void close() {
    if (handle_ != closed) ic_exit(std::exchange(handle_, closed));
  }

  // The reader's own services.
  Result<> version(std::span<Byte, 18> text) const {
    return Result<>(srd_ver(handle_, 18, text.data()));
  }
  Result<> serial_number(std::span<Byte, 16> text) const {
    return Result<>(srd_snr(handle_, 16, text.data()));
  }
  Result<int> status() const { return detail::counted<int>(get_status, handle_); }
  Result<> beep(int time) const { return Result<>(dv_beep(handle_, time)); }
  Result<> power_on() const { return Result<>(turn_on(handle_)); }
  Result<> power_off() const { return Result<>(turn_off(handle_)); }
  Result<> eject() const { return Result<>(auto_pull(handle_)); }
  Result<> set_speed(int speed) const { return Result<>(set_baud(handle_, speed)); }
  Result<> read_memory(int address, std::span<Byte> bytes) const {
    return Result<>(srd_eeprom(handle_, address, detail::count_of(bytes.size()), bytes.data()));
  }
  Result<> write_memory(int address, std::span<const Byte> bytes) const {
    return Result<>(swr_eeprom(handle_, address, detail::count_of(bytes.size()), bytes.data()));
  }
  Result<> read_code(std::span<Byte, 3> code) const {
    return Result<>(srd_dvsc(handle_, 3, code.data()));
  }
  Result<> write_code(std::span<const Byte, 3> code) const {
    return Result<>(swr_dvsc(handle_, 3, code.data()));
  }
  Result<> present_code(std::span<const Byte, 3> code) const {
    return Result<>(cmp_dvsc(handle_, 3, code.data()));
  }
  Result<> set_security_mode(bool on) const { return Result<>(setsc_md(handle_, on ? 1 : 0)); }
  Result<unsigned> value() const {
    unsigned value = 0;
    const int code = val_read(handle_, &value);
    return detail::value_or_error(code, value);
  }
  Result<> set_value(unsigned value) const { return Result<>(val_set(handle_, value)); }
  Result<> add_to_value(unsigned amount) const { return Result<>(val_inc(handle_, amount)); }
  Result<> subtract_from_value(unsigned amount) const { return Result<>(val_dec(handle_, amount)); }

 private:
  static constexpr int closed = -1;

  static Result<Session> made_of(int handle) {
    if (handle < 0) return static_cast<Error>(handle);
    return Session(handle);
  }

  int handle_ = closed;
};

// What all cards are made of. A card is as good as its session, which has to outlive it.
class Card {
 public:
  explicit Card(const Session &session) : handle_(session.handle()) {}

 protected:
  int handle() const { return handle_; }

 private:
  int handle_;
};

// Units of one byte, or of more, at addresses, and a way to tell the card.
template <int units, auto srd, auto swr, auto chk, std::size_t bytes = 1>
class MemoryCard : public Card {
 public:
  using Card::Card;
  static constexpr int size = units;
  static constexpr std::size_t unit = bytes;

  Result<> read(int address, std::span<Byte> buffer) const {
    return Result<>(srd(handle(), address, detail::count_of(buffer.size(), unit), buffer.data()));
  }
  Result<> write(int address, std::span<const Byte> buffer) const {
    return Result<>(swr(handle(), address, detail::count_of(buffer.size(), unit), buffer.data()));
  }
  Result<> probe() const { return Result<>(chk(handle())); }
};

// A code, and how many attempts at it are left.
template <typename Base, std::size_t bytes, auto csc, auto wsc, auto rsc, auto rsct,
          typename Counter>
class WithCode : public Base {
 public:
  using Base::Base;
  static constexpr std::size_t code_size = bytes;

  Result<> present_code(std::span<const Byte, bytes> code) const {
    return Result<>(csc(this->handle(), bytes, code.data()));
  }
  Result<> change_code(std::span<const Byte, bytes> code) const {
    return Result<>(wsc(this->handle(), bytes, code.data()));
  }
  Result<> read_code(std::span<Byte, bytes> code) const {
    return Result<>(rsc(this->handle(), bytes, code.data()));
  }
  Result<int> attempts_left() const { return detail::counted<Counter>(rsct, this->handle()); }
};

using Card24c01a = MemoryCard<128, srd_24c01a, swr_24c01a, chk_24c01a>;
using Card24c02 = MemoryCard<256, srd_24c02, swr_24c02, chk_24c02>;
using Card24c04 = MemoryCard<512, srd_24c04, swr_24c04, chk_24c04>;
using Card24c08 = MemoryCard<1024, srd_24c08, swr_24c08, chk_24c08>;
using Card24c16 = MemoryCard<2048, srd_24c16, swr_24c16, chk_24c16>;
using Card24c32 = MemoryCard<4096, srd_24c32, swr_24c32, chk_24c32>;
using Card24c64 = MemoryCard<8192, srd_24c64, swr_24c64, chk_24c64>;

// The 93C series: all of the card is erased, or made zeros, at once. A 93c46a has units of 2 bytes.
template <int units, auto srd, auto swr, auto chk, auto eral, auto wral, std::size_t bytes = 1>
class ErasableCard : public MemoryCard<units, srd, swr, chk, bytes> {
 public:
  using MemoryCard<units, srd, swr, chk, bytes>::MemoryCard;
  Result<> erase_all() const { return Result<>(eral(this->handle())); }
  Result<> write_all() const { return Result<>(wral(this->handle())); }
};

using Card93c46a =
    ErasableCard<64, srd_93c46a, swr_93c46a, chk_93c46a, eral_93c46a, wral_93c46a, 2>;
using Card93c46 = ErasableCard<128, srd_93c46, swr_93c46, chk_93c46, eral_93c46, wral_93c46>;
using Card93c57 = ErasableCard<256, srd_93c57, swr_93c57, chk_93c57, eral_93c57, wral_93c57>;
using Card93c66 = ErasableCard<512, srd_93c66, swr_93c66, chk_93c66, eral_93c66, wral_93c66>;

// The 4442 and 4432: each of the first 32 bytes has a protection bit.
template <auto srd, auto swr, auto chk, auto prd, auto pwr>
class ProtectedHead : public MemoryCard<256, srd, swr, chk> {
 public:
  using MemoryCard<256, srd, swr, chk>::MemoryCard;
  Result<> read_protection(std::span<Byte, 4> bits) const {
    return Result<>(prd(this->handle(), 4, bits.data()));
  }
  Result<> protect(int address, std::span<const Byte> bytes) const {
    return Result<>(pwr(this->handle(), address, detail::count_of(bytes.size()), bytes.data()));
  }
};

using Card4432 = ProtectedHead<srd_4432, swr_4432, chk_4432, prd_4432, pwr_4432>;
using Card4442 = WithCode<ProtectedHead<srd_4442, swr_4442, chk_4442, prd_4442, pwr_4442>, 3,
                          csc_4442, wsc_4442, rsc_4442, rsct_4442, int>;

// The 4428 and 4418: each byte has a protection bit.
template <auto srd, auto swr, auto chk, auto rdwpb, auto wrwpb, auto pwr>
class ProtectedBytes : public MemoryCard<1024, srd, swr, chk> {
 public:
  using MemoryCard<1024, srd, swr, chk>::MemoryCard;
  Result<> read_with_protection(int address, int count, std::span<Byte> pairs) const {
    const bool has_room = count > 0 && pairs.size() / 2 >= static_cast<std::size_t>(count);
    return Result<>(rdwpb(this->handle(), address, has_room ? count : -1, pairs.data()));
  }
  Result<> write_and_protect(int address, std::span<const Byte> bytes) const {
    return Result<>(wrwpb(this->handle(), address, detail::count_of(bytes.size()), bytes.data()));
  }
  Result<> protect(int address, std::span<const Byte> bytes) const {
    return Result<>(pwr(this->handle(), address, detail::count_of(bytes.size()), bytes.data()));
  }
};

using Card4418 = ProtectedBytes<srd_4418, swr_4418, chk_4418, rdwpb_4418, wrwpb_4418, pwr_4418>;
using Card4428 =
    WithCode<ProtectedBytes<srd_4428, swr_4428, chk_4428, rdwpb_4428, wrwpb_4428, pwr_4428>, 2,
             csc_4428, wsc_4428, rsc_4428, rsct_4428, int>;

// 2048 pages of 264 bytes. A position is a page and an offset in it.
class Card45d041 : public Card {
 public:
  using Card::Card;
  static constexpr int pages = 2048;
  static constexpr int page_size = 264;

  Result<> read(int page, int offset, std::span<Byte> buffer) const {
    return Result<>(
        srd_45d041(handle(), page, offset, detail::count_of(buffer.size()), buffer.data()));
  }
  Result<> write(int page, int offset, std::span<const Byte> buffer) const {
    return Result<>(
        swr_45d041(handle(), page, offset, detail::count_of(buffer.size()), buffer.data()));
  }
  Result<int> status() const { return detail::counted<Byte>(rdstrg_45d041, handle()); }
  Result<> probe() const { return Result<>(chk_45d041(handle())); }
};

// What only a card's issuer does, and what imitates it.
template <typename Base, auto psnl, auto fakefus>
class Personalisable : public Base {
 public:
  using Base::Base;
  // A 4404 that refuses tells its status as a positive code.
  Result<> personalise() const { return Result<>(psnl(this->handle())); }
  Result<> imitate_fuse(bool on) const { return Result<>(fakefus(this->handle(), on ? 1U : 0U)); }
};

// A security memory card with one zone: the 4404 and the 101.
template <int bytes, auto srd, auto swr, auto chk, auto ser, auto clrpr, auto clrrd, auto cesc,
          auto wesc, auto resc, auto resct>
class OneZoneCard : public MemoryCard<bytes, srd, swr, chk> {
 public:
  using MemoryCard<bytes, srd, swr, chk>::MemoryCard;
  static constexpr std::size_t erase_code_size = 4;

  Result<> erase(int address, int count) const {
    return Result<>(ser(this->handle(), address, count));
  }
  Result<> clear_write_flag() const { return Result<>(clrpr(this->handle())); }
  Result<> clear_read_flag() const { return Result<>(clrrd(this->handle())); }
  Result<> present_erase_code(std::span<const Byte, erase_code_size> code) const {
    return Result<>(cesc(this->handle(), erase_code_size, code.data()));
  }
  Result<> change_erase_code(std::span<const Byte, erase_code_size> code) const {
    return Result<>(wesc(this->handle(), erase_code_size, code.data()));
  }
  Result<> read_erase_code(std::span<Byte, erase_code_size> code) const {
    return Result<>(resc(this->handle(), erase_code_size, code.data()));
  }
  Result<int> erasures_left() const { return detail::counted<unsigned>(resct, this->handle()); }
};

using Card4404 =
    Personalisable<WithCode<OneZoneCard<52, srd_4404, swr_4404, chk_4404, ser_4404, clrpr_4404,
                                        clrrd_4404, cesc_4404, wesc_4404, resc_4404, resct_4404>,
                            2, csc_4404, wsc_4404, rsc_4404, rsct_4404, unsigned>,
                   psnl_4404, fakefus_4404>;

class Card101 : public Personalisable<
                    WithCode<OneZoneCard<172, srd_101, swr_101, chk_101, ser_101, clrpr_101,
                                         clrrd_101, cesc_101, wesc_101, resc_101, resct_101>,
                             2, csc_101, wsc_101, rsc_101, rsct_101, unsigned>,
                    psnl_101, fakefus_101> {
 public:
  using Personalisable::Personalisable;
  // Where codes and counters lie.
  Result<> write_security(int address, std::span<const Byte> buffer) const {
    return Result<>(swrSC_101(handle(), address, detail::count_of(buffer.size()), buffer.data()));
  }
};

// The 4406, which counts units.
class Card4406 : public WithCode<MemoryCard<13, srd_4406, swr_4406, chk_4406>, 3, csc_4406,
                                 wsc_4406, rsc_4406, rsct_4406, unsigned> {
 public:
  using WithCode::WithCode;
  // Spends a unit of a stage, and fills the one behind it.
  Result<> carry(int address) const { return Result<>(eswc_4406(handle(), address)); }
  Result<> personalise() const { return Result<>(psnl_4406(handle())); }
};

// A security memory card with zones: the 102, the 1604 and the 1604b.
template <auto srd, auto swr, auto swrSC, auto ser, auto chk, auto clrpr, auto clrrd, auto cesc,
          auto wesc, auto resc, auto resct>
class ZonedCard : public Card {
 public:
  using Card::Card;

  Result<> read(unsigned zone, int address, std::span<Byte> buffer) const {
    return Result<>(srd(handle(), zone, address, detail::count_of(buffer.size()), buffer.data()));
  }
  Result<> write(unsigned zone, int address, std::span<const Byte> buffer) const {
    return Result<>(swr(handle(), zone, address, detail::count_of(buffer.size()), buffer.data()));
  }
  Result<> write_security(unsigned zone, int address, std::span<const Byte> buffer) const {
    return Result<>(swrSC(handle(), zone, address, detail::count_of(buffer.size()), buffer.data()));
  }
  Result<> erase(unsigned zone, int address, int count) const {
    return Result<>(ser(handle(), zone, address, count));
  }
  Result<> clear_write_flag(int zone) const { return Result<>(clrpr(handle(), zone)); }
  Result<> clear_read_flag(int zone) const { return Result<>(clrrd(handle(), zone)); }
  // Its size is that of the zone's erase code.
  Result<> present_erase_code(int zone, std::span<const Byte> code) const {
    return Result<>(detail::call(cesc, handle(), zone, detail::count_of(code.size()), code.data()));
  }
  Result<> change_erase_code(int zone, std::span<const Byte> code) const {
    return Result<>(detail::call(wesc, handle(), zone, detail::count_of(code.size()), code.data()));
  }
  Result<> read_erase_code(int zone, std::span<Byte> code) const {
    return Result<>(detail::call(resc, handle(), zone, detail::count_of(code.size()), code.data()));
  }
  Result<int> erasures_left(int zone) const {
    return detail::counted<unsigned>(resct, handle(), zone);
  }
  Result<> probe() const { return Result<>(chk(handle())); }
};

using Card102 =
    Personalisable<WithCode<ZonedCard<srd_102, swr_102, swrSC_102, ser_102, chk_102, clrpr_102,
                                      clrrd_102, cesc_102, wesc_102, resc_102, resct_102>,
                            2, csc_102, wsc_102, rsc_102, rsct_102, unsigned>,
                   psnl_102, fakefus_102>;

// A code for all of the card, which has the number 0, and one for each zone.
template <typename Base, auto csc, auto wsc, auto rsc, auto rsct>
class WithCodes : public Base {
 public:
  using Base::Base;
  static constexpr std::size_t code_size = 2;

  Result<> present_code(int number, std::span<const Byte, code_size> code) const {
    return Result<>(csc(this->handle(), number, code_size, code.data()));
  }
  Result<> change_code(int number, std::span<const Byte, code_size> code) const {
    return Result<>(wsc(this->handle(), static_cast<unsigned>(number), code_size, code.data()));
  }
  Result<> read_code(int number, std::span<Byte, code_size> code) const {
    return Result<>(rsc(this->handle(), static_cast<unsigned>(number), code_size, code.data()));
  }
  Result<int> attempts_left(int number) const {
    return detail::counted<unsigned>(rsct, this->handle(), static_cast<unsigned>(number));
  }
};

using Card1604 = Personalisable<
    WithCodes<ZonedCard<srd_1604, swr_1604, swrSC_1604, ser_1604, chk_1604, clrpr_1604, clrrd_1604,
                        cesc_1604, wesc_1604, resc_1604, resct_1604>,
              csc_1604, wsc_1604, rsc_1604, rsct_1604>,
    psnl_1604, fakefus_1604>;
using Card1604b = Personalisable<
    WithCodes<ZonedCard<srd_1604b, swr_1604b, swrSC_1604b, ser_1604b, chk_1604b, clrpr_1604b,
                        clrrd_1604b, cesc_1604b, wesc_1604b, resc_1604b, resct_1604b>,
              csc_1604b, wsc_1604b, rsc_1604b, rsct_1604b>,
    psnl_1604b, fakefus_1604b>;

namespace detail {

// More does not fit a frame.
inline constexpr std::size_t longest_command = 250;

template <typename Function>
Result<> transmit(Function function, int handle, std::span<const Byte> command, Byte *answer) {
  if (command.size() > longest_command) return Result<>(static_cast<int>(Error::bad_length));
  return Result<>(function(handle, static_cast<int>(command.size()), command.data(), answer));
}

}  // namespace detail

// The processor card in the slot. The library does not tell how long its answers are: they are at
// the beginning of the buffers, which have room for all that may come. Blocks of T=1 go through
// cpu_protocol: no size of a buffer is enough for every card.
class ProcessorCard : public Card {
 public:
  using Card::Card;
  static constexpr std::size_t longest_answer = 255;
  // What a reader may announce.
  static constexpr std::size_t longest_answer_to_reset = 65535;

  Result<> reset(std::span<Byte, longest_answer_to_reset> answer) const {
    return Result<>(cpu_reset(handle(), answer.data()));
  }
  Result<> transmit(std::span<const Byte> command, std::span<Byte, longest_answer> answer) const {
    return detail::transmit(cpu_comres, handle(), command, answer.data());
  }
  Result<> set_speed(Byte code) const { return Result<>(set_card_baud(handle(), 0, code)); }
};

// The security access modules inside the reader, of which one is spoken with at a time.
class Sams : public Card {
 public:
  using Card::Card;
  static constexpr std::size_t longest_answer = 255;

  Result<> power_on() const { return Result<>(sam_power_on(handle())); }
  Result<> power_off() const { return Result<>(sam_power_down(handle())); }
  Result<> select(Byte number) const { return Result<>(sam_select(handle(), number)); }
  // How many bytes the answer to reset has.
  Result<int> reset(std::span<Byte, longest_answer> answer) const {
    int length = 0;
    const int code = sam_reset(handle(), &length, answer.data());
    return detail::value_or_error(code, length);
  }
  Result<> transmit(std::span<const Byte> command, std::span<Byte, longest_answer> answer) const {
    return detail::transmit(sam_comres, handle(), command, answer.data());
  }
};

// Single DES, block by block. What is left of the last block is filled with zeros, for which
// `output` has to have room. Returns the length of the output.
inline Result<int> des_encrypt(std::span<const Byte, 8> key, std::span<const Byte> input,
                               std::span<Byte> output) {
  constexpr std::size_t block = 8;
  if (input.size() > INT_MAX - block ||
      output.size() < (input.size() + block - 1) / block * block) {
    return Error::bad_length;
  }
  return ic_encrypt(key.data(), input.data(), static_cast<unsigned>(input.size()), output.data());
}
inline Result<> des_decrypt(std::span<const Byte, 8> key, std::span<const Byte> input,
                            std::span<Byte> output) {
  constexpr std::size_t block = 8;
  if (input.size() > INT_MAX - block ||
      output.size() < (input.size() + block - 1) / block * block) {
    return Result<>(static_cast<int>(Error::bad_length));
  }
  return Result<>(
      ic_decrypt(key.data(), input.data(), static_cast<unsigned>(input.size()), output.data()));
}

}  // namespace quorra

#endif  // QUORRA_HPP
