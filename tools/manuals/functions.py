# SPDX-FileCopyrightText: 2026 The quorra authors
# SPDX-License-Identifier: BSD-2-Clause
"""The pages of section 3: one for each section of the public header."""

import re
from dataclasses import dataclass

from . import mdoc
from .header import Declaration, Documented, Header, Section

LINK_CODES = ("-128", "-129", "-132", "-133")
STATUS = "-1 to -255"


@dataclass
class Group:
    """A section of the header, the name of its page, and what that is about."""

    section: str
    name: str
    about: str
    # A section before it that tells about the functions of several ones.
    general: str = ""


SECURITY = "Security memory cards"
GROUPS = [
    Group("Session", "quorra_session", "open and close a session with a card reader"),
    Group("Reader identity and control", "quorra_identity", "who the reader is, its buzzer, the power of its card"),
    Group("Line speed", "quorra_speed", "find and change the speed of the reader's line"),
    Group("Reader memory and reader security code", "quorra_memory", "memory and security code of the reader itself"),
    Group("Value register", "quorra_value", "a number that the reader keeps"),
    Group("Card type detection", "quorra_detection", "find out which card is in the reader"),
    Group("4442 and 4432 cards", "quorra_4442", "use 4442 and 4432 memory cards"),
    Group("4428 and 4418 cards", "quorra_4428", "use 4428 and 4418 memory cards"),
    Group("24C series", "quorra_24c", "use two-wire EEPROM cards"),
    Group("93C series", "quorra_93c", "use three-wire EEPROM cards"),
    Group("45D041 card", "quorra_45d041", "use 45D041 flash memory cards"),
    Group("4404 card: 52 bytes", "quorra_4404", "use 4404 security memory cards", SECURITY),
    Group("4406 card: 13 bytes", "quorra_4406", "use 4406 counter cards", SECURITY),
    Group("101 card: 172 bytes", "quorra_101", "use 101 security memory cards", SECURITY),
    Group("102 card: 178 bytes in three zones", "quorra_102", "use 102 security memory cards", SECURITY),
    Group("1604 and 1604b cards: five zones", "quorra_1604", "use 1604 and 1604b security memory cards", SECURITY),
    Group("Processor card", "quorra_processor", "speak with processor cards"),
    Group("Secure access modules", "quorra_sam", "speak with the SAMs in the reader"),
    Group("DES", "quorra_des", "encrypt and decrypt with single DES"),
    Group("The link's own building blocks", "quorra_link", "speak to the reader in frames of one's own"),
    Group("Session globals: what getpar and ic_init found", "quorra_globals", "what a session knows of its line"),
]


def parameter(text: str) -> str:
    """The name of a parameter: the one in brackets, or the last word."""
    inner = re.search(r"\(\*(\w+)\)", text)
    return inner[1] if inner else text.replace("*", " ").split()[-1]


