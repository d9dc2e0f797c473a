# SPDX-FileCopyrightText: 2026 The quorra authors
# SPDX-License-Identifier: BSD-2-Clause
"""Finding quorra.so, and loading it when it is needed."""

from __future__ import annotations

import ctypes
import os
import shutil
import sys
import sysconfig
from collections.abc import Iterator
from functools import lru_cache
from pathlib import Path

NAME = "quorra.so"
VARIABLE = "QUORRA_LIBRARY"


def _folder_at_start() -> str:
    try:
        return os.getcwd()
    except OSError:
        return "/"


# The library is loaded late, and a relative name is meant from where the program was started.
_START = _folder_at_start()


class LibraryNotFound(OSError):
    """There is no quorra.so where it could be, or the one that is there cannot be loaded."""


def _installed_places() -> Iterator[Path]:
    """Where an installation puts the library, as seen from this package and from the programs."""
    multiarch = sysconfig.get_config_var("MULTIARCH")
    folders = ["lib", *([f"lib/{multiarch}"] if multiarch else []), "lib64"]
    # Beside the package, as in a build folder, or in a folder above it, as in /usr/local/lib.
    for folder in list(Path(__file__).parents)[1:-1]:
        yield folder / NAME
        if multiarch:
            yield folder / multiarch / NAME
    prefixes = [Path(sys.prefix), Path("/usr/local"), Path("/usr")]
    if program := shutil.which("quorra-sim") or shutil.which("quorra"):
        prefix = Path(program).resolve().parent.parent
        yield prefix / NAME
        prefixes.insert(0, prefix)
    for prefix in prefixes:
        for name in folders:
            yield prefix / name / NAME


def _load(name: str) -> ctypes.CDLL:
    library = ctypes.CDLL(name)
    # Another library may have such a name.
    if not hasattr(library, "ic_init"):
        raise OSError(f"{name}: this is another library")
    return library


@lru_cache(maxsize=None)
def library() -> ctypes.CDLL:
    """The library: the one that QUORRA_LIBRARY names, else the one that the dynamic linker finds, else
    the one that is installed where this package or the programs are."""
    named = os.environ.get(VARIABLE)
    try:
        if named:
            return _load(os.path.join(_START, named))
    except OSError as error:
        raise LibraryNotFound(f"{VARIABLE}={named}: {error}") from None
    try:
        return _load(NAME)
    except OSError:
        pass
    tried = []
    for place in _installed_places():
        if not place.is_file():
            continue
        try:
            return _load(str(place))
        except OSError as error:
            tried.append(str(error))
    why = f": {'; '.join(tried)}" if tried else ""
    raise LibraryNotFound(f"{NAME} is not found; {VARIABLE} may name it{why}")


def path_of_library() -> Path:
    """The file of the library that is loaded."""
    return Path(library()._name if os.path.isabs(library()._name) else _mapped_path())


def _mapped_path() -> str:
    """The dynamic linker's own choice, as the system lists it for this process."""
    library()
    with open("/proc/self/maps", encoding="utf-8", errors="surrogateescape") as maps:
        for line in maps:
            path = line.split(maxsplit=5)[-1].strip()
            if os.path.basename(path) == NAME:
                return path
    raise LibraryNotFound(f"{NAME} is loaded, but the system does not tell from where")
