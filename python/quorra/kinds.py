# SPDX-FileCopyrightText: 2026 The quorra authors
# SPDX-License-Identifier: BSD-2-Clause
"""The kinds of memory cards, as the program quorra tells them."""

from __future__ import annotations

import json
from collections.abc import Mapping
from dataclasses import dataclass
from importlib import resources
from types import MappingProxyType
from typing import Any

from quorra._prototypes import FUNCTIONS


@dataclass(frozen=True)
class CodeKind:
    """A code that a kind of card has."""

    #: In bytes.
    size: int
    #: The attempts, or at an erase code the erasures, that a new card has; None if it counts none.
    most_left: int | None
    #: Whether the library can read it, once it was presented.
    readable: bool
    #: Whether a bit of it that is 0 cannot become 1 again.
    keeps_zeros: bool


@dataclass(frozen=True)
class Zone:
    """Bytes with addresses of their own: those of a card, or of one of its zones."""

    number: int
    #: All sizes are in bytes.
    size: int
    #: How many bytes, from address 0, a plain write reaches.
    writable: int
    #: What addresses and counts of the library are multiples of.
    unit: int
    #: The bytes of a page where the library counts in pages, else 1.
    page: int
    #: The most that one call of the library should move.
    piece: int
    #: Whether writing turns bits from 1 to 0 only.
    keeps_zeros: bool
    #: Whether bytes can be erased.
    erases: bool
    #: Whether there is a write that also reaches codes and counters.
    writes_security: bool
    #: Addresses where an erase cannot begin.
    no_erase_from: range
    erase_code: CodeKind | None
    #: The address of the byte with the flags for writing and reading.
    flags: int | None


@dataclass(frozen=True)
class Kind:
    """A kind of memory card."""

    name: str
    #: The bytes of all zones together.
    size: int
    has_zones: bool
    #: By number; a card without zones has the one zone 0.
    zones: tuple[Zone, ...]
    #: By number.
    codes: tuple[CodeKind, ...]
    #: How many bytes, from address 0, can be made read-only for good.
    protectable: int
    #: Another kind that passes the same probe.
    twin: str | None
    #: Whether there is a command that erases all of the card.
    erases_all: bool
    personalises: bool
    imitates_fuse: bool
    #: The addresses of the stages of its counter of units.
    units: range
    #: The library's functions for this kind: "srd_4442", "swr_4442", ...
    functions: tuple[str, ...]

    def __str__(self) -> str:
        return self.name


def _code(told: dict[str, Any]) -> CodeKind:
    return CodeKind(told["size"], told.get("most_left"), told["readable"], told["keeps_zeros"])


def _zone(told: dict[str, Any]) -> Zone:
    refused = told.get("no_erase_from", {"address": 0, "count": 0})
    return Zone(
        number=told["zone"], size=told["size"], writable=told["writable"], unit=told["unit"],
        page=told["page"], piece=told["piece"], keeps_zeros=told["keeps_zeros"], erases=told["erases"],
        writes_security=told["writes_security"],
        no_erase_from=range(refused["address"], refused["address"] + refused["count"]),
        erase_code=_code(told["erase_code"]) if "erase_code" in told else None,
        flags=told.get("flags"))


def _kind(told: dict[str, Any]) -> Kind:
    name = told["card"]
    units = told.get("units", {"first_stage": 0, "stages": 0})
    return Kind(
        name=name, size=told["size"], has_zones=told["has_zones"],
        zones=tuple(map(_zone, told["zones"])), codes=tuple(map(_code, told["codes"])),
        protectable=told["protectable"], twin=told.get("twin"), erases_all=told["erases_all"],
        personalises=told["personalises"], imitates_fuse=told["imitates_fuse"],
        units=range(units["first_stage"], units["first_stage"] + units["stages"]),
        functions=tuple(function for function in FUNCTIONS if function.endswith("_" + name)))


def _read() -> Mapping[str, Kind]:
    text = resources.files("quorra").joinpath("kinds.json").read_text(encoding="utf-8")
    return MappingProxyType({told["card"]: _kind(told) for told in json.loads(text)})


#: All of them, by name.
KINDS: Mapping[str, Kind] = _read()


def kind_named(name: str | Kind) -> Kind:
    """The kind of this name. Raises ValueError if there is none."""
    if isinstance(name, Kind):
        return name
    try:
        return KINDS[name.lower()]
    except KeyError:
        raise ValueError(f"{name!r} is no kind of card; there are {', '.join(KINDS)}") from None
