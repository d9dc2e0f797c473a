# SPDX-FileCopyrightText: 2026 The quorra authors
# SPDX-License-Identifier: BSD-2-Clause
"""The functions of the library, as they are. Made by generate.py."""

import ctypes
import os
from typing import Union

from quorra._types import termios as termios

_Array = Union[ctypes.Array[ctypes.c_ubyte], ctypes.Array[ctypes.c_char]]
_Room = Union[bytearray, memoryview, _Array, ctypes.c_ubyte, ctypes.c_char, ctypes._CArgObject, None]
_Bytes = Union[bytes, _Room]
_Rows = Union[_Room, ctypes.Array[ctypes.Array[ctypes.c_ubyte]]]
_Path = Union[str, bytes, os.PathLike[str], None]
_Int = Union[ctypes.c_int, ctypes.Array[ctypes.c_int], ctypes._CArgObject, None]
_UnsignedInt = Union[ctypes.c_uint, ctypes.Array[ctypes.c_uint], ctypes._CArgObject, None]

QUORRA_VERSION_MAJOR: int
QUORRA_VERSION_MINOR: int
QUORRA_VERSION_PATCH: int
Reader_Type: ctypes.c_ubyte
AUXSTARTWRITE: ctypes.Array[ctypes.c_char]
AUXENDWRITE: ctypes.Array[ctypes.c_char]
CLOSEAUX: ctypes.Array[ctypes.c_char]
SETAUX: ctypes.Array[ctypes.c_char]
INITAUX: ctypes.Array[ctypes.c_char]
ENABLEKEYBOARD: ctypes.Array[ctypes.c_char]
DISABLEKEYBOARD: ctypes.Array[ctypes.c_char]
DRVCOMM: ctypes.Array[ctypes.c_char]
term_flg: ctypes.c_int
nport: termios
oport: termios

def ic_init(__path: _Path, __baud: int) -> int:
    r"""Opens a session with the reader that the configuration file at `path` names, and proves that a
    reader answers by reading its version text.

    The file consists of lines of at most 59 characters, the line end among them, whose first
    character is the key and whose value follows an '='. What is longer counts as several lines, each
    with a key of its own. A line P=/dev/ttyS0 names the serial device (direct mode); what follows it
    is not read. A file without such a line selects the auxiliary port of the serial terminal on
    standard output (terminal mode); its lines S and I give the escape sequences sent at the start of
    the session, W and A those sent before and after every byte, C the one sent at its end. A
    backslash and the three characters behind it stand for ESC: W=\033[5i. Blanks are removed, but of
    two that are adjacent only the first. The last character of a line is taken for its line end, so
    the last line needs one, too. A line that begins with '#' is a comment.

    baud: 9600, 19200, 38400, 57600 or 115200 in direct mode; 1200, 2400, 4800, 9600 or 19200 in
      terminal mode. Any other value means 9600.

    Opening the line has no time limit: where it is a serial line without a carrier whose settings
    lack CLOCAL, ic_init and ic_init0 wait in open() until there is one. Without a reader behind them
    "stty -F /dev/ttyS0 clocal" avoids that.

    Returns the handle of the session (0 or more); -1 (configuration file); -16 (direct mode: the
    device cannot be opened); -136 (terminal mode: standard output is no terminal or it cannot be
    opened; either mode: no valid answer to the version request)."""

def ic_init0(__path: _Path, __baud: int) -> int:
    """Opens a session like ic_init, but asks the reader nothing.

    Returns the handle (0 or more); -1 (configuration file); -136 (device or terminal cannot be
    opened)."""

def ic_exit(__handle: int) -> int:
    """Ends the session: sends the closing sequence (terminal mode only), restores the line settings
    found by ic_init and closes the handle.

    Returns 0 always, also for a handle that is not open."""

def lib_ver(__dst: _Room) -> int:
    """Copies the library's own version text into `dst`: 18 characters and a NUL, so `dst` has room for
    at least 19 bytes. Needs no session.

    Returns 0; -143 (dst is a null pointer)."""

def srd_ver(__handle: int, __len: int, __buf: _Room) -> int:
    """Reads the reader's version text.

    len: 10 or 18 bytes. buf: room for `len` bytes; receives what the reader sends, at most `len`
      bytes. Nothing is terminated or padded: bytes that the reader did not send keep their value.

    If `buf` then begins with "KWSPC", Reader_Type becomes 1.

    Returns 0; -143 (len, or buf is a null pointer); a link code; the negated STATUS."""

def srd_snr(__handle: int, __len: int, __buf: _Room) -> int:
    """Reads the reader's serial number.

    len: 16. buf: room for 16 bytes, all of which are written; what the reader did not send is zero.

    Returns 0; -143 (len, or buf is a null pointer); a link code; the negated STATUS."""

def get_status(__handle: int, __out: _Int) -> int:
    """Tests whether a reader answers, with up to four attempts that follow each other at once. What the
    reader reports is not evaluated: after any valid reply *out is 0 and the result 0. Without a
    valid reply *out stays as it was.

    Returns 0; -143 (out is a null pointer); the link code of the fourth attempt."""

def get_status0(__handle: int, __out: _Int) -> int:
    """As get_status, with one attempt. Returns 0; -143 (out is a null pointer); the link code."""

def dv_beep(__handle: int, __t: int) -> int:
    """Sounds the buzzer. t: the time in the reader's own unit, 0 to 255; a negative t means 2, one
    above 255 means 255. The call spends t/5 milliseconds of processor time before it reads the
    reply.

    Returns 0; a link code; the negated STATUS."""

def turn_on(__handle: int) -> int:
    """Switches the card's power on. Returns 0; a link code; the negated STATUS."""

def turn_off(__handle: int) -> int:
    """Switches the card's power off. Returns 0; a link code; the negated STATUS."""

def auto_pull(__handle: int) -> int:
    """Ejects the card. Returns 0; a link code; the negated STATUS."""

def set_baud(__handle: int, __baud: int) -> int:
    """Tells the reader to change to another line speed, and gives it two seconds of processor time to
    do so. The speed of the session is not changed: the caller opens a new one.

    baud: 1200, 2400, 4800, 9600, 19200 or 38400. Any other value means 9600. A speed that ic_init
      does not know in the mode of the session, 1200 to 4800 in direct mode and 38400 in terminal
      mode, leaves the reader out of reach in this mode.

    Returns 0; -133 also if the reader's reply does not bring the setting of which the speed is a
    part (nothing is changed then); a link code; the negated STATUS."""

def chk_baud(__path: _Path) -> int:
    """Finds out at which speed a reader answers: opens a session as ic_init0 does at 9600, 19200,
    38400, 4800, 2400 and 1200 in turn and asks for the status, with a pause of two seconds of
    processor time after the first and of 0.2 seconds after each further one. No session is left
    open. A speed that the mode of the session does not know is tried as 9600: see ic_init.

    Returns the speed; -141 (none); -1 or -136 (as ic_init0 at the first two speeds)."""

def auto_init(__path: _Path, __baud: int) -> int:
    """Opens a session with a reader that may have been left at another speed: as ic_init does, or else
    by finding the reader's speed and changing it to `baud`.

    baud: as for set_baud. A reader cannot be changed to 57600 or 115200: it goes to 9600. In direct
      mode the session at the other speed is then refused; in terminal mode, which does not know
      these speeds, it is opened at 9600.

    Returns the handle; -136 (any failure). A handle of 0 at the first try counts as a failure, and
    stays open."""

