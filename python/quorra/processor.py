# SPDX-FileCopyrightText: 2026 The quorra authors
# SPDX-License-Identifier: BSD-2-Clause
"""A processor card in a reader, or a SAM inside it."""

from __future__ import annotations

import ctypes
from dataclasses import dataclass

from quorra import errors, lib
from quorra._blocks import BlockProtocol, Line
from quorra._session import Session

_SENDING = "sending the APDU"
_LARGEST_RESET_ANSWER = 0xFFFF
_LARGEST_REPLY = 255
# What a frame carries to the card where it does not speak in blocks.
_LONGEST_COMMAND = 250
_LONGEST_ANSWER = 65536

_BYTES_TO_FETCH = 0x61
_WRONG_LENGTH = 0x6C
_HEADER_SIZE = 4


@dataclass(frozen=True)
class Response:
    """What a card says to a command."""

    data: bytes
    #: SW1 and SW2: 0x9000.
    status_words: int

    @property
    def ok(self) -> bool:
        """Whether the status words are 9000."""
        return self.status_words == 0x9000

    @property
    def sw1(self) -> int:
        return self.status_words >> 8

    @property
    def sw2(self) -> int:
        return self.status_words & 0xFF

    def __str__(self) -> str:
        return f"{self.data.hex(' ').upper()} {self.status_words:04X}".strip()


@dataclass(frozen=True)
class _Offer:
    protocol: int
    block_size: int


def _read_offer(answer: bytes) -> _Offer | None:
    """The protocol that a card speaks after its reset, and the bytes that its blocks may hold; None if
    this is no answer to reset."""
    if len(answer) < 2 or answer[0] not in (0x3B, 0x3F):
        return None
    at, follows, number = 2, answer[1] >> 4, 1
    protocols: list[int] = []
    size, is_specific = 32, False
    specific_protocol = None
    while True:
        for letter in range(4):
            if not follows >> letter & 1:
                continue
            if at >= len(answer):
                return None
            value = answer[at]
            at += 1
            if letter == 0 and number == 2:
                is_specific, specific_protocol = True, value & 0x0F
            # The first TA behind a TD2 or later that names T=1 is the size of its blocks.
            if letter == 0 and number > 2 and protocols[number - 2] == 1 and 1 not in protocols[1 : number - 2]:
                size = value
            if letter == 3:
                protocols.append(value & 0x0F)
                td = value
        if not follows & 8:
            break
        follows, number = td >> 4, number + 1
    named = [protocol for protocol in protocols if protocol != 15]
    protocol = specific_protocol if is_specific and specific_protocol is not None else (named or [0])[0]
    return _Offer(protocol, size if 0 < size < 255 else 32)


class ProcessorCard:
    """A processor card in the slot, or a SAM."""

    def __init__(self, session: Session, sam: int | None = None) -> None:
        self._session = session
        self._sam = sam
        self._line = Line(session, _SENDING, sam)
        self._blocks: BlockProtocol | None = None
        self._is_reset = False

    def __repr__(self) -> str:
        return "<quorra.ProcessorCard>" if self._sam is None else f"<quorra.ProcessorCard SAM {self._sam}>"

    @property
    def sam(self) -> int | None:
        """The number of the SAM; None for the card slot."""
        return self._sam

    def reset(self) -> bytes:
        """Resets the card and returns its answer to reset. A SAM is given power and selected before."""
        if self._sam is None:
            answer = self._reset_card()
        else:
            self._session.run("switching the SAMs' power on", lib.sam_power_on)
            self._select()
            answer = self._reset_sam()
        offer = _read_offer(answer)
        self._blocks = BlockProtocol(self._line, offer.block_size) if offer and offer.protocol == 1 else None
        if self._blocks is not None:
            self._blocks.announce_size()
        self._is_reset = True
        return answer

    def _select(self) -> None:
        if self._sam is not None:
            self._session.run("selecting the SAM", lib.sam_select, self._sam)

    def _reset_card(self) -> bytes:
        # The library does not tell how long the answer is. It leaves bytes behind it as they were, so two
        # resets into different surroundings show it.
        among_zeros = bytearray(_LARGEST_RESET_ANSWER + 1)
        among_ones = bytearray(b"\xff" * (_LARGEST_RESET_ANSWER + 1))
        self._session.run("resetting the card", lib.cpu_reset, among_zeros)
        self._session.run("resetting the card", lib.cpu_reset, among_ones)
        size = next(at for at, pair in enumerate(zip(among_zeros, among_ones)) if pair == (0x00, 0xFF))
        return bytes(among_ones[:size])

    def _reset_sam(self) -> bytes:
        length = ctypes.c_int(0)
        answer = bytearray(_LARGEST_REPLY)
        self._session.run("resetting the SAM", lib.sam_reset, length, answer)
        return bytes(answer[: length.value])

    def transmit(self, command: bytes) -> Response:
        """Sends an APDU and returns the answer; the card is reset first if it was not. What the card
        announces with 61xx is fetched, and a command to which it answers 6Cxx is repeated with the length
        xx. No command reaches the card twice otherwise."""
        if not self._is_reset:
            self.reset()
        else:
            self._select()
        if len(command) < _HEADER_SIZE:
            raise errors.Unsupported(f"{_SENDING}: it has {len(command)} bytes; CLA, INS, P1 and P2 are "
                                     f"{_HEADER_SIZE}", word="bad_length")
        response = self._exchange_with_right_length(bytes(command))
        data = response.data
        while response.sw1 == _BYTES_TO_FETCH:
            more = self._exchange_with_right_length(bytes([0x00, 0xC0, 0x00, 0x00, response.sw2]))
            if not more.data and more.sw1 == _BYTES_TO_FETCH:
                raise errors.Error(f"{_SENDING}: the card announces more of its answer, and sends none",
                                   word="bad_answer")
            data += more.data
            if len(data) > _LONGEST_ANSWER:
                raise errors.Error(f"{_SENDING}: the answer does not end after {_LONGEST_ANSWER} bytes",
                                   word="bad_answer")
            response = more
        return Response(data, response.status_words)

    def _exchange_with_right_length(self, command: bytes) -> Response:
        response = self._exchange(command)
        if response.sw1 != _WRONG_LENGTH:
            return response
        again = _with_expected_length(command, response.sw2)
        return response if again is None else self._exchange(again)

    def _exchange(self, command: bytes) -> Response:
        if self._blocks is not None:
            answer = self._blocks.transmit(command)
        elif len(command) > _LONGEST_COMMAND:
            raise errors.Unsupported(f"{_SENDING}: it has {len(command)} bytes, a frame to the reader carries "
                                     f"{_LONGEST_COMMAND} at most, and the card does not speak T=1",
                                     word="bad_length")
        else:
            result, answer = self._line.exchange(command)
            if result < 0:
                self._session.fail(_SENDING, result)
        if len(answer) < 2 or answer[-2] >> 4 not in (6, 9):
            raise errors.Error(f"{_SENDING}: the answer ends without status words", word="bad_answer")
        return Response(answer[:-2], answer[-2] << 8 | answer[-1])


def _with_expected_length(command: bytes, length: int) -> bytes | None:
    """The command with this expected length; None if its lengths have several bytes."""
    if len(command) <= _HEADER_SIZE + 1:
        return command[:_HEADER_SIZE] + bytes([length])
    without = _HEADER_SIZE + 1 + command[_HEADER_SIZE]
    if command[_HEADER_SIZE] == 0 or len(command) < without:
        return None
    return command[:without] + bytes([length])
