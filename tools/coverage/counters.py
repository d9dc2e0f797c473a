# SPDX-FileCopyrightText: 2026 The quorra authors
# SPDX-License-Identifier: BSD-2-Clause
"""What the counters of a build say of each line and each branch of the sources."""

import json
import os
import re
import subprocess
from collections import Counter, defaultdict
from dataclasses import dataclass, field
from pathlib import Path
from typing import Any

# What the compiler decides is counted as never reached.
_CONSTANT = re.compile(r"true$|false$")
_CHOICE_OF_THE_COMPILER = re.compile(r"\bif constexpr \(")
_FUNCTION_OF_THE_COMPILER = re.compile(r"\b(?:constexpr|consteval)\b")
_SWITCH = re.compile(r"\bswitch \((?:[^;]*; )?$")


@dataclass
class Direction:
    """One of the two ways that a condition may turn out."""

    count: int
    what: str  # as in "never true: x == 0"


@dataclass
class File:
    """Of one source: how often each line ran, and the branches of a line in each direction."""

    lines: dict[int, int] = field(default_factory=dict)
    branches: dict[int, list[Direction]] = field(default_factory=dict)


def _instrumented(build: Path) -> list[Path]:
    """The programs and libraries with counters; plain objects are part of one of them."""
    found = []
    for path in sorted(build.rglob("*")):
        if path.is_symlink() or not path.is_file() or path.suffix in (".o", ".a", ".gch", ".pch"):
            continue
        with path.open("rb") as file:
            is_elf = file.read(4) == b"\x7fELF"
        if is_elf and b"__llvm_covmap" in path.read_bytes():
            found.append(path)
    return found


def _name(path: str, build: Path, root: Path) -> str:
    """From root; empty for what lies elsewhere. A path may be given from the folder of the build."""
    absolute = Path(os.path.normpath(build / path))
    return str(absolute.relative_to(root)) if absolute.is_relative_to(root) else ""


def _export(objects: list[Path], counts: Path, form: str) -> str:
    command = ["llvm-cov", "export", f"-format={form}", f"-instr-profile={counts}", "-skip-expansions"]
    command += [str(objects[0]), *(f"-object={path}" for path in objects[1:])]
    return subprocess.run(command, check=True, capture_output=True, text=True).stdout


def _lines(report: str) -> dict[str, dict[int, int]]:
    files: dict[str, dict[int, int]] = {}
    for entry in report.splitlines():
        kind, _, value = entry.partition(":")
        if kind == "SF":
            lines = files.setdefault(value, {})
        elif kind == "DA":
            number, count = value.split(",")[:2]
            lines[int(number)] = int(count)
    return files


def _directions(text: list[str], branches: list[list[int]]) -> dict[int, list[Direction]]:
    """How often each direction of a branch was taken, all instances of a template together."""
    taken: Counter[tuple[int, int, int, int, bool]] = Counter()
    for line, column, last_line, last_column, count, otherwise, *_ in branches:
        place = (line, column, last_line, last_column)
        # The compiler sees to it that a switch has a case for each value.
        if not _SWITCH.search(text[line - 1][: column - 1]):
            taken[*place, True] += count
        taken[*place, False] += otherwise
    directions = defaultdict(list)
    for (line, column, last_line, last_column, outcome), count in taken.items():
        before, rest = text[line - 1][: column - 1], text[line - 1][column - 1 :]
        condition = rest[: last_column - column] if line == last_line else rest
        if not _CONSTANT.match(condition) and not _CHOICE_OF_THE_COMPILER.search(before):
            directions[line].append(Direction(count, f"never {str(outcome).lower()}: {condition}"))
    return directions


def _declaration(text: list[str], line: int, column: int) -> str:
    """What stands before the body of a function, which begins at that place."""
    declaration = text[line - 1][: column - 1]
    while line > 1 and not re.search(r"[;{}]\s*$|^\s*(//.*)?$", text[line - 2]):
        line -= 1
        declaration = text[line - 1] + declaration
    return declaration


def _lines_of_the_compiler(text: list[str], functions: list[dict[str, Any]]) -> set[int]:
    """The lines of functions that nothing calls at run time and the compiler may have evaluated."""
    counts: Counter[tuple[int, int, int]] = Counter()
    for function in functions:
        line, column, last_line = function["regions"][0][:3]
        counts[line, column, last_line] += function["count"]
    lines: set[int] = set()
    for (line, column, last_line), count in counts.items():
        declared = _declaration(text, line, column)
        if count == 0 and _FUNCTION_OF_THE_COMPILER.search(declared):
            lines.update(range(line, last_line + 1))
    return lines


def read(build: Path, root: Path) -> dict[str, File]:
    """The sources below root by their names from there."""
    counts = build / "counters.profdata"
    raw = sorted((build / "counters").glob("*.profraw"))
    subprocess.run(
        ["llvm-profdata", "merge", "-sparse", f"-output={counts}", *map(str, raw)], check=True
    )
    objects = _instrumented(build)
    files: dict[str, File] = defaultdict(File)
    for path, lines in _lines(_export(objects, counts, "lcov")).items():
        if name := _name(path, build, root):
            files[name].lines = lines
    data = json.loads(_export(objects, counts, "text"))["data"][0]
    functions = defaultdict(list)
    for function in data["functions"]:
        functions[function["filenames"][0]].append(function)
    for entry in data["files"]:
        if name := _name(entry["filename"], build, root):
            text = (root / name).read_text().splitlines()
            file = files[name]
            file.branches = _directions(text, entry["branches"])
            for line in _lines_of_the_compiler(text, functions[entry["filename"]]):
                file.lines.pop(line, None)
                file.branches.pop(line, None)
    return files
