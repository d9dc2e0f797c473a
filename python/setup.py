# SPDX-FileCopyrightText: 2026 The quorra authors
# SPDX-License-Identifier: BSD-2-Clause
"""What pyproject.toml cannot say: quorra-import.pth goes beside the package, and the version is that of
the library."""

from pathlib import Path

from setuptools import setup
from setuptools.command.build_py import build_py

HERE = Path(__file__).resolve().parent
PATH_FILE = "quorra-import.pth"


class BuildWithPathFile(build_py):
    def run(self) -> None:
        super().run()
        self.copy_file(str(HERE / PATH_FILE), str(Path(self.build_lib, PATH_FILE)))

    def get_outputs(self, include_bytecode: bool = True) -> list[str]:
        return [*super().get_outputs(include_bytecode), str(Path(self.build_lib, PATH_FILE))]


def version() -> str:
    constants: dict[str, dict[str, int]] = {}
    exec((HERE / "quorra" / "_prototypes.py").read_text(encoding="utf-8"), {}, constants)
    numbers = constants["CONSTANTS"]
    return ".".join(str(numbers[f"QUORRA_VERSION_{name}"]) for name in ("MAJOR", "MINOR", "PATCH"))


setup(version=version(), cmdclass={"build_py": BuildWithPathFile})
