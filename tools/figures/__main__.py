# SPDX-FileCopyrightText: 2026 The quorra authors
# SPDX-License-Identifier: BSD-2-Clause
"""python3 -m figures --build FOLDER --page FILE [--quick] [--runs N]
python3 -m figures --build FOLDER --compare NAME --other FOLDER [--quick] [--runs N]

Measures, and writes the page with its pictures in a folder of its name; or compares two builds."""

import argparse
import sys
from pathlib import Path

from . import machine, measure, page
from .records import Failure, Results, Run

TEMPLATE = Path(__file__).resolve().parent / "page.md"


def tell(text: str) -> None:
    print(text, file=sys.stderr, flush=True)


def write_page(build: measure.Build, target: Path, quick: bool, runs: int) -> None:
    before = machine.load()
    fixed = measure.fixed(build)
    found: list[Run] = []
    for number in range(runs):
        tell(f"run {number + 1} of {runs}")
        found.append(measure.one_run(build, build.names(), quick) | fixed)
    results = Results(found)
    text = page.fill(TEMPLATE.read_text(encoding="utf-8"), results,
                     machine.describe(before, machine.load()), target.with_suffix(""))
    target.write_text(text, encoding="utf-8")


def compare(here: measure.Build, there: measure.Build, revision: str, quick: bool, runs: int) -> None:
    names = [name for name in here.names() if there.program(name).is_file()]
    for name in here.names():
        if name not in names:
            tell(f"{name} cannot be built of {revision}")
    builds = (here, there)
    start = all(there.program(name).is_file() for name in ("quorra", "quorra-sim"))
    if not start:
        tell(f"the programs cannot be built of {revision}")
    fixed: list[Run] = [measure.fixed(build) if "cost_figures" in names else {} for build in builds]
    found: tuple[list[Run], list[Run]] = ([], [])
    for number in range(runs):
        tell(f"run {number + 1} of {runs}")
        pair: tuple[Run, Run] = ({}, {})
        # Program by program, and the first one in turns, so that both meet the same conditions.
        for name in names:
            for which in (0, 1) if number % 2 == 0 else (1, 0):
                pair[which].update(measure.run_program(builds[which], name, quick))
        for which in (0, 1):
            if start:
                pair[which].update(measure.starts(builds[which], 2 if quick else 15))
            pair[which].update(fixed[which])
            found[which].append(pair[which])
    for line in page.compared(Results(found[0]), Results(found[1]), revision):
        print(line)


def main() -> None:
    arguments = argparse.ArgumentParser(prog="figures")
    arguments.add_argument("--build", type=Path, required=True, help="the folder with the programs")
    arguments.add_argument("--page", type=Path, help="what to write")
    arguments.add_argument("--compare", metavar="NAME", help="what the other build is called")
    arguments.add_argument("--other", type=Path, help="the folder of the other build")
    arguments.add_argument("--quick", action="store_true", help="a little of everything")
    arguments.add_argument("--runs", type=int, help="how often")
    given = arguments.parse_args()
    if (given.page is None) == (given.compare is None) or (given.compare is None) != (given.other is None):
        arguments.error("either --page, or --compare and --other")
    if given.runs is not None and given.runs < 1:
        arguments.error("--runs is at least 1")
    build = measure.Build(given.build.resolve())
    try:
        if given.page:
            write_page(build, given.page, given.quick, given.runs or (2 if given.quick else 5))
        else:
            compare(build, measure.Build(given.other.resolve()), given.compare, given.quick,
                    given.runs or (2 if given.quick else 3))
    except Failure as failure:
        sys.exit(f"figures: {failure}")


main()
