# SPDX-FileCopyrightText: 2026 The quorra authors
# SPDX-License-Identifier: BSD-2-Clause
"""What was found out before, and the mutants that nobody can tell from the original."""

import hashlib
import json
import threading
import tomllib
from dataclasses import dataclass
from pathlib import Path

from .changes import Mutant

SURVIVED = "survived"


def digest(*contents: bytes) -> str:
    return hashlib.sha256(b"\0".join(contents)).hexdigest()[:16]


class Records:
    """Results by file and change. They hold as long as the file has the same text; a mutant that
    survived is tried again when the tests have changed."""

    def __init__(self, path: Path, tests: str) -> None:
        self._path = path
        self._tests = tests
        self._lock = threading.Lock()
        self._unsaved = 0
        self._files: dict[str, dict] = {}
        if path.exists():
            self._files = json.loads(path.read_text(encoding="utf-8"))

    def begin(self, file: str, text: str) -> None:
        version = digest(text.encode())
        if self._files.get(file, {}).get("version") != version:
            self._files[file] = {"version": version, "results": {}}

    def result(self, mutant: Mutant, number: int) -> str | None:
        found = self._files[mutant.file]["results"].get(f"{mutant.key} #{number}")
        if found is None or (found[0] == SURVIVED and found[1] != self._tests):
            return None
        return str(found[0])

    def note(self, mutant: Mutant, number: int, result: str) -> None:
        with self._lock:
            self._files[mutant.file]["results"][f"{mutant.key} #{number}"] = [result, self._tests]
            self._unsaved += 1
            if self._unsaved >= 20:
                self._save()

    def save(self) -> None:
        with self._lock:
            self._save()

    def _save(self) -> None:
        fresh = self._path.with_suffix(".new")
        fresh.write_text(json.dumps(self._files, indent=0), encoding="utf-8")
        fresh.replace(self._path)
        self._unsaved = 0


@dataclass(frozen=True)
class Explanation:
    file: str
    before: str
    after: str
    reason: str

    def fits(self, mutant: Mutant) -> bool:
        return (self.file, self.before, self.after) == (mutant.file, mutant.before, mutant.after)


def read_explanations(path: Path) -> list[Explanation]:
    if not path.exists():
        return []
    with path.open("rb") as file:
        return [Explanation(**entry) for entry in tomllib.load(file).get("mutant", [])]
