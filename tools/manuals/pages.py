# SPDX-FileCopyrightText: 2026 The quorra authors
# SPDX-License-Identifier: BSD-2-Clause
"""All manual pages: templates from man/ filled with what the header, the programs and docs/ say.

In a template, @NAME@ is a word and a line "@name" is what the page puts there."""

import os
import re
from collections.abc import Callable
from dataclasses import dataclass, field
from pathlib import Path

from . import markdown, mdoc, program
from .functions import GROUPS, Functions, Group
from .header import Header

Fill = Callable[[], list[str]]
# A section of a page in docs/, with the name of that page.
Held = tuple[str, markdown.Section]

# Pages of docs/ that are no manual pages of their own: the first two are in the pages of the programs,
# the others are for those who work on quorra.
APART = ("command-line.md", "virtual-reader.md", "fuzzing.md", "performance.md", "threat-model.md")
# What only those want who try the examples of the page.
LEFT_OUT = ("The cards of these examples",)
# The sections of virtual-reader.md that are in other pages than quorra-virtual-reader(7).
SIM = (
    "Running it", "The line", "A serial terminal", "The control socket", "Faults", "The contacts, seen",
    "The web page",
)
IMAGE = ("Image files",)
ERRORS = "Errors"
COMMON = "Naming the reader"


@dataclass
class Manual:
    name: str
    section: int
    template: str
    words: dict[str, str]
    parts: dict[str, Fill]
    see_also: list[str]
    # The sections of pages of docs/ that are in it.
    holds: list[Held] = field(default_factory=list)
    aliases: list[str] = field(default_factory=list)

    @property
    def reference(self) -> str:
        return f"{self.name}({self.section})"


def about(text: str) -> str:
    """A summary as the name of a page wants it: its first sentence, without capital and full stop."""
    first = re.split(r"[.:;] ", text)[0].rstrip(".")
    return first[:1].lower() + first[1:]


def is_contents(block: object) -> bool:
    """A list of links to what follows."""
    return isinstance(block, markdown.List) and all(
        re.match(r"\[[^\]]*\]\(#", item) for item in block.items)


