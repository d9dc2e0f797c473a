# SPDX-FileCopyrightText: 2026 The quorra authors
# SPDX-License-Identifier: BSD-2-Clause
"""What the tests share. QUORRA_LIBRARY, QUORRA_SIM and QUORRA_PROGRAM name what was built."""

from __future__ import annotations

import os
import shutil
from pathlib import Path

import pytest

pytest_plugins = ["quorra.pytest_plugin", "pytester"]

ROOT = Path(__file__).resolve().parents[2]


@pytest.fixture(scope="session")
def program() -> str:
    """The program quorra."""
    found = os.environ.get("QUORRA_PROGRAM") or shutil.which("quorra")
    assert found is not None, "QUORRA_PROGRAM has to name the program quorra"
    return found


@pytest.fixture(scope="session")
def root() -> Path:
    """The folder of the whole project."""
    return ROOT
