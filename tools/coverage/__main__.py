# SPDX-FileCopyrightText: 2026 The quorra authors
# SPDX-License-Identifier: BSD-2-Clause
"""The report: what each part reaches, what it does not, and the exceptions with their reasons."""

import argparse
import sys
from pathlib import Path

from . import counters, marks

LINES = 0
BRANCHES = 1

class Part:
    """A folder of sources, and how much of it must be reached."""

    def __init__(self, text: str) -> None:
        self.folder, *bounds = text.split()
        self.bounds = [float(bound) for bound in bounds]
        self.reached = [0, 0]
        self.total = [0, 0]
        self.misses: list[str] = []

    def _count(self, kind: int, counts: list[int]) -> None:
        self.reached[kind] += sum(count > 0 for count in counts)
        self.total[kind] += len(counts)

    def add(self, name: str, text: list[str], file: counters.File, excepted: set[int]) -> None:
        for number in sorted((file.lines.keys() | file.branches.keys()) - excepted):
            count = file.lines.get(number, 1)
            branches = file.branches.get(number, [])
            self._count(LINES, [count] if number in file.lines else [])
            self._count(BRANCHES, [direction.count for direction in branches])
            missed = [direction.what for direction in branches if direction.count == 0]
            # A line that is not reached reaches none of its branches.
            if count == 0:
                missed = [f"not reached: {text[number - 1].strip()}"]
            self.misses += [f"{name}:{number}: {what}" for what in missed]

    def report(self) -> bool:
        """Prints it; whether enough is reached."""
        enough = True
        print(f"\n{self.folder}/")
        for kind, reached, total, bound in zip(
            ("lines", "branches"), self.reached, self.total, self.bounds
        ):
            # 0 of 0 is a report that found nothing.
            percent = 100.0 * reached / total if total else 0.0
            enough = enough and percent >= bound
            verdict = "yes" if percent >= bound else "NO"
            print(f"  {kind:8} {percent:6.2f} % ({reached} of {total}), at least {bound:g} %: {verdict}")
        return enough


def main() -> int:
    parser = argparse.ArgumentParser(prog="coverage")
    parser.add_argument("build", type=Path, help="the folder of the build with counters")
    parser.add_argument("misses", type=Path, help="the file that tells all that is not reached")
    parser.add_argument("parts", nargs="+", metavar="'FOLDER LINES BRANCHES'", help="per cent")
    arguments = parser.parse_args()
    root = Path.cwd()

    good = True
    exceptions: list[str] = []
    misses: list[str] = []
    files = counters.read(arguments.build.resolve(), root)
    for part in map(Part, arguments.parts):
        for name in sorted(name for name in files if name.startswith(f"{part.folder}/")):
            file = files[name]
            text = Path(name).read_text().splitlines()
            found = marks.read(text)
            part.add(name, text, file, {line for mark in found for line in mark.lines})
            for mark in found:
                reached = all(file.lines.get(line, 1) for line in mark.lines) and all(
                    direction.count for line in mark.lines for direction in file.branches.get(line, [])
                )
                good = good and bool(mark.reason) and not reached
                note = "  IS REACHED" if reached else ""
                exceptions.append(f"{name}:{mark.lines[0]}: {mark.reason or 'NO REASON'}{note}")
        good = part.report() and good
        misses += part.misses
    print("\nExceptions:")
    print("\n".join(f"  {line}" for line in exceptions or ["none"]))
    arguments.misses.write_text("".join(f"{miss}\n" for miss in misses))
    print(f"\nWhat else is not reached: {arguments.misses}")
    return 0 if good else 1


sys.exit(main())
