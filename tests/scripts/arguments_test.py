# SPDX-FileCopyrightText: 2026 The quorra authors
# SPDX-License-Identifier: BSD-2-Clause
"""Scripts tell their usage, and refuse what they do not understand before they begin any work."""

import os
import re
import shutil
import subprocess
import tempfile
import unittest
from pathlib import Path

ROOT = Path(__file__).resolve().parents[2]
# It reads what another program says, and has no arguments.
NOT_CALLED_BY_PEOPLE = {"progress"}
SCRIPTS = sorted(
    file.name for file in (ROOT / "scripts").iterdir()
    if file.is_file() and os.access(file, os.X_OK) and file.name not in NOT_CALLED_BY_PEOPLE
)

# What would begin the work, or be it.
WORKERS = (
    "abidiff abidw apt-get clang-format clang-tidy cmake cppcheck ctest dpkg-buildpackage dpkg-query g++ "
    "lintian ninja reuse sudo valgrind"
).split()

# The arguments, and what the line about them has to name.
REFUSED = [
    ("abi renew extra", "extra"),
    ("abi nonsense", "nonsense"),
    ("bench nonsense", "nonsense"),
    ("bench --quick extra", "extra"),
    ("bench --compare", "--compare"),
    ("bench --runs 0", "--runs"),
    ("bench --runs 1000", "--runs"),
    ("coverage nonsense", "nonsense"),
    ("coverage report extra", "extra"),
    ("demo --no-pcsc extra", "extra"),
    ("examples nosuchexample", "nosuchexample"),
    ("examples first extra", "extra"),
    ("fuzz", "SECONDS"),
    ("fuzz 0", "0"),
    ("fuzz 1 nosuchharness", "nosuchharness"),
    ("lint /nonexistent", "/nonexistent"),
    ("lint src", "src"),
    ("lint src extra", "extra"),
    ("mutate nosuch.cpp", "nosuch.cpp"),
    ("mutate --only nonsense", "nonsense"),
    ("mutate src/link --jobs many", "many"),
    ("package --try extra", "extra"),
    ("picture", "FOLDER"),
    ("picture /nonexistent", "/nonexistent"),
    ("picture src", "src"),
    ("picture src --nonsense", "--nonsense"),
    ("picture src extra", "extra"),
    ("release nonsense", "nonsense"),
    ("reproducible nonsense", "nonsense"),
    ("reproducible library extra", "extra"),
    ("setup nonsense", "nonsense"),
    ("setup build bench", "bench"),
    ("soak nonsense", "nonsense"),
    ("soak --operations", "--operations"),
    ("soak --operations 0", "--operations"),
    ("soak --seed -1", "--seed"),
    ("soak --seed 1 extra", "extra"),
    ("test nonsense", "nonsense"),
    ("tidy", "BUILD_FOLDER"),
    ("tidy /nonexistent", "/nonexistent"),
    ("tidy built nosuchfolder", "nosuchfolder"),
    ("tidy built --nonsense", "--nonsense"),
    ("valgrind nonsense", "nonsense"),
    ("valgrind --gtest_filter=A nonsense", "nonsense"),
    ("wheel folder extra", "extra"),
]

ACCEPTED = [
    "abi", "abi renew", "bench", "bench --quick --runs 2", "bench --runs 999", "coverage", "demo",
    "demo --no-pcsc", "examples", "examples first_read_c", "examples read", "fuzz 1", "fuzz 2 interface des",
    "lint", "mutate src/link", "mutate --only src/link/frames.cpp:40", "package", "package --try",
    "reproducible", "reproducible library", "soak", "soak --operations 1 --seed 0", "test", "valgrind",
    "valgrind --gtest_filter=A --gtest_repeat=2",
]