def srd_eeprom(__handle: int, __addr: int, __len: int, __buf: _Room) -> int:
    """Each transfers `len` bytes at `addr` of the application's part, in frames of 144 bytes. A
    transfer that fails leaves the frames before the failing one done.

    addr: up to 383. An address below 0 is not refused: addr / 256 and addr % 256 are sent, each cut
      to a byte, and there may be more than three frames.
    len: 1 to 384 - addr.
    buf: has room for, or holds, `len` bytes.

    Returns 0; -144 (addr); -143 (len, or buf is a null pointer); a link code; the negated STATUS."""

def swr_eeprom(__handle: int, __addr: int, __len: int, __buf: _Bytes) -> int:
    """Each transfers `len` bytes at `addr` of the application's part, in frames of 144 bytes. A
    transfer that fails leaves the frames before the failing one done.

    addr: up to 383. An address below 0 is not refused: addr / 256 and addr % 256 are sent, each cut
      to a byte, and there may be more than three frames.
    len: 1 to 384 - addr.
    buf: has room for, or holds, `len` bytes.

    Returns 0; -144 (addr); -143 (len, or buf is a null pointer); a link code; the negated STATUS."""

def srd_dvsc(__handle: int, __len: int, __code: _Room) -> int:
    """Reads the reader's security code into `code` (room for 3 bytes). len: 3.

    Returns 0; -143 (len, or code is a null pointer); a link code; the negated STATUS."""

def swr_dvsc(__handle: int, __len: int, __code: _Bytes) -> int:
    """Writes the reader's security code and reads it back. len: 3.

    Returns 0; -143 (len, or code is a null pointer); -129 (it reads back differently); a link code
    or the negated STATUS of either exchange."""

def cmp_dvsc(__handle: int, __len: int, __code: _Bytes) -> int:
    """Lets the reader compare its security code with `code`. len: 3.

    Returns 0 (the reader accepts it); -143 (len, or code is a null pointer); a link code; the
    negated STATUS."""

def setsc_md(__handle: int, __mode: int) -> int:
    """Switches the reader's security mode on (mode is not 0) or off, and reads it back.

    Returns 0; -129 (it reads back differently); a link code or the negated STATUS of either
    exchange."""

def val_read(__handle: int, __value: _UnsignedInt) -> int:
    """Reads the register into *value. On failure *value stays as it was.

    Returns 0; -143 (value is a null pointer); a link code; the negated STATUS."""

def swr_value(__handle: int, __value: int) -> int:
    """Writes the register. Returns 0; a link code; the negated STATUS."""

def val_set(__handle: int, __value: int) -> int:
    """Writes the register and reads it back.

    Returns 0; -129 (it reads back differently); a link code or the negated STATUS of any exchange."""

def val_inc(__handle: int, __amount: int) -> int:
    """Adds `amount`, modulo 2 to the 32nd, and reads the result back.

    Returns as val_set; -133 also if the reply does not bring the whole register, which is not
    written then."""

def val_dec(__handle: int, __amount: int) -> int:
    """Subtracts `amount`, modulo 2 to the 32nd, and reads the result back. A result of 0x80000000 or
    more counts as below zero and is not written.

    Returns as val_inc; -135 (the result would be below zero)."""

def chk_card(__handle: int) -> int:
    """Finds out which kind of memory card is in the reader: calls the chk_ functions of the cards below
    in this order and switches the card's power off after each that does not accept the card. The
    tests of the 93C and 24C series write to the card and put back what they changed; on a card of
    another kind they may leave bytes changed.

    Returns the number of the card, or 0 if no test accepts it: 40 (4404), 41 (4406), 51 (102), 52
    (1604), 53 (1604b), 31 (4428), 21 (4442), 10 (45D041), 60 (93c46a), 61 (93c46), 62 (93c57), 7
    (24c64), 6 (24c32), 5 (24c16), 4 (24c08), 3 (24c04), 2 (24c02), 1 (24c01a). The 101, which begins
    as a 102 does, and the 93c66 have no number: the result is that of a card whose test accepts
    them, 51 for the 101, or 0. It never returns a negative number: a failure counts as another card."""

def srd_4442(__handle: int, __address: int, __count: int, __buffer: _Room) -> int:
    """Reads `count` bytes at `address` into `buffer` (room for `count` bytes).

    address: 0 to 255. count: 1 to 256 - address.

    Returns 0; -144 (address); -143 (count, or buffer is a null pointer); a link code; the negated
    STATUS."""

def swr_4442(__handle: int, __address: int, __count: int, __buffer: _Bytes) -> int:
    """Writes the `count` bytes of `buffer` at `address`.

    address: 0 to 256 (for 256 there is no good count). count: 1 to 256 - address.

    Returns 0; -144 (address); -143 (count, or buffer is a null pointer); a link code; the negated
    STATUS."""

def prd_4442(__handle: int, __length: int, __buffer: _Room) -> int:
    """Reads the protection memory into `buffer` (room for 4 bytes). The bit for address a is bit
    7 - (a mod 8) of buffer[a / 8]: 1 means writable, 0 protected.

    length: 4.

    Returns 0; -143 (length, or buffer is a null pointer); a link code; the negated STATUS."""

def pwr_4442(__handle: int, __address: int, __count: int, __buffer: _Bytes) -> int:
    """Protects `count` bytes from `address` for good, and reads back that they are. `buffer` holds the
    bytes that the card's memory has at these addresses.

    address: 0 to 31. count: 1 to 32 - address.

    Returns 0; -144 (address); -143 (count, or buffer is a null pointer); a link code or the negated
    STATUS (protecting); -128 (reading back failed or brought too few bytes); -129 (a byte is still
    writable, or the memory does not equal `buffer`)."""

def csc_4442(__handle: int, __length: int, __code: _Bytes) -> int:
    """Presents the security code. A wrong code uses up one of three attempts, the right one restores
    them and opens the card for writing until it loses power.

    length: 3. code: 3 bytes.

    Returns 0; -143 (length, or code is a null pointer); a link code; the negated STATUS."""

def wsc_4442(__handle: int, __length: int, __code: _Bytes) -> int:
    """Writes a new security code. The present one must have been presented before.

    length: 3. code: 3 bytes.

    Returns 0; -143 (length, or code is a null pointer); a link code; the negated STATUS."""

def rsc_4442(__handle: int, __length: int, __code: _Room) -> int:
    """Reads the security code into `code` (room for 3 bytes). The card tells it only after it was
    presented.

    length: 3.

    Returns 0; -143 (length, or code is a null pointer); a link code; the negated STATUS."""

def rsct_4442(__handle: int, __counter: _Int) -> int:
    """Reads how many attempts at the security code are left: the number of set bits, 0 to 8, of the
    card's error counter. On failure *counter stays as it was.

    Returns 0; -143 (counter is a null pointer); a link code; the negated STATUS."""

def chk_4442(__handle: int) -> int:
    """Tests whether a 4442 or 4432 card is in the reader: bytes 6 and 7 are 0x81 and 0x15.

    Returns 0; -133 (another card); a link code; the negated STATUS."""

def srd_4432(__handle: int, __address: int, __count: int, __buffer: _Room) -> int:
    """As srd_4442."""

def swr_4432(__handle: int, __address: int, __count: int, __buffer: _Bytes) -> int:
    """As swr_4442; a 4432 needs no code."""

def prd_4432(__handle: int, __length: int, __buffer: _Room) -> int:
    """As prd_4442."""

