// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// A program may have functions of its own that are called like some of the library. The library
// goes on calling its own.

#include <gtest/gtest.h>
#include <quorra.h>

#include "tests/support/operation.hpp"

namespace {

int calls = 0;

int count_call() {
  ++calls;
  return -4711;
}

}  // namespace

extern "C" {
int getpar(const char*) { return count_call(); }
int get_s(char*, char*) { return count_call(); }
int cr_bcc(int, const unsigned char*) { return count_call(); }
int ck_bcc(int, const unsigned char*) { return count_call(); }
int sendchar(int, unsigned char) { return count_call(); }
int send_com(int, int, const unsigned char*) { return count_call(); }
int receive_data(int, unsigned char*) { return count_call(); }
int receive_data_2k(int, unsigned char*) { return count_call(); }
int receive_com(int, unsigned char*) { return count_call(); }
int ic_delay(int) { return count_call(); }
int srd_ver(int, int, unsigned char*) { return count_call(); }
int srd_4442(int, int, int, unsigned char*) { return count_call(); }
int prd_4442(int, int, unsigned char*) { return count_call(); }
}

namespace quorra::testing {
namespace {

TEST(OwnNames, AreNotCalledByTheLibrary) {
  {
    ScriptedReader reader;
    reader.expect_proof();
    const int handle = reader.init();
    EXPECT_GE(handle, 0);
    reader.expect(hex("AA B4 00 07 80 00 00 00 00 00 05 9C")).answer(reply(0, {}));
    EXPECT_EQ(dv_beep(handle, 5), 0);
    reader.expect(hex("AA 61 00 07 79 00 00 00 06 00 02 B1")).answer(reply(0, hex("81 15")));
    EXPECT_EQ(chk_4442(handle), 0);
    reader.expect(hex("AA 75 00 06 79 00 00 00 1F 5A E5")).answer(reply(0, {}));
    reader.expect(hex("AA 74 00 07 79 00 00 00 00 00 04 A4")).answer(reply(0, hex("FF FF FF FE")));
    reader.expect(hex("AA 61 00 07 79 00 00 00 1F 00 01 AB")).answer(reply(0, hex("5A")));
    EXPECT_EQ(pwr_4442(handle, 31, 1, hex("5A").data()), 0);
    ic_exit(handle);
  }
  EXPECT_EQ(calls, 0);
  EXPECT_EQ(cr_bcc(0, nullptr), -4711) << "and the program calls its own";
}

}  // namespace
}  // namespace quorra::testing
