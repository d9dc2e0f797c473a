# SPDX-FileCopyrightText: 2026 The quorra authors
# SPDX-License-Identifier: BSD-2-Clause
"""Compiling a changed source alone, and linking a private copy of what the tests load."""

import json
import os
import shlex
import shutil
import subprocess
import threading
from collections.abc import Mapping, Sequence
from dataclasses import dataclass
from pathlib import Path


class BuildError(Exception):
    """The build folder is not what it should be."""


@dataclass(frozen=True)
class Unit:
    """One object file and how it is made."""

    source: Path
    object: str  # relative to the build folder
    arguments: tuple[str, ...]  # the compiler and its options, without input and output


@dataclass(frozen=True)
class Program:
    """A test program, and the shared library under test that it loads, if it loads one."""

    name: str
    loaded: str = ""


# Debugging symbols and warnings take time and tell nothing here. A little optimisation makes more
# of the changes that change nothing alike. What goes beyond an array ends the test.
_LEFT_OUT = ("-g", "-W", "-O", "-MD", "-MT", "-MF")
_TRAPS = ("-fsanitize=bounds-strict,shift", "-fsanitize-undefined-trap-on-error")
_ADDED = ("-O1", "-w", *_TRAPS)


def _without_launcher(arguments: list[str]) -> list[str]:
    return arguments[1:] if Path(arguments[0]).name == "ccache" else arguments


def take_copy(checkout: Path, copy: Path) -> None:
    """Copies the project, so that its files may change while mutants are tried."""
    shutil.copytree(checkout, copy, ignore=shutil.ignore_patterns(".*", "build", "build-*"), symlinks=True)


class Build:
    """A configured build folder whose test programs are up to date, and a copy of its sources."""

    def __init__(self, checkout: Path, root: Path, folder: Path, work: Path) -> None:
        self.checkout = checkout
        self.root = root
        self.folder = folder
        self.work = work
        self._lock = threading.Lock()
        self._prefixes: dict[tuple[str, ...], tuple[str, ...]] = {}
        self._users: dict[str, list[Unit]] = {}
        commands = json.loads((folder / "compile_commands.json").read_text(encoding="utf-8"))
        self.units = [self._unit(entry) for entry in commands]

    def _in_copy(self, argument: str) -> str:
        """The same argument, with the copy in the place of the checkout."""
        at = argument.find(str(self.checkout))
        if at < 0 or Path(argument[at:]).is_relative_to(self.folder):
            return argument
        return argument[:at] + str(self.root) + argument[at + len(str(self.checkout)) :]

    def _unit(self, entry: Mapping[str, str]) -> Unit:
        arguments = _without_launcher(shlex.split(entry["command"]))
        output = arguments[arguments.index("-o") + 1]
        source = Path(self._in_copy(str(Path(entry["directory"], entry["file"]))))
        kept = [
            self._in_copy(argument)
            for argument in arguments
            if argument not in ("-c", "-o", output, entry["file"])
            and not argument.startswith(_LEFT_OUT)
        ]
        return Unit(source, output, (*kept, *_ADDED))

    def _ninja(self, *arguments: str) -> str:
        command = ["ninja", "-C", str(self.folder), "-t", *arguments]
        return subprocess.run(command, check=True, capture_output=True, text=True).stdout

    def _link_command(self, target: str) -> list[str]:
        command = self._ninja("commands", target).strip().splitlines()[-1]
        words = shlex.split(command)
        parts = [self._in_copy(word) for word in words if word not in (":", "&&")]
        return _without_launcher(parts)

    def users_of(self, file: str) -> list[Unit]:
        """The units that a source is, or that include a header."""
        with self._lock:
            if not self._users:
                by_object = {unit.object: unit for unit in self.units}
                unit: Unit | None = None
                for line in self._ninja("deps").splitlines():
                    if line and not line[0].isspace():
                        unit = by_object.get(line.split(": ")[0])
                    elif unit and line.strip():
                        path = os.path.normpath(self.folder / line.strip())
                        self._users.setdefault(os.path.relpath(path, self.checkout), []).append(unit)
            return self._users.get(file, [])

    def _precompiled(self, arguments: tuple[str, ...], headers: Sequence[str]) -> tuple[str, ...]:
        """Options that make the compiler begin with these headers, read once for all."""
        with self._lock:
            key = (*arguments, *headers)
            if key not in self._prefixes:
                header = self.work / f"precompiled-{len(self._prefixes)}" / "headers.hpp"
                header.parent.mkdir(parents=True, exist_ok=True)
                header.write_text("".join(f"#include <{name}>\n" for name in headers))
                command = [*arguments, "-x", "c++-header", str(header), "-o", f"{header}.gch"]
                done = subprocess.run(command, cwd=self.folder, capture_output=True, check=False)
                found = done.returncode == 0
                self._prefixes[key] = ("-include", str(header)) if found else ()
            return self._prefixes[key]

    def compile(
        self, unit: Unit, source: Path, output: Path, options: Sequence[str], headers: Sequence[str]
    ) -> bool:
        """Compiles `source` in the place of the unit's own; false if the compiler refuses it."""
        prefix = self._precompiled(unit.arguments, headers)
        output.parent.mkdir(parents=True, exist_ok=True)
        compiler, *rest = unit.arguments
        command = [compiler, *options, *rest, *prefix, "-c", str(source), "-o", str(output)]
        # Some changes make the compiler calculate for ever.
        try:
            done = subprocess.run(
                command, cwd=self.folder, capture_output=True, check=False, timeout=120
            )
        except subprocess.TimeoutExpired:
            return False
        return done.returncode == 0

    def objects_of(self, program: Program) -> set[str]:
        """The objects of the library that the program loads, or of the program and its archives."""
        target = program.loaded or f"bin/{program.name}"
        if program.loaded:
            return {part for part in self._link_command(target) if part.endswith(".o")}
        inputs = self._ninja("inputs", target).split()
        return {part for part in inputs if part.endswith(".o")}

    def link(
        self, program: Program, objects: Mapping[str, Path], folder: Path, options: Sequence[str] = ()
    ) -> list[str] | None:
        """Links with these objects in the place of the built ones, in `folder`.

        Returns the command that runs the program with the result; none if linking fails.
        """
        target = program.loaded or f"bin/{program.name}"
        output = folder / Path(target).name
        command = self._link_command_of(target)
        where = command.index("-o")
        replaced = [str(objects.get(part, part)) for part in command]
        replaced[where + 1] = str(output)
        # An object that stands in no archive is linked in its place; one of an archive is found
        # before the archive is searched.
        added = [str(path) for name, path in objects.items() if name not in command]
        full = [*replaced[:where], *options, *added, *replaced[where:]]
        done = subprocess.run(full, cwd=self.folder, capture_output=True, check=False)
        if done.returncode != 0:
            return None
        if not program.loaded:
            return [str(output)]
        return ["env", f"LD_LIBRARY_PATH={folder}", str(self.folder / "bin" / program.name)]

    def _link_command_of(self, target: str) -> list[str]:
        with self._lock:
            if not hasattr(self, "_links"):
                self._links: dict[str, list[str]] = {}
            if target not in self._links:
                command = self._link_command(target)
                self._links[target] = [part for part in command if part != "-g"]
            return self._links[target]
