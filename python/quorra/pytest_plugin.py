# SPDX-FileCopyrightText: 2026 The quorra authors
# SPDX-License-Identifier: BSD-2-Clause
"""Fixtures for pytest: a virtual reader, a card of some kind in it, and faults by their names.

    @pytest.mark.quorra_card("4442", code=bytes.fromhex("123456"))
    def test_my_program(quorra_configuration, quorra_fault):
        quorra_fault("wrong_check", on=0x61)
        assert my_program.main(["--config", str(quorra_configuration)]) == 1
"""

from __future__ import annotations

from collections.abc import Callable, Iterator
from pathlib import Path
from typing import Any, Protocol

import pytest

from quorra.bench import Bench, VirtualReader, new_card
from quorra.card import Card
from quorra.processor import ProcessorCard

_MARKER = "quorra_card"
_DEFAULT_KIND = "4442"


def pytest_configure(config: pytest.Config) -> None:
    config.addinivalue_line(
        "markers", f"{_MARKER}(kind, **content): the card in the virtual reader of the fixtures quorra_bench, "
        "quorra_reader and quorra_card: its kind, or None for an empty slot, and what quorra.new_card takes")


class Fault(Protocol):
    """Arms a fault by its name."""

    def __call__(self, kind: str, *, times: int | None = None, every: int | None = None,
                 on: int | str | None = None, **parameter: float) -> None: ...


@pytest.fixture
def quorra_new_card(tmp_path: Path) -> Callable[..., Path]:
    """Makes card images in the folder of the test: quorra_new_card(kind, **content)."""
    made: list[Path] = []

    def make(kind: str, **content: Any) -> Path:
        made.append(new_card(kind, tmp_path / f"card-{len(made)}.toml", **content))
        return made[-1]

    return make


@pytest.fixture
def quorra_bench(request: pytest.FixtureRequest, quorra_new_card: Callable[..., Path]) -> Iterator[Bench]:
    """A virtual reader with the card of the marker quorra_card in it, a blank 4442 without one. Nobody has
    opened a session with it: that is for the program under test."""
    marker = request.node.get_closest_marker(_MARKER)
    kind = marker.args[0] if marker is not None and marker.args else _DEFAULT_KIND
    content = marker.kwargs if marker is not None else {}
    image = None if kind is None else quorra_new_card(kind, **content)
    with Bench(image) as bench:
        yield bench


@pytest.fixture
def quorra_configuration(quorra_bench: Bench) -> Path:
    """The configuration file that leads to the virtual reader."""
    return quorra_bench.configuration


@pytest.fixture
def quorra_reader(quorra_bench: Bench) -> Iterator[VirtualReader]:
    """An open session with the virtual reader."""
    with VirtualReader(quorra_bench) as reader:
        yield reader


@pytest.fixture
def quorra_card(quorra_reader: VirtualReader) -> Card | ProcessorCard:
    """The card in the virtual reader: a memory card or, of the kind "cpu", a processor card."""
    held = quorra_reader.bench.state()["card"]
    if held is None:
        pytest.fail("the slot of the virtual reader is empty")
    return quorra_reader.processor_card() if held["kind"] == "cpu" else quorra_reader.card()


@pytest.fixture
def quorra_fault(quorra_bench: Bench) -> Iterator[Fault]:
    """Arms faults of the virtual reader, which are disarmed when the test ends:
    quorra_fault("silence", times=2, on=0x61)."""
    yield quorra_bench.fault
    if quorra_bench.is_running:
        quorra_bench.clear_faults()
