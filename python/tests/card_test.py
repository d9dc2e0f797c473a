# SPDX-FileCopyrightText: 2026 The quorra authors
# SPDX-License-Identifier: BSD-2-Clause
"""Memory cards of all kinds in the virtual reader."""

from __future__ import annotations

import random
from collections.abc import Callable, Iterator
from pathlib import Path

import pytest

import quorra
from quorra import KINDS, Card, Kind

FF = b"\xff"
# Codes of a new card are FF everywhere.
NEW_CODE = {name: FF * kind.codes[0].size for name, kind in KINDS.items() if kind.codes}
SECURITY_MEMORIES = [name for name, kind in KINDS.items() if kind.personalises]


@pytest.fixture
def reader() -> Iterator[quorra.VirtualReader]:
    """One reader for all kinds: cards are inserted."""
    with quorra.virtual() as reader:
        yield reader


@pytest.fixture
def insert(reader: quorra.VirtualReader, quorra_new_card: Callable[..., Path]) -> Callable[..., Card]:
    """Puts a new card of a kind into the reader, with its code presented."""

    def put(name: str, present: bool = True, **content: object) -> Card:
        if reader.card_state().present:
            reader.bench.remove()
        reader.bench.insert(quorra_new_card(name, **content))
        card = reader.card()
        if present and card.kind.codes:
            code = content.get("code", NEW_CODE[name])
            assert isinstance(code, bytes)
            card.present(code)
        return card

    return put


def data_range(kind: Kind, zone: int) -> range:
    """Where plain data may be written: behind what the maker and the issuer have written, and the flags."""
    first = {"4442": 32, "4432": 32, "4428": 32, "4418": 32, "4404": 15, "4406": 3, "101": 23}.get(kind.name, 0)
    last = {"4404": 40, "4406": 8, "101": 150}.get(kind.name, kind.zones[zone].writable)
    if kind.has_zones:
        first, last = (13, 20) if zone == 0 else (1, 60)
    return range(first, last)


@pytest.mark.parametrize("name", KINDS)
def test_random_transfers_are_those_of_a_plain_array(name: str, insert: Callable[..., Card]) -> None:
    card = insert(name)
    chance = random.Random(name)
    for zone in (range(len(card.kind.zones)) if card.kind.has_zones else [None]):
        place = card.kind.zones[zone or 0]
        where = data_range(card.kind, zone or 0)
        if name == "45d041":
            where = range(5000, 9000)
        model = bytearray(card.read(where.start, len(where), zone=zone))
        for _ in range(8):
            first = chance.randrange(len(where))
            count = min(chance.choice([1, 2, 3, 15, 145, 300]), len(where) - first)
            data = chance.randbytes(count)
            if place.keeps_zeros:
                data = bytes(new & old for new, old in zip(data, model[first:]))
            card.write(where.start + first, data, zone=zone)
            model[first : first + count] = data
            assert card.read(where.start, len(where), zone=zone) == model
            assert card.read(where.start + first, 1, zone=zone) == data[:1]
        # A new object reads the same.
        assert Card(card._session, card.kind).read(where.start, len(where), zone=zone) == model


@pytest.mark.parametrize("name", KINDS)
def test_bounds_are_those_of_the_kind(name: str, insert: Callable[..., Card],
                                      reader: quorra.VirtualReader) -> None:
    card = insert(name, present=False)
    for zone in (range(len(card.kind.zones)) if card.kind.has_zones else [None]):
        size = card.kind.zones[zone or 0].size
        assert len(card.read(size - 1, zone=zone)) == 1
        before = reader.bench.state()["exchanges"]
        for address, count in ((size, 1), (-1, 1), (0, 0), (0, -1), (0, size + 1), (size - 1, 2)):
            with pytest.raises(quorra.Unsupported) as refused:
                card.read(address, count, zone=zone)
            assert refused.value.word in ("bad_address", "bad_length")
        writable = card.kind.zones[zone or 0].writable
        with pytest.raises(quorra.Unsupported):
            card.write(writable - 1, b"\0\0", zone=zone)
        with pytest.raises(quorra.Unsupported):
            card.write(0, b"", zone=zone)
        assert reader.bench.state()["exchanges"] == before
    wrong = len(card.kind.zones) if card.kind.has_zones else 0
    with pytest.raises(quorra.Unsupported, match="zones") as refused:
        card.read(0, 1, zone=wrong)
    assert refused.value.word == "bad_zone"


