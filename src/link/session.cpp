// SPDX-FileCopyrightText: 2026 The quorra authors
// SPDX-License-Identifier: BSD-2-Clause

// Opening and closing the serial line to the reader.

#include "link/session.hpp"

#include <fcntl.h>
#include <quorra.h>
#include <termios.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>

#include "link/codes.hpp"
#include "link/exchange.hpp"
#include "link/line.hpp"

struct termios nport;
struct termios oport;
unsigned char Reader_Type;

namespace quorra {
namespace {

struct Speed {
  int baud;
  tcflag_t code;
};

// Beside 9600, for which any other number stands.
constexpr Speed direct_speeds[] = {
    {19200, B19200},
    {38400, B38400},
    {57600, B57600},
    {115200, B115200},
};
constexpr Speed terminal_speeds[] = {
    {1200, B1200},
    {2400, B2400},
    {4800, B4800},
    {19200, B19200},
};

template <std::size_t size>
tcflag_t speed_code(const Speed (&speeds)[size], int baud) {
  const auto* found = std::find_if(std::begin(speeds), std::end(speeds),
                                   [baud](const Speed& speed) { return speed.baud == baud; });
  return found == std::end(speeds) ? tcflag_t{B9600} : found->code;
}

constexpr int short_version_length = 10;
constexpr int long_version_length = 18;
constexpr char known_reader[] = "KWSPC";

void note_reader_type(const unsigned char* version) {
  if (std::memcmp(version, known_reader, sizeof known_reader - 1) == 0) Reader_Type = 1;
}

bool direct_mode() { return term_flg == 1; }

void clear_texts() {
  for (char* text :
       {SETAUX, CLOSEAUX, INITAUX, AUXSTARTWRITE, AUXENDWRITE, ENABLEKEYBOARD, DISABLEKEYBOARD}) {
    std::memset(text, 0, text_size);
  }
}

int open_line() {
  constexpr int flags = O_RDWR | O_NOCTTY;
  if (direct_mode()) return open(DRVCOMM, flags);
  const char* terminal = ttyname(STDOUT_FILENO);
  return terminal == nullptr ? -1 : open(terminal, flags);
}

// Raw 8-bit mode with two stop bits, in which a read returns at once with what is there. A
// descriptor whose settings cannot be read or set is used as it stands. No read or write of it
// sleeps in any case, so that every wait ends in its time.
void set_line(int handle, int baud) {
  never_block(handle);
  tcgetattr(handle, &nport);
  oport = nport;
  std::memset(&nport, 0, sizeof nport);
  const tcflag_t speed = direct_mode() ? speed_code(direct_speeds, baud)  //
                                       : speed_code(terminal_speeds, baud);
  nport.c_cflag = speed | CLOCAL | CREAD | CSTOPB | CS8;
  nport.c_lflag = ISIG | XCASE;
  tcsetattr(handle, TCSANOW, &nport);
  tcflush(handle, TCIFLUSH);
  tcflush(handle, TCOFLUSH);
}

// Opens the line and makes it ready. `no_direct_device` is the code for a serial device that cannot
// be opened: the two functions that open a session differ in it.
int open_session(const char* path, int baud, Code no_direct_device) {
  clear_texts();
  if (const int code = getpar(path); code != ok) return code;
  const int handle = open_line();
  if (handle < 0) return direct_mode() ? no_direct_device : no_reader;
  set_line(handle, baud);
  if (!direct_mode()) {
    write_text(handle, SETAUX);
    write_text(handle, INITAUX);
  }
  return handle;
}

}  // namespace
}  // namespace quorra

using namespace quorra;

int ic_init(const char* path, int baud) {
  const int handle = open_session(path, baud, no_device);
  if (handle < 0) return handle;
  // Zeros, so that a short answer is not completed by what an earlier call left here.
  unsigned char version[short_version_length] = {};
  if (srd_ver(handle, short_version_length, version) != ok) {
    ic_exit(handle);
    return no_reader;
  }
  return handle;
}

int ic_init0(const char* path, int baud) { return open_session(path, baud, no_reader); }

int ic_exit(int handle) {
  never_block(handle);
  if (!direct_mode()) write_text(handle, CLOSEAUX);
  tcsetattr(handle, TCSANOW, &oport);
  close(handle);
  return ok;
}

int srd_ver(int handle, int len, unsigned char* buf) {
  if (len != short_version_length && len != long_version_length) return bad_length;
  if (buf == nullptr) return bad_length;
  Request request(Command::read_version, CardType::reader);
  request.append(0).append(static_cast<unsigned char>(len));
  Reply reply;
  if (const int code = exchange(handle, request, reply); code != ok) return code;
  std::memcpy(buf, reply.data(), static_cast<std::size_t>(std::min(len, reply.length())));
  note_reader_type(buf);
  return ok;
}