def pwr_4432(__handle: int, __address: int, __count: int, __buffer: _Bytes) -> int:
    """As pwr_4442."""

def chk_4432(__handle: int) -> int:
    """As chk_4442, which cannot tell the two cards apart."""

def srd_4428(__handle: int, __address: int, __count: int, __buffer: _Room) -> int:
    """Reads `count` bytes at `address` into `buffer` (room for `count` bytes).

    address: 0 to 1023. count: 1 to 1024 - address.

    Returns 0; -144 (address); -143 (count, or buffer is a null pointer); a link code; the negated
    STATUS."""

def swr_4428(__handle: int, __address: int, __count: int, __buffer: _Bytes) -> int:
    """Writes the `count` bytes of `buffer` at `address`. The last three bytes are out of its reach.

    address: 0 to 1020. count: 1 to 1021 - address.

    Returns 0; -144 (address); -143 (count, or buffer is a null pointer); a link code; the negated
    STATUS."""

def rdwpb_4428(__handle: int, __address: int, __count: int, __buffer: _Room) -> int:
    """Reads `count` bytes with their protection bits: two bytes of `buffer` (room for 2 x count bytes)
    for each byte of the card, as the reader delivers them.

    Arguments and results as swr_4428."""

def wrwpb_4428(__handle: int, __address: int, __count: int, __buffer: _Bytes) -> int:
    """Writes `count` bytes and protects each of them. Arguments and results as swr_4428."""

def pwr_4428(__handle: int, __address: int, __count: int, __buffer: _Bytes) -> int:
    """Protects `count` bytes; `buffer` holds the bytes that the card's memory has there. Arguments and
    results as swr_4428."""

def csc_4428(__handle: int, __length: int, __code: _Bytes) -> int:
    """Presents the security code. A wrong code uses up one of eight attempts, the right one restores
    them and opens the card for writing until it loses power.

    length: 2. code: 2 bytes.

    Returns 0; -143 (length, or code is a null pointer); a link code; the negated STATUS."""

def wsc_4428(__handle: int, __length: int, __code: _Bytes) -> int:
    """Writes a new security code. Arguments and results as csc_4428."""

def rsc_4428(__handle: int, __length: int, __code: _Room) -> int:
    """Reads the security code into `code` (room for 2 bytes). Arguments and results as csc_4428."""

def rsct_4428(__handle: int, __counter: _Int) -> int:
    """Reads how many attempts at the security code are left: the number of set bits, 0 to 8, of the
    card's error counter. On failure *counter stays as it was.

    Returns 0; -143 (counter is a null pointer); a link code; the negated STATUS."""

def chk_4428(__handle: int) -> int:
    """Tests whether a 4428 card is in the reader: its first bytes are 0x92, 0x23, 0x10 and 0x91.

    Returns 0; -133 (another card); a link code; the negated STATUS."""

def srd_4418(__handle: int, __address: int, __count: int, __buffer: _Room) -> int:
    """As srd_4428, but every address reaches the reader with its low byte in both address bytes: 1 as
    0x0101, 300 as 0x2C2C. Reading begins there, with result 0: the bytes at 1 to 3, for example, are
    not read by it, but others."""

def swr_4418(__handle: int, __address: int, __count: int, __buffer: _Bytes) -> int:
    """As swr_4428, for all of the card: address 0 to 1023, count 1 to 1024 - address."""

def rdwpb_4418(__handle: int, __address: int, __count: int, __buffer: _Room) -> int:
    """As rdwpb_4428, with the arguments of swr_4418."""

def wrwpb_4418(__handle: int, __address: int, __count: int, __buffer: _Bytes) -> int:
    """As wrwpb_4428, with the arguments of swr_4418."""

def pwr_4418(__handle: int, __address: int, __count: int, __buffer: _Bytes) -> int:
    """As pwr_4428, with the arguments of swr_4418."""

def chk_4418(__handle: int) -> int:
    """Returns 0 always and sends nothing: there is nothing to tell this card by."""

def srd_24c01a(__handle: int, __address: int, __count: int, __buffer: _Room) -> int:
    """Each reads `count` bytes at `address` into `buffer` (room for `count` bytes).

    address: 0 to size - 1. count: 1 to size - address.

    Returns 0; -144 (address); -143 (count, or buffer is a null pointer); a link code; the negated
    STATUS."""

def srd_24c02(__handle: int, __address: int, __count: int, __buffer: _Room) -> int:
    """Each reads `count` bytes at `address` into `buffer` (room for `count` bytes).

    address: 0 to size - 1. count: 1 to size - address.

    Returns 0; -144 (address); -143 (count, or buffer is a null pointer); a link code; the negated
    STATUS."""

def srd_24c04(__handle: int, __address: int, __count: int, __buffer: _Room) -> int:
    """Each reads `count` bytes at `address` into `buffer` (room for `count` bytes).

    address: 0 to size - 1. count: 1 to size - address.

    Returns 0; -144 (address); -143 (count, or buffer is a null pointer); a link code; the negated
    STATUS."""

def srd_24c08(__handle: int, __address: int, __count: int, __buffer: _Room) -> int:
    """Each reads `count` bytes at `address` into `buffer` (room for `count` bytes).

    address: 0 to size - 1. count: 1 to size - address.

    Returns 0; -144 (address); -143 (count, or buffer is a null pointer); a link code; the negated
    STATUS."""

def srd_24c16(__handle: int, __address: int, __count: int, __buffer: _Room) -> int:
    """Each reads `count` bytes at `address` into `buffer` (room for `count` bytes).

    address: 0 to size - 1. count: 1 to size - address.

    Returns 0; -144 (address); -143 (count, or buffer is a null pointer); a link code; the negated
    STATUS."""

def srd_24c32(__handle: int, __address: int, __count: int, __buffer: _Room) -> int:
    """Each reads `count` bytes at `address` into `buffer` (room for `count` bytes).

    address: 0 to size - 1. count: 1 to size - address.

    Returns 0; -144 (address); -143 (count, or buffer is a null pointer); a link code; the negated
    STATUS."""

def srd_24c64(__handle: int, __address: int, __count: int, __buffer: _Room) -> int:
    """Each reads `count` bytes at `address` into `buffer` (room for `count` bytes).

    address: 0 to size - 1. count: 1 to size - address.

    Returns 0; -144 (address); -143 (count, or buffer is a null pointer); a link code; the negated
    STATUS."""

def swr_24c01a(__handle: int, __address: int, __count: int, __buffer: _Bytes) -> int:
    """Each writes the `count` bytes of `buffer` at `address`.

    Arguments and results as for reading, but swr_24c04 returns -144 for a count above
    size - address."""

def swr_24c02(__handle: int, __address: int, __count: int, __buffer: _Bytes) -> int:
    """Each writes the `count` bytes of `buffer` at `address`.

    Arguments and results as for reading, but swr_24c04 returns -144 for a count above
    size - address."""

def swr_24c04(__handle: int, __address: int, __count: int, __buffer: _Bytes) -> int:
    """Each writes the `count` bytes of `buffer` at `address`.

    Arguments and results as for reading, but swr_24c04 returns -144 for a count above
    size - address."""

def swr_24c08(__handle: int, __address: int, __count: int, __buffer: _Bytes) -> int:
    """Each writes the `count` bytes of `buffer` at `address`.

    Arguments and results as for reading, but swr_24c04 returns -144 for a count above
    size - address."""