def test_half_words_keep_their_other_half(insert: Callable[..., Card]) -> None:
    card = insert("93c46a")
    card.write(0, b"\x01\x02\x03\x04\x05\x06")
    card.write(1, b"\xaa\xbb\xcc")
    assert card.read(0, 6) == b"\x01\xaa\xbb\xcc\x05\x06"
    card.write(3, b"\xdd")
    assert card.read(1, 4) == b"\xaa\xbb\xdd\x05"
    assert card.read(5, 1) == b"\x06"


def test_a_long_address_is_a_page_and_an_offset(insert: Callable[..., Card]) -> None:
    card = insert("45d041")
    card.write(20 * 264 + 260, b"12345678")
    buffer = bytearray(8)
    assert quorra.lib.srd_45d041(card._session.handle, 21, 0, 4, buffer) == 0
    assert bytes(buffer[:4]) == b"5678"


def test_a_write_is_read_back(insert: Callable[..., Card]) -> None:
    card = insert("4442", present=False)
    with pytest.raises(quorra.Refused) as refused:
        card.write(64, b"\x55")
    assert refused.value.word == "status"
    assert refused.value.status is not None and refused.value.code == -refused.value.status
    assert quorra.status_word(refused.value.status) == "not_written"
    assert "protected, or the code is missing" in str(refused.value)
    card = insert("4406")
    card.write(3, b"\x0f")
    with pytest.raises((quorra.NotWritten, quorra.Refused)):
        card.write(3, b"\xff")
    assert card.read(3, 1) == b"\x0f"


def test_reading_back_can_be_left_out(insert: Callable[..., Card], reader: quorra.VirtualReader) -> None:
    card = insert("24c02")

    def frames(**options: bool) -> int:
        before: int = reader.bench.state()["exchanges"]
        card.write(8, b"\x01\x02", **options)
        after: int = reader.bench.state()["exchanges"]
        return after - before

    assert (frames(), frames(verify=True), frames(verify=False)) == (2, 2, 1)


def test_an_erase_cannot_begin_everywhere(insert: Callable[..., Card], reader: quorra.VirtualReader) -> None:
    card = insert("4404")
    before = reader.bench.state()["exchanges"]
    for address in (14, 39):
        with pytest.raises(quorra.Unsupported) as refused:
            card.erase(address, 1)
        assert (refused.value.word, refused.value.address) == ("bad_address", address)
    assert reader.bench.state()["exchanges"] == before
    card.erase(13, 2)
    card.erase(40, 1)


def test_what_is_not_held_is_told(insert: Callable[..., Card]) -> None:
    card = insert("24c02")
    with pytest.raises(quorra.NotWritten, match="at 18 the card holds FF, not 01") as differs:
        card._verify("writing the card", card.kind.zones[0], 16, b"\xff\xff\x01")
    assert (differs.value.word, differs.value.address) == ("differs", 18)


@pytest.mark.parametrize("name", NEW_CODE)
def test_codes(name: str, insert: Callable[..., Card], reader: quorra.VirtualReader) -> None:
    card = insert(name, present=False)
    kind = card.kind.codes[0]
    assert kind.most_left is not None
    wrong, new = b"\x00" * kind.size, b"\x5a" * kind.size
    assert card.attempts_left() == kind.most_left
    with pytest.raises(quorra.WrongCode, match="the code is wrong") as refused:
        card.present(wrong)
    assert refused.value.word == "wrong_code"
    assert refused.value.attempts_left == card.attempts_left() == kind.most_left - 1
    card.present(NEW_CODE[name])
    assert card.attempts_left() == kind.most_left
    card.change_code(new)
    reader.power_off()
    card.present(new)
    if kind.readable:
        assert card.read_code() == new
    with pytest.raises(quorra.Unsupported, match=f"{kind.size} bytes"):
        card.present(new + b"\0")
    with pytest.raises(quorra.Unsupported, match="code"):
        card.present(new, len(card.kind.codes))


def test_the_last_attempt_has_to_be_allowed(insert: Callable[..., Card], reader: quorra.VirtualReader) -> None:
    card = insert("4442", present=False)
    for left in (2, 1):
        with pytest.raises(quorra.WrongCode):
            card.present(b"\0\0\0")
        assert card.attempts_left() == left
    with pytest.raises(quorra.LastAttempt):
        card.present(NEW_CODE["4442"])
    assert card.attempts_left() == 1
    with pytest.raises(quorra.WrongCode) as refused:
        card.present(b"\0\0\0", last_attempt=True)
    assert refused.value.attempts_left == 0
    with pytest.raises(quorra.Locked):
        card.present(NEW_CODE["4442"], last_attempt=True)


