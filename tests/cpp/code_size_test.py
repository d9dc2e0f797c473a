# SPDX-FileCopyrightText: 2026 The quorra authors
# SPDX-License-Identifier: BSD-2-Clause
"""Prints how large functions are that use quorra.h, and the same with quorra.hpp; the latter must not
be larger.

    code_size_test.py IN_C.o IN_CPP.o
"""

import subprocess
import sys


def sizes(file: str) -> dict[str, int]:
    """The bytes of code of each function of an object file."""
    lines = subprocess.run(["nm", "-S", "--defined-only", file], check=True, capture_output=True,
                           text=True).stdout.splitlines()
    fields = [line.split() for line in lines]
    return {name: int(size, 16) for _, size, kind, name in fields if kind in "TtWw"}


def main() -> int:
    in_c, in_cpp = sizes(sys.argv[1]), sizes(sys.argv[2])
    if not in_c or in_c.keys() != in_cpp.keys():
        print(f"other functions: {sorted(in_c)} and {sorted(in_cpp)}")
        return 1
    print(f"{'function':<20}{'quorra.h':>10}{'quorra.hpp':>12}")
    for name, size in in_c.items():
        print(f"{name:<20}{size:>10}{in_cpp[name]:>12}")
    return int(sum(in_cpp.values()) > sum(in_c.values()))


if __name__ == "__main__":
    sys.exit(main())