def swr_24c16(__handle: int, __address: int, __count: int, __buffer: _Bytes) -> int:
    """Each writes the `count` bytes of `buffer` at `address`.

    Arguments and results as for reading, but swr_24c04 returns -144 for a count above
    size - address."""

def swr_24c32(__handle: int, __address: int, __count: int, __buffer: _Bytes) -> int:
    """Each writes the `count` bytes of `buffer` at `address`.

    Arguments and results as for reading, but swr_24c04 returns -144 for a count above
    size - address."""

def swr_24c64(__handle: int, __address: int, __count: int, __buffer: _Bytes) -> int:
    """Each writes the `count` bytes of `buffer` at `address`.

    Arguments and results as for reading, but swr_24c04 returns -144 for a count above
    size - address."""

def chk_24c01a(__handle: int) -> int:
    """Each tests whether a card of its size is in the reader. A test writes to the card, at the last
    address of its size and in the tests of larger sizes that it calls, and puts back what was there.
    On a smaller card than the one tested for, other bytes may stay changed.

    Returns 0; -133 (another card, none, or any failure)."""

def chk_24c02(__handle: int) -> int:
    """Each tests whether a card of its size is in the reader. A test writes to the card, at the last
    address of its size and in the tests of larger sizes that it calls, and puts back what was there.
    On a smaller card than the one tested for, other bytes may stay changed.

    Returns 0; -133 (another card, none, or any failure)."""

def chk_24c04(__handle: int) -> int:
    """Each tests whether a card of its size is in the reader. A test writes to the card, at the last
    address of its size and in the tests of larger sizes that it calls, and puts back what was there.
    On a smaller card than the one tested for, other bytes may stay changed.

    Returns 0; -133 (another card, none, or any failure)."""

def chk_24c08(__handle: int) -> int:
    """Each tests whether a card of its size is in the reader. A test writes to the card, at the last
    address of its size and in the tests of larger sizes that it calls, and puts back what was there.
    On a smaller card than the one tested for, other bytes may stay changed.

    Returns 0; -133 (another card, none, or any failure)."""

def chk_24c16(__handle: int) -> int:
    """Each tests whether a card of its size is in the reader. A test writes to the card, at the last
    address of its size and in the tests of larger sizes that it calls, and puts back what was there.
    On a smaller card than the one tested for, other bytes may stay changed.

    Returns 0; -133 (another card, none, or any failure)."""

def chk_24c32(__handle: int) -> int:
    """Each tests whether a card of its size is in the reader. A test writes to the card, at the last
    address of its size and in the tests of larger sizes that it calls, and puts back what was there.
    On a smaller card than the one tested for, other bytes may stay changed.

    Returns 0; -133 (another card, none, or any failure)."""

def chk_24c64(__handle: int) -> int:
    """Each tests whether a card of its size is in the reader. A test writes to the card, at the last
    address of its size and in the tests of larger sizes that it calls, and puts back what was there.
    On a smaller card than the one tested for, other bytes may stay changed.

    Returns 0; -133 (another card, none, or any failure)."""

def chk_up02(__handle: int) -> int:
    """Each tests whether the card passes as one of 256, 512, 1024, 2048 or 4096 bytes, or as a larger
    one. The tests above call them. Results as above."""

def chk_up04(__handle: int) -> int:
    """Each tests whether the card passes as one of 256, 512, 1024, 2048 or 4096 bytes, or as a larger
    one. The tests above call them. Results as above."""

def chk_up08(__handle: int) -> int:
    """Each tests whether the card passes as one of 256, 512, 1024, 2048 or 4096 bytes, or as a larger
    one. The tests above call them. Results as above."""

def chk_up16(__handle: int) -> int:
    """Each tests whether the card passes as one of 256, 512, 1024, 2048 or 4096 bytes, or as a larger
    one. The tests above call them. Results as above."""

def chk_up32(__handle: int) -> int:
    """Each tests whether the card passes as one of 256, 512, 1024, 2048 or 4096 bytes, or as a larger
    one. The tests above call them. Results as above."""

def srd_93c46a(__handle: int, __address: int, __count: int, __buffer: _Room) -> int:
    """Each reads `count` units at `address` into `buffer`.

    address: 0 to size - 1. count: 1 to size - address.

    Returns 0; -144 (address; srd_93c57 also for a count above size - address); -143 (count, or
    buffer is a null pointer); a link code; the negated STATUS."""

def srd_93c46(__handle: int, __address: int, __count: int, __buffer: _Room) -> int:
    """Each reads `count` units at `address` into `buffer`.

    address: 0 to size - 1. count: 1 to size - address.

    Returns 0; -144 (address; srd_93c57 also for a count above size - address); -143 (count, or
    buffer is a null pointer); a link code; the negated STATUS."""

def srd_93c57(__handle: int, __address: int, __count: int, __buffer: _Room) -> int:
    """Each reads `count` units at `address` into `buffer`.

    address: 0 to size - 1. count: 1 to size - address.

    Returns 0; -144 (address; srd_93c57 also for a count above size - address); -143 (count, or
    buffer is a null pointer); a link code; the negated STATUS."""

def srd_93c66(__handle: int, __address: int, __count: int, __buffer: _Room) -> int:
    """Each reads `count` units at `address` into `buffer`.

    address: 0 to size - 1. count: 1 to size - address.

    Returns 0; -144 (address; srd_93c57 also for a count above size - address); -143 (count, or
    buffer is a null pointer); a link code; the negated STATUS."""

def swr_93c46a(__handle: int, __address: int, __count: int, __buffer: _Bytes) -> int:
    """Each writes the `count` units of `buffer` at `address`.

    address: 0 to size - 1. count: 1 to size - address.

    Returns 0; -144 (address); -143 (count, or buffer is a null pointer); a link code; the negated
    STATUS."""

def swr_93c46(__handle: int, __address: int, __count: int, __buffer: _Bytes) -> int:
    """Each writes the `count` units of `buffer` at `address`.

    address: 0 to size - 1. count: 1 to size - address.

    Returns 0; -144 (address); -143 (count, or buffer is a null pointer); a link code; the negated
    STATUS."""

def swr_93c57(__handle: int, __address: int, __count: int, __buffer: _Bytes) -> int:
    """Each writes the `count` units of `buffer` at `address`.

    address: 0 to size - 1. count: 1 to size - address.

    Returns 0; -144 (address); -143 (count, or buffer is a null pointer); a link code; the negated
    STATUS."""

def swr_93c66(__handle: int, __address: int, __count: int, __buffer: _Bytes) -> int:
    """Each writes the `count` units of `buffer` at `address`.

    address: 0 to size - 1. count: 1 to size - address.

    Returns 0; -144 (address); -143 (count, or buffer is a null pointer); a link code; the negated
    STATUS."""

def eral_93c46a(__handle: int) -> int:
    """Each erases the whole card. Returns 0; a link code; the negated STATUS."""

def eral_93c46(__handle: int) -> int:
    """Each erases the whole card. Returns 0; a link code; the negated STATUS."""

def eral_93c57(__handle: int) -> int:
    """Each erases the whole card. Returns 0; a link code; the negated STATUS."""

def eral_93c66(__handle: int) -> int:
    """Each erases the whole card. Returns 0; a link code; the negated STATUS."""

def wral_93c46a(__handle: int) -> int:
    """Each fills the whole card with a value of the reader's choice. Returns 0; a link code; the
    negated STATUS."""

