# SPDX-FileCopyrightText: 2026 The quorra authors
# SPDX-License-Identifier: BSD-2-Clause
"""Finding out which kind of memory card is in the reader by reading alone: nothing is written, and no
code is presented. The program quorra takes the same steps."""

from __future__ import annotations

import ctypes
from collections.abc import Callable
from dataclasses import dataclass, replace
from typing import TypeVar

from quorra import errors, lib
from quorra._session import Session
from quorra.card import Card
from quorra.kinds import KINDS, Kind

_Found = TypeVar("_Found")

_LOOKING = "looking for a card"
# What a line shows that nobody pulls low.
_IDLE = 0xFF
# A card that does not understand what it is read with sends the same whatever the address is; one that
# does sends, from an address that is further on, the same bytes without the first ones.
_STEP = 4


@dataclass(frozen=True)
class Recognition:
    """The kind of the card, None if it cannot be told, and the others that would have been read alike."""

    kind: Kind | None
    others: tuple[Kind, ...] = ()

    def __str__(self) -> str:
        names = [str(kind) for kind in (self.kind, *self.others) if kind is not None]
        return " or ".join(filter(None, (", ".join(names[:-1]), *names[-1:])))


class _Look:
    """Reads a card as one of some kind. Each look begins without power: a card that is read as another
    kind takes what it sees on its contacts for something."""

    def __init__(self, session: Session) -> None:
        self._session = session

    def read(self, name: str, address: int, count: int) -> bytes | None:
        """The bytes that a card of this kind would have there; None if the reader refuses."""
        kind = KINDS[name]
        # One call: reading zone 0 reaches beyond it only if it begins there.
        zone = replace(kind.zones[0], piece=count + 1)
        return self._ask(lambda: Card(self._session, kind)._read(_LOOKING, zone, address, count))

    def protection(self, name: str, count: int) -> list[bool] | None:
        return self._ask(lambda: Card(self._session, KINDS[name]).protection(0, count))

    def attempts(self, name: str) -> int | None:
        """The attempts at the code. An idle line shows more than there can be."""
        most = KINDS[name].codes[0].most_left or 0
        left = self._ask(lambda: self._counted(name))
        return left if left is not None and left <= most else None

    def _counted(self, name: str) -> int:
        counter = ctypes.c_int(0)
        self._session.run(_LOOKING, getattr(lib, f"rsct_{name}"), counter)
        return counter.value

    def status_of_45d041(self) -> int | None:
        status = ctypes.c_ubyte(_IDLE)
        found = self._ask(lambda: self._session.run(_LOOKING, lib.rdstrg_45d041, status))
        return None if found is None else status.value

    def _ask(self, look: Callable[[], _Found]) -> _Found | None:
        self.switch_off()
        try:
            return look()
        except (errors.Refused, errors.NoCard):
            return None

    def switch_off(self) -> None:
        """A reader may refuse that when there is no card."""
        result = self._session.attempt(lib.turn_off)
        if result < 0 and not errors.is_status(result):
            self._session.fail("switching the card's power off", result)


def _is_read_further_on(look: _Look, name: str, address: int, content: bytes) -> bool:
    rest = look.read(name, address + _STEP, len(content) - _STEP)
    return rest == content[_STEP:]


def _is_read_right(address: int, count: int) -> Callable[[_Look, str], bool]:
    def accepts(look: _Look, name: str) -> bool:
        content = look.read(name, address, count)
        if content is None or content[_STEP:] == content[:-_STEP]:
            return False
        return _is_read_further_on(look, name, address, content)

    return accepts


def _is_read_at_all(look: _Look, name: str) -> bool:
    content = look.read(name, 0, 12)
    return content is not None and _is_read_further_on(look, name, 0, content)


def _has_status_of_45d041(look: _Look, name: str) -> bool:
    status = look.status_of_45d041()
    return status is not None and status & 0x38 == 0x18


def _begins_with(*beginnings: bytes) -> Callable[[_Look, str], bool]:
    def accepts(look: _Look, name: str) -> bool:
        first = look.read(name, 0, 3)
        return first is not None and first.startswith(beginnings)

    return accepts


def _begins_as_4406(look: _Look, name: str) -> bool:
    first = look.read(name, 0, 3)
    return first is not None and (first.startswith(b"\x98\x20") or first[2] == 0x22)


def _has_attempts(look: _Look, name: str) -> bool:
    return bool(look.attempts(name))


def _shows_protection(look: _Look, name: str) -> bool:
    content = look.read(name, 0, 32)
    protection = look.protection(name, 32)
    if content is None or protection is None or len(set(content)) != 1:
        return False
    return (content[0] == _IDLE) in protection


