# SPDX-FileCopyrightText: 2026 The quorra authors
# SPDX-License-Identifier: BSD-2-Clause
"""Finding the library and the package, in programs of their own."""

from __future__ import annotations

import os
import shutil
import subprocess
import sys
import venv
import zipfile
from pathlib import Path

import pytest

import quorra

WHERE = "import quorra; print(quorra.path_of_library())"
# Not the python of a virtual environment in which the tests may run.
PACKAGE = Path(quorra.__file__).parent


def run(code: str, *, folder: Path, python: str = sys.executable, **variables: str) -> subprocess.CompletedProcess[str]:
    environment = {name: value for name, value in os.environ.items()
                   if name not in ("QUORRA_LIBRARY", "PYTHONPATH", "LD_LIBRARY_PATH", "PYTHONSAFEPATH")}
    return subprocess.run([python, "-c", code], cwd=folder, env={**environment, **variables}, capture_output=True,
                          text=True, check=False)


def output(done: subprocess.CompletedProcess[str]) -> str:
    assert done.returncode == 0, done.stderr
    return done.stdout.strip()


@pytest.fixture
def library(tmp_path: Path) -> Path:
    """A copy of the library in a folder of its own."""
    folder = tmp_path / "lib"
    folder.mkdir(exist_ok=True)
    return Path(shutil.copy(quorra.path_of_library(), folder / "quorra.so"))


@pytest.fixture
def site(tmp_path: Path) -> Path:
    """A copy of the package in a folder of its own."""
    folder = tmp_path / "lib" / "python3" / "dist-packages"
    shutil.copytree(PACKAGE, folder / "quorra", ignore=shutil.ignore_patterns("__pycache__"))
    return folder


def test_the_library_that_is_named(library: Path, tmp_path: Path) -> None:
    found = run(WHERE, folder=tmp_path, PYTHONPATH=str(PACKAGE.parent), QUORRA_LIBRARY=str(library))
    assert output(found) == str(library)
    relative = "import os, quorra; os.chdir('/'); print(quorra.path_of_library())"
    found = run(relative, folder=tmp_path, PYTHONPATH=str(PACKAGE.parent), QUORRA_LIBRARY="lib/quorra.so")
    assert output(found) == str(library)


def test_the_library_of_the_dynamic_linker(library: Path, tmp_path: Path) -> None:
    found = run(WHERE, folder=tmp_path, PYTHONPATH=str(PACKAGE.parent), LD_LIBRARY_PATH=str(library.parent))
    assert output(found) == str(library)


def test_the_library_of_the_same_prefix(library: Path, site: Path, tmp_path: Path) -> None:
    assert output(run(WHERE, folder=tmp_path, PYTHONPATH=str(site))) == str(library)
    library.rename(tmp_path / "quorra.so")
    assert output(run(WHERE, folder=Path("/"), PYTHONPATH=str(site))) == str(tmp_path / "quorra.so")


def test_the_library_of_the_programs(library: Path, tmp_path: Path) -> None:
    (tmp_path / "bin").mkdir()
    sim = tmp_path / "bin" / "quorra-sim"
    sim.write_text("#!/bin/sh\n")
    sim.chmod(0o755)
    elsewhere = tmp_path / "elsewhere"
    shutil.copytree(PACKAGE, elsewhere / "python" / "quorra", ignore=shutil.ignore_patterns("__pycache__"))
    found = run(WHERE, folder=Path("/"), PYTHONPATH=str(elsewhere / "python"), PATH=f"{sim.parent}:{os.environ['PATH']}")
    assert output(found) == str(library)
    # And the other way round.
    program = run("import quorra; print(quorra.find_program())", folder=Path("/"), PYTHONPATH=str(PACKAGE.parent),
                  QUORRA_LIBRARY=str(library), QUORRA_SIM="", PATH="/nowhere")
    assert output(program) == str(sim)


def test_a_library_that_is_not_there(tmp_path: Path) -> None:
    other = tmp_path / "other.so"
    other.write_bytes(b"no library")
    for named in (tmp_path / "missing.so", other):
        told = run("import quorra; quorra.lib.cr_bcc(0, None)", folder=tmp_path, PYTHONPATH=str(PACKAGE.parent),
                   QUORRA_LIBRARY=str(named))
        assert told.returncode == 1
        assert f"LibraryNotFound: QUORRA_LIBRARY={named}: " in told.stderr
    libc = run("import quorra; quorra.lib.cr_bcc(0, None)", folder=tmp_path, PYTHONPATH=str(PACKAGE.parent),
               QUORRA_LIBRARY="/lib/x86_64-linux-gnu/libm.so.6")
    assert "this is another library" in libc.stderr or not Path("/lib/x86_64-linux-gnu/libm.so.6").exists()


def test_the_package_needs_no_library_to_be_imported(tmp_path: Path) -> None:
    told = run("import quorra, quorra.pytest_plugin; print(len(quorra.KINDS), quorra.__version__)", folder=tmp_path,
               PYTHONPATH=str(PACKAGE.parent), QUORRA_LIBRARY="/missing.so")
    assert output(told) == f"22 {quorra.__version__}"


