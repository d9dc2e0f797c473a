#!/usr/bin/env python3
# SPDX-FileCopyrightText: 2026 The quorra authors
# SPDX-License-Identifier: BSD-2-Clause
"""Runs the examples of a page as they stand there, and compares what they print.

    examples.py PAGE [--path FOLDER] [--install BUILD_FOLDER]
    examples.py --not-run PAGE...

All fenced blocks of a page are run in their order, in an empty folder, in one shell on a terminal of
80 columns. FOLDER is where the programs are; with BUILD_FOLDER they are installed first. What still
runs in the end is ended. The language of a block tells what it is:

    ```console   commands behind "$ ", each with all that it prints. A command goes on behind a "\\"
                 and up to the word of a "<<". What stands behind a question is typed. A command that
                 ends with "&" goes on in the background; what it prints first is waited for.
    ```sh        commands, of which each has to succeed; what they print is not compared
    any other    a file, named by a comment right before the block: <!-- file: NAME -->

A line "..." stands for any lines. Comments right before a block say more about it:

    <!-- varies: TEXT, TEXT -->   the words of these texts are different each time
    <!-- types: TEXT -->          is typed at a question, and not shown
    <!-- not run: REASON -->      nothing of it is run; --not-run lists these
"""

import argparse
import difflib
import os
import pty
import re
import select
import signal
import subprocess
import sys
import tempfile
import termios
import time
from dataclasses import dataclass, field
from pathlib import Path

from markdown import BadPage, Block, Page

# So long may a command take, and one in the background until it has printed what it should, also
# where the machine has much else to do.
TIME_LIMIT = 240.0
BACKGROUND_LIMIT = 60.0
# A question is one if nothing follows it for so long, and has no answer after that.
QUIET = 0.3
QUESTION_LIMIT = 30.0

KINDS = ("file", "varies", "types", "not run")

# It runs each command that it is told on descriptor 3, and tells its exit status in its output.
SHELL = r"""
while IFS= read -r -d '' -u 3 command; do
  eval "$command" 3<&-
  printf '\036%d\036' "$?"
done
"""
DONE = re.compile("\x1e(\\d+)\x1e")


class Failure(Exception):
    """An example that does not do what the page says."""


class Stuck(Failure):
    """One behind which nothing else can be run."""


@dataclass
class Command:
    line: int
    text: str
    output: list[str] = field(default_factory=list)
    has_to_succeed: bool = False
    varying: list[str] = field(default_factory=list)
    typed: list[str] = field(default_factory=list)

    @property
    def in_background(self) -> bool:
        return self.text.rstrip().endswith("&")

    def lacks(self, line: str) -> bool:
        """Whether the command goes on behind this line, its last one."""
        if document := re.search(r"<<\s*'?(\w+)", self.text.split("\n", 1)[0]):
            return line != document[1]
        return line.endswith("\\")


@dataclass
class File:
    line: int
    name: str
    content: str


def notes_of(block: Block, where: str) -> dict[str, str]:
    """What the comments before a block say."""
    notes = {}
    for comment in block.comments:
        kind, _, text = comment.partition(":")
        if kind not in KINDS or not text.strip():
            raise BadPage(f"{where}: <!-- {comment} --> is none of {', '.join(KINDS)}, with a text")
        notes[kind] = text.strip()
    return notes


def commands_of(block: Block, notes: dict[str, str], where: str) -> list[Command]:
    is_script = block.language == "sh"
    commands: list[Command] = []
    goes_on = False
    for number, line in enumerate(block.lines, block.line + 1):
        if goes_on:
            commands[-1].text += "\n" + line
        elif is_script:
            commands.append(Command(number, line, has_to_succeed=True))
        elif line.startswith("$ "):
            commands.append(Command(number, line[2:]))
        elif not commands:
            raise BadPage(f"{where}: the first line is no command behind '$ '")
        else:
            commands[-1].output.append(line)
            continue
        goes_on = commands[-1].lacks(line)
    varying = [text.strip() for text in notes.get("varies", "").split(",") if text.strip()]
    for text in varying:
        if not any(text in line for line in block.lines):
            raise BadPage(f"{where}: '{text}' varies, but is not there")
    for command in commands:
        command.varying = varying
    if "types" in notes and commands:
        commands[-1].typed = [text.strip() for text in notes["types"].split(",")]
    return commands


