# SPDX-FileCopyrightText: 2026 The quorra authors
# SPDX-License-Identifier: BSD-2-Clause
"""Processor cards and SAMs in the virtual reader."""

from __future__ import annotations

from collections.abc import Callable, Iterator
from pathlib import Path

import pytest

import quorra
from quorra._blocks import Line
from quorra.processor import _read_offer

NEW = bytes.fromhex("3B860151554F5252418D")  # T=1
T0 = bytes.fromhex("3B0651554F525241")
SELECT_MF = bytes.fromhex("00A40000023F00")


def lrc(data: bytes) -> bytes:
    check = 0
    for byte in data:
        check ^= byte
    return bytes([check])


def atr_of_t1(block_size: int) -> bytes:
    """TD1 names T=1, TD2 again, and TA3 is the size of its blocks."""
    inside = bytes([0x80, 0x81, 0x11, block_size])
    return b"\x3b" + inside + lrc(inside)


@pytest.fixture(params=["T=0", "T=1", "T=1 with small blocks"])
def card(request: pytest.FixtureRequest, quorra_new_card: Callable[..., Path]) -> Iterator[quorra.ProcessorCard]:
    atr = {"T=0": T0, "T=1": atr_of_t1(254), "T=1 with small blocks": atr_of_t1(7)}[request.param]
    with quorra.virtual(quorra_new_card("cpu", atr=atr)) as reader:
        yield reader.processor_card()


@pytest.mark.parametrize("answer, protocol, size", [
    ("3B00", 0, 32),
    ("3F00", 0, 32),
    ("3B0651554F525241", 0, 32),
    ("3B860151554F5252418D", 1, 32),
    ("3B808111FE", 1, 0xFE),  # TD1 names T=1, TD2 too, TA3 is the size
    ("3B80811100", 1, 32),  # a size that there is not
    ("3B808031FEA0", 0, 32),  # T=0 first, then T=1
    ("3B80900100", 1, 32),  # TA2 says T=1 whatever TD1 names
    ("3B9500800151554F5252", 0, 32),  # TA1, and T=0
])
def test_the_offer_of_an_answer_to_reset(answer: str, protocol: int, size: int) -> None:
    offer = _read_offer(bytes.fromhex(answer))
    assert offer is not None
    assert offer.protocol == protocol
    assert protocol == 0 or offer.block_size == size


@pytest.mark.parametrize("answer", ["", "3B", "3C00", "3B80", "3BF0112233", "3B8080"])
def test_what_is_no_answer_to_reset(answer: str) -> None:
    assert _read_offer(bytes.fromhex(answer)) is None


def test_commands_and_answers(card: quorra.ProcessorCard) -> None:
    answer = card.transmit(SELECT_MF)
    assert answer.ok and (answer.sw1, answer.sw2) == (0x90, 0x00)
    assert answer.data[:1] == b"\x6f"
    assert str(answer).endswith(" 9000")
    assert card.transmit(bytes.fromhex("0084000008")).ok
    challenge = card.transmit(bytes.fromhex("0084000008"))
    assert len(challenge.data) == 8
    unknown = card.transmit(bytes.fromhex("00FE000000"))
    assert not unknown.ok and unknown.data == b"" and unknown.sw1 == 0x6D
    with pytest.raises(quorra.Unsupported):
        card.transmit(b"\x00\xa4\x00")


def test_writing_and_reading_a_file(card: quorra.ProcessorCard) -> None:
    assert card.transmit(bytes.fromhex("00A40000020001")).ok
    data = bytes(range(200))
    assert card.transmit(bytes([0x00, 0xD6, 0x00, 0x00, len(data)]) + data).ok
    read = card.transmit(bytes([0x00, 0xB0, 0x00, 0x00, len(data)]))
    assert read.ok and read.data == data


def test_a_spoilt_reply_does_not_repeat_a_command(quorra_new_card: Callable[..., Path]) -> None:
    with quorra.virtual(quorra_new_card("cpu", atr=T0)) as reader:
        card = reader.processor_card()
        assert card.reset() == T0
        reader.bench.fault("wrong_check", on=0x21)
        before = reader.bench.state()["exchanges"]
        with pytest.raises(quorra.Unanswered):
            card.transmit(SELECT_MF)
        assert reader.bench.state()["exchanges"] == before + 1
        assert card.transmit(SELECT_MF).ok


def test_blocks_are_asked_for_again(quorra_new_card: Callable[..., Path]) -> None:
    with quorra.virtual(quorra_new_card("cpu", atr=atr_of_t1(16))) as reader:
        card = reader.processor_card()
        card.reset()
        reader.bench.fault("status", status=5, on=0x21)
        assert card.transmit(SELECT_MF).ok
        reader.bench.fault("status", status=5, on=0x21, times=3)
        with pytest.raises(quorra.Refused):
            card.transmit(SELECT_MF)


class Sent:
    """In place of a session: keeps the frame."""

    frame = b""

    def exchange_frame(self, frame: bytes, *, long_wait: bool = False) -> tuple[int, bytes]:
        self.frame = frame
        return 0, b""


@pytest.mark.parametrize("sam, frame", [
    (None, "AA 21 80 07 20 00 00 00 00 12 34 0A"),
    # The check byte of a frame to a SAM leaves out the bytes for it.
    (3, "AA 21 80 07 21 00 00 00 00 12 34 2D"),
])
def test_frames_for_cards_and_for_sams(sam: int | None, frame: str) -> None:
    sent = Sent()
    Line(sent, "sending", sam).exchange(b"\x12\x34")  # type: ignore[arg-type]
    assert sent.frame.hex(" ").upper() == frame


def test_sams_are_cards(quorra_new_card: Callable[..., Path]) -> None:
    sams = {0: quorra_new_card("cpu", key=b"\x01" * 8), 5: quorra_new_card("cpu", atr=atr_of_t1(32), key=b"\x02" * 8)}
    with quorra.virtual(sams=sams) as reader:
        first, second = reader.sam(0), reader.sam(5)
        assert (first.sam, second.sam, reader.processor_card().sam) == (0, 5, None)
        assert first.reset() == NEW
        assert second.reset() == atr_of_t1(32)
        # Each is selected again before it is spoken with.
        challenge = bytes(range(8))
        authenticate = bytes.fromhex("0088000008") + challenge
        for _ in range(2):
            assert first.transmit(authenticate).data == quorra.des.encrypt(b"\x01" * 8, challenge)
            assert second.transmit(authenticate).data == quorra.des.encrypt(b"\x02" * 8, challenge)
        reader.power_sams(False)
        with pytest.raises(quorra.Refused):
            first.transmit(SELECT_MF)
        with pytest.raises(quorra.NoCard):
            reader.sam(3).reset()
        with pytest.raises(quorra.Unsupported):
            reader.sam(-1)


def test_there_is_no_processor_card(quorra_new_card: Callable[..., Path]) -> None:
    with quorra.virtual(quorra_new_card("4442")) as reader:
        with pytest.raises(quorra.Refused):
            reader.processor_card().reset()
