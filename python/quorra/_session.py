# SPDX-FileCopyrightText: 2026 The quorra authors
# SPDX-License-Identifier: BSD-2-Clause
"""An open session: calls of the library with its handle, one at a time, and their failures."""

from __future__ import annotations

import ctypes
import errno
import fcntl
import os
import termios
import threading
from pathlib import Path
from typing import Any

from quorra import _holders, errors, lib

CONFIGURATION_VARIABLE = "QUORRA_CONFIG"
_LONGEST_REPLY = 260
_OPENING = "opening the session"
# Asks whether a terminal is kept for those who have it open.
_TIOCGEXCL = getattr(termios, "TIOCGEXCL", 0x80045440)

# The library has one state for the process: one call has to be over before the next begins.
_one_call = threading.RLock()


def _renew_lock() -> None:
    """In a child of fork(): the thread that had the lock is not there."""
    global _one_call
    _one_call = threading.RLock()


os.register_at_fork(after_in_child=_renew_lock)


def find_configuration() -> Path:
    """The reader's configuration file where nobody has named one, as the program quorra finds it."""
    if named := os.environ.get(CONFIGURATION_VARIABLE):
        return Path(named)
    own = os.environ.get("XDG_CONFIG_HOME", "")
    folder = Path(own) if own.startswith("/") else Path.home() / ".config"
    places = [folder / "quorra" / "reader.conf", Path("/etc/quorra/reader.conf")]
    for place in places:
        if place.exists():
            return place
    raise errors.NoReader(
        f"{_OPENING}: no configuration file is named, and neither {places[0]} nor {places[1]} is there",
        word="no_configuration")


def _device_in(configuration: Path) -> str | None:
    """The serial device that a configuration file names; None for the reader at a serial terminal. The
    library takes the last character of a line for its line end, whatever it is."""
    try:
        text = configuration.read_bytes()
    except OSError as error:
        raise errors.NoReader(f"{_OPENING}: {configuration}: {error.strerror}", code=-1,
                              word="no_configuration") from None
    for line in text.splitlines(keepends=True):
        if line.startswith(b"P"):
            return os.fsdecode(line.partition(b"=")[2][:-1].replace(b" ", b"").replace(b"\r", b""))
    return None


def _is_kept(descriptor: int) -> bool:
    answer = bytearray(4)
    try:
        fcntl.ioctl(descriptor, _TIOCGEXCL, answer)
    except OSError:
        return False
    return any(answer)


def _kept(path: str, trouble: str) -> errors.InUse:
    """The error for a device that some program has asked to have alone."""
    holders = _holders.of_device(path)
    opened = "; opened by " + ", ".join(name for name, _ in holders) if holders else ""
    return errors.InUse(f"{_OPENING}: {path} {trouble}: another program keeps it for itself{opened}",
                        word="in_use", process=holders[0][1] if len(holders) == 1 else None)


class _Device:
    """A serial device that is this program's alone: it is locked as the program quorra locks it."""

    def __init__(self, path: str) -> None:
        try:
            self._descriptor = os.open(path, os.O_RDWR | os.O_NOCTTY | os.O_NONBLOCK)
        except OSError as error:
            if error.errno == errno.EBUSY:
                raise _kept(path, f"cannot be opened: {error.strerror}") from None
            raise errors.NoReader(f"{_OPENING}: {path} cannot be opened: {error.strerror}", code=-16,
                                  word="no_device") from None
        self._settings: list[Any] | None = None
        try:
            self._take(path)
        except BaseException:
            self.release()
            raise

    def _take(self, path: str) -> None:
        if not os.isatty(self._descriptor):
            raise errors.NoReader(f"{_OPENING}: {path} is no terminal device", word="no_device")
        # The system lets the administrator open what another program keeps for itself.
        if _is_kept(self._descriptor):
            raise _kept(path, "is in use")
        try:
            fcntl.flock(self._descriptor, fcntl.LOCK_EX | fcntl.LOCK_NB)
        except OSError as error:
            if error.errno != errno.EWOULDBLOCK:
                raise
            holder, process = _holders.of_lock(self._descriptor)
            raise errors.InUse(f"{_OPENING}: {path} is in use by {holder}", word="in_use",
                               process=process) from None
        # Without a carrier, the library would wait for one when it opens the line.
        settings = termios.tcgetattr(self._descriptor)
        if not settings[2] & termios.CLOCAL:
            self._settings = settings
            changed = [*settings]
            changed[2] |= termios.CLOCAL
            termios.tcsetattr(self._descriptor, termios.TCSANOW, changed)

    def release(self) -> None:
        if self._descriptor < 0:
            return
        try:
            if self._settings is not None:
                termios.tcsetattr(self._descriptor, termios.TCSANOW, self._settings)
        except termios.error:
            pass  # The line is gone.
        self.forget()

    def forget(self) -> None:
        """Closes the descriptor and changes nothing else: a lock goes with its last descriptor."""
        os.close(self._descriptor)
        self._descriptor = -1


