# SPDX-FileCopyrightText: 2026 The quorra authors
# SPDX-License-Identifier: BSD-2-Clause
"""As much of Markdown as the pages of this project use: headings, paragraphs, lists, tables and fenced
blocks; code, emphasis and links within them."""

import re
from collections.abc import Iterator
from dataclasses import dataclass, field
from pathlib import Path


@dataclass
class Paragraph:
    text: str


@dataclass
class Code:
    lines: list[str]


@dataclass
class Table:
    head: list[str]
    rows: list[list[str]]


@dataclass
class List:
    numbered: bool
    items: list[str]


Block = Paragraph | Code | Table | List


@dataclass
class Section:
    """A heading, and what stands under it up to the next heading of whatever level."""

    level: int
    title: str
    anchor: str
    blocks: list[Block] = field(default_factory=list)

    @property
    def command(self) -> str | None:
        """The command that a heading of nothing but words in backticks is about."""
        words = re.fullmatch(r"`([a-z][a-z ]*)`", self.title)
        return words[1] if words else None


def anchors(titles: list[str]) -> list[str]:
    """What a link behind # names these headings."""
    found: list[str] = []
    for title in titles:
        anchor = re.sub(r"[^\w\- ]", "", title.lower()).replace(" ", "-")
        name, count = anchor, 0
        while name in found:
            count += 1
            name = f"{anchor}-{count}"
        found.append(name)
    return found


def cells(line: str) -> list[str]:
    return [cell.strip() for cell in line.strip().strip("|").split("|")]


class Page:
    def __init__(self, name: str, text: str) -> None:
        self.name = name
        self.sections = [Section(0, "", "")]
        self._lines = text.splitlines()
        self._next = 0
        while self._next < len(self._lines):
            self._block()
        for section, anchor in zip(
                self.sections[1:], anchors([section.title for section in self.sections[1:]])):
            section.anchor = anchor

    @classmethod
    def of(cls, path: Path) -> "Page":
        return cls(path.name, path.read_text(encoding="utf-8"))

    def under(self, section: Section) -> list[Section]:
        """A section and those below it."""
        first = self.sections.index(section)
        found = [section]
        for other in self.sections[first + 1:]:
            if other.level <= section.level:
                break
            found.append(other)
        return found

    def titled(self, title: str) -> Section:
        for section in self.sections:
            if section.title == title:
                return section
        raise ValueError(f"{self.name} has no section {title}")

    def _take(self, pattern: str) -> Iterator[str]:
        """The lines from here on that begin like this."""
        while self._next < len(self._lines) and re.match(pattern, self._lines[self._next]):
            self._next += 1
            yield self._lines[self._next - 1]

    def _block(self) -> None:
        line = self._lines[self._next]
        blocks = self.sections[-1].blocks
        if heading := re.fullmatch(r"(#+) (.*)", line):
            self.sections.append(Section(len(heading[1]), heading[2], ""))
            self._next += 1
        elif not line.strip() or re.fullmatch(r"\s*<!--.*-->\s*", line):
            self._next += 1
        elif line.strip().startswith("```"):
            indent = line[:len(line) - len(line.lstrip())]
            self._next += 1
            lines = [text.removeprefix(indent) for text in self._take(r"(?!\s*```\s*$)")]
            self._next += 1
            blocks.append(Code(lines))
        elif line.startswith("|"):
            head, _, *rows = [cells(row) for row in self._take(r"\|")]
            blocks.append(Table(head, rows))
        elif re.match(r"(- |\d+\. )", line):
            items: list[str] = []
            for text in self._take(r"- |\d+\. |  +\S"):
                if text[0] == " ":
                    items[-1] += " " + text.strip()
                else:
                    items.append(text.split(" ", 1)[1].strip())
            blocks.append(List(line[0] != "-", items))
        else:
            text = " ".join(text.strip() for text in self._take(r"(?!\s*$|#+ |```|- |\||<!--)"))
            blocks.append(Paragraph(text))


SPAN = re.compile(
    r"(?P<ticks>`+) ?(?P<code>.*?) ?(?P=ticks)"
    r"|\*\*(?P<strong>.+?)\*\*"
    r"|(?<![\w*])\*(?P<emphasis>[^*\s](?:[^*]*[^*\s])?)\*(?![\w*])"
    r"|!?\[(?P<label>[^\]]*)\]\((?P<target>[^)\s]+)\)")


def spans(text: str) -> Iterator[tuple[str, str, str]]:
    """The pieces of a line: what a piece is (text, code, strong, emphasis or link), its text, and
    where a link leads to."""
    end = 0
    for match in SPAN.finditer(text):
        if match.start() > end:
            yield "text", text[end:match.start()], ""
        end = match.end()
        for kind in ("code", "strong", "emphasis"):
            if match[kind] is not None:
                yield kind, match[kind], ""
        if match["target"] is not None:
            yield "link", match["label"], match["target"]
    if end < len(text):
        yield "text", text[end:], ""


def plain(text: str) -> str:
    """A text without its markup."""
    return "".join(piece for _, piece, _ in spans(text))
