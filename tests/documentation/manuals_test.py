# SPDX-FileCopyrightText: 2026 The quorra authors
# SPDX-License-Identifier: BSD-2-Clause
"""The manual pages: that mandoc has no complaint, that man finds one for every command and every
exported name, and that they say what the programs and the header say."""

import os
import re
import subprocess
import sys
import unittest
from pathlib import Path

from reference_test import Help, helps

ROOT = Path(__file__).resolve().parents[2]
HEADER = (ROOT / "include" / "quorra.h").read_text(encoding="utf-8")
EXPORTED = re.findall(r"^\s+(\w+);", (ROOT / "src" / "quorra.map").read_text(encoding="utf-8"), re.MULTILINE)
LINK_CODES = {"-128", "-129", "-132", "-133"}
# The sections of pages, in their order.
ORDER = ["NAME", "LIBRARY", "SYNOPSIS", "DESCRIPTION", "OPTIONS", "RETURN VALUES", "ENVIRONMENT", "FILES",
         "EXIT STATUS", "EXAMPLES", "DIAGNOSTICS", "ERRORS", "SEE ALSO"]
WANTED = {"1": {"NAME", "SYNOPSIS", "DESCRIPTION", "OPTIONS", "EXIT STATUS", "SEE ALSO"},
          "3": {"NAME", "LIBRARY", "SYNOPSIS", "DESCRIPTION", "SEE ALSO"},
          "5": {"NAME", "DESCRIPTION", "EXAMPLES", "SEE ALSO"},
          "7": {"NAME", "DESCRIPTION", "SEE ALSO"}}


def shown(path: Path) -> str:
    """A page as it is read, without bold type and with lines that are as long as they need be."""
    done = subprocess.run(["mandoc", "-T", "ascii", "-O", "width=1000", path], capture_output=True,
                          encoding="ascii", check=True)
    return re.sub(r".\x08", "", done.stdout)


def sections(text: str) -> dict[str, str]:
    """The sections of a page that is shown, by their titles."""
    parts = re.split(r"^(?! )(\S.*)\n", text, flags=re.MULTILINE)[1:]
    # The first line and the last one are no titles.
    return {title: body for title, body in zip(parts[0::2], parts[1::2])
            if re.fullmatch(r"[A-Z ]+", title)}


def options(text: str) -> set[str]:
    """The long options, and what else may be typed, that head entries of lists."""
    names: set[str] = set()
    for line in text.splitlines():
        if entry := re.fullmatch(r"     (\S.*)", line):
            head = re.split(r"  +(?=\S)", entry[1])[0]
            if head.startswith("-"):
                names |= set(re.findall(r"--[\w-]+", head))
            elif argument := re.fullmatch(r"([A-Za-z]+)(?: \.\.\.)?", head):
                names.add(argument[1])
    return names


def prototypes(text: str) -> set[str]:
    """Declarations without the blanks that do not matter."""
    found = re.findall(r"\b(?:extern|int|void)\s[^;{}\"#]*;", re.sub(r"/\*.*?\*/", " ", text, flags=re.DOTALL))
    return {re.sub(r"\s*([(),;*\[\]])\s*", r"\1", " ".join(one.split())) for one in found}


