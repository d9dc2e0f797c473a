# SPDX-FileCopyrightText: 2026 The quorra authors
# SPDX-License-Identifier: BSD-2-Clause
"""Medians and ratios, how numbers are written, what is drawn, and when a page is refused; with numbers
made up here."""

import contextlib
import tempfile
import unittest
from pathlib import Path
from unittest import mock

from figures import figures, machine, measure, page, plots, words
from figures.records import Failure, Key, Number, Results, Run, Spread, read_series

OURS, THEIRS = Key.of("time", who="quorra"), Key.of("time", who="other")


def results(*pairs: tuple[float, float]) -> Results:
    return Results([{OURS: Number(ours, "s"), THEIRS: Number(theirs, "s")} for ours, theirs in pairs])


class Records(unittest.TestCase):
    def test_a_run_has_the_median_of_its_series(self) -> None:
        run = read_series('{"figure":"time","labels":{"who":"quorra"},"unit":"s","values":[9,1,3]}\n',
                          build="spinning")
        self.assertEqual(run, {Key.of("time", who="quorra", build="spinning"): Number(3, "s")})

    def test_what_is_no_series_is_refused(self) -> None:
        good = '{"figure":"time","labels":{},"unit":"s","values":[1]}'
        for bad, why in (("nothing", "line 1 is no series"), ("[]", "line 1 is no series"),
                         ('{"figure":"time","labels":{},"values":[1]}', "line 1 is no series"),
                         ('{"figure":"time","labels":{},"unit":"s","values":[]}', "line 1 has no values"),
                         (f"{good}\n{good}", "line 2 is there twice")):
            with self.assertRaisesRegex(Failure, why):
                read_series(bad)

    def test_runs_have_a_median_and_a_spread(self) -> None:
        self.assertEqual(results((4, 1), (2, 1), (30, 1)).spread(OURS), Spread(4, 2, 30))

    def test_a_ratio_is_formed_within_each_run(self) -> None:
        # The ratio of the medians would be 2.
        self.assertEqual(results((4, 1), (2, 1), (30, 10)).ratio(OURS, THEIRS), Spread(3, 2, 4))
        with self.assertRaisesRegex(Failure, "0"):
            results((1, 1), (1, 0)).ratio(OURS, THEIRS)

    def test_each_run_has_to_measure_all(self) -> None:
        with self.assertRaisesRegex(Failure, "not measured in each run: time, who other"):
            Results([{OURS: Number(1, "s"), THEIRS: Number(1, "s")}, {OURS: Number(1, "s")}])
        with self.assertRaisesRegex(Failure, "no runs"):
            Results([])

    def test_a_number_is_found_by_its_labels(self) -> None:
        both = results((1, 2))
        self.assertEqual(both.key("time", who="other"), THEIRS)
        self.assertEqual(both.choices("who", "time"), ["quorra", "other"])
        with self.assertRaisesRegex(Failure, "2 numbers for time"):
            both.key("time")
        with self.assertRaisesRegex(Failure, "0 numbers for time, who nobody"):
            both.key("time", who="nobody")


class Words(unittest.TestCase):
    def test_three_digits_count(self) -> None:
        for value, text in ((0, "0"), (0.1234, "0.12"), (9.994, "9.99"), (12.34, "12.3"), (99.94, "99.9"),
                            (123.4, "123"), (1234567, "1,234,567")):
            self.assertEqual(words.digits(value), text)

    def test_times_have_the_unit_that_suits(self) -> None:
        for seconds, text in ((2, "2.00 s"), (0.02, "20.0 ms"), (3e-6, "3.00 µs"), (4e-9, "4.00 ns"),
                              (4e-10, "0.40 ns")):
            self.assertEqual(words.time(Spread(seconds, seconds, seconds)), text)
        self.assertEqual(words.time(Spread(1e-3, 0.9e-3, 2.5e-3)), "1.00 ms (0.90 to 2.50)")

    def test_parts(self) -> None:
        self.assertEqual(words.per_cent(Spread(0.5, 0.25, 1)), "50.0 % (25.0 to 100.0)")
        self.assertEqual(words.per_cent(Spread(0.5, 0.5, 0.5)), "50.0 %")

    def test_whole_numbers(self) -> None:
        self.assertEqual(words.count(Spread(1353, 1353, 1353)), "1,353")
        self.assertEqual(words.count(Spread(81, 80, 82)), "81 (80 to 82)")

    def test_tables_have_no_holes(self) -> None:
        self.assertEqual(words.table(["a", "b"], [["c", "1"]]), ["| a | b |", "| --- | --: |", "| c | 1 |"])
        holes: list[list[list[str]]] = [[], [["c"]], [["c", ""]]]
        for rows in holes:
            with self.assertRaises(Failure):
                words.table(["a", "b"], rows)


