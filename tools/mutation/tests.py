# SPDX-FileCopyrightText: 2026 The quorra authors
# SPDX-License-Identifier: BSD-2-Clause
"""The tests of a program: how long each takes, and which code each suite of them reaches."""

import json
import os
import signal
import subprocess
from collections import Counter
from collections.abc import Iterable, Mapping, Sequence
from dataclasses import dataclass, field
from pathlib import Path

from .build import Build, BuildError, Program, Unit


@dataclass(frozen=True)
class Test:
    suite: str
    name: str
    file: str
    seconds: float

    @property
    def full_name(self) -> str:
        return f"{self.suite}.{self.name}"


@dataclass
class Reach:
    """For each source the suites that enter it, and for each of its functions those that enter it.

    A function is the first and the last of its lines.
    """

    suites: dict[str, set[str]] = field(default_factory=dict)
    functions: dict[str, dict[tuple[int, int], set[str]]] = field(default_factory=dict)

    def of(self, file: str, line: int) -> set[str] | None:
        """The suites that can notice a change of that line; none if that is not known."""
        within = {
            lines: suites
            for lines, suites in self.functions.get(file, {}).items()
            if lines[0] <= line <= lines[1] and suites
        }
        if within:
            return set().union(*within.values())
        return self.suites.get(file)


# The first tests to be run take so long together, each further group so many times longer.
_FIRST_GROUP = 0.25
_GROWTH = 4


def _execute(command: Sequence[str], filter_text: str, seconds: float) -> tuple[bool, str]:
    """Runs tests. Returns whether they passed, and what they printed, or why they ended."""
    limit = 2 + 5 * seconds
    full = ["prlimit", f"--cpu={int(limit) + 1}", *command]
    arguments = [f"--gtest_filter={filter_text}", "--gtest_fail_fast", "--gtest_brief=1"]
    process = subprocess.Popen(
        [*full, *arguments],
        stdin=subprocess.DEVNULL,
        stdout=subprocess.PIPE,
        stderr=subprocess.STDOUT,
        start_new_session=True,
    )
    try:
        # Many processes may share the processors; this limit is for tests that sleep for ever.
        output, _ = process.communicate(timeout=30 + 10 * limit)
    except subprocess.TimeoutExpired:
        os.killpg(process.pid, signal.SIGKILL)
        process.communicate()
        return False, "time"
    text = output.decode(errors="replace")
    if process.returncode in (-signal.SIGXCPU, -signal.SIGKILL):
        return False, "time"
    return process.returncode == 0, text


