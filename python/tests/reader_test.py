# SPDX-FileCopyrightText: 2026 The quorra authors
# SPDX-License-Identifier: BSD-2-Clause
"""Sessions with a reader, and the reader's own services."""

from __future__ import annotations

import ctypes
import fcntl
import os
import subprocess
import sys
import tempfile
import termios
import threading
import warnings
from collections.abc import Iterator
from pathlib import Path

import pytest

import quorra
from quorra import lib


@pytest.fixture
def reader() -> Iterator[quorra.VirtualReader]:
    with quorra.virtual() as reader:
        yield reader


def test_identity(reader: quorra.VirtualReader) -> None:
    assert reader.version == "KWSPC-VIRTUAL V1.0"
    assert reader.serial_number == "VIRTUAL-00000001"
    assert reader.answers()
    reader.beep()
    assert not reader.is_closed
    assert reader.handle >= 0
    assert lib.Reader_Type.value == 1


def test_the_card_in_the_slot(reader: quorra.VirtualReader, tmp_path: Path) -> None:
    assert reader.card_state() == quorra.CardState(present=False, powered=False)
    with pytest.raises(quorra.NoCard) as none:
        reader.card()
    assert none.value.word == "no_card"
    reader.bench.insert(quorra.new_card("4442", tmp_path / "card.toml"))
    assert reader.card_state() == quorra.CardState(present=True, powered=False)
    reader.power_on()
    assert reader.card_state().powered
    reader.power_off()
    assert not reader.card_state().powered
    reader.eject()
    assert not reader.card_state().present


def test_a_status_that_says_no_card(reader: quorra.VirtualReader, tmp_path: Path) -> None:
    reader.bench.insert(quorra.new_card("4442", tmp_path / "card.toml"))
    card = reader.card()
    reader.bench.remove()
    with pytest.raises(quorra.NoCard, match="no card is in the slot") as none:
        card.read(0, 1)
    assert (none.value.code, none.value.status, none.value.word) == (-0x21, 0x21, "status")


def test_memory(reader: quorra.VirtualReader) -> None:
    assert reader.memory.read() == b"\xff" * 384
    data = bytes(range(200))
    reader.memory.write(100, data)
    assert reader.memory.read(99, 202) == b"\xff" + data + b"\xff"
    assert reader.memory.read(383) == b"\xff"
    for address, count in ((384, 1), (-1, 1), (383, 2), (0, 385), (0, 0)):
        with pytest.raises(quorra.Unsupported):
            reader.memory.read(address, count)
    with pytest.raises(quorra.Unsupported):
        reader.memory.write(380, bytes(5))


def test_value_register(reader: quorra.VirtualReader) -> None:
    assert reader.value.get() == 0
    reader.value.set(1000)
    assert reader.value.add(5) == 1005
    assert reader.value.subtract(1005) == 0
    with pytest.raises(quorra.Error) as below:
        reader.value.subtract(1)
    assert (below.value.code, below.value.word) == (-135, "out_of_range")
    assert reader.value.get() == 0
    for wrong in (-1, 1 << 32):
        with pytest.raises(quorra.Unsupported):
            reader.value.set(wrong)


def test_security(reader: quorra.VirtualReader) -> None:
    assert reader.security.code() == b"\xff\xff\xff"
    reader.security.set_code(b"\x01\x02\x03")
    reader.security.present(b"\x01\x02\x03")
    with pytest.raises(quorra.Refused) as wrong:
        reader.security.present(b"\x00\x00\x00")
    assert quorra.status_word(wrong.value.status or 0) == "wrong_code"
    reader.security.present(b"\x01\x02\x03")
    reader.security.set_mode(True)
    reader.security.set_mode(False)
    with pytest.raises(quorra.Error) as long:
        reader.security.set_code(b"\x01")
    assert (long.value.code, long.value.word) == (-143, "bad_length")


def test_speed() -> None:
    with quorra.virtual(line_speed=9600) as reader:
        reader.set_speed(38400)
        assert reader.answers()
        assert reader.bench.state()["line_speed"] == 38400
        with pytest.raises(quorra.Unsupported):
            reader.set_speed(57600)


def test_a_reader_in_a_file_keeps_its_speed(tmp_path: Path) -> None:
    file = tmp_path / "reader.toml"
    with quorra.virtual(line_speed=9600, reader=file) as reader:
        reader.set_speed(38400)
    with quorra.virtual(line_speed=9600, reader=file) as reader:
        assert reader.answers()
        assert reader.bench.state()["line_speed"] == 38400


def test_snapshots_and_virtual_time() -> None:
    with quorra.virtual(speed=1, virtual_time=True) as reader:
        reader.bench.snapshot("a")
        reader.security.set_code(b"\x01\x02\x03")
        reader.bench.restore("a")
        reader.security.present(b"\xff\xff\xff")
        with pytest.raises(quorra.BenchError, match="unknown snapshot"):
            reader.bench.restore("b")


