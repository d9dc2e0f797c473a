# SPDX-FileCopyrightText: 2026 The quorra authors
# SPDX-License-Identifier: BSD-2-Clause
"""quorra.lib against include/quorra.h, by the header's own text and by a C compiler, and against what the
library exports."""

from __future__ import annotations

import ctypes
import inspect
import re
import subprocess
import sys
from pathlib import Path

import pytest

import quorra
from quorra import lib
from quorra._prototypes import CONSTANTS, DOCS, FUNCTIONS, VARIABLES
from quorra._types import termios


def test_what_is_made_from_the_tree_is_up_to_date(root: Path, program: str) -> None:
    done = subprocess.run([sys.executable, root / "python" / "generate.py", "--check", "--program", program],
                          capture_output=True, text=True, check=False)
    assert (done.returncode, done.stdout, done.stderr) == (0, "", "")


def exported(library: str) -> set[str]:
    told = subprocess.run(["nm", "-D", "--defined-only", library], capture_output=True, text=True, check=True)
    return {line.split()[-1].split("@")[0] for line in told.stdout.splitlines()
            if line.split()[-2] in "TBD"}


def test_nothing_that_is_exported_is_missing() -> None:
    names = exported(str(quorra.path_of_library()))
    assert len(names) > 200
    assert names == set(FUNCTIONS) | set(VARIABLES)
    for name in names:
        assert getattr(lib, name) is getattr(lib, name)
        assert name in dir(lib)
    with pytest.raises(AttributeError, match="srd_4443"):
        lib.srd_4443  # type: ignore[attr-defined]


def c_function(result: str, parameters: tuple[tuple[str, str], ...]) -> str:
    return f"{result}({', '.join(kind for _, kind in parameters)})"


def compiles(root: Path, lines: list[str]) -> str:
    """The complaints of a C compiler about a file that includes the header."""
    text = "\n".join(["#include <stddef.h>", "#include <termios.h>", "#include <quorra.h>", *lines])
    done = subprocess.run(["cc", "-std=gnu11", "-fsyntax-only", "-xc", f"-I{root / 'include'}", "-"], input=text,
                          capture_output=True, text=True, check=False)
    return done.stderr


def assertions() -> list[str]:
    same = "_Static_assert(__builtin_types_compatible_p(__typeof__({}), {}), \"{}\");"
    lines = [same.format(name, c_function(*declared), name) for name, declared in FUNCTIONS.items()]
    for name, kind in VARIABLES.items():
        lines.append(same.format(name, kind, name))
    lines += [f'_Static_assert({name} == {value}, "{name}");' for name, value in CONSTANTS.items()]
    lines.append(f'_Static_assert(sizeof(struct termios) == {ctypes.sizeof(termios)}, "termios");')
    for name, *_ in termios._fields_:
        at = getattr(termios, name).offset
        lines.append(f'_Static_assert(offsetof(struct termios, {name}) == {at}, "{name}");')
    return lines


def test_a_c_compiler_finds_the_same_types(root: Path) -> None:
    assert compiles(root, assertions()) == ""


def test_the_compiler_sees_differences(root: Path) -> None:
    wrong = [("srd_4442", "int(int, int, int, const unsigned char *)"), ("val_set", "int(int, int)"),
             ("DRVCOMM", "char[59]")]
    for name, kind in wrong:
        line = f'_Static_assert(__builtin_types_compatible_p(__typeof__({name}), {kind}), "{name}");'
        assert "static assertion failed" in compiles(root, [line])


def plain(text: str) -> str:
    """Text without line ends, and without the stars of comments."""
    return " ".join(re.sub(r"^ \* ?", " ", text, flags=re.MULTILINE).split())


def comments_before(header: str) -> dict[str, str]:
    """For each function the comment that stands before it, found from the function upwards."""
    found = {}
    lines = header.splitlines()
    for number, line in enumerate(lines):
        declared = re.match(r"(?:int|void) (\w+)\(", line)
        if not declared:
            continue
        above = number - 1
        while above >= 0 and not lines[above].endswith("*/") and lines[above].strip():
            above -= 1
        last = above
        if not lines[above].endswith("*/"):
            continue
        while not lines[above].startswith("/*"):
            above -= 1
        found[declared[1]] = plain("\n".join(lines[above : last + 1]).removeprefix("/*").removesuffix("*/"))
    return found


def test_docstrings_are_the_comments_of_the_header(root: Path) -> None:
    comments = comments_before((root / "include" / "quorra.h").read_text())
    assert set(DOCS) == set(FUNCTIONS) == set(comments)
    for name, comment in comments.items():
        assert plain(DOCS[name]) == comment, name
        assert getattr(lib, name).__doc__ == DOCS[name]