def wral_93c46(__handle: int) -> int:
    """Each fills the whole card with a value of the reader's choice. Returns 0; a link code; the
    negated STATUS."""

def wral_93c57(__handle: int) -> int:
    """Each fills the whole card with a value of the reader's choice. Returns 0; a link code; the
    negated STATUS."""

def wral_93c66(__handle: int) -> int:
    """Each fills the whole card with a value of the reader's choice. Returns 0; a link code; the
    negated STATUS."""

def chk_93c46a(__handle: int) -> int:
    """Each tests whether a card of its size is in the reader. A test writes to the card, at the last
    address of its size and in the test of the next size that it calls, and puts back what was there.
    chk_up57 tests whether the card passes as a 93c57 or a larger one.

    Returns 0; -133 (another card, none, or any failure)."""

def chk_93c46(__handle: int) -> int:
    """Each tests whether a card of its size is in the reader. A test writes to the card, at the last
    address of its size and in the test of the next size that it calls, and puts back what was there.
    chk_up57 tests whether the card passes as a 93c57 or a larger one.

    Returns 0; -133 (another card, none, or any failure)."""

def chk_93c57(__handle: int) -> int:
    """Each tests whether a card of its size is in the reader. A test writes to the card, at the last
    address of its size and in the test of the next size that it calls, and puts back what was there.
    chk_up57 tests whether the card passes as a 93c57 or a larger one.

    Returns 0; -133 (another card, none, or any failure)."""

def chk_93c66(__handle: int) -> int:
    """Each tests whether a card of its size is in the reader. A test writes to the card, at the last
    address of its size and in the test of the next size that it calls, and puts back what was there.
    chk_up57 tests whether the card passes as a 93c57 or a larger one.

    Returns 0; -133 (another card, none, or any failure)."""

def chk_up57(__handle: int) -> int:
    """Each tests whether a card of its size is in the reader. A test writes to the card, at the last
    address of its size and in the test of the next size that it calls, and puts back what was there.
    chk_up57 tests whether the card passes as a 93c57 or a larger one.

    Returns 0; -133 (another card, none, or any failure)."""

def srd_45d041(__handle: int, __page: int, __offset: int, __count: int, __buffer: _Room) -> int:
    """Reads `count` bytes at `page` and `offset` into `buffer` (room for `count` bytes), after a check
    that the card is there.

    page: up to 2047; a negative one is not refused, and means what the reader makes of it.
    offset: 0 to 263. count: 1 to (2048 - page) x 264 - offset.

    Returns 0; -143 (count, or buffer is a null pointer); -144 (page or offset); -128 (the card is
    not there, or the check failed); a link code; the negated STATUS. The count is checked to be
    positive before the position is looked at."""

def swr_45d041(__handle: int, __page: int, __offset: int, __count: int, __buffer: _Bytes) -> int:
    """Writes the `count` bytes of `buffer` at `page` and `offset`, after a check that the card is
    there.

    Arguments and results as srd_45d041, but -129 for a card that is not there."""

def rdstrg_45d041(__handle: int, __status: _Room) -> int:
    """Reads the card's status byte into *status. On failure *status stays as it was.

    Returns 0; -143 (status is a null pointer); a link code; the negated STATUS."""

def chk_45d041(__handle: int) -> int:
    """Tests whether a 45D041 card is in the reader: its status byte is neither 0x00 nor 0xFF. It is
    read up to three times.

    Returns 0; -133 (no such card); a link code; the negated STATUS."""

def srd_4404(__handle: int, __address: int, __count: int, __buffer: _Room) -> int:
    """Each transfers `count` bytes at `address`. address: 0 to 51. count: 1 to 52 - address."""

def swr_4404(__handle: int, __address: int, __count: int, __buffer: _Bytes) -> int:
    """Each transfers `count` bytes at `address`. address: 0 to 51. count: 1 to 52 - address."""

def ser_4404(__handle: int, __address: int, __count: int) -> int:
    """Erases `count` bytes from `address`.

    address: 0 to 13 or 40 to 51; an erase may begin at 13 or below and run on. count: 1 to
      52 - address."""

def csc_4404(__handle: int, __length: int, __code: _Bytes) -> int:
    """Presents the security code. length: 2."""

def wsc_4404(__handle: int, __length: int, __code: _Bytes) -> int:
    """Replaces the security code at address 8: erases it, then writes it. A write that fails after the
    erase leaves the code erased. length: 2."""

def rsc_4404(__handle: int, __length: int, __code: _Room) -> int:
    """Reads the security code into `code`. length: 2."""

def rsct_4404(__handle: int, __counter: _UnsignedInt) -> int:
    """Counts the attempts left, 0 to 4: the bits 4 to 7 of the byte at address 10 that are 1."""

def cesc_4404(__handle: int, __length: int, __code: _Bytes) -> int:
    """Presents, replaces (as wsc_4404 does) and reads the erase code at address 40. length: 4."""

def wesc_4404(__handle: int, __length: int, __code: _Bytes) -> int:
    """Presents, replaces (as wsc_4404 does) and reads the erase code at address 40. length: 4."""

def resc_4404(__handle: int, __length: int, __code: _Room) -> int:
    """Presents, replaces (as wsc_4404 does) and reads the erase code at address 40. length: 4."""

def resct_4404(__handle: int, __counter: _UnsignedInt) -> int:
    """Adds the erasures left, 0 to 64, to *counter: the bits that are 1 in the 8 bytes at address 44. A
    caller who wants the plain number sets *counter to 0 before."""

def clrpr_4404(__handle: int) -> int:
    """Clears the protection flag (bit 7; clrpr) or the read flag (bit 6; clrrd) of the byte at address
    14. A flag that is 0 already is not written."""

def clrrd_4404(__handle: int) -> int:
    """Clears the protection flag (bit 7; clrpr) or the read flag (bit 6; clrrd) of the byte at address
    14. A flag that is 0 already is not written."""

def fakefus_4404(__handle: int, __mode: int) -> int:
    """Sets the fake fuse or takes it back."""

def psnl_4404(__handle: int) -> int:
    """Personalises the card. Returns 0; a link code; the STATUS itself, positive (1 to 255)."""

def chk_4404(__handle: int) -> int:
    """Tests whether a 4404 card is in the reader: it begins with B7 A0 FF or with 81 24.

    Returns 0; -133 (another card); a link code; the negated STATUS."""

def srd_4406(__handle: int, __address: int, __count: int, __buffer: _Room) -> int:
    """Each transfers `count` bytes at `address`. address: 0 to 12. count: 1 to 13 - address."""

def swr_4406(__handle: int, __address: int, __count: int, __buffer: _Bytes) -> int:
    """Each transfers `count` bytes at `address`. address: 0 to 12. count: 1 to 13 - address."""

def eswc_4406(__handle: int, __address: int) -> int:
    """Spends a unit of the counter stage at `address` and erases the stage behind it in exchange.

    address: 0 to 11. Returns 0; -144 (address); a link code; the negated STATUS."""

def csc_4406(__handle: int, __length: int, __code: _Bytes) -> int:
    """Presents the security code, then reads it back from the card. length: 3.

    Returns 0; -143 (length, or code is a null pointer); -129 (the code that the card holds is
    another one); a link code or the negated STATUS of either exchange."""

def wsc_4406(__handle: int, __length: int, __code: _Bytes) -> int:
    """Writes, without an erase before, and reads the security code at address 10. length: 3."""

def rsc_4406(__handle: int, __length: int, __code: _Room) -> int:
    """Writes, without an erase before, and reads the security code at address 10. length: 3."""

