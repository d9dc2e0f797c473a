# SPDX-FileCopyrightText: 2026 The quorra authors
# SPDX-License-Identifier: BSD-2-Clause
"""The manual pages and the pages in Markdown as HTML: mandoc and cmark-gfm make the text, and here it
gets its frame, its links and an index. The folder can be read from anywhere, without a server."""

import html
import os
import re
import shutil
import subprocess
from pathlib import Path

from . import diagram, markdown
from .pages import Manuals

HERE = Path(__file__).resolve().parent
SECTIONS = {1: "Programs", 3: "Functions", 5: "Files", 7: "More"}


class Website:
    def __init__(self, source: Path, pages: Path, manuals: Manuals, folder: Path) -> None:
        self._source = source
        self._pages = pages
        self._manuals = manuals.manuals
        self._folder = folder
        self._documents = sorted(str(path.relative_to(source)) for path in
                                 [*source.glob("*.md"), *(source / "docs").rglob("*.md")])
        # Which file a reference such as srd_4442(3) leads to.
        self._references = {f"{name}({manual.section})": f"man/{manual.name}.{manual.section}.html"
                            for manual in self._manuals for name in (manual.name, *manual.aliases)}

    def write(self) -> None:
        shutil.rmtree(self._folder, ignore_errors=True)
        (self._folder / "man").mkdir(parents=True)
        shutil.copy(HERE / "style.css", self._folder)
        titles: dict[str, str] = {}
        # Pages to which others lead are added as they are met.
        for name in self._documents:
            titles[name] = self._document(name, (self._source / name).read_text(encoding="utf-8"))
        texts = {}
        for manual in self._manuals:
            name = f"{manual.name}.{manual.section}"
            texts[name] = self._manual(name)
        self._index(titles, texts)

    def _put(self, name: str, title: str, body: str) -> None:
        path = self._folder / name
        path.parent.mkdir(parents=True, exist_ok=True)
        up = "../" * name.count("/")
        places = {"quorra": "index.html", "README": "README.html"}
        places |= {name: self._references[name] for name in ("quorra(1)", "quorra(3)")
                   if name in self._references}
        links = " ".join(f'<a href="{up}{place}">{label}</a>' for label, place in places.items())
        path.write_text(
            f'<!DOCTYPE html>\n<html lang="en">\n<head>\n<meta charset="utf-8">\n'
            f'<meta name="viewport" content="width=device-width, initial-scale=1">\n'
            f'<title>{html.escape(title)}</title>\n<link rel="stylesheet" href="{up}style.css">\n</head>\n'
            f'<body>\n<nav>{links}</nav>\n{body}</body>\n</html>\n', encoding="utf-8")

    def _manual(self, name: str) -> str:
        """Makes the page of a manual, and tells what is in its frame."""
        section = name.rsplit(".", 1)[1]
        text = run(["mandoc", "-T", "html", "-O", "fragment", str(self._pages / f"man{section}" / name)])

        def link(match: re.Match[str]) -> str:
            place = self._references.get(f"{match[1]}({match[2]})")
            return f'<a href="../{place}">{match[0]}</a>' if place else match[0]

        text = re.sub(r"<b>([\w.-]+)</b>\((\d)\)", link, text)
        self._put(f"man/{name}.html", f"{name.rsplit('.', 1)[0]}({section})", text)
        return text

    def _document(self, name: str, text: str) -> str:
        """Makes the page of a document, and tells its title."""
        page = markdown.Page(name, text)
        # Comments would come out as remarks that they were left out.
        text = re.sub(r"^\s*<!--.*-->\n", "", text, flags=re.MULTILINE)
        text = run(["cmark-gfm", "--extension", "table"], text)
        sections = iter(page.sections[1:])
        text = re.sub(r"<(h[1-6])>", lambda head: f'<{head[1]} id="{next(sections).anchor}">', text)
        text = re.sub(r'(href|src)="([^"]*)"', lambda link: self._link(name, link), text)
        text = re.sub(r"<pre><code[^>]*>(.*?)</code></pre>", self._picture, text, flags=re.DOTALL)
        title = page.sections[1].title.replace("`", "")
        self._put(f"{name.removesuffix('.md')}.html", title, text)
        return title

    def _link(self, name: str, link: re.Match[str]) -> str:
        """A link to another page leads to its HTML; a file that is no page goes along."""
        path, mark, anchor = html.unescape(link[2]).partition("#")
        if not path or re.match(r"[a-z]+:", path):
            return link[0]
        target = os.path.normpath(os.path.join(os.path.dirname(name), path))
        if path.endswith(".md"):
            if target not in self._documents:
                self._documents.append(target)
            return f'{link[1]}="{html.escape(path.removesuffix(".md") + ".html" + mark + anchor)}"'
        if (self._source / target).is_file():
            (self._folder / target).parent.mkdir(parents=True, exist_ok=True)
            shutil.copy(self._source / target, self._folder / target)
            return link[0]
        raise ValueError(f"{name}: {link[2]} is no file")

    def _picture(self, block: re.Match[str]) -> str:
        lines = html.unescape(block[1]).rstrip("\n").split("\n")
        return diagram.svg(lines) if diagram.is_diagram(lines) else block[0]

    def _index(self, titles: dict[str, str], texts: dict[str, str]) -> None:
        lines = ["<h1>quorra</h1>", "<h2>Guides</h2>", "<ul>"]
        lines += [f'<li><a href="{name.removesuffix(".md")}.html">{html.escape(title)}</a></li>'
                  for name, title in titles.items()]
        lines.append("</ul>")
        for section, title in SECTIONS.items():
            manuals = [manual for manual in self._manuals if manual.section == section]
            if not manuals:
                continue
            lines += [f"<h2>{title}</h2>", "<ul>"]
            for manual in manuals:
                text = texts[f"{manual.name}.{section}"]
                about = text.partition('<span class="Nd">')[2].partition("</span>")[0]
                lines.append(f'<li><a href="man/{manual.name}.{section}.html">{manual.reference}</a>: '
                             f'{" ".join(about.split())}</li>')
            lines.append("</ul>")
        lines += ["<h2>All names of the library</h2>", '<ul class="names">']
        names = {alias: manual for manual in self._manuals for alias in manual.aliases}
        for alias in sorted(names, key=str.lower):
            name = f"{names[alias].name}.{names[alias].section}"
            mark = f"#{alias}" if f' id="{alias}"' in texts[name] else ""
            lines.append(f'<li><a href="man/{name}.html{mark}"><code>{alias}</code></a></li>')
        lines.append("</ul>\n")
        self._put("index.html", "quorra", "\n".join(lines))


def run(command: list[str], text: str = "") -> str:
    try:
        return subprocess.run(command, input=text, capture_output=True, encoding="utf-8", check=True).stdout
    except FileNotFoundError:
        raise SystemExit(f"{command[0]} is missing; scripts/setup installs it") from None
