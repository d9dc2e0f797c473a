# SPDX-FileCopyrightText: 2026 The quorra authors
# SPDX-License-Identifier: BSD-2-Clause
"""The machine on which something was measured, as it tells itself."""

import os
import platform
import re
import subprocess
from pathlib import Path


def _first_line(*command: str) -> str:
    return subprocess.run(command, capture_output=True, text=True, check=True).stdout.splitlines()[0]


def processor(text: str) -> str:
    """The name of the processor, from /proc/cpuinfo; where it has none, that of its kind."""
    name = re.search(r"^model name\s*: (.+)$", text, re.MULTILINE)
    return " ".join(name[1].split()) if name else platform.machine()


def system(text: str) -> str:
    """The name of the distribution, from /etc/os-release."""
    name = re.search(r'^PRETTY_NAME="?([^"\n]+)"?$', text, re.MULTILINE)
    return name[1] if name else "unknown"


def memory(text: str) -> str:
    """How much there is, from /proc/meminfo."""
    size = re.search(r"^MemTotal:\s+(\d+) kB$", text, re.MULTILINE)
    return f"{int(size[1]) / 2**20:.0f} GiB" if size else "unknown"


def load() -> float:
    """How many programs want to run, over the last minute."""
    return os.getloadavg()[0]


def describe(before: float, after: float) -> list[tuple[str, str]]:
    """The machine, and what else it had to do. Its name and its folders are nobody's business."""
    virtual = "hypervisor" in Path("/proc/cpuinfo").read_text(encoding="utf-8")
    count = len(os.sched_getaffinity(0))
    return [
        ("Processors", f"{count} × {processor(Path('/proc/cpuinfo').read_text(encoding='utf-8'))}"
                       + (", in a virtual machine" if virtual else "")),
        ("Memory", memory(Path("/proc/meminfo").read_text(encoding="utf-8"))),
        ("System", f"{system(Path('/etc/os-release').read_text(encoding='utf-8'))}, "
                   f"Linux {platform.release()}"),
        ("Compiler", _first_line("c++", "--version")),
        ("C library", " ".join(platform.libc_ver())),
        ("Load before and after", f"{before:.1f} and {after:.1f}"),
    ]
