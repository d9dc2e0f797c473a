# SPDX-FileCopyrightText: 2026 The quorra authors
# SPDX-License-Identifier: BSD-2-Clause
"""Bytes to a processor card in frames, and the protocol T=1 of ISO/IEC 7816-3 in them."""

from __future__ import annotations

from dataclasses import dataclass

from quorra import errors, lib
from quorra._session import Session

_EXCHANGE = 0x21
_FLAG = 0x80
_CARD = 0x20
_SAM = 0x21
_BODY_HEAD_SIZE = 5

_OVERHEAD = 4  # NAD, PCB, LEN and the check byte
_MOST_SENT = 250 - _OVERHEAD
_MOST_RECEIVED = 255 - _OVERHEAD
_LONGEST_ANSWER = 65536 + 2
_ATTEMPTS = 3
# A card that asks for time, or for another size, so often within one command never ends.
_MOST_REQUESTS = 1000

_NUMBER = 0x40
_MORE = 0x20
_RECEIPT = 0x80
_RECEIPT_OF_TROUBLE = 0x82
_NUMBER_OF_RECEIPT = 0x10
_SET_SIZE = 0xC1
_BREAK_OFF = 0xC2
_EXTEND_TIME = 0xC3
_ANSWER = 0x20


class Line:
    """The library's own calls repeat a frame whose reply is lost, and the card may then carry out a
    command twice. Here a frame is sent once."""

    def __init__(self, session: Session, doing: str, sam: int | None) -> None:
        self.session = session
        self.doing = doing
        self._sam = sam

    def exchange(self, command: bytes, *, long_wait: bool = False) -> tuple[int, bytes]:
        """The result of the library, and what the card said."""
        slot = _CARD if self._sam is None else _SAM
        head = bytes([0xAA, _EXCHANGE, _FLAG, _BODY_HEAD_SIZE + len(command), slot, 0, 0, 0, 0])
        # The check byte of a frame to a SAM leaves out the bytes for it.
        checked = head + command if self._sam is None else head
        frame = head + command + bytes([lib.cr_bcc(len(checked), checked)])
        return self.session.exchange_frame(frame, long_wait=long_wait)

    def drain(self) -> None:
        """Drops what still comes of a reply that was late or spoilt."""
        byte = bytearray(1)
        for _ in range(10000):
            if self.session.attempt(lib.receive_data, byte) < 0:
                return

    def fail(self, words: str) -> errors.Error:
        return errors.Error(f"{self.doing}: {words}", word="bad_answer")


@dataclass(frozen=True)
class _Block:
    control: int
    information: bytes

    @property
    def is_information(self) -> bool:
        return not self.control & 0x80

    @property
    def is_receipt(self) -> bool:
        return self.control & ~_NUMBER_OF_RECEIPT in (0x80, 0x81, 0x82)

    @property
    def is_request(self) -> bool:
        return _SET_SIZE <= self.control <= _EXTEND_TIME

    @property
    def number(self) -> bool:
        return bool(self.control & (_NUMBER if self.is_information else _NUMBER_OF_RECEIPT))


def _make(control: int, information: bytes = b"") -> bytes:
    block = bytes([0, control, len(information)]) + information
    return block + bytes([lib.cr_bcc(len(block), block)])


class BlockProtocol:
    """Commands and answers in blocks, which are numbered 0 and 1 in turn, in chains where they are longer
    than a block. A block that is lost or spoilt is asked for again; no command reaches the card twice."""

    def __init__(self, line: Line, card_size: int) -> None:
        self._line = line
        self._card_size = card_size
        self._next = False
        self._expected = False

    def announce_size(self) -> None:
        """Tells the card that it may send as much in a block as a reply of the reader carries."""
        trouble: errors.Error | None = None
        for _ in range(_ATTEMPTS):
            answer, trouble = self._carry(_make(_SET_SIZE, bytes([_MOST_RECEIVED])), False)
            if answer is not None and answer.control == _SET_SIZE | _ANSWER:
                return
        if trouble is not None and trouble.code is not None:
            raise trouble

    def transmit(self, command: bytes) -> bytes:
        """Brings a command and returns the answer."""
        size = min(self._card_size, _MOST_SENT)
        rest = command
        while True:
            part, rest = rest[:size], rest[size:]
            block = self._converse((_NUMBER if self._next else 0) | (_MORE if rest else 0), part)
            self._next = not self._next
            if not rest:
                break
            size = min(self._card_size, _MOST_SENT)
        answer = b""
        while True:
            self._expected = not self._expected
            answer += block.information
            if len(answer) > _LONGEST_ANSWER:
                raise self._line.fail(f"the answer does not end after {_LONGEST_ANSWER - 2} bytes")
            if not block.control & _MORE:
                return answer
            block = self._converse(_RECEIPT | (_NUMBER_OF_RECEIPT if self._expected else 0), b"")

    def _carry(self, block: bytes, long_wait: bool) -> tuple[_Block | None, errors.Error | None]:
        """The block that came, or why none did."""
        result, answer = self._line.exchange(block, long_wait=long_wait)
        if result < 0:
            if errors.is_unanswered(result):
                self._line.drain()
            return None, errors.failure(self._line.doing, result)
        if len(answer) < _OVERHEAD or len(answer) < _OVERHEAD + answer[2]:
            return None, self._line.fail("the card sends no whole block of T=1")
        whole = answer[: _OVERHEAD + answer[2]]
        if lib.cr_bcc(len(whole), whole) != 0:
            return None, self._line.fail("the check byte of the card's block is wrong")
        return _Block(answer[1], whole[3:-1]), None

    def _converse(self, control: int, information: bytes) -> _Block:
        """Brings an information block or a receipt and returns what the card answers: a receipt, if the
        block is one of a chain that goes on, and else the next information block."""
        ours = _Block(control, information)
        wants_receipt = ours.is_information and bool(control & _MORE)
        following = _make(control, information)
        long_wait = False
        requests = 0
        failures: list[errors.Error] = []
        while len(failures) < _ATTEMPTS:
            answer, trouble = self._carry(following, long_wait)
            long_wait = False
            if answer is not None and answer.is_request:
                requests += 1
                if requests > _MOST_REQUESTS:
                    raise self._line.fail(f"the card asks for something without end (PCB {answer.control:02X})")
                following = self._respond(answer)
                long_wait = answer.control == _EXTEND_TIME
                continue
            wants_ours = False
            if answer is not None and answer.is_receipt:
                wants_ours = ours.is_information and answer.number == ours.number
                if wants_receipt and not wants_ours:
                    return answer
            elif answer is not None and answer.control & ~(_NUMBER | _MORE) == 0:
                if not wants_receipt and answer.number == self._expected:
                    return answer
            if answer is not None:
                trouble = self._line.fail(f"the card's block is not the one that is due (PCB {answer.control:02X})")
            assert trouble is not None
            failures.append(trouble)
            # Ours once more, or the card's last one.
            following = _make(control, information) if wants_ours else _make(
                _RECEIPT_OF_TROUBLE | (_NUMBER_OF_RECEIPT if self._expected else 0))
        raise failures[0]

    def _respond(self, request: _Block) -> bytes:
        if request.control == _BREAK_OFF:
            raise self._line.fail("the card breaks off")
        if request.control == _SET_SIZE and len(request.information) == 1 and 0 < request.information[0] < 255:
            self._card_size = request.information[0]
        return _make(request.control | _ANSWER, request.information)