class Pictures(unittest.TestCase):
    def setUp(self) -> None:
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.file = Path(folder.name) / "picture.svg"

    def test_bars_and_lines_are_drawn(self) -> None:
        bars = plots.Bars("bytes", ["one", "two_2"], {"ours": [Spread(1, 0.5, 2), Spread(3, 3, 3)],
                                                      "theirs": [Spread(2, 2, 2), Spread(1, 1, 1)]})
        lines = plots.Lines("x", "y", {"ours": [(1, Spread(1, 1, 2)), (10, Spread(5, 4, 6))],
                                       "theirs": [(1, Spread(1, 1, 1)), (10, Spread(1, 1, 1))]},
                            logarithmic="x", dashed={"theirs"})
        drawn: list[tuple[plots.Plot, list[str]]] = [
            (bars, ["bytes", "one", "two_2", "ours", "theirs"]), (lines, ["x", "y", "ours", "theirs"])]
        for plot, texts in drawn:
            plots.draw(plot, self.file, "A picture")
            text = self.file.read_text(encoding="utf-8")
            self.assertIn("<title>A picture</title>", text)
            for colour in plots.COLOURS[:2]:
                self.assertRegex(text.lower(), colour + r"|rgb\(\s*" + r",\s*".join(
                    str(int(colour[at:at + 2], 16)) for at in (1, 3, 5)))
            for one in texts:
                self.assertIn(f">{one}<", text)

    def test_nothing_is_no_picture(self) -> None:
        empty: list[plots.Plot] = [
            plots.Bars("bytes", [], {}), plots.Bars("bytes", [], {"ours": []}),
            plots.Lines("x", "y", {"ours": [(1, Spread(1, 1, 1))], "theirs": []}),
            plots.Bars("bytes", ["one"], {"ours": [Spread(float("nan"), 1, 1)]}),
            plots.Bars("bytes", ["one", "two"], {"ours": [Spread(1, 1, 1)]})]
        for plot in empty:
            with self.assertRaises(Failure):
                plots.draw(plot, self.file, "A picture")
            self.assertFalse(self.file.exists())

    def test_what_gnuplot_says_is_told(self) -> None:
        plot = plots.Lines("x", "y", {"ours": [(1, Spread(1, 1, 1))]}, logarithmic="nonsense")
        with self.assertRaisesRegex(Failure, "picture.svg: "):
            plots.draw(plot, self.file, "A picture")


class Machine(unittest.TestCase):
    def test_tells_itself(self) -> None:
        self.assertEqual(machine.processor("processor\t: 0\nmodel name\t: A  Chip @ 3GHz\nflags\t: a\n"),
                         "A Chip @ 3GHz")
        self.assertEqual(machine.system('NAME="A"\nPRETTY_NAME="A System 12"\n'), "A System 12")
        self.assertEqual(machine.memory("MemTotal:       16777216 kB\nMemFree: 1 kB\n"), "16 GiB")

    def test_is_told_whole(self) -> None:
        described = dict(machine.describe(0.25, 1.5))
        self.assertEqual(described["Load before and after"], "0.2 and 1.5")
        self.assertTrue(all(described.values()))


class Measuring(unittest.TestCase):
    def test_calls_are_those_between_two_marks(self) -> None:
        trace = 'read(3, "", 1) = 0\ngetppid() = 1\nread(3, "a", 1) = 1\nread(3, "b", 1) = 1\n' \
                'write(3, "c", 1) = 1\ngetppid() = 1\nwrite(1, "d", 1) = 1\ngetppid() = 1\ngetppid() = 1\n'
        self.assertEqual([dict(calls) for calls in measure.calls_between(trace)], [{"read": 2, "write": 1}, {}])
        with self.assertRaises(Failure):
            measure.calls_between("getppid() = 1\n")

    def test_programs_that_fail_are_told(self) -> None:
        for command, why in ((["/no/program"], "is missing"), (["sh", "-c", "echo why >&2; exit 3"], "status 3: why")):
            with self.assertRaisesRegex(Failure, why):
                measure.run(command)

    def test_programs_that_print_nothing_are_told(self) -> None:
        with tempfile.TemporaryDirectory() as name:
            program = Path(name) / "bin" / "silent_figures"
            program.parent.mkdir()
            program.write_text("#!/bin/sh\n")
            program.chmod(0o755)
            with self.assertRaisesRegex(Failure, "silent_figures prints nothing"):
                measure.run_program(measure.Build(Path(name)), "silent_figures", quick=False)


