# SPDX-FileCopyrightText: 2026 The quorra authors
# SPDX-License-Identifier: BSD-2-Clause
"""The small changes that are made to a source."""

import re
from collections.abc import Callable, Iterable, Iterator
from dataclasses import dataclass

from .source import Source, Token


@dataclass(frozen=True)
class Mutant:
    """A file with one place changed."""

    file: str
    start: int
    end: int
    replacement: str
    line: int
    before: str  # the lines concerned, white space collapsed
    after: str

    @property
    def key(self) -> str:
        """What stays the same when lines above are added or removed, within one file."""
        return f"{self.before} -> {self.after}"

    def apply(self, text: str) -> str:
        return text[: self.start] + self.replacement + text[self.end :]


@dataclass(frozen=True)
class _Change:
    start: int
    end: int
    replacement: str


_OPERATORS = {
    "<": ["<=", ">="],
    "<=": ["<", ">"],
    ">": [">=", "<="],
    ">=": [">", "<"],
    "==": ["!="],
    "!=": ["=="],
    "+": ["-"],
    "-": ["+"],
    "*": ["/"],
    "/": ["*"],
    "%": ["/"],
    "&": ["|"],
    "|": ["&"],
    "^": ["|"],
    "<<": [">>"],
    ">>": ["<<"],
    "+=": ["-="],
    "-=": ["+="],
    "*=": ["/="],
    "/=": ["*="],
    "%=": ["/="],
    "&=": ["|="],
    "|=": ["&="],
    "^=": ["|="],
    "<<=": [">>="],
    ">>=": ["<<="],
    "&&": ["||"],
    "||": ["&&"],
}

# What ends an operand of && or || on its level of brackets.
_ENDS_OPERAND = {"&&", "||", "?", ":", ";", ",", "=", "return", "(", ")", "[", "]", "{", "}"}

_COMMUTATIVE = {"min", "max", "swap", "memcmp", "equal"}

# A list of so many plain numbers is a table: its entries change places.
_TABLE_SIZE = 16

_NOT_REMOVED = {
    *("return", "if", "for", "while", "do", "switch", "case", "default", "else", "try", "catch"),
    *("using", "namespace", "struct", "class", "enum", "template", "public", "private", "static"),
    *("static_assert", "typedef", "extern", "inline", "constexpr", "const", "friend", "explicit"),
}

_DECLARATION = re.compile(r"[\w:]+(<[^;()=]*>)?[*&]* [*&]*\w")


def _of_operators(source: Source) -> Iterator[_Change]:
    for index, token in enumerate(source.tokens):
        if token.text in _OPERATORS and source.is_spaced(index):
            for other in _OPERATORS[token.text]:
                yield _Change(token.start, token.end, other)
        elif token.text in ("++", "--"):
            yield _Change(token.start, token.end, "--" if token.text == "++" else "++")
        elif token.text in ("!", "-", "~") and not source.is_spaced(index):
            yield _Change(token.start, token.end, "")


def _end_of_operand(source: Source, index: int, step: int) -> int:
    opening = "([{" if step > 0 else ")]}"
    while source.word(index) and source.word(index) not in _ENDS_OPERAND - set(opening):
        if source.word(index) in opening:
            index = source.partner[index]
        index += step
    return index - step


def _of_conditions(source: Source) -> Iterator[_Change]:
    tokens = source.tokens

    def fixed(first: int, last: int, values: Iterable[str]) -> Iterator[_Change]:
        if first <= last and source.between(first, last) not in ("true", "false"):
            for value in values:
                yield _Change(tokens[first].start, tokens[last].end, value)

    for index, token in enumerate(tokens):
        begin = index + 1
        if token.text in ("if", "while", "for") and source.word(begin) == "(":
            end = source.partner[begin]
            ends = [i for i in range(begin + 1, end) if source.word(i) == ";"] + [end]
            if token.text == "for":
                if len(ends) == 3:
                    yield from fixed(ends[0] + 1, ends[1] - 1, ["false"])
            else:
                first = ends[-2] + 1 if len(ends) > 1 else begin + 1
                yield from fixed(first, end - 1, ["false"] if token.text == "while" else ["true", "false"])
        elif token.text == "?":
            yield from fixed(_end_of_operand_of_choice(source, index - 1), index - 1, ["true", "false"])
        elif token.text in ("&&", "||") and source.is_spaced(index):
            neutral = ["true" if token.text == "&&" else "false"]
            yield from fixed(_end_of_operand(source, index - 1, -1), index - 1, neutral)
            yield from fixed(index + 1, _end_of_operand(source, index + 1, 1), neutral)


