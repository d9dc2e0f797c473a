#!/usr/bin/env python3
# SPDX-FileCopyrightText: 2026 The quorra authors
# SPDX-License-Identifier: BSD-2-Clause
"""Makes what the package takes from the rest of the tree.

    generate.py [--program FILE] [--check]

quorra/_prototypes.py and quorra/lib.pyi are the interface in include/quorra.h, quorra/_words.py the
words for results and for the status bytes of the virtual reader; with the program quorra in FILE,
quorra/kinds.json is what `quorra kinds --json` tells. With --check nothing is written: files that would
change are named, and the exit status is 1."""

from __future__ import annotations

import argparse
import json
import pprint
import re
import subprocess
import sys
from dataclasses import dataclass
from pathlib import Path

HERE = Path(__file__).resolve().parent
ROOT = HERE.parent
PACKAGE = HERE / "quorra"

LICENCE = """\
# SPDX-FileCopyrightText: 2026 The quorra authors
# SPDX-License-Identifier: BSD-2-Clause
"""


@dataclass
class Function:
    name: str
    result: str
    parameters: list[tuple[str, str]]
    doc: str


@dataclass
class Header:
    functions: list[Function]
    variables: dict[str, str]
    constants: dict[str, int]


def words_of(comment: str) -> str:
    """The text of a C comment."""
    inside = comment.removeprefix("/*").removesuffix("*/")
    lines = [re.sub(r"^\s*\* ?", "", line).rstrip() for line in inside.splitlines()]
    return "\n".join(lines).strip()


def parameter_of(text: str) -> tuple[str, str]:
    """Name and type: ("buffer", "const unsigned char *")."""
    if rows := re.fullmatch(r"(.+?)\s*\(\*(\w+)\)\[(\d+)\]", text):
        return rows[2], f"{rows[1]} (*)[{rows[3]}]"
    plain = re.fullmatch(r"(.+?)(\w+)", text)
    assert plain is not None, text
    return plain[2], plain[1].strip()


def read_header(text: str) -> Header:
    """The declarations. A comment is about the declarations that follow it without an empty line."""
    header = Header([], {}, {})
    comment = ""
    # A comment, an empty line, a line of the preprocessor, or a declaration.
    token = re.compile(r"/\*.*?\*/|\n[ \t]*(?=\n)|^#[^\n]*|^[a-z][^;{}]*;", re.DOTALL | re.MULTILINE)
    for found in token.finditer(text):
        part = found[0]
        if part.startswith("/*"):
            behind = text[text.rfind("\n", 0, found.start()) + 1 : found.start()].strip()
            comment = comment if behind else words_of(part)
        elif not part.strip():
            comment = ""
        elif part.startswith("#"):
            if constant := re.fullmatch(r"#define (QUORRA_\w+) (\d+)", part):
                header.constants[constant[1]] = int(constant[2])
        elif part.startswith("extern"):
            if variable := re.fullmatch(r"extern (.+?)\s*(\w+)(\[\d+\])?;", part):
                header.variables[variable[2]] = variable[1] + (variable[3] or "")
        elif function := re.fullmatch(r"(\w+) (\w+)\((.*)\);", " ".join(part.split())):
            header.functions.append(
                Function(function[2], function[1],
                         [parameter_of(one) for one in function[3].split(", ")], comment))
    return header


def quoted(doc: str) -> str:
    """A string literal of several lines."""
    return f'{"r" if chr(92) in doc else ""}"""{doc}"""'


def prototypes(header: Header) -> str:
    lines = [
        LICENCE + '"""The interface of the library, as include/quorra.h declares it. Made by generate.py."""',
        "",
        "CONSTANTS: dict[str, int] = " + pprint.pformat(header.constants, sort_dicts=False),
        "",
        "VARIABLES: dict[str, str] = " + pprint.pformat(header.variables, sort_dicts=False),
        "",
        "# By name: the type of the result, and name and type of each parameter.",
        "FUNCTIONS: dict[str, tuple[str, tuple[tuple[str, str], ...]]] = {",
    ]
    for function in header.functions:
        parameters = "".join(f'("{name}", "{kind}"), ' for name, kind in function.parameters)
        lines.append(f'    "{function.name}": ("{function.result}", ({parameters.rstrip()})),')
    lines += ["}", "", "DOCS: dict[str, str] = {"]
    for function in header.functions:
        lines.append(f'    "{function.name}": {quoted(function.doc)},')
    return "\n".join([*lines, "}", ""])


# What Python passes for a parameter.
PARAMETER_TYPES = {
    "int": "int",
    "unsigned int": "int",
    "unsigned char": "int",
    "int *": "_Int",
    "unsigned int *": "_UnsignedInt",
    "unsigned char *": "_Room",
    "const unsigned char *": "_Bytes",
    "unsigned char (*)[48]": "_Rows",
    "unsigned char (*)[6]": "_Rows",
    "char *": "_Room",
    "const char *": "_Path",
}
VARIABLE_TYPES = {
    "unsigned char": "ctypes.c_ubyte",
    "int": "ctypes.c_int",
    "char[60]": "ctypes.Array[ctypes.c_char]",
    "struct termios": "termios",
}


