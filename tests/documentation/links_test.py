# SPDX-FileCopyrightText: 2026 The quorra authors
# SPDX-License-Identifier: BSD-2-Clause
"""Links of the pages lead to files and headings that are there, and the README leads to every page."""

import re
import tempfile
import unittest
from pathlib import Path

from markdown import Page

ROOT = Path(__file__).resolve().parents[2]


def pages(root: Path) -> list[Path]:
    return sorted([*root.glob("*.md"), *root.glob("examples/*.md"), *(root / "docs").rglob("*.md")])


def broken(root: Path) -> list[str]:
    """The links that lead nowhere."""
    complaints = []
    for path in pages(root):
        page = Page.of(path)
        for line, link in page.links():
            if re.match(r"[a-z]+:", link):
                continue
            name, _, anchor = link.partition("#")
            target = (path.parent / name).resolve() if name else path
            where = f"{path.relative_to(root)}:{line}: {link}"
            if not target.exists():
                complaints.append(f"{where}: there is no such file")
            elif anchor and anchor not in Page.of(target).anchors():
                complaints.append(f"{where}: there is no such heading")
    return complaints


def not_named(root: Path) -> list[str]:
    """The pages to which no link of the README leads."""
    readme = root / "README.md"
    named = {(root / link.partition("#")[0]).resolve() for _, link in Page.of(readme).links()}
    return [str(path.relative_to(root)) for path in pages(root)
            if path != readme and path.resolve() not in named]


class Links(unittest.TestCase):
    def test_lead_somewhere(self) -> None:
        self.assertEqual(broken(ROOT), [])

    def test_of_the_readme_lead_to_every_page(self) -> None:
        self.assertEqual(not_named(ROOT), [])

    def test_that_lead_nowhere_are_told(self) -> None:
        with tempfile.TemporaryDirectory() as name:
            root = Path(name)
            (root / "docs").mkdir()
            (root / "README.md").write_text(
                "# Title\n[a](docs/page.md) [b](docs/none.md) [c](#title)\n[d](docs/page.md#the-words)"
                " [e](docs/page.md#others)\n\n```text\n[f](nowhere)\n```\n[g](https://example.org)\n")
            (root / "docs" / "page.md").write_text("# The `words`!\n[h](../README.md#title)\n[i](#here)\n")
            (root / "docs" / "other.md").write_text("# Page\n# Page\n[j](#page-1) [k](#page-2)\n")
            self.assertEqual(broken(root), [
                "README.md:2: docs/none.md: there is no such file",
                "README.md:3: docs/page.md#others: there is no such heading",
                "docs/other.md:3: #page-2: there is no such heading",
                "docs/page.md:3: #here: there is no such heading",
            ])
            self.assertEqual(not_named(root), ["docs/other.md"])


if __name__ == "__main__":
    unittest.main()
