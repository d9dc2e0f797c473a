# SPDX-FileCopyrightText: 2026 The quorra authors
# SPDX-License-Identifier: BSD-2-Clause
"""What a program says of itself and its commands when it is asked for help."""

import os
import re
import subprocess

from . import mdoc


class Entry:
    """What may be typed, such as "--speed N=9600", and what that means."""

    def __init__(self, typed: str, text: str) -> None:
        # What stands behind = is a default, unless it is a word for something, as in N=IMAGE.
        if default := re.search(r"=(?![A-Z]+\b(?!-))(.*)$", typed):
            typed = typed[:default.start()]
        first, *words = typed.split()
        self.names = first.split(",")
        self.value = [word for word in words if word != "REQUIRED"]
        self.text = text
        self.default = default[1] if default else ""

    def described(self) -> list[str]:
        lines = sentence(self.text)
        return [*lines, *mdoc.fill(f"The default is {mdoc.code(self.default)}.")] if self.default else lines


class Command:
    """A program, or one of its commands, with those below it."""

    def __init__(self, program: str, words: list[str]) -> None:
        self.words = words
        asked = [program, *words[1:], "--help"]
        done = subprocess.run(asked, capture_output=True, text=True, check=True,
                              env={**os.environ, "COLUMNS": "10000"})
        self._lines = done.stdout.splitlines()
        self.summary = self._lines[0]
        usage = next(line for line in self._lines if line.startswith("Usage: "))
        self.usage = usage.removeprefix("Usage: ").removeprefix(" ".join(words)).split()
        self.options = self._entries("Options:")
        self.arguments = self._entries("Positionals:")
        self.entries = self._entries("Subcommands:")
        self.examples = [line.strip() for line in self._part(r"Examples?.*:$")]
        self.commands = [Command(program, [*words, entry.names[0]]) for entry in self.entries]

    @property
    def name(self) -> str:
        return " ".join(self.words)

    def leaves(self) -> list["Command"]:
        """The commands without commands below them."""
        return [leaf for command in self.commands for leaf in command.leaves()] or [self]

    def _part(self, title: str) -> list[str]:
        """The indented lines under a title."""
        found: list[str] = []
        inside = False
        for line in self._lines:
            if inside and not line.startswith("  "):
                break
            if inside:
                found.append(line)
            inside = inside or re.match(title, line) is not None
        return found

    def _entries(self, title: str) -> list[Entry]:
        # Every command has this option; where its meaning begins, all others do, too.
        column = next(line.index("Print this help") for line in self._lines if "--help" in line)
        found: list[Entry] = []
        lines = self._part(title)
        for line, following in zip(lines, [*lines[1:], ""]):
            # What is typed may be so long that the meaning has a line of its own.
            if following.startswith("   "):
                found.append(Entry(line.strip(), following.strip()))
            elif not line.startswith("   "):
                found.append(Entry(line[:column].strip(), line[column:].strip()))
        return found


def sentence(text: str) -> list[str]:
    """Help is told without a full stop."""
    text = text[:1].upper() + text[1:]
    return mdoc.fill(mdoc.escape(text if text.endswith((".", "!", "?")) else text + "."))


def option(names: list[str], entry: Entry) -> str:
    """An option by some of its names in the arguments of a macro."""
    named = " , ".join(("Fl Fl " if name.startswith("--") else "Fl ") +
                       mdoc.escape(name.lstrip("-"), literal=True) for name in names)
    return named + "".join(f" Ar {mdoc.argument(word)}" for word in entry.value)


def option_list(command: Command) -> list[str]:
    lines = [".Bl -tag -width Ds"]
    for entry in command.arguments:
        dots = " ..." if "..." in entry.value else ""
        lines += [f".It Ar {mdoc.argument(entry.names[0])}{dots}", *entry.described()]
    for entry in command.options:
        lines += [f".It {option(entry.names, entry)}", *entry.described()]
    return [*lines, ".El"]


def synopsis(command: Command) -> list[str]:
    lines = [f".Nm {command.name}"]
    for entry in command.options:
        if "--help" in entry.names:
            continue
        # The longest name tells most.
        lines.append(f".Op {option(entry.names[-1:], entry)}")
    for word in command.usage:
        if word != "[OPTIONS]":
            optional = "Op Ar" if word.startswith("[") else "Ar"
            name = word.strip("[]")
            dots = " ..." if name.endswith("...") else ""
            lines.append(f".{optional} {mdoc.argument(name.removesuffix('...'))}{dots}")
    return lines
