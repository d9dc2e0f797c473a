#!/usr/bin/env python3
# SPDX-FileCopyrightText: 2026 The quorra authors
# SPDX-License-Identifier: BSD-2-Clause
"""Whom the web server of quorra-sim serves, and with what: server_test.py FOLDER_OF_PROGRAMS."""

import json
import re
import socket
import subprocess
import sys
import time
import unittest

from reader import PATIENCE, Events, Reader

PROGRAMS = sys.argv.pop(1)
PATHS = ("/", "/state", "/card", "/events", "/control", "/nothing")


def own_address():
    """An address of this machine that is none of the loopback, or None."""
    with socket.socket(socket.AF_INET, socket.SOCK_DGRAM) as probe:
        try:
            probe.connect(("192.0.2.1", 9))  # sends nothing
        except OSError:
            return None
        return probe.getsockname()[0]


def has_ipv6():
    try:
        with socket.socket(socket.AF_INET6) as probe:
            probe.bind(("::1", 0))
        return True
    except OSError:
        return False


class WithReader(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.reader = Reader(PROGRAMS)
        cls.addClassCleanup(cls.reader.__exit__)

    def assertForbidden(self, answer, note=None):
        head, _, body = answer.partition(b"\r\n\r\n")
        self.assertTrue(head.startswith(b"HTTP/1.1 403 "), (note, answer[:200]))
        self.assertEqual(body, b"", note)
        self.assertEqual(answer.count(b"HTTP/1.1"), 1, note)

    def raw_request(self, method, path, *headers, body=b"", **how):
        lines = [f"{method} {path} HTTP/1.1", *headers]
        if body:
            lines.append(f"Content-Length: {len(body)}")
        return self.reader.raw("\r\n".join(lines).encode() + b"\r\n\r\n" + body, **how)

    def host(self, name="127.0.0.1"):
        return f"Host: {name}:{self.reader.port}"


class WhoMayAsk(WithReader):
    def test_all_names_of_the_loopback(self):
        for name in ("127.0.0.1", "localhost", "LocalHost", "[::1]"):
            answer = self.raw_request("GET", "/state", self.host(name))
            self.assertTrue(answer.startswith(b"HTTP/1.1 200 "), (name, answer[:100]))

    @unittest.skipUnless(has_ipv6(), "there is no IPv6")
    def test_both_loopback_addresses(self):
        answer = self.raw_request("GET", "/state", self.host("[::1]"), host="::1")
        self.assertTrue(answer.startswith(b"HTTP/1.1 200 "), answer[:100])
        self.assertForbidden(self.raw_request("GET", "/state", "Host: evil.example", host="::1"))

    def test_no_other_host(self):
        port = self.reader.port
        for host in ("evil.example", f"evil.example:{port}", "127.0.0.1", "localhost",
                     f"127.0.0.1:{port + 1}", f"127.0.0.1:{port}.evil.example",
                     f"127.0.0.1.evil.example:{port}", f"127.0.0.2:{port}", f"0.0.0.0:{port}",
                     f"localhost.:{port}", f"::1:{port}", "", f"127.0.0.1:{port},evil.example",
                     f"user@127.0.0.1:{port}", f"127.0.0.1:0{port}"):
            for path in PATHS:
                for method in ("GET", "POST", "HEAD", "PUT", "OPTIONS", "DELETE"):
                    if path == "/nothing" or host.startswith("evil"):
                        self.assertForbidden(self.raw_request(method, path, f"Host: {host}"),
                                             (host, method, path))
            self.assertForbidden(self.raw_request("GET", "/state", f"Host: {host}"), host)

    def test_exactly_one_host(self):
        self.assertForbidden(self.raw_request("GET", "/state"))
        self.assertForbidden(self.raw_request("GET", "/state", self.host(), "Host: evil.example"))
        self.assertForbidden(self.reader.raw(b"GET /state HTTP/1.0\r\n\r\n"))

    def test_no_other_origin(self):
        port = self.reader.port
        for origin in ("http://evil.example", "null", f"https://127.0.0.1:{port}",
                       f"http://127.0.0.1:{port + 1}", "http://127.0.0.1", "http://localhost",
                       f"http://evil.example:{port}", f"http://127.0.0.1:{port}.evil.example",
                       f"http://127.0.0.1:{port}/", f"127.0.0.1:{port}"):
            for path in PATHS:
                for method in ("GET", "POST"):
                    self.assertForbidden(
                        self.raw_request(method, path, self.host(), f"Origin: {origin}"),
                        (origin, method, path))
        self.assertForbidden(self.raw_request(
            "GET", "/state", self.host(), f"Origin: http://127.0.0.1:{port}",
            "Origin: http://evil.example"))

    def test_the_own_origin(self):
        for name in ("127.0.0.1", "localhost", "[::1]"):
            answer = self.raw_request("POST", "/control", self.host(name),
                                      f"Origin: http://{name}:{self.reader.port}",
                                      body=b'{"command":"state"}')
            self.assertTrue(answer.startswith(b"HTTP/1.1 200 "), (name, answer[:100]))

    def test_nothing_that_a_browser_fetches_for_another_site(self):
        for site in ("cross-site", "same-site", "anything"):
            self.assertForbidden(
                self.raw_request("GET", "/", self.host(), f"Sec-Fetch-Site: {site}"), site)
        for site in ("none", "same-origin"):
            answer = self.raw_request("GET", "/", self.host(), f"Sec-Fetch-Site: {site}")
            self.assertTrue(answer.startswith(b"HTTP/1.1 200 "), site)

    def test_nothing_that_cannot_be_understood(self):
        wrong = ("Range: bytes=9-1", "Content-Length: 1000000")
        for header in wrong:
            answer = self.raw_request("POST", "/control", self.host(), header)
            self.assertRegex(answer[:20], rb"^HTTP/1.1 4(00|13|16) ", header)
            for other in ("Host: evil.example", "Accept: */*"):
                self.assertForbidden(self.raw_request("POST", "/control", other, header), header)
        long_path = "/" + 10000 * "x"
        self.assertForbidden(self.raw_request("GET", long_path, "Host: evil.example"))
        self.assertForbidden(self.raw_request("BREW", "/", "Host: evil.example"))
        self.assertForbidden(self.reader.raw(b"nothing\r\n\r\n"))

    def test_what_is_refused_is_not_done(self):
        self.assertEqual(self.reader.get("/state")["faults"], [])
        fault = b'{"command":"fault","kind":"silence"}'
        for header in ("Host: evil.example", None):
            headers = [header] if header else [self.host(), "Origin: http://evil.example"]
            self.assertForbidden(self.raw_request("POST", "/control", *headers, body=fault))
        self.assertEqual(self.reader.get("/state")["faults"], [])

    def test_the_body_of_what_is_refused_is_no_request(self):
        fault = b'{"command":"fault","kind":"silence"}'
        hidden = (f"POST /control HTTP/1.1\r\n{self.host()}\r\n"
                  f"Content-Length: {len(fault)}\r\n\r\n").encode() + fault
        self.assertForbidden(
            self.raw_request("POST", "/control", "Host: evil.example", body=hidden))
        self.assertForbidden(
            self.reader.raw(b"GET /state HTTP/1.1\r\nHost: evil.example\r\n\r\n" + hidden))
        self.assertEqual(self.reader.get("/state")["faults"], [])

    def test_nobody_is_asked_to_go_on(self):
        expecting = "Expect: 100-continue"
        self.assertForbidden(
            self.raw_request("POST", "/control", "Host: evil.example", expecting, body=b"{}"))
        answer = self.raw_request("POST", "/control", self.host(), expecting,
                                  body=b'{"command":"state"}')
        self.assertTrue(answer.startswith(b"HTTP/1.1 100 "), answer[:100])
        self.assertIn(b'"ok":true', answer)

    @unittest.skipUnless(own_address(), "this machine has no address but the loopback")
    def test_no_other_machine(self):
        with self.assertRaises(OSError):
            self.reader.connect(host=own_address())
        source = (own_address(), 0)
        try:
            self.reader.connect(source=source).close()
        except OSError as error:
            self.skipTest(f"the system does not allow that: {error}")
        self.assertForbidden(self.raw_request("GET", "/state", self.host(), source=source))


class WhatThereIs(WithReader):
    def test_the_page(self):
        status, headers, body = self.reader.request("GET", "/")
        self.assertEqual(status, 200)
        self.assertEqual(headers["Content-Type"], "text/html; charset=utf-8")
        self.assertIn(b"<!doctype html>", body[:100])
        self.assertIsNone(re.search(rb"""(src|href)=["']?(https?:)?//|@import|url\(""", body))

    def test_headers_that_keep_others_out(self):
        for path in ("/", "/state", "/card"):
            headers = self.reader.request("GET", path)[1]
            policy = headers["Content-Security-Policy"]
            for part in ("default-src 'none'", "script-src 'sha256-", "connect-src 'self'",
                         "frame-ancestors 'none'"):
                self.assertIn(part, policy)
            self.assertNotIn("unsafe", policy)
            self.assertEqual(headers["X-Frame-Options"], "DENY")
            self.assertEqual(headers["Cross-Origin-Resource-Policy"], "same-origin")
            self.assertEqual(headers["X-Content-Type-Options"], "nosniff")
            self.assertEqual(headers["Cache-Control"], "no-store")
            self.assertNotIn("Access-Control-Allow-Origin", headers)

    def test_the_state_is_that_of_the_control_socket(self):
        self.assertEqual(self.reader.get("/state"), self.reader.control({"command": "state"}))

    def test_the_card(self):
        card = self.reader.get("/card")
        self.assertEqual(card["kind"], "4442")
        fields = {field["name"]: field for field in card["fields"]}
        self.assertEqual(list(fields), ["code", "counter", "protected", "memory"])
        self.assertEqual([field["is_memory"] for field in card["fields"]],
                         [False, False, False, True])
        self.assertEqual(fields["code"]["bytes"], "FF FF FF")
        self.assertEqual(len(fields["memory"]["bytes"].split()), 256)
        self.assertTrue(fields["memory"]["bytes"].startswith("A2 13 10 91 FF FF 81 15 "))
        self.assertEqual(len(fields["protected"]["bytes"].split()), 32)
        self.assertEqual(list(card["contacts"]), ["VCC", "RST", "CLK", "IO", "C4", "C8"])

    def test_codes_in_the_memory(self):
        areas = {"4442": [],
                 "101": [["code 0", 10, 2], ["attempts 0", 12, 1], ["erase code 1", 150, 4],
                         ["erase counter 1", 154, 16]],
                 "4406": [["attempts 0", 9, 1], ["code 0", 10, 3]]}
        with Reader(PROGRAMS, "4442") as reader:
            def codes_of(card):
                reader.control({"command": "remove"})
                reader.control({"command": "insert", "file": str(card)})
                return [list(code.values()) for code in reader.get("/card")["codes"]]
            for kind, expected in areas.items():
                self.assertEqual(codes_of(reader.make_card(f"a {kind}", kind)), expected)
            personalised = reader.make_card("units", "4406", "--data", "8:7F")
            self.assertEqual(codes_of(personalised),
                             [[f"stage {number}", number, 1] for number in range(8, 13)])

    def test_head_has_no_body(self):
        for path in ("/", "/state", "/card"):
            status, _, body = self.reader.request("HEAD", path)
            self.assertEqual((status, body), (200, b""))

    def test_methods(self):
        for path, allowed in (("/", "GET"), ("/state", "GET"), ("/card", "GET"),
                              ("/events", "GET"), ("/control", "POST")):
            for method in ("GET", "POST", "PUT", "DELETE", "PATCH", "OPTIONS"):
                if method == allowed:
                    continue
                status, headers, body = self.reader.request(method, path)
                self.assertEqual((status, headers["Allow"], body), (405, allowed, b""),
                                 (method, path))

    def test_no_other_path(self):
        for path in ("/nothing", "/state/", "/page.html", "//", "/../state", "/%2e%2e/etc/passwd"):
            self.assertEqual(self.reader.request("GET", path)[0], 404, path)


class Commands(WithReader):
    def test_the_road_is_that_of_the_control_socket(self):
        for command in ({"command": "fault", "kind": "silence", "times": 3},
                        {"command": "clear_faults"},
                        {"command": "fault", "kind": "random", "seed": 7, "noise": 0},
                        {"command": "clear_faults"}):
            status, answer = self.reader.post(command)
            self.assertEqual(status, 200)
            self.assertEqual(answer, self.reader.control(command))
            self.reader.control({"command": "clear_faults"})

    def test_mistakes(self):
        for command in ({"command": "dance"}, {"command": "state", "more": 1}, {}, [],
                        {"command": "insert", "file": str(self.reader.card)}):
            status, answer = self.reader.post(command)
            self.assertEqual(status, 400)
            self.assertEqual(answer["ok"], False)
            self.assertEqual(answer, self.reader.control(command))

    def test_what_is_no_json(self):
        for body in (b"", b"\0\xff", b"{", b"command=state", b'"state"'):
            status, _, answer = self.reader.request("POST", "/control", body)
            self.assertEqual(status, 400, body)
            self.assertEqual(json.loads(answer)["ok"], False)

    def test_there_is_no_trace(self):
        status, answer = self.reader.post({"command": "trace", "on": True})
        self.assertEqual((status, answer["ok"]), (400, False))

    def test_a_card_comes_and_goes(self):
        other = self.reader.make_card("other.toml", "24c16")
        self.assertEqual(self.reader.post({"command": "remove"}), (200, {"ok": True}))
        self.assertEqual(self.reader.get("/card")["kind"], None)
        self.assertEqual(self.reader.get("/card")["fields"], [])
        self.assertEqual(self.reader.post({"command": "insert", "file": str(other)})[0], 200)
        self.assertEqual(self.reader.get("/card")["kind"], "24c16")
        self.reader.post({"command": "remove"})
        self.reader.post({"command": "insert", "file": str(self.reader.card)})

    def test_how_long_they_may_be(self):
        def padded(size):
            return json.dumps({"command": "state"}).encode().ljust(size)
        self.assertEqual(self.reader.request("POST", "/control", padded(65536))[0], 200)
        self.assertEqual(self.reader.raw(
            f"POST /control HTTP/1.1\r\n{self.host()}\r\nContent-Length: 65537\r\n\r\n".encode()
            + padded(65537))[:13], b"HTTP/1.1 413 ")


class Garbage(WithReader):
    def test_it_does_no_harm(self):
        own = self.host().encode()
        for data in (b"\r\n\r\n", b"\0" * 5000, b"GET\r\n\r\n", b"GET / HTTP/9.9\r\n\r\n",
                     b"GET /" + b"a" * 20000 + b" HTTP/1.1\r\n" + own + b"\r\n\r\n",
                     b"GET / HTTP/1.1\r\n" + own + b"\r\nX: " + b"a" * 20000 + b"\r\n\r\n",
                     b"POST /control HTTP/1.1\r\n" + own + b"\r\nContent-Length: -1\r\n\r\n",
                     b"POST /control HTTP/1.1\r\n" + own + b"\r\nContent-Length: 99999999999999999999\r\n\r\n",
                     b"POST /control HTTP/1.1\r\n" + own +
                     b"\r\nTransfer-Encoding: chunked\r\n\r\nzz\r\n",
                     b"GET / HTTP/1.1\r\n" + own + b"\r\nRange: bytes=9-1,-,x\r\n\r\n",
                     bytes(range(256)) * 40):
            with self.reader.connect() as connection:
                connection.sendall(data)
                connection.shutdown(socket.SHUT_WR)
                try:
                    answer = connection.recv(65536)
                except ConnectionError:
                    answer = b""
            self.assertNotIn(b"HTTP/1.1 200", answer, data[:60])
            self.assertNotIn(b"HTTP/1.1 500", answer, data[:60])
        self.assertEqual(self.reader.get("/state")["ok"], True)
        self.assertIsNone(self.reader.process.poll())


class ManyAndSlow(WithReader):
    def test_connections_are_limited_and_the_reader_goes_on(self):
        tasks, files = self.reader.tasks(), self.reader.files()
        waiting = [self.reader.connect() for _ in range(80)]
        try:
            self.reader.quorra("read", "--count", "16")
            self.assertLessEqual(self.reader.tasks(), tasks + 32)
            self.assertLessEqual(self.reader.files(), files + 40)
        finally:
            for connection in waiting:
                connection.close()
        self.assertEqual(self.reader.get("/state")["ok"], True)

    def test_a_listener_that_does_not_read_holds_nobody_up(self):
        with self.reader.connect() as deaf:
            deaf.setsockopt(socket.SOL_SOCKET, socket.SO_RCVBUF, 2048)
            deaf.sendall(f"GET /events HTTP/1.1\r\n{self.host()}\r\n\r\n".encode())
            deaf.recv(20)
            before = self.reader.get("/state")["exchanges"]
            script = self.reader.folder / "script"
            script.write_text("read --card 4442 --address 0 --count 256\n" * 300)
            self.reader.quorra("run", script)
            self.assertGreaterEqual(self.reader.get("/state")["exchanges"], before + 300)
            with Events(self.reader) as events:
                self.reader.quorra("info")
                self.assertEqual(events.next()[0], "frame")

    def test_streams_are_limited(self):
        streams = [Events(self.reader) for _ in range(8)]
        try:
            self.assertEqual({stream.status for stream in streams}, {200})
            with Events(self.reader) as one_more:
                self.assertEqual(one_more.status, 503)
        finally:
            for stream in streams:
                stream.__exit__()
        # They are missed when the next sign of life cannot be sent.
        end = time.monotonic() + PATIENCE
        status = 503
        while status == 503 and time.monotonic() < end:
            with Events(self.reader) as stream:
                status = stream.status
        self.assertEqual(status, 200)


class WhatHappens(unittest.TestCase):
    def touched(self, events, way, field="memory"):
        cells = set()
        for name, data in events:
            if name != "card":
                continue
            for part in data[way]:
                if part["field"] == field:
                    first = part["first"]
                    cells |= set(range(first, first + len(part["bytes"].split())))
        return cells

    def events_of(self, reader, *arguments):
        with Events(reader) as events:
            reader.quorra(*arguments)
            return events.until_reply(reader.get("/state")["exchanges"])

    def test_what_is_read_and_programmed(self):
        for kind, code in (("4442", "FFFFFF"), ("4428", "FFFF"), ("24c02", None), ("24c64", None),
                           ("93c46", None), ("93c46a", None), ("4404", None)):
            with self.subTest(kind), Reader(PROGRAMS, kind) as reader:
                place = ("--card", kind, "--address", "30")
                events = self.events_of(reader, "read", *place, "--count", "6")
                # Before that, the program looks which card it is.
                last = [event for event in events if event[0] == "card" and event[1]["read"]][-1:]
                self.assertEqual(self.touched(last, "read"), set(range(30, 36)))
                self.assertEqual(self.touched(last, "programmed"), set())
                if kind == "4404":
                    continue
                present = ("--code", code) if code else ()
                events = self.events_of(reader, "write", *place, *present, "01020304")
                self.assertEqual(self.touched(events, "programmed"), set(range(30, 34)))
                if code:
                    self.assertEqual(self.touched(events, "programmed", "counter"), {0})
                parts = [part for name, data in events if name == "card"
                         for part in data["programmed"] if part["field"] == "memory"]
                self.assertEqual(" ".join(part["bytes"] for part in parts), "01 02 03 04")

    def test_a_page_of_flash_is_programmed_as_a_whole(self):
        with Reader(PROGRAMS, "45d041") as reader:
            events = self.events_of(reader, "write", "--card", "45d041", "--address", "265",
                                    "AA")
            self.assertEqual(self.touched(events, "programmed"), set(range(264, 528)))
            events = self.events_of(reader, "read", "--card", "45d041", "--address", "265",
                                    "--count", "1")
            self.assertEqual(self.touched(events, "read"), {265})

    def test_frames_are_those_of_the_trace(self):
        with Reader(PROGRAMS) as reader:
            with subprocess.Popen([reader.programs / "quorra-sim", "control", reader.socket,
                                   '{"command":"trace","on":true}'],
                                  stdout=subprocess.PIPE, text=True) as trace:
                self.assertEqual(json.loads(trace.stdout.readline()), {"ok": True})
                events = self.events_of(reader, "read", "--count", "4")
                frames = [data for name, data in events if name == "frame"]
                self.assertGreater(len(frames), 1)
                for frame in frames:
                    self.assertEqual(json.loads(trace.stdout.readline()), frame)
                trace.terminate()

    def test_contacts(self):
        with Reader(PROGRAMS) as reader:
            self.assertEqual(reader.get("/card")["contacts"],
                             {"VCC": 0, "RST": 0, "CLK": 0, "IO": 0, "C4": 0, "C8": 0})
            events = self.events_of(reader, "read", "--card", "4442", "--count", "4")
            uses = [data for name, data in events if name == "card"]
            self.assertEqual(uses[-1]["contacts"]["VCC"], 1)
            self.assertEqual(sum(use["changes"]["VCC"] for use in uses) % 2, 1)
            # 24 bits of a command and 4 bytes of data, each with a pulse.
            self.assertGreaterEqual(sum(use["changes"]["CLK"] for use in uses), 2 * (24 + 32))
            self.assertEqual(sum(use["changes"]["C4"] for use in uses), 0)
            self.assertEqual(reader.get("/card")["contacts"]["VCC"], 1)

    def test_changes_by_other_means(self):
        with Reader(PROGRAMS) as reader, Events(reader) as events:
            for command in ({"command": "fault", "kind": "noise"}, {"command": "clear_faults"},
                            {"command": "remove"},
                            {"command": "insert", "file": str(reader.card)}):
                self.assertEqual(reader.control(command), {"ok": True})
                self.assertEqual(events.next(), ("change", {}))


class BeginningAndEnd(unittest.TestCase):
    def start(self, *arguments):
        return subprocess.run([f"{PROGRAMS}/quorra-sim", *arguments], capture_output=True, text=True,
                              timeout=PATIENCE, check=False)

    def test_a_port_that_is_taken(self):
        with Reader(PROGRAMS) as reader:
            outcome = self.start("--web", str(reader.port))
        self.assertEqual((outcome.returncode, outcome.stdout), (2, ""))
        self.assertEqual(outcome.stderr, f"quorra-sim: port {reader.port} for the web page: "
                                         "Address already in use\n")

    @unittest.skipUnless(has_ipv6(), "there is no IPv6")
    def test_a_port_that_is_taken_for_ipv6(self):
        with socket.socket(socket.AF_INET6) as other:
            other.bind(("::1", 0))
            other.listen()
            outcome = self.start("--web", str(other.getsockname()[1]))
        self.assertEqual((outcome.returncode, outcome.stdout), (2, ""))
        self.assertIn("Address already in use", outcome.stderr)

    def test_a_port_that_was_free_a_moment_ago(self):
        with Reader(PROGRAMS) as reader:
            port = reader.port
            reader.get("/state")
        with Reader(PROGRAMS, port=str(port)) as reader:
            self.assertEqual(reader.port, port)
            self.assertEqual(reader.get("/state")["ok"], True)

    def test_what_is_no_port(self):
        for port in ("-1", "65536", "http", "", "80 80"):
            outcome = self.start("--web", port)
            self.assertEqual((outcome.returncode, outcome.stdout), (2, ""), port)
            self.assertIn("--web", outcome.stderr)

    def test_not_with_a_recording(self):
        outcome = self.start("--replay", "x.pcapng", "--web", "0")
        self.assertEqual(outcome.returncode, 2)
        self.assertIn("--replay does not go with --web", outcome.stderr)

    def test_the_end_waits_for_nobody(self):
        with Reader(PROGRAMS) as reader:
            idle, slow = reader.connect(), reader.connect()
            slow.sendall(b"GET / HTTP/1.1\r\n")
            with Events(reader) as events:
                self.assertEqual(reader.end(), 0)
                with self.assertRaises((EOFError, OSError)):
                    events.next()
            idle.close()
            slow.close()
            self.assertEqual(reader.process.stderr.read(), "")

    def test_stop_is_answered(self):
        with Reader(PROGRAMS) as reader:
            self.assertEqual(reader.post({"command": "stop"}), (200, {"ok": True}))
            self.assertEqual(reader.process.wait(PATIENCE), 0)
            self.assertFalse(reader.configuration.exists())


if __name__ == "__main__":
    unittest.main()
