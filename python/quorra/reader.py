# SPDX-FileCopyrightText: 2026 The quorra authors
# SPDX-License-Identifier: BSD-2-Clause
"""The card reader: its own services, and the way to the card in it."""

from __future__ import annotations

import ctypes
import os
import warnings
from dataclasses import dataclass
from pathlib import Path
from types import TracebackType
from typing import TypeVar

from quorra import errors, lib
from quorra._folder import Folder
from quorra._session import Session, find_configuration
from quorra.card import Card
from quorra.kinds import Kind, kind_named
from quorra.processor import ProcessorCard
from quorra.recognition import Recognition, recognise

_ReaderType = TypeVar("_ReaderType", bound="Reader")

_STATE = 0xB9
_RECOGNISING = "recognising the card"
_VERSION_SIZE = 18
_SERIAL_NUMBER_SIZE = 16


class UncertainKind(UserWarning):
    """Reading does not tell which of some kinds a card is; it is taken for the smallest of them."""


@dataclass(frozen=True)
class CardState:
    """What the reader says of its slot."""

    present: bool
    powered: bool


class ReaderMemory:
    """The 384 bytes that the reader has for the application."""

    size = 384

    def __init__(self, session: Session) -> None:
        self._session = session

    def _count(self, address: int, count: int | None) -> int:
        if not 0 <= address < self.size:
            raise errors.Unsupported(f"the reader's memory has the addresses 0 to {self.size - 1}, not {address}",
                                     word="bad_address", address=address)
        most = self.size - address
        if count is None:
            return most
        if not 1 <= count <= most:
            raise errors.Unsupported(f"the reader's memory has {most} bytes from address {address} on, not {count}",
                                     word="bad_length", address=address)
        return count

    def read(self, address: int = 0, count: int | None = None) -> bytes:
        """Reads bytes, up to the end if no count is given."""
        content = bytearray(self._count(address, count))
        self._session.run("reading the reader's memory", lib.srd_eeprom, address, len(content), content,
                          address=address)
        return bytes(content)

    def write(self, address: int, data: bytes, *, verify: bool = True) -> None:
        """Writes bytes and, unless `verify` is false, reads them back."""
        self._count(address, len(data))
        self._session.run("writing the reader's memory", lib.swr_eeprom, address, len(data), bytes(data),
                          address=address)
        if not verify:
            return
        held = self.read(address, len(data))
        for at, (byte, wanted) in enumerate(zip(held, data), address):
            if byte != wanted:
                raise errors.NotWritten(f"writing the reader's memory: at {at} it holds {byte:02X}, not "
                                        f"{wanted:02X}", word="differs", address=at)


class ValueRegister:
    """The number of 32 bits in the reader's own memory."""

    def __init__(self, session: Session) -> None:
        self._session = session

    def get(self) -> int:
        value = ctypes.c_uint(0)
        self._session.run("reading the value", lib.val_read, value)
        return value.value

    def set(self, value: int) -> None:
        """Writes the number and reads it back."""
        self._session.run("setting the value", lib.val_set, self._checked(value), kind="verified")

    def add(self, amount: int) -> int:
        """Adds, modulo 2 to the 32nd, and returns the result."""
        self._session.run("adding to the value", lib.val_inc, self._checked(amount), kind="verified")
        return self.get()

    def subtract(self, amount: int) -> int:
        """Subtracts and returns the result. One of 0x80000000 or more counts as below zero: the word is
        "out_of_range", and nothing is written."""
        self._session.run("subtracting from the value", lib.val_dec, self._checked(amount), kind="subtracting")
        return self.get()

    @staticmethod
    def _checked(value: int) -> int:
        if not 0 <= value <= 0xFFFFFFFF:
            raise errors.Unsupported(f"the value register takes 0 to 4294967295, not {value}", word="out_of_range")
        return value


