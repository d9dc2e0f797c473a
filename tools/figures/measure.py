# SPDX-FileCopyrightText: 2026 The quorra authors
# SPDX-License-Identifier: BSD-2-Clause
"""Runs the programs that measure, and measures what is told from outside of a program: how it starts,
how large a library is, which calls of the system there are."""

import os
import re
import shutil
import signal
import subprocess
import tempfile
import time
from collections import Counter
from dataclasses import dataclass
from pathlib import Path
from statistics import median

from .records import Failure, Key, Number, Run, read_series

# The programs, and whether there is a second one with the build of the library that sleeps.
PROGRAMS = (("exchange_figures", True), ("transfer_benchmark", True), ("count_figures", True),
            ("process_figures", True), ("des_benchmark", False), ("load_figures", False),
            ("reader_figures", False), ("cost_figures", False))
# A program that has not ended after this many seconds never will.
LIMIT = 1200


@dataclass(frozen=True)
class Build:
    """The folder of a build."""

    folder: Path

    def program(self, name: str) -> Path:
        return self.folder / "bin" / name

    @property
    def shared_object(self) -> Path:
        return self.folder / "quorra.so"

    def names(self) -> list[str]:
        """The programs that should be there."""
        return [name + suffix for name, twice in PROGRAMS for suffix in ("", "_sleeping")[:1 + twice]]


def run(command: list[str], **options: str) -> str:
    """What a program prints; it has to succeed."""
    try:
        done = subprocess.run(command, capture_output=True, text=True, timeout=LIMIT,
                              env={**os.environ, **options})
    except FileNotFoundError:
        raise Failure(f"{command[0]} is missing") from None
    except subprocess.TimeoutExpired:
        raise Failure(f"{Path(command[0]).name} does not end") from None
    if done.returncode != 0:
        raise Failure(f"{Path(command[0]).name} failed with status {done.returncode}: "
                      f"{(done.stderr or done.stdout).strip()}")
    return done.stdout


def run_program(build: Build, name: str, quick: bool) -> Run:
    labels = {}
    if dict(PROGRAMS).get(name.removesuffix("_sleeping"), False):
        labels["build"] = "sleeping" if name.endswith("_sleeping") else "spinning"
    found = read_series(run([str(build.program(name)), "--json", *["--quick"] * quick]), **labels)
    if not found:
        raise Failure(f"{name} prints nothing")
    return found


def one_run(build: Build, names: list[str], quick: bool) -> Run:
    """Everything once."""
    found: Run = {}
    for name in names:
        found |= run_program(build, name, quick)
    found |= starts(build, 2 if quick else 15)
    return found


# The start of programs.

def _seconds_to_end(command: list[str]) -> float:
    """How long it takes from asking for a program until it has ended."""
    quiet = [(os.POSIX_SPAWN_OPEN, descriptor, os.devnull, os.O_RDWR, 0) for descriptor in (0, 1)]
    begin = time.perf_counter()
    process = os.posix_spawnp(command[0], command, os.environ, file_actions=quiet)
    _, status = os.waitpid(process, 0)
    took = time.perf_counter() - begin
    if status != 0:
        raise Failure(f"{Path(command[0]).name} does not succeed")
    return took


def _seconds_to_line(command: list[str]) -> float:
    """How long it takes until a program has printed its first line. It is ended then."""
    begin = time.perf_counter()
    with subprocess.Popen(command, stdout=subprocess.PIPE, stdin=subprocess.DEVNULL) as process:
        assert process.stdout is not None
        line = process.stdout.readline()
        took = time.perf_counter() - begin
        process.send_signal(signal.SIGTERM)
    if not line or process.returncode != 0:
        raise Failure(f"{Path(command[0]).name} does not start")
    return took


def starts(build: Build, rounds: int) -> Run:
    quorra, simulator = str(build.program("quorra")), str(build.program("quorra-sim"))
    with tempfile.TemporaryDirectory() as folder:
        card, config = f"{folder}/card", f"{folder}/reader.conf"
        run([simulator, "new", "4442", card])
        to_end = {
            "true": ["true"],
            # That of the system: another one in the path may be a script that looks for one.
            "python3 -c pass": ["/usr/bin/python3", "-c", "pass"],
            "quorra --version": [quorra, "--version"],
            "quorra read --virtual": [quorra, "read", "--virtual", card, "--count", "16"],
        }
        times: dict[str, list[float]] = {name: [] for name in [*to_end, "quorra-sim"]}
        for _ in range(rounds):
            for name, command in to_end.items():
                times[name].append(_seconds_to_end(command))
            times["quorra-sim"].append(_seconds_to_line([simulator, "--card", card, "--config", config]))
    return {Key.of("start", who=name): Number(median(values), "s") for name, values in times.items()}


# What does not change from run to run.

def sections(library: Path) -> dict[str, float]:
    """How many bytes of a library are code and constants, data, and data that begins as zero; and how
    often something in it depends on where it lies or on another library."""
    lines = run(["size", str(library)], LC_ALL="C").splitlines()
    if len(lines) != 2:
        raise Failure(f"size says of {library.name}: {lines}")
    text, data, zero = lines[1].split()[:3]
    relocations = re.findall(r"^[0-9a-f]{8,} ", run(["readelf", "-rW", str(library)], LC_ALL="C"), re.MULTILINE)
    return {"file": float(library.stat().st_size), "code and constants": float(text), "data": float(data),
            "zeros": float(zero), "relocations": float(len(relocations))}


def neighbour_library(program: Path) -> Path:
    """The libmodbus that a program uses."""
    found = re.search(r"libmodbus\.so\.\S+ => (\S+)", run(["ldd", str(program)]))
    if not found:
        raise Failure(f"{program.name} does not use libmodbus")
    return Path(found[1]).resolve()


def sizes(build: Build) -> Run:
    libraries = {"quorra": build.shared_object, "libmodbus": neighbour_library(build.program("cost_figures"))}
    return {Key.of("size", what=what, who=who): Number(value, "" if what == "relocations" else "bytes")
            for who, library in libraries.items() for what, value in sections(library).items()}


def calls_between(trace: str) -> list[Counter[str]]:
    """The names of the calls between each two calls of getppid()."""
    found: list[Counter[str]] = []
    inside = False
    for name in re.findall(r"^(\w+)\(", trace, re.MULTILINE):
        if name == "getppid":
            inside = not inside
            if inside:
                found.append(Counter())
        elif inside:
            found[-1][name] += 1
    if inside:
        raise Failure("an operation does not end")
    return found


def system_calls(build: Build) -> Run:
    """For each operation of cost_figures."""
    if shutil.which("strace") is None:
        raise Failure("strace is missing")
    with tempfile.TemporaryDirectory() as folder:
        trace = Path(folder) / "trace"
        printed = run(["strace", "-qq", "-o", str(trace), str(build.program("cost_figures"))])
        counts = calls_between(trace.read_text(encoding="utf-8"))
    names = [key["operation"] for key in read_series(printed) if key.figure == "stack"]
    if len(names) != len(counts):
        raise Failure(f"{len(names)} operations, but {len(counts)} were traced")
    found: Run = {}
    for name, count in zip(names, counts):
        found[Key.of("system calls", operation=name, call="all")] = Number(float(count.total()), "")
        for call, times in sorted(count.items()):
            found[Key.of("system calls", operation=name, call=call)] = Number(float(times), "")
    return found


def fixed(build: Build) -> Run:
    return sizes(build) | system_calls(build)