CODE = re.compile(r"(?<![\w-])-\d{1,3}\b")
NUMBERED_CODES = {-1, -16, -128, -129, -132, -133, -135, -136, -138, -141, -143, -144}


def test_return_codes_in_docstrings_are_those_of_the_header(root: Path) -> None:
    table = (root / "include" / "quorra.h").read_text().split("#ifndef", 1)[0]
    assert {int(code) for code in re.findall(r"^ \*\s+(-\d+)   ", table, re.MULTILINE)} == NUMBERED_CODES
    for name, doc in DOCS.items():
        assert {int(code) for code in CODE.findall(doc)} <= NUMBERED_CODES, name


def documented_objects() -> list[tuple[str, str]]:
    found = []
    for name in quorra.__all__:
        thing = getattr(quorra, name)
        members = inspect.getmembers(thing) if inspect.isclass(thing) else []
        for member, value in [(name, thing), *members]:
            if inspect.isclass(thing) and (member.startswith("_") or member not in thing.__dict__) and value is not thing:
                continue
            if doc := inspect.getdoc(value):
                found.append((f"{name}.{member}", doc))
    return found


def test_docstrings_of_the_package_name_what_is_there() -> None:
    objects = documented_objects()
    assert len(objects) > 60
    names = set(FUNCTIONS) | set(quorra.__all__) | set(VARIABLES)
    families = {name.rpartition("_")[0] for name in FUNCTIONS}
    for where, doc in objects:
        for word in re.findall(r"\b[a-zA-Z]+_(?:\d\w*|[A-Z]\w*)\b", doc):
            assert word in names or word.rpartition("_")[0] not in families, (where, word)
        assert {int(code) for code in CODE.findall(doc)} <= NUMBERED_CODES, where


def test_parameters_and_results() -> None:
    text = ctypes.create_string_buffer(19)
    room = bytearray(19)
    assert lib.lib_ver(text) == 0
    assert lib.lib_ver(room) == 0
    assert room == text.raw
    assert lib.lib_ver(memoryview(room)) == 0
    assert lib.lib_ver((ctypes.c_ubyte * 19)()) == 0
    assert lib.lib_ver(None) == -143
    assert lib.cr_bcc(3, b"\x01\x02\x04") == lib.cr_bcc(3, bytearray(b"\x01\x02\x04")) == 7
    for wrong in (bytes(19), "text", 5, (ctypes.c_int * 19)(), 1.5, [0]):
        with pytest.raises(ctypes.ArgumentError):
            lib.lib_ver(wrong)  # type: ignore[arg-type]
    with pytest.raises(ctypes.ArgumentError):
        lib.srd_4442("0", 0, 1, bytearray(1))  # type: ignore[arg-type]
    assert lib.srd_4442(-1, 256, 1, bytearray(1)) == -144
    assert lib.srd_4442(-1, 0, 257, bytearray(257)) == -143
    keys = bytearray(16 * 48)
    rows = (ctypes.c_ubyte * 48 * 16)()
    lib.Gen_Childkey1(b"\x01\x23\x45\x67\x89\xab\xcd\xef", keys)
    lib.Gen_Childkey1(b"\x01\x23\x45\x67\x89\xab\xcd\xef", rows)
    assert set(keys) == {0, 1}
    assert bytes(rows) == keys


def test_variables_are_the_library_s_own(tmp_path: Path) -> None:
    configuration = tmp_path / "reader.conf"
    configuration.write_text("P=/dev/nowhere\n")
    ctypes.memset(lib.DRVCOMM, 0, ctypes.sizeof(lib.DRVCOMM))
    assert lib.getpar(configuration) == 0
    assert lib.DRVCOMM.value == b"/dev/nowhere"
    assert lib.term_flg.value == 1
    configuration.write_text("W=x\n")
    assert lib.getpar(str(configuration)) == lib.getpar(bytes(configuration)) == 0
    assert lib.term_flg.value == 0
    assert lib.getpar(tmp_path / "missing") == lib.getpar(None) == -1


def test_the_version_is_that_of_the_library(root: Path) -> None:
    told = [lib.QUORRA_VERSION_MAJOR, lib.QUORRA_VERSION_MINOR, lib.QUORRA_VERSION_PATCH]
    header = (root / "include" / "quorra.h").read_text()
    assert [str(number) for number in told] == re.findall(r"#define QUORRA_VERSION_\w+ (\d+)", header)
    assert quorra.__version__ == ".".join(map(str, told))