class ReaderSecurity:
    """The reader's security code of 3 bytes, and the mode in which its settings are changed only after
    the code was presented."""

    def __init__(self, session: Session) -> None:
        self._session = session

    def code(self) -> bytes:
        """Reads the code."""
        code = bytearray(3)
        self._session.run("reading the reader's code", lib.srd_dvsc, len(code), code)
        return bytes(code)

    def set_code(self, code: bytes) -> None:
        """Writes the code and reads it back."""
        self._session.run("setting the reader's code", lib.swr_dvsc, len(code), bytes(code), kind="verified")

    def present(self, code: bytes) -> None:
        """Lets the reader compare the code with its own. A wrong one is `Refused`."""
        self._session.run("presenting the reader's code", lib.cmp_dvsc, len(code), bytes(code))

    def set_mode(self, on: bool) -> None:
        """Switches the security mode on or off, and reads it back."""
        self._session.run("setting the security mode", lib.setsc_md, int(on), kind="verified")


class Reader:
    """An open session with a reader. It closes itself at the end of a `with` statement."""

    def __init__(self, configuration: str | os.PathLike[str], speed: int = 9600) -> None:
        self._session = Session(Path(configuration), speed)
        self._known: Kind | None = None
        self.memory = ReaderMemory(self._session)
        self.value = ValueRegister(self._session)
        self.security = ReaderSecurity(self._session)

    def __enter__(self: _ReaderType) -> _ReaderType:
        return self

    def __exit__(self, kind: type[BaseException] | None, error: BaseException | None,
                 traceback: TracebackType | None) -> None:
        self.close()

    def __del__(self) -> None:
        session = getattr(self, "_session", None)
        if session is not None and not session.is_closed:
            warnings.warn("a reader was not closed", ResourceWarning, stacklevel=2, source=self)
            self.close()

    def __repr__(self) -> str:
        return f"<quorra.{type(self).__name__} {str(self.configuration)!r}{' (closed)' if self.is_closed else ''}>"

    # ---- The session

    @property
    def configuration(self) -> Path:
        """The reader's configuration file."""
        return self._session.configuration

    @property
    def handle(self) -> int:
        """The handle of the session, for functions of `quorra.lib`."""
        return self._session.handle

    @property
    def is_closed(self) -> bool:
        return self._session.is_closed

    def close(self) -> None:
        """Ends the session. In a child of fork() only the child's descriptors are closed: the session is
        the parent's."""
        self._session.close()

    def reopen(self) -> None:
        """Closes the session and opens it again, which empties the line. After a lost or spoilt reply the
        next operation does this itself."""
        self._session.reopen()

    def take_over(self) -> None:
        """After fork(), in the process that goes on with the session: the other one must not use it any
        more."""
        self._session.take_over()

    # ---- The reader

    @property
    def version(self) -> str:
        """The reader's version text."""
        return self._text("reading the version", lib.srd_ver, _VERSION_SIZE)

    @property
    def serial_number(self) -> str:
        """The reader's serial number."""
        return self._text("reading the serial number", lib.srd_snr, _SERIAL_NUMBER_SIZE)

    def _text(self, doing: str, function: object, size: int) -> str:
        text = bytearray(size)
        self._session.run(doing, function, size, text)
        return text.rstrip(b"\0").decode("latin-1")

    def answers(self) -> bool:
        """Whether the reader answers. Up to four attempts are made."""
        result = self._session.attempt(lib.get_status, ctypes.c_int(0))
        self._session.note(result)
        return result == 0

    def card_state(self) -> CardState:
        """Whether a card is in the slot, and whether it has power."""
        data = self._session.exchange("asking for the card", _STATE, bytes([0x80, 0, 0, 0, 0]))
        flags = data[0] if data else 0
        return CardState(present=bool(flags & 1), powered=bool(flags & 2))

    def beep(self, time: int = 2) -> None:
        """Sounds the buzzer for a time in the reader's own unit, 0 to 255."""
        self._session.run("beeping", lib.dv_beep, time)

    def power_on(self) -> None:
        """Switches the card's power on."""
        self._session.run("switching the card's power on", lib.turn_on)

    def power_off(self) -> None:
        """Switches the card's power off: a code that was presented does not count any more."""
        self._known = None
        self._session.run("switching the card's power off", lib.turn_off)

    def eject(self) -> None:
        """Ejects the card."""
        self._known = None
        self._session.run("ejecting the card", lib.auto_pull)

    def set_speed(self, baud: int) -> None:
        """Has the reader change to another speed of the line, and opens the session at that: 9600, 19200
        or 38400."""
        if baud not in (9600, 19200, 38400):
            raise errors.Unsupported(f"changing the speed: {baud} is none of 9600, 19200 and 38400",
                                     word="out_of_range")
        self._session.run("changing the speed", lib.set_baud, baud)
        self._session.speed = baud
        self._session.reopen()

    # ---- Cards

    def recognise(self) -> Recognition:
        """Finds out by reading alone which kind of memory card is in the slot. The card's power is off
        afterwards, so a code that was presented does not count any more."""
        self._known = None
        return recognise(self._session)

    def card(self, kind: str | Kind | None = None, *, check: bool = True) -> Card:
        """The memory card in the slot. Without a kind it is the one that reading tells; where kinds are
        read alike, the smallest that is possible, with the warning `UncertainKind`. With a kind, a card
        that is certainly of another one raises `WrongCard`, unless `check` is false.

        Looking switches the card's power off. A card that was recognised before and has kept its power is
        not looked at again."""
        wanted = None if kind is None else kind_named(kind)
        if wanted is not None and not check:
            self._known = None
            return Card(self._session, wanted)
        state = self.card_state()
        if not state.present:
            raise errors.NoCard(f"{_RECOGNISING}: no card is in the reader", word="no_card")
        if self._known is not None and state.powered and wanted in (None, self._known):
            return Card(self._session, self._known)
        found = self.recognise()
        if found.kind is None:
            self._refuse_processor_card()
        if wanted is None:
            return self._recognised(found)
        if found.kind is not None and wanted not in (found.kind, *found.others):
            raise errors.WrongCard(f"{_RECOGNISING}: this is a {found}, not a {wanted}", word="wrong_card")
        self._known = wanted
        return Card(self._session, wanted)

    def _recognised(self, found: Recognition) -> Card:
        if found.kind is None:
            raise errors.WrongCard(f"{_RECOGNISING}: reading does not tell which kind it is; name it",
                                   word="unknown_card")
        if found.others:
            warnings.warn(f"reading does not tell whether this is a {found}; it is taken for a {found.kind}",
                          UncertainKind, stacklevel=3)
        else:
            self._known = found.kind
        return Card(self._session, found.kind, found.others)

    def _refuse_processor_card(self) -> None:
        try:
            ProcessorCard(self._session).reset()
        except errors.Error:
            return
        raise errors.WrongCard(f"{_RECOGNISING}: this is a processor card: see processor_card()",
                               word="wrong_card")

    def processor_card(self) -> ProcessorCard:
        """The processor card in the slot. It is reset before its first command."""
        self._known = None
        return ProcessorCard(self._session)

    def sam(self, number: int) -> ProcessorCard:
        """The SAM of this number, 0 to 7. It gets its power and is reset before its first command."""
        if not 0 <= number <= 255:
            raise errors.Unsupported(f"a SAM has a number from 0 to 255, not {number}", word="out_of_range")
        return ProcessorCard(self._session, number)

    def power_sams(self, on: bool) -> None:
        """Switches the SAMs' power on or off."""
        self._session.run(f"switching the SAMs' power {'on' if on else 'off'}",
                          lib.sam_power_on if on else lib.sam_power_down)