def test_the_package_beside_the_library_comes_first(library: Path, tmp_path: Path) -> None:
    """As in a build folder: Python looks for a package before it looks for an extension module."""
    (library.parent / "quorra").symlink_to(PACKAGE)
    told = run("import quorra; print(quorra.__file__); print(quorra.path_of_library())", folder=library.parent)
    assert output(told).splitlines() == [str(library.parent / "quorra" / "__init__.py"), str(library)]


@pytest.fixture(scope="module")
def wheel(root: Path, tmp_path_factory: pytest.TempPathFactory) -> Path:
    folder = tmp_path_factory.mktemp("wheel")
    done = subprocess.run([root / "scripts" / "wheel", folder], capture_output=True, text=True, check=False)
    assert done.returncode == 0, done.stderr
    assert done.stdout.strip() == f"quorra-{quorra.__version__}-py3-none-any.whl"
    return folder / done.stdout.strip()


def test_the_wheel_has_all_of_the_package(wheel: Path) -> None:
    with zipfile.ZipFile(wheel) as archive:
        names = {name for name in archive.namelist() if ".dist-info/" not in name}
        points = archive.read(f"quorra-{quorra.__version__}.dist-info/entry_points.txt").decode()
    files = {f"quorra/{file.name}" for file in PACKAGE.iterdir() if file.is_file()}
    assert {"quorra/py.typed", "quorra/lib.pyi", "quorra/kinds.json"} <= files
    assert names == files | {"_quorra_import.py", "quorra-import.pth"}
    assert points.split() == ["[pytest11]", "quorra", "=", "quorra.pytest_plugin"]


def test_the_wheel_is_the_same_each_time(wheel: Path, root: Path, tmp_path: Path) -> None:
    subprocess.run([root / "scripts" / "wheel", tmp_path], capture_output=True, check=True)
    assert (tmp_path / wheel.name).read_bytes() == wheel.read_bytes()


@pytest.fixture
def environment(wheel: Path, tmp_path: Path) -> str:
    """The python of a virtual environment in which the wheel is installed."""
    venv.create(tmp_path / "venv", symlinks=True, system_site_packages=True)
    [site] = (tmp_path / "venv" / "lib").glob("python3*/site-packages")
    with zipfile.ZipFile(wheel) as archive:
        archive.extractall(site)
    return str(tmp_path / "venv" / "bin" / "python")


def test_an_installed_package_comes_before_a_library_in_the_way(environment: str, library: Path,
                                                               tmp_path: Path) -> None:
    show = "import quorra; print(quorra.__file__); print(quorra.lib.cr_bcc(2, b'12'))"
    told = run(show, folder=library.parent, python=environment, QUORRA_LIBRARY=str(library)).stdout.splitlines()
    assert told[0].startswith(str(tmp_path / "venv")) and told[1] == "3"
    # So it is for a script beside which the library lies.
    script = library.parent / "script.py"
    script.write_text(show)
    done = subprocess.run([environment, script], capture_output=True, text=True, check=False, cwd="/",
                          env={**os.environ, "PYTHONPATH": "", "QUORRA_LIBRARY": str(library)})
    assert done.stdout.splitlines() == told
    # A copy of the package that comes earlier in the path is not passed over.
    copy = tmp_path / "mine"
    shutil.copytree(PACKAGE, copy / "quorra", ignore=shutil.ignore_patterns("__pycache__"))
    told = run(show, folder=copy, python=environment, QUORRA_LIBRARY=str(library)).stdout.splitlines()
    assert told[0].startswith(str(copy))
    # Other modules, and those that are not there, are found as ever.
    others = "import json, sys; print('json' in sys.modules)\ntry:\n import quorra_x\nexcept ImportError as e: print(e)"
    assert output(run(others, folder=tmp_path, python=environment)) == "True\nNo module named 'quorra_x'"


def test_the_package_in_the_tree_comes_before_a_library_in_the_way(library: Path, root: Path) -> None:
    show = "import quorra; print(quorra.__file__)"
    told = run(show, folder=library.parent, PYTHONPATH=str(root / "python"))
    assert output(told) == str(root / "python" / "quorra" / "__init__.py")


def test_without_it_python_would_take_the_library_for_a_module(site: Path, library: Path) -> None:
    """What the above is for: so Python looks for modules."""
    told = run("import quorra", folder=library.parent, PYTHONPATH=str(site))
    assert told.returncode == 1
    assert "PyInit_quorra" in told.stderr


def test_pytest_finds_the_plugin_of_an_installed_package(environment: str, tmp_path: Path) -> None:
    (tmp_path / "project").mkdir()
    (tmp_path / "project" / "test_mine.py").write_text(
        "import pytest\n"
        "@pytest.mark.quorra_card('24c02', data={3: b'mine'})\n"
        "def test_mine(quorra_card):\n"
        "    assert quorra_card.read(3, 4) == b'mine'\n")
    done = run("import pytest, sys; sys.exit(pytest.main(['-q', '-p', 'no:cacheprovider', '--strict-markers']))",
               folder=tmp_path / "project", python=environment, QUORRA_LIBRARY=str(quorra.path_of_library()),
               QUORRA_SIM=quorra.find_program())
    assert done.returncode == 0, done.stdout + done.stderr
    assert "1 passed" in done.stdout
