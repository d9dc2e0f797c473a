#!/usr/bin/python3
# SPDX-FileCopyrightText: 2026 The quorra authors
# SPDX-License-Identifier: BSD-2-Clause
"""The web page of quorra-sim in a browser without a screen.

    page_test.py PROGRAMS                    the tests, with the programs in that folder
    page_test.py PROGRAMS --picture FILE     draws the picture for the documentation
"""

import os
import sys
import time
import unittest

from reader import PATIENCE, Reader
from selenium import webdriver
from selenium.webdriver.chrome.service import Service
from selenium.webdriver.common.by import By
from selenium.webdriver.common.keys import Keys

PROGRAMS = sys.argv.pop(1)
BLUE, ORANGE = [11, 83, 148], [163, 60, 0]

# In the order in which Tab reaches them.
STOPS = ["skip", "file", "insert-button", "remove", "keep", "map", "cells", "pause", "forget", "frames",
         "kind", "times", "on", "arm", "clear", "json", "send", "result", "keys"]

# Contrast of each text with what is behind it, by the formula of WCAG 2; those below 4.5 come back.
PALE_TEXTS = """
const part = c => c <= 0.03928 ? c / 12.92 : ((c + 0.055) / 1.055) ** 2.4;
const numbers = text => text.match(/[\\d.]+/g).map(Number);
const luminance = ([r, g, b]) => 0.2126 * part(r / 255) + 0.7152 * part(g / 255) + 0.0722 * part(b / 255);
const behind = node => {
  for (; node; node = node.parentElement) {
    const back = numbers(getComputedStyle(node).backgroundColor);
    if (back.length === 3 || back[3] === 1) return back;
  }
  return [255, 255, 255];
};
const pale = [];
const walker = document.createTreeWalker(document.body, NodeFilter.SHOW_TEXT);
let count = 0;
for (let text = walker.nextNode(); text; text = walker.nextNode()) {
  const node = text.parentElement;
  if (!text.data.trim() || !node.checkVisibility() || node.closest("script, style, .skip")) continue;
  const [a, b] = [luminance(numbers(getComputedStyle(node).color)), luminance(behind(node))];
  ++count;
  const contrast = (Math.max(a, b) + 0.05) / (Math.min(a, b) + 0.05);
  if (contrast < 4.5) pale.push(`${text.data.trim()}: ${contrast}`);
}
return [count, pale];
"""

# The focused element by its id, or by what it holds, and whether a mark around it can be seen.
FOCUSED = """
const node = document.activeElement, style = getComputedStyle(node);
return [node.id || node.className.split(" ").filter(c => c === "skip")[0] ||
        (node.querySelector("[id]") || {}).id || node.tagName,
        style.outlineStyle !== "none" && parseFloat(style.outlineWidth) >= 2];
"""

PIXEL = """
const map = document.getElementById("map"), size = 768 / 32;
return Array.from(map.getContext("2d").getImageData(
  arguments[0] % 32 * size + size / 2, Math.floor(arguments[0] / 32) * size + size / 2, 1, 1).data).slice(0, 3);
"""


def open_browser(*switches):
    options = webdriver.ChromeOptions()
    options.binary_location = "/usr/bin/chromium"
    for switch in ("--headless=new", "--disable-gpu", "--disable-dev-shm-usage",
                   "--disable-background-networking", "--disable-component-update", "--no-first-run",
                   "--window-size=1280,900", "--host-resolver-rules=MAP * ~NOTFOUND , EXCLUDE 127.0.0.1", *switches):
        options.add_argument(switch)
    if os.geteuid() == 0:
        options.add_argument("--no-sandbox")
    options.set_capability("goog:loggingPrefs", {"browser": "ALL"})
    browser = webdriver.Chrome(service=Service("/usr/bin/chromedriver"), options=options)
    browser.set_page_load_timeout(PATIENCE)
    browser.set_script_timeout(PATIENCE)
    return browser


class Page:
    """The page of a reader in a browser."""

    def __init__(self, browser, reader):
        self.browser = browser
        self.reader = reader
        browser.get(f"http://127.0.0.1:{reader.port}/")
        self.wait(lambda: self.text("link") == "connected" and self.text("slot") and self.text("unit"),
                  "the page is there")

    def __getitem__(self, name):
        return self.browser.find_element(By.ID, name)

    def text(self, name):
        return self.run("return document.getElementById(arguments[0]).innerText", name)

    def run(self, script, *arguments):
        return self.browser.execute_script(script, *arguments)

    def wait(self, condition, what):
        end = time.monotonic() + PATIENCE
        while not condition():
            if time.monotonic() > end:
                raise AssertionError(f"not seen: {what}\n{self.text('answer')}\n{self.text('last')}")
            time.sleep(0.05)

    def press(self, *keys):
        for key in keys:
            webdriver.ActionChains(self.browser).send_keys(key).perform()

    def focused(self):
        return self.run(FOCUSED)

    def cells(self, kind):
        """What the table of bytes shows as of that kind."""
        return self.run("""return Array.from(document.querySelectorAll("#cells td." + arguments[0]),
                           cell => cell.textContent)""", kind)

    def pixel(self, address):
        return self.run(PIXEL, address)


