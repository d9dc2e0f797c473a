# SPDX-FileCopyrightText: 2026 The quorra authors
# SPDX-License-Identifier: BSD-2-Clause
"""Drawings in lines and arrows of characters, as pictures. Each character is a cell of a grid: lines of
it go from its middle to its edges, and all else is text."""

import html
import re

WIDTH, HEIGHT = 9, 20
# To which edges a character has lines.
EDGES = {"│": "ud", "─": "lr", "├": "udr", "┤": "udl", "┬": "lrd", "┴": "lru", "┼": "udlr",
         "┌": "rd", "┐": "ld", "└": "ru", "┘": "lu"}
# Where an arrow points, and from which edge its line comes.
ARROWS = {"▶": (1, 0), "◀": (-1, 0), "▼": (0, 1), "▲": (0, -1)}
# Words with single blanks between them.
WORD = rf"[^\s{''.join(EDGES)}{''.join(ARROWS)}]+"
WORDS = re.compile(f"{WORD}(?: {WORD})*")


def is_diagram(lines: list[str]) -> bool:
    return any(sign in ARROWS for line in lines for sign in line)


def svg(lines: list[str]) -> str:
    columns = max(map(len, lines))
    shapes: list[str] = []
    for row, line in enumerate(lines):
        for column, sign in enumerate(line):
            x, y = column * WIDTH + WIDTH / 2, row * HEIGHT + HEIGHT / 2
            ends = {"u": (x, y - HEIGHT / 2), "d": (x, y + HEIGHT / 2),
                    "l": (x - WIDTH / 2, y), "r": (x + WIDTH / 2, y)}
            for edge in EDGES.get(sign, ""):
                shapes.append(f'<path d="M{x:g} {y:g}L{ends[edge][0]:g} {ends[edge][1]:g}"/>')
            if sign in ARROWS:
                shapes.append(_arrow(x, y, *ARROWS[sign]))
        for words in WORDS.finditer(line):
            shapes.append(f'<text x="{words.start() * WIDTH}" y="{row * HEIGHT + 14}" '
                          f'textLength="{len(words[0]) * WIDTH}">{html.escape(words[0])}</text>')
    return (f'<svg xmlns="http://www.w3.org/2000/svg" class="diagram" role="img" '
            f'viewBox="0 0 {columns * WIDTH} {len(lines) * HEIGHT}" width="{columns * WIDTH}">'
            + "".join(shapes) + "</svg>")


def _arrow(x: float, y: float, right: int, down: int) -> str:
    """A head whose point is in the middle of the next cell, where a line is."""
    tip = (x + right * WIDTH, y + down * HEIGHT)
    back = (x - right * WIDTH / 2, y - down * HEIGHT / 2)
    wide = 4
    return (f'<path class="head" d="M{tip[0]:g} {tip[1]:g}L{back[0] - down * wide:g} {back[1] - right * wide:g}'
            f'L{back[0] + down * wide:g} {back[1] + right * wide:g}Z"/>')