# ---- Failures

@pytest.mark.parametrize("fault, word, code", [
    ("wrong_start", "bad_start_byte", -128),
    ("wrong_check", "bad_check_byte", -133),
])
def test_a_spoilt_reply_costs_one_operation(reader: quorra.VirtualReader, fault: str, word: str, code: int) -> None:
    reader.bench.fault(fault, on=0xB7)
    with pytest.raises(quorra.Unanswered) as spoilt:
        reader.memory.read(0, 20)
    assert (spoilt.value.code, spoilt.value.word) == (code, word)
    # What is left of the spoilt reply is not taken for this one.
    assert reader.memory.read(0, 20) == b"\xff" * 20
    assert reader.version.startswith("KWSPC")


def test_a_lost_line_is_opened_anew(reader: quorra.VirtualReader) -> None:
    device = reader.bench.state()["device"]
    reader.bench.fault("hang_up", on=0xB7)
    with pytest.raises(quorra.Unanswered) as lost:
        reader.memory.read(0, 1)
    assert (lost.value.code, lost.value.word) == (-132, "timeout")
    assert reader.memory.read(0, 1) == b"\xff"
    assert reader.bench.state()["device"] != "" != device


def test_a_reader_that_comes_back_is_found_again(tmp_path: Path) -> None:
    configuration = tmp_path / "reader.conf"
    with quorra.Bench() as first:
        configuration.write_bytes(first.configuration.read_bytes())
        reader = quorra.open(configuration)
        first.fault("wrong_check", on=0xB7)
        with pytest.raises(quorra.Unanswered):
            reader.memory.read(0, 1)
    configuration.write_text("P=/dev/quorra-nowhere\n")
    for _ in range(2):
        with pytest.raises(quorra.NoReader):
            reader.memory.read(0, 1)
        assert not reader.is_closed
    with quorra.Bench() as second:
        configuration.write_bytes(second.configuration.read_bytes())
        assert reader.memory.read(0, 1) == b"\xff"
        reader.close()
        with pytest.raises(quorra.Closed):
            reader.memory.read(0, 1)


def test_a_status_leaves_the_session_good(reader: quorra.VirtualReader) -> None:
    handle = reader.handle
    reader.bench.fault("status", status=5, on="0xB7")
    with pytest.raises(quorra.Refused, match=r"status 5 \(0x05\) \(-5\)") as refused:
        reader.memory.read(0, 1)
    assert (refused.value.code, refused.value.status, refused.value.word) == (-5, 5, "status")
    assert reader.memory.read(0, 1) == b"\xff"
    assert reader.handle == handle


def test_words_are_those_of_the_program() -> None:
    assert quorra.word_for(-132) == "timeout"
    assert quorra.word_for(-133) == "bad_check_byte"
    assert quorra.word_for(-133, "probing") == "another_card"
    assert quorra.word_for(-128, "protecting") == "not_read_back"
    assert quorra.word_for(-36) == quorra.word_for(-1) == "status"
    assert quorra.word_for(-1, "opening") == "no_configuration"
    assert quorra.words_for(-36) == "the reader refused the command with status 36 (0x24)"
    assert quorra.status_word(0x24) == "wrong_code"
    assert quorra.status_word(0x77) == ""


def test_there_is_no_reader(tmp_path: Path) -> None:
    missing = tmp_path / "missing.conf"
    with pytest.raises(quorra.NoReader) as no_file:
        quorra.open(missing)
    assert (no_file.value.code, no_file.value.word) == (-1, "no_configuration")
    missing.write_text("P=/dev/quorra-nowhere\n")
    with pytest.raises(quorra.NoReader) as no_device:
        quorra.open(missing)
    assert (no_device.value.code, no_device.value.word) == (-16, "no_device")
    with pytest.raises(quorra.NoReader, match="no terminal device"):
        quorra.open(device="/dev/null")
    with pytest.raises(ValueError):
        quorra.open(missing, device="/dev/null")
    with pytest.raises(quorra.NoReader):
        quorra.open(device="/dev/" + "x" * 60)


def test_nothing_answers(tmp_path: Path) -> None:
    primary, secondary = os.openpty()
    try:
        with pytest.raises(quorra.NoReader) as silent:
            quorra.open(device=os.ttyname(secondary))
        assert (silent.value.code, silent.value.word) == (-136, "no_reader")
    finally:
        os.close(primary)
        os.close(secondary)