class Pages(unittest.TestCase):
    """With one table, one picture and one comparison."""

    TEMPLATE = "# Title\n\n@table t\n\n@plot p What it is\n\n@machine\n\n@why c\nBecause.\n@end\nAfter @runs runs.\n"

    def setUp(self) -> None:
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.pictures = Path(folder.name) / "pictures"

        def table(found: Results) -> list[str]:
            return words.table(["a", "b"], [["time", words.time(found.spread(OURS))]])

        def plot(found: Results) -> plots.Plot:
            return plots.Bars("s", ["time"], {"ours": [found.spread(OURS)]})

        instead = contextlib.ExitStack()
        self.addCleanup(instead.close)
        instead.enter_context(mock.patch.dict(figures.TABLES, {"t": table}, clear=True))
        instead.enter_context(mock.patch.dict(figures.PLOTS, {"p": plot}, clear=True))
        instead.enter_context(mock.patch.object(
            figures, "comparisons", lambda found: {"c": [figures.Comparison(OURS, THEIRS)]}))

    def fill(self, found: Results, template: str = TEMPLATE) -> str:
        return page.fill(template, found, [("Processors", "2 × A Chip")], self.pictures)

    def test_has_what_was_measured(self) -> None:
        text = self.fill(results((1, 2), (1, 2)))
        self.assertIn("| time | 1.00 s |", text)
        self.assertIn("![What it is](pictures/p.svg)", text)
        self.assertIn("- Processors: 2 × A Chip", text)
        self.assertIn("After 2 runs.", text)
        self.assertTrue((self.pictures / "p.svg").is_file())

    def test_says_why_only_where_we_are_behind(self) -> None:
        self.assertNotIn("Because.", self.fill(results((1, 1))))
        self.assertNotIn("Because.", self.fill(results((1.019, 1))))
        self.assertIn("Because.", self.fill(results((1.021, 1))))

    def test_is_refused_when_it_does_not_say_why(self) -> None:
        silent = self.TEMPLATE.replace("@why c\nBecause.\n@end\n", "")
        self.assertIn("After", self.fill(results((1, 1)), silent))
        with self.assertRaisesRegex(Failure, "why we are behind: c"):
            self.fill(results((2, 1)), silent)

    def test_more_may_be_better(self) -> None:
        for ours, behind in ((2.0, False), (0.99, False), (0.9, True)):
            comparison = figures.Comparison(OURS, THEIRS, more_is_better=True)
            self.assertEqual(comparison.is_behind(results((ours, 1))), behind)

    def test_is_refused_when_the_template_and_the_figures_differ(self) -> None:
        for before, after in (("@table t\n", ""), ("@plot p What it is\n", ""), ("@table t\n", "@table u\n"),
                              ("@table t\n", "@table t\n@table t\n"), ("@why c\n", "@why d\n"),
                              ("@machine\n", "@engine\n")):
            with self.assertRaises(Failure):
                self.fill(results((1, 1)), self.TEMPLATE.replace(before, after))

    def test_the_template_in_the_tree_has_the_same_comparisons(self) -> None:
        template = (Path(page.__file__).parent / "page.md").read_text(encoding="utf-8")
        self.assertNotIn("\t", template)
        self.assertEqual(template.count("\n@why "), template.count("\n@end"))


class Comparing(unittest.TestCase):
    def test_prints_ratios_of_pairs_of_runs(self) -> None:
        here, there = results((2, 1), (4, 1), (9, 1)), results((1, 1), (1, 1), (3, 1))
        with mock.patch.object(page, "_is_neighbour", lambda who: who == "other"):
            head, *rows = page.compared(here, there, "v1")
        self.assertEqual(head.split(), ["here", "v1", "here", "/", "there", "(lowest", "to", "highest)"])
        # The medians are 4 and 1, the ratios 2, 4 and 3.
        self.assertEqual([row.split() for row in rows],
                         [["time,", "who", "quorra", "4.00", "s", "1.00", "s", "3.00", "(2.00", "to", "4.00)"]])

    def test_what_only_one_has_is_left_out(self) -> None:
        other: Run = {Key.of("else"): Number(1, "")}
        with self.assertRaisesRegex(Failure, "nothing to compare"):
            page.compared(results((1, 1)), Results([other]), "v1")

    def test_neighbours_are_left_out(self) -> None:
        found = results((1, 1))
        self.assertEqual(len(page.compared(found, found, "v1")), 3)
        for who in ("libmodbus", "OpenSSL", "spinning calls", "true"):
            key = Key.of("time", who=who)
            one = Results([{key: Number(1, "s"), OURS: Number(1, "s")}])
            self.assertEqual(len(page.compared(one, one, "v1")), 2)


if __name__ == "__main__":
    unittest.main()