class Session:
    """A session with the reader that a configuration file names."""

    def __init__(self, configuration: Path, speed: int) -> None:
        self.configuration = configuration
        self.speed = speed
        # Below 0 while the line is lost, too.
        self._handle = -1
        self._is_closed = False
        self._device: _Device | None = None
        self._process = os.getpid()
        self._is_disturbed = False
        self._is_virtual: bool | None = None
        self._open()

    def _open(self) -> None:
        with _one_call:
            path = _device_in(self.configuration)
            self._device = _Device(path) if path is not None else None
            # A shorter name would keep the tail of a longer one of an earlier session.
            ctypes.memset(lib.DRVCOMM, 0, ctypes.sizeof(lib.DRVCOMM))
            handle = lib.ic_init(self.configuration, self.speed)
            if handle < 0:
                self._release_device()
                words = f" ({self.configuration})" if handle == -1 else ""
                raise errors.failure(_OPENING + words, handle, "opening")
            self._handle = handle
            self._is_disturbed = False

    def _release_device(self) -> None:
        if self._device is not None:
            self._device.release()
            self._device = None

    @property
    def handle(self) -> int:
        """The handle, for functions of `quorra.lib`."""
        with _one_call:
            self._expect_open()
            return self._handle

    @property
    def is_closed(self) -> bool:
        return self._is_closed

    def close(self) -> None:
        """Ends the session. In a child of fork() it only closes the child's descriptors: the session is
        the parent's."""
        self._is_closed = True
        self._end()

    def _end(self) -> None:
        if self._handle < 0:
            return
        handle, self._handle = self._handle, -1
        if self._process != os.getpid():
            os.close(handle)
            if self._device is not None:
                self._device.forget()
                self._device = None
            return
        with _one_call:
            lib.ic_exit(handle)
            self._release_device()

    def take_over(self) -> None:
        """After fork(): makes the session this process's own. The other process must not use it any
        more."""
        self._process = os.getpid()

    def reopen(self) -> None:
        """Closes the session and opens it again. Where that fails, the next operation tries it, too."""
        with _one_call:
            self._expect_own()
            self._end()
            self._open()

    def _expect_own(self) -> None:
        if self._is_closed:
            raise errors.Closed("the session is closed", word="closed")
        if self._process != os.getpid():
            raise errors.Closed(f"the session belongs to process {self._process}; take_over() makes it "
                                "this one's", word="another_process")

    def _expect_open(self) -> None:
        self._expect_own()
        if self._is_disturbed or self._handle < 0:
            self.reopen()

    def attempt(self, function: Any, *arguments: Any) -> int:
        """What a function of `quorra.lib` returns for the handle and these arguments. After a lost or
        spoilt reply the session is opened anew first."""
        with _one_call:
            self._expect_open()
            result: int = function(self._handle, *arguments)
            return result

    def note(self, result: int) -> None:
        """Remembers that the line has to be emptied when this was the result of an exchange."""
        if errors.is_unanswered(result) or result == -129:
            self._is_disturbed = True

    def run(self, doing: str, function: Any, *arguments: Any, kind: str = "ordinary", **particulars: Any) -> int:
        """The same. Raises the error that the result stands for."""
        result = self.attempt(function, *arguments)
        if result < 0:
            self.fail(doing, result, kind, **particulars)
        return result

    def fail(self, doing: str, result: int, kind: str = "ordinary", **particulars: Any) -> None:
        """Raises the error that a result stands for."""
        word = errors.word_for(result, kind)
        if word not in ("another_card", "not_read_back", "not_protected"):
            self.note(result)
        virtual = errors.is_status(result, kind) and self.is_virtual()
        raise errors.failure(doing, result, kind, virtual=virtual, **particulars)

    def is_virtual(self) -> bool:
        """Whether the reader says that it is a virtual one."""
        if self._is_virtual is None:
            version = bytearray(18)
            result = self.attempt(lib.srd_ver, len(version), version)
            self.note(result)
            if result < 0:
                return False
            self._is_virtual = version.startswith(b"KWSPC-VIRTUAL")
        return self._is_virtual

    def exchange_frame(self, frame: bytes, *, long_wait: bool = False) -> tuple[int, bytes]:
        """Sends a whole request and returns the result, 0 or negative, and the data of the reply."""
        receive = lib.receive_com0 if long_wait else lib.receive_com
        reply = (ctypes.c_ubyte * _LONGEST_REPLY)()
        with _one_call:
            result = self.attempt(lib.send_com, len(frame), frame)
            if result == 0:
                result = receive(self._handle, reply)
        if result < 0:
            return result, b""
        return -reply[1], bytes(reply[4 : 4 + reply[3]])

    def exchange(self, doing: str, command: int, body: bytes) -> bytes:
        """Sends a command of its own to the reader and returns the data of the reply."""
        frame = bytes([0xAA, command, 0, len(body)]) + body
        result, data = self.exchange_frame(frame + bytes([lib.cr_bcc(len(frame), frame)]))
        if result < 0:
            self.fail(doing, result)
        return data