class WithPage(unittest.TestCase):
    kind = "4442"
    switches = ()
    browsers = {}

    # To start a browser takes longer than most tests.
    @classmethod
    def setUpClass(cls):
        if cls.switches not in cls.browsers:
            cls.browsers[cls.switches] = open_browser(*cls.switches)
            unittest.addModuleCleanup(cls.browsers[cls.switches].quit)
        cls.browser = cls.browsers[cls.switches]

    def setUp(self):
        self.reader = Reader(PROGRAMS, self.kind)
        self.addCleanup(self.reader.__exit__)
        self.browser.get_log("browser")
        self.page = Page(self.browser, self.reader)
        # Machines may be so slow that one command takes seconds.
        self.page.run("keep.checked = true")

    def tearDown(self):
        messages = [entry["message"] for entry in self.browser.get_log("browser")
                    if entry["level"] == "SEVERE"]
        # The page is not to look for a reader that is gone.
        self.browser.get("about:blank")
        self.assertEqual([message for message in messages if "/control" not in message], [])


class WhatIsShown(WithPage):
    def test_slot_codes_and_contacts(self):
        page = self.page
        self.assertEqual(page.text("slot").split("\n"),
                         ["card", "4442", "file", str(self.reader.card), "power", "off"])
        self.assertIn("FF FF FF", page.text("codes"))
        self.assertIn("7 (3 attempts left)", page.text("codes"))
        self.assertIn("12 of 32 bytes", page.text("codes"))
        self.assertEqual(page.text("contacts").split(),
                         "VCC low RST low CLK low IO low C4 low C8 low".split())
        self.assertEqual(page.cells("protected")[:4], "A2 13 10 91".split())

    def test_nothing_comes_from_elsewhere(self):
        names = self.page.run("return performance.getEntriesByType('resource').map(e => e.name)")
        self.assertGreaterEqual(len(names), 2)
        for name in names:
            self.assertTrue(name.startswith((f"http://127.0.0.1:{self.reader.port}/", "data:")), name)

    def test_reading_lights_up(self):
        page = self.page
        before = page["map"].screenshot_as_png
        self.reader.quorra("read", "--card", "4442", "--address", "0x20", "--count", "4")
        page.wait(lambda: page.pixel(0x20) == BLUE, "the map has read cells")
        self.assertEqual([page.pixel(at) == BLUE for at in range(0x1E, 0x26)],
                         [False] * 2 + [True] * 4 + [False] * 2)
        self.assertNotEqual(page["map"].screenshot_as_png, before)
        page.wait(lambda: "read memory 0x20-0x23" in page.text("last"), "words for it")
        page.wait(lambda: "VCC\nhigh" in page.text("contacts"), "the contacts have power")
        self.assertRegex(page.text("contacts"), r"CLK\s+low\s+\d+ \u00D7")

    def test_programming_lights_up(self):
        page = self.page
        self.reader.quorra("write", "--card", "4442", "--code", "FFFFFF", "--address", "0x20",
                           "--text", "Hi")
        page.wait(lambda: page.pixel(0x20) == ORANGE and page.pixel(0x21) == ORANGE,
                  "the map has programmed cells")
        self.assertNotEqual(page.pixel(0x22), ORANGE)
        page["map"].click()
        page.press(Keys.HOME)
        page.wait(lambda: page.cells("programmed") == ["48", "69"], "the bytes as they are now")
        self.assertTrue(page.run("return !!document.querySelector('#codes dd.touched')"))

    def test_frames(self):
        page = self.page
        self.reader.quorra("info")
        page.wait(lambda: "55 00 " in page.text("frames"), "a reply")
        rows = page.run("""return Array.from(document.querySelectorAll("#frames tbody tr"),
                           row => Array.from(row.cells, cell => cell.textContent))""")
        exchanges = self.reader.get("/state")["exchanges"]
        page.wait(lambda: page.text("exchanges") == str(exchanges), "the number of exchanges")
        self.assertEqual([rows[-1][0], rows[-1][2]], ["1", "request"])
        self.assertTrue(rows[-1][4].startswith("AA "))
        page["pause"].click()
        self.assertEqual(page["pause"].get_attribute("aria-pressed"), "true")
        page["forget"].click()
        self.reader.quorra("info")
        page.wait(lambda: int(page.text("exchanges")) > exchanges, "the exchanges go on")
        self.assertNotIn("AA ", page.text("frames"))

    def test_other_programs_change_the_bench(self):
        page = self.page
        other = self.reader.make_card("other.toml", "24c64")
        self.reader.control({"command": "remove"})
        page.wait(lambda: page.text("slot").split() == ["card", "none"], "the slot is empty")
        page.wait(lambda: page.text("unit") == "no memory to show", "no memory")
        self.assertFalse(page["remove"].is_enabled())
        self.reader.control({"command": "insert", "file": str(other)})
        page.wait(lambda: page.text("unit") == "8192 bytes", "the other card")


