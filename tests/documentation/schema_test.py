# SPDX-FileCopyrightText: 2026 The quorra authors
# SPDX-License-Identifier: BSD-2-Clause
"""What every command tells with --json, against docs/quorra.schema.json."""

import copy
import json
import os
import subprocess
import sys
import tempfile
import unittest
from pathlib import Path

from jsonschema import Draft202012Validator

from reference_test import helps

ROOT = Path(__file__).resolve().parents[2]
SCHEMA = json.loads((ROOT / "docs" / "quorra.schema.json").read_text())
VALIDATOR = Draft202012Validator(SCHEMA)

# Commands that tell what passes, one object a line.
STREAMS = {"tap", "trace"}
# Commands that carry out others, each of which tells an object.
SERIES = {"run", "shell"}

# What a run of these lines tells is what the commands tell.
LINES = """\
info
code present 000000
expect wrong_code attempts_left=2
code counter
expect 3
code present 000000
beep 256
read --count 4
expect 9000
eject
expect ok
"""

KINDS = ("4442", "4428", "24c16", "102", "4406", "cpu")
CODE = {"4442": "FFFFFF", "4428": "FFFF", "102": "FFFF", "4406": "FFFFFF"}

# For a series of cards.
PLAN = """
kind = "24c16"
rows = 1
label = "{n}"
[[counter]]
name = "n"
[[write]]
address = 512
value = "{n}"
width = 4
"""

# In this order: the kind of card, the command, and its exit status.
COMMANDS: list[tuple[str, str, int]] = [
    ("4442", "info", 0),
    ("4442", "detect", 0),
    ("cpu", "detect", 0),
    ("24c16", "detect --by-writing", 2),
    ("4442", "doctor", 0),
    ("102", "map --code FFFF", 0),
    ("4442", "read", 0),
    ("4442", "read --output read.bin", 0),
    ("4442", "read --at data --output read.hex", 0),
    ("102", "read --output read.json", 0),
    ("4442", "read --count 4 --repeat 3", 0),
    ("102", "read --zone 1 --count 4", 0),
    ("4442", "read --address 256", 2),
    ("4442", "write --address 64 --code FFFFFF 0102", 0),
    ("102", "write --zone 1 --address 8 --code FFFF 00", 0),
    ("4442", "write --address 64 77", 1),
    ("4442", "write --file read.hex --plan --code FFFFFF", 0),
    ("4442", "write --at data+40 77 --plan", 1),
    ("4442", "write --at protectable 77 --code FFFFFF", 1),
    ("4442", "write --at protectable 77 --code FFFFFF --skip-protected", 0),
    ("4442", "verify --file read.hex --at protectable", 2),
    ("4442", "verify --address 64 0102", 0),
    ("4442", "verify --address 64 0103", 1),
    ("24c16", "fill --byte 5A --address 3 --count 5", 0),
    ("24c16", "fill --byte 5A", 2),
    ("24c16", "fill --byte 5A --plan", 0),
    ("102", "erase --zone 2 --code FFFF --plan", 0),
    ("24c16", "erase --yes 24c16", 0),
    ("24c16", "backup before.json", 0),
    ("24c16", "diff before.json", 0),
    ("24c16", "write --address 0 0102", 0),
    ("24c16", "diff before.json", 1),
    ("24c16", "restore before.json --plan", 0),
    ("24c16", "restore before.json --yes 24c16", 0),
    ("4442", "backup one.json --image one.toml", 0),
    ("102", "backup zones.json", 0),
    ("4428", "backup --image other.toml", 0),
    ("4442", "backup --image 4442.toml", 2),
    ("", "batch plan.toml --dry-run", 0),
    ("24c16", "batch plan.toml --quiet", 0),
    ("24c16", "batch plan.toml", 0),
    ("24c16", "batch plan.toml --card 4442", 2),
    ("", "batch nowhere.toml", 2),
    ("4442", "code change --code FFFFFF 123456", 0),
    ("4442", "code present 123456", 0),
    ("4442", "code present 000000", 1),
    ("4442", "code counter", 0),
    ("102", "code counter --erase --zone 2", 0),
    ("4442", "protect --address 64 --code 123456 --yes 4442", 2),
    ("4442", "protect --address 16 --code 123456 --yes 4442", 0),
    ("4442", "diff one.json --code 123456", 1),
    ("4442", "restore one.json --plan --code 123456", 1),
    ("4442", "restore one.json --plan --code 123456 --skip-protected", 0),
    ("102", "protect --zone 1 --code FFFF --yes 102", 0),
    ("102", "fuse imitate", 0),
    ("102", "fuse release", 0),
    ("102", "personalise --code FFFF --yes 102", 0),
    ("4406", "units show", 1),
    ("4406", "personalise --code FFFFFF --yes 4406", 0),
    ("4406", "units show", 0),
    ("4406", "units spend 3 --yes 4406", 0),
    ("4406", "units carry 11 --yes 4406", 0),
    ("cpu", "atr", 0),
    ("4442", "atr", 1),
    ("cpu", "apdu 00A40000023F00", 0),
    ("cpu", "apdu 00A40000023F00 00B0000002", 1),
    ("cpu", "apdu 00", 2),
    ("4442", "memory read --count 4", 0),
    ("4442", "memory read --output memory.bin", 0),
    ("4442", "memory write --address 0 0102", 0),
    ("4442", "value show", 0),
    ("4442", "value set 5", 0),
    ("4442", "value add 5", 0),
    ("4442", "value subtract 0", 0),
    ("4442", "value subtract 7", 1),
    ("4442", "security show", 0),
    ("4442", "security set 123456 --yes", 0),
    ("4442", "security compare FFFFFF", 0),
    ("4442", "security compare 000000", 1),
    ("4442", "security mode on", 0),
    ("4442", "beep", 0),
    ("4442", "power off", 0),
    ("4442", "power --sam on", 0),
    ("4442", "eject", 0),
    ("", "des encrypt --key 0000000000000000 00", 0),
    ("", "des encrypt --key 0000000000000000 00 --output des.bin", 0),
    ("", "des decrypt --key 0000000000000000 --file des.bin", 0),
    ("", "des decrypt --key 00 --file des.bin", 2),
    ("", "setup", 0),
    ("", "kinds", 0),
    ("", "kinds 4442", 2),
    ("", "help", 0),
    ("", "help read", 0),
    ("", "help fly", 2),
    ("", "--config nowhere.conf doctor", 2),
    ("", "--config nowhere.conf info", 2),
    ("", "tap /dev/nowhere", 3),
    ("", "tap", 2),
    ("", "trace nowhere.pcapng", 2),
    ("", "fly", 2),
    ("", "", 2),
]

