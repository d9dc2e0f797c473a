# SPDX-FileCopyrightText: 2026 The quorra authors
# SPDX-License-Identifier: BSD-2-Clause
"""Recognising cards by reading: the program quorra has to come to the same."""

from __future__ import annotations

import json
import random
import re
import subprocess
from collections.abc import Callable, Iterator
from pathlib import Path

import pytest

import quorra
from quorra import KINDS


@pytest.fixture
def bench() -> Iterator[quorra.Bench]:
    with quorra.Bench() as bench:
        yield bench


def content(kind: quorra.Kind) -> bytes:
    """Bytes of which no two parts are alike, behind those that are fixed."""
    size = 1021 if kind.name == "4428" else kind.size
    fixed = {"4442": "A2131091FFFF8115", "4432": "A2131091FFFF8115", "4428": "92231091", "4418": "92231091",
             "4404": "8124", "4406": "9820", "101": "0F0F", "102": "0F0F", "1604": "313A", "1604b": "7255"}
    first = bytes.fromhex(fixed.get(kind.name, ""))
    return first + random.Random(kind.name).randbytes(size - len(first))


def told_by(program: str, bench: quorra.Bench) -> tuple[str, str]:
    """The kind, and all that are possible, that the program names."""
    done = subprocess.run([program, "--json", "detect", "--config", bench.configuration], capture_output=True,
                          text=True, check=False)
    told = json.loads(done.stdout)
    return told.get("card", ""), told.get("names", told.get("card", ""))


@pytest.mark.parametrize("written", ["blank", "zeros", "random"])
@pytest.mark.parametrize("name", [name for name in KINDS if name != "45d041"])
def test_the_program_comes_to_the_same(name: str, written: str, program: str, bench: quorra.Bench,
                                       quorra_new_card: Callable[..., Path]) -> None:
    contents = {"blank": None, "zeros": bytes(len(content(KINDS[name]))), "random": content(KINDS[name])}
    image = quorra_new_card(name, memory=contents[written])
    before = image.read_bytes()
    bench.insert(image)
    with quorra.open(bench.configuration) as reader:
        found = reader.recognise()
        assert not reader.card_state().powered
    card, names = told_by(program, bench)
    assert str(found.kind or "") == card
    assert set(re.findall(r"[\w]+", str(found))) - {"or"} == set(re.findall(r"[\w]+", names)) - {"or"}
    # A card whose identification is gone cannot be told.
    if written != "zeros":
        assert name in [kind.name for kind in (found.kind, *found.others) if kind is not None]
    if written == "random" and name not in ("4432", "4428", "101", "24c01a", "24c02", "24c04", "24c08", "24c32", "93c46a",
                                     "93c46", "93c57"):
        assert found.kind is KINDS[name] and not found.others
    assert image.read_bytes() == before


def test_a_45d041_and_an_empty_slot(program: str, bench: quorra.Bench,
                                    quorra_new_card: Callable[..., Path]) -> None:
    with quorra.open(bench.configuration) as reader:
        assert reader.recognise() == quorra.Recognition(None)
        bench.insert(quorra_new_card("45d041"))
        assert reader.card().name == "45d041"


def test_a_card_is_taken_for_what_it_shows(bench: quorra.Bench, quorra_new_card: Callable[..., Path]) -> None:
    bench.insert(quorra_new_card("24c16"))
    with quorra.open(bench.configuration) as reader:
        with pytest.warns(quorra.UncertainKind, match="24c01a, 24c02, 24c04, 24c08 or 24c16; it is taken for a 24c01a"):
            guessed = reader.card()
        assert [str(kind) for kind in guessed.others] == ["24c02", "24c04", "24c08", "24c16"]
        card = reader.card("24c16")
        card.write(2000, b"here")
        assert card.read(2000, 4) == b"here"
        with pytest.raises(quorra.WrongCard, match="not a 4442") as wrong:
            reader.card("4442")
        assert wrong.value.word == "wrong_card"
        assert reader.card("4442", check=False).name == "4442"


def test_a_card_that_keeps_its_power_is_not_looked_at_again(bench: quorra.Bench,
                                                            quorra_new_card: Callable[..., Path]) -> None:
    bench.insert(quorra_new_card("4442"))
    with quorra.open(bench.configuration) as reader:
        card = reader.card()
        card.present(b"\xff\xff\xff")
        before = bench.state()["exchanges"]
        reader.card().write(100, b"\x01")
        assert bench.state()["exchanges"] - before < 5
        bench.remove()
        bench.insert(quorra_new_card("4404"))
        assert reader.card().name == "4404"


def test_a_processor_card_is_no_memory_card(bench: quorra.Bench, quorra_new_card: Callable[..., Path]) -> None:
    bench.insert(quorra_new_card("cpu"))
    with quorra.open(bench.configuration) as reader:
        with pytest.raises(quorra.WrongCard, match="processor_card"):
            reader.card()
        assert reader.processor_card().reset()[0] == 0x3B