class WhatCanBeDone(WithPage):
    def test_buttons(self):
        page = self.page
        page["remove"].click()
        page.wait(lambda: page.text("answer") == "removed", "the answer")
        page["file"].send_keys("nothing.toml")
        page["insert-button"].click()
        page.wait(lambda: "nothing.toml" in page.text("answer"), "the error")
        self.assertEqual(page["answer"].get_attribute("class"), "answer error")
        page["file"].clear()
        page["file"].send_keys(str(self.reader.card))
        page["insert-button"].click()
        page.wait(lambda: page.text("answer") == "inserted", "the answer")
        self.assertTrue(self.reader.get("/state")["present"])

    def test_faults(self):
        page = self.page
        page["kind"].send_keys("status")
        page["parameter"].send_keys("9")
        page["times"].clear()
        page["times"].send_keys("2")
        page["on"].send_keys("0xB0")
        page["arm"].click()
        page.wait(lambda: "status" in page.text("faults"), "the fault")
        fault = self.reader.get("/state")["faults"][0]
        self.assertEqual([fault["kind"], fault["status"], fault["times"]], ["status", 9, 2])
        page.wait(lambda: page.text("fault-answer") == "status is armed", "the answer beside it")
        page["on"].send_keys("0")
        page["arm"].click()
        page.wait(lambda: "\"on\" must be" in page.text("fault-answer"), "the error beside it")
        self.assertEqual(page["fault-answer"].get_attribute("class"), "answer error")
        page["clear"].click()
        page.wait(lambda: page.text("fault-answer") == "no faults", "the answer beside it")
        page.wait(lambda: page.text("faults") == "none is armed", "no fault")
        self.assertEqual(page.text("answer"), "")
        self.assertEqual(self.reader.get("/state")["faults"], [])

    def test_each_kind_of_fault_is_known(self):
        kinds = self.page.run("return Array.from(kind.options, option => option.value)")
        for kind in kinds:
            self.assertEqual(self.reader.post({"command": "fault", "kind": kind})[0], 200, kind)

    def test_any_command(self):
        page = self.page
        page["json"].clear()
        page["json"].send_keys('{"command":"dance"}')
        page["send"].click()
        page.wait(lambda: "unknown command" in page.text("result"), "the answer")


