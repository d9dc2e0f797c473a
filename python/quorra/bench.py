# SPDX-FileCopyrightText: 2026 The quorra authors
# SPDX-License-Identifier: BSD-2-Clause
"""The virtual reader: quorra-sim as a process of its own, with a control socket."""

from __future__ import annotations

import json
import os
import shutil
import socket
import subprocess
import tempfile
import weakref
from collections.abc import Mapping
from pathlib import Path
from types import TracebackType
from typing import Any

from quorra import errors
from quorra._folder import Folder
from quorra._library import LibraryNotFound, path_of_library
from quorra._session import CONFIGURATION_VARIABLE
from quorra.card import Card
from quorra.kinds import KINDS, Kind, kind_named
from quorra.reader import Reader

PROGRAM_VARIABLE = "QUORRA_SIM"
_PROGRAM = "quorra-sim"
_ANSWER_LIMIT = 60.0
_END_LIMIT = 10.0


class BenchError(errors.Error):
    """The virtual reader cannot be started, or cannot do what it is told."""


def find_program() -> str:
    """The program quorra-sim: the one that QUORRA_SIM names, the one in PATH, or the one that was built or
    installed with the library."""
    if named := os.environ.get(PROGRAM_VARIABLE):
        return named
    if found := shutil.which(_PROGRAM):
        return found
    try:
        folder = path_of_library().parent
    except LibraryNotFound:
        folder = Path(__file__).parent
    for place in (folder, folder / "bin", folder.parent / "bin", folder.parent.parent / "bin"):
        if os.access(place / _PROGRAM, os.X_OK) and (place / _PROGRAM).is_file():
            return str(place / _PROGRAM)
    raise BenchError(f"{_PROGRAM} is not found; {PROGRAM_VARIABLE} may name it", word="no_program")


def new_card(kind: str | Kind, file: str | os.PathLike[str], *, code: bytes | None = None,
             memory: bytes | None = None, data: Mapping[int, bytes] | None = None, atr: bytes | None = None,
             key: bytes | None = None, counter: int | None = None, force: bool = False) -> Path:
    """Makes the image file of a new card: of a memory card of some kind, or a processor card, "cpu".
    `data` are bytes of memory by their address; the rest is as in `quorra-sim new`."""
    name = kind if kind == "cpu" else kind_named(kind).name
    words = [find_program(), "new", str(name), os.fspath(file)]
    for option, value in (("--code", code), ("--atr", atr), ("--key", key)):
        if value is not None:
            words += [option, value.hex()]
    for address, content in (data or {}).items():
        words += ["--data", f"{address}:{content.hex()}"]
    if counter is not None:
        words += ["--counter", str(counter)]
    if force:
        words.append("--force")
    if memory is None:
        _run(words)
        return Path(file)
    with tempfile.NamedTemporaryFile(prefix="quorra-") as content_file:
        content_file.write(memory)
        content_file.flush()
        _run([*words, "--memory", content_file.name])
    return Path(file)


def _run(words: list[str]) -> None:
    try:
        done = subprocess.run(words, stdin=subprocess.DEVNULL, capture_output=True, text=True, check=False)
    except OSError as error:
        raise BenchError(f"{words[0]} cannot be run: {error.strerror}", word="no_program") from None
    if done.returncode != 0:
        raise BenchError(done.stderr.strip() or f"{words[0]} ended with {done.returncode}", word="bench")


def _terminate(process: subprocess.Popen[str], starter: int) -> None:
    if os.getpid() == starter and process.poll() is None:
        process.terminate()
        process.wait()


