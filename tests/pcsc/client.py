#!/usr/bin/env python3
# SPDX-FileCopyrightText: 2026 The quorra authors
# SPDX-License-Identifier: BSD-2-Clause
"""A PC/SC application for the tests.

client.py readers                  the names of all readers, one a line
client.py apdu READER HEX...       the answer to each command, or the words for what went wrong
client.py watch READER COUNT       so many changes of what is in the reader: "absent", or the ATR
client.py hold READER              keeps the card in use until the end
client.py control READER CODE HEX  the answer of the reader itself
client.py random SEED COUNT READER [SIZE]
                                   writes and reads pieces of a file, or of a memory card of SIZE
                                   bytes; what is read is compared with an array
"""

import random
import signal
import sys

from smartcard.scard import *


def check(result):
    if result != SCARD_S_SUCCESS:
        raise RuntimeError(SCardGetErrorMessage(result))


def say(*words):
    print(*words, flush=True)


def text(data):
    return bytes(data).hex(" ").upper()


def connect(context, reader, protocols=SCARD_PROTOCOL_ANY):
    result, card, protocol = SCardConnect(context, reader, SCARD_SHARE_SHARED, protocols)
    check(result)
    return card, protocol


def transmit(card, protocol, command):
    header = SCARD_PCI_T1 if protocol == SCARD_PROTOCOL_T1 else SCARD_PCI_T0
    result, answer = SCardTransmit(card, header, list(command))
    check(result)
    return bytes(answer)


def apdu(context, reader, *commands):
    card, protocol = connect(context, reader)
    say("T=1" if protocol == SCARD_PROTOCOL_T1 else "T=0")
    for command in commands:
        try:
            say(text(transmit(card, protocol, bytes.fromhex(command))))
        except RuntimeError as error:
            say(error)
    SCardDisconnect(card, SCARD_LEAVE_CARD)


def watch(context, reader, count):
    known, last = SCARD_STATE_UNAWARE, None
    while count > 0:
        result, states = SCardGetStatusChange(context, INFINITE, [(reader, known)])
        check(result)
        _, known, atr = states[0]
        known &= ~SCARD_STATE_CHANGED
        found = "absent" if known & SCARD_STATE_EMPTY else text(atr)
        if found and found != last:
            say(found)
            last = found
            count -= 1


def hold(context, reader):
    connect(context, reader)
    say("connected")
    signal.pause()


def control(context, reader, code, data):
    result, card, _ = SCardConnect(context, reader, SCARD_SHARE_DIRECT, 0)
    check(result)
    result, answer = SCardControl(card, SCARD_CTL_CODE(int(code)), list(bytes.fromhex(data)))
    check(result)
    say(text(answer))


def random_access(context, seed, count, reader, size=None):
    random.seed(seed)
    card, protocol = connect(context, reader)
    held = bytearray((size or 512) * b"\xff")
    if size is None:
        transmit(card, protocol, bytes.fromhex("00A4000C020001"))
    first = b"\x00" if size is None else b"\xff"
    for _ in range(count):
        length = random.randint(1, 100)
        at = random.randint(0, len(held) - length)
        place = bytes([at >> 8, at & 0xFF, length])
        if random.random() < 0.5:
            data = random.randbytes(length)
            held[at : at + length] = data
            answer = transmit(card, protocol, first + b"\xd6" + place + data)
            assert answer == b"\x90\x00", text(answer)
        else:
            answer = transmit(card, protocol, first + b"\xb0" + place)
            assert answer == held[at : at + length] + b"\x90\x00", text(answer)
    say("all equal")


def main():
    result, context = SCardEstablishContext(SCARD_SCOPE_USER)
    check(result)
    name, arguments = sys.argv[1], sys.argv[2:]
    if name == "readers":
        result, readers = SCardListReaders(context, [])
        check(result)
        say("\n".join(sorted(readers)))
    elif name == "apdu":
        apdu(context, *arguments)
    elif name == "watch":
        watch(context, arguments[0], int(arguments[1]))
    elif name == "hold":
        hold(context, *arguments)
    elif name == "control":
        control(context, *arguments)
    elif name == "random":
        random_access(context, int(arguments[0]), int(arguments[1]), arguments[2], *map(int, arguments[3:]))


try:
    main()
except RuntimeError as error:
    say(error)
    sys.exit(1)