def rsct_4406(__handle: int, __counter: _UnsignedInt) -> int:
    """Counts the attempts left, 0 to 8: the bits of the byte at address 9 that are 1."""

def psnl_4406(__handle: int) -> int:
    """Personalises the card: clears bit 7 of the byte at address 8, if it is not 0 already."""

def chk_4406(__handle: int) -> int:
    """Tests whether a 4406 card is in the reader: it begins with 98 20, or its third byte is 22.

    Returns 0; -133 (another card, or reading it failed in whatever way)."""

def srd_101(__handle: int, __address: int, __count: int, __buffer: _Room) -> int:
    """Each transfers `count` bytes at `address`; swrSC_101 writes in the security area. More than 144
    bytes take two frames. address: 0 to 171. count: 1 to 172 - address."""

def swr_101(__handle: int, __address: int, __count: int, __buffer: _Bytes) -> int:
    """Each transfers `count` bytes at `address`; swrSC_101 writes in the security area. More than 144
    bytes take two frames. address: 0 to 171. count: 1 to 172 - address."""

def swrSC_101(__handle: int, __address: int, __count: int, __buffer: _Bytes) -> int:
    """Each transfers `count` bytes at `address`; swrSC_101 writes in the security area. More than 144
    bytes take two frames. address: 0 to 171. count: 1 to 172 - address."""

def ser_101(__handle: int, __address: int, __count: int) -> int:
    """Erases `count` bytes from `address`; the arguments are those of srd_101."""

def csc_101(__handle: int, __length: int, __code: _Bytes) -> int:
    """Present, replace and read the security code at address 10. length: 2. Replacing erases the code
    and then writes it; a write that fails after the erase leaves the code erased."""

def wsc_101(__handle: int, __length: int, __code: _Bytes) -> int:
    """Present, replace and read the security code at address 10. length: 2. Replacing erases the code
    and then writes it; a write that fails after the erase leaves the code erased."""

def rsc_101(__handle: int, __length: int, __code: _Room) -> int:
    """Present, replace and read the security code at address 10. length: 2. Replacing erases the code
    and then writes it; a write that fails after the erase leaves the code erased."""

def rsct_101(__handle: int, __counter: _UnsignedInt) -> int:
    """Counts the attempts left, 0 to 8: the bits of the byte at address 12 that are 1. When the byte
    cannot be read, *counter becomes 0."""

def cesc_101(__handle: int, __length: int, __code: _Bytes) -> int:
    """Present, replace as wsc_101 does, and read the erase code at address 150. length: 4."""

def wesc_101(__handle: int, __length: int, __code: _Bytes) -> int:
    """Present, replace as wsc_101 does, and read the erase code at address 150. length: 4."""

def resc_101(__handle: int, __length: int, __code: _Room) -> int:
    """Present, replace as wsc_101 does, and read the erase code at address 150. length: 4."""

def resct_101(__handle: int, __counter: _UnsignedInt) -> int:
    """Counts the erasures left, 0 to 128: the bits that are 1 in the 16 bytes at address 154."""

def clrpr_101(__handle: int) -> int:
    """Clears the protection flag (bit 7; clrpr) or the read flag (bit 6; clrrd) of the byte at address
    22. A flag that is 0 already is not written."""

def clrrd_101(__handle: int) -> int:
    """Clears the protection flag (bit 7; clrpr) or the read flag (bit 6; clrrd) of the byte at address
    22. A flag that is 0 already is not written."""

def fakefus_101(__handle: int, __mode: int) -> int:
    """Sets the fake fuse or takes it back."""

def psnl_101(__handle: int) -> int:
    """Personalises the card. Returns 0; a link code; the negated STATUS."""

def chk_101(__handle: int) -> int:
    """Tests whether a 101 card is in the reader: it begins with 0F 0F. A 102 card does so too.

    Returns 0; -133 (another card); a link code; the negated STATUS."""

def srd_102(__handle: int, __zone: int, __address: int, __count: int, __buffer: _Room) -> int:
    """Reads `count` bytes, also beyond the zone to the end of the card. More than 144 bytes take two
    frames. count: 1 to what reads reach - address.

    Returns 0; -143 (count, or buffer is a null pointer); -144 (zone or address); a link code; the
    negated STATUS."""

def swr_102(__handle: int, __zone: int, __address: int, __count: int, __buffer: _Bytes) -> int:
    """Each writes `count` bytes within the zone; swrSC_102 in the security area. count: 1 to the zone's
    size - address.

    Returns 0; -143 (count or zone, or buffer is a null pointer); -144 (address); a link code; the
    negated STATUS."""

def swrSC_102(__handle: int, __zone: int, __address: int, __count: int, __buffer: _Bytes) -> int:
    """Each writes `count` bytes within the zone; swrSC_102 in the security area. count: 1 to the zone's
    size - address.

    Returns 0; -143 (count or zone, or buffer is a null pointer); -144 (address); a link code; the
    negated STATUS."""

def ser_102(__handle: int, __zone: int, __address: int, __count: int) -> int:
    """Erases `count` bytes, as far as srd_102 reads.

    Returns 0; -143 (count or zone); -144 (address); a link code; the negated STATUS."""

def csc_102(__handle: int, __length: int, __code: _Bytes) -> int:
    """Present, replace and read the security code at address 10 of zone 0, as csc_101. length: 2."""

def wsc_102(__handle: int, __length: int, __code: _Bytes) -> int:
    """Present, replace and read the security code at address 10 of zone 0, as csc_101. length: 2."""

def rsc_102(__handle: int, __length: int, __code: _Room) -> int:
    """Present, replace and read the security code at address 10 of zone 0, as csc_101. length: 2."""

def rsct_102(__handle: int, __counter: _UnsignedInt) -> int:
    """Counts the attempts left, 0 to 4: the bits 4 to 7 of byte 12 of zone 0 that are 1."""

def cesc_102(__handle: int, __zone: int, __length: int, __code: _Bytes) -> int:
    """Present, replace and read the erase code of a zone. zone: 1 or 2, else -144. length: 6 in zone 1,
    4 in zone 2; a length below 1 is refused before the zone is looked at."""

def wesc_102(__handle: int, __zone: int, __length: int, __code: _Bytes) -> int:
    """Present, replace and read the erase code of a zone. zone: 1 or 2, else -144. length: 6 in zone 1,
    4 in zone 2; a length below 1 is refused before the zone is looked at."""

def resc_102(__handle: int, __zone: int, __length: int, __code: _Room) -> int:
    """Present, replace and read the erase code of a zone. zone: 1 or 2, else -144. length: 6 in zone 1,
    4 in zone 2; a length below 1 is refused before the zone is looked at."""

def resct_102(__handle: int, __zone: int, __counter: _UnsignedInt) -> int:
    """Counts the erasures left of zone 2, 0 to 128: the bits that are 1 in its 16 bytes at 68. zone: 2,
    else -144."""

def clrpr_102(__handle: int, __zone: int) -> int:
    """Clears the protection flag (bit 7; clrpr) or the read flag (bit 6; clrrd) of the first byte of
    the zone. A flag that is 0 already is not written. zone: 1 or 2, else -144."""

def clrrd_102(__handle: int, __zone: int) -> int:
    """Clears the protection flag (bit 7; clrpr) or the read flag (bit 6; clrrd) of the first byte of
    the zone. A flag that is 0 already is not written. zone: 1 or 2, else -144."""

