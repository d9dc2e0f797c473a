# SPDX-FileCopyrightText: 2026 The quorra authors
# SPDX-License-Identifier: BSD-2-Clause
"""The command line: which mutants, how many at a time, and what is told in the end."""

import argparse
import random
import shutil
import sys
import tempfile
import threading
import time
from collections import Counter
from concurrent.futures import ThreadPoolExecutor
from dataclasses import dataclass
from pathlib import Path

from .build import Build, BuildError, Program, Unit, take_copy
from .changes import Mutant, enumerations, mutants_of
from .records import SURVIVED, Explanation, Records, digest, read_explanations
from .source import Source
from .tests import TestProgram

# Besides "survived": the compiler refuses it, the object is that of the original, a test fails.
REFUSED = "refused"
SAME = "same"
KILLED = "killed"


def _programs(build: Build, text: list[str]) -> list[TestProgram]:
    programs = []
    for entry in text:
        name, _, library = entry.partition("=")
        program = Program(name, library)
        programs.append(TestProgram(program, build.objects_of(program)))
    return programs


class Run:
    """Everything that the mutants of a run have in common."""

    def __init__(self, build: Build, programs: list[TestProgram], sources: dict[str, Source]) -> None:
        self.build = build
        self.programs = programs
        self.sources = sources
        self._lock = threading.Lock()
        self._originals: dict[str, str] = {}
        self._outcomes: dict[str, str] = {}
        self._headers = sorted(
            {
                line.split("<")[1].split(">")[0]
                for source in sources.values()
                for line in source.text.splitlines()
                if line.startswith("#include <")
            }
        )

    def programs_of(self, mutant: Mutant) -> list[TestProgram]:
        users = {unit.object for unit in self.build.users_of(mutant.file)}
        programs = [program for program in self.programs if users & program.objects]
        if not programs:
            raise BuildError(f"no test program contains {mutant.file}")
        return programs

    def _original(self, unit: Unit, folder: Path) -> str:
        """The digest of a unit's object without any change."""
        with self._lock:
            known = self._originals.get(unit.object)
        if known is None:
            output = folder / "original.o"
            if not self.build.compile(unit, self._copy(unit, folder), output, [], self._headers):
                raise BuildError(f"{unit.source} cannot be compiled")
            known = digest(output.read_bytes())
            with self._lock:
                self._originals[unit.object] = known
        return known

    @staticmethod
    def _copy(unit: Unit, folder: Path, text: str | None = None) -> Path:
        """The unit's source, or another text in its place. Its name is part of the object."""
        copy = folder / unit.source.name
        copy.write_text(unit.source.read_text(encoding="utf-8") if text is None else text)
        return copy

    def _place_header(self, unit: Unit, file: str, text: str, overlay: Path) -> None:
        """Puts a changed header where the unit looks first."""
        header = self.build.root / file
        for argument in unit.arguments:
            if argument.startswith("-I") and header.is_relative_to(argument[2:]):
                place = overlay / header.relative_to(argument[2:])
                place.parent.mkdir(parents=True, exist_ok=True)
                place.write_text(text, encoding="utf-8")

    def _compile(self, mutant: Mutant, program: TestProgram, folder: Path) -> dict[str, Path] | None:
        """The objects that differ from the original; none if the compiler refuses the mutant."""
        text = mutant.apply(self.sources[mutant.file].text)
        overlay = folder / "overlay"
        shutil.rmtree(overlay, ignore_errors=True)
        overlay.mkdir()
        different: dict[str, Path] = {}
        for unit in self.build.users_of(mutant.file):
            if unit.object not in program.objects:
                continue
            original = self._original(unit, folder)
            options: list[str] = []
            if unit.source == self.build.root / mutant.file:
                source = self._copy(unit, folder, text)
            else:
                source = self._copy(unit, folder)
                self._place_header(unit, mutant.file, text, overlay)
                options = ["-iquote", str(overlay)]
            output = folder / "objects" / unit.object
            if not self.build.compile(unit, source, output, options, self._headers):
                return None
            if digest(output.read_bytes()) != original:
                different[unit.object] = output
        return different

    def judge(self, mutant: Mutant, folder: Path) -> str:
        """What becomes of a mutant; `folder` belongs to it alone meanwhile."""
        outcome = SAME
        for program in self.programs_of(mutant):
            by_program = self._judge_by(program, mutant, folder)
            if by_program not in (SAME, SURVIVED):
                return by_program
            if by_program == SURVIVED:
                outcome = SURVIVED
        return outcome

    def _judge_by(self, program: TestProgram, mutant: Mutant, folder: Path) -> str:
        objects = self._compile(mutant, program, folder)
        if objects is None:
            return REFUSED
        if not objects:
            return SAME
        # Different changes can make the same code.
        digests = (f"{name} {digest(object.read_bytes())}" for name, object in objects.items())
        code = digest(*(text.encode() for text in (program.program.name, *digests)))
        with self._lock:
            if code in self._outcomes:
                return self._outcomes[code]
        command = self.build.link(program.program, objects, folder)
        if command is None:
            return REFUSED
        failed = program.notices(command, mutant.file, mutant.line)
        outcome = f"{KILLED} by {failed}" if failed else SURVIVED
        with self._lock:
            self._outcomes[code] = outcome
        return outcome


