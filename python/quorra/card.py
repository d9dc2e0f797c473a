# SPDX-FileCopyrightText: 2026 The quorra authors
# SPDX-License-Identifier: BSD-2-Clause
"""A memory card in a reader."""

from __future__ import annotations

import ctypes
from collections.abc import Callable
from typing import Any

from quorra import errors, lib
from quorra._prototypes import FUNCTIONS
from quorra._session import Session
from quorra.kinds import CodeKind, Kind, Zone

# srd_4418 sends the low byte of every address twice; with protection bits, the card is read right.
_READ_WITH_PROTECTION = "4418"
# These tell a byte and its protection bit; the others have a protection memory of their own.
_PROTECTION_IN_PAIRS = ("4428", "4418")

# What numbers of the library mean one thing here and another elsewhere.
_OPERATION_KINDS = {
    "srd_45d041": "guarded_reading",
    "swr_45d041": "guarded_writing",
    "pwr_4442": "protecting",
    "pwr_4432": "protecting",
    "csc_4406": "presenting",
}

_NOT_PERSONALISED = 0x80


class Card:
    """A memory card of a kind. What its kind cannot do raises `Unsupported`, and nothing is sent.

    Addresses are those of the card, or of a zone where it has zones; they are in bytes, also where the
    library counts in words or in pages."""

    def __init__(self, session: Session, kind: Kind, others: tuple[Kind, ...] = ()) -> None:
        self._session = session
        #: What is known of cards of this kind.
        self.kind = kind
        #: The kinds that would have been read alike, where the kind of the card is a guess.
        self.others = others

    def __repr__(self) -> str:
        return f"<quorra.Card {self.kind.name}>"

    @property
    def name(self) -> str:
        """The name of the kind: "4442"."""
        return self.kind.name

    @property
    def size(self) -> int:
        """The bytes of all zones together."""
        return self.kind.size

    # ---- What cannot be done

    def _unsupported(self, doing: str, what: str, word: str = "unsupported",
                     address: int | None = None) -> errors.Unsupported:
        return errors.Unsupported(f"{doing}: a {self.name} card {what}", word=word, address=address)

    def _zone(self, doing: str, number: int | None) -> Zone:
        if number is not None and not self.kind.has_zones:
            raise self._unsupported(doing, "has no zones", "bad_zone")
        if not 0 <= (number or 0) < len(self.kind.zones):
            raise self._unsupported(doing, f"has the zones 0 to {len(self.kind.zones) - 1}, not {number}",
                                    "bad_zone")
        return self.kind.zones[number or 0]

    def _range(self, doing: str, size: int, address: int, count: int | None) -> int:
        """The count, if so many bytes from the address are within the size."""
        if not 0 <= address < size:
            raise self._unsupported(doing, f"has the addresses 0 to {size - 1} there, not {address}",
                                    "bad_address", address)
        if count is None:
            return size - address
        if not 1 <= count <= size - address:
            raise self._unsupported(doing, f"has {size - address} bytes from address {address} on, not {count}",
                                    "bad_length", address)
        return count

    def _code(self, doing: str, number: int) -> CodeKind:
        if not self.kind.codes:
            raise self._unsupported(doing, "has no code", "no_code")
        if not 0 <= number < len(self.kind.codes):
            last = len(self.kind.codes) - 1
            raise self._unsupported(doing, f"has the codes 0 to {last}, not {number}" if last
                                    else f"has only the code 0, not {number}", "no_code")
        if self.is_personalised():
            raise self._unsupported(doing, "that is personalised has no code any more", "no_code")
        return self.kind.codes[number]

    def _erase_code(self, doing: str, zone: int | None) -> CodeKind:
        code = self._zone(doing, zone).erase_code
        if code is None:
            raise self._unsupported(doing, "has no erase code" + ("" if zone is None else f" for zone {zone}"),
                                    "no_code")
        return code

    def _sized(self, doing: str, code: bytes, kind: CodeKind) -> bytes:
        if len(code) != kind.size:
            raise self._unsupported(doing, f"has a code of {kind.size} bytes there, not {len(code)}", "bad_length")
        return bytes(code)

    # ---- Calls of the library

    def _attempt(self, verb: str, **arguments: Any) -> int:
        """Calls the function `verb`_<kind> with those of the arguments that it has, by name."""
        name = f"{verb}_{self.name}"
        return self._session.attempt(
            getattr(lib, name), *(arguments[parameter] for parameter, _ in FUNCTIONS[name][1][1:]))

    def _operation_kind(self, verb: str) -> str:
        return _OPERATION_KINDS.get(f"{verb}_{self.name}", "ordinary")

    def _run(self, doing: str, verb: str, *, at: int | None = None, **arguments: Any) -> None:
        result = self._attempt(verb, **arguments)
        # psnl_4404 does not negate the reader's STATUS.
        result = -abs(result)
        if result < 0:
            self._session.fail(doing, result, self._operation_kind(verb), address=at)

    def _count(self, doing: str, verb: str, **arguments: Any) -> int:
        kind = FUNCTIONS[f"{verb}_{self.name}"][1][-1][1]
        counter = ctypes.c_int(0) if kind == "int *" else ctypes.c_uint(0)
        self._run(doing, verb, counter=counter, **arguments)
        return int(counter.value)

    def _in_pieces(self, zone: Zone, address: int, count: int, move: Callable[[int, int], None]) -> None:
        """Moves so many bytes with calls of the library between which other threads, and Ctrl-C, have
        their turn."""
        for first in range(address, address + count, zone.piece):
            move(first, min(zone.piece, address + count - first))

    def _place(self, zone: Zone, address: int, count: int) -> dict[str, int]:
        """The arguments for so many bytes at an address."""
        if zone.page > 1:
            return {"page": address // zone.page, "offset": address % zone.page, "count": count}
        return {"zone": zone.number, "address": address // zone.unit, "count": count // zone.unit}

    # ---- Memory

    def read(self, address: int = 0, count: int | None = None, *, zone: int | None = None) -> bytes:
        """Reads bytes, up to the end if no count is given."""
        doing = "reading the card"
        place = self._zone(doing, zone)
        return self._read(doing, place, address, self._range(doing, place.size, address, count))

    def _read(self, doing: str, zone: Zone, address: int, count: int) -> bytes:
        begin, end = self._whole_units(zone, address, count)
        content = bytearray()

        def move(first: int, size: int) -> None:
            if self.name == _READ_WITH_PROTECTION:
                content.extend(self._read_pairs(doing, first, size)[::2])
                return
            buffer = bytearray(size)
            self._run(doing, "srd", at=first, buffer=buffer, **self._place(zone, first, size))
            content.extend(buffer)

        self._in_pieces(zone, begin, end - begin, move)
        return bytes(content[address - begin : address - begin + count])

    def _read_pairs(self, doing: str, address: int, count: int) -> bytes:
        pairs = bytearray(2 * count)
        self._run(doing, "rdwpb", at=address, address=address, count=count, buffer=pairs)
        return bytes(pairs)

    def _whole_units(self, zone: Zone, address: int, count: int) -> tuple[int, int]:
        end = -(-(address + count) // zone.unit) * zone.unit
        return address // zone.unit * zone.unit, end

    def write(self, address: int, data: bytes, *, zone: int | None = None, security: bool = False,
              verify: bool = True) -> None:
        """Writes bytes and, unless `verify` is false, reads them back: `NotWritten` if the card holds
        something else. With `security` a security memory card is written with the function that reaches
        codes and counters as well."""
        doing = "writing the card"
        place = self._zone(doing, zone)
        if security and not place.writes_security:
            raise self._unsupported(doing, "has no security area")
        count = self._range(doing, place.size if security else place.writable, address, len(data))
        begin, end = self._whole_units(place, address, count)
        whole = bytes(data)
        if begin < address:
            whole = self._read(doing, place, begin, address - begin) + whole
        if end > address + count:
            whole += self._read(doing, place, address + count, end - address - count)

        def move(first: int, size: int) -> None:
            piece = whole[first - begin : first - begin + size]
            self._run(doing, "swrSC" if security else "swr", at=first, buffer=piece,
                      **self._place(place, first, size))

        self._in_pieces(place, begin, end - begin, move)
        if verify:
            self._verify(doing, place, address, bytes(data))

    def _verify(self, doing: str, zone: Zone, address: int, wanted: bytes) -> None:
        held = self._read("reading back what was written", zone, address, len(wanted))
        for at, (byte, other) in enumerate(zip(held, wanted)):
            if byte == other:
                continue
            why = "; a 0 cannot become 1 without an erase" if zone.keeps_zeros and other & ~byte else ""
            raise errors.NotWritten(f"{doing}: at {address + at} the card holds {byte:02X}, not {other:02X}{why}",
                                    word="differs", address=address + at)

    def erase(self, address: int = 0, count: int | None = None, *, zone: int | None = None) -> None:
        """Erases all of a card of the 93C series, or bytes of a security memory card."""
        doing = "erasing the card"
        place = self._zone(doing, zone)
        if self.kind.erases_all:
            if address != 0 or count not in (None, place.size):
                raise self._unsupported(doing, "can only be erased as a whole")
            self._run(doing, "eral")
            return
        if not place.erases:
            raise self._unsupported(doing, "has no command that erases")
        count = self._range(doing, place.size, address, count)
        if address in place.no_erase_from:
            raise self._unsupported(doing, f"cannot be erased from address {address} on", "bad_address", address)
        self._run(doing, "ser", at=address, zone=place.number, address=address, count=count)

    # ---- Codes

    def attempts_left(self, number: int = 0) -> int:
        """How many attempts at a code are left."""
        doing = "reading the attempts left"
        if self._code(doing, number).most_left is None:
            raise self._unsupported(doing, f"counts no attempts at code {number}")
        return self._count(doing, "rsct", number=number)

    def present(self, code: bytes, number: int = 0, *, last_attempt: bool = False) -> None:
        """Presents a code: it counts until the card loses its power. Raises `WrongCode`, which costs an
        attempt; `Locked` if there is none; and `LastAttempt`, before anything is sent, if one is left
        and `last_attempt` is false."""
        doing = "presenting the code"
        kind = self._code(doing, number)
        code = self._sized(doing, code, kind)
        before = None
        if kind.most_left is not None:
            before = self._count("reading the attempts left", "rsct", number=number)
            if before == 0:
                raise errors.Locked(f"{doing}: no attempt is left: it is locked for good", word="locked",
                                    attempts_left=0)
            if before == 1 and not last_attempt:
                raise errors.LastAttempt(f"{doing}: one attempt is left: a wrong code locks the card for good",
                                         word="last_attempt", attempts_left=1)
        result = self._attempt("csc", number=number, length=kind.size, code=code)
        if result != 0:
            self._fail_presenting(doing, result, number, before)

    def _fail_presenting(self, doing: str, result: int, number: int, before: int | None) -> None:
        kind = self._operation_kind("csc")
        was_heard = errors.is_status(result, kind) or (result == -129 and kind == "presenting")
        if not was_heard or before is None:
            self._session.fail(doing, result, kind)
        left = self._count("reading the attempts left", "rsct", number=number)
        if before is not None and left < before:
            raise errors.WrongCode(f"{doing}: the code is wrong ({result}); attempts left: {left}", code=result,
                                   word="wrong_code", status=-result if kind == "ordinary" else None,
                                   attempts_left=left)
        self._session.fail(doing, result, kind, attempts_left=left)

    def change_code(self, code: bytes, number: int = 0) -> None:
        """Writes a new code. The present one has to be presented before."""
        doing = "changing the code"
        kind = self._code(doing, number)
        self._run(doing, "wsc", number=number, length=kind.size, code=self._sized(doing, code, kind))

    def read_code(self, number: int = 0) -> bytes:
        """Reads a code, which the card shows only after it was presented."""
        doing = "reading the code"
        kind = self._code(doing, number)
        if f"rsc_{self.name}" not in FUNCTIONS:
            raise self._unsupported(doing, "does not show its code")
        code = bytearray(kind.size)
        self._run(doing, "rsc", number=number, length=kind.size, code=code)
        return bytes(code)

    def present_erase_code(self, code: bytes, *, zone: int | None = None) -> None:
        """Presents the erase code of the card or of a zone."""
        doing = "presenting the erase code"
        kind = self._erase_code(doing, zone)
        self._run(doing, "cesc", zone=zone, number=zone, length=kind.size, code=self._sized(doing, code, kind))

    def change_erase_code(self, code: bytes, *, zone: int | None = None) -> None:
        """Writes a new erase code."""
        doing = "changing the erase code"
        kind = self._erase_code(doing, zone)
        self._run(doing, "wesc", zone=zone, number=zone, length=kind.size, code=self._sized(doing, code, kind))

    def erasures_left(self, *, zone: int | None = None) -> int:
        """How many erasures of the card or of a zone are left."""
        doing = "reading the erasures left"
        if self._erase_code(doing, zone).most_left is None:
            raise self._unsupported(doing, "does not count its erasures there")
        return self._count(doing, "resct", zone=zone, number=zone)

    # ---- Protection, and what is final

    def protection(self, address: int = 0, count: int | None = None) -> list[bool]:
        """Whether each byte is read-only for good."""
        doing = "reading the protection bits"
        count = self._range(doing, self._protectable(doing), address, count)
        if self.name not in _PROTECTION_IN_PAIRS:
            bits = bytearray(4)
            self._run(doing, "prd", length=len(bits), buffer=bits)
            return [bits[at // 8] >> (7 - at % 8) & 1 == 0 for at in range(address, address + count)]
        flags: list[bool] = []

        def move(first: int, size: int) -> None:
            flags.extend(bit == 0 for bit in self._read_pairs(doing, first, size)[1::2])

        self._in_pieces(self.kind.zones[0], address, count, move)
        return flags

    def _protectable(self, doing: str) -> int:
        if not self.kind.protectable:
            raise self._unsupported(doing, "has no bytes that can be protected")
        return self.kind.protectable

    def protect(self, address: int, count: int = 1) -> None:
        """Makes bytes read-only for good, as they are, and reads back that they are protected."""
        doing = "protecting"
        count = self._range(doing, self._protectable(doing), address, count)
        held = self.read(address, count)
        self._run(doing, "pwr", at=address, address=address, count=count, buffer=held)
        for at, is_protected in enumerate(self.protection(address, count), address):
            if not is_protected:
                raise errors.NotWritten(f"{doing}: the byte at {at} is still writable", word="not_protected",
                                        address=at)

    def forbid_writing(self, *, zone: int | None = None) -> None:
        """Clears the flag that lets an application zone be written."""
        self._clear_flag("forbidding to write", "clrpr", zone)

    def forbid_reading(self, *, zone: int | None = None) -> None:
        """Clears the flag that lets an application zone be read without the code."""
        self._clear_flag("forbidding to read", "clrrd", zone)

    def _clear_flag(self, doing: str, verb: str, zone: int | None) -> None:
        if self._zone(doing, zone).flags is None:
            raise self._unsupported(doing, "has no flags there")
        self._run(doing, verb, zone=zone)

    def personalise(self) -> None:
        """Ends the issuer's time. This is final."""
        doing = "personalising"
        if not self.kind.personalises:
            raise self._unsupported(doing, "cannot be personalised")
        self._run(doing, "psnl")

    def imitate_fuse(self, on: bool = True) -> None:
        """Has the card behave as if it were personalised, until it loses its power; or ends that."""
        doing = "imitating the fuse"
        if not self.kind.imitates_fuse:
            raise self._unsupported(doing, "has no fuse to imitate")
        self._run(doing, "fakefus", mode=int(on))

    def is_personalised(self) -> bool:
        """Whether the card is personalised, as far as it tells: only one with a counter of units does."""
        if not self.kind.units:
            return False
        stage = self._read("reading whether the card is personalised", self.kind.zones[0],
                           self.kind.units.start, 1)
        return not stage[0] & _NOT_PERSONALISED

    # ---- Units

    def _expect_units(self, doing: str) -> None:
        if not self.kind.units:
            raise self._unsupported(doing, "counts no units")
        if not self.is_personalised():
            raise self._unsupported(doing, "counts units only after it was personalised")

    def units(self) -> list[int]:
        """How many units each stage of the counter has; one is worth 8 of the stage behind it."""
        doing = "reading the units"
        self._expect_units(doing)
        stages = self._read(doing, self.kind.zones[0], self.kind.units.start, len(self.kind.units))
        return [stage.bit_count() for stage in stages]

    def units_worth(self) -> int:
        """What all units are worth together, in units of the last stage."""
        worth = 0
        for units in self.units():
            worth = 8 * worth + units
        return worth

    def spend_unit(self) -> None:
        """Spends one unit of the last stage. Where it has none, one of a stage before it is spent, and
        the stages behind that are filled."""
        doing = "spending a unit"
        self._expect_units(doing)
        units = self.units()
        spent = max((stage for stage, left in enumerate(units) if left), default=None)
        if spent is None:
            raise errors.Error(f"{doing}: no unit is left", word="no_unit")
        for stage in range(spent, len(units) - 1):
            self.carry(self.kind.units[stage])
        last = self.kind.units[-1]
        held = self._read(doing, self.kind.zones[0], last, 1)[0]
        # The lowest bit that is 1 becomes 0.
        self.write(last, bytes([held & held - 1]))

    def carry(self, address: int) -> None:
        """Spends a unit of the stage at this address, and fills the stage behind it with 8."""
        doing = "carrying a unit"
        self._expect_units(doing)
        if address not in self.kind.units[:-1]:
            raise self._unsupported(doing, f"cannot carry at address {address}", "bad_address", address)
        self._run(doing, "eswc", at=address, address=address)

    def probe(self) -> bool:
        """Whether the library takes the card for one of its kind. The probes of the 24C and 93C series
        write to the card, and put back what was there; other bytes may stay changed on a card of another
        kind."""
        result = self._attempt("chk")
        if result == -133:
            return False
        if result < 0:
            self._session.fail("probing", result, "probing")
        return True
