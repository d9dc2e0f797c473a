# SPDX-FileCopyrightText: 2026 The quorra authors
# SPDX-License-Identifier: BSD-2-Clause
"""Pictures, which gnuplot draws."""

import math
import subprocess
from dataclasses import dataclass, field
from pathlib import Path

from .records import Failure, Spread

# Of these, people with any kind of eyes can tell five apart.
COLOURS = ("#0072b2", "#d55e00", "#009e73", "#cc79a7", "#e69f00", "#56b4e9", "#555555")
PREFACE = """set terminal svg size {width},{height} dynamic noenhanced font "sans-serif,14" background "#ffffff"
set output "{file}"
set encoding utf8
set style line 100 linecolor "#dddddd" linewidth 1
set grid ytics linestyle 100
set border 3
set tics nomirror
set key outside above horizontal reverse Left samplen 2
set style fill solid 0.85 noborder
set errorbars 0.6 linecolor "#333333" linewidth 1
"""


@dataclass
class Bars:
    """A group of bars for each category, in each group one bar for each series."""

    axis: str
    categories: list[str]
    series: dict[str, list[Spread]]
    top: float | None = None
    bottom: float = 0
    height: int = 420
    slanted: bool = False

    def spreads(self) -> list[Spread]:
        return [spread for spreads in self.series.values() for spread in spreads]

    def script(self) -> str:
        for name, spreads in self.series.items():
            if len(spreads) != len(self.categories):
                raise Failure(f"{name} has {len(spreads)} bars for {len(self.categories)} categories")
        lines = [f"set ylabel {quoted(self.axis)}",
                 f"set yrange [{self.bottom:g}:{'' if self.top is None else f'{self.top:g}'}]",
                 "set style data histograms",
                 "set style histogram errorbars gap 1 linewidth 1",
                 f"set xtics {'rotate by -40' if self.slanted else ''} scale 0"]
        if len(self.series) == 1:
            lines.append("set key off")
        plots = []
        for number, (name, spreads) in enumerate(self.series.items()):
            lines += [f"$data{number} << END",
                      *(f'"{category}" {spread.middle:.9g} {spread.low:.9g} {spread.high:.9g}'
                        for category, spread in zip(self.categories, spreads)), "END"]
            plots.append(f"$data{number} using 2:3:4:xtic(1) title {quoted(name)} "
                         f'linecolor "{COLOURS[number]}"')
        return "\n".join([*lines, "plot " + ", ".join(plots)])


@dataclass
class Lines:
    """A line through points for each series."""

    across: str
    axis: str
    series: dict[str, list[tuple[float, Spread]]]
    logarithmic: str = ""
    # Of what is up an axis that is logarithmic: its prefix stands before it.
    unit: str = ""
    # Series that are not measured but drawn for comparison.
    dashed: set[str] = field(default_factory=set)
    height: int = 420

    def spreads(self) -> list[Spread]:
        return [spread for points in self.series.values() for _, spread in points]

    def script(self) -> str:
        lines = [f"set xlabel {quoted(self.across)}", f"set ylabel {quoted(self.axis)}"]
        if self.logarithmic:
            lines += [f"set logscale {self.logarithmic}"]
        if "y" not in self.logarithmic:
            lines.append("set yrange [0:]")
        else:
            lines.append(f'set format y "%.0s %c{self.unit}"')
        if "x" in self.logarithmic:
            lines.append('set format x "%.0s %c"')
        lines.append("set offsets graph 0.03, graph 0.03")
        plots = []
        for number, (name, points) in enumerate(self.series.items()):
            lines += [f"$data{number} << END",
                      *(f"{x:.9g} {spread.middle:.9g} {spread.low:.9g} {spread.high:.9g}"
                        for x, spread in points), "END"]
            style = f'linecolor "{COLOURS[number]}" linewidth 2 title {quoted(name)}'
            if name in self.dashed:
                plots.append(f"$data{number} using 1:2 with lines dashtype 2 {style}")
            else:
                plots.append(f"$data{number} using 1:2:3:4 with yerrorlines pointtype 7 pointsize 0.6 {style}")
        return "\n".join([*lines, "plot " + ", ".join(plots)])


Plot = Bars | Lines


def quoted(text: str) -> str:
    if "'" in text or "\n" in text:
        raise Failure(f"no title for a picture: {text}")
    return f"'{text}'"


def draw(plot: Plot, file: Path, title: str, width: int = 820) -> None:
    """Draws a picture, or fails: when there is nothing in it, too."""
    spreads = plot.spreads()
    if not spreads or not all(map(len, plot.series.values())):
        raise Failure(f"{file.name} has nothing to show")
    for spread in spreads:
        if not all(map(math.isfinite, (spread.low, spread.middle, spread.high))):
            raise Failure(f"{file.name} shows no number")
    script = PREFACE.format(width=width, height=plot.height, file=file) + plot.script() + "\n"
    try:
        done = subprocess.run(["gnuplot"], input=script, capture_output=True, encoding="utf-8")
    except FileNotFoundError:
        raise Failure("gnuplot is missing; scripts/setup bench installs it") from None
    if done.returncode != 0 or done.stderr:
        raise Failure(f"{file.name}: {done.stderr.strip()}")
    text = file.read_text(encoding="utf-8")
    # Who cannot see the picture is told what it is.
    text = text.replace("<title>Gnuplot</title>", f"<title>{title}</title>")
    text = text.replace("<desc>Produced by GNUPLOT", "<desc>Drawn by gnuplot")
    lines = (line.rstrip() for line in text.splitlines())
    file.write_text("\n".join(line for line in lines if line) + "\n", encoding="utf-8")
