# SPDX-FileCopyrightText: 2026 The quorra authors
# SPDX-License-Identifier: BSD-2-Clause
"""python3 -m manuals --source FOLDER --pages FOLDER [--quorra PROGRAM --simulator PROGRAM] [--html FOLDER]

Makes the manual pages, or the HTML of them and of the pages in docs/. Each folder is made anew."""

import argparse
import shutil
from pathlib import Path

from .pages import Manuals
from .website import Website


def main() -> None:
    arguments = argparse.ArgumentParser(prog="manuals")
    arguments.add_argument("--source", type=Path, required=True)
    arguments.add_argument("--pages", type=Path, required=True, help="where the manual pages go")
    arguments.add_argument("--html", type=Path, help="where the HTML goes, made of the pages")
    arguments.add_argument("--quorra")
    arguments.add_argument("--simulator")
    given = arguments.parse_args()
    manuals = Manuals(given.source, given.quorra, given.simulator)
    if given.html:
        Website(given.source, given.pages, manuals, given.html).write()
    else:
        shutil.rmtree(given.pages, ignore_errors=True)
        manuals.write(given.pages)


main()