@pytest.mark.parametrize("name", ["1604", "1604b"])
def test_each_code_has_its_number(name: str, insert: Callable[..., Card], reader: quorra.VirtualReader) -> None:
    card = insert(name)
    for number in range(1, 5):
        card.change_code(bytes([number, number]), number)
    reader.power_off()
    for number in range(1, 5):
        if card.kind.codes[number].most_left is None:
            with pytest.raises(quorra.Unsupported, match="counts no attempts"):
                card.attempts_left(number)
        else:
            with pytest.raises(quorra.WrongCode):
                card.present(b"\x77\x77", number)
            assert card.attempts_left(number) == 7
        card.present(bytes([number, number]), number)


@pytest.mark.parametrize("name", [name for name in SECURITY_MEMORIES if name != "4406"])
def test_erasing_and_erase_codes(name: str, insert: Callable[..., Card], reader: quorra.VirtualReader) -> None:
    card = insert(name)
    zone = 2 if card.kind.has_zones else None
    place = card.kind.zones[zone or 0]
    assert place.erase_code is not None and place.erase_code.most_left is not None
    assert card.erasures_left(zone=zone) == place.erase_code.most_left
    code = b"\x12" * place.erase_code.size
    card.change_erase_code(code, zone=zone)
    card.present_erase_code(code, zone=zone)
    with pytest.raises(quorra.Refused):
        card.present_erase_code(b"\x13" * place.erase_code.size, zone=zone)
    first = 46 if name == "4404" else 30
    card.write(first - 1, b"\xf0\x0f", zone=zone)
    if name != "4404":
        card.erase(first, 1, zone=zone)
        assert card.read(first - 1, 2, zone=zone) == b"\xf0\xff"
    assert place.flags is not None
    card.forbid_writing(zone=zone)
    assert card.read(place.flags, 1, zone=zone)[0] & 0xC0 == 0x40
    card.forbid_reading(zone=zone)
    assert card.read(place.flags, 1, zone=zone)[0] & 0xC0 == 0x00


@pytest.mark.parametrize("name", ["93c46a", "93c46", "93c57", "93c66"])
def test_erasing_all(name: str, insert: Callable[..., Card]) -> None:
    card = insert(name)
    card.write(0, bytes(card.size))
    with pytest.raises(quorra.Unsupported, match="as a whole"):
        card.erase(0, 1)
    card.erase()
    assert card.read() == FF * card.size


@pytest.mark.parametrize("name", ["4442", "4432", "4428", "4418"])
def test_protecting(name: str, insert: Callable[..., Card]) -> None:
    card = insert(name)
    before = card.protection()
    assert len(before) == card.kind.protectable
    assert not any(before[8:20])
    card.write(10, b"\x01\x02\x03")
    card.protect(10, 2)
    expected = [at in (10, 11) or was for at, was in enumerate(before)]
    assert card.protection() == expected
    assert card.protection(9, 4) == [False, True, True, False]
    with pytest.raises((quorra.NotWritten, quorra.Refused)):
        card.write(10, b"\x55")
    with pytest.raises(quorra.Unsupported):
        card.protect(card.kind.protectable, 1)


@pytest.mark.parametrize("name", SECURITY_MEMORIES)
def test_personalising(name: str, insert: Callable[..., Card], reader: quorra.VirtualReader) -> None:
    code = b"\x12\x34\x56"[: KINDS[name].codes[0].size]
    card = insert(name)
    card.change_code(code)
    if card.kind.imitates_fuse:
        at, zone = 8 if name == "4404" else 10, 0 if card.kind.has_zones else None
        assert card.read(at, 2, zone=zone) == code
        card.imitate_fuse()
        assert card.read(at, 2, zone=zone) == FF * 2
        card.imitate_fuse(False)
        assert card.read(at, 2, zone=zone) == code
    card.personalise()
    held = reader.bench.state()["card"]
    if name == "4406":
        assert card.is_personalised()
        with pytest.raises(quorra.Unsupported, match="no code any more"):
            card.present(code)
    else:
        assert held["fuse"] == 0
        # Codes are shown to the issuer only, whose time is over.
        at = 8 if name == "4404" else 10
        assert card.read(at, 2, zone=0 if card.kind.has_zones else None) == FF * 2


