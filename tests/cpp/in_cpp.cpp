// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// The same as in_c.cpp.
#include <quorra.hpp>

namespace {

// For the functions that are given a session which others close.
class Borrowed {
 public:
  explicit Borrowed(int handle) : session_(handle) {}
  Borrowed(const Borrowed&) = delete;
  Borrowed& operator=(const Borrowed&) = delete;
  ~Borrowed() { static_cast<void>(session_.release()); }
  const quorra::Session& session() const { return session_; }

 private:
  quorra::Session session_;
};

}  // namespace

extern "C" {

int first_bytes(const char* configuration, unsigned char* bytes) {
  const auto session = quorra::Session::open(configuration);
  if (!session) return session.code();
  return quorra::Card4442(*session).read(0, {bytes, 16}).code();
}

int write_guarded(int handle, const unsigned char* code, const unsigned char* bytes) {
  const Borrowed borrowed(handle);
  const quorra::Card4442 card(borrowed.session());
  const auto presented = card.present_code(std::span<const unsigned char, 3>(code, 3));
  if (!presented) return presented.code();
  return card.write(32, {bytes, 8}).code();
}

int attempts_of_zone(int handle, int number) {
  const Borrowed borrowed(handle);
  const auto left = quorra::Card1604(borrowed.session()).attempts_left(number);
  return left ? *left : left.code();
}

int read_zone(int handle, unsigned zone, unsigned char* bytes) {
  const Borrowed borrowed(handle);
  return quorra::Card102(borrowed.session()).read(zone, 0, {bytes, 8}).code();
}
}