def _has_blocks(look: _Look, name: str) -> bool:
    return look.read(name, KINDS[name].size - 1, 1) is not None and _is_read_at_all(look, name)


def _puts_zero(look: _Look, name: str) -> bool:
    return look.read(name, 0, KINDS[name].zones[0].unit) is not None


def _guess(name: str, *others: str) -> Recognition:
    return Recognition(KINDS[name], tuple(KINDS[other] for other in others))


def _tell_alone(look: _Look, name: str) -> Recognition:
    return _guess(name)


def _tell_4442(look: _Look, name: str) -> Recognition:
    # The 4432 leaves the line idle when it is asked for attempts.
    return _guess("4442") if look.attempts("4442") is not None else _guess("4432", "4442")


def _tell_4428(look: _Look, name: str) -> Recognition:
    # A 4428 shows zeros for its code as long as it was not presented.
    code = look.read(name, 1022, 2)
    return _guess("4418") if code is not None and code != b"\0\0" else _guess("4428", "4418")


def _tell_101(look: _Look, name: str) -> Recognition:
    # A 101 has its data where the 102 has codes, which read as FF, and the other way round.
    hidden = (("102", 86, 6), ("102", 156, 4), ("101", 150, 4), ("101", 172, 6))
    first, count = 13, 165
    content = look.read(name, first, count)
    if content is not None:
        for hides, address, size in hidden:
            if content[address - first : address - first + size] != bytes([_IDLE]) * size:
                return _guess("101" if hides == "102" else "102")
    return _guess("101", "102")


def _tell_size(look: _Look, name: str, sizes: tuple[str, ...]) -> Recognition:
    # A small chip shows the same again at the addresses of a larger one.
    first = look.read(name, 0, 128)
    for larger in range(len(sizes) - 1, 0, -1):
        if look.read(name, KINDS[sizes[larger - 1]].size, 128) != first:
            return _guess(*sizes[larger:])
    return _guess(*sizes)


def _tell_size_of(*sizes: str) -> Callable[[_Look, str], Recognition]:
    return lambda look, name: _tell_size(look, name, sizes)


def _tell_silent_24c(look: _Look, name: str) -> Recognition:
    found = _tell_size(look, name, ("24c32", "24c64"))
    return Recognition(found.kind, (*found.others, KINDS["24c01a"], KINDS["24c02"]))


def _tell_93c(look: _Look, name: str) -> Recognition:
    # Not every reader may look for the zero before the data, so a larger one is possible.
    sizes = ("93c46a", "93c46", "93c57", "93c66")
    return _guess(*sizes[sizes.index(name) :])


# In this order: what one trial accepts, a later one may take for something else.
_TRIALS: tuple[tuple[str, Callable[[_Look, str], bool], Callable[[_Look, str], Recognition]], ...] = (
    ("45d041", _has_status_of_45d041, _tell_alone),
    ("4442", _is_read_right(0, 12), _tell_4442),
    ("4428", _is_read_right(0, 12), _tell_4428),
    ("4404", _begins_with(b"\xb7\xa0\xff", b"\x81\x24"), _tell_alone),
    ("4406", _begins_as_4406, _tell_alone),
    ("102", _begins_with(b"\x0f\x0f"), _tell_101),
    ("1604", _begins_with(b"\x31\x3a"), _tell_alone),
    ("1604b", _begins_with(b"\x72\x55"), _tell_alone),
    ("4442", _has_attempts, _tell_4442),
    ("4442", _shows_protection, _tell_4442),
    ("4428", _is_read_right(1012, 12), _tell_4428),
    ("4418", _shows_protection, _tell_4428),
    ("24c16", _has_blocks, _tell_size_of("24c01a", "24c02", "24c04", "24c08", "24c16")),
    ("24c64", _is_read_right(0, 144), _tell_size_of("24c32", "24c64")),
    ("24c02", _is_read_right(0, 128), _tell_size_of("24c01a", "24c02")),
    ("24c64", _is_read_at_all, _tell_silent_24c),
    ("93c46a", _puts_zero, _tell_93c),
    ("93c46", _puts_zero, _tell_93c),
    ("93c57", _puts_zero, _tell_93c),
    ("93c66", _puts_zero, _tell_93c),
)


def recognise(session: Session) -> Recognition:
    """The kind of the card in the reader. The card's power is off afterwards."""
    look = _Look(session)
    found = Recognition(None)
    for name, accepts, tell in _TRIALS:
        if accepts(look, name):
            found = tell(look, name)
            break
    look.switch_off()
    return found