class TestProgram:
    """A test program, measured."""

    def __init__(self, program: Program, objects: set[str]) -> None:
        self.program = program
        self.objects = objects
        self.tests: list[Test] = []
        self.reach = Reach()
        self._kills: dict[str, Counter[str]] = {}

    def recall(self, path: Path, version: str) -> bool:
        """Reads what was measured before; false if that was of another version."""
        if not path.exists():
            return False
        saved = json.loads(path.read_text(encoding="utf-8"))
        if saved["version"] != version:
            return False
        self.tests = [Test(*entry) for entry in saved["tests"]]
        self.reach.suites = {file: set(suites) for file, suites in saved["suites"].items()}
        for file, first, last, suites in saved["functions"]:
            self.reach.functions.setdefault(file, {})[first, last] = set(suites)
        return True

    def remember(self, path: Path, version: str) -> None:
        saved = {
            "version": version,
            "tests": [(test.suite, test.name, test.file, test.seconds) for test in self.tests],
            "suites": {file: sorted(suites) for file, suites in self.reach.suites.items()},
            "functions": [
                (file, *lines, sorted(suites))
                for file, functions in self.reach.functions.items()
                for lines, suites in functions.items()
            ],
        }
        path.write_text(json.dumps(saved), encoding="utf-8")

    def measure(self, build: Build, units: Sequence[Unit], folder: Path) -> None:
        """Runs every suite once, with the counters of the compiler in the code under test."""
        objects: dict[str, Path] = {}
        for unit in units:
            if unit.object in self.objects:
                output = folder / unit.object
                if not build.compile(unit, unit.source, output, ["--coverage", "-O0"], []):
                    raise BuildError(f"{unit.source} cannot be compiled with counters")
                objects[unit.object] = output
        if not objects:
            return
        options = ["--coverage"]
        program = self.program
        command = build.link(program, objects, folder, options)
        if command is None:
            raise BuildError(f"{program.name} cannot be linked with counters")
        listing = folder / f"{program.name}.json"
        for suite in self._suites(command, listing):
            for counters in folder.rglob("*.gcda"):
                counters.unlink()
            arguments = [f"--gtest_filter={suite}.*", f"--gtest_output=json:{listing}"]
            done = subprocess.run([*command, *arguments], capture_output=True, check=False)
            if done.returncode != 0:
                raise BuildError(f"{program.name}: {suite} fails without any change")
            self._note_tests(json.loads(listing.read_text(encoding="utf-8")), build.checkout)
            self._note_reach(build, suite, sorted(folder.rglob("*.gcda")))

    @staticmethod
    def _suites(command: Sequence[str], listing: Path) -> list[str]:
        arguments = ["--gtest_list_tests", f"--gtest_output=json:{listing}"]
        subprocess.run([*command, *arguments], capture_output=True, check=True)
        report = json.loads(listing.read_text(encoding="utf-8"))
        return [suite["name"] for suite in report["testsuites"]]

    def _note_tests(self, report: Mapping, checkout: Path) -> None:
        for suite in report["testsuites"]:
            for test in suite["testsuite"]:
                file = os.path.relpath(test["file"], checkout)
                seconds = float(test["time"].rstrip("s"))
                self.tests.append(Test(suite["name"], test["name"], file, seconds))

    def _note_reach(self, build: Build, suite: str, counters: Sequence[Path]) -> None:
        command = ["gcov", "--json-format", "--stdout", *map(str, counters)]
        done = subprocess.run(command, capture_output=True, check=True, cwd=build.folder)
        for line in done.stdout.splitlines():
            entered: set[str] = set()
            files: set[str] = set()
            report = json.loads(line)
            for entry in report["files"]:
                path = os.path.normpath(Path(report["current_working_directory"], entry["file"]))
                file = os.path.relpath(path, build.root)
                if file.startswith(".."):
                    continue
                files.add(file)
                functions = self.reach.functions.setdefault(file, {})
                for function in entry["functions"]:
                    place = (function["start_line"], function["end_line"])
                    suites = functions.setdefault(place, set())
                    if function["execution_count"] > 0:
                        suites.add(suite)
                        entered.add(file)
            # What a file declares matters to all that includes it.
            if entered:
                for file in files:
                    self.reach.suites.setdefault(file, set()).add(suite)

    def groups(self, file: str, line: int) -> Iterable[list[Test]]:
        """The tests that can notice a change, the likeliest first, in groups that grow."""
        suites = self.reach.of(file, line)
        candidates = [test for test in self.tests if suites is None or test.suite in suites]
        kills = self._kills.setdefault(file, Counter())
        stem = Path(file).stem
        candidates.sort(
            key=lambda test: (
                -kills[test.full_name],
                not Path(test.file).stem.startswith(stem),
                test.seconds,
            )
        )
        budget = _FIRST_GROUP
        group: list[Test] = []
        spent = 0.0
        for test in candidates:
            group.append(test)
            spent += test.seconds
            if spent >= budget or len(group) >= 500:
                yield group
                group, spent, budget = [], 0.0, budget * _GROWTH
        if group:
            yield group

    def notices(self, command: Sequence[str], file: str, line: int) -> str:
        """The name of a test that fails, "time" if one does not end; empty if all pass."""
        for group in self.groups(file, line):
            names = ":".join(test.full_name for test in group)
            passed, text = _execute(command, names, sum(test.seconds for test in group))
            if passed:
                continue
            failed = [line.split()[3] for line in text.splitlines() if line.startswith("[  FAILED  ] ")]
            failed = [name.rstrip(",") for name in failed if "." in name]
            if failed:
                self._kills.setdefault(file, Counter())[failed[0]] += 1
                return failed[0]
            return "time" if text == "time" else "crash"
        return ""