# The same for a reader with a file of its own.
READER_COMMANDS = [
    ("setup --device {device} --try --output found.conf --yes", 0),
    ("--config reader.conf speed show", 3),
    ("--config reader.conf speed find", 0),
    ("--config reader.conf --speed 19200 speed show", 0),
    ("--config reader.conf --speed 19200 speed set 38400 --yes", 0),
    ("--config reader.conf --speed 38400 doctor", 3),
    ("--config reader.conf --speed 38400 read", 3),
]


class Schema(unittest.TestCase):
    programs: Path

    def setUp(self) -> None:
        self.folder = tempfile.TemporaryDirectory()
        self.addCleanup(self.folder.cleanup)
        self.environment = {**os.environ, "HOME": self.folder.name, "XDG_CONFIG_HOME": self.folder.name,
                            "XDG_RUNTIME_DIR": self.folder.name}
        self.seen: set[tuple[str, bool]] = set()

    def run_program(self, *words: str) -> subprocess.CompletedProcess[str]:
        return subprocess.run([self.programs / words[0], *words[1:]], cwd=self.folder.name, text=True,
                              env=self.environment, stdin=subprocess.DEVNULL, capture_output=True)

    def expect(self, words: list[str], status: int) -> None:
        done = self.run_program("quorra", "--json", *words)
        with self.subTest(command=" ".join(words)):
            self.assertEqual(done.stderr, "")
            told = json.loads(done.stdout)
            self.assertEqual([problem.message for problem in VALIDATOR.iter_errors(told)], [])
            self.assertEqual(done.returncode, status, told)
            self.assertEqual(told["ok"], status == 0)
            self.assertEqual(told.get("exit_status", 0), status)
            self.seen.add((told["command"], told["ok"]))

    def test_every_command_is_as_the_schema_says(self) -> None:
        for kind in KINDS:
            self.assertEqual(self.run_program("quorra-sim", "new", kind, f"{kind}.toml").returncode, 0)
        Path(self.folder.name, "plan.toml").write_text(PLAN)
        for kind, command, status in COMMANDS:
            reader = ["--virtual", f"{kind}.toml"] if kind else []
            self.expect([*reader, *command.split()], status)
        with subprocess.Popen(
            [self.programs / "quorra-sim", "--config", "reader.conf", "--line-speed", "19200"],
            text=True, cwd=self.folder.name, stdout=subprocess.PIPE) as reader:
            reader.stdout.readline()  # The file is there now.
            device = Path(self.folder.name, "reader.conf").read_text().split("P=")[1].split()[0]
            for command, status in READER_COMMANDS:
                self.expect(command.format(device=device).split(), status)
            reader.kill()
        commands = helps(str(self.programs / "quorra"), []).keys() - {""} - STREAMS
        self.assertEqual({command for command, ok in self.seen if ok}, commands - SERIES)
        self.assertEqual(set(SCHEMA["$defs"]["result"]["properties"]["command"]["enum"]),
                         commands | STREAMS | {""})

    def test_each_kind_is_told_as_its_image_is(self) -> None:
        told = json.loads(self.run_program("quorra", "--json", "kinds").stdout)
        kinds = {kind["card"]: kind for kind in told["kinds"]}
        self.assertEqual(list(kinds), SCHEMA["$defs"]["card"]["enum"])
        for name, kind in kinds.items():
            self.assertEqual(kind["size"], sum(zone["size"] for zone in kind["zones"]), name)
            image = f"{name}.toml"
            self.assertEqual(self.run_program("quorra-sim", "new", name, image).returncode, 0)
            last = kind["zones"][-1]
            zone = ["--zone", str(last["zone"])] if kind["has_zones"] else []
            read = ["quorra", "read", "--virtual", image, *zone, "--quiet", "--count", "1", "--address"]
            self.assertEqual(self.run_program(*read, str(last["size"] - 1)).returncode, 0, name)
            self.assertEqual(self.run_program(*read, str(last["size"])).returncode, 2, name)
            for code in kind["codes"][:1]:
                for size, status in ((code["size"], {0, 1}), (code["size"] + 1, {2})):
                    given = "00" * size
                    number = ["--number", "0"] if len(kind["codes"]) > 1 else []
                    done = self.run_program("quorra", "code", "present", "--virtual", image, *number, given)
                    self.assertIn(done.returncode, status, (name, done.stderr))

    def test_so_is_every_frame(self) -> None:
        self.run_program("quorra-sim", "new", "4442", "4442.toml")
        frames = []
        with subprocess.Popen(
            [self.programs / "quorra-sim", "--card", "4442.toml", "--config", "reader.conf"],
            text=True, cwd=self.folder.name, stdout=subprocess.PIPE) as reader:
            reader.stdout.readline()
            tap = [self.programs / "quorra", "tap", "--json", "--config", "reader.conf",
                   "--write-config", "tapped.conf", "--output", "frames.pcapng"]
            with subprocess.Popen(tap, text=True, cwd=self.folder.name, env=self.environment,
                                  stdout=subprocess.PIPE) as tapped:
                frames.append(json.loads(tapped.stdout.readline()))
                words = ["--config", "tapped.conf", "--card", "4442", "--force"]
                done = self.run_program("quorra", "write", *words, "--address", "64", "--code", "FFFFFF", "41")
                self.assertEqual(done.returncode, 0, done.stderr)
                tapped.terminate()
                frames += [json.loads(line) for line in tapped.stdout]
            reader.kill()
        frames += [json.loads(line) for line in
                   self.run_program("quorra", "trace", "--json", "frames.pcapng").stdout.splitlines()]
        self.assertGreater(len(frames), 20)
        for frame in frames:
            self.assertEqual([problem.message for problem in VALIDATOR.iter_errors(frame)], [], frame)
        one = next(frame for frame in frames if "**" in frame.get("data", ""))
        for field, value in [("schema_version", 2), ("direction", "up"), ("number", 0), ("data", "4"),
                             ("command", "trace"), ("more", 1)]:
            self.assertFalse(VALIDATOR.is_valid({**one, field: value}), field)
        self.assertFalse(VALIDATOR.is_valid({k: v for k, v in one.items() if k != "bytes"}))

    def test_so_is_every_line_of_a_run(self) -> None:
        self.run_program("quorra-sim", "new", "4442", "4442.toml")
        Path(self.folder.name, "lines").write_text(LINES)
        words = ["quorra", "run", "--virtual", "4442.toml", "--json", "--keep-going", "lines"]
        told = [json.loads(line) for line in self.run_program(*words).stdout.splitlines()]
        for one in told:
            self.assertEqual([problem.message for problem in VALIDATOR.iter_errors(one)], [], one)
        self.assertEqual([one["line"] for one in told], [1, 2, 4, 6, 7, 8, 10])
        self.assertEqual([one["ok"] for one in told], [True, True, False, False, False, False, True])
        one = json.loads(self.run_program("quorra", "run", "nowhere", "--json").stdout)
        self.assertEqual([problem.message for problem in VALIDATOR.iter_errors(one)], [])
        self.assertEqual(one["command"], "run")

    def test_it_refuses_what_is_not_told(self) -> None:
        good = {"schema_version": 1, "command": "read", "ok": True, "card": "4442", "address": 0,
                "count": 1, "data": "A2"}
        bad = {"schema_version": 1, "command": "read", "ok": False, "exit_status": 1,
               "error": {"kind": "failed", "message": "no"}}
        for told in (good, bad):
            self.assertTrue(VALIDATOR.is_valid(told))
        for told, field, value in [
            (good, "schema_version", 2), (good, "command", "fly"), (good, "ok", False),
            (good, "data", "A"), (good, "data", "a2"), (good, "count", -1), (good, "card", "cpu"),
            (good, "value", 1), (good, "exit_status", 1), (good, "notes", []),
            (bad, "exit_status", 0), (bad, "error", {"kind": "failed"}), (bad, "value", 1),
        ]:
            changed = copy.deepcopy(told)
            changed[field] = value
            self.assertFalse(VALIDATOR.is_valid(changed), changed)
        for field in good:
            if field == "data":
                continue
            self.assertFalse(VALIDATOR.is_valid({k: v for k, v in good.items() if k != field}), field)


if __name__ == "__main__":
    Schema.programs = Path(sys.argv.pop(1)).resolve().parent
    unittest.main()
