# SPDX-FileCopyrightText: 2026 The quorra authors
# SPDX-License-Identifier: BSD-2-Clause
"""The changes that are made to a source, and whether weak and strong tests are told apart."""

import os
import shutil
import signal
import subprocess
import sys
import tempfile
import unittest
from pathlib import Path

from mutation.__main__ import files_of
from mutation.changes import enumerations, mutants_of
from mutation.source import Source

HERE = Path(__file__).resolve().parent


def changes(text: str) -> set[str]:
    source = Source("file.cpp", text)
    return {mutant.after for mutant in mutants_of(source, enumerations([source]))}


class Script(unittest.TestCase):
    def test_adds_the_tests_of_the_simulator(self) -> None:
        checkout = HERE.parents[1]
        for simulator, paths in {
            True: [
                ["simulator"],
                ["./simulator"],
                [f"{checkout}/simulator/"],
                ["src", "simulator/error.cpp"],
                ["--only", "./simulator/error.cpp:1"],
                ["--only=simulator/error.cpp:1"],
            ],
            False: [[], ["src"], ["./src/link"]],
        }.items():
            for arguments in paths:
                done = subprocess.run(
                    ["bash", "-x", checkout / "scripts" / "mutate", "--list", "--sample", "1", *arguments],
                    capture_output=True,
                    text=True,
                    check=True,
                )
                self.assertEqual(simulator, "--program=simulator_tests" in done.stderr, arguments)

    def test_wants_a_file_and_a_line(self) -> None:
        for place in ("src/link/line.cpp", "src/link/line.cpp:", "src/link/line.cpp:x", ":1"):
            done = subprocess.run(
                [HERE.parents[1] / "scripts" / "mutate", "--list", "--only", place],
                capture_output=True,
                text=True,
            )
            self.assertEqual(done.returncode, 2, place)
            self.assertIn(f"--only: '{place}' is not FILE:LINE", done.stderr)


    def test_leaves_out_what_a_tool_makes(self) -> None:
        checkout = HERE.parents[1]
        made = "src/crypto/circuits.hpp"
        found = files_of(checkout, ["src/crypto"])
        self.assertIn("src/crypto/circuit.hpp", found)
        self.assertNotIn(made, found)
        self.assertEqual(files_of(checkout, [made]), [made])


class Changes(unittest.TestCase):
    def test_moves_bounds(self) -> None:
        found = changes("bool f(int a, int b) {\n  return a < b;\n}\n")
        self.assertEqual(found, {"return a <= b;", "return a >= b;"})

    def test_leaves_brackets_of_templates(self) -> None:
        self.assertEqual(changes("std::array<int, n> f(T<a> b);\n"), set())

    def test_leaves_comments_includes_and_what_the_compiler_checks(self) -> None:
        text = '// a < 1\n#include "a+1"\n/* 1 + 1 */\nstatic_assert(a < 3);\n[[gnu::noinline]] void f();\n'
        self.assertEqual(changes(text), set())

    def test_moves_constants_by_one(self) -> None:
        self.assertEqual(changes("int a = 0x7F;\n"), {"int a = 0x7E;", "int a = 0x80;"})
        self.assertEqual(changes("auto a = 10U;\n"), {"auto a = 9U;", "auto a = 11U;"})
        self.assertEqual(changes("int a = 0;\n"), {"int a = 1;"})

    def test_fixes_conditions_and_drops_operands(self) -> None:
        found = changes("void f() {\n  if (a && b) g();\n}\n")
        self.assertLessEqual(
            {
                "if (true) g();",
                "if (false) g();",
                "if (a || b) g();",
                "if (true && b) g();",
                "if (a && true) g();",
                "if (a && b) ;",
            },
            found,
        )

    def test_keeps_what_an_if_declares(self) -> None:
        found = changes("void f() {\n  if (const int c = g(); c != x) return;\n}\n")
        self.assertIn("if (const int c = g(); true) return;", found)
        self.assertIn("if (const int c = g(); c == x) return;", found)

    def test_removes_statements_but_not_declarations(self) -> None:
        found = changes("void f() {\n  int a;\n  g(a);\n  return;\n}\n")
        self.assertEqual(found, {";"})

    def test_replaces_codes_by_others_of_another_value(self) -> None:
        text = "enum Code { ok = 0, bad = -1, same = -1 };\nint f() { return bad; }\n"
        self.assertIn("int f() { return ok; }", changes(text))
        self.assertNotIn("int f() { return same; }", changes(text))

    def test_removes_rows_and_swaps_entries(self) -> None:
        self.assertIn("{ {c, d}};", changes("{{a, b}, {c, d}};\n"))
        entries = ", ".join(str(number) for number in range(20, 36))
        found = changes(f"int t[] = {{{entries}}};\n")
        self.assertEqual(len(found), 15)
        self.assertIn(f"int t[] = {{{entries.replace('20, 21', '21, 20')}}};", found)

    def test_swaps_arguments(self) -> None:
        self.assertEqual(changes("int a = f(b, c, d);\n"), {"int a = f(c, b, d);", "int a = f(b, d, c);"})
        self.assertEqual(changes("int f(int b, int c);\n"), set())


