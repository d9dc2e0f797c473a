# SPDX-FileCopyrightText: 2026 The quorra authors
# SPDX-License-Identifier: BSD-2-Clause
"""A C++ source as tokens. It is enough of the language to find the places that can be changed."""

import re
from dataclasses import dataclass
from functools import cached_property
from pathlib import Path

_TOKEN = re.compile(
    r"""
    (?P<skip>\s+ | //[^\n]* | /\*.*?\*/ | ^[ \t]*\#(?:\\\n|[^\n])*)
  | (?P<string>R"(?P<delimiter>[^(\s]*)\(.*?\)(?P=delimiter)" | "(?:\\.|[^"\\\n])*")
  | (?P<number>(?:0[xX][0-9A-Fa-f']+|\d[\d']*(?:\.\d+)?)[uUlLzZfF]*)
  | (?P<character>'(?:\\[0-7]+|\\x[0-9A-Fa-f]+|\\.|[^'\\\n])')
  | (?P<word>[A-Za-z_]\w*)
  | (?P<operator><<=|>>=|\.\.\.|->\*|<=>|[-+*/%&|^=!<>]=|<<|>>|&&|\|\||\+\+|--|->|::|.)
    """,
    re.VERBOSE | re.MULTILINE | re.DOTALL,
)

_CLOSING = {"(": ")", "[": "]", "{": "}"}


@dataclass(frozen=True)
class Token:
    kind: str
    text: str
    start: int
    end: int


class Source:
    """The text of a file, its tokens, and which brackets belong together."""

    def __init__(self, file: str, text: str) -> None:
        self.file = file
        self.text = text
        self.tokens = [
            Token(match.lastgroup or "", match.group(), match.start(), match.end())
            for match in _TOKEN.finditer(text)
            if match.lastgroup != "skip"
        ]
        self.partner: dict[int, int] = {}
        open_brackets: list[int] = []
        for index, token in enumerate(self.tokens):
            if token.kind != "operator":
                continue
            if token.text in _CLOSING:
                open_brackets.append(index)
            elif open_brackets and token.text == _CLOSING[self.tokens[open_brackets[-1]].text]:
                begin = open_brackets.pop()
                self.partner[begin] = index
                self.partner[index] = begin

    @classmethod
    def read(cls, root: Path, file: str) -> "Source":
        return cls(file, (root / file).read_text(encoding="utf-8"))

    def word(self, index: int) -> str:
        """The text of a token, nothing outside of the file."""
        return self.tokens[index].text if 0 <= index < len(self.tokens) else ""

    def between(self, first: int, last: int) -> str:
        """The text from the first token to the last one."""
        return self.text[self.tokens[first].start : self.tokens[last].end]

    def is_spaced(self, index: int) -> bool:
        """Whether white space stands on both sides: binary operators have it, nothing else does."""
        token = self.tokens[index]
        around = self.text[token.start - 1 : token.start] + self.text[token.end : token.end + 1]
        return len(around) == 2 and around.isspace()

    def line_of(self, position: int) -> int:
        return self.text.count("\n", 0, position) + 1

    @cached_property
    def left_alone(self) -> set[int]:
        """Tokens that stay: what is checked by the compiler, attributes, template parameters."""
        found: set[int] = set()
        for index, token in enumerate(self.tokens):
            begin = index + 1
            if token.text == "static_assert":
                found.update(range(index, self.partner.get(begin, index) + 1))
            elif token.text == "[" and self.word(begin) == "[":
                found.update(range(index, self.partner.get(index, index) + 1))
            elif token.text == "template" and self.word(begin) == "<":
                end = begin
                depth = 0
                while end < len(self.tokens):
                    depth += {"<": 1, ">": -1, ">>": -2}.get(self.word(end), 0)
                    if depth <= 0:
                        break
                    end += 1
                found.update(range(index, end + 1))
            elif token.text == "using":
                end = index
                while self.word(end) not in (";", ""):
                    end += 1
                found.update(range(index, end))
        return found

    def split(self, begin: int) -> list[tuple[int, int]]:
        """The first and the last token of what commas separate between a bracket and its partner."""
        parts: list[tuple[int, int]] = []
        first = index = begin + 1
        end = self.partner[begin]
        while index <= end:
            if index == end or self.word(index) == ",":
                if first < index:
                    parts.append((first, index - 1))
                first = index + 1
            index = self.partner[index] + 1 if self.word(index) in _CLOSING else index + 1
        return parts