class Keyboard(WithPage):
    def test_order_and_focus(self):
        page = self.page
        page.run("document.body.focus()")
        for stop in STOPS:
            page.press(Keys.TAB)
            self.assertEqual(page.focused(), [stop, True])
        for stop in reversed(STOPS[:-1]):
            webdriver.ActionChains(self.browser).key_down(Keys.SHIFT).send_keys(Keys.TAB).key_up(
                Keys.SHIFT).perform()
            self.assertEqual(page.focused()[0], stop)

    def test_everything_has_a_name_and_a_role(self):
        roles = {"file": "textbox", "insert-button": "button", "remove": "button", "kind": "combobox",
                 "times": "spinbutton", "on": "textbox", "arm": "button", "clear": "button",
                 "json": "textbox", "send": "button", "result": "region", "keys": "checkbox",
                 "map": "slider", "pause": "button", "forget": "button", "contacts": "list",
                 "faults": "list", "answer": "status", "fault-answer": "status", "link": "status",
                 "last": "status"}
        for name, role in roles.items():
            self.assertEqual(self.page[name].aria_role, role, name)
            if role != "status":
                self.assertNotEqual(self.page[name].accessible_name, "", name)
        headings = self.page.run("""return Array.from(document.querySelectorAll("h1, h2"),
                                    node => node.tagName)""")
        self.assertEqual(headings.count("H1"), 1)
        self.assertEqual(self.page.run("return document.documentElement.lang"), "en")

    def test_the_map(self):
        page = self.page
        page.press("m")
        self.assertEqual(page.focused(), ["map", True])
        value = lambda: page["map"].get_attribute("aria-valuenow")
        for key, at in ((Keys.END, 255), (Keys.ARROW_RIGHT, 255), (Keys.HOME, 0), (Keys.ARROW_LEFT, 0),
                        (Keys.ARROW_RIGHT, 1), (Keys.ARROW_DOWN, 33), (Keys.PAGE_DOWN, 161),
                        (Keys.PAGE_UP, 33), (Keys.ARROW_UP, 1)):
            page.press(key)
            page.wait(lambda: value() == str(at), f"address {at}")
        self.assertEqual(page["map"].get_attribute("aria-valuemax"), "255")
        self.assertEqual(page["map"].get_attribute("aria-valuetext"), "memory 0x01: 13, protected")

    def test_shortcuts(self):
        page = self.page
        for key, stop in (("i", "file"), ("f", "kind"), ("c", "json"), ("m", "map")):
            page.run("document.activeElement.blur()")
            page.press(key)
            self.assertEqual(page.focused()[0], stop)
        page.press("p")
        self.assertEqual(page["pause"].get_attribute("aria-pressed"), "true")
        page.press("r")
        page.wait(lambda: page.text("answer") == "removed", "the card is out")
        page.press("i")
        page.press(*"rip", Keys.HOME)
        self.assertEqual(page["file"].get_property("value"), "rip")
        page["file"].clear()
        page["file"].send_keys(str(self.reader.card), Keys.ENTER)
        page.wait(lambda: page.text("answer") == "inserted", "the card is in")

    def test_shortcuts_can_be_left_off(self):
        page = self.page
        page["keys"].click()
        page.press("m")
        self.assertEqual(page.focused()[0], "keys")


class Looks(WithPage):
    switches = ("--force-prefers-reduced-motion",)

    def test_contrast(self):
        self.reader.quorra("write", "--card", "4442", "--code", "FFFFFF", "--address", "0x20",
                           "--text", "Hi")
        self.page.wait(lambda: self.page.cells("read") + self.page.cells("programmed"), "marks")
        count, pale = self.page.run(PALE_TEXTS)
        self.assertGreater(count, 100)
        self.assertEqual(pale, [])

    def test_nothing_moves_for_those_who_want_that(self):
        self.reader.quorra("info")
        self.page.wait(lambda: "AA " in self.page.text("frames"), "a frame")
        self.assertEqual(self.page.run("return document.getAnimations().length"), 0)
        self.assertEqual(self.page.run("""return getComputedStyle(
            document.querySelector("#frames tbody tr")).animationName"""), "none")

    def test_every_width(self):
        self.addCleanup(self.browser.execute_cdp_cmd, "Emulation.clearDeviceMetricsOverride", {})
        self.reader.quorra("write", "--card", "4442", "--code", "FFFFFF", "--address", "0x20",
                           "--text", "Hi")
        self.page.wait(lambda: "\u00D7" in self.page.text("contacts"), "changes of contacts")
        self.page.wait(lambda: "AA 60 " in self.page.text("frames"), "the frames")
        for width in (320, 500, 800, 1000, 1400):
            self.browser.execute_cdp_cmd("Emulation.setDeviceMetricsOverride", {
                "width": width, "height": 900, "deviceScaleFactor": 1, "mobile": False})
            self.assertLessEqual(self.page.run("return document.documentElement.scrollWidth"), width)
            # Nothing is cut off, or lies over something else.
            self.assertEqual(self.page.run("""
                return Array.from(document.querySelectorAll("section, #contacts li, form, dl"))
                  .filter(node => node.scrollWidth > node.clientWidth + 1)
                  .map(node => node.id || node.innerText)"""), [], width)
            self.assertEqual(self.page.run("""
                return Array.from(document.querySelectorAll("#contacts li"))
                  .filter(node => node.clientHeight > 40).map(node => node.innerText)"""), [], width)
            bytes_of_frame, frames = self.page.run("""
                const right = node => node.getBoundingClientRect().right;
                const bytes = document.querySelector("#frames td.bytes");
                return [right(bytes), right(bytes.closest(".scrolled"))];""")
            self.assertLessEqual(bytes_of_frame, frames, width)
            # On small screens rows of the map are shorter, so squares are not.
            self.page.wait(lambda: self.page.run(
                "return map.getBoundingClientRect().width / grid().columns") >= 14, f"squares at {width}")

    def test_the_map_is_seen_at_once(self):
        for width in (800, 1400):
            self.browser.execute_cdp_cmd("Emulation.setDeviceMetricsOverride", {
                "width": width, "height": 900, "deviceScaleFactor": 1, "mobile": False})
            self.addCleanup(self.browser.execute_cdp_cmd, "Emulation.clearDeviceMetricsOverride", {})
            top = self.page.run("return map.getBoundingClientRect().top")
            self.assertLess(top, 700, width)


