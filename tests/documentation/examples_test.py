# SPDX-FileCopyrightText: 2026 The quorra authors
# SPDX-License-Identifier: BSD-2-Clause
"""What the runner of the pages' examples accepts and refuses, and that few examples are not run."""

import subprocess
import sys
import tempfile
import time
import unittest
import unittest.mock
from pathlib import Path

from examples import Failure, examples_of, run_page, surroundings
from markdown import BadPage, Page

ROOT = Path(__file__).resolve().parents[2]
# More than that would be a reader's burden. What needs no hardware, root, service or hour is run.
MOST_NOT_RUN = 25


class Examples(unittest.TestCase):
    def setUp(self) -> None:
        temporary = tempfile.TemporaryDirectory()
        self.addCleanup(temporary.cleanup)
        self.folder = Path(temporary.name)

    def run_blocks(self, *blocks: str) -> None:
        run_page(Page("page.md", "\n\n".join(blocks) + "\n"), self.folder,
                 surroundings(self.folder, [], None))

    def expect_failure(self, words: str, *blocks: str) -> None:
        with self.assertRaises(Failure) as caught:
            self.run_blocks(*blocks)
        self.assertIn(words, str(caught.exception))

    def expect_bad(self, words: str, text: str) -> None:
        with self.assertRaises(BadPage) as caught:
            examples_of(Page("page.md", text))
        self.assertIn(words, str(caught.exception))

    def test_output_is_compared(self) -> None:
        self.run_blocks("```console\n$ echo a; echo b\na\nb\n$ echo c >&2\nc\n$ true\n```")
        self.expect_failure("+b\n c", "```console\n$ printf 'a\\nb\\nc\\n'\na\nc\n```")
        self.expect_failure("page.md:4: echo b", "```console\n$ echo a\na\n$ echo b\nc\n```")
        self.expect_failure("-b", "```console\n$ echo a\na\nb\n```")
        self.expect_failure("+a", "```console\n$ echo a\n```")
        self.expect_failure("-a b", "```console\n$ echo 'a  b'\na b\n```")
        # Nobody sees blanks at the end of a line.
        self.run_blocks("```console\n$ echo 'a '\na\n```")

    def test_every_failure_is_told(self) -> None:
        blocks = "```console\n$ echo a\nb\n$ echo c\nd\n```"
        self.expect_failure("page.md:2: echo a", blocks)
        self.expect_failure("page.md:4: echo c", blocks)

    def test_omitted_lines_are_any(self) -> None:
        self.run_blocks("```console\n$ seq 9\n1\n...\n8\n9\n$ seq 2\n...\n1\n2\n...\n```")
        self.expect_failure("+8", "```console\n$ seq 9\n1\n...\n7\n9\n```")

    def test_what_varies_is_any_word(self) -> None:
        self.run_blocks("<!-- varies: 17, 0.5 -->\n```console\n$ echo in 23 s, 1.25 ms; echo 9\n"
                        "in 17 s, 0.5 ms\n9\n```")
        self.expect_failure("+in the end", "<!-- varies: 17 -->\n```console\n$ echo in the end\nin 17\n```")
        self.expect_failure("+5.2", "<!-- varies: 17 -->\n```console\n$ echo 8; echo 5.2\n17\n512\n```")
        self.expect_bad("'18' varies, but is not there",
                        "<!-- varies: 18 -->\n```console\n$ echo 17\n17\n```\n")

    def test_blocks_follow_each_other_in_one_shell(self) -> None:
        self.run_blocks("```console\n$ mkdir a; cd a; export NAME=value; word=b\n```",
                        "```sh\necho $NAME > file # where it is\n\ncat file\n```",
                        "```console\n$ cat file; basename $PWD; echo $word\nvalue\na\nb\n```")

    def test_commands_go_on(self) -> None:
        self.run_blocks("```console\n$ cat > file << END\n$ text\nEND\n$ cat file | tr $ A\nA text\n"
                        "$ echo a \\\n  b\na b\n```")

    def test_a_script_has_to_succeed(self) -> None:
        self.expect_failure("exit status 1", "```sh\nfalse\n```")
        self.expect_failure("page.md:2: no-such-program", "```sh\nno-such-program\n```")

    def test_questions_are_answered_as_the_page_shows(self) -> None:
        ask = "read -r -p 'Go on? [y/N] ' answer; echo got $answer"
        self.run_blocks(f"```console\n$ {ask}\nGo on? [y/N] y\ngot y\n```")
        self.expect_failure("+got y", f"```console\n$ {ask}\nGo on? [y/N] y\ngot n\n```")
        twice = "for i in 1 2; do read -r -p '> ' word; echo got $word; done"
        self.run_blocks(f"```console\n$ {twice}\n> a\ngot a\n> b\ngot b\n```")
        secret = "read -r -s -p 'Code: ' code; echo; echo got $code"
        self.run_blocks(f"<!-- types: 1234 -->\n```console\n$ {secret}\nCode:\ngot 1234\n```")

    def test_a_question_without_answer_is_told(self) -> None:
        with unittest.mock.patch("examples.QUESTION_LIMIT", 0.5):
            self.expect_failure("no answer to this question:\nGo on?",
                                "```console\n$ read -r -p 'Go on? ' answer\nGo further?\n```")

    def test_a_file_is_written(self) -> None:
        self.run_blocks("<!-- file: a.txt -->\n```text\nline\n```", "```console\n$ cat a.txt\nline\n```")

    def test_nothing_erased_is_compared(self) -> None:
        self.run_blocks("```console\n$ printf 'half\\r\\033[Kdone\\n'\ndone\n```")

    def test_the_background_is_waited_for_and_ended(self) -> None:
        self.run_blocks("```console\n$ (sleep 0.5; echo there; sleep 1000 & echo $! > pid; wait) &\nthere\n"
                        "$ until [ -s pid ]; do sleep 0.1; done\n```")
        process = Path("/proc") / (self.folder / "pid").read_text().strip()
        deadline = time.monotonic() + 60
        while process.exists() and time.monotonic() < deadline:
            time.sleep(0.05)
        self.assertFalse(process.exists())

    def test_a_shell_that_ends_is_told(self) -> None:
        self.expect_failure("the shell has ended", "```console\n$ exit 3\n```")

    def test_every_block_is_run_or_excused(self) -> None:
        for language in ("", "text", "python", "console2"):
            self.expect_bad(f"page.md:1: a block of '{language}' is neither run", f"```{language}\n$ a\n```\n")
        for note in ("not run", "not run:", "skip: a", "run: a"):
            self.expect_bad("is none of", f"<!-- {note} -->\n```console\n$ a\n```\n")
        self.expect_bad("no command behind '$ '", "```console\na\n```\n")
        for text in ("~~~\n$ a\n~~~\n", "a ```console\n", "```console\n$ a\n"):
            self.expect_bad("page.md:1: ", text)
        _, excuses = examples_of(Page("page.md", "<!-- not run: needs root -->\n```sh\nexit 1\n```\n"))
        self.assertEqual(excuses, ["page.md:2: needs root"])
        # A comment counts right before a block alone.
        self.expect_bad("is neither run", "<!-- not run: needs root -->\n\n```text\na\n```\n")

    def test_the_program_tells_by_its_status(self) -> None:
        page = self.folder / "page.md"
        for output, status in (("a", 0), ("b", 1)):
            page.write_text(f"```console\n$ echo a\n{output}\n```\n")
            done = subprocess.run([sys.executable, "-B", ROOT / "tests/documentation/examples.py", page],
                                  capture_output=True, text=True)
            self.assertEqual(done.returncode, status, done.stderr)
            self.assertEqual(done.stderr != "", status != 0)


class Pages(unittest.TestCase):
    def test_few_examples_are_not_run(self) -> None:
        pages = [ROOT / "README.md", *sorted((ROOT / "docs").rglob("*.md"))]
        excuses = [excuse.removeprefix(f"{ROOT}/") for page in pages
                   for excuse in examples_of(Page.of(page))[1]]
        print(f"{len(excuses)} blocks are not run:", *excuses, sep="\n")
        self.assertLessEqual(len(excuses), MOST_NOT_RUN)


if __name__ == "__main__":
    unittest.main()
