# SPDX-FileCopyrightText: 2026 The quorra authors
# SPDX-License-Identifier: BSD-2-Clause
"""Which process has a device, as the program quorra finds it: what /proc tells of locks and open files."""

from __future__ import annotations

import os
import stat
from collections.abc import Iterator
from pathlib import Path

_PROCESSES = Path("/proc")


def of_lock(descriptor: int) -> tuple[str, int | None]:
    """Who has locked an open file, "minicom (process 1234)", and the number of its process. When the process
    that set the lock has ended, another one has the file from it."""
    held = os.fstat(descriptor)
    file = f"{os.major(held.st_dev):02x}:{os.minor(held.st_dev):02x}:{held.st_ino}"
    words = "another program"
    for line in _lines(_PROCESSES / "locks"):
        # "4: FLOCK  ADVISORY  WRITE 1234 00:1a:5 0 EOF"
        fields = line.split()
        if len(fields) < 6 or fields[1] != "FLOCK" or fields[5] != file:
            continue
        process = int(fields[4])
        if name := _name(process):
            return name, process
        words = f"another program: process {process}, which locked it, has ended"
    for process in _with_open(held, locked=True):
        if name := _name(process):
            return name, process
    return words, None


def of_device(path: str) -> list[tuple[str, int]]:
    """The other processes that have opened a device, as far as they show what they have."""
    try:
        found = os.stat(path)
    except OSError:
        return []
    return [(name, process) for process in _with_open(found, locked=False) if (name := _name(process))]


def _lines(file: Path) -> list[str]:
    try:
        return file.read_text(errors="replace").splitlines()
    except OSError:
        return []


def _name(process: int) -> str:
    lines = _lines(_PROCESSES / str(process) / "comm")
    return f"{lines[0]} (process {process})" if lines else ""


def _with_open(device: os.stat_result, *, locked: bool) -> Iterator[int]:
    for number in os.listdir(_PROCESSES):
        if number.isdecimal() and int(number) != os.getpid() and _has_open(_PROCESSES / number, device, locked):
            yield int(number)


def _has_open(process: Path, device: os.stat_result, locked: bool) -> bool:
    try:
        descriptors = os.listdir(process / "fd")
    except OSError:
        return False
    for descriptor in descriptors:
        try:
            opened = os.stat(process / "fd" / descriptor)
        except OSError:
            continue
        if not stat.S_ISCHR(opened.st_mode) or opened.st_rdev != device.st_rdev:
            continue
        if not locked or any(line.startswith("lock:") and " FLOCK " in line
                             for line in _lines(process / "fdinfo" / descriptor)):
            return True
    return False