def test_the_configuration_is_found(monkeypatch: pytest.MonkeyPatch, tmp_path: Path) -> None:
    monkeypatch.setenv("XDG_CONFIG_HOME", str(tmp_path))
    monkeypatch.delenv("QUORRA_CONFIG", raising=False)
    with quorra.Bench() as bench:
        (tmp_path / "quorra").mkdir()
        (tmp_path / "quorra" / "reader.conf").write_bytes(bench.configuration.read_bytes())
        with quorra.open() as reader:
            assert reader.configuration == tmp_path / "quorra" / "reader.conf"
        monkeypatch.setenv("QUORRA_CONFIG", str(bench.configuration))
        with quorra.open() as reader:
            assert reader.configuration == bench.configuration
        device = bench.state()["device"]
        with quorra.open(device=device) as reader:
            assert reader.answers()
            file = reader.configuration
        assert not file.exists()


def test_a_longer_name_of_a_device_leaves_nothing_behind() -> None:
    with quorra.Bench() as bench, tempfile.TemporaryDirectory(prefix="quorra-") as folder:
        link = Path(folder, "reader-by-another-name")
        link.symlink_to(bench.state()["device"])
        for _ in range(2):
            with quorra.open(device=link) as reader:
                assert reader.answers()
            with quorra.open(bench.configuration) as reader:
                assert reader.answers()


def test_a_line_without_its_end_is_cut_as_the_library_cuts_it(tmp_path: Path) -> None:
    configuration = tmp_path / "reader.conf"
    with quorra.Bench() as bench:
        device = bench.state()["device"]
        configuration.write_text(f"# a comment\nP = {device}x")
        with quorra.open(configuration) as reader:
            assert reader.answers()
            with pytest.raises(quorra.InUse):
                quorra.open(device=device)


def test_a_reader_at_a_serial_terminal(tmp_path: Path) -> None:
    image = quorra.new_card("24c02", tmp_path / "card.toml", data={0: b"terminal"})
    code = "import quorra, sys\nwith quorra.open() as r: data = r.card('24c02').read(0, 8)\nprint(data.decode())"
    done = subprocess.run([quorra.find_program(), "--card", image, "--terminal", "--", sys.executable, "-c", code],
                          stdin=subprocess.DEVNULL, capture_output=True, text=True, check=False)
    assert (done.returncode, done.stdout.strip(), done.stderr) == (0, "terminal", "")


@pytest.mark.parametrize("start", ["reader = quorra.virtual(); bench = reader.bench", "bench = quorra.Bench()"])
def test_a_program_that_ends_without_closing(start: str) -> None:
    code = ("import os, quorra\n"
            f"{start}\n"
            "print(bench.process_id, bench.configuration, flush=True)\n"
            "if os.fork() == 0: raise SystemExit\n"
            "os.wait()\n"
            "assert bench.state()['exchanges'] < 2\n")
    done = subprocess.run([sys.executable, "-c", code], capture_output=True, text=True, check=False)
    assert (done.returncode, done.stderr) == (0, "")
    process, configuration = done.stdout.split()
    with pytest.raises(ProcessLookupError):
        os.kill(int(process), 0)
    assert not Path(configuration).exists()


def test_one_program_has_the_reader(reader: quorra.VirtualReader, program: str) -> None:
    with pytest.raises(quorra.InUse) as taken:
        quorra.open(reader.configuration)
    assert taken.value.word == "in_use"
    assert taken.value.process == os.getpid()
    device = reader.configuration.read_text().partition("=")[2].strip()
    assert f"{device} is in use by " in str(taken.value)
    assert str(taken.value).endswith(f" (process {os.getpid()})")
    told = subprocess.run([program, "info", "--config", reader.configuration], capture_output=True, text=True,
                          check=False)
    assert told.returncode == 1 and "is in use by" in told.stderr
    assert reader.answers()


@pytest.fixture
def line() -> Iterator[tuple[int, str]]:
    """A terminal that nobody has locked: an open descriptor, and its name."""
    user, end = os.openpty()
    yield end, os.ttyname(end)
    os.close(end)
    os.close(user)


def test_a_lock_that_outlives_who_set_it(line: tuple[int, str]) -> None:
    code = "exec 9<>\"$0\"; flock 9; echo locked; kill -STOP $$"
    with subprocess.Popen(["/bin/sh", "-c", code, line[1]], stdout=subprocess.PIPE) as holder:
        assert holder.stdout is not None and holder.stdout.readline() == b"locked\n"
        with pytest.raises(quorra.InUse) as taken:
            quorra.open(device=line[1])
        holder.kill()
    assert str(taken.value).endswith(f"{line[1]} is in use by sh (process {holder.pid})")
    assert taken.value.process == holder.pid