def _end_of_operand_of_choice(source: Source, index: int) -> int:
    while True:
        index = _end_of_operand(source, index, -1)
        if source.word(index - 1) not in ("&&", "||"):
            return index
        index -= 2


def _neighbours(literal: str) -> list[str]:
    match = re.fullmatch(r"(0[xX])?([0-9A-Fa-f']+)(\.\d+)?([uUlLzZfF]*)", literal)
    if match is None:
        return []
    prefix, digits, fraction, suffix = (group or "" for group in match.groups())
    if prefix == "" and digits != digits.rstrip("fF"):
        digits = digits.rstrip("fF")
    value = int(digits.replace("'", ""), 16 if prefix else 10)
    values = [value + 1] if value == 0 else [value - 1, value + 1]
    width = len(digits) if prefix else 1
    return [f"{prefix}{v:0{width}X}{suffix}" if prefix else f"{v}{fraction}{suffix}" for v in values]


def _tables(source: Source) -> Iterator[list[Token]]:
    for begin, end in source.partner.items():
        if begin < end and source.word(begin) == "{":
            inside = source.tokens[begin + 1 : end]
            numbers = [token for token in inside if token.kind == "number"]
            if len(numbers) >= _TABLE_SIZE and all(t.kind == "number" or t.text == "," for t in inside):
                yield numbers


def _is_size_of_array(source: Source, index: int) -> bool:
    if source.word(index - 1) != "[" or source.word(index + 1) != "]":
        return False
    declares = re.compile(r"[A-Za-z_]\w*|[*>]")
    return bool(declares.fullmatch(source.word(index - 2)) and declares.fullmatch(source.word(index - 3)))


def _of_literals(source: Source) -> Iterator[_Change]:
    in_tables: set[Token] = set()
    for numbers in _tables(source):
        in_tables.update(numbers)
        for one, next_one in zip(numbers, numbers[1:], strict=False):
            if one.text != next_one.text:
                gap = source.text[one.end : next_one.start]
                yield _Change(one.start, next_one.end, next_one.text + gap + one.text)
    for index, token in enumerate(source.tokens):
        if token.kind == "number" and token not in in_tables:
            neighbours = _neighbours(token.text)
            # Room that nobody needs is no harm.
            if _is_size_of_array(source, index):
                neighbours = neighbours[:1]
            for other in neighbours:
                yield _Change(token.start, token.end, other)
        elif token.kind == "character":
            yield _Change(token.start, token.end, "'!'" if token.text == "'#'" else "'#'")
        elif token.kind == "string" and token.text.startswith('"') and len(token.text) > 2:
            if source.word(index - 1) != "extern":
                for place in sorted({token.start + 1, token.end - 2}):
                    if source.text[place] != "\\" and source.text[place - 1] != "\\":
                        yield _Change(place, place + 1, "~")
        elif token.text in ("true", "false"):
            yield _Change(token.start, token.end, "false" if token.text == "true" else "true")


def enumerations(sources: Iterable[Source]) -> dict[str, str]:
    """For each enumerator, as it is written, another one of its enumeration with another value."""
    others: dict[str, str] = {}
    for source in sources:
        for index, token in enumerate(source.tokens):
            if token.text != "enum":
                continue
            scoped = source.word(index + 1) == "class"
            name = source.word(index + 2 if scoped else index + 1)
            begin = index
            while source.word(begin) not in ("{", ";", ""):
                begin += 1
            if source.word(begin) != "{":
                continue
            prefix = f"{name}::" if scoped else ""
            values = {}
            for first, last in source.split(begin):
                written = source.between(first + 2, last) if last > first else str(len(values))
                values[prefix + source.word(first)] = written
            names = list(values)
            for place, enumerator in enumerate(names):
                following = names[place + 1 :] + names[:place]
                for other in following:
                    if values[other] != values[enumerator]:
                        others[enumerator] = other
                        break
    return others


