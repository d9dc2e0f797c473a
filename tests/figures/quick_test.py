# SPDX-FileCopyrightText: 2026 The quorra authors
# SPDX-License-Identifier: BSD-2-Clause
"""Measures a little of everything with the programs of a build, and looks at the page: every table and
every picture is made of what was measured, and the page tells nothing of this machine but what it is.

    quick_test.py BUILD_FOLDER
"""

import os
import re
import shutil
import socket
import subprocess
import sys
import tempfile
import unittest
from pathlib import Path
from xml.etree import ElementTree

from figures import figures
from figures.measure import Build

ROOT = Path(__file__).resolve().parents[2]
SVG = "{http://www.w3.org/2000/svg}"


def make(build: Path, page: Path) -> "subprocess.CompletedProcess[str]":
    return subprocess.run(
        [sys.executable, "-m", "figures", "--build", str(build), "--page", str(page), "--quick"],
        capture_output=True, text=True)


class Quick(unittest.TestCase):
    build: Path
    folder: "tempfile.TemporaryDirectory[str]"
    page: Path
    text: str

    @classmethod
    def setUpClass(cls) -> None:
        cls.folder = tempfile.TemporaryDirectory()
        cls.page = Path(cls.folder.name) / "performance.md"
        done = make(cls.build, cls.page)
        if done.returncode != 0:
            raise AssertionError(done.stderr)
        cls.text = cls.page.read_text(encoding="utf-8")

    @classmethod
    def tearDownClass(cls) -> None:
        cls.folder.cleanup()

    def test_every_table_has_rows_of_numbers(self) -> None:
        tables = re.findall(r"(?:^\|.*\n)+", self.text, re.MULTILINE)
        self.assertEqual(len(tables), len(figures.TABLES))
        for table in tables:
            rows = table.splitlines()[2:]
            self.assertTrue(rows)
            for row in rows:
                self.assertRegex(row.split("|", 2)[2], r"\d", row)

    def test_every_picture_shows_something(self) -> None:
        pictures = re.findall(r"!\[(.+)\]\((performance/[\w-]+\.svg)\)", self.text)
        self.assertEqual(len(pictures), len(figures.PLOTS))
        self.assertEqual(sorted(name for _, name in pictures),
                         sorted(f"performance/{name}.svg" for name in figures.PLOTS))
        for about, name in pictures:
            picture = ElementTree.parse(self.page.parent / name).getroot()
            self.assertEqual(picture.findtext(f"{SVG}title"), about)
            shapes = [*picture.iter(f"{SVG}path"), *picture.iter(f"{SVG}polygon")]
            self.assertGreater(len(shapes), 10, name)

    def test_says_where_it_was_measured_but_not_whose_it_is(self) -> None:
        self.assertRegex(self.text, r"(?m)^- Processors: \d+ × \S")
        for private in (socket.gethostname(), str(ROOT), str(self.build), os.path.expanduser("~"), "/tmp"):
            if len(private) > 2:
                self.assertNotIn(private, self.text)
                for picture in self.page.with_suffix("").iterdir():
                    self.assertNotIn(private, picture.read_text(encoding="utf-8"), picture.name)

    def test_nothing_of_the_template_is_left(self) -> None:
        self.assertNotRegex(self.text, r"(?m)^@|@runs")

    def test_stack_and_calls_are_those_of_an_exchange(self) -> None:
        # Twelve bytes are sent and 25 received, each by a call of its own, and nothing is allocated.
        row = next(line for line in self.text.splitlines() if line.startswith("| read of 20 bytes |"))
        _, stack, allocations, calls = (cell.strip() for cell in row.strip("|").split("|"))
        self.assertEqual(allocations, "0")
        self.assertIn("12 write", calls)
        self.assertIn("25 read", calls)
        # A request and a reply fit, and no more than a few of them.
        self.assertTrue(500 < float(stack.replace(",", "")) < 3000, stack)

    def test_fails_when_a_program_fails_or_is_missing(self) -> None:
        with tempfile.TemporaryDirectory() as name:
            folder = Path(name)
            (folder / "bin").mkdir()
            for file in ("quorra", "quorra-sim", *Build(self.build).names()):
                (folder / "bin" / file).symlink_to(self.build / "bin" / file)
            shutil.copy(self.build / "quorra.so", folder)
            broken = folder / "bin" / "des_benchmark"
            broken.unlink()
            page = folder / "performance.md"
            done = make(folder, page)
            self.assertNotEqual(done.returncode, 0)
            self.assertIn("des_benchmark is missing", done.stderr)
            broken.write_text("#!/bin/sh\necho no >&2\nexit 1\n")
            broken.chmod(0o755)
            done = make(folder, page)
            self.assertNotEqual(done.returncode, 0)
            self.assertIn("des_benchmark failed with status 1: no", done.stderr)
            self.assertFalse(page.exists())


if __name__ == "__main__":
    Quick.build = Path(sys.argv.pop(1)).resolve()
    unittest.main()
