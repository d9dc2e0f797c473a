# SPDX-FileCopyrightText: 2026 The quorra authors
# SPDX-License-Identifier: BSD-2-Clause
"""The HTML of all pages: it is whole, its links lead to files and places that are there, and the index
leads to every page."""

import os
import re
import subprocess
import sys
import tempfile
import unittest
import xml.etree.ElementTree
from html.parser import HTMLParser
from pathlib import Path

ROOT = Path(__file__).resolve().parents[2]
VOID = {"br", "col", "hr", "img", "input", "link", "meta"}


class Reader(HTMLParser):
    """The links and the anchors of a page, and what is wrong with its tags."""

    def __init__(self, text: str) -> None:
        super().__init__()
        self.links: list[str] = []
        self.anchors: list[str] = []
        self.complaints: list[str] = []
        self._open: list[str] = []
        self.feed(text)
        self.close()
        self.complaints += [f"<{tag}> is not closed" for tag in self._open]

    def handle_starttag(self, tag: str, attributes: list[tuple[str, str | None]]) -> None:
        self.links += [value or "" for name, value in attributes if name in ("href", "src")]
        self.anchors += [value or "" for name, value in attributes if name == "id"]
        if tag not in VOID:
            self._open.append(tag)

    def handle_startendtag(self, tag: str, attributes: list[tuple[str, str | None]]) -> None:
        if tag not in VOID and tag not in ("path", "text"):
            self.complaints.append(f"<{tag}/>")

    def handle_endtag(self, tag: str) -> None:
        if not self._open or self._open.pop() != tag:
            self.complaints.append(f"</{tag}> closes nothing, line {self.getpos()[0]}")


def broken(folder: Path) -> list[str]:
    """What is wrong with the pages in a folder and with their links."""
    complaints: list[str] = []
    pages = {path: Reader(path.read_text(encoding="utf-8")) for path in sorted(folder.rglob("*.html"))}
    for path, page in pages.items():
        name = path.relative_to(folder)
        complaints += [f"{name}: {text}" for text in page.complaints]
        complaints += [f"{name}: two places are called {anchor}"
                       for anchor in sorted(set(page.anchors)) if page.anchors.count(anchor) > 1]
        for link in page.links:
            if re.match(r"[a-z]+:", link):
                continue
            file, _, anchor = link.partition("#")
            target = Path(os.path.normpath(path.parent / file)) if file else path
            if not target.is_relative_to(folder) or not target.is_file():
                complaints.append(f"{name}: {link}: there is no such file")
            elif anchor and anchor not in pages[target].anchors:
                complaints.append(f"{name}: {link}: there is no such place")
    return complaints


class Html(unittest.TestCase):
    generator: list[str]
    pages: Path

    @classmethod
    def setUpClass(cls) -> None:
        temporary = tempfile.TemporaryDirectory()
        cls.addClassCleanup(temporary.cleanup)
        cls.folder = Path(temporary.name) / "html"
        subprocess.run([*cls.generator, "--html", cls.folder], check=True)

    def test_is_whole(self) -> None:
        self.assertEqual(broken(self.folder), [])

    def test_the_index_leads_to_every_page(self) -> None:
        links = Reader((self.folder / "index.html").read_text(encoding="utf-8")).links
        expected = {str(path.relative_to(ROOT).with_suffix(".html"))
                    for path in [*ROOT.glob("*.md"), *(ROOT / "docs").rglob("*.md")]}
        expected |= {f"man/{path.name}.html" for path in self.pages.glob("man?/*") if not path.is_symlink()}
        self.assertGreater(len(expected), 60)
        self.assertLessEqual(expected, {link.partition("#")[0] for link in links})

    def test_names_of_pages_are_links(self) -> None:
        text = (self.folder / "man" / "quorra-read.1.html").read_text(encoding="utf-8")
        self.assertIn('<a href="../man/quorra.1.html"><b>quorra</b>(1)</a>', text)
        text = (self.folder / "man" / "quorra-reader.conf.5.html").read_text(encoding="utf-8")
        self.assertIn('<a href="../man/quorra_session.3.html"><b>ic_init</b>(3)</a>', text)

    def test_drawings_are_pictures(self) -> None:
        drawings = 0
        for path in self.folder.rglob("*.html"):
            text = path.read_text(encoding="utf-8")
            for picture in re.findall(r"<svg.*?</svg>", text, re.DOTALL):
                drawings += 1
                xml.etree.ElementTree.fromstring(picture)
            self.assertIsNone(re.search("[▶◀▲▼├┤]", text), path.name)
        markdown = [path.read_text(encoding="utf-8") for path in
                    [*ROOT.glob("*.md"), *(ROOT / "docs").rglob("*.md")]]
        blocks = [block for text in markdown for block in re.findall(r"```.*?```", text, re.DOTALL)]
        self.assertEqual(drawings, sum(1 for block in blocks if re.search("[▶◀▲▼]", block)))

    def test_what_is_wrong_is_told(self) -> None:
        with tempfile.TemporaryDirectory() as name:
            folder = Path(name)
            (folder / "a.html").write_text(
                '<p id="x"><a href="b.html#y">y</a><a href="b.html#z">z</a><a href="c.html">c</a></p>'
                '<a href="#x">x</a><p id="x"><br></p><a href="https://example.org">o</a></b><i>')
            (folder / "b.html").write_text('<p id="y"><a href="../b.html">out</a></p>')
            self.assertEqual(broken(folder), [
                "a.html: </b> closes nothing, line 1",
                "a.html: <i> is not closed",
                "a.html: two places are called x",
                "a.html: b.html#z: there is no such place",
                "a.html: c.html: there is no such file",
                "b.html: ../b.html: there is no such file",
            ])


class Diagram(unittest.TestCase):
    def test_lines_arrows_and_words(self) -> None:
        from manuals import diagram
        picture = xml.etree.ElementTree.fromstring(diagram.svg(["a b  c", "├──▶│ d"]))
        space = "{http://www.w3.org/2000/svg}"
        words = {text.text: (text.get("x"), text.get("y")) for text in picture.iter(f"{space}text")}
        self.assertEqual(words, {"a b": ("0", "14"), "c": ("45", "14"), "d": ("54", "34")})
        paths = [path.get("d") for path in picture.iter(f"{space}path") if path.get("class") is None]
        # From the middle of the first cell in the second row: up, down and right.
        self.assertEqual(paths[:3], ["M4.5 30L4.5 20", "M4.5 30L4.5 40", "M4.5 30L9 30"])
        heads = [path.get("d") for path in picture.iter(f"{space}path") if path.get("class") == "head"]
        # Its point is on the line in the cell behind it.
        self.assertEqual(heads, ["M40.5 30L27 26L27 34Z"])

    def test_a_table_is_no_drawing(self) -> None:
        from manuals import diagram
        self.assertFalse(diagram.is_diagram(["| a | b |", "│ c │"]))
        self.assertTrue(diagram.is_diagram(["a ─▶ b"]))


if __name__ == "__main__":
    first = sys.argv.index("--")
    Html.generator = sys.argv[first + 1:]
    Html.pages = Path(Html.generator[Html.generator.index("--pages") + 1])
    del sys.argv[first:]
    unittest.main()