class Manuals(unittest.TestCase):
    folder: Path
    quorra: str
    simulator: str

    def page(self, name: str) -> Path:
        return self.folder / f"man{name[-1]}" / name

    def pages(self) -> list[Path]:
        found = [path for path in sorted(self.folder.glob("man?/*")) if not path.is_symlink()]
        self.assertGreater(len(found), 50)
        return found

    def test_mandoc_is_quiet(self) -> None:
        done = subprocess.run(["mandoc", "-T", "lint", *self.pages()], capture_output=True, text=True)
        self.assertEqual(done.stdout + done.stderr, "")
        self.assertEqual(done.returncode, 0)

    def test_groff_is_quiet(self) -> None:
        # Pages that never end confuse tbl, which measures what is left of them.
        environment = {**os.environ, "LC_ALL": "C.UTF-8", "MANROFFSEQ": "", "MANWIDTH": "80",
                       "MANROFFOPT": "-rcR=0"}
        done = subprocess.run(["man", "--warnings", "-E", "UTF-8", "-l", "-Tutf8", "-Z", *self.pages()],
                              capture_output=True, text=True, env=environment)
        self.assertEqual(done.stderr, "")
        self.assertEqual(done.returncode, 0)
        self.assertIn("x stop", done.stdout)

    def test_man_finds_every_exported_name(self) -> None:
        self.assertIn("srd_4442", EXPORTED)
        environment = {**os.environ, "MANPATH": str(self.folder), "LC_ALL": "C"}
        for name in EXPORTED:
            path = self.page(f"{name}.3").resolve()
            self.assertIn(f".Nm {name}", path.read_text(encoding="ascii").replace(" ,", "").splitlines(), name)
        done = subprocess.run(["man", "-w", *EXPORTED], capture_output=True, text=True, env=environment)
        self.assertEqual(done.stderr, "")
        self.assertEqual(len(done.stdout.splitlines()), len(EXPORTED))
        done = subprocess.run(["man", "srd_4442"], capture_output=True, text=True,
                              env={**environment, "MANPAGER": "cat", "MANWIDTH": "80"}, check=True)
        self.assertIn("use 4442 and 4432 memory cards", done.stdout)

    def test_prototypes_are_those_of_the_header(self) -> None:
        declared = prototypes(HEADER[HEADER.index('extern "C" {') + 12:])
        told: set[str] = set()
        for path in self.folder.glob("man3/quorra_*.3"):
            told |= prototypes(sections(shown(path))["SYNOPSIS"])
        self.assertEqual(len(declared), len(EXPORTED))
        self.assertEqual(told, declared)

    def test_codes_are_those_of_the_header(self) -> None:
        meanings = dict(re.findall(r"^ \* +(-\d+(?: to -\d+)?)   +(.*)", HEADER, re.MULTILINE))
        self.assertGreater(len(meanings), 10)
        # What is declared behind a comment has the codes that it names.
        for comment, declarations in re.findall(
                r"^/\*((?:(?!\*/).)*)\*/\n((?:(?:int|void) [^;]*;\n)+)", HEADER, re.DOTALL | re.MULTILINE):
            codes = set(re.findall(r"(?<![\w)])-\d{1,3}(?!\d)", comment))
            if "link code" in comment:
                codes |= LINK_CODES
            if "STATUS" in comment:
                codes.add("-1 to -255")
            for name in re.findall(r"(\w+)\(", declarations):
                page = shown(self.page(f"{name}.3"))
                entries = " ".join(sections(page).get("ERRORS", "").split())
                for code in codes:
                    self.assertIn(code, page, name)
                    self.assertIn(f" {code} {' '.join(meanings[code].split())[:20]}", f" {entries}", name)

    def test_options_are_those_of_the_programs(self) -> None:
        asked = helps(self.quorra, [])
        asked |= {f"-sim {name}".strip(): told for name, told in helps(self.simulator, []).items()}
        documented: dict[str, set[str]] = {}
        texts: dict[str, str] = {}
        for path in self.folder.glob("man1/*.1"):
            words = path.stem.removeprefix("quorra").removeprefix("-") if path.stem != "quorra-sim" else "-sim"
            text = sections(shown(path))["OPTIONS"]
            first, *others = re.split(r"^   (?! )(\S.*)\n", text, flags=re.MULTILINE)
            parts = {words: first} | {title.removeprefix("quorra").removeprefix(" "): part
                                      for title, part in zip(others[0::2], others[1::2])}
            for command, part in parts.items():
                if command == words and others and words != "-sim":
                    continue
                documented[command] = options(part) - {"--help"}
                texts[command] = part
        self.assertEqual(sorted(documented), sorted(asked))
        for command, told in asked.items():
            self.assertEqual(documented[command], told.names, command or "quorra")
            # Each has its meaning, in a sentence.
            self.assertNotRegex(texts[command], r"(?m)^ +\.|^     \S+\n(?!      )")
            # Of what is no option the name is enough, without a word for what it is.
            entries = re.sub(r"(?m)^(  \w+) [A-Z]+\b", r"\1", told.text).replace(" REQUIRED", "")
            words = re.split(r"^(?:Options|Positionals):", entries, flags=re.MULTILINE)[1:]
            words = " ".join(part.partition("\n\n")[0] for part in words)
            missing = set(re.findall(r"\w+", words.lower())) - set(re.findall(r"\w+", texts[command].lower()))
            self.assertEqual(missing, set(), command or "quorra")

    def test_each_command_has_a_page(self) -> None:
        main = sections(shown(self.page("quorra.1")))
        for command in Help(self.quorra, []).subcommands:
            self.assertIn(f"quorra-{command}(1)", main["SEE ALSO"])
            self.assertTrue(self.page(f"quorra-{command}.1").exists(), command)

    def test_sections_are_there_in_their_order(self) -> None:
        for path in self.pages():
            titles = list(sections(shown(path)))
            self.assertEqual(titles, [title for title in ORDER if title in titles], path.name)
            self.assertLessEqual(WANTED[path.suffix[1:]], set(titles), path.name)
            names = " ".join(sections(shown(path))["NAME"].split()).partition(" - ")[0].split(", ")
            self.assertIn(path.stem, names)

    def test_references_lead_to_pages(self) -> None:
        for path in self.pages():
            found = re.findall(r"\\fB([\w\\.-]+)\\fR\((\d)\)", path.read_text(encoding="ascii"))
            self.assertNotEqual(found, [], path.name)
            for name, section in found:
                name = name.replace("\\-", "-")
                self.assertTrue(self.page(f"{name}.{section}").exists(), f"{path.name}: {name}({section})")


if __name__ == "__main__":
    Manuals.simulator = sys.argv.pop()
    Manuals.quorra = sys.argv.pop()
    Manuals.folder = Path(sys.argv.pop())
    unittest.main()