def test_a_device_that_a_program_keeps_for_itself(line: tuple[int, str]) -> None:
    fcntl.ioctl(line[0], termios.TIOCEXCL)
    code = "import sys; print(flush=True); sys.stdin.read()"
    with subprocess.Popen([sys.executable, "-c", code], pass_fds=[line[0]], stdin=subprocess.PIPE,
                          stdout=subprocess.PIPE) as holder:
        assert holder.stdout is not None and holder.stdout.readline() == b"\n"
        with pytest.raises(quorra.InUse, match=": another program keeps it for itself; opened by ") as taken:
            quorra.open(device=line[1])
        assert (taken.value.word, taken.value.process) == ("in_use", holder.pid)
    with pytest.raises(quorra.InUse, match=": another program keeps it for itself$"):
        quorra.open(device=line[1])


def test_a_closed_reader(reader: quorra.VirtualReader) -> None:
    reader.close()
    reader.close()
    assert reader.is_closed
    with pytest.raises(quorra.Closed):
        reader.answers()
    with pytest.raises(quorra.Closed):
        reader.handle
    with pytest.raises(quorra.Closed):
        reader.reopen()
    assert not reader.bench.is_running


def test_a_reader_that_is_forgotten_is_closed() -> None:
    with quorra.Bench() as bench:
        reader = quorra.open(bench.configuration)
        with pytest.warns(ResourceWarning, match="not closed"):
            del reader
        with quorra.open(bench.configuration) as reader:
            assert reader.answers()


def test_the_line_gets_its_settings_back() -> None:
    with quorra.Bench() as bench:
        device = bench.state()["device"]
        line = os.open(device, os.O_RDWR | os.O_NOCTTY)
        try:
            settings = termios.tcgetattr(line)
            settings[2] &= ~termios.CLOCAL
            settings[3] |= termios.ECHO
            termios.tcsetattr(line, termios.TCSANOW, settings)
            before = termios.tcgetattr(line)
            with quorra.open(bench.configuration):
                assert termios.tcgetattr(line) != before
            assert termios.tcgetattr(line) == before
        finally:
            os.close(line)


# ---- Threads and processes

def test_threads_have_their_turns(reader: quorra.VirtualReader) -> None:
    failures: list[BaseException] = []

    def work(first: int) -> None:
        try:
            for round in range(20):
                data = bytes([first // 2, round] * 20)
                reader.memory.write(first, data)
                assert reader.memory.read(first, 40) == data
        except BaseException as error:
            failures.append(error)

    threads = [threading.Thread(target=work, args=(first,)) for first in (0, 100, 200, 300)]
    for thread in threads:
        thread.start()
    for thread in threads:
        thread.join()
    assert failures == []


def in_child(work: object) -> int:
    """The exit status of a child of fork() that does this."""
    child = os.fork()
    if child == 0:
        try:
            assert callable(work)
            work()
        except BaseException:
            os._exit(1)
        os._exit(0)
    return os.waitstatus_to_exitcode(os.waitpid(child, 0)[1])


def test_after_fork_the_session_is_the_parent_s(reader: quorra.VirtualReader) -> None:
    def child() -> None:
        with pytest.raises(quorra.Closed, match="take_over"):
            reader.answers()
        reader.close()
        assert reader.is_closed

    settings = termios.tcgetattr(reader.handle)
    assert in_child(child) == 0
    assert termios.tcgetattr(reader.handle) == settings
    assert reader.answers()
    assert reader.bench.is_running


def test_after_fork_a_child_may_take_the_session_over() -> None:
    with quorra.Bench() as bench:
        reader = quorra.open(bench.configuration)

        def child() -> None:
            reader.take_over()
            assert reader.answers()

        assert in_child(child) == 0
        reader.close()


def test_des() -> None:
    key = bytes.fromhex("0123456789ABCDEF")
    text = b"Now is the time for all "
    cipher = bytes.fromhex("3FA40E8A984D48156A271787AB8883F9893D51EC4B563B53")
    assert quorra.des.encrypt(key, text) == cipher
    assert quorra.des.decrypt(key, cipher) == text
    assert quorra.des.encrypt(key, b"") == b""
    assert quorra.des.decrypt(key, quorra.des.encrypt(key, b"abc")) == b"abc" + bytes(5)
    assert quorra.des.encrypt(b"\x01", text) == quorra.des.encrypt(b"\x01" + bytes(7), text)
    with pytest.raises(ValueError):
        quorra.des.encrypt(bytes(9), text)


def test_the_handle_is_for_the_library(reader: quorra.VirtualReader) -> None:
    value = ctypes.c_uint(7)
    assert lib.val_set(reader.handle, 12) == 0
    assert lib.val_read(reader.handle, value) == 0
    assert value.value == reader.value.get() == 12


def test_no_warning_is_left_behind() -> None:
    with warnings.catch_warnings():
        warnings.simplefilter("error")
        with quorra.virtual() as reader:
            reader.answers()