def examples_of(page: Page) -> tuple[list[Command | File], list[str]]:
    """What is to be done in order, and what is not run and why."""
    todo: list[Command | File] = []
    excuses: list[str] = []
    for block in page.blocks:
        where = f"{page.name}:{block.line}"
        notes = notes_of(block, where)
        if "not run" in notes:
            excuses.append(f"{where}: {notes['not run']}")
        elif "file" in notes:
            todo.append(File(block.line, notes["file"], "\n".join(block.lines) + "\n"))
        elif block.language in ("console", "sh"):
            todo.extend(commands_of(block, notes, where))
        else:
            raise BadPage(f"{where}: a block of '{block.language}' is neither run nor a file, "
                          "and no comment before it says <!-- not run: REASON -->")
    return todo, excuses


def pattern_of(lines: list[str], varying: list[str]) -> re.Pattern[str]:
    """What these lines of output stand for."""
    pattern = ""
    for line in lines:
        if line == "...":
            pattern += "(?:.*\n)*?"
            continue
        line = line.rstrip(" ")
        parts = re.split("(" + "|".join(map(re.escape, varying)) + ")", line) if varying else [line]
        for part in parts:
            pattern += re.sub(r"\S+", r"\\S+", part) if part in varying else re.escape(part)
        pattern += "\n"
    return re.compile(pattern)


class Shell:
    """A shell at a terminal."""

    def __init__(self, folder: Path, environment: dict[str, str]) -> None:
        commands, self._commands = os.pipe()
        self._pid, self._terminal = pty.fork()
        if self._pid == 0:
            os.dup2(commands, 3)
            os.set_inheritable(3, True)
            os.chdir(folder)
            os.execve("/bin/bash", ["bash", "--norc", "-c", SHELL], environment)
        os.close(commands)
        os.set_inheritable(self._commands, False)
        settings = termios.tcgetattr(self._terminal)
        settings[1] &= ~termios.OPOST  # line ends stay as they are
        termios.tcsetattr(self._terminal, termios.TCSANOW, settings)
        termios.tcsetwinsize(self._terminal, (24, 80))
        self._text = ""

    def run(self, command: Command) -> None:
        os.write(self._commands, command.text.encode() + b"\0")
        self._text = ""
        limit = BACKGROUND_LIMIT if command.in_background else TIME_LIMIT
        asked = time.monotonic()
        deadline = asked + limit
        typed = list(command.typed)
        unanswered = list(command.output)
        status = None
        wanted = pattern_of(command.output, command.varying)
        while True:
            if status is None and (done := DONE.search(self._text)):
                status = int(done[1])
                self._text = self._text.replace(done[0], "", 1)
            printed = self._printed()
            if status is not None:
                if command.has_to_succeed:
                    break
                if not command.in_background or wanted.fullmatch(printed):
                    break
            if time.monotonic() > deadline:
                raise Stuck(f"not done after {limit:.0f} seconds; printed:\n{printed}")
            if self._read() or status is not None:
                asked = time.monotonic()
                continue
            if answer := self._answer(self._text.split("\n")[-1], unanswered, typed):
                os.write(self._terminal, answer.encode() + b"\n")
            elif self._text.endswith(" ") and time.monotonic() > asked + QUESTION_LIMIT:
                raise Stuck(f"the page has no answer to this question:\n{printed}")
        if command.has_to_succeed:
            if status != 0:
                raise Failure(f"exit status {status}:\n{printed}")
        elif not wanted.fullmatch(printed):
            difference = difflib.unified_diff(
                command.output, printed.splitlines(), "the page", "printed", lineterm="", n=1000)
            raise Failure("\n".join(difference))

    def _printed(self) -> str:
        """What was printed, as it is to be seen: neither lines that were erased nor
        blanks at the end of a line."""
        text = re.sub("[^\n]*\r\x1b\\[K", "", self._text)
        text = re.sub(" +$", "", text, flags=re.MULTILINE)
        return text + "\n" if text and not text.endswith("\n") else text

    def _read(self) -> bool:
        """Takes what was printed. Whether there was anything."""
        if not select.select([self._terminal], [], [], QUIET)[0]:
            return False
        try:
            self._text += os.read(self._terminal, 65536).decode(errors="replace")
        except OSError as error:
            raise Stuck(f"the shell has ended:\n{self._text}") from error
        return True

    @staticmethod
    def _answer(question: str, unanswered: list[str], typed: list[str]) -> str | None:
        """What the page has behind a question that waits on the last line. The same question may be
        there once more further down."""
        if not question.endswith(" "):
            return None
        for at, line in enumerate(unanswered):
            answer = None
            if line.rstrip() == question.rstrip() and typed:
                answer = typed.pop(0)
            elif line.startswith(question) and line != question:
                answer = line.removeprefix(question)
            if answer is not None:
                del unanswered[: at + 1]
                return answer
        return None

    def close(self) -> None:
        """Ends the shell, and all that it has started."""
        os.close(self._commands)
        for number in (signal.SIGTERM, signal.SIGKILL):
            try:
                os.killpg(self._pid, number)
            except ProcessLookupError:
                break
            deadline = time.monotonic() + 10
            while time.monotonic() < deadline and self._has_processes():
                time.sleep(0.01)
        os.close(self._terminal)

    def _has_processes(self) -> bool:
        try:
            os.waitpid(self._pid, os.WNOHANG)
        except ChildProcessError:
            pass
        try:
            os.killpg(self._pid, 0)
        except ProcessLookupError:
            return False
        return True