class Functions:
    def __init__(self, header: Header) -> None:
        self.header = header
        self._sections = {section.title: section for section in header.sections}
        self._names = re.compile(
            r"(?<!\w)(?:" + "|".join(map(re.escape, sorted(header.names(), key=len, reverse=True))) + r")(?!\w)")
        told = {group.section for group in GROUPS} | {group.general for group in GROUPS} - {""}
        if told != self._sections.keys():
            raise ValueError("functions.py and the header have not the same sections: "
                             f"{sorted(told ^ self._sections.keys())}")

    def section(self, group: Group) -> Section:
        return self._sections[group.section]

    def text(self, comment: str) -> list[str]:
        """The paragraphs of a comment."""
        lines: list[str] = []
        for paragraph in re.split(r"\n\s*\n", comment):
            if not paragraph.strip():
                continue
            rows = paragraph.splitlines()
            if all(row.startswith("  ") for row in rows) and rows[-1].endswith("."):
                terms = re.findall(r"^  (\w+) +(.*(?:\n   .*)*)", paragraph, re.MULTILINE)
                lines.append(".Bl -tag -width Ds")
                for term, meaning in terms:
                    lines += [f".It Fa {term}", *mdoc.fill(self._inline(meaning))]
                lines.append(".El")
                continue
            if all(row.startswith("  ") for row in rows):
                indent = min(len(row) - len(row.lstrip()) for row in rows)
                lines += mdoc.display([row[indent:] for row in rows])
                continue
            # What begins with the name of a parameter is a paragraph of its own.
            for piece in re.split(r"\n(?=\w+: )", paragraph):
                lines += [".Pp", *mdoc.fill(self._inline(piece))]
        return lines

    def _inline(self, text: str) -> str:
        parts = re.split(r"`([^`]+)`", text)
        for number, part in enumerate(parts):
            if number % 2:
                parts[number] = rf"\fI{mdoc.escape(part, literal=True)}\fR"
            else:
                part = re.sub(r"(?<![\w)])-(?=\d)", "\0", part)
                part = mdoc.escape(part).replace("\0", r"\-")
                part = re.sub(r"(\w+)\(\)", r"\\fB\1\\fR()", part)
                parts[number] = self._names.sub(r"\\fB\g<0>\\fR", part)
        return "".join(parts)

    def names(self, group: Group) -> list[str]:
        names = [group.name, *self.section(group).names()]
        return [".Nm " + name + (" ," if name != names[-1] else "") for name in names]

    def synopsis(self, group: Group) -> list[str]:
        lines = [".In quorra.h"]
        for block in self.section(group).blocks:
            for one in block.declarations:
                if one.parameters is None:
                    lines.append(f".Vt extern {one.result} {mdoc.argument(one.name + one.suffix)} ;")
                    continue
                lines += [f".Ft {one.result}", f".Fo {one.name}",
                          *(f'.Fa "{part}"' for part in one.parameters), ".Fc"]
        return lines

    def description(self, group: Group) -> list[str]:
        section = self.section(group)
        general = self._general(group)[0]
        lines = self.text("\n\n".join(part for part in (*general, section.comment) if part))
        lines += [] if lines else [f"{group.about[:1].upper()}{group.about[1:]}."]
        lines.append(".Bl -tag -width Ds")
        for block in section.blocks:
            lines += [*self._head(block), *self.text("\n\n".join(block.parts()[0]) or block.comment)]
        return [*lines, ".El"]

    def _general(self, group: Group) -> tuple[list[str], list[str]]:
        """What is said of several groups, and what of their results."""
        if not group.general:
            return [], []
        paragraphs = re.split(r"\n\s*\n", self._sections[group.general].comment)
        results = [text for text in paragraphs if text.startswith("Results ")]
        return [text for text in paragraphs if text not in results], results

    def _head(self, block: Documented) -> list[str]:
        """The functions that a comment is about, as the head of a list item."""
        def shown(one: Declaration) -> str:
            if one.parameters is None:
                return f"Va {one.name}"
            return " ".join([f"Fn {one.name}", *map(parameter, one.parameters)])
        first, *others = map(shown, block.declarations)
        if not others:
            return [f".It {first}"]
        return [".It Xo", *(f".{one} ," for one in [first, *others[:-1]]), f".{others[-1]}", ".Xc"]

    def returns(self, group: Group) -> list[str]:
        lines: list[str] = []
        general = self._general(group)[1]
        listed = False
        for block in self.section(group).blocks:
            functions = [one for one in block.declarations if one.parameters is not None]
            if not functions:
                continue
            told = block.parts()[1]
            if not told:
                told = re.findall(r"(?:(?<=[.] )|(?<=[.]\n)|^)"
                                  r"((?:As \w|Otherwise as |[^.]*\b[Rr]esults as )[^.]*[.])", block.comment)
            if told:
                if not listed:
                    lines.append(".Bl -tag -width Ds")
                listed = True
                heads = [f"Fn {one.name}" for one in functions]
                lines += [f".It {heads[0]}"] if len(heads) == 1 else [
                    ".It Xo", *(f".{one} ," for one in heads[:-1]), f".{heads[-1]}", ".Xc"]
                lines += self.text(told[0] if len(told) == 1 else "\n\n".join(told))
        if listed:
            lines.append(".El")
        if general:
            different = [".Pp", "These functions have results of their own:", *lines] if listed else []
            return [*self.text("\n\n".join(general)), *different]
        return lines

    def errors(self, group: Group) -> list[str]:
        """The codes that the functions of the group may return."""
        comments = [self.section(group).comments()]
        if group.general:
            comments.append(self._sections[group.general].comment)
        text = "\n".join(comments)
        codes = set(re.findall(r"(?<![\w)])-\d+", text))
        if "link code" in text:
            codes.update(LINK_CODES)
        if "STATUS" in text:
            codes.add(STATUS)
        table = [row for row in self.header.codes()[1] if row[0] in codes]
        if not table:
            return []
        lines = [".Sh ERRORS", "A", r"\fIlink code\fR", "is one of", *mdoc.fill(
            ", ".join(mdoc.escape(code, True) for code in LINK_CODES) + ","),
            "as it arises in an exchange with the reader."] if "link code" in text else [".Sh ERRORS"]
        return [*lines, *self.codes(table), ".Pp", r"\fBquorra\fR(3) tells what to do after one."]

    def codes(self, table: list[tuple[str, str]]) -> list[str]:
        lines = [".Bl -tag -width Ds"]
        for code, text in table:
            lines += [f".It Sy {mdoc.argument(code)}", *mdoc.fill(self._inline(text + "."))]
        return [*lines, ".El"]
