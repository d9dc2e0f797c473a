// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// Sessions of the library in the test's own process.
#pragma once

#include <gtest/gtest.h>
#include <quorra.h>

#include <cstring>
#include <filesystem>

namespace quorra::testing {

// The library's globals as a new process has them. A session leaves its texts there, and the tail
// of a longer one stays behind a shorter one: "/dev/pts/10", then "/dev/pts/90".
inline void forget_sessions() {
  for (auto* text : {&AUXSTARTWRITE, &AUXENDWRITE, &CLOSEAUX, &SETAUX, &INITAUX, &ENABLEKEYBOARD,
                     &DISABLEKEYBOARD, &DRVCOMM}) {
    std::memset(*text, 0, sizeof *text);
  }
}

// A session with the reader of that configuration file.
class Session {
 public:
  explicit Session(const std::filesystem::path& configuration) {
    forget_sessions();
    handle_ = ic_init(configuration.c_str(), 9600);
    EXPECT_GE(handle_, 0);
  }
  Session(const Session&) = delete;
  Session& operator=(const Session&) = delete;
  ~Session() { ic_exit(handle_); }

  int handle() const { return handle_; }

 private:
  int handle_;
};

}  // namespace quorra::testing
