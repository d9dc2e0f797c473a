# SPDX-FileCopyrightText: 2026 The quorra authors
# SPDX-License-Identifier: BSD-2-Clause
"""A virtual reader with a web page, for tests."""

import http.client
import json
import os
import re
import signal
import socket
import subprocess
import tempfile
from pathlib import Path

# For what must come on a machine that has much to do.
PATIENCE = 120


class Reader:
    """quorra-sim --web, with a card in its slot."""

    def __init__(self, programs, kind="4442", port="0", options=()):
        self.programs = Path(programs)
        self.temporary = tempfile.TemporaryDirectory()
        self.folder = Path(self.temporary.name)
        self.card = self.make_card("card.toml", kind)
        self.configuration = self.folder / "reader.conf"
        self.socket = self.folder / "socket"
        self.process = subprocess.Popen(
            [self.programs / "quorra-sim", "--card", self.card, "--config", self.configuration,
             "--socket", self.socket, "--web", port, *options],
            stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True)
        self.lines = [self.process.stdout.readline() for _ in range(3)]
        found = re.fullmatch(r"web page: http://127\.0\.0\.1:(\d+)/\n", self.lines[-1])
        if not found:
            raise AssertionError(f"{self.lines} {self.process.stderr.read()}")
        self.port = int(found[1])

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.process.kill()
        self.process.communicate()
        self.temporary.cleanup()

    def make_card(self, name, kind, *options):
        path = self.folder / name
        subprocess.run([self.programs / "quorra-sim", "new", kind, path, *options], check=True)
        return path

    def quorra(self, *arguments, check=True):
        """Runs the command line at this reader."""
        return subprocess.run(
            [self.programs / "quorra", *arguments, "--config", self.configuration],
            check=check, capture_output=True, text=True, timeout=PATIENCE)

    def control(self, command):
        """The answer of the control socket."""
        answer = subprocess.run(
            [self.programs / "quorra-sim", "control", self.socket, json.dumps(command)],
            check=False, capture_output=True, text=True, timeout=PATIENCE)
        return json.loads(answer.stdout)

    def request(self, method, path, body=None, headers=None, host="127.0.0.1"):
        """Status, headers and body of the answer."""
        connection = http.client.HTTPConnection(host, self.port, timeout=PATIENCE)
        try:
            connection.request(method, path, body, headers or {})
            answer = connection.getresponse()
            return answer.status, answer.headers, answer.read()
        finally:
            connection.close()

    def get(self, path):
        status, _, body = self.request("GET", path)
        assert status == 200, (path, status)
        return json.loads(body)

    def post(self, command):
        """Status and answer of a control command."""
        status, _, body = self.request("POST", "/control", json.dumps(command))
        return status, json.loads(body)

    def connect(self, host="127.0.0.1", source=None):
        return socket.create_connection((host, self.port), PATIENCE, source)

    def raw(self, data, host="127.0.0.1", source=None):
        """All that comes back for these bytes."""
        with self.connect(host, source) as connection:
            answer = b""
            try:
                connection.sendall(data)
                while part := connection.recv(65536):
                    answer += part
            except ConnectionError:
                pass  # it was not interested in the rest
            return answer

    def end(self):
        """Exit status after SIGTERM."""
        self.process.send_signal(signal.SIGTERM)
        return self.process.wait(PATIENCE)

    def tasks(self):
        return len(os.listdir(f"/proc/{self.process.pid}/task"))

    def files(self):
        return len(os.listdir(f"/proc/{self.process.pid}/fd"))


class Events:
    """The stream of events of a reader."""

    def __init__(self, reader):
        self.connection = http.client.HTTPConnection("127.0.0.1", reader.port, timeout=PATIENCE)
        self.connection.request("GET", "/events")
        self.answer = self.connection.getresponse()
        self.status = self.answer.status
        if self.status == 200:
            self.answer.readline()  # a sign of life: it listens from before that on

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.answer.close()
        self.connection.close()

    def next(self):
        """The next event: its name and its data."""
        name = None
        while True:
            line = self.answer.readline().decode()
            if not line:
                raise EOFError
            if line.startswith("event: "):
                name = line[7:-1]
            elif line.startswith("data: "):
                return name, json.loads(line[6:])

    def until_reply(self, count):
        """All events up to the reply of that exchange."""
        events = []
        while not (events and events[-1][0] == "frame" and events[-1][1]["trace"] == "out"
                   and events[-1][1]["number"] >= count):
            events.append(self.next())
        return events
