# SPDX-FileCopyrightText: 2026 The quorra authors
# SPDX-License-Identifier: BSD-2-Clause
"""The marks of sources that no test can reach.

    abort();  // UNREACHED: a reader cannot have two cards

holds for its line, lines and branches alike; UNREACHED_FROM, with the reason, and UNREACHED_TO
enclose several lines.
"""

import re
from dataclasses import dataclass

_MARK = re.compile(r"// UNREACHED(_FROM|_TO)?\b:?\s*(.*)")


@dataclass
class Mark:
    """Some lines, and why they are not reached."""

    lines: range
    reason: str


def read(text: list[str]) -> list[Mark]:
    """The marks of a source, given by its lines."""
    marks = []
    begin = None
    for number, line in enumerate(text, 1):
        found = _MARK.search(line)
        if not found:
            continue
        kind, reason = found.groups()
        if kind == "_FROM":
            begin = Mark(range(number, len(text) + 1), reason)
            marks.append(begin)
        elif kind == "_TO" and begin:
            begin.lines = range(begin.lines.start, number + 1)
        else:
            marks.append(Mark(range(number, number + 1), reason))
    return marks