def test_personalising_is_refused_without_the_code(insert: Callable[..., Card]) -> None:
    # This function of the library tells the reader's STATUS without negating it.
    with pytest.raises(quorra.Refused) as refused:
        insert("4404", present=False).personalise()
    assert refused.value.status is not None and refused.value.code == -refused.value.status < 0


def test_units_are_counted_down(insert: Callable[..., Card]) -> None:
    card = insert("4406")
    with pytest.raises(quorra.Unsupported, match="after it was personalised"):
        card.units()
    card.change_code(b"\x01\x00\x03")
    card.write(8, b"\x81")
    card.personalise()
    units = card.units()
    assert units == [1, 8, 1, 0, 2]
    worth = card.units_worth()
    assert worth == ((8 + 8) * 8 + 1) * 64 + 2
    for spent in range(1, 12):
        card.spend_unit()
        assert card.units_worth() == worth - spent
    assert card.units() == [1, 8, 0, 6, 7]


def test_a_counter_without_units(insert: Callable[..., Card]) -> None:
    card = insert("4406")
    card.change_code(b"\x00\x00\x01")
    card.write(9, b"\x00")
    card.write(8, b"\x80")
    card.personalise()
    assert card.units() == [0, 0, 0, 0, 1]
    card.spend_unit()
    assert card.units_worth() == 0
    with pytest.raises(quorra.Error, match="no unit is left") as failed:
        card.spend_unit()
    assert failed.value.word == "no_unit"
    with pytest.raises(quorra.Refused):
        card.carry(8)


@pytest.mark.parametrize("name", KINDS)
def test_what_a_kind_cannot_do_sends_nothing(name: str, insert: Callable[..., Card],
                                             reader: quorra.VirtualReader) -> None:
    card = insert(name, present=False)
    kind = card.kind
    zone = 0 if kind.has_zones else None
    place = kind.zones[0]
    before = reader.bench.state()["exchanges"]
    wrongs: list[Callable[[], object]] = []
    if not kind.codes:
        wrongs += [lambda: card.present(b""), card.attempts_left, card.read_code, lambda: card.change_code(b"")]
    if place.erase_code is None:
        wrongs += [lambda: card.present_erase_code(b"", zone=zone), lambda: card.erasures_left(zone=zone)]
    if place.flags is None:
        wrongs += [lambda: card.forbid_writing(zone=zone), lambda: card.forbid_reading(zone=zone)]
    if not kind.protectable:
        wrongs += [card.protection, lambda: card.protect(0)]
    if not kind.erases_all and not place.erases:
        wrongs += [card.erase]
    if not kind.personalises:
        wrongs += [card.personalise]
    if not kind.imitates_fuse:
        wrongs += [card.imitate_fuse]
    if not kind.units:
        wrongs += [card.units, card.spend_unit, card.units_worth, lambda: card.carry(8)]
    if not place.writes_security:
        wrongs += [lambda: card.write(0, b"\0", zone=zone, security=True)]
    assert wrongs
    for wrong in wrongs:
        with pytest.raises(quorra.Unsupported) as refused:
            wrong()
        assert refused.value.code is None
        assert isinstance(refused.value, ValueError)
    assert reader.bench.state()["exchanges"] == before


@pytest.mark.parametrize("name", KINDS)
def test_probing(name: str, insert: Callable[..., Card]) -> None:
    card = insert(name)
    assert card.probe()
    other = KINDS["1604" if name == "1604b" else "1604b"]
    assert not Card(card._session, other).probe()


def test_security_areas_are_written_only_when_asked(insert: Callable[..., Card]) -> None:
    card = insert("101")
    with pytest.raises(quorra.Refused):
        card.write(150, b"\x12\x34\x56\x78")
    card.write(150, b"\x12\x34\x56\x78", security=True)
    card.present_erase_code(b"\x12\x34\x56\x78")


def test_kinds_are_data() -> None:
    assert list(KINDS)[0] == "4442" and len(KINDS) == 22
    assert KINDS["1604"].size == 2007 and len(KINDS["1604"].zones) == 5
    assert "srd_24c01a" in KINDS["24c01a"].functions and "srd_1604b" not in KINDS["1604"].functions
    assert quorra.kind_named("24C16") is KINDS["24c16"] is quorra.kind_named(KINDS["24c16"])
    with pytest.raises(ValueError, match="there are 4442, 4432"):
        quorra.kind_named("cpu")
    with pytest.raises(TypeError):
        KINDS["x"] = KINDS["4442"]  # type: ignore[index]