def place(text: str) -> str:
    """FILE:LINE of this text in the toy."""
    lines = (HERE / "toy/src/toy.cpp").read_text().splitlines()
    return f"src/toy.cpp:{next(i for i, line in enumerate(lines, 1) if text in line)}"


class Toy(unittest.TestCase):
    """A small library with two test programs."""

    @classmethod
    def setUpClass(cls) -> None:
        folder = tempfile.TemporaryDirectory()
        cls.addClassCleanup(folder.cleanup)
        cls.root = Path(folder.name, "toy")
        shutil.copytree(HERE / "toy", cls.root)
        for command in (
            ["cmake", "-G", "Ninja", "-B", "build", "-DCMAKE_CXX_COMPILER=g++"],
            ["cmake", "--build", "build"],
        ):
            subprocess.run(command, cwd=cls.root, check=True, capture_output=True)

    @staticmethod
    def command(program: str, *arguments: str) -> list[str]:
        command = [sys.executable, "-u", "-m", "mutation", "--root", ".", "--build", "build"]
        return command + ["--explanations", "explanations.toml", f"--program={program}=toy.so", *arguments]

    def mutate(self, program: str, *arguments: str) -> subprocess.CompletedProcess[str]:
        return subprocess.run(
            self.command(program, *arguments),
            cwd=self.root, env=os.environ, capture_output=True, text=True, check=False,
        )

    def explain(self, text: str) -> None:
        path = self.root / "explanations.toml"
        path.write_text(text)
        self.addCleanup(path.unlink)

    def test_a_weak_test_leaves_survivors(self) -> None:
        done = self.mutate("weak_tests", "--again")
        self.assertEqual(done.returncode, 1, done.stdout + done.stderr)
        change = f"{place('ages[i] >= limit')}\n  - if (ages[i] >= limit)"
        self.assertIn(change, done.stdout)
        self.assertIn("+ if (ages[i] > limit)", done.stdout)

    def test_a_strong_test_kills_all(self) -> None:
        done = self.mutate("strong_tests", "--again")
        self.assertEqual(done.returncode, 0, done.stdout + done.stderr)
        self.assertIn(" 0 survive, 0.00 %", done.stdout)

    def test_what_one_program_misses_the_next_one_notices(self) -> None:
        done = self.mutate("weak_tests", "--again", "--program=strong_tests=toy.so")
        self.assertEqual(done.returncode, 0, done.stdout + done.stderr)
        self.assertIn(" 0 survive, 0.00 %", done.stdout)

    def test_results_are_kept(self) -> None:
        self.mutate("strong_tests", "--again")
        self.assertNotIn("Trying", self.mutate("strong_tests").stdout)
        self.assertIn("Trying", self.mutate("strong_tests", "--again").stdout)

    def test_an_interrupted_run_ends_and_goes_on_later(self) -> None:
        Path(self.root, "build/mutants.json").unlink(missing_ok=True)
        run = subprocess.Popen(
            self.command("weak_tests", "--jobs", "1"), cwd=self.root,
            env={**os.environ, "TOY_IS_SLOW": ""}, stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True,
        )
        while run.stdout and not run.stdout.readline().startswith("Trying"):
            self.assertIsNone(run.poll())
        run.send_signal(signal.SIGINT)
        self.assertIn("interrupted", run.communicate()[1])
        self.assertEqual(run.returncode, 130)
        self.assertIn("Trying", self.mutate("weak_tests").stdout)

    def test_an_explained_survivor_counts_no_more(self) -> None:
        line = place("constexpr int limit")
        self.assertEqual(self.mutate("weak_tests", "--only", line).returncode, 1)
        explanation = """[[mutant]]
file = "src/toy.cpp"
before = "constexpr int limit = 6;"
after = "constexpr int limit = {};"
reason = "Nobody is of that age."
"""
        self.explain(explanation.format(5) + explanation.format(7))
        self.assertEqual(self.mutate("weak_tests", "--only", line).returncode, 0)
        done = self.mutate("strong_tests", "--again")
        self.assertEqual(done.returncode, 1)
        self.assertIn("does not survive", done.stdout)

    def test_an_explanation_of_nothing_is_an_error(self) -> None:
        self.explain('[[mutant]]\nfile = "src/toy.cpp"\nbefore = "a"\nafter = "b"\nreason = "c"\n')
        done = self.mutate("strong_tests")
        self.assertEqual(done.returncode, 1)
        self.assertIn("there is no such mutant", done.stdout)

    def test_a_sample_is_the_same_with_the_same_seed(self) -> None:
        def sample(seed: str) -> str:
            return self.mutate("weak_tests", "--list", "--sample", "5", "--seed", seed).stdout

        self.assertIn("5 mutants", sample("1"))
        self.assertEqual(sample("1"), sample("1"))
        self.assertNotEqual(sample("1"), sample("2"))


if __name__ == "__main__":
    unittest.main()