def _of_enumerators(source: Source, others: dict[str, str]) -> Iterator[_Change]:
    for index, token in enumerate(source.tokens):
        if token.kind != "word" or source.word(index - 1) in ("::", ".", "->"):
            continue
        last = index + 2 if source.word(index + 1) == "::" else index
        written = source.between(index, min(last, len(source.tokens) - 1))
        is_definition = source.word(index - 1) in ("{", ",") and source.word(last + 1) == "="
        if written in others and not is_definition:
            yield _Change(token.start, source.tokens[last].end, others[written])


def _inside_parentheses(source: Source) -> set[int]:
    inside: set[int] = set()
    for begin, end in source.partner.items():
        if begin < end and source.word(begin) == "(":
            text = source.between(begin, end)
            inside.update(() if "{" in text else range(begin, end))
    return inside


def _of_statements(source: Source) -> Iterator[_Change]:
    inside = _inside_parentheses(source)
    for index, token in enumerate(source.tokens):
        if index in inside:
            continue
        previous = source.word(index - 1)
        begins = previous in (";", "{", "}", "else", "do")
        if previous == ")":
            begins = source.word(source.partner.get(index - 1, 0) - 1) in ("if", "for", "while")
        if not begins or token.text in _NOT_REMOVED or token.text in ";{})":
            continue
        end = index
        while source.word(end) not in (";", "", "}", ")", ":"):
            if source.word(end) == "{" and source.word(end - 1) != "=":
                break
            end = source.partner.get(end, end) + 1
        if source.word(end) != ";":
            continue
        statement = source.between(index, end)
        if token.text == "throw" or not _DECLARATION.match(statement):
            yield _Change(token.start, source.tokens[end].end, ";")


def _of_rows(source: Source) -> Iterator[_Change]:
    for begin, end in source.partner.items():
        if begin > end or source.word(begin) != "{":
            continue
        rows = source.split(begin)
        if len(rows) < 2 or any(source.word(first) != "{" for first, _ in rows):
            continue
        for first, last in rows:
            stop = last + 1 if source.word(last + 1) == "," else last
            yield _Change(source.tokens[first].start, source.tokens[stop].end, "")


def _of_arguments(source: Source) -> Iterator[_Change]:
    for index, token in enumerate(source.tokens):
        if token.kind != "word" or source.word(index + 1) != "(" or index + 1 not in source.partner:
            continue
        if token.text in ("if", "for", "while", "switch", "sizeof", "decltype", "catch"):
            continue
        arguments = source.split(index + 1)
        texts = [source.between(*argument) for argument in arguments]
        if any(_DECLARATION.match(text) for text in texts):
            continue
        for place in range(len(arguments) - 1):
            if texts[place] == texts[place + 1] or (token.text in _COMMUTATIVE and place == 0):
                continue
            start = source.tokens[arguments[place][0]].start
            end = source.tokens[arguments[place + 1][1]].end
            yield _Change(start, end, f"{texts[place + 1]}, {texts[place]}")


def _collapsed(text: str) -> str:
    return " ".join(text.split())


def mutants_of(source: Source, others: dict[str, str]) -> list[Mutant]:
    """All mutants of a file, in the order of their places."""
    kinds: list[Callable[[Source], Iterator[_Change]]] = [
        _of_operators,
        _of_conditions,
        _of_literals,
        lambda s: _of_enumerators(s, others),
        _of_statements,
        _of_rows,
        _of_arguments,
    ]
    left_alone = {source.tokens[index].start for index in source.left_alone}
    changes = {
        change
        for kind in kinds
        for change in kind(source)
        if change.start not in left_alone
    }
    found: list[Mutant] = []
    for change in sorted(changes, key=lambda c: (c.start, c.end, c.replacement)):
        first = source.text.rfind("\n", 0, change.start) + 1
        last = source.text.find("\n", change.end)
        before = source.text[first:last]
        after = source.text[first : change.start] + change.replacement + source.text[change.end : last]
        found.append(
            Mutant(
                source.file,
                change.start,
                change.end,
                change.replacement,
                source.line_of(change.start),
                _collapsed(before),
                _collapsed(after),
            )
        )
    return found