class _DeviceReader(Reader):
    """A reader at a device, whose configuration file lives as long as it."""

    def __init__(self, device: str, speed: int) -> None:
        if len(os.fsencode(device)) > 56:
            raise errors.NoReader(f"the name {device} is too long for a configuration file: 56 characters fit",
                                  word="bad_length")
        self._folder = Folder()
        file = self._folder.path / "reader.conf"
        file.write_text(f"P={device}\n", encoding="utf-8")
        try:
            super().__init__(file, speed)
        except BaseException:
            self._folder.remove()
            raise

    def close(self) -> None:
        super().close()
        self._folder.remove()


def open_reader(configuration: str | os.PathLike[str] | None = None, *,
                device: str | os.PathLike[str] | None = None, speed: int = 9600) -> Reader:
    """Opens a session with the reader that a configuration file names, or with the one at a serial device.
    Without either, the file is the one that the program quorra would take: QUORRA_CONFIG,
    ~/.config/quorra/reader.conf, or /etc/quorra/reader.conf.

    The device is locked, so that one program at a time has the reader."""
    if device is not None:
        if configuration is not None:
            raise ValueError("a configuration file and a device name two readers")
        return _DeviceReader(os.fspath(device), speed)
    return Reader(find_configuration() if configuration is None else configuration, speed)