def fakefus_102(__handle: int, __mode: int) -> int:
    """Sets the fake fuse or takes it back."""

def psnl_102(__handle: int) -> int:
    """Personalises the card. Returns 0; a link code; the negated STATUS."""

def chk_102(__handle: int) -> int:
    """Tests whether a 102 card is in the reader: it begins with 0F 0F. A 101 card does so too.

    Returns 0; -133 (another card); a link code; the negated STATUS."""

def srd_1604(__handle: int, __zone: int, __address: int, __count: int, __buffer: _Room) -> int:
    """Reads `count` bytes, also beyond the zone to the end of the card, in frames of 144 bytes.

    address: 0 to the zone's bytes - 1. count: 1 to (bytes to the end - address).

    Returns 0; -143 (count or zone, or buffer is a null pointer); -144 (address); a link code; the
    negated STATUS."""

def swr_1604(__handle: int, __zone: int, __address: int, __count: int, __buffer: _Bytes) -> int:
    """Writes within the plain part of the zone. Arguments otherwise and results as srd_1604."""

def swrSC_1604(__handle: int, __zone: int, __address: int, __count: int, __buffer: _Bytes) -> int:
    """Writes within the zone, codes and counters included. Otherwise as srd_1604."""

def ser_1604(__handle: int, __zone: int, __address: int, __count: int) -> int:
    """Erases within the zone, codes and counters included. Otherwise as srd_1604."""

def csc_1604(__handle: int, __number: int, __length: int, __code: _Bytes) -> int:
    """Present, replace and read a security code. number: 0 to 4, else -144. length: 2; it is checked
    first. Replacing erases the code and then writes it; a write that fails after the erase leaves
    the code erased."""

def wsc_1604(__handle: int, __number: int, __length: int, __code: _Bytes) -> int:
    """Present, replace and read a security code. number: 0 to 4, else -144. length: 2; it is checked
    first. Replacing erases the code and then writes it; a write that fails after the erase leaves
    the code erased."""

def rsc_1604(__handle: int, __number: int, __length: int, __code: _Room) -> int:
    """Present, replace and read a security code. number: 0 to 4, else -144. length: 2; it is checked
    first. Replacing erases the code and then writes it; a write that fails after the erase leaves
    the code erased."""

def rsct_1604(__handle: int, __number: int, __counter: _UnsignedInt) -> int:
    """Counts the attempts left for a code, 0 to 8. When the byte cannot be read, *counter becomes 0.
    number: 0 or 1, else -144: the 1604 has no counter for the others."""

def cesc_1604(__handle: int, __number: int, __length: int, __code: _Bytes) -> int:
    """Present, replace and read an erase code. number: 1 to 4, else -144; cesc_1604 lets code 0 through
    as well and sends the address 0. length: 2; it is checked first."""

def wesc_1604(__handle: int, __number: int, __length: int, __code: _Bytes) -> int:
    """Present, replace and read an erase code. number: 1 to 4, else -144; cesc_1604 lets code 0 through
    as well and sends the address 0. length: 2; it is checked first."""

def resc_1604(__handle: int, __number: int, __length: int, __code: _Room) -> int:
    """Present, replace and read an erase code. number: 1 to 4, else -144; cesc_1604 lets code 0 through
    as well and sends the address 0. length: 2; it is checked first."""

def resct_1604(__handle: int, __number: int, __counter: _UnsignedInt) -> int:
    """Counts the erasures left of the zone of this number, 0 to 8. number: 1 to 4, else -144."""

def clrpr_1604(__handle: int, __zone: int) -> int:
    """Clears the protection flag (bit 7; clrpr) or the read flag (bit 6; clrrd) of the first byte of
    the zone. A flag that is 0 already is not written. zone: 1 to 4, else -144."""

def clrrd_1604(__handle: int, __zone: int) -> int:
    """Clears the protection flag (bit 7; clrpr) or the read flag (bit 6; clrrd) of the first byte of
    the zone. A flag that is 0 already is not written. zone: 1 to 4, else -144."""

def fakefus_1604(__handle: int, __mode: int) -> int:
    """Sets the fake fuse or takes it back."""

def psnl_1604(__handle: int) -> int:
    """Personalises the card. Returns 0; a link code; the negated STATUS."""

def chk_1604(__handle: int) -> int:
    """Tests whether a 1604 card (it begins with 31 3A) or a 1604b card (72 55) is in the reader.

    Returns 0; -133 (another card); a link code; the negated STATUS."""

def chk_1604b(__handle: int) -> int:
    """Tests whether a 1604 card (it begins with 31 3A) or a 1604b card (72 55) is in the reader.

    Returns 0; -133 (another card); a link code; the negated STATUS."""

def srd_1604b(__handle: int, __zone: int, __address: int, __count: int, __buffer: _Room) -> int:
    """As the 1604 functions, but for the sizes above."""

def swr_1604b(__handle: int, __zone: int, __address: int, __count: int, __buffer: _Bytes) -> int:
    """As the 1604 functions, but for the sizes above."""

def swrSC_1604b(__handle: int, __zone: int, __address: int, __count: int, __buffer: _Bytes) -> int:
    """As the 1604 functions, but for the sizes above."""

def ser_1604b(__handle: int, __zone: int, __address: int, __count: int) -> int:
    """As the 1604 functions, but for the sizes above."""

def csc_1604b(__handle: int, __number: int, __length: int, __code: _Bytes) -> int:
    """As the 1604 functions, but for the sizes above."""

def wsc_1604b(__handle: int, __number: int, __length: int, __code: _Bytes) -> int:
    """As the 1604 functions, but for the sizes above."""

def rsc_1604b(__handle: int, __number: int, __length: int, __code: _Room) -> int:
    """As the 1604 functions, but for the sizes above."""

def wesc_1604b(__handle: int, __number: int, __length: int, __code: _Bytes) -> int:
    """As the 1604 functions, but for the sizes above."""

def resc_1604b(__handle: int, __number: int, __length: int, __code: _Room) -> int:
    """As the 1604 functions, but for the sizes above."""

def resct_1604b(__handle: int, __number: int, __counter: _UnsignedInt) -> int:
    """As the 1604 functions, but for the sizes above."""

def clrpr_1604b(__handle: int, __zone: int) -> int:
    """As the 1604 functions, but for the sizes above."""

def clrrd_1604b(__handle: int, __zone: int) -> int:
    """As the 1604 functions, but for the sizes above."""

def fakefus_1604b(__handle: int, __mode: int) -> int:
    """As the 1604 functions, but for the sizes above."""

def psnl_1604b(__handle: int) -> int:
    """As the 1604 functions, but for the sizes above."""

def rsct_1604b(__handle: int, __number: int, __counter: _UnsignedInt) -> int:
    """As rsct_1604, with counters for all codes. number: 0 to 4, else -144."""

def cesc_1604b(__handle: int, __number: int, __length: int, __code: _Bytes) -> int:
    """As cesc_1604, but for code 0, which is -144."""

def cpu_reset(__handle: int, __buffer: _Room) -> int:
    """Resets the card and stores its answer to reset. Four attempts.

    buffer: room for the answer. Its length, up to 65535, is the reader's and is not returned. Where
      the reader announces more bytes than its frame brings, which are 255 at most, the frame's check
      byte follows those, and then zeros.

    Returns 0; -143 (buffer is a null pointer); a link code; the negated STATUS."""