def stubs(header: Header) -> str:
    lines = [
        LICENCE + '"""The functions of the library, as they are. Made by generate.py."""',
        "",
        "import ctypes",
        "import os",
        "from typing import Union",
        "",
        "from quorra._types import termios as termios",
        "",
        "_Array = Union[ctypes.Array[ctypes.c_ubyte], ctypes.Array[ctypes.c_char]]",
        "_Room = Union[bytearray, memoryview, _Array, ctypes.c_ubyte, ctypes.c_char, ctypes._CArgObject, None]",
        "_Bytes = Union[bytes, _Room]",
        "_Rows = Union[_Room, ctypes.Array[ctypes.Array[ctypes.c_ubyte]]]",
        "_Path = Union[str, bytes, os.PathLike[str], None]",
        "_Int = Union[ctypes.c_int, ctypes.Array[ctypes.c_int], ctypes._CArgObject, None]",
        "_UnsignedInt = Union[ctypes.c_uint, ctypes.Array[ctypes.c_uint], ctypes._CArgObject, None]",
        "",
    ]
    lines += [f"{name}: int" for name in header.constants]
    lines += [f"{name}: {VARIABLE_TYPES[kind]}" for name, kind in header.variables.items()]
    for function in header.functions:
        parameters = ", ".join(f"__{name}: {PARAMETER_TYPES[kind]}"
                               for name, kind in function.parameters)
        result = "int" if function.result == "int" else "None"
        doc = function.doc.replace("\n", "\n    ").replace("\n    \n", "\n\n")
        lines += ["", f"def {function.name}({parameters}) -> {result}:", f"    {quoted(doc)}"]
    return "\n".join([*lines, ""])


def joined(literals: str) -> str:
    """The text of C string literals that follow each other."""
    return "".join(re.findall(r'"((?:[^"\\]|\\.)*)"', literals))


def words(errors: str, operations: str, statuses: str, names: str) -> str:
    texts = dict(re.findall(r'constexpr std::string_view (\w+) =\s*("[^;]*");', errors))
    codes = dict(re.findall(r"inline constexpr int (\w+) = (-\d+);", operations))
    table = re.search(r"code_words\[\] = \{(.*?)\n\};", errors, re.DOTALL)
    kinds = re.search(r"enum class OperationKind \{(.*?)\};", operations, re.DOTALL)
    assert table is not None and kinds is not None
    lines = [
        LICENCE + '"""Words for results of the library, and for the status bytes of the virtual reader. Made by',
        'generate.py."""',
        "",
        "# What the same number means depends on what is being done.",
        "OPERATION_KINDS: tuple[str, ...] = (",
    ]
    lines += [f'    "{kind}",' for kind in re.findall(r"^\s*(\w+),", kinds[1], re.MULTILINE)]
    lines += [")", "", "# A code, the kind of operation in which it counts (None: any), a name and words. The first "
              "row that fits", "# counts; where there is none, the result is the reader's STATUS, negated.",
              "RESULTS: tuple[tuple[int, str | None, str, str], ...] = ("]
    for row in re.finditer(r'\{([\w-]+),\s*([\w:]+),\s*"(\w+)",\s*((?:"[^"]*"\s*)+|\w+)\}', table[1]):
        code = row[1] if row[1].startswith("-") else codes[row[1]]
        kind = None if row[2] == "std::nullopt" else row[2].removeprefix("OperationKind::")
        text = joined(row[4] if row[4].startswith('"') else texts[row[4]])
        lines.append(f"    ({code}, {json.dumps(kind) if kind else None}, {json.dumps(row[3])},\n"
                     f"     {json.dumps(text)}),")
    lines += [")", "", "# By STATUS: a name and a sentence.", "STATUSES: dict[int, tuple[str, str]] = {"]
    numbers = dict(re.findall(r"(\w+) = (0x[0-9A-F]{2}),", names))
    for name, short, text in re.findall(r'Entry\{Status::(\w+), "(\w+)",\s*((?:"[^"]*"\s*)+)\}', statuses):
        lines.append(f"    {numbers[name]}: ({json.dumps(short)}, {json.dumps(joined(text))}),")
    return "\n".join([*lines, "}", ""])


def kinds(program: str) -> str:
    told = subprocess.run([program, "kinds", "--json"], check=True, capture_output=True, text=True)
    return json.dumps(json.loads(told.stdout)["kinds"], indent=1) + "\n"


def main() -> int:
    parser = argparse.ArgumentParser()
    parser.add_argument("--program")
    parser.add_argument("--check", action="store_true")
    arguments = parser.parse_args()

    header = read_header((ROOT / "include" / "quorra.h").read_text())
    made = {
        "_prototypes.py": prototypes(header),
        "lib.pyi": stubs(header),
        "_words.py": words((ROOT / "toolkit/session/errors.cpp").read_text(),
                           (ROOT / "toolkit/session/errors.hpp").read_text(),
                           (ROOT / "simulator/status.cpp").read_text(),
                           (ROOT / "simulator/status.hpp").read_text()),
    }
    if arguments.program:
        made["kinds.json"] = kinds(arguments.program)
    old = []
    for name, text in made.items():
        file = PACKAGE / name
        if file.exists() and file.read_text() == text:
            continue
        old.append(name)
        if not arguments.check:
            file.write_text(text)
    if arguments.check and old:
        print("not as generate.py makes them:", ", ".join(old))
        return 1
    return 0


if __name__ == "__main__":
    sys.exit(main())
