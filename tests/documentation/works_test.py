# SPDX-FileCopyrightText: 2026 The quorra authors
# SPDX-License-Identifier: BSD-2-Clause
"""The README's table of what works with what: it has every kind of card once, what it names exists
wherever it is said to be, and it agrees with what the program knows of the kinds."""

import json
import re
import subprocess
import sys
import unittest
from pathlib import Path

from markdown import Page, tables

ROOT = Path(__file__).resolve().parents[2]

# What a kind of card can have, and what a row says if it has that: in the library, the command line,
# PC/SC and Python.
ABILITIES = {
    "code": (("csc_", "wsc_", "rsct_"), ("code",), ("FF 20", "FF 24"), ("present", "change_code")),
    "protection": (("pwr_",), ("protect",), (), ("protect",)),
    "flags": (("clrpr_",), ("protect",), (), ("forbid_writing",)),
    "erasing": (("ser_",), ("erase",), ("FF 0E",), ("erase",)),
    "erasing all": (("eral_", "wral_"), ("erase",), ("FF 0E",), ("erase",)),
    "fuse": (("psnl_",), ("personalise",), (), ("personalise",)),
    "units": ((), ("units",), (), ("units",)),
}


def abilities(kind: dict) -> set[str]:
    zones = kind["zones"]
    told = {
        "code": bool(kind["codes"]),
        "protection": kind["protectable"] > 0,
        "flags": any("flags" in zone for zone in zones),
        "erasing": any(zone["erases"] for zone in zones),
        "erasing all": kind["erases_all"],
        "fuse": kind["personalises"],
        "units": "units" in kind,
    }
    return {name for name, has in told.items() if has}


def in_backticks(cell: str) -> set[str]:
    return set(re.findall(r"`([^`]+)`", cell))


def without_links(cell: str) -> str:
    return re.sub(r"\[([^]]*)\]\([^)]*\)", r"\1", cell)


class Works(unittest.TestCase):
    program = ""

    @classmethod
    def setUpClass(cls) -> None:
        told = subprocess.run([cls.program, "kinds", "--json"], capture_output=True, text=True, check=True)
        cls.kinds = {kind["card"]: kind for kind in json.loads(told.stdout)["kinds"]}
        cls.help = subprocess.run([cls.program, "--help"], capture_output=True, text=True, check=True).stdout
        lines = (ROOT / "README.md").read_text(encoding="utf-8").splitlines()
        cls.rows = next(rows for head, *rows in tables(lines) if head[0] == "Cards")

    def kinds_of(self, cell: str) -> list[str]:
        names = list(self.kinds)
        found: list[str] = []
        for part in without_links(cell).split(", "):
            first, _, last = part.partition(" to ")
            if first in names:
                found += names[names.index(first):names.index(last or first) + 1]
        return found

    def memory_rows(self) -> list[tuple[list[str], list[set[str]]]]:
        rows = [(self.kinds_of(row[0]), [in_backticks(cell) for cell in row[1:]]) for row in self.rows]
        return [row for row in rows if row[0]]

    def test_has_every_kind_once(self) -> None:
        named = [kind for kinds, _ in self.memory_rows() for kind in kinds]
        self.assertEqual(sorted(named), sorted(self.kinds))
        others = [without_links(row[0]) for row in self.rows if not self.kinds_of(row[0])]
        self.assertEqual(others, ["processor cards", "SAMs inside the reader"])

    def test_says_what_the_program_knows(self) -> None:
        for kinds, cells in self.memory_rows():
            for kind in kinds:
                has = abilities(self.kinds[kind])
                for column, cell in enumerate(cells):
                    named = set().union(*(ABILITIES[a][column] for a in has))
                    every = set().union(*(names[column] for names in ABILITIES.values()))
                    self.assertEqual(cell & every, named, f"{kind}, column {column + 1}")

    def test_names_functions_of_the_library(self) -> None:
        header = (ROOT / "include/quorra.h").read_text(encoding="utf-8")
        for row in self.rows:
            kinds = self.kinds_of(row[0]) or [""]
            for name in in_backticks(row[1]):
                for kind in kinds:
                    self.assertRegex(header, rf"\b{name}{kind}\(")

    def test_names_commands_of_the_program(self) -> None:
        commands = re.findall(r"^  ([a-z]+) ", self.help, re.MULTILINE)
        for row in self.rows:
            self.assertLessEqual(in_backticks(row[2]), set(commands))

    def test_names_commands_of_the_driver(self) -> None:
        page = (ROOT / "docs/pcsc.md").read_text(encoding="utf-8")
        for row in self.rows:
            for name in in_backticks(row[3]):
                self.assertIn(f"`{name} ", page)

    def test_names_methods_of_the_package(self) -> None:
        source = {True: "card.py", False: "processor.py"}
        for row in self.rows:
            text = (ROOT / "python/quorra" / source[bool(self.kinds_of(row[0]))]).read_text(encoding="utf-8")
            for name in in_backticks(row[4]):
                self.assertIn(f"    def {name}(self", text)


if __name__ == "__main__":
    Works.program = sys.argv.pop(1)
    unittest.main()