def run_page(page: Page, folder: Path, environment: dict[str, str]) -> None:
    todo, _ = examples_of(page)
    failures = []
    shell = Shell(folder, environment)
    try:
        for example in todo:
            if isinstance(example, File):
                (folder / example.name).write_text(example.content)
                continue
            try:
                shell.run(example)
            except Failure as failure:
                failures.append(f"{page.name}:{example.line}: {example.text}\n{failure}")
                if isinstance(failure, Stuck):
                    break
    finally:
        shell.close()
    if failures:
        raise Failure("\n\n".join(failures))


def surroundings(home: Path, programs: list[str], installed: Path | None) -> dict[str, str]:
    """The environment of somebody who has just sat down at the machine."""
    environment = {
        "HOME": str(home),
        "LC_ALL": "C.UTF-8",
        "NO_COLOR": "1",
        "PATH": os.pathsep.join([*programs, os.environ.get("PATH", os.defpath)]),
        # The package for Python works as it lies in the tree.
        "PYTHONDONTWRITEBYTECODE": "1",
        "PYTHONPATH": str(Path(__file__).resolve().parents[2] / "python"),
        "TERM": "dumb",
        "XDG_RUNTIME_DIR": str(home),
    }
    if installed:
        environment["CMAKE_PREFIX_PATH"] = str(installed)
        found = sorted({path.parent for path in installed.rglob("pkgconfig/*.pc")})
        environment["PKG_CONFIG_PATH"] = os.pathsep.join(map(str, found))
    return environment


def check(path: Path, programs: list[str], build: str | None) -> None:
    with tempfile.TemporaryDirectory() as name:
        temporary = Path(name)
        installed = None
        if build:
            installed = temporary / "installed"
            subprocess.run(["cmake", "--install", build, "--prefix", installed], check=True,
                           stdout=subprocess.DEVNULL)
            programs = [str(installed / "bin")]
        for folder in ("home", "page"):
            (temporary / folder).mkdir()
        run_page(Page.of(path), temporary / "page",
                 surroundings(temporary / "home", programs, installed))


def main() -> int:
    arguments = argparse.ArgumentParser()
    arguments.add_argument("pages", nargs="+", type=Path)
    arguments.add_argument("--path", action="append", default=[])
    arguments.add_argument("--install")
    arguments.add_argument("--not-run", action="store_true")
    given = arguments.parse_args()
    try:
        for page in given.pages:
            if given.not_run:
                for excuse in examples_of(Page.of(page))[1]:
                    print(excuse)
            else:
                check(page, given.path, given.install)
    except (BadPage, Failure) as error:
        print(error, file=sys.stderr)
        return 1
    return 0


if __name__ == "__main__":
    sys.exit(main())
