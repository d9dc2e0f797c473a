# SPDX-FileCopyrightText: 2026 The quorra authors
# SPDX-License-Identifier: BSD-2-Clause
"""The control commands of the virtual reader against its page: each of them, and each kind of fault,
stands there as JSON that the reader takes, and in a table; and no others do."""

import json
import re
import subprocess
import sys
import tempfile
import unittest
from pathlib import Path
from typing import Any

from markdown import Page, tables

PAGE = Path(__file__).resolve().parents[2] / "docs" / "virtual-reader.md"


def documented() -> list[str]:
    """The lines of the page that are commands."""
    return [line for block in Page.of(PAGE).blocks if block.language == "json" for line in block.lines]


def names_in_table(heading: str, head: str) -> set[str]:
    """The words in backticks of the first column of the table that begins with that head."""
    page = Page.of(PAGE)
    section = next(one for one in page.headings if one.text == heading)
    return {word for first, *rows in tables(page.section(section)) if first[0] == head
            for row in rows for word in re.findall(r"`([^`]+)`", row[0])}


class Control(unittest.TestCase):
    program: str

    def setUp(self) -> None:
        self.folder = tempfile.TemporaryDirectory()
        self.addCleanup(self.folder.cleanup)
        self.socket = str(Path(self.folder.name) / "socket")
        subprocess.run([self.program, "new", "4442", "card.toml"], cwd=self.folder.name, check=True)
        self.reader = subprocess.Popen([self.program, "--socket", self.socket], cwd=self.folder.name,
                                       stdout=subprocess.PIPE, text=True)
        self.addCleanup(self.end)
        assert self.reader.stdout is not None
        self.reader.stdout.readline()
        self.reader.stdout.readline()

    def end(self) -> None:
        self.reader.terminate()
        self.reader.communicate()

    def ask(self, line: str) -> dict[str, Any]:
        # The answer to a request for the trace is followed by the trace.
        asking = subprocess.Popen([self.program, "control", self.socket, line], stdout=subprocess.PIPE, text=True)
        assert asking.stdout is not None
        answer: dict[str, Any] = json.loads(asking.stdout.readline())
        asking.terminate()
        asking.communicate()
        return answer

    def known(self, line: str) -> set[str]:
        """The names that the refusal of an unknown one tells."""
        error = self.ask(line)["error"]
        return set(re.search(r"\(known: (.*)\)", error)[1].split(", "))  # type: ignore[index]

    def test_every_command_can_be_copied(self) -> None:
        commands = {json.loads(line)["command"] for line in documented()}
        known = self.known('{"command":"?"}')
        self.assertIn("insert", known)
        self.assertEqual(commands, known)
        self.assertEqual(names_in_table("The control socket", "Command"), known)

    def test_every_kind_of_fault_can_be_copied(self) -> None:
        kinds = {fault["kind"] for fault in map(json.loads, documented()) if fault["command"] == "fault"}
        known = self.known('{"command":"fault","kind":"?"}')
        self.assertIn("silence", known)
        self.assertEqual(kinds, known)
        self.assertEqual(names_in_table("Faults", "Kind") | {"random"}, known)

    def test_what_is_copied_works(self) -> None:
        lines = documented()
        stop = [line for line in lines if json.loads(line)["command"] == "stop"]
        for line in [line for line in lines if line not in stop] + stop:
            with self.subTest(line):
                self.assertIs(self.ask(line).get("ok"), True)
        self.assertEqual(self.reader.wait(60), 0)


if __name__ == "__main__":
    Control.program = sys.argv.pop(1)
    unittest.main()
