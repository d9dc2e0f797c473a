# SPDX-FileCopyrightText: 2026 The quorra authors
# SPDX-License-Identifier: BSD-2-Clause
"""What is installed and uninstalled again leaves nothing behind, and takes nothing away of others."""

import os
import subprocess
import sys
import tempfile
import unittest
from pathlib import Path


def tree(folder: Path) -> list[str]:
    """All that is in a folder, empty folders, too."""
    return sorted(str(path.relative_to(folder)) for path in folder.rglob("*"))


class Uninstall(unittest.TestCase):
    cmake: str
    build: str

    def setUp(self) -> None:
        temporary = tempfile.TemporaryDirectory()
        self.addCleanup(temporary.cleanup)
        self.root = Path(temporary.name)

    def run_cmake(self, *arguments: str | Path, destdir: Path | None = None) -> None:
        environment = {name: value for name, value in os.environ.items() if name != "DESTDIR"}
        if destdir:
            environment["DESTDIR"] = str(destdir)
        subprocess.run([self.cmake, *arguments], check=True, env=environment,
                       stdout=subprocess.DEVNULL, stderr=subprocess.PIPE)

    def install(self, prefix: Path, **where: Path) -> None:
        self.run_cmake("--install", self.build, "--prefix", prefix, **where)

    def uninstall(self, **where: Path) -> None:
        self.run_cmake("--build", self.build, "--target", "uninstall", **where)

    def test_leaves_nothing(self) -> None:
        prefix = self.root / "new" / "prefix"
        self.install(prefix)
        installed = tree(prefix)
        self.assertIn("include/quorra.h", installed)
        self.assertTrue(any(name.endswith("/man3/srd_4442.3") for name in installed))
        self.uninstall()
        self.assertEqual(tree(self.root), [])

    def test_leaves_nothing_when_it_was_installed_twice(self) -> None:
        prefix = self.root / "prefix"
        self.install(prefix)
        self.install(prefix)
        self.uninstall()
        self.assertEqual(tree(self.root), [])

    def test_leaves_what_others_have(self) -> None:
        prefix = self.root / "prefix"
        for folder in ("bin", "share/man/man3", "share/fish"):
            (prefix / folder).mkdir(parents=True)
        (prefix / "bin" / "other").write_text("")
        before = tree(self.root)
        self.install(prefix)
        # What has come into a folder of ours later stays, and so does the folder.
        later = prefix / "share" / "man" / "man1" / "other.1"
        later.write_text("")
        self.uninstall()
        later.unlink()
        later.parent.rmdir()
        self.assertEqual(tree(self.root), before)

    def test_looks_below_destdir(self) -> None:
        self.install(Path("/prefix"), destdir=self.root)
        self.assertIn("prefix/include/quorra.h", tree(self.root))
        self.uninstall(destdir=self.root)
        self.assertEqual(tree(self.root), [])

    def test_needs_an_installation(self) -> None:
        self.install(self.root / "prefix")
        self.uninstall()
        with self.assertRaises(subprocess.CalledProcessError):
            self.uninstall()


if __name__ == "__main__":
    Uninstall.build = sys.argv.pop()
    Uninstall.cmake = sys.argv.pop()
    unittest.main()
