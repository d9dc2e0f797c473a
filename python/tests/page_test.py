# SPDX-FileCopyrightText: 2026 The quorra authors
# SPDX-License-Identifier: BSD-2-Clause
"""docs/python.md against the package: what its tables name is there, and what is there is named."""

from __future__ import annotations

import inspect
import re
from pathlib import Path

import pytest

import quorra
from quorra import errors
from quorra._words import RESULTS
from quorra.pytest_plugin import quorra_bench
from quorra.reader import ReaderMemory, ReaderSecurity, ValueRegister

# The objects that a reader has for its own services, and how the page names them.
SERVICES: dict[str, type] = {"memory": ReaderMemory, "value": ValueRegister, "security": ReaderSecurity}


@pytest.fixture(scope="module")
def page(root: Path) -> str:
    return (root / "docs" / "python.md").read_text()


def rows(page: str, head: str) -> list[list[str]]:
    """What stands in backticks in the first column of the tables with this head."""
    found = []
    for table in re.findall(rf"^\| {re.escape(head)} \|.*\n\|---.*\n((?:\|.*\n)+)", page, re.MULTILINE):
        found += [re.findall(r"`([^`]+)`", row.split(" | ")[0]) for row in table.splitlines()]
    return found


def members(thing: type) -> set[str]:
    own = {name for kind in inspect.getmro(thing) if kind is not object for name in kind.__dict__}
    own |= set(inspect.get_annotations(thing))
    return {name for name in own if not name.startswith("_")}


def named(page: str, head: str) -> set[str]:
    return {entry.split("(")[0] for row in rows(page, head) for entry in row}


@pytest.mark.parametrize("head, thing, unnamed", [
    ("Of a `Card`", quorra.Card, {"others"}),
    ("Of a `Bench`", quorra.Bench, {"is_running", "process_id"}),
])
def test_tables_have_all_members(page: str, head: str, thing: type, unnamed: set[str]) -> None:
    instance = {"name", "size", "kind"} if thing is quorra.Card else {"configuration"}
    there = members(thing) | instance
    assert named(page, head) == there - unnamed
    for name in unnamed:
        assert name in there | {"others"}


def test_the_table_of_the_reader(page: str) -> None:
    entries: set[str] = set()
    for row in rows(page, "Of a `Reader`"):
        service = ""
        for entry in row:
            name = entry.split("(")[0]
            service = name.partition(".")[0] if "." in name and not name.startswith(".") else service
            entries.add(service + name if name.startswith(".") else name)
    there = {name for name in members(quorra.Reader) if name not in ("configuration", "is_closed", "take_over")}
    for service, thing in SERVICES.items():
        there |= {f"{service}.{name}" for name in members(thing) - {"size"}}
    assert entries == there
    assert "reader.take_over()" in page


def test_the_table_of_errors(page: str) -> None:
    there = {name for name in quorra.__all__
             if inspect.isclass(thing := getattr(quorra, name)) and issubclass(thing, errors.Error)}
    assert named(page, "Error") == there - {"Error"}


def test_the_table_of_fixtures(page: str) -> None:
    module = inspect.getmodule(quorra_bench)
    assert module is not None
    there = {name for name, value in vars(module).items() if name.startswith("quorra_") and callable(value)}
    assert len(there) == 6
    assert named(page, "Fixture") == there


def test_words_are_known(page: str, root: Path) -> None:
    own = set(re.findall(r'word="(\w+)"', "".join(
        file.read_text() for file in (root / "python" / "quorra").glob("*.py"))))
    words = own | {word for _, _, word, _ in RESULTS} | {"status"}
    table = page.split("| Error | Meaning |")[1].split("\n\n")[0]
    for row in table.splitlines()[2:]:
        for word in re.findall(r"`([a-z_]+)`", row.split("|")[2]):
            assert word in words, word


def test_arguments_are_those_of_the_functions(page: str) -> None:
    opened = inspect.signature(quorra.open).parameters
    assert named(page, "Argument") == set(opened)
    for entry in ("speed=", "line_speed=", "reader="):
        assert f"`{entry}`" in page and entry[:-1] in inspect.signature(quorra.virtual).parameters
    assert {"code", "memory", "data"} <= set(inspect.signature(quorra.new_card).parameters)