def _place(text: str) -> tuple[str, int]:
    file, _, line = text.rpartition(":")
    if not file or not line.isdecimal():
        raise argparse.ArgumentTypeError(f"'{text}' is not FILE:LINE")
    return file, int(line)


def _arguments() -> argparse.Namespace:
    parser = argparse.ArgumentParser(
        prog="scripts/mutate",
        description="Prints the small changes of the sources that no unit test notices.",
    )
    parser.add_argument("paths", nargs="*", help="sources or folders of them (default: src)")
    parser.add_argument("--jobs", type=int, default=1, help="so many mutants at a time")
    parser.add_argument("--sample", type=int, help="try only so many mutants, by chance")
    parser.add_argument("--seed", type=int, default=1, help="of the chance (default: 1)")
    parser.add_argument("--list", action="store_true", help="print the mutants and try none")
    parser.add_argument("--only", type=_place, metavar="FILE:LINE", help="only the mutants of that line")
    parser.add_argument("--limit", type=float, default=1.0, help="per cent that may survive")
    parser.add_argument("--again", action="store_true", help="forget earlier results")
    parser.add_argument("--root", type=Path, required=True, help=argparse.SUPPRESS)
    parser.add_argument("--build", type=Path, required=True, help=argparse.SUPPRESS)
    parser.add_argument("--explanations", type=Path, required=True, help=argparse.SUPPRESS)
    parser.add_argument("--program", action="append", default=[], help=argparse.SUPPRESS)
    return parser.parse_args()


def _is_written(file: Path) -> bool:
    """Whether people write it. What a tool makes says so on its first lines."""
    return "\n// Made by " not in "\n".join(file.read_text().splitlines()[:6])


def files_of(root: Path, paths: list[str]) -> list[str]:
    found: list[str] = []
    for path in paths or ["src"]:
        place = (root / path).resolve()
        files = [place] if place.is_file() else sorted(filter(_is_written, place.rglob("*.[ch]pp")))
        if not files:
            raise BuildError(f"{path}: no sources there")
        found += [str(file.relative_to(root)) for file in files]
    return list(dict.fromkeys(found))


def _numbered(mutants: list[Mutant]) -> list[tuple[int, Mutant]]:
    """Equal changes of equal lines in one file are told apart by a number."""
    seen: Counter[tuple[str, str]] = Counter()
    numbered = []
    for mutant in mutants:
        numbered.append((seen[mutant.file, mutant.key], mutant))
        seen[mutant.file, mutant.key] += 1
    return numbered


def _describe(mutant: Mutant) -> str:
    return f"{mutant.file}:{mutant.line}\n  - {mutant.before}\n  + {mutant.after}"


@dataclass(frozen=True)
class Choice:
    """What a run is about."""

    sources: dict[str, Source]
    every: list[Mutant]  # all mutants of these sources
    numbered: list[tuple[int, Mutant]]  # those to be tried

    @classmethod
    def of(cls, arguments: argparse.Namespace, root: Path) -> "Choice":
        only = arguments.only
        files = files_of(root, [only[0]] if only else arguments.paths)
        sources = {file: Source.read(root, file) for file in files}
        tops = sorted({file.split("/")[0] for file in files})
        others = enumerations(Source.read(root, file) for file in files_of(root, tops))
        every = [mutant for file in files for mutant in mutants_of(sources[file], others)]
        numbered = _numbered(every)
        if only:
            numbered = [(n, m) for n, m in numbered if m.line == only[1]]
        if arguments.sample is not None and arguments.sample < len(numbered):
            numbered = random.Random(arguments.seed).sample(numbered, arguments.sample)
        return cls(sources, every, numbered)


def _measure(build: Build, programs: list[TestProgram], top: str, tests: str) -> None:
    """Finds out what the tests reach, unless that is known from an earlier run."""
    units = [u for u in build.units if u.source.is_relative_to(build.root / top)]
    version = digest(tests.encode(), *(unit.source.read_bytes() for unit in units))
    for program in programs:
        name = program.program.name
        remembered = build.folder / f"{name}.reach.json"
        if not program.recall(remembered, version):
            print(f"Measuring {name} ...", flush=True)
            program.measure(build, units, build.work / f"counters-{name}")
            program.remember(remembered, version)


