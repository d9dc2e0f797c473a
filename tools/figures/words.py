# SPDX-FileCopyrightText: 2026 The quorra authors
# SPDX-License-Identifier: BSD-2-Clause
"""Numbers as people read them, and tables of them in Markdown."""

from .records import Failure, Spread

# Powers of a thousand of what a second is, and of a byte in a second.
TIMES = (("s", 1.0), ("ms", 1e-3), ("µs", 1e-6), ("ns", 1e-9))
BEHIND = 1.02


def digits(value: float, factor: float = 1.0) -> str:
    """Three digits that count, and no more behind the point than others of that size."""
    value /= factor
    if abs(value) >= 100 or value == 0:
        return f"{value:,.0f}"
    return f"{value:.{1 if abs(value) >= 10 else 2}f}"


def with_spread(spread: Spread, factor: float = 1.0) -> str:
    middle, low, high = (digits(value, factor) for value in (spread.middle, spread.low, spread.high))
    return middle if low == high else f"{middle} ({low} to {high})"


def count(spread: Spread) -> str:
    """Of whole numbers."""
    middle, low, high = (f"{value:,.0f}" for value in (spread.middle, spread.low, spread.high))
    return middle if low == high else f"{middle} ({low} to {high})"


def time(spread: Spread) -> str:
    """Of seconds, in the unit that suits the median."""
    unit, factor = next(((unit, factor) for unit, factor in TIMES if spread.middle >= factor), TIMES[-1])
    text = with_spread(spread, factor)
    middle, blank, rest = text.partition(" ")
    return f"{middle} {unit}{blank}{rest}"


def per_cent(spread: Spread) -> str:
    middle, low, high = (f"{value * 100:.1f}" for value in (spread.middle, spread.low, spread.high))
    return f"{middle} %" if low == high else f"{middle} % ({low} to {high})"


def table(head: list[str], rows: list[list[str]]) -> list[str]:
    """The first column is text, all others are numbers."""
    if not rows:
        raise Failure(f"a table has no rows: {', '.join(head)}")
    for row in rows:
        if len(row) != len(head) or not all(row):
            raise Failure(f"a row of a table has a hole: {row}")
    lines = [head, ["---"] + ["--:"] * (len(head) - 1), *rows]
    return ["| " + " | ".join(cells) + " |" for cells in lines]
