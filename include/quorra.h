/* SPDX-FileCopyrightText: 2026 The quorra authors */
/* SPDX-License-Identifier: BSD-2-Clause */

/*
 * quorra: driver library for a contact smart-card reader on a serial line.
 *
 * A program opens a session with ic_init, calls one function per operation with the handle it got,
 * and closes the session with ic_exit. Every card and reader function sends command frames to the
 * reader and waits for one reply per frame; nothing is pending between calls. The library serves
 * one session at a time, on the caller's thread. It never prints, logs or allocates memory.
 *
 * Results are 0 for success and negative for failure, unless a function says otherwise:
 *
 *     -1   the configuration file cannot be opened or read
 *    -16   the serial device cannot be opened
 *   -128   a reply does not start with 0x55; pwr_4442: the result could not be read back;
 *          srd_45d041: no such card
 *   -129   a byte could not be sent, or the line did not take it in 4 seconds; pwr_4442, swr_dvsc,
 *          setsc_md, val_set, val_inc, val_dec: what was written does not read back; csc_4406: the
 *          card holds another code; swr_45d041: no such card
 *   -132   timeout waiting for a reply byte
 *   -133   the check byte of a reply is wrong; a chk_ function: another card, or none; set_baud,
 *          val_inc, val_dec, psnl_4406, clrpr_ and clrrd_ functions: the reply lacks the byte that
 *          is to be changed
 *   -135   the value register would go below zero
 *   -136   no reader reached: no terminal, or no valid answer at the start of a session
 *   -138   the check byte of a frame is wrong (ck_bcc only)
 *   -141   no line speed found
 *   -143   a length or count is out of range, or a buffer is a null pointer
 *   -144   an address is out of range
 *   -1 to -255   the reader refused the command: its STATUS byte, negated
 *
 * "Link codes" below means -128, -129, -132 and -133 as they arise in an exchange with the reader;
 * "the negated STATUS" means the last row. The two share their numbers and are not told apart. A
 * function that checks its arguments does so before it sends anything. When a transfer of several
 * frames fails, the frames before the failing one stay done. Where a reply has fewer bytes than a
 * function takes from it, the missing ones count as 0, unless the function says otherwise. They do
 * not count where a function compares: what was written does not read back then, and a card is
 * another one.
 *
 * After -128, -129, -132 and -133 from an exchange, close the session and open a new one. A late or
 * noisy reply stays in the queue of the line, which only opening a session empties: every later
 * call would take the reply to its predecessor for its own. A STATUS, negated, is a whole reply,
 * and the session is good.
 *
 * Waits are measured in processor time of the calling process (clock()): 4 seconds for the first
 * byte of a reply and 1 second for each further one, unless a function says otherwise. A wait is a
 * busy loop that uses a whole core. On a busy machine it takes longer than its limit says, and
 * while other threads of the process work it is over sooner: their processor time counts, too.
 * Every wait ends, whatever the handle is: one that would block is made non-blocking. A write that
 * a signal interrupts is repeated.
 *
 * The library has no locks, and its state is one for the process: the session globals at the end of
 * this file and Reader_Type. Any thread may call, but one call has to be over before the next
 * begins, whatever the handle; only lib_ver, the DES functions and the check bytes need no such
 * care. A second session may be opened, but takes the place of the first one in the globals: both
 * use the texts and the mode of the second, and ic_exit gives either line the settings that the
 * second line had. After fork() the session belongs to parent and child alike; only one of them may
 * use it, and the other one closes the handle with close(), not with ic_exit.
 */
#ifndef QUORRA_H
#define QUORRA_H

#define QUORRA_VERSION_MAJOR 0
#define QUORRA_VERSION_MINOR 1
#define QUORRA_VERSION_PATCH 0

#pragma GCC visibility push(default)