def cpu_comres(__handle: int, __n: int, __command: _Bytes, __buffer: _Room) -> int:
    """Sends the n bytes of a command to the card and stores its answer. Three attempts.

    buffer: room for up to 255 bytes. The length of the answer is not returned.

    Returns 0; -143 (buffer, or command with n above 0, is a null pointer); a link code; the negated
    STATUS."""

def cpu_protocol(__handle: int, __n: int, __block: _Bytes, __buffer: _Room) -> int:
    """Sends a T=1 block (NAD, PCB, LEN, information, LRC: n bytes in all) to the card. While the card
    answers with status words 61xx or 6Cxx, fetches xx more bytes with a GET RESPONSE command. Three
    attempts for each frame. Nothing limits how often a card may announce more.

    buffer: receives one block: NAD and PCB of the last answer, the length of all information modulo
      256, the information of all answers with the status words of the last one, and behind it the
      LRC of the last answer, which is not that of this block, and bytes of no meaning. From where
      the information of the last answer begins, as many bytes are written as its reply announced, up
      to 255. It has room for 3 bytes, the information of every answer, and 255 bytes more.
      After a failure the information of earlier answers may be in it, behind 3 bytes that are as
      they were.

    Returns 0; -143 (buffer, or block with n above 0, is a null pointer); a link code; the negated
    STATUS."""

def set_card_baud(__handle: int, __slot: int, __code: int) -> int:
    """Sets the speed at which the reader talks to the card (slot is 0) or to the SAM. code: goes to the
    reader as it is.

    Returns 0; a link code; the negated STATUS."""

def sam_power_on(__handle: int) -> int:
    """Switch the power of the SAMs on and off. Return 0; a link code; the negated STATUS."""

def sam_power_down(__handle: int) -> int:
    """Switch the power of the SAMs on and off. Return 0; a link code; the negated STATUS."""

def sam_select(__handle: int, __number: int) -> int:
    """Selects the SAM to speak with; the reader knows the numbers. Returns as sam_power_on."""

def sam_reset(__handle: int, __length: _Int, __buffer: _Room) -> int:
    """Resets the SAM and stores its answer to reset, and the length of that in *length, which is 0 on
    failure. One attempt.

    buffer: room for up to 255 bytes.

    Returns 0; -143 (length or buffer is a null pointer); a link code; the negated STATUS."""

def sam_comres(__handle: int, __n: int, __command: _Bytes, __buffer: _Room) -> int:
    """As cpu_comres."""

def sam_protocol(__handle: int, __n: int, __block: _Bytes, __buffer: _Room) -> int:
    """As cpu_protocol, but for two things: three failures in all end it; and after status words 6Cxx
    the block goes out again, with xx in place of its last information byte, the other sequence
    number (PCB 0x40 where the caller's is 0, else 0) and an LRC to match. Where that block was a GET
    RESPONSE, its bytes 2 to 6 are then those of the caller's block, as far as that has them. A block
    shorter than two bytes has no place for xx, and such an answer is the result."""

def ic_encrypt(__key: _Bytes, __input: _Bytes, __length: int, __output: _Room) -> int:
    """Returns the length of the output; one that does not fit an int is INT_MAX."""

def ic_decrypt(__key: _Bytes, __input: _Bytes, __length: int, __output: _Room) -> int:
    """Returns 0 always."""

def DES_Encrypt(__key: _Bytes, __key_length: int, __input: _Bytes, __length: int, __output: _Room) -> int:
    """The same for a key of which `key_length` bytes are given: up to 8; the others are 0. A negative
    number counts as 0. Both return the length of the output, as ic_encrypt does."""

def DES_Decrypt(__key: _Bytes, __key_length: int, __input: _Bytes, __length: int, __output: _Room) -> int:
    """The same for a key of which `key_length` bytes are given: up to 8; the others are 0. A negative
    number counts as 0. Both return the length of the output, as ic_encrypt does."""

def Gen_Childkey1(__key: _Bytes, __round_keys: _Rows) -> None:
    """Makes the 16 round keys of a key, one byte for each bit. round_keys: room for 16."""

def Gen_Childkey2(__key: _Bytes, __round_keys: _Rows) -> None:
    """The same with eight bits to a byte, the first the most significant."""

def Char_Bit(__bytes: _Bytes, __count: int, __cells: _Room) -> None:
    """Unpacks `count` bytes into 8 x count bytes that hold one bit each, bit 7 of each byte first."""

def Bit_Char(__cells: _Bytes, __count: int, __bytes: _Room) -> None:
    """Packs `count` bits, one in each byte, into count / 8 bytes."""

def cr_bcc(__n: int, __p: _Bytes) -> int:
    """The XOR of the n bytes at p, 0 to 255; 0 for n below 1 or a null pointer."""

def ck_bcc(__n: int, __p: _Bytes) -> int:
    """Returns 0 if the XOR of the n bytes at p is 0, else -138."""

def sendchar(__handle: int, __c: int) -> int:
    """Sends one byte: in direct mode as it is; in terminal mode after AUXSTARTWRITE and before
    AUXENDWRITE, each of the three with its own write and only if the one before wrote something. A
    write goes on, for up to 4 seconds of processor time, when a signal interrupts it or the line has
    no room for all of it.

    Returns a positive number; -129 (direct mode: not sent); the result of the failed write, 0 or
    negative (terminal mode)."""

def send_com(__handle: int, __n: int, __frame: _Bytes) -> int:
    """Sends the n bytes of `frame`, one by one, up to the first that fails.

    Returns 0 (also for n below 1); -129 (a byte could not be sent); -143 (frame is a null pointer)."""

def receive_data(__handle: int, __p: _Room) -> int:
    """Waits up to 1 second of processor time for one byte and stores it at p. Without a byte *p stays
    as it was. An error of the descriptor counts as no byte yet.

    Returns 0; -132 (no byte came); -143 (p is a null pointer)."""

def receive_data_2k(__handle: int, __p: _Room) -> int:
    """As receive_data, with a wait of up to 4 seconds."""

def receive_data_8k(__handle: int, __p: _Room) -> int:
    """As receive_data, with a wait of up to 9 seconds."""

def receive_com(__handle: int, __reply: _Room) -> int:
    """Receives one reply frame: up to 4 seconds for the first byte, up to 1 second for each further
    one. STATUS is not looked at.

    reply: room for 260 bytes, the longest frame a reader can announce.

    Returns 0; -128 (the first byte is not 0x55; the rest of the reply stays unread); -132 (timeout);
    -133 (check byte); -143 (reply is a null pointer)."""

def receive_com0(__handle: int, __reply: _Room) -> int:
    """As receive_com, with up to 9 seconds for the first byte."""

def ic_delay(__ticks: int) -> int:
    """Spends more than `ticks` microseconds of processor time. Returns 10."""

def getpar(__path: _Path) -> int:
    """Reads the configuration file at `path` into the session globals below, as ic_init describes.
    Nothing is cleared first, and no terminator is written: a shorter value leaves the tail of a
    longer earlier one behind it.

    Returns 0; -1 (the file cannot be opened or read, or path is a null pointer), with term_flg
    unchanged."""

def get_s(__line: _Room, __dest: _Room) -> int:
    """Takes the value out of one line of a configuration file.

    line: NUL-terminated text with its line end; it is edited in place. dest: room for 60 bytes;
      holds text already, an empty one at least. The value is written over that text, at most 59
      characters of it, and without a terminator of its own.

    Returns the length of the text that is then in `dest`; 0 if an argument is a null pointer."""
