# SPDX-FileCopyrightText: 2026 The quorra authors
# SPDX-License-Identifier: BSD-2-Clause
"""The public header: its sections, and in them declarations with the comments that document them."""

import re
from dataclasses import dataclass, field
from pathlib import Path


@dataclass
class Declaration:
    """A function or a variable."""

    result: str
    name: str
    # None for a variable; its brackets are a part of `suffix`.
    parameters: list[str] | None
    suffix: str = ""


@dataclass
class Documented:
    """A comment, and what is declared right behind it."""

    comment: str
    declarations: list[Declaration] = field(default_factory=list)

    def parts(self) -> tuple[list[str], list[str]]:
        """The paragraphs that tell what is done, and those that tell what is returned."""
        paragraphs = re.split(r"\n\s*\n", self.comment)
        for number, paragraph in enumerate(paragraphs):
            if begin := re.search(r"(?:^|(?<=[.;] )|(?<=[.]\n))(?:Both r|R)eturns? ", paragraph):
                before = [*paragraphs[:number], paragraph[:begin.start()].strip()]
                return ([text for text in before if text],
                        [paragraph[begin.start():], *paragraphs[number + 1:]])
        return paragraphs, []


@dataclass
class Section:
    title: str
    comment: str
    blocks: list[Documented] = field(default_factory=list)

    def names(self) -> list[str]:
        return [declaration.name for block in self.blocks for declaration in block.declarations]

    def comments(self) -> str:
        return "\n\n".join([self.comment, *(block.comment for block in self.blocks)])


def uncommented(comment: str) -> str:
    """The text of a comment, without its stars."""
    lines = comment.removeprefix("/*").removesuffix("*/").splitlines()
    return "\n".join(re.sub(r"^ (\* ?)?", "", line).rstrip() for line in lines).strip("\n")


def declared(text: str) -> Declaration:
    text = " ".join(text.removeprefix("extern ").split())
    if function := re.fullmatch(r"(.*?[ *])(\w+)\((.*)\)", text):
        return Declaration(function[1].strip(), function[2], [one.strip() for one in function[3].split(",")])
    if variable := re.fullmatch(r"(.*?[ *])(\w+)(\[\d+\])?", text):
        return Declaration(variable[1].strip(), variable[2], None, variable[3] or "")
    raise ValueError(f"this is no declaration: {text}")


class Header:
    def __init__(self, text: str) -> None:
        self.sections: list[Section] = []
        comments = re.findall(r"/\*.*?\*/", text, re.DOTALL)
        self.comment = uncommented(next(comment for comment in comments if "SPDX" not in comment))
        begin = 'extern "C" {'
        body = text[text.index(begin) + len(begin):text.rindex("#ifdef __cplusplus")]
        # A comment, a declaration that ends in its line, perhaps with a comment behind it, or one that
        # does not.
        for token in re.finditer(
                r"^/\*.*?\*/|^(?P<declaration>(?:extern |int |void )[^;]*);(?P<remark>[ ]*/\*.*?\*/)?"
                r"|^(?P<gap>\n)", body, re.DOTALL | re.MULTILINE):
            if token["declaration"]:
                section = self.sections[-1]
                if token["remark"]:
                    section.blocks.append(Documented(uncommented(token["remark"].strip()), []))
                section.blocks[-1].declarations.append(declared(token["declaration"]))
            elif not token["gap"]:
                self._comment(token[0])
        for section in self.sections:
            # What stands before others with comments of their own.
            told = [block.comment for block in section.blocks if not block.declarations]
            section.comment = "\n\n".join(filter(None, [section.comment, *told]))
            section.blocks = [block for block in section.blocks if block.declarations]

    @classmethod
    def of(cls, path: Path) -> "Header":
        return cls(path.read_text(encoding="utf-8"))

    def _comment(self, text: str) -> None:
        if title := re.match(r"/\* -+ (.*?) -+( \*/)?\n?", text + "\n"):
            self.sections.append(Section(title[1], uncommented("/*" + text[title.end():])
                                         if not title[2] else ""))
        else:
            self.sections[-1].blocks.append(Documented(uncommented(text)))

    def names(self) -> list[str]:
        return [name for section in self.sections for name in section.names()]

    def codes(self) -> tuple[list[str], list[tuple[str, str]], list[str]]:
        """The comment of the header: what stands before its table of results, the table, and what
        stands behind it."""
        before, rest = re.split(r"\n\n(?=    +-1 )", self.comment, maxsplit=1)
        rows, _, after = rest.partition("\n\n")
        table: list[tuple[str, str]] = []
        for line in rows.splitlines():
            if row := re.match(r" +(-\d+(?: to -\d+)?)   +(.*)", line):
                table.append((row[1], row[2]))
            else:
                table[-1] = (table[-1][0], f"{table[-1][1]} {line.strip()}")
        return before.split("\n\n"), table, after.split("\n\n")
