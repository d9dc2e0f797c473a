# SPDX-FileCopyrightText: 2026 The quorra authors
# SPDX-License-Identifier: BSD-2-Clause
"""The command reference against the program: every command has a section that is headed by its name,
and the tables "Option" of that section name its options and what else may be typed, no more and no
less. A heading that is nothing but words in backticks is the name of a command."""

import os
import re
import subprocess
import sys
import unittest
from pathlib import Path

from markdown import Heading, Page, tables

ROOT = Path(__file__).resolve().parents[2]
# Where the options of every command stand.
COMMON = "Naming the reader"


class Help:
    """What the program says of a command."""

    def __init__(self, program: str, words: list[str]) -> None:
        done = subprocess.run(
            [program, *words, "--help"],
            capture_output=True,
            text=True,
            check=True,
            env={**os.environ, "COLUMNS": "10000"},
        )
        self.text = done.stdout
        self.subcommands = [line.split()[0] for line in self._entries("Subcommands")]
        options = {name for line in self._entries("Options")
                   for name in re.match(r"\S+", line)[0].split(",") if name.startswith("--")}
        positionals = {line.split()[0].split("=")[0] for line in self._entries("Positionals")}
        self.names = (options | positionals) - {"--help"}

    def _entries(self, title: str) -> list[str]:
        part = re.search(rf"^{title}:\n((?:  .*\n)+)", self.text, re.MULTILINE)
        return [line.strip() for line in part[1].splitlines()] if part else []


def helps(program: str, words: list[str]) -> dict[str, Help]:
    """What the program says of each command that has no subcommands, by its words, and of itself."""
    told = Help(program, words)
    if not told.subcommands:
        return {" ".join(words): told}
    found = {"": told} if not words else {}
    for name in told.subcommands:
        found |= helps(program, [*words, name])
    return found


def documented(page: Page, heading: Heading) -> set[str]:
    """The options, and what else may be typed, that a section tells about."""
    names: set[str] = set()
    for head, *rows in tables(page.section(heading)):
        if head[0] != "Option":
            continue
        for row in rows:
            names |= {re.match(r"[^\s.=]+", token)[0] for token in re.findall(r"`([^`]+)`", row[0])}
    return names


def differences(page: Page, program: dict[str, Help]) -> list[str]:
    """What page and program do not agree on, in sentences."""
    complaints: list[str] = []
    sections: dict[str, set[str]] = {}
    for heading in page.headings:
        if heading.text == COMMON:
            sections[""] = documented(page, heading)
        elif name := re.fullmatch(r"`([^`]+)`", heading.text):
            if name[1] in sections:
                complaints.append(f"two sections are headed `{name[1]}`")
            sections[name[1]] = documented(page, heading)
    for command in sections.keys() - program.keys():
        complaints.append(f"a section is headed `{command}`, which is no command of the program")
    for command, told in program.items():
        where = f"section `{command}`" if command else f"section {COMMON}"
        if command not in sections:
            complaints.append(f"there is no {where}")
            continue
        for name in told.names - sections[command]:
            complaints.append(f"{where} has no row for {name}")
        allowed = told.names | (program[""].names if command else set())
        for name in sections[command] - allowed:
            complaints.append(f"{where} has a row for {name}, which the program does not know")
    return sorted(complaints)


class Reference(unittest.TestCase):
    program: dict[str, Help]

    def test_agrees_with_the_program(self) -> None:
        page = Page.of(ROOT / "docs" / "command-line.md")
        self.assertEqual(differences(page, self.program), [])

    def test_the_program_was_asked(self) -> None:
        program = self.program
        self.assertIn("--virtual", program[""].names)
        self.assertEqual(program["help"].names, {"COMMAND"})
        self.assertIn("--by-writing", program["detect"].names)
        self.assertIn("code change", program)
        self.assertNotIn("code", program)

    def test_what_is_missing_on_either_side_is_told(self) -> None:
        program = {name: told for name, told in self.program.items()
                   if name in ("", "eject", "trace")}
        common = "".join(f"| `{name}` | |\n" for name in program[""].names)

        def complaints(sections: str) -> list[str]:
            return differences(
                Page("page.md", f"## {COMMON}\n\n| Option | |\n|---|---|\n{common}\n{sections}"), program)

        trace = "## `trace`\n\n| Option | |\n|---|---|\n| `FILE` | |\n"
        codes = "| `--show-codes` | |\n"
        self.assertEqual(complaints(f"## `eject`\n\n{trace}{codes}"), [])
        self.assertEqual(complaints(f"## `eject`\n\n{trace}{codes}| `--json` | |\n"), [])
        self.assertEqual(complaints(f"## `eject`\n\n{trace}"),
                         ["section `trace` has no row for --show-codes"])
        self.assertEqual(
            complaints(f"## `eject`\n\n{trace}{codes}| `--fly=N` | |\n"),
            ["section `trace` has a row for --fly, which the program does not know"])
        self.assertEqual(complaints(f"{trace}{codes}"), ["there is no section `eject`"])
        self.assertEqual(
            complaints(f"## `eject`\n## `fly`\n{trace}{codes}"),
            ["a section is headed `fly`, which is no command of the program"])
        # The options of another command, and other tables, do not count.
        self.assertEqual(
            complaints(f"## `eject`\n\n{trace}\n| Field | |\n|---|---|\n{codes}\n## Other\n"
                       f"| Option | |\n{codes}"),
            ["section `trace` has no row for --show-codes"])


if __name__ == "__main__":
    Reference.program = helps(sys.argv.pop(1), [])
    unittest.main()