class Manuals:
    def __init__(self, source: Path, quorra: str | None, simulator: str | None) -> None:
        self._source = source
        self._docs = {os.path.relpath(path, source): markdown.Page.of(path)
                      for path in sorted((source / "docs").rglob("*.md"))}
        self._header = Header.of(source / "include" / "quorra.h")
        self.manuals: list[Manual] = []
        self._add_functions()
        self._add_configuration()
        if quorra and simulator:
            self._add_commands(program.Command(quorra, ["quorra"]))
            self._add_simulator(program.Command(simulator, ["quorra-sim"]))
            self._add_docs()
        # Where a link into docs/ leads to.
        self._places = {(file, section.anchor): manual for manual in reversed(self.manuals)
                        for file, section in manual.holds}

    def text(self, manual: Manual) -> str:
        template = (self._source / "man" / manual.template).read_text(encoding="utf-8")
        lines: list[str] = []
        for line in template.splitlines():
            line = re.sub(r"@([A-Z]+)@", lambda word: manual.words[word[1]], line)
            if line == "@see_also":
                references = sorted({*manual.see_also} - {manual.reference}, key=lambda name: (name[-2], name))
                lines += [self.bold(name) + ("," if name != references[-1] else "") for name in references]
            elif line.startswith("@"):
                lines += manual.parts[line[1:]]()
            else:
                lines.append(line)
        # The first line asks for the program that sets tables.
        return "\n".join(["'\\\" t"] * (".TS" in lines) + mdoc.tidy(lines)) + "\n"

    def write(self, folder: Path) -> None:
        for manual in self.manuals:
            place = folder / f"man{manual.section}"
            place.mkdir(parents=True, exist_ok=True)
            (place / f"{manual.name}.{manual.section}").write_text(self.text(manual), encoding="ascii")
            for alias in manual.aliases:
                (place / f"{alias}.{manual.section}").symlink_to(f"{manual.name}.{manual.section}")

    @staticmethod
    def bold(reference: str) -> str:
        name, _, section = reference.partition("(")
        return rf"\fB{mdoc.escape(name, literal=True)}\fR({section}"

    def _resolver(self, manual: Manual, file: str) -> mdoc.Resolve:
        def resolve(text: str, target: str) -> str:
            if re.match(r"[a-z]+:", target):
                return f"{text} ({mdoc.escape(target)})"
            path, _, anchor = target.partition("#")
            path = os.path.normpath(os.path.join(os.path.dirname(file), path)) if path else file
            if path == "include/quorra.h":
                return f"{text} ({self.bold('quorra(3)')})"
            place = self._places.get((path, anchor))
            if place is None or place is manual:
                return text
            command = place.name.removeprefix("quorra-")
            if text in (mdoc.code(command), mdoc.escape(os.path.basename(path))):
                return self.bold(place.reference)
            return f"{text} ({self.bold(place.reference)})"
        return resolve

    def _prose(self, manual: Manual, file: str, section: markdown.Section, title: bool) -> list[str]:
        """A section of a page in docs/ without the options of commands, which the programs tell."""
        resolve = self._resolver(manual, file)
        blocks: list[markdown.Block] = []
        for block in section.blocks:
            if is_contents(block):
                continue
            if isinstance(block, markdown.Table) and (
                    block.head[0].startswith("Option") or block.rows[0][0].startswith("`quorra-sim ")):
                if section.title == COMMON:
                    blocks.append(markdown.Paragraph("They are told under OPTIONS."))
                continue
            blocks.append(block)
        heading = [f".Ss {mdoc.title(section.title.replace('`', ''))}"] if title and blocks else []
        return [*heading, *mdoc.blocks(blocks, resolve)]

    def _held(self, manual: Manual, first_title: bool = True) -> list[str]:
        lines: list[str] = []
        for number, (file, section) in enumerate(manual.holds):
            lines += self._prose(manual, file, section, first_title or number > 0)
        return lines

    def _add(self, manual: Manual) -> Manual:
        self.manuals.append(manual)
        return manual

    # Section 3.

    def _add_functions(self) -> None:
        functions = Functions(self._header)
        pages = [f"{group.name}(3)" for group in GROUPS]
        before, table, after = self._header.codes()

        def groups() -> list[str]:
            lines = [".Bl -tag -width Ds"]
            for group in GROUPS:
                lines += [f".It {self.bold(group.name + '(3)')}", *mdoc.fill(mdoc.escape(group.about))]
            return [*lines, ".El"]

        self._add(Manual("quorra", 3, "quorra.3.in", {}, {
            "header_begin": lambda: functions.text("\n\n".join(before[1:-1])),
            "groups": groups,
            "header_end": lambda: functions.text(
                re.sub(r"\s+at the end of\s+this file", "", "\n\n".join(after[1:]))),
            "codes": lambda: [*functions.codes(table), *functions.text(
                after[0].replace('"Link codes" below', '"Link codes"'))],
        }, [*pages, "quorra(1)"]))
        for number, group in enumerate(GROUPS):
            near = pages[max(number - 1, 0):number + 2]
            self._add_group(functions, group, ["quorra(3)", "quorra_session(3)", *near])

    def _add_group(self, functions: Functions, group: Group, see_also: list[str]) -> None:
        def returns() -> list[str]:
            lines = functions.returns(group)
            return [".Sh RETURN VALUES", *lines] if lines else []

        self._add(Manual(
            group.name, 3, "quorra-functions.3.in",
            {"TITLE": group.name.upper(), "ABOUT": mdoc.title(group.about)}, {
                "names": lambda: functions.names(group),
                "synopsis": lambda: functions.synopsis(group),
                "description": lambda: functions.description(group),
                "returns": returns,
                "errors": lambda: functions.errors(group),
            }, see_also, aliases=functions.section(group).names()))

    # Section 5.

    def _add_configuration(self) -> None:
        functions = Functions(self._header)
        blocks = [block for section in self._header.sections for block in section.blocks]

        def form() -> list[str]:
            comment = next(block.comment for block in blocks
                           if block.declarations and block.declarations[0].name == "ic_init")
            return functions.text(next(text for text in comment.split("\n\n") if text.startswith("The file ")))

        def keys() -> list[str]:
            lines = [".Bl -tag -width Ds"]
            for block in blocks:
                if key := re.fullmatch(r"([A-Z]): (.*)", block.comment):
                    lines += [f".It Sy {mdoc.argument(key[1])}", *mdoc.fill(
                        rf"{mdoc.escape(key[2])}: \fB{block.declarations[0].name}\fR")]
            return [*lines, ".El"]

        self._add(Manual("quorra-reader.conf", 5, "quorra-reader.conf.5.in", {},
                         {"format": form, "keys": keys},
                         ["quorra(1)", "quorra-doctor(1)", "quorra-setup(1)", "quorra_session(3)"]))

    # The programs.

    def _add_commands(self, quorra: program.Command) -> None:
        file = "docs/command-line.md"
        page = self._docs[file]
        names = [one.words[1] for one in quorra.commands]
        common, own, near = self._divided(file, names)
        errors = page.titled(ERRORS)
        statuses = next(block for block in errors.blocks if isinstance(block, markdown.Table))
        main = self._add(Manual("quorra", 1, "quorra.1.in", {}, {}, [
            "quorra(3)", "quorra-sim(1)", "quorra-reader.conf(5)", "quorra-image(5)",
            *(f"quorra-{name}(1)" for name in names)], [*common, *((file, one) for one in page.under(errors))]))

        def exit_status(manual: Manual) -> list[str]:
            return mdoc.table(statuses, self._resolver(manual, file))

        def listed() -> list[str]:
            lines = [".Bl -tag -width Ds"]
            for one in quorra.commands:
                lines += [f".It {self.bold('quorra-' + one.words[1] + '(1)')}", *program.sentence(one.summary)]
            return [*lines, ".El"]

        def diagnostics() -> list[str]:
            lines = [".Sh DIAGNOSTICS"]
            for section in page.under(errors):
                rest = markdown.Section(section.level, section.title, section.anchor,
                                        [block for block in section.blocks if block is not statuses])
                lines += self._prose(main, file, rest, section is not errors)
            return lines

        main.parts |= {
            "commands": listed, "diagnostics": diagnostics,
            "common_sections": lambda: [line for name, section in common
                                        for line in self._prose(main, name, section, True)],
            "options": lambda: program.option_list(quorra), "exit_status": lambda: exit_status(main),
            "examples": lambda: mdoc.display(quorra.examples)}
        for one in quorra.commands:
            self._add_command(one, own[one.words[1]], near[one.words[1]], exit_status)

    def _divided(self, file: str, names: list[str]) -> tuple[list[Held], dict[str, list[Held]], dict[str, set[str]]]:
        """The sections of the page of the commands: those of no command, those of each command, with
        what stands at the beginning of the chapter; and the pages of the commands in its chapter."""
        page = self._docs[file]
        common: list[Held] = []
        own: dict[str, list[Held]] = {name: [] for name in names}
        near: dict[str, set[str]] = {name: set() for name in names}
        for chapter in (section for section in page.sections if section.level == 2):
            sections = page.under(chapter)
            commands = {section.command.split()[0] for section in sections if section.command} & own.keys()
            for name in commands:
                near[name] |= {f"quorra-{other}(1)" for other in commands}
                own[name].append((file, chapter))
            current: markdown.Section | None = None
            for section in sections:
                if section.command and section.command.split()[0] in own:
                    current = section
                elif current and section.level <= current.level:
                    current = None
                if current and current.command:
                    own[current.command.split()[0]].append((file, section))
                elif not (section is chapter and commands) and chapter.title != ERRORS \
                        and section.title not in LEFT_OUT:
                    common.append((file, section))
        return common, own, near

    def _add_command(self, command: program.Command, holds: list[Held],
                     near: set[str], exit_status: Callable[[Manual], list[str]]) -> None:
        name = f"quorra-{command.words[1]}"
        leaves = command.leaves()

        def synopsis() -> list[str]:
            return [line for leaf in leaves for line in program.synopsis(leaf)]

        def options() -> list[str]:
            if leaves == [command]:
                return program.option_list(command)
            lines: list[str] = []
            for leaf in leaves:
                lines += [f".Ss {leaf.name}", *program.option_list(leaf)]
            return lines

        def description() -> list[str]:
            lines = [*program.sentence(command.summary)]
            for file, section in manual.holds:
                title = section.command != command.words[1] and section.level > 2
                heading = markdown.Section(section.level, f"quorra {section.command}", "", section.blocks) \
                    if section.command else section
                lines += [".Pp", *self._prose(manual, file, heading, title)]
            return lines

        def examples() -> list[str]:
            told = list(dict.fromkeys(line for one in [command, *command.commands] for line in one.examples))
            return [".Sh EXAMPLES", *mdoc.display(told)] if told else []

        manual = self._add(Manual(name, 1, "quorra-command.1.in", {
            "TITLE": name.upper(), "NAME": name, "ABOUT": mdoc.title(about(command.summary))}, {
                "synopsis": synopsis, "description": description, "options": options,
                "exit_status": lambda: exit_status(manual), "examples": examples},
            ["quorra(1)", *near], holds))

    def _add_simulator(self, simulator: program.Command) -> None:
        file = "docs/virtual-reader.md"
        page = self._docs[file]

        def chapters(titles: tuple[str, ...]) -> list[Held]:
            return [(file, section) for title in titles for section in page.under(page.titled(title))]

        def options() -> list[str]:
            lines = program.option_list(simulator)
            for one in simulator.commands:
                lines += [f".Ss {one.name}", *program.sentence(one.summary), *program.option_list(one)]
            return lines

        status = next(block for block in page.titled("Running it").blocks
                      if isinstance(block, markdown.Paragraph) and block.text.startswith("Exit status: "))
        sim = self._add(Manual("quorra-sim", 1, "quorra-sim.1.in", {}, {
            "synopsis": lambda: [line for one in [simulator, *simulator.commands]
                                 for line in program.synopsis(one)],
            "options": options,
            "sections": lambda: self._held(sim),
            "exit_status": lambda: mdoc.prose(
                re.sub(r"^Exit status: ", "", status.text), self._resolver(sim, file))},
            ["quorra(1)", "quorra-image(5)", "quorra-virtual-reader(7)", "quorra-wire(7)"], chapters(SIM)))
        image = self._add(Manual("quorra-image", 5, "quorra-image.5.in", {},
                                 {"sections": lambda: self._held(image, first_title=False)},
                                 ["quorra-sim(1)", "quorra-virtual-reader(7)"], chapters(IMAGE)))
        others = tuple(section.title for section in page.sections
                       if section.level == 2 and section.title not in SIM + IMAGE)
        self._add_page("quorra-virtual-reader", "what the virtual reader and its chips do",
                       [(file, page.sections[1]), *chapters(others)])
        # What stands under the title alone leads to the program.
        sim.holds.insert(0, (file, markdown.Section(1, "", "")))

    def _add_docs(self) -> None:
        for file, page in self._docs.items():
            name = file.removeprefix("docs/")
            if name in APART:
                continue
            stem = name.removesuffix(".md").replace("cards/", "card-").replace("/", "-")
            holds = [(file, section) for section in page.sections]
            self._add_page(f"quorra-{stem}", about(page.sections[1].title), holds)

    def _add_page(self, name: str, text: str, holds: list[Held]) -> None:
        def sections() -> list[str]:
            lines = []
            for file, section in manual.holds:
                lines += self._prose(manual, file, section, section.level > 1)
            return lines

        manual = self._add(Manual(name, 7, "quorra-page.7.in", {
            "TITLE": name.upper(), "NAME": name, "ABOUT": mdoc.title(text.replace("`", ""))},
            {"sections": sections}, ["quorra(1)", "quorra-sim(1)"], holds))