class Flash(WithPage):
    kind = "45d041"

    def test_pages_are_squares(self):
        page = self.page
        self.assertEqual(page.text("unit"), "2048 pages of 264 bytes, each a square")
        self.reader.quorra("write", "--card", "45d041", "--address", "264", "AA")
        page.wait(lambda: page.run("return shown.memories[0].marks[527] & PROGRAMMED"), "marks")
        self.assertEqual(page.run("return shown.memories[0].marks[528]"), 0)
        page.press("m", Keys.HOME, Keys.ARROW_RIGHT)
        page.wait(lambda: page["map"].get_attribute("aria-valuenow") == "264", "the second page")
        page.wait(lambda: page.cells("programmed")[:1] == ["AA"], "its first byte")

    def test_all_bytes_can_be_seen(self):
        page = self.page
        self.reader.quorra("write", "--card", "45d041", "--address", "527", "AA")
        page.wait(lambda: page.run("return shown.memories[0].marks[527] & PROGRAMMED"), "marks")
        page.press("m", Keys.HOME, Keys.ARROW_RIGHT)
        page.wait(lambda: page.run("return document.querySelectorAll('#cells th').length") == 17, "a page")
        self.assertEqual(page.run("""return Array.from(document.querySelectorAll("#cells th"),
                                     head => head.textContent)""")[::16], ["0108", "0208"])
        self.assertEqual(page.cells("programmed")[-1], "AA")
        page.press(Keys.END)
        page.wait(lambda: page["map"].get_attribute("aria-valuenow") == str(2047 * 264), "the last page")


class Security(WithPage):
    kind = "101"

    def test_codes_and_counters(self):
        page = self.page
        page.wait(lambda: "erase counter 1" in page.text("codes"), "codes")
        rows = lambda: dict(zip(*[iter(page.text("codes").split("\n"))] * 2))
        self.assertEqual(rows()["code 0"], "FF FF")
        self.assertEqual(rows()["attempts 0"], "FF (binary 11111111)")
        self.reader.quorra("code", "present", "--card", "101", "1234", check=False)
        page.wait(lambda: rows()["attempts 0"] == "FE (binary 11111110)", "the attempt is spent")
        self.assertEqual(page.run("""return document.querySelector("#codes dd.touched").textContent"""),
                         "FE (binary 11111110)")


class Units(WithPage):
    kind = "4406"

    def test_codes_become_stages(self):
        page = self.page
        page.wait(lambda: "code 0" in page.text("codes"), "the code")
        self.reader.quorra("write", "--card", "4406", "--code", "FFFFFF", "--address", "8", "7F")
        page.wait(lambda: "stage 12" in page.text("codes"), "the stages")
        self.assertNotIn("code 0", page.text("codes"))


class Processor(WithPage):
    kind = "cpu"

    def test_its_counter_is_a_number(self):
        self.page.wait(lambda: "3 (3 attempts left)" in self.page.text("codes"), "the attempts")


def draw(path):
    """The picture for the documentation."""
    browser = open_browser("--force-prefers-reduced-motion")
    try:
        with Reader(PROGRAMS) as reader:
            page = Page(browser, reader)
            page["keep"].click()
            reader.quorra("read", "--card", "4442", "--count", "96")
            reader.quorra("write", "--card", "4442", "--code", "FFFFFF", "--address", "0x40",
                          "--text", "Good morning")
            page.wait(lambda: page.pixel(0x40) == ORANGE, "programmed cells")
            page.press("m", Keys.HOME, Keys.ARROW_DOWN, Keys.ARROW_DOWN)
            time.sleep(1)
            page.run("""document.getElementById("device").textContent = "/dev/pts/3";
                        document.querySelector("#slot dd:nth-of-type(2)").textContent = "card.toml";""")
            browser.save_screenshot(path)
    finally:
        browser.quit()


if __name__ == "__main__":
    if sys.argv[1:2] == ["--picture"]:
        draw(sys.argv[2])
    else:
        unittest.main()
