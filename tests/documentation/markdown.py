# SPDX-FileCopyrightText: 2026 The quorra authors
# SPDX-License-Identifier: BSD-2-Clause
"""What the tests have to know of a page in Markdown: fenced blocks, headings, tables, links."""

import re
from dataclasses import dataclass
from pathlib import Path


class BadPage(Exception):
    """A page that is not written as these pages are."""


@dataclass
class Block:
    """A fenced block, and the comments that stand right before it."""

    line: int
    language: str
    lines: list[str]
    comments: list[str]


@dataclass
class Heading:
    line: int
    level: int
    text: str


class Page:
    def __init__(self, name: str, text: str) -> None:
        self.name = name
        self.blocks: list[Block] = []
        self.headings: list[Heading] = []
        # The lines outside of blocks, with their numbers.
        self.prose: list[tuple[int, str]] = []
        self._read(text.splitlines())

    @classmethod
    def of(cls, path: Path) -> "Page":
        return cls(str(path), path.read_text(encoding="utf-8"))

    def _read(self, lines: list[str]) -> None:
        block: Block | None = None
        indent = ""
        comments: list[str] = []
        for number, line in enumerate(lines, 1):
            if block is not None:
                if line.strip() == "```":
                    self.blocks.append(block)
                    block = None
                else:
                    block.lines.append(line.removeprefix(indent))
            elif fence := re.fullmatch(r"( *)```\s*(.*?)\s*", line):
                indent = fence[1]
                block = Block(number, fence[2], [], comments)
                comments = []
            elif "```" in line or "~~~" in line:
                raise BadPage(f"{self.name}:{number}: a fence is ``` at the beginning of a line")
            elif comment := re.fullmatch(r"\s*<!-- (.*) -->\s*", line):
                comments.append(comment[1])
            else:
                self.prose.append((number, line))
                comments = []
                if heading := re.fullmatch(r"(#+) (.*)", line):
                    self.headings.append(Heading(number, len(heading[1]), heading[2]))
        if block is not None:
            raise BadPage(f"{self.name}:{block.line}: this block has no end")

    def section(self, heading: Heading) -> list[str]:
        """The lines under a heading, up to the next one of its level or above."""
        end = min(
            (other.line for other in self.headings
             if other.line > heading.line and other.level <= heading.level),
            default=float("inf"),
        )
        return [line for number, line in self.prose if heading.line < number < end]

    def anchors(self) -> set[str]:
        """What a link behind # may name."""
        anchors: set[str] = set()
        for heading in self.headings:
            anchor = re.sub(r"[^\w\- ]", "", heading.text.lower()).replace(" ", "-")
            name = anchor
            count = 0
            while name in anchors:
                count += 1
                name = f"{anchor}-{count}"
            anchors.add(name)
        return anchors

    def links(self) -> list[tuple[int, str]]:
        """Where links lead to, with their lines."""
        text = "\n".join(line for _, line in self.prose)
        found = []
        for match in re.finditer(r"\]\(([^)\s]+)\)", text):
            line = self.prose[text.count("\n", 0, match.start())][0]
            found.append((line, match[1]))
        return found


def tables(lines: list[str]) -> list[list[list[str]]]:
    """The tables among these lines: rows of cells, the first row being the head."""
    found: list[list[list[str]]] = []
    inside = False
    for line in lines:
        if not line.startswith("|"):
            inside = False
            continue
        cells = [cell.strip() for cell in line.strip().strip("|").split("|")]
        if not inside:
            found.append([])
            inside = True
        if not all(re.fullmatch(r":?-+:?", cell) for cell in cells):
            found[-1].append(cells)
    return found
