# SPDX-FileCopyrightText: 2026 The quorra authors
# SPDX-License-Identifier: BSD-2-Clause
"""Text and blocks in the language of manual pages, mdoc."""

import re
from collections.abc import Callable

from . import markdown

# Longer lines of running text are a complaint of mandoc.
WIDTH = 78

# What a link in a page becomes: its text, in mdoc, and where it leads to.
Resolve = Callable[[str, str], str]


def escape(text: str, literal: bool = False) -> str:
    """Text as it is. In literal text no sign is a dash or a quote of typography."""
    text = text.replace("\\", "\\e")
    if literal:
        for sign, name in (("-", r"\-"), ("'", r"\(aq"), ("`", r"\(ga"), ("^", r"\(ha"), ("~", r"\(ti")):
            text = text.replace(sign, name)
    return re.sub(r"[^\x00-\x7f]", lambda sign: f"\\[u{ord(sign[0]):04X}]", text)


def argument(word: str) -> str:
    """A word as the argument of a macro: no macro itself, and no delimiter."""
    word = escape(word, literal=True).replace('"', r"\(dq")
    if re.fullmatch(r"%?[A-Z][a-z]{0,2}|[.,:;()\[\]?!|]", word):
        word = r"\&" + word
    return f'"{word}"' if re.search(r"\s", word) or not word else word


def title(text: str) -> str:
    """Words behind a macro that are all text."""
    return " ".join(argument(word) for word in text.split())


def fill(text: str) -> list[str]:
    """Running text in lines; a sentence begins a line."""
    lines: list[str] = []
    line = ""
    for word in text.split():
        if line and (len(line) + 1 + len(word) > WIDTH or re.search(r"[.!?](?:\\f[RP])?[)\]\"']*$", line)):
            lines.append(line)
            line = ""
        line = f"{line} {word}" if line else word
        if re.match(r"(?:\\f.)*[.']", line):
            line = r"\&" + line
    return [*lines, line] if line else lines


def code(text: str) -> str:
    """A word in backticks: an option with its argument, or anything else."""
    if option := re.fullmatch(r"(--?[a-z][a-z-]*)[ =]([A-Z][A-Z0-9=:.-]*)", text):
        return rf"\fB{escape(option[1], True)}\fR \fI{escape(option[2], True)}\fR"
    return rf"\fB{escape(text, True)}\fR"


def inline(text: str, resolve: Resolve) -> str:
    pieces = []
    for kind, piece, target in markdown.spans(text):
        if kind == "code":
            pieces.append(code(piece))
        elif kind == "strong":
            pieces.append(rf"\fB{inline(piece, resolve)}\fR")
        elif kind == "emphasis":
            pieces.append(rf"\fI{inline(piece, resolve)}\fR")
        elif kind == "link":
            pieces.append(resolve(inline(piece, resolve), target))
        else:
            pieces.append(escape(piece))
    return "".join(pieces)


def prose(text: str, resolve: Resolve) -> list[str]:
    return fill(inline(text, resolve))


def display(lines: list[str]) -> list[str]:
    shown = [escape(line, literal=True) for line in lines]
    return [".Bd -literal -offset indent",
            *(r"\&" + line if line[:1] in (".", "'") else line for line in shown), ".Ed"]


def table(block: markdown.Table, resolve: Resolve) -> list[str]:
    """A table, if its rows fit in lines: text that goes on in a second line tears tables apart in
    groff. Otherwise, and with two columns, a list whose terms are the first column."""
    rows = [block.head, *block.rows]
    widths = [max(len(markdown.plain(row[number])) for row in rows if number < len(row))
              for number in range(len(block.head))]
    if len(widths) == 2 or sum(widths) + 3 * len(widths) > WIDTH - 5:
        lines = [".Bl -tag -width Ds"]
        for term, *cells in block.rows:
            lines += [".It Xo", *prose(term, resolve), ".Xc", *prose(_told(block, cells), resolve)]
        return [*lines, ".El"]
    lines = [".Pp", ".TS", " ".join("lb" for _ in widths), " ".join("l" for _ in widths) + "."]
    for number, row in enumerate(rows):
        lines += ["\t".join(inline(cell, resolve) for cell in row), *["_"] * (number == 0)]
    return [*lines, ".TE"]


def _told(block: markdown.Table, cells: list[str]) -> str:
    """What stands behind the first column: a column of sentences as it is, others by their names."""
    longest = [max(map(len, column)) for column in zip(*(row[1:] for row in block.rows))]
    main = longest.index(max(longest))
    if len(longest) > 1 and longest[main] <= 40:
        main = -1
    named = [f"*{head}*: {cell}" for number, (head, cell) in enumerate(zip(block.head[1:], cells))
             if cell and number != main]
    return "; ".join([*([cells[main]] if main >= 0 else []), *named])


def blocks(found: list[markdown.Block], resolve: Resolve) -> list[str]:
    lines: list[str] = []
    for block in found:
        match block:
            case markdown.Paragraph(text):
                lines += [".Pp", *prose(text, resolve)]
            case markdown.Code(text):
                lines += display(text)
            case markdown.Table():
                lines += table(block, resolve)
            case markdown.List(numbered, items):
                lines.append(f".Bl -{'enum' if numbered else 'bullet'} -width Ds")
                for item in items:
                    lines += [".It", *prose(item, resolve)]
                lines.append(".El")
    return lines


def tidy(lines: list[str]) -> list[str]:
    """No paragraph at the beginning of a section or list, nor before what begins one itself."""
    found: list[str] = []
    for line in lines:
        before = found[-1] if found else ""
        if line == ".Pp" and re.match(r"\.(Sh|Ss|Pp|It|Bl|Bd)\b", before):
            continue
        if before == ".Pp" and re.match(r"\.(Sh|Ss|Bl|Bd)\b", line):
            found.pop()
        found.append(line)
    return found
