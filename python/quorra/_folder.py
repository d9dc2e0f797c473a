# SPDX-FileCopyrightText: 2026 The quorra authors
# SPDX-License-Identifier: BSD-2-Clause
"""A temporary folder that a child of fork() does not take away when it ends."""

from __future__ import annotations

import os
import shutil
import tempfile
import weakref
from pathlib import Path


def _remove(path: Path, owner: int) -> None:
    if os.getpid() == owner:
        shutil.rmtree(path, ignore_errors=True)


class Folder:
    """It goes with the object, or with the process that made it."""

    def __init__(self) -> None:
        self.path = Path(tempfile.mkdtemp(prefix="quorra-"))
        self.remove = weakref.finalize(self, _remove, self.path, os.getpid())
