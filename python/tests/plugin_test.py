# SPDX-FileCopyrightText: 2026 The quorra authors
# SPDX-License-Identifier: BSD-2-Clause
"""The fixtures for other people's tests, and the virtual reader behind them."""

from __future__ import annotations

import json
import os
import subprocess
from collections.abc import Callable
from pathlib import Path

import pytest

import quorra
from quorra.pytest_plugin import Fault


def test_a_blank_4442_if_nothing_else_is_said(quorra_card: quorra.Card) -> None:
    assert quorra_card.name == "4442"
    quorra_card.present(b"\xff\xff\xff")


@pytest.mark.quorra_card("4428", code=b"\x12\x34", data={100: b"abc"})
def test_a_card_of_a_kind_with_content(quorra_reader: quorra.VirtualReader, quorra_card: quorra.Card) -> None:
    assert quorra_card.name == "4428"
    assert quorra_card.read(100, 3) == b"abc"
    quorra_card.present(b"\x12\x34")
    quorra_card.write(100, b"xyz")
    assert quorra_reader.card().read(100, 3) == b"xyz"


@pytest.mark.quorra_card("cpu")
def test_a_processor_card(quorra_card: quorra.ProcessorCard) -> None:
    assert quorra_card.transmit(bytes.fromhex("0084000008")).ok


@pytest.mark.quorra_card(None)
def test_an_empty_slot(quorra_reader: quorra.VirtualReader, quorra_new_card: Callable[..., Path]) -> None:
    assert not quorra_reader.card_state().present
    quorra_reader.bench.insert(quorra_new_card("24c02"))
    assert quorra_reader.card().name == "24c02"
    quorra_reader.bench.remove()
    with pytest.raises(quorra.NoCard):
        quorra_reader.card()


def test_faults_by_name(quorra_card: quorra.Card, quorra_fault: Fault, quorra_bench: quorra.Bench) -> None:
    quorra_fault("wrong_check", times=2, on=0x61)
    quorra_fault("late_first_byte", ms=5, on="0x61", every=3)
    assert [fault["kind"] for fault in quorra_bench.state()["faults"]] == ["wrong_check", "late_first_byte"]
    for _ in range(2):
        with pytest.raises(quorra.Unanswered):
            quorra_card.read(0, 1)
    assert quorra_card.read(0, 1) == b"\xa2"
    with pytest.raises(quorra.BenchError, match="fly"):
        quorra_fault("fly")


def test_faults_by_chance(quorra_card: quorra.Card, quorra_fault: Fault, quorra_bench: quorra.Bench) -> None:
    quorra_fault("random", seed=7, wrong_check=1, bit_error=0.0)
    with pytest.raises(quorra.Unanswered):
        quorra_card.read(0, 1)
    quorra_bench.clear_faults()
    quorra_fault("pull_card", clock=3, on=0x61)
    with pytest.raises(quorra.Error):
        quorra_card.read(0, 1)
    assert quorra_bench.state()["injected"] == {"pull_card": 1}
    with pytest.raises(quorra.BenchError, match="probability from 0 to 1"):
        quorra_fault("random", wrong_check=1.5)


def test_a_program_under_test_has_the_reader(quorra_configuration: Path, program: str) -> None:
    told = subprocess.run([program, "info", "--json", "--config", quorra_configuration], capture_output=True,
                          text=True, check=True)
    assert json.loads(told.stdout)["reader"] == "KWSPC-VIRTUAL V1.0"


def test_faults_are_disarmed_and_readers_ended(pytester: pytest.Pytester) -> None:
    pytester.makepyfile("""
        import quorra

        seen = []

        def test_one(quorra_bench, quorra_fault):
            quorra_fault("silence", times=5)
            seen.append(quorra_bench)

        def test_two():
            assert not seen[0].is_running
            assert not seen[0].configuration.exists()
    """)
    pytester.runpytest_subprocess("-p", "quorra.pytest_plugin", "-p", "no:cacheprovider",
                                  "--strict-markers").assert_outcomes(passed=2)


def test_the_marker_is_explained(pytester: pytest.Pytester) -> None:
    pytester.runpytest_subprocess("-p", "quorra.pytest_plugin", "--markers").stdout.fnmatch_lines(
        ["@pytest.mark.quorra_card(kind, *"])
    told = pytester.runpytest_subprocess("-p", "quorra.pytest_plugin", "--fixtures", "-q")
    for fixture in ("quorra_bench", "quorra_card", "quorra_configuration", "quorra_fault", "quorra_new_card",
                    "quorra_reader"):
        told.stdout.fnmatch_lines([f"{fixture} --*"])


# ---- The virtual reader itself

def test_what_was_written_stays_in_the_image(tmp_path: Path) -> None:
    image = quorra.new_card("24c02", tmp_path / "card.toml")
    with quorra.virtual(image) as reader:
        process = reader.bench.process_id
        configuration = reader.configuration
        reader.card().write(0, b"stays")
    assert not configuration.parent.exists()
    with pytest.raises(ProcessLookupError):
        os.kill(process, 0)
    with quorra.virtual(image) as reader:
        assert reader.card().read(0, 5) == b"stays"
        with pytest.raises(quorra.WrongCard):
            reader.card("24c04")
        assert reader.card("24c04", check=False).name == "24c04"


def test_making_cards(tmp_path: Path) -> None:
    image = quorra.new_card("4442", tmp_path / "card.toml", code=b"\x01\x02\x03", memory=bytes(range(256)),
                            data={200: b"\xaa\xbb"}, counter=3)
    with quorra.virtual(image) as reader:
        card = reader.card()
        assert card.read() == bytes(range(200)) + b"\xaa\xbb" + bytes(range(202, 256))
        assert card.attempts_left() == 2
        card.present(b"\x01\x02\x03")
    with pytest.raises(quorra.BenchError, match="card.toml"):
        quorra.new_card("4442", image)
    quorra.new_card("4442", image, force=True)
    with pytest.raises(ValueError, match="no kind of card"):
        quorra.new_card("4443", tmp_path / "other.toml")


def test_a_virtual_reader_that_cannot_start(tmp_path: Path, monkeypatch: pytest.MonkeyPatch) -> None:
    with pytest.raises(quorra.BenchError, match="missing.toml"):
        quorra.virtual(tmp_path / "missing.toml")
    monkeypatch.setenv("QUORRA_SIM", str(tmp_path / "no-program"))
    with pytest.raises(quorra.BenchError, match="cannot be run") as none:
        quorra.virtual()
    assert none.value.word == "no_program"


def test_a_card_is_in_one_reader_at_a_time(tmp_path: Path) -> None:
    image = quorra.new_card("24c02", tmp_path / "card.toml")
    with quorra.virtual(image), pytest.raises(quorra.BenchError, match="in use by another virtual reader"):
        quorra.virtual(image)


def test_a_virtual_reader_that_is_gone() -> None:
    with quorra.virtual() as reader:
        reader.bench.stop()
        with pytest.raises(quorra.BenchError, match="has ended"):
            reader.bench.state()