def _try_all(arguments: argparse.Namespace, root: Path, choice: Choice, work: Path) -> list[str]:
    """The results of the chosen mutants, in their order."""
    started = time.monotonic()
    copy = work / "sources"
    take_copy(root, copy)
    build = Build(root, copy, arguments.build.resolve(), work)
    programs = _programs(build, arguments.program)
    tests = digest(*((build.folder / "bin" / p.program.name).read_bytes() for p in programs))
    records = Records(build.folder / "mutants.json", tests)
    for file, source in choice.sources.items():
        if arguments.again:
            records.begin(file, "")
        records.begin(file, source.text)
    known = {index: records.result(m, n) for index, (n, m) in enumerate(choice.numbered)}
    results = {index: result for index, result in known.items() if result is not None}
    waiting = [index for index in known if index not in results]

    run = Run(build, programs, choice.sources)
    if waiting:
        needed = [p for index in waiting for p in run.programs_of(choice.numbered[index][1])]
        top = next(iter(choice.sources)).split("/")[0]
        _measure(build, [p for p in programs if p in needed], top, tests)
        print(f"Trying {len(waiting)} of {len(choice.numbered)} mutants ...", flush=True)
    local = threading.local()

    def attempt(index: int) -> None:
        number, mutant = choice.numbered[index]
        if not hasattr(local, "folder"):
            local.folder = Path(tempfile.mkdtemp(prefix="worker-", dir=work))
        results[index] = run.judge(mutant, local.folder)
        records.note(mutant, number, results[index])
        if results[index] == SURVIVED:
            print(_describe(mutant), flush=True)

    try:
        with ThreadPoolExecutor(arguments.jobs) as pool:
            try:
                for done, _ in enumerate(pool.map(attempt, waiting), 1):
                    if done % 100 == 0:
                        spent = time.monotonic() - started
                        print(f"{done} of {len(waiting)} after {spent:.0f} s", flush=True)
            except KeyboardInterrupt:
                pool.shutdown(cancel_futures=True)
                raise
    finally:
        records.save()
    return [results[index] for index in known]


def main() -> int:
    arguments = _arguments()
    root = arguments.root.resolve()
    choice = Choice.of(arguments, root)
    if arguments.list:
        for _, mutant in choice.numbered:
            print(_describe(mutant))
        print(f"{len(choice.numbered)} mutants")
        return 0
    started = time.monotonic()
    with tempfile.TemporaryDirectory(prefix="mutate-") as work:
        results = _try_all(arguments, root, choice, Path(work))

    mutants = [mutant for _, mutant in choice.numbered]
    explanations = [e for e in read_explanations(arguments.explanations) if e.file in choice.sources]
    survivors = [m for m, result in zip(mutants, results, strict=True) if result == SURVIVED]
    explained = [m for m in survivors if any(e.fits(m) for e in explanations)]
    unexplained = [m for m in survivors if m not in explained]
    complete = arguments.only is None and arguments.sample is None
    complaints = _complaints(explanations, choice.every, survivors) if complete else []
    counts = Counter(result.split()[0] for result in results)
    by_time = results.count(f"{KILLED} by time")
    tried = counts[KILLED] + len(unexplained)
    share = 100 * len(unexplained) / tried if tried else 0.0

    print()
    for mutant in unexplained:
        print(_describe(mutant))
    for complaint in complaints:
        print(complaint)
    print(
        f"{len(mutants)} mutants in {time.monotonic() - started:.0f} s\n"
        f"  {counts[REFUSED]:6} do not compile\n"
        f"  {counts[SAME]:6} are the same code as the original\n"
        f"  {len(explained):6} survive and are explained\n"
        f"  {counts[KILLED]:6} are killed, {by_time} of them by time\n"
        f"  {len(unexplained):6} survive, {share:.2f} % of those that could be killed "
        f"(limit {arguments.limit:g} %)"
    )
    return 1 if share > arguments.limit or complaints else 0


def _complaints(
    explanations: list[Explanation], mutants: list[Mutant], survivors: list[Mutant]
) -> list[str]:
    """What is wrong with the explanations."""
    return [
        f"explained, but there is no such mutant: {e.file}: {e.before} -> {e.after}"
        for e in explanations
        if not any(e.fits(mutant) for mutant in mutants)
    ] + [
        f"explained, but it does not survive: {e.file}: {e.before} -> {e.after}"
        for e in explanations
        if any(e.fits(mutant) for mutant in mutants)
        and not any(e.fits(mutant) for mutant in survivors)
    ]


if __name__ == "__main__":
    try:
        sys.exit(main())
    except BuildError as error:
        print(f"mutate: {error}", file=sys.stderr)
        sys.exit(2)
    except KeyboardInterrupt:
        print("mutate: interrupted; the next run goes on from here", file=sys.stderr)
        sys.exit(130)