#ifdef __cplusplus
extern "C" {
#endif

/* ---- Session -------------------------------------------------------------------------------- */

/*
 * 1 once a version text that begins with "KWSPC" was read from a reader, 0 before. Nothing sets it
 * back to 0.
 */
extern unsigned char Reader_Type;

/*
 * Opens a session with the reader that the configuration file at `path` names, and proves that a
 * reader answers by reading its version text.
 *
 * The file consists of lines of at most 59 characters, the line end among them, whose first
 * character is the key and whose value follows an '='. What is longer counts as several lines, each
 * with a key of its own. A line P=/dev/ttyS0 names the serial device (direct mode); what follows it
 * is not read. A file without such a line selects the auxiliary port of the serial terminal on
 * standard output (terminal mode); its lines S and I give the escape sequences sent at the start of
 * the session, W and A those sent before and after every byte, C the one sent at its end. A
 * backslash and the three characters behind it stand for ESC: W=\033[5i. Blanks are removed, but of
 * two that are adjacent only the first. The last character of a line is taken for its line end, so
 * the last line needs one, too. A line that begins with '#' is a comment.
 *
 * baud: 9600, 19200, 38400, 57600 or 115200 in direct mode; 1200, 2400, 4800, 9600 or 19200 in
 *   terminal mode. Any other value means 9600.
 *
 * Opening the line has no time limit: where it is a serial line without a carrier whose settings
 * lack CLOCAL, ic_init and ic_init0 wait in open() until there is one. Without a reader behind them
 * "stty -F /dev/ttyS0 clocal" avoids that.
 *
 * Returns the handle of the session (0 or more); -1 (configuration file); -16 (direct mode: the
 * device cannot be opened); -136 (terminal mode: standard output is no terminal or it cannot be
 * opened; either mode: no valid answer to the version request).
 */
int ic_init(const char *path, int baud);

/*
 * Opens a session like ic_init, but asks the reader nothing.
 *
 * Returns the handle (0 or more); -1 (configuration file); -136 (device or terminal cannot be
 * opened).
 */
int ic_init0(const char *path, int baud);

/*
 * Ends the session: sends the closing sequence (terminal mode only), restores the line settings
 * found by ic_init and closes the handle.
 *
 * Returns 0 always, also for a handle that is not open.
 */
int ic_exit(int handle);

/* ---- Reader identity and control ------------------------------------------------------------ */

/*
 * Copies the library's own version text into `dst`: 18 characters and a NUL, so `dst` has room for
 * at least 19 bytes. Needs no session.
 *
 * Returns 0; -143 (dst is a null pointer).
 */
int lib_ver(char *dst);

/*
 * Reads the reader's version text.
 *
 * len: 10 or 18 bytes. buf: room for `len` bytes; receives what the reader sends, at most `len`
 *   bytes. Nothing is terminated or padded: bytes that the reader did not send keep their value.
 *
 * If `buf` then begins with "KWSPC", Reader_Type becomes 1.
 *
 * Returns 0; -143 (len, or buf is a null pointer); a link code; the negated STATUS.
 */
int srd_ver(int handle, int len, unsigned char *buf);

/*
 * Reads the reader's serial number.
 *
 * len: 16. buf: room for 16 bytes, all of which are written; what the reader did not send is zero.
 *
 * Returns 0; -143 (len, or buf is a null pointer); a link code; the negated STATUS.
 */
int srd_snr(int handle, int len, unsigned char *buf);

/*
 * Tests whether a reader answers, with up to four attempts that follow each other at once. What the
 * reader reports is not evaluated: after any valid reply *out is 0 and the result 0. Without a
 * valid reply *out stays as it was.
 *
 * Returns 0; -143 (out is a null pointer); the link code of the fourth attempt.
 */
int get_status(int handle, int *out);

/* As get_status, with one attempt. Returns 0; -143 (out is a null pointer); the link code. */
int get_status0(int handle, int *out);

/*
 * Sounds the buzzer. t: the time in the reader's own unit, 0 to 255; a negative t means 2, one
 * above 255 means 255. The call spends t/5 milliseconds of processor time before it reads the
 * reply.
 *
 * Returns 0; a link code; the negated STATUS.
 */
int dv_beep(int handle, int t);

/* Switches the card's power on. Returns 0; a link code; the negated STATUS. */
int turn_on(int handle);

/* Switches the card's power off. Returns 0; a link code; the negated STATUS. */
int turn_off(int handle);

/* Ejects the card. Returns 0; a link code; the negated STATUS. */
int auto_pull(int handle);

/* ---- Line speed ---------------------------------------------------------------------------- */

/*
 * Tells the reader to change to another line speed, and gives it two seconds of processor time to
 * do so. The speed of the session is not changed: the caller opens a new one.
 *
 * baud: 1200, 2400, 4800, 9600, 19200 or 38400. Any other value means 9600. A speed that ic_init
 *   does not know in the mode of the session, 1200 to 4800 in direct mode and 38400 in terminal
 *   mode, leaves the reader out of reach in this mode.
 *
 * Returns 0; -133 also if the reader's reply does not bring the setting of which the speed is a
 * part (nothing is changed then); a link code; the negated STATUS.
 */
int set_baud(int handle, int baud);

/*
 * Finds out at which speed a reader answers: opens a session as ic_init0 does at 9600, 19200,
 * 38400, 4800, 2400 and 1200 in turn and asks for the status, with a pause of two seconds of
 * processor time after the first and of 0.2 seconds after each further one. No session is left
 * open. A speed that the mode of the session does not know is tried as 9600: see ic_init.
 *
 * Returns the speed; -141 (none); -1 or -136 (as ic_init0 at the first two speeds).
 */
int chk_baud(const char *path);

/*
 * Opens a session with a reader that may have been left at another speed: as ic_init does, or else
 * by finding the reader's speed and changing it to `baud`.
 *
 * baud: as for set_baud. A reader cannot be changed to 57600 or 115200: it goes to 9600. In direct
 *   mode the session at the other speed is then refused; in terminal mode, which does not know
 *   these speeds, it is opened at 9600.
 *
 * Returns the handle; -136 (any failure). A handle of 0 at the first try counts as a failure, and
 * stays open.
 */
int auto_init(const char *path, int baud);

/* ---- Reader memory and reader security code ---------------------------------------------------
 *
 * The reader has 384 bytes for the application, and behind them its settings.
 */

/*
 * Each transfers `len` bytes at `addr` of the application's part, in frames of 144 bytes. A
 * transfer that fails leaves the frames before the failing one done.
 *
 * addr: up to 383. An address below 0 is not refused: addr / 256 and addr % 256 are sent, each cut
 *   to a byte, and there may be more than three frames.
 * len: 1 to 384 - addr.
 * buf: has room for, or holds, `len` bytes.
 *
 * Returns 0; -144 (addr); -143 (len, or buf is a null pointer); a link code; the negated STATUS.
 */
int srd_eeprom(int handle, int addr, int len, unsigned char *buf);
int swr_eeprom(int handle, int addr, int len, const unsigned char *buf);

/*
 * Reads the reader's security code into `code` (room for 3 bytes). len: 3.
 *
 * Returns 0; -143 (len, or code is a null pointer); a link code; the negated STATUS.
 */
int srd_dvsc(int handle, int len, unsigned char *code);

/*
 * Writes the reader's security code and reads it back. len: 3.
 *
 * Returns 0; -143 (len, or code is a null pointer); -129 (it reads back differently); a link code
 * or the negated STATUS of either exchange.
 */
int swr_dvsc(int handle, int len, const unsigned char *code);

/*
 * Lets the reader compare its security code with `code`. len: 3.
 *
 * Returns 0 (the reader accepts it); -143 (len, or code is a null pointer); a link code; the
 * negated STATUS.
 */
int cmp_dvsc(int handle, int len, const unsigned char *code);

/*
 * Switches the reader's security mode on (mode is not 0) or off, and reads it back.
 *
 * Returns 0; -129 (it reads back differently); a link code or the negated STATUS of either
 * exchange.
 */
int setsc_md(int handle, int mode);

/* ---- Value register ---------------------------------------------------------------------------
 *
 * An unsigned number of 32 bits in the reader's own memory.
 */

/*
 * Reads the register into *value. On failure *value stays as it was.
 *
 * Returns 0; -143 (value is a null pointer); a link code; the negated STATUS.
 */
int val_read(int handle, unsigned int *value);

/* Writes the register. Returns 0; a link code; the negated STATUS. */
int swr_value(int handle, unsigned int value);

/*
 * Writes the register and reads it back.
 *
 * Returns 0; -129 (it reads back differently); a link code or the negated STATUS of any exchange.
 */
int val_set(int handle, unsigned int value);

/*
 * Adds `amount`, modulo 2 to the 32nd, and reads the result back.
 *
 * Returns as val_set; -133 also if the reply does not bring the whole register, which is not
 * written then.
 */
int val_inc(int handle, unsigned int amount);

/*
 * Subtracts `amount`, modulo 2 to the 32nd, and reads the result back. A result of 0x80000000 or
 * more counts as below zero and is not written.
 *
 * Returns as val_inc; -135 (the result would be below zero).
 */
int val_dec(int handle, unsigned int amount);

/* ---- Card type detection ------------------------------------------------------------------- */

/*
 * Finds out which kind of memory card is in the reader: calls the chk_ functions of the cards below
 * in this order and switches the card's power off after each that does not accept the card. The
 * tests of the 93C and 24C series write to the card and put back what they changed; on a card of
 * another kind they may leave bytes changed.
 *
 * Returns the number of the card, or 0 if no test accepts it: 40 (4404), 41 (4406), 51 (102), 52
 * (1604), 53 (1604b), 31 (4428), 21 (4442), 10 (45D041), 60 (93c46a), 61 (93c46), 62 (93c57), 7
 * (24c64), 6 (24c32), 5 (24c16), 4 (24c08), 3 (24c04), 2 (24c02), 1 (24c01a). The 101, which begins
 * as a 102 does, and the 93c66 have no number: the result is that of a card whose test accepts
 * them, 51 for the 101, or 0. It never returns a negative number: a failure counts as another card.
 */
int chk_card(int handle);

/* ---- 4442 and 4432 cards ---------------------------------------------------------------------
 *
 * 256 bytes of memory. Each of the first 32 can be made read-only for good by its protection bit.
 * The 4442 is written only after its three-byte security code was presented; three wrong codes in a
 * row lock it for good. The 4432 is the same card without the code.
 */

/*
 * Reads `count` bytes at `address` into `buffer` (room for `count` bytes).
 *
 * address: 0 to 255. count: 1 to 256 - address.
 *
 * Returns 0; -144 (address); -143 (count, or buffer is a null pointer); a link code; the negated
 * STATUS.
 */
int srd_4442(int handle, int address, int count, unsigned char *buffer);

/*
 * Writes the `count` bytes of `buffer` at `address`.
 *
 * address: 0 to 256 (for 256 there is no good count). count: 1 to 256 - address.
 *
 * Returns 0; -144 (address); -143 (count, or buffer is a null pointer); a link code; the negated
 * STATUS.
 */
int swr_4442(int handle, int address, int count, const unsigned char *buffer);

/*
 * Reads the protection memory into `buffer` (room for 4 bytes). The bit for address a is bit
 * 7 - (a mod 8) of buffer[a / 8]: 1 means writable, 0 protected.
 *
 * length: 4.
 *
 * Returns 0; -143 (length, or buffer is a null pointer); a link code; the negated STATUS.
 */
int prd_4442(int handle, int length, unsigned char *buffer);

/*
 * Protects `count` bytes from `address` for good, and reads back that they are. `buffer` holds the
 * bytes that the card's memory has at these addresses.
 *
 * address: 0 to 31. count: 1 to 32 - address.
 *
 * Returns 0; -144 (address); -143 (count, or buffer is a null pointer); a link code or the negated
 * STATUS (protecting); -128 (reading back failed or brought too few bytes); -129 (a byte is still
 * writable, or the memory does not equal `buffer`).
 */
int pwr_4442(int handle, int address, int count, const unsigned char *buffer);

/*
 * Presents the security code. A wrong code uses up one of three attempts, the right one restores
 * them and opens the card for writing until it loses power.
 *
 * length: 3. code: 3 bytes.
 *
 * Returns 0; -143 (length, or code is a null pointer); a link code; the negated STATUS.
 */
int csc_4442(int handle, int length, const unsigned char *code);

/*
 * Writes a new security code. The present one must have been presented before.
 *
 * length: 3. code: 3 bytes.
 *
 * Returns 0; -143 (length, or code is a null pointer); a link code; the negated STATUS.
 */
int wsc_4442(int handle, int length, const unsigned char *code);

/*
 * Reads the security code into `code` (room for 3 bytes). The card tells it only after it was
 * presented.
 *
 * length: 3.
 *
 * Returns 0; -143 (length, or code is a null pointer); a link code; the negated STATUS.
 */
int rsc_4442(int handle, int length, unsigned char *code);

/*
 * Reads how many attempts at the security code are left: the number of set bits, 0 to 8, of the
 * card's error counter. On failure *counter stays as it was.
 *
 * Returns 0; -143 (counter is a null pointer); a link code; the negated STATUS.
 */
int rsct_4442(int handle, int *counter);

/*
 * Tests whether a 4442 or 4432 card is in the reader: bytes 6 and 7 are 0x81 and 0x15.
 *
 * Returns 0; -133 (another card); a link code; the negated STATUS.
 */
int chk_4442(int handle);

/* As srd_4442. */
int srd_4432(int handle, int address, int count, unsigned char *buffer);

/* As swr_4442; a 4432 needs no code. */
int swr_4432(int handle, int address, int count, const unsigned char *buffer);

/* As prd_4442. */
int prd_4432(int handle, int length, unsigned char *buffer);

/* As pwr_4442. */
int pwr_4432(int handle, int address, int count, const unsigned char *buffer);

/* As chk_4442, which cannot tell the two cards apart. */
int chk_4432(int handle);

/* ---- 4428 and 4418 cards ----------------------------------------------------------------------
 *
 * 1024 bytes, each with a protection bit that makes it read-only for good. The 4428 has a two-byte
 * security code in its last two bytes and an error counter before them; it is written only after
 * the code was presented, and eight wrong codes in a row lock it for good. The 4418 is the same
 * card without the code.
 */

/*
 * Reads `count` bytes at `address` into `buffer` (room for `count` bytes).
 *
 * address: 0 to 1023. count: 1 to 1024 - address.
 *
 * Returns 0; -144 (address); -143 (count, or buffer is a null pointer); a link code; the negated
 * STATUS.
 */
int srd_4428(int handle, int address, int count, unsigned char *buffer);

/*
 * Writes the `count` bytes of `buffer` at `address`. The last three bytes are out of its reach.
 *
 * address: 0 to 1020. count: 1 to 1021 - address.
 *
 * Returns 0; -144 (address); -143 (count, or buffer is a null pointer); a link code; the negated
 * STATUS.
 */
int swr_4428(int handle, int address, int count, const unsigned char *buffer);

/*
 * Reads `count` bytes with their protection bits: two bytes of `buffer` (room for 2 x count bytes)
 * for each byte of the card, as the reader delivers them.
 *
 * Arguments and results as swr_4428.
 */
int rdwpb_4428(int handle, int address, int count, unsigned char *buffer);

/* Writes `count` bytes and protects each of them. Arguments and results as swr_4428. */
int wrwpb_4428(int handle, int address, int count, const unsigned char *buffer);

/*
 * Protects `count` bytes; `buffer` holds the bytes that the card's memory has there. Arguments and
 * results as swr_4428.
 */
int pwr_4428(int handle, int address, int count, const unsigned char *buffer);

/*
 * Presents the security code. A wrong code uses up one of eight attempts, the right one restores
 * them and opens the card for writing until it loses power.
 *
 * length: 2. code: 2 bytes.
 *
 * Returns 0; -143 (length, or code is a null pointer); a link code; the negated STATUS.
 */
int csc_4428(int handle, int length, const unsigned char *code);

/* Writes a new security code. Arguments and results as csc_4428. */
int wsc_4428(int handle, int length, const unsigned char *code);

/* Reads the security code into `code` (room for 2 bytes). Arguments and results as csc_4428. */
int rsc_4428(int handle, int length, unsigned char *code);

/*
 * Reads how many attempts at the security code are left: the number of set bits, 0 to 8, of the
 * card's error counter. On failure *counter stays as it was.
 *
 * Returns 0; -143 (counter is a null pointer); a link code; the negated STATUS.
 */
int rsct_4428(int handle, int *counter);

/*
 * Tests whether a 4428 card is in the reader: its first bytes are 0x92, 0x23, 0x10 and 0x91.
 *
 * Returns 0; -133 (another card); a link code; the negated STATUS.
 */
int chk_4428(int handle);

/*
 * As srd_4428, but every address reaches the reader with its low byte in both address bytes: 1 as
 * 0x0101, 300 as 0x2C2C. Reading begins there, with result 0: the bytes at 1 to 3, for example, are
 * not read by it, but others.
 */
int srd_4418(int handle, int address, int count, unsigned char *buffer);

/* As swr_4428, for all of the card: address 0 to 1023, count 1 to 1024 - address. */
int swr_4418(int handle, int address, int count, const unsigned char *buffer);

/* As rdwpb_4428, with the arguments of swr_4418. */
int rdwpb_4418(int handle, int address, int count, unsigned char *buffer);

/* As wrwpb_4428, with the arguments of swr_4418. */
int wrwpb_4418(int handle, int address, int count, const unsigned char *buffer);

/* As pwr_4428, with the arguments of swr_4418. */
int pwr_4418(int handle, int address, int count, const unsigned char *buffer);

/* Returns 0 always and sends nothing: there is nothing to tell this card by. */
int chk_4418(int handle);

/* ---- 24C series -------------------------------------------------------------------------------
 *
 * Two-wire EEPROM cards: 24c01a (128 bytes), 24c02 (256), 24c04 (512), 24c08 (1024), 24c16 (2048),
 * 24c32 (4096) and 24c64 (8192).
 */

/*
 * Each reads `count` bytes at `address` into `buffer` (room for `count` bytes).
 *
 * address: 0 to size - 1. count: 1 to size - address.
 *
 * Returns 0; -144 (address); -143 (count, or buffer is a null pointer); a link code; the negated
 * STATUS.
 */
int srd_24c01a(int handle, int address, int count, unsigned char *buffer);
int srd_24c02(int handle, int address, int count, unsigned char *buffer);
int srd_24c04(int handle, int address, int count, unsigned char *buffer);
int srd_24c08(int handle, int address, int count, unsigned char *buffer);
int srd_24c16(int handle, int address, int count, unsigned char *buffer);
int srd_24c32(int handle, int address, int count, unsigned char *buffer);
int srd_24c64(int handle, int address, int count, unsigned char *buffer);

/*
 * Each writes the `count` bytes of `buffer` at `address`.
 *
 * Arguments and results as for reading, but swr_24c04 returns -144 for a count above
 * size - address.
 */
int swr_24c01a(int handle, int address, int count, const unsigned char *buffer);
int swr_24c02(int handle, int address, int count, const unsigned char *buffer);
int swr_24c04(int handle, int address, int count, const unsigned char *buffer);
int swr_24c08(int handle, int address, int count, const unsigned char *buffer);
int swr_24c16(int handle, int address, int count, const unsigned char *buffer);
int swr_24c32(int handle, int address, int count, const unsigned char *buffer);
int swr_24c64(int handle, int address, int count, const unsigned char *buffer);

/*
 * Each tests whether a card of its size is in the reader. A test writes to the card, at the last
 * address of its size and in the tests of larger sizes that it calls, and puts back what was there.
 * On a smaller card than the one tested for, other bytes may stay changed.
 *
 * Returns 0; -133 (another card, none, or any failure).
 */
int chk_24c01a(int handle);
int chk_24c02(int handle);
int chk_24c04(int handle);
int chk_24c08(int handle);
int chk_24c16(int handle);
int chk_24c32(int handle);
int chk_24c64(int handle);

/*
 * Each tests whether the card passes as one of 256, 512, 1024, 2048 or 4096 bytes, or as a larger
 * one. The tests above call them. Results as above.
 */
int chk_up02(int handle);
int chk_up04(int handle);
int chk_up08(int handle);
int chk_up16(int handle);
int chk_up32(int handle);

/* ---- 93C series -------------------------------------------------------------------------------
 *
 * Three-wire EEPROM cards: 93c46a (64 words of 2 bytes), 93c46 (128 bytes), 93c57 (256) and 93c66
 * (512). For the 93c46a, address, count and size are in words, and a buffer holds 2 x count bytes.
 */

/*
 * Each reads `count` units at `address` into `buffer`.
 *
 * address: 0 to size - 1. count: 1 to size - address.
 *
 * Returns 0; -144 (address; srd_93c57 also for a count above size - address); -143 (count, or
 * buffer is a null pointer); a link code; the negated STATUS.
 */
int srd_93c46a(int handle, int address, int count, unsigned char *buffer);
int srd_93c46(int handle, int address, int count, unsigned char *buffer);
int srd_93c57(int handle, int address, int count, unsigned char *buffer);
int srd_93c66(int handle, int address, int count, unsigned char *buffer);

/*
 * Each writes the `count` units of `buffer` at `address`.
 *
 * address: 0 to size - 1. count: 1 to size - address.
 *
 * Returns 0; -144 (address); -143 (count, or buffer is a null pointer); a link code; the negated
 * STATUS.
 */
int swr_93c46a(int handle, int address, int count, const unsigned char *buffer);
int swr_93c46(int handle, int address, int count, const unsigned char *buffer);
int swr_93c57(int handle, int address, int count, const unsigned char *buffer);
int swr_93c66(int handle, int address, int count, const unsigned char *buffer);

/* Each erases the whole card. Returns 0; a link code; the negated STATUS. */
int eral_93c46a(int handle);
int eral_93c46(int handle);
int eral_93c57(int handle);
int eral_93c66(int handle);

/*
 * Each fills the whole card with a value of the reader's choice. Returns 0; a link code; the
 * negated STATUS.
 */
int wral_93c46a(int handle);
int wral_93c46(int handle);
int wral_93c57(int handle);
int wral_93c66(int handle);

/*
 * Each tests whether a card of its size is in the reader. A test writes to the card, at the last
 * address of its size and in the test of the next size that it calls, and puts back what was there.
 * chk_up57 tests whether the card passes as a 93c57 or a larger one.
 *
 * Returns 0; -133 (another card, none, or any failure).
 */
int chk_93c46a(int handle);
int chk_93c46(int handle);
int chk_93c57(int handle);
int chk_93c66(int handle);
int chk_up57(int handle);

/* ---- 45D041 card ------------------------------------------------------------------------------
 *
 * A flash memory of 2048 pages of 264 bytes. A position is a page and an offset in it; a transfer
 * goes on from page to page.
 */

/*
 * Reads `count` bytes at `page` and `offset` into `buffer` (room for `count` bytes), after a check
 * that the card is there.
 *
 * page: up to 2047; a negative one is not refused, and means what the reader makes of it.
 * offset: 0 to 263. count: 1 to (2048 - page) x 264 - offset.
 *
 * Returns 0; -143 (count, or buffer is a null pointer); -144 (page or offset); -128 (the card is
 * not there, or the check failed); a link code; the negated STATUS. The count is checked to be
 * positive before the position is looked at.
 */
int srd_45d041(int handle, int page, int offset, int count, unsigned char *buffer);

/*
 * Writes the `count` bytes of `buffer` at `page` and `offset`, after a check that the card is
 * there.
 *
 * Arguments and results as srd_45d041, but -129 for a card that is not there.
 */
int swr_45d041(int handle, int page, int offset, int count, const unsigned char *buffer);

/*
 * Reads the card's status byte into *status. On failure *status stays as it was.
 *
 * Returns 0; -143 (status is a null pointer); a link code; the negated STATUS.
 */
int rdstrg_45d041(int handle, unsigned char *status);

/*
 * Tests whether a 45D041 card is in the reader: its status byte is neither 0x00 nor 0xFF. It is
 * read up to three times.
 *
 * Returns 0; -133 (no such card); a link code; the negated STATUS.
 */
int chk_45d041(int handle);

/* ---- Security memory cards --------------------------------------------------------------------
 *
 * The 4404, 4406, 101, 102, 1604 and 1604b cards. Writing turns bits from 1 to 0; erasing turns
 * them back to 1. A security code opens the card until its power goes off, and each wrong one uses
 * up an attempt; erase codes open zones for erasing. Personalising a card is final; the fake fuse
 * makes it behave as if it were personalised.
 *
 * In all of these functions:
 *
 *   count     bytes to read, write or erase. `buffer` has room for, or holds, that many. When a
 *             read fails, the frames before the failing one have filled their part of `buffer`.
 *   length    the size of a code in bytes, given for each function. Any other is -143.
 *   counter   where the number goes. -143 if it is a null pointer. Unless said otherwise it stays
 *             as it was when the function fails.
 *   mode      0 takes the fake fuse back, anything else sets it.
 *
 * Results besides 0, unless said otherwise: -144 (address); -143 (count or length, or buffer or
 * code is a null pointer); a link code; the negated STATUS. The address is checked first where
 * there is no zone, the count or length where there is one. A clrpr_ or clrrd_ function, and
 * psnl_4406, also return -133 if the reply does not bring the byte whose bit is to be cleared, and
 * write nothing then.
 */

/* ---- 4404 card: 52 bytes ------------------------------------------------------------------- */

/* Each transfers `count` bytes at `address`. address: 0 to 51. count: 1 to 52 - address. */
int srd_4404(int handle, int address, int count, unsigned char *buffer);
int swr_4404(int handle, int address, int count, const unsigned char *buffer);

/*
 * Erases `count` bytes from `address`.
 *
 * address: 0 to 13 or 40 to 51; an erase may begin at 13 or below and run on. count: 1 to
 *   52 - address.
 */
int ser_4404(int handle, int address, int count);

/* Presents the security code. length: 2. */
int csc_4404(int handle, unsigned int length, const unsigned char *code);

/*
 * Replaces the security code at address 8: erases it, then writes it. A write that fails after the
 * erase leaves the code erased. length: 2.
 */
int wsc_4404(int handle, int length, const unsigned char *code);

/* Reads the security code into `code`. length: 2. */
int rsc_4404(int handle, int length, unsigned char *code);

/* Counts the attempts left, 0 to 4: the bits 4 to 7 of the byte at address 10 that are 1. */
int rsct_4404(int handle, unsigned int *counter);

/* Presents, replaces (as wsc_4404 does) and reads the erase code at address 40. length: 4. */
int cesc_4404(int handle, unsigned int length, const unsigned char *code);
int wesc_4404(int handle, int length, const unsigned char *code);
int resc_4404(int handle, int length, unsigned char *code);

/*
 * Adds the erasures left, 0 to 64, to *counter: the bits that are 1 in the 8 bytes at address 44. A
 * caller who wants the plain number sets *counter to 0 before.
 */
int resct_4404(int handle, unsigned int *counter);

/*
 * Clears the protection flag (bit 7; clrpr) or the read flag (bit 6; clrrd) of the byte at address
 * 14. A flag that is 0 already is not written.
 */
int clrpr_4404(int handle);
int clrrd_4404(int handle);

/* Sets the fake fuse or takes it back. */
int fakefus_4404(int handle, unsigned int mode);

/* Personalises the card. Returns 0; a link code; the STATUS itself, positive (1 to 255). */
int psnl_4404(int handle);

/*
 * Tests whether a 4404 card is in the reader: it begins with B7 A0 FF or with 81 24.
 *
 * Returns 0; -133 (another card); a link code; the negated STATUS.
 */
int chk_4404(int handle);

/* ---- 4406 card: 13 bytes ------------------------------------------------------------------- */

/* Each transfers `count` bytes at `address`. address: 0 to 12. count: 1 to 13 - address. */
int srd_4406(int handle, int address, int count, unsigned char *buffer);
int swr_4406(int handle, int address, int count, const unsigned char *buffer);

/*
 * Spends a unit of the counter stage at `address` and erases the stage behind it in exchange.
 *
 * address: 0 to 11. Returns 0; -144 (address); a link code; the negated STATUS.
 */
int eswc_4406(int handle, int address);

/*
 * Presents the security code, then reads it back from the card. length: 3.
 *
 * Returns 0; -143 (length, or code is a null pointer); -129 (the code that the card holds is
 * another one); a link code or the negated STATUS of either exchange.
 */
int csc_4406(int handle, unsigned int length, const unsigned char *code);

/* Writes, without an erase before, and reads the security code at address 10. length: 3. */
int wsc_4406(int handle, int length, const unsigned char *code);
int rsc_4406(int handle, int length, unsigned char *code);

/* Counts the attempts left, 0 to 8: the bits of the byte at address 9 that are 1. */
int rsct_4406(int handle, unsigned int *counter);

/* Personalises the card: clears bit 7 of the byte at address 8, if it is not 0 already. */
int psnl_4406(int handle);

/*
 * Tests whether a 4406 card is in the reader: it begins with 98 20, or its third byte is 22.
 *
 * Returns 0; -133 (another card, or reading it failed in whatever way).
 */
int chk_4406(int handle);

/* ---- 101 card: 172 bytes ------------------------------------------------------------------- */

/*
 * Each transfers `count` bytes at `address`; swrSC_101 writes in the security area. More than 144
 * bytes take two frames. address: 0 to 171. count: 1 to 172 - address.
 */
int srd_101(int handle, int address, int count, unsigned char *buffer);
int swr_101(int handle, int address, int count, const unsigned char *buffer);
int swrSC_101(int handle, int address, int count, const unsigned char *buffer);

/* Erases `count` bytes from `address`; the arguments are those of srd_101. */
int ser_101(int handle, int address, int count);

/*
 * Present, replace and read the security code at address 10. length: 2. Replacing erases the code
 * and then writes it; a write that fails after the erase leaves the code erased.
 */
int csc_101(int handle, unsigned int length, const unsigned char *code);
int wsc_101(int handle, int length, const unsigned char *code);
int rsc_101(int handle, int length, unsigned char *code);

/*
 * Counts the attempts left, 0 to 8: the bits of the byte at address 12 that are 1. When the byte
 * cannot be read, *counter becomes 0.
 */
int rsct_101(int handle, unsigned int *counter);

/* Present, replace as wsc_101 does, and read the erase code at address 150. length: 4. */
int cesc_101(int handle, unsigned int length, const unsigned char *code);
int wesc_101(int handle, int length, const unsigned char *code);
int resc_101(int handle, int length, unsigned char *code);

/* Counts the erasures left, 0 to 128: the bits that are 1 in the 16 bytes at address 154. */
int resct_101(int handle, unsigned int *counter);

/*
 * Clears the protection flag (bit 7; clrpr) or the read flag (bit 6; clrrd) of the byte at address
 * 22. A flag that is 0 already is not written.
 */
int clrpr_101(int handle);
int clrrd_101(int handle);

/* Sets the fake fuse or takes it back. */
int fakefus_101(int handle, unsigned int mode);

/* Personalises the card. Returns 0; a link code; the negated STATUS. */
int psnl_101(int handle);

/*
 * Tests whether a 101 card is in the reader: it begins with 0F 0F. A 102 card does so too.
 *
 * Returns 0; -133 (another card); a link code; the negated STATUS.
 */
int chk_101(int handle);

/* ---- 102 card: 178 bytes in three zones -------------------------------------------------------
 *
 *   zone   bytes   erase code at 64   reads and erases reach
 *   0      22      none               178 bytes from the start of the zone
 *   1      70      6 bytes            156
 *   2      86      4 bytes             86
 *
 * Addresses are those within the zone: 0 to its size - 1.
 */

/*
 * Reads `count` bytes, also beyond the zone to the end of the card. More than 144 bytes take two
 * frames. count: 1 to what reads reach - address.
 *
 * Returns 0; -143 (count, or buffer is a null pointer); -144 (zone or address); a link code; the
 * negated STATUS.
 */
int srd_102(int handle, unsigned int zone, int address, int count, unsigned char *buffer);

/*
 * Each writes `count` bytes within the zone; swrSC_102 in the security area. count: 1 to the zone's
 * size - address.
 *
 * Returns 0; -143 (count or zone, or buffer is a null pointer); -144 (address); a link code; the
 * negated STATUS.
 */
int swr_102(int handle, unsigned int zone, int address, int count, const unsigned char *buffer);
int swrSC_102(int handle, unsigned int zone, int address, int count, const unsigned char *buffer);

/*
 * Erases `count` bytes, as far as srd_102 reads.
 *
 * Returns 0; -143 (count or zone); -144 (address); a link code; the negated STATUS.
 */
int ser_102(int handle, unsigned int zone, int address, int count);

/* Present, replace and read the security code at address 10 of zone 0, as csc_101. length: 2. */
int csc_102(int handle, unsigned int length, const unsigned char *code);
int wsc_102(int handle, int length, const unsigned char *code);
int rsc_102(int handle, int length, unsigned char *code);

/* Counts the attempts left, 0 to 4: the bits 4 to 7 of byte 12 of zone 0 that are 1. */
int rsct_102(int handle, unsigned int *counter);

/*
 * Present, replace and read the erase code of a zone. zone: 1 or 2, else -144. length: 6 in zone 1,
 * 4 in zone 2; a length below 1 is refused before the zone is looked at.
 */
int cesc_102(int handle, int zone, int length, const unsigned char *code);
int wesc_102(int handle, unsigned int zone, int length, const unsigned char *code);
int resc_102(int handle, int zone, int length, unsigned char *code);

/*
 * Counts the erasures left of zone 2, 0 to 128: the bits that are 1 in its 16 bytes at 68. zone: 2,
 * else -144.
 */
int resct_102(int handle, int zone, unsigned int *counter);

/*
 * Clears the protection flag (bit 7; clrpr) or the read flag (bit 6; clrrd) of the first byte of
 * the zone. A flag that is 0 already is not written. zone: 1 or 2, else -144.
 */
int clrpr_102(int handle, int zone);
int clrrd_102(int handle, int zone);

/* Sets the fake fuse or takes it back. */
int fakefus_102(int handle, unsigned int mode);

/* Personalises the card. Returns 0; a link code; the negated STATUS. */
int psnl_102(int handle);

/*
 * Tests whether a 102 card is in the reader: it begins with 0F 0F. A 101 card does so too.
 *
 * Returns 0; -133 (another card); a link code; the negated STATUS.
 */
int chk_102(int handle);

/* ---- 1604 and 1604b cards: five zones ---------------------------------------------------------
 *
 *                 1604                          1604b
 *   zone    bytes   plain   to the end    bytes   plain   to the end
 *   0          27      21         2007       27      21         2042
 *   1        1200    1195         1980      518     512         2015
 *   2         261     256          780      518     512         1497
 *   3         261     256          519      518     512          979
 *   4         258     258          258      461     457          461
 *
 * "plain" is what the plain write reaches: the bytes behind it hold the codes and counters of the
 * next zone, and behind zone 4 of the 1604b nothing.
 * Addresses are those within the zone. Code 0 is the master code, codes 1 to 4 guard the zone of
 * their number. The functions of the two cards are the same otherwise, but where it is said. The
 * first reply byte to a plain write or an erase may take 9 seconds.
 */

/*
 * Reads `count` bytes, also beyond the zone to the end of the card, in frames of 144 bytes.
 *
 * address: 0 to the zone's bytes - 1. count: 1 to (bytes to the end - address).
 *
 * Returns 0; -143 (count or zone, or buffer is a null pointer); -144 (address); a link code; the
 * negated STATUS.
 */
int srd_1604(int handle, unsigned int zone, int address, int count, unsigned char *buffer);

/* Writes within the plain part of the zone. Arguments otherwise and results as srd_1604. */
int swr_1604(int handle, unsigned int zone, int address, int count, const unsigned char *buffer);

/* Writes within the zone, codes and counters included. Otherwise as srd_1604. */
int swrSC_1604(int handle, unsigned int zone, int address, int count, const unsigned char *buffer);

/* Erases within the zone, codes and counters included. Otherwise as srd_1604. */
int ser_1604(int handle, unsigned int zone, int address, int count);

/*
 * Present, replace and read a security code. number: 0 to 4, else -144. length: 2; it is checked
 * first. Replacing erases the code and then writes it; a write that fails after the erase leaves
 * the code erased.
 */
int csc_1604(int handle, int number, unsigned int length, const unsigned char *code);
int wsc_1604(int handle, unsigned int number, int length, const unsigned char *code);
int rsc_1604(int handle, unsigned int number, int length, unsigned char *code);

/*
 * Counts the attempts left for a code, 0 to 8. When the byte cannot be read, *counter becomes 0.
 * number: 0 or 1, else -144: the 1604 has no counter for the others.
 */
int rsct_1604(int handle, unsigned int number, unsigned int *counter);

/*
 * Present, replace and read an erase code. number: 1 to 4, else -144; cesc_1604 lets code 0 through
 * as well and sends the address 0. length: 2; it is checked first.
 */
int cesc_1604(int handle, int number, unsigned int length, const unsigned char *code);
int wesc_1604(int handle, int number, int length, const unsigned char *code);
int resc_1604(int handle, int number, int length, unsigned char *code);

/* Counts the erasures left of the zone of this number, 0 to 8. number: 1 to 4, else -144. */
int resct_1604(int handle, int number, unsigned int *counter);

/*
 * Clears the protection flag (bit 7; clrpr) or the read flag (bit 6; clrrd) of the first byte of
 * the zone. A flag that is 0 already is not written. zone: 1 to 4, else -144.
 */
int clrpr_1604(int handle, int zone);
int clrrd_1604(int handle, int zone);

/* Sets the fake fuse or takes it back. */
int fakefus_1604(int handle, unsigned int mode);

/* Personalises the card. Returns 0; a link code; the negated STATUS. */
int psnl_1604(int handle);

/*
 * Tests whether a 1604 card (it begins with 31 3A) or a 1604b card (72 55) is in the reader.
 *
 * Returns 0; -133 (another card); a link code; the negated STATUS.
 */
int chk_1604(int handle);
int chk_1604b(int handle);

/* As the 1604 functions, but for the sizes above. */
int srd_1604b(int handle, unsigned int zone, int address, int count, unsigned char *buffer);
int swr_1604b(int handle, unsigned int zone, int address, int count, const unsigned char *buffer);
int swrSC_1604b(int handle, unsigned int zone, int address, int count, const unsigned char *buffer);
int ser_1604b(int handle, unsigned int zone, int address, int count);
int csc_1604b(int handle, int number, unsigned int length, const unsigned char *code);
int wsc_1604b(int handle, unsigned int number, int length, const unsigned char *code);
int rsc_1604b(int handle, unsigned int number, int length, unsigned char *code);
int wesc_1604b(int handle, int number, int length, const unsigned char *code);
int resc_1604b(int handle, int number, int length, unsigned char *code);
int resct_1604b(int handle, int number, unsigned int *counter);
int clrpr_1604b(int handle, int zone);
int clrrd_1604b(int handle, int zone);
int fakefus_1604b(int handle, unsigned int mode);
int psnl_1604b(int handle);

/* As rsct_1604, with counters for all codes. number: 0 to 4, else -144. */
int rsct_1604b(int handle, unsigned int number, unsigned int *counter);

/* As cesc_1604, but for code 0, which is -144. */
int cesc_1604b(int handle, int number, unsigned int length, const unsigned char *code);

/* ---- Processor card ---------------------------------------------------------------------------
 *
 * Exchanges that fail, be it in sending, in receiving or by a STATUS that is not 0, are repeated up
 * to the number of attempts given; the result is then that of the last one. In all of these
 * functions n is the number of bytes for the card; n + 5 goes to the reader as one byte, so more
 * than 250 do not fit a frame. An n below 1 sends none. The size of `buffer` is not checked.
 */

/*
 * Resets the card and stores its answer to reset. Four attempts.
 *
 * buffer: room for the answer. Its length, up to 65535, is the reader's and is not returned. Where
 *   the reader announces more bytes than its frame brings, which are 255 at most, the frame's check
 *   byte follows those, and then zeros.
 *
 * Returns 0; -143 (buffer is a null pointer); a link code; the negated STATUS.
 */
int cpu_reset(int handle, unsigned char *buffer);

/*
 * Sends the n bytes of a command to the card and stores its answer. Three attempts.
 *
 * buffer: room for up to 255 bytes. The length of the answer is not returned.
 *
 * Returns 0; -143 (buffer, or command with n above 0, is a null pointer); a link code; the negated
 * STATUS.
 */
int cpu_comres(int handle, int n, const unsigned char *command, unsigned char *buffer);

/*
 * Sends a T=1 block (NAD, PCB, LEN, information, LRC: n bytes in all) to the card. While the card
 * answers with status words 61xx or 6Cxx, fetches xx more bytes with a GET RESPONSE command. Three
 * attempts for each frame. Nothing limits how often a card may announce more.
 *
 * buffer: receives one block: NAD and PCB of the last answer, the length of all information modulo
 *   256, the information of all answers with the status words of the last one, and behind it the
 *   LRC of the last answer, which is not that of this block, and bytes of no meaning. From where
 *   the information of the last answer begins, as many bytes are written as its reply announced, up
 *   to 255. It has room for 3 bytes, the information of every answer, and 255 bytes more.
 *   After a failure the information of earlier answers may be in it, behind 3 bytes that are as
 *   they were.
 *
 * Returns 0; -143 (buffer, or block with n above 0, is a null pointer); a link code; the negated
 * STATUS.
 */
int cpu_protocol(int handle, int n, const unsigned char *block, unsigned char *buffer);

/*
 * Sets the speed at which the reader talks to the card (slot is 0) or to the SAM. code: goes to the
 * reader as it is.
 *
 * Returns 0; a link code; the negated STATUS.
 */
int set_card_baud(int handle, unsigned char slot, unsigned char code);

/* ---- Secure access modules ----------------------------------------------------------------- */

/* Switch the power of the SAMs on and off. Return 0; a link code; the negated STATUS. */
int sam_power_on(int handle);
int sam_power_down(int handle);

/* Selects the SAM to speak with; the reader knows the numbers. Returns as sam_power_on. */
int sam_select(int handle, unsigned char number);

/*
 * Resets the SAM and stores its answer to reset, and the length of that in *length, which is 0 on
 * failure. One attempt.
 *
 * buffer: room for up to 255 bytes.
 *
 * Returns 0; -143 (length or buffer is a null pointer); a link code; the negated STATUS.
 */
int sam_reset(int handle, int *length, unsigned char *buffer);

/* As cpu_comres. */
int sam_comres(int handle, int n, const unsigned char *command, unsigned char *buffer);

/*
 * As cpu_protocol, but for two things: three failures in all end it; and after status words 6Cxx
 * the block goes out again, with xx in place of its last information byte, the other sequence
 * number (PCB 0x40 where the caller's is 0, else 0) and an LRC to match. Where that block was a GET
 * RESPONSE, its bytes 2 to 6 are then those of the caller's block, as far as that has them. A block
 * shorter than two bytes has no place for xx, and such an answer is the result.
 */
int sam_protocol(int handle, int n, const unsigned char *block, unsigned char *buffer);

/* ---- DES --------------------------------------------------------------------------------------
 *
 * Single DES in electronic-codebook fashion, without a session. A key has 8 bytes, whose lowest
 * bits do not matter. Input is padded with zeros to a multiple of 8 bytes; that is the room that
 * `output` needs. Output may be the input's own place, but not overlap it otherwise. Nothing of key
 * or text is left behind in the library's memory. How long a call takes, and which memory it
 * touches, depends on lengths alone, not on key or text. The functions do nothing when a pointer
 * that they need is null.
 */

/* Returns the length of the output; one that does not fit an int is INT_MAX. */
int ic_encrypt(const unsigned char *key, const unsigned char *input, unsigned int length,
               unsigned char *output);

/* Returns 0 always. */
int ic_decrypt(const unsigned char *key, const unsigned char *input, unsigned int length,
               unsigned char *output);

/*
 * The same for a key of which `key_length` bytes are given: up to 8; the others are 0. A negative
 * number counts as 0. Both return the length of the output, as ic_encrypt does.
 */
int DES_Encrypt(const unsigned char *key, int key_length, const unsigned char *input,
                unsigned int length, unsigned char *output);
int DES_Decrypt(const unsigned char *key, int key_length, const unsigned char *input,
                unsigned int length, unsigned char *output);

/* Makes the 16 round keys of a key, one byte for each bit. round_keys: room for 16. */
void Gen_Childkey1(const unsigned char *key, unsigned char (*round_keys)[48]);

/* The same with eight bits to a byte, the first the most significant. */
void Gen_Childkey2(const unsigned char *key, unsigned char (*round_keys)[6]);

/* Unpacks `count` bytes into 8 x count bytes that hold one bit each, bit 7 of each byte first. */
void Char_Bit(const unsigned char *bytes, int count, unsigned char *cells);

/* Packs `count` bits, one in each byte, into count / 8 bytes. */
void Bit_Char(const unsigned char *cells, int count, unsigned char *bytes);

/* ---- The link's own building blocks -----------------------------------------------------------
 *
 * For programs that speak to the reader in frames of their own. A request is 0xAA, command, flag,
 * LEN, LEN bytes of body, check byte; a reply is 0x55, STATUS, a byte of no meaning here, LEN, LEN
 * bytes of data, check byte. The check byte makes the XOR of the whole frame 0.
 */

/* The XOR of the n bytes at p, 0 to 255; 0 for n below 1 or a null pointer. */
int cr_bcc(int n, const unsigned char *p);

/* Returns 0 if the XOR of the n bytes at p is 0, else -138. */
int ck_bcc(int n, const unsigned char *p);

/*
 * Sends one byte: in direct mode as it is; in terminal mode after AUXSTARTWRITE and before
 * AUXENDWRITE, each of the three with its own write and only if the one before wrote something. A
 * write goes on, for up to 4 seconds of processor time, when a signal interrupts it or the line has
 * no room for all of it.
 *
 * Returns a positive number; -129 (direct mode: not sent); the result of the failed write, 0 or
 * negative (terminal mode).
 */
int sendchar(int handle, unsigned char c);

/*
 * Sends the n bytes of `frame`, one by one, up to the first that fails.
 *
 * Returns 0 (also for n below 1); -129 (a byte could not be sent); -143 (frame is a null pointer).
 */
int send_com(int handle, int n, const unsigned char *frame);

/*
 * Waits up to 1 second of processor time for one byte and stores it at p. Without a byte *p stays
 * as it was. An error of the descriptor counts as no byte yet.
 *
 * Returns 0; -132 (no byte came); -143 (p is a null pointer).
 */
int receive_data(int handle, unsigned char *p);

/* As receive_data, with a wait of up to 4 seconds. */
int receive_data_2k(int handle, unsigned char *p);

/* As receive_data, with a wait of up to 9 seconds. */
int receive_data_8k(int handle, unsigned char *p);

/*
 * Receives one reply frame: up to 4 seconds for the first byte, up to 1 second for each further
 * one. STATUS is not looked at.
 *
 * reply: room for 260 bytes, the longest frame a reader can announce.
 *
 * Returns 0; -128 (the first byte is not 0x55; the rest of the reply stays unread); -132 (timeout);
 * -133 (check byte); -143 (reply is a null pointer).
 */
int receive_com(int handle, unsigned char *reply);

/* As receive_com, with up to 9 seconds for the first byte. */
int receive_com0(int handle, unsigned char *reply);

/* Spends more than `ticks` microseconds of processor time. Returns 10. */
int ic_delay(int ticks);

/*
 * Reads the configuration file at `path` into the session globals below, as ic_init describes.
 * Nothing is cleared first, and no terminator is written: a shorter value leaves the tail of a
 * longer earlier one behind it.
 *
 * Returns 0; -1 (the file cannot be opened or read, or path is a null pointer), with term_flg
 * unchanged.
 */
int getpar(const char *path);

/*
 * Takes the value out of one line of a configuration file.
 *
 * line: NUL-terminated text with its line end; it is edited in place. dest: room for 60 bytes;
 *   holds text already, an empty one at least. The value is written over that text, at most 59
 *   characters of it, and without a terminator of its own.
 *
 * Returns the length of the text that is then in `dest`; 0 if an argument is a null pointer.
 */
int get_s(char *line, char *dest);

/* ---- Session globals: what getpar and ic_init found ---------------------------------------- */

/* The values of the configuration file, as NUL-terminated text. Behind each the key of its line. */
extern char AUXSTARTWRITE[60];   /* W: sent before every byte in terminal mode */
extern char AUXENDWRITE[60];     /* A: sent after every byte in terminal mode */
extern char CLOSEAUX[60];        /* C: sent by ic_exit in terminal mode */
extern char SETAUX[60];          /* S: sent first at the start of a session in terminal mode */
extern char INITAUX[60];         /* I: sent after SETAUX */
extern char ENABLEKEYBOARD[60];  /* E: stored only */
extern char DISABLEKEYBOARD[60]; /* D: stored only */
extern char DRVCOMM[60];         /* P: the serial device of direct mode */

/* 1: direct mode; 0: terminal mode. */
extern int term_flg;

/* The line settings that the session uses, and those it found. Declared in full by <termios.h>. */
struct termios;
extern struct termios nport;
extern struct termios oport;

#ifdef __cplusplus
}
#endif

#pragma GCC visibility pop

#endif
