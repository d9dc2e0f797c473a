# SPDX-FileCopyrightText: 2026 The quorra authors
# SPDX-License-Identifier: BSD-2-Clause
"""The page: a template, filled.

A line "@table NAME" or "@plot NAME WHAT IT SHOWS" is what the results say, "@machine" is the machine and
"@runs" how many runs there were. What stands between "@why NAME" and "@end" is said where we are behind
that neighbour. A comparison in which we are behind without such words is a failure."""

import re
from pathlib import Path

from . import figures, words
from .plots import draw
from .records import Failure, Key, Results, Spread


def fill(template: str, results: Results, machine: list[tuple[str, str]], pictures: Path) -> str:
    """Draws the pictures, too, into this folder beside the page."""
    behind = {name for name, comparisons in figures.comparisons(results).items()
              if any(comparison.is_behind(results) for comparison in comparisons)}
    names = set(figures.comparisons(results))
    said: set[str] = set()
    left = {("table", name) for name in figures.TABLES} | {("plot", name) for name in figures.PLOTS}
    lines: list[str] = []
    reason: str | None = None
    for number, line in enumerate(template.splitlines(), 1):
        order, _, rest = line[1:].partition(" ") if line.startswith("@") else ("", "", "")
        name, _, about = rest.partition(" ")
        if order == "end":
            reason = None
        elif order == "why":
            if name not in names:
                raise Failure(f"line {number} of the template: there is no comparison {name}")
            reason = name
            said.add(name)
        elif reason is not None and reason not in behind:
            continue
        elif order in ("table", "plot"):
            if (order, name) not in left:
                raise Failure(f"line {number} of the template: there is no other {order} {name}")
            left.remove((order, name))
            if order == "table":
                lines += figures.TABLES[name](results)
            else:
                pictures.mkdir(parents=True, exist_ok=True)
                draw(figures.PLOTS[name](results), pictures / f"{name}.svg", about)
                lines.append(f"![{about}]({pictures.name}/{name}.svg)")
        elif order == "machine":
            lines += [f"- {what}: {value}" for what, value in machine]
        elif order:
            raise Failure(f"line {number} of the template: {line}")
        else:
            lines.append(re.sub("@runs", str(results.count), line))
    if left:
        raise Failure(f"the template lacks {sorted(left)}")
    if silent := behind - said:
        raise Failure(f"the template does not say why we are behind: {', '.join(sorted(silent))}")
    # Where nothing was said, one empty line remains of two.
    return re.sub(r"\n{3,}", "\n\n", "\n".join(lines)) + "\n"


def compared(here: Results, there: Results, revision: str) -> list[str]:
    """What both builds measured of ours, and the ratio of the two within each pair of runs."""
    theirs = set(there.all_keys())
    rows: list[list[str]] = []
    for key in here.all_keys():
        if key not in theirs or _is_neighbour(dict(key.labels).get("who", "")):
            continue
        ratio = _ratio(here, there, key)
        if ratio is not None:
            rows.append([str(key), *(f"{words.digits(results.spread(key).middle, factor)} {unit}".strip()
                                     for results in (here, there)
                                     for unit, factor in [_unit(here, key)]), ratio])
    if not rows:
        raise Failure("there is nothing to compare")
    head = ["", "here", revision, "here / there (lowest to highest)"]
    widths = [max(len(row[column]) for row in [head, *rows]) for column in range(len(head))]
    return ["  ".join([row[0].ljust(widths[0]), *(cell.rjust(width) for cell, width in zip(row[1:], widths[1:]))])
            for row in [head, *rows]]


def _is_neighbour(who: str) -> bool:
    return who in ("libmodbus", "empty library", "true", "python3 -c pass", "bare calls",
                   *figures.LIBRARIES[1:], *figures.CALLS.values())


def _unit(results: Results, key: Key) -> tuple[str, float]:
    unit = results.unit(key)
    if unit != "s":
        return unit, 1.0
    middle = results.spread(key).middle
    return next(((name, factor) for name, factor in words.TIMES if middle >= factor), words.TIMES[-1])


def _ratio(here: Results, there: Results, key: Key) -> str | None:
    pairs = list(zip(here.values(key), there.values(key)))
    if any(below == 0 for _, below in pairs):
        return None
    return words.with_spread(Spread.of([above / below for above, below in pairs]))