class Arguments(unittest.TestCase):
    def setUp(self) -> None:
        temporary = tempfile.TemporaryDirectory()
        self.addCleanup(temporary.cleanup)
        self.root = Path(temporary.name) / "tree"
        self.called = Path(temporary.name) / "called"
        for name in ("scripts", "src"):
            shutil.copytree(ROOT / name, self.root / name)
        (self.root / "docs").mkdir()
        (self.root / "docs" / "terminal.svg").write_text("the picture")
        (self.root / "built").mkdir()
        (self.root / "built" / "compile_commands.json").write_text("[]")
        for name in ("fuzz", "examples", "tools", "tests"):
            (self.root / name).symlink_to(ROOT / name)
        # In their place stands what tells that it was called, and fails.
        programs = Path(temporary.name) / "programs"
        programs.mkdir()
        for name in WORKERS:
            self.stand_in(programs / name)
        self.environment = {**os.environ, "PATH": f"{programs}:{os.environ['PATH']}", "LC_ALL": "C.UTF-8"}

    def stand_in(self, file: Path) -> None:
        file.unlink(missing_ok=True)
        file.write_text(f'#!/bin/sh\necho "{file.name} $*" >>"{self.called}"\nexit 1\n')
        file.chmod(0o755)

    def tree(self) -> dict[str, str]:
        files = (path for path in self.root.rglob("*") if not path.is_symlink())
        return {str(file): file.read_text() if file.is_file() else "" for file in files}

    def prepare(self, name: str) -> None:
        self.called.unlink(missing_ok=True)
        setup = self.root / "scripts" / "setup"
        if name == "setup":
            shutil.copy(ROOT / "scripts" / "setup", setup)
        else:
            self.stand_in(setup)

    def run_script(self, name: str, *arguments: str) -> "subprocess.CompletedProcess[str]":
        return subprocess.run(
            [self.root / "scripts" / name, *arguments], cwd=self.root, env=self.environment,
            stdin=subprocess.DEVNULL, capture_output=True, text=True, check=False,
        )

    def run_in_vain(self, name: str, *arguments: str) -> "subprocess.CompletedProcess[str]":
        """Runs a script that must not do anything."""
        self.prepare(name)
        before = self.tree()
        outcome = self.run_script(name, *arguments)
        called = self.called.read_text() if self.called.exists() else ""
        self.assertEqual(called, "")
        self.assertEqual(self.tree(), before)
        return outcome

    def expect_refusal(self, named: str, name: str, *arguments: str) -> None:
        outcome = self.run_in_vain(name, *arguments)
        self.assertEqual(outcome.returncode, 2, outcome.stderr)
        self.assertEqual(outcome.stdout, "")
        line = re.fullmatch(rf"scripts/{name}: (.+); see scripts/{name} --help\n", outcome.stderr)
        assert line, outcome.stderr
        self.assertRegex(line[1], rf"(^|[ :']){re.escape(named)}\b")

    def test_help_is_the_usage(self) -> None:
        for name in SCRIPTS:
            for arguments in (["--help"], ["nonsense", "--help"]):
                with self.subTest(name=name, arguments=arguments):
                    outcome = self.run_in_vain(name, *arguments)
                    self.assertEqual(outcome.returncode, 0, outcome.stderr)
                    self.assertEqual(outcome.stderr, "")
                    self.assertRegex(outcome.stdout, rf"(?m)^(  |    |usage: )scripts/{name}\b")
                    self.assertNotIn("SPDX", outcome.stdout)
                    self.assertNotIn("set -e", outcome.stdout)

    def test_an_unknown_option_is_refused(self) -> None:
        for name in SCRIPTS:
            with self.subTest(name=name):
                # What is missing may be told instead.
                needs = {"picture": "the following arguments", "tidy": "the following arguments"}
                self.expect_refusal(needs.get(name, "--nonsense"), name, "--nonsense")

    def test_an_empty_argument_is_refused(self) -> None:
        for name in SCRIPTS:
            with self.subTest(name=name):
                outcome = self.run_in_vain(name, "")
                self.assertEqual(outcome.returncode, 2, outcome.stderr)
                self.assertEqual(outcome.stderr.count("\n"), 1, outcome.stderr)

    def test_what_does_not_fit_is_refused(self) -> None:
        for command, named in REFUSED:
            with self.subTest(command=command):
                self.expect_refusal(named, *command.split())

    def test_what_fits_reaches_the_work(self) -> None:
        for command in ACCEPTED:
            with self.subTest(command=command):
                name, *arguments = command.split()
                self.prepare(name)
                outcome = self.run_script(name, *arguments)
                self.assertEqual(outcome.returncode, 1, outcome.stderr)
                self.assertRegex(self.called.read_text(), r"\Asetup\b")


if __name__ == "__main__":
    unittest.main()