class Bench:
    """A running virtual reader, and what can be done with it from outside."""

    def __init__(self, card: str | os.PathLike[str] | None = None, *,
                 sams: Mapping[int, str | os.PathLike[str]] | None = None, speed: int | None = None,
                 line_speed: int | None = None, reader: str | os.PathLike[str] | None = None,
                 virtual_time: bool = False) -> None:
        self._folder = Folder()
        #: The configuration file that leads to the reader.
        self.configuration = self._folder.path / "reader.conf"
        self._socket_path = self._folder.path / "control"
        self._socket: socket.socket | None = None
        self._received = b""
        words = [find_program(), "--config", str(self.configuration), "--socket", str(self._socket_path)]
        if card is not None:
            words += ["--card", os.fspath(card)]
        for number, image in (sams or {}).items():
            words += ["--sam", f"{number}={os.fspath(image)}"]
        if speed is not None:
            words += ["--speed", str(speed)]
        if line_speed is not None:
            words += ["--line-speed", str(line_speed)]
        if reader is not None:
            words += ["--reader", os.fspath(reader)]
        if virtual_time:
            words += ["--time", "virtual"]
        self._process = self._start(words)
        # A program that ends without a word must not leave the reader behind.
        self._finalizer = weakref.finalize(self, _terminate, self._process, os.getpid())

    def _start(self, words: list[str]) -> subprocess.Popen[str]:
        environment = {name: value for name, value in os.environ.items() if name != CONFIGURATION_VARIABLE}
        complaints = tempfile.TemporaryFile("w+")
        try:
            process = subprocess.Popen(words, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=complaints,
                                       text=True, env=environment)
        except OSError as error:
            complaints.close()
            self._folder.remove()
            raise BenchError(f"{words[0]} cannot be run: {error.strerror}", word="no_program") from None
        assert process.stdout is not None
        # The configuration file, and the control socket: both are there when they are named.
        told = [process.stdout.readline() for _ in range(2)]
        with complaints:
            if all(told):
                return process
            process.stdout.close()
            process.wait()
            complaints.seek(0)
            why = complaints.read().strip()
        self._folder.remove()
        raise BenchError(why or f"{words[0]} ended with {process.returncode}", word="bench")

    @property
    def is_running(self) -> bool:
        return self._process.poll() is None

    @property
    def process_id(self) -> int:
        return self._process.pid

    def command(self, command: str, **fields: Any) -> dict[str, Any]:
        """Sends a command to the control socket and returns the answer."""
        if self._socket is None:
            self._socket = socket.socket(socket.AF_UNIX)
            self._socket.settimeout(_ANSWER_LIMIT)
            try:
                self._socket.connect(str(self._socket_path))
            except OSError as error:
                self._socket.close()
                self._socket = None
                raise BenchError(f"{command}: the virtual reader has ended: {error.strerror}", word="bench") from None
        line = json.dumps({"command": command, **fields}) + "\n"
        try:
            self._socket.sendall(line.encode())
            while b"\n" not in self._received:
                part = self._socket.recv(65536)
                if not part:
                    raise BenchError(f"{command}: the virtual reader has ended", word="bench")
                self._received += part
        except OSError as error:
            raise BenchError(f"{command}: {error}", word="bench") from None
        answer, _, self._received = self._received.partition(b"\n")
        told: dict[str, Any] = json.loads(answer)
        if not told.pop("ok"):
            raise BenchError(f"{command}: {told.get('error')}", word="bench")
        return told

    def insert(self, file: str | os.PathLike[str]) -> None:
        """Puts the card of an image file into the empty slot."""
        self.command("insert", file=os.path.abspath(file))

    def remove(self) -> None:
        """Takes the card out of the slot."""
        self.command("remove")

    def fault(self, kind: str, *, times: int | None = None, every: int | None = None,
              on: int | str | None = None, **parameter: float) -> None:
        """Arms a fault by its name, "silence" for example: for the next exchange, the next `times`, or every
        `every`-th one; with `on`, of those with that command byte. "random" has a seed, and for each kind
        the probability that an exchange is hit."""
        fields: dict[str, Any] = {"times": times, "every": every, "on": on, **parameter}
        self.command("fault", kind=kind, **{name: value for name, value in fields.items() if value is not None})

    def clear_faults(self) -> None:
        """Disarms all faults."""
        self.command("clear_faults")

    def snapshot(self, name: str) -> None:
        """Keeps all of the virtual reader, its cards and its faults under that name."""
        self.command("snapshot", name=name)

    def restore(self, name: str) -> None:
        """Makes the virtual reader, its cards and its faults what they were then."""
        self.command("restore", name=name)

    def state(self) -> dict[str, Any]:
        """What the virtual reader tells of itself, its card and its faults."""
        return self.command("state")

    def stop(self) -> None:
        """Ends the virtual reader; the card is saved in its image file."""
        if self._socket is not None:
            self._socket.close()
            self._socket = None
        self._finalizer.detach()
        if self._process.poll() is None:
            self._process.terminate()
        try:
            status = self._process.wait(_END_LIMIT)
        except subprocess.TimeoutExpired:
            self._process.kill()
            status = self._process.wait()
        if self._process.stdout is not None:
            self._process.stdout.close()
        self._folder.remove()
        if status == 2:
            raise BenchError("a changed card could not be saved", word="image_not_saved")

    def __enter__(self) -> Bench:
        return self

    def __exit__(self, kind: type[BaseException] | None, error: BaseException | None,
                 traceback: TracebackType | None) -> None:
        self.stop()


class VirtualReader(Reader):
    """An open session with a virtual reader that was started for it, and ends with it."""

    #: What can be done from outside: insert and remove cards, arm faults, ask for the state.
    bench: Bench

    def __init__(self, bench: Bench, speed: int = 9600) -> None:
        self.bench = bench
        self._starter = os.getpid()
        super().__init__(bench.configuration, speed)

    def card(self, kind: str | Kind | None = None, *, check: bool = True) -> Card:
        """The memory card in the slot. Its kind is known, so it is not looked at and keeps its power."""
        held = self.bench.state()["card"]
        if held is None or held["kind"] not in KINDS or not check:
            return super().card(kind, check=check)
        found = KINDS[held["kind"]]
        wanted = found if kind is None else kind_named(kind)
        if wanted != found:
            raise errors.WrongCard(f"recognising the card: this is a {found}, not a {wanted}", word="wrong_card")
        return Card(self._session, found)

    def close(self) -> None:
        """Ends the session and the virtual reader."""
        if self.is_closed:
            return
        try:
            super().close()
        finally:
            if self._starter == os.getpid():
                self.bench.stop()


def virtual(card: str | os.PathLike[str] | None = None, *,
            sams: Mapping[int, str | os.PathLike[str]] | None = None, speed: int | None = None,
            line_speed: int | None = None, reader: str | os.PathLike[str] | None = None,
            virtual_time: bool = False) -> VirtualReader:
    """Starts a virtual reader with the card of an image file in its slot, or an empty slot, and SAMs by
    their numbers, and opens a session with it. With `speed` its line is paced at so many bits per second,
    with `line_speed` it insists that hosts use that speed. Its memory lives in the file `reader`, if there is
    one. In virtual time its waits take no time."""
    bench = Bench(card, sams=sams, speed=speed, line_speed=line_speed, reader=reader, virtual_time=virtual_time)
    try:
        return VirtualReader(bench, bench.state()["line_speed"] or 9600)
    except BaseException:
        bench.stop()
        raise
