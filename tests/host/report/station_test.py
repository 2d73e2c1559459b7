#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""station_test.py TOOL [CLASS]: uses the page of a station in headless Chromium: flashes, failures, windows, hostile texts,
keyboard and screens. AccessibilityTest needs axe-core, in the file that QUILLMARK_AXE names.

With QUILLMARK_SCREENSHOTS=FOLDER the pictures of docs/station.md are made there."""

import json
import os
import pathlib
import pty
import re
import signal
import sqlite3
import subprocess
import sys
import tempfile
import threading
import time
import tty
import unittest

import folders
from browser import Browser

TOOL = sys.argv.pop(1)
AXE = pathlib.Path(os.environ.get("QUILLMARK_AXE", ""))
SOURCES = pathlib.Path(__file__).resolve().parents[3]

# A busy machine takes its time; nothing here is measured.
MOST_SECONDS = 120

MARKUP = "<img src=x onerror='window.struck=1'><b>\"&amp;"

# What a terminal would obey, and what would turn the text behind it around.
OBEYED = "\x1b[31m\u202e\u2066\x9b"
SHOWN = "\\u001b[31m\\u202e\\u2066\\u009b"

PHASES = {"identify": "silent", "unlock": "refuse-key", "erase": "negative@0x31:0x22",
          "download": "negative@0x34:0x72", "check": "bad-cell@0x8010", "verify": "negative@0x35:0x22"}


class Simulator:
    """A simulated ECU in real time behind a pseudo-terminal."""

    def __init__(self, *options):
        self.process = subprocess.Popen([TOOL, "simulate", "--bus", "slcan", "--json", *options],
                                        stdout=subprocess.PIPE, text=True)
        self.device = json.loads(self.process.stdout.readline())["device"]

    def end(self):
        self.process.send_signal(signal.SIGINT)
        self.process.wait()
        self.process.stdout.close()


class Forger:
    """Stands between a tester and a simulated ECU, and lets the ECU say that it is somebody else."""

    def __init__(self, device, words):
        self.words = [(old.encode().hex().upper().encode(), new.encode().hex().upper().encode()) for old, new in words]
        self.inner = os.open(device, os.O_RDWR | os.O_NOCTTY)
        self.outer, side = pty.openpty()
        tty.setraw(side)
        self.device = os.ttyname(side)
        self.side = side
        for source, target, forges in ((self.outer, self.inner, False), (self.inner, self.outer, True)):
            threading.Thread(target=self._pass, args=(source, target, forges), daemon=True).start()

    def _pass(self, source, target, forges):
        rest = b""
        while True:
            try:
                rest += os.read(source, 4096)
            except OSError:
                return
            # A frame is whole at its end; so a word is never split.
            whole, end, rest = rest.rpartition(b"\r") if forges else (rest, b"", b"")
            for old, new in self.words if forges else ():
                whole = whole.replace(old, new)
            os.write(target, whole + end)


class Station:
    def __init__(self, folder, bays, *options):
        self.folder = pathlib.Path(folder)
        file = self.folder / "bays.json"
        file.write_text(json.dumps({"bays": bays}))
        self.records = self.folder / "records.sqlite"
        self.process = subprocess.Popen(
            [TOOL, "station", "--bays", file, "--records", self.records, "--artifacts", self.folder / "runs", "--json",
             "--no-open", *options], stdout=subprocess.PIPE, text=True)
        self.url = json.loads(self.process.stdout.readline())["url"]

    def end(self):
        """Ends it as a user does."""
        self.process.send_signal(signal.SIGINT)
        status = self.process.wait()
        self.process.stdout.close()
        return status


class Page(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.browser = Browser()

    @classmethod
    def tearDownClass(cls):
        cls.browser.__exit__()

    def setUp(self):
        folder = tempfile.TemporaryDirectory(prefix="quillmark-station-")
        self.addCleanup(folder.cleanup)
        self.path = pathlib.Path(folder.name)
        self.image = pathlib.Path(folders.write_image(self.path / "image.bin"))
        self.small = self.path / "small.bin"
        self.small.write_bytes(self.image.read_bytes()[:1500])
        self.browser.resize(1280, 1000)

    def start(self, *bays):
        station = self.serve(bays)
        self.open_page(station.url)
        return station

    def serve(self, bays, *options):
        station = Station(self.path, bays, *options)
        self.addCleanup(lambda: station.process.poll() is None and station.end())
        return station

    def serve_to_all(self):
        """A station on every address of this machine; the browser uses one that needs no network."""
        folders.run_tool("openssl", "req", "-x509", "-newkey", "ec", "-pkeyopt", "ec_paramgen_curve:P-256", "-nodes",
                         "-subj", "/CN=station", "-addext", "subjectAltName=IP:127.0.0.1", "-days", "2",
                         "-keyout", self.path / "station.key", "-out", self.path / "station.crt")
        password = self.path / "password"
        password.touch(mode=0o600)
        password.write_text("correct horse battery\n")
        return self.serve([{"bay": "left", "bus": "sim:"}], "--listen", "0.0.0.0", "--password-file", password,
                          "--certificate", self.path / "station.crt", "--key", self.path / "station.key")

    def open_page(self, url):
        self.browser.open("about:blank")
        self.browser.errors()
        self.browser.open(url)
        self.wait("document.body.getAttribute('aria-busy') === 'false' && document.body.dataset.link === 'there'")

    def simulate(self, *options):
        simulator = Simulator(*options)
        self.addCleanup(simulator.end)
        return simulator

    def real_bay(self, name, **options):
        return {"bay": name, "bus": f"slcan:{self.simulate().device}", **options}

    def wait(self, condition):
        end = time.monotonic() + MOST_SECONDS
        while not self.browser.run(f"return Boolean({condition})"):
            if time.monotonic() > end:
                self.fail(f"waited for {condition}\n{self.browser.run('return document.body.innerText')}")
            time.sleep(0.02)

    def text(self, selector):
        return self.browser.run("return document.querySelector(arguments[0]).innerText", selector)

    def click(self, selector):
        self.wait(f"(e => e && e.ariaDisabled !== 'true' && e.offsetParent !== null)(document.querySelector('{selector}'))")
        self.browser.run("document.querySelector(arguments[0]).click()", selector)

    def choose(self, bay, image):
        self.browser.choose_file(f"#bay-{bay}-file", image)
        self.wait(f"!document.querySelector('#bay-{bay}-base').hidden")
        self.browser.run("document.querySelector(arguments[0]).value = '0x8000'", f"#bay-{bay}-address")
        self.click(f"#bay-{bay}-base button")
        self.wait(f"!document.querySelector('#bay-{bay}-plan').hidden")

    def begin(self, bay, image):
        """Up to the question."""
        self.choose(bay, image)
        self.click(f"#bay-{bay}-flash")
        self.wait(f"!document.querySelector('#bay-{bay}-question').hidden")

    def wait_for(self, bay, state):
        self.wait(f"document.querySelector('#bay-{bay}-state').dataset.state === '{state}'")

    def wait_for_download(self, bay):
        self.wait(f"/download[^]*\\n[1-9]/.test(document.querySelector('#bay-{bay}-numbers').innerText)")

    def use_scheme(self, scheme):
        self.browser.command("Emulation.setEmulatedMedia",
                             {"features": [{"name": "prefers-color-scheme", "value": scheme},
                                           {"name": "prefers-reduced-motion", "value": "reduce"}]})

    def picture(self, name, width=1280, height=720, scheme="light"):
        if "QUILLMARK_SCREENSHOTS" in os.environ:
            self.use_scheme(scheme)
            self.browser.command("Emulation.setScrollbarsHidden", {"hidden": True})
            self.browser.resize(width, height)
            self.browser.run("document.activeElement.blur(); scrollTo(0, 0)")
            self.browser.screenshot(pathlib.Path(os.environ["QUILLMARK_SCREENSHOTS"]) / name)
            self.use_scheme("")
            self.browser.resize(1280, 1000)

    def assert_quiet(self):
        """The page has complained about nothing but answers that a test asked for."""
        self.assertEqual([error for error in self.browser.errors() if "422" not in error], [])


class StationTest(Page):
    def test_flashes_two_ecus_at_once(self):
        station = self.start(self.real_bay("left", verify=True), self.real_bay("right"))
        for bay in (0, 1):
            self.choose(bay, self.image)
            plan = self.text(f"#bay-{bay}-plan")
            for part in ("image.bin", "34,096 bytes in 1 segment", "0x008000 to 0x01052F", "30,064 bytes in 235 blocks", "4,032 bytes",
                         "4,032 bytes left out as fill, 30,064 bytes to be written"):
                self.assertIn(part, plan)
        for bay in (0, 1):
            self.click(f"#bay-{bay}-flash")
        for bay in (0, 1):
            self.wait(f"!document.querySelector('#bay-{bay}-question').hidden")
            question = self.text(f"#bay-{bay}-question")
            self.assertIn("Erase SIMULATED ECU 001 REV A?", question)
            self.assertIn("write 34,096 bytes into 008000 to 01052F", question)
        self.picture("question.png")
        for bay in (0, 1):
            self.click(f"#bay-{bay}-yes")
        for bay in (0, 1):
            self.wait_for_download(bay)
            self.assertRegex(self.text(f"#bay-{bay}-numbers"),
                             r"^\d+ % · download · about \d+ (second|minute)s? left\n[\d,]+ of 34,096 bytes · .*B/s")
            self.assertGreater(self.browser.run(f"return document.querySelector('#bay-{bay}-bar').value"), 0)
        self.picture("station.png")
        self.picture("station-phone.png", 390, 780, "dark")
        for bay in (0, 1):
            self.wait_for(bay, "done")
        self.assertIn("34,096 bytes written into SIMULATED ECU 001 REV A, read back and found equal", self.text("#bay-0-line"))
        self.assertIn("30,064 bytes written and verified", self.text("#bay-0-readout"))
        self.assertIn("30,064 bytes written, 4,032", self.text("#bay-1-readout"))
        self.wait("document.querySelectorAll('#run-rows tr').length === 2 && "
                  "document.querySelector('#run-readout').innerText === '2 done'")
        self.assert_quiet()
        self.look_at_log()
        self.look_at_report()
        self.assertEqual(station.end(), 0)

    def test_readme_leads_to_two_flashed_ecus(self):
        """Its command, word for word, and then what it says to do in both bays."""
        command, text = re.search(r"```sh\n([^\n]* station [^\n]*)\n```\n\n(.*?)\n\n", (SOURCES / "README.md").read_text(),
                                  re.DOTALL).groups()
        self.readme_station(command)
        [image] = re.findall("`(.*?)`", text)
        for bay in (0, 1):
            self.browser.choose_file(f"#bay-{bay}-file", SOURCES / image)
        buttons = [" ".join(words.split()) for words in re.findall(r"\*\*(.*?)\*\*", text, re.DOTALL)]
        self.assertEqual(len(buttons), 2)
        for button in buttons:
            for bay in (0, 1):
                self.press_button(bay, button)
        for bay in (0, 1):
            self.wait_for(bay, "done")
            self.assertIn("8,192 bytes written", self.text(f"#bay-{bay}-line"))

    def readme_station(self, command):
        """Runs it beside a build that has the tool, with records of its own, and opens the address that it prints."""
        tool = self.path / "build/release/host/tool"
        tool.mkdir(parents=True)
        (tool / "quillmark").symlink_to(TOOL)
        (self.path / "docs").symlink_to(SOURCES / "docs")
        station = subprocess.Popen(["bash", "-c", "exec " + command], cwd=self.path, stdout=subprocess.PIPE, text=True,
                                   env={**os.environ, "XDG_STATE_HOME": str(self.path / "state")})
        self.addCleanup(station.stdout.close)
        self.addCleanup(station.wait)
        self.addCleanup(station.send_signal, signal.SIGINT)
        self.open_page(station.stdout.readline().split()[1])

    def press_button(self, bay, text):
        found = (f"[...document.querySelectorAll('.bay')[{bay}].querySelectorAll('button')].find((each) =>"
                 f" each.innerText === '{text}' && each.ariaDisabled !== 'true' && each.offsetParent !== null)")
        self.wait(found)
        self.browser.run(f"{found}.click()")

    def look_at_log(self):
        self.click("#bay-0-details summary")
        self.wait("document.querySelector('#bay-0-log').innerText.includes('about to  erase memory 00')")
        self.browser.command("Browser.grantPermissions", {"permissions": ["clipboardReadWrite", "clipboardSanitizedWrite"]})
        self.click("#bay-0-copy")
        self.wait("document.querySelector('#bay-0-copy').innerText === 'Copied'")

    def look_at_report(self):
        for selector in ("#bay-0-more a", "#run-rows a"):
            address = self.browser.run("return document.querySelector(arguments[0]).href", selector)
            first, _second = self.browser.window()
            self.browser.open(address)
            self.wait("document.body.getAttribute('aria-busy') === 'false'")
            self.assertIn("Flashed 30,064 bytes", self.text("h1"))
            self.assertIn("SIMULATED ECU 001", self.text("#facts"))
            # Its script runs, but it is nobody's page: it cannot ask the station for anything.
            self.assertEqual(self.browser.run("return self.origin"), "null")
            self.assert_quiet()
            self.browser.close_window()
            self.browser.go_to(first)

    def test_stops_a_flash(self):
        self.start(self.real_bay("left"))
        self.begin(0, self.image)
        self.click("#bay-0-yes")
        self.wait_for_download(0)
        self.click("#bay-0-stop")
        self.wait_for(0, "cancelled")
        self.assertRegex(self.text("#bay-0-more"), r"erased, [\d,]+ of 34,?096 bytes are written and confirmed")
        self.wait("document.querySelector('#run-rows [data-state=cancelled]')")

    def test_leaves_the_ecu_alone_after_a_no(self):
        self.start({"bay": "left", "bus": "sim:"})
        self.begin(0, self.small)
        self.click("#bay-0-no")
        self.wait_for(0, "cancelled")
        self.assertNotIn("erased,", self.text("#bay-0-more"))

    def test_says_in_words_how_each_phase_fails(self):
        self.start(*({"bay": phase, "bus": "sim:", "fault": [fault], "verify": True, "p2": 500}
                     for phase, fault in PHASES.items()))
        for bay, phase in enumerate(PHASES):
            with self.subTest(phase):
                self.choose(bay, self.small)
                self.click(f"#bay-{bay}-flash")
                asks = list(PHASES).index(phase) >= list(PHASES).index("erase")
                if phase == "unlock" or asks:
                    self.wait(f"!document.querySelector('#bay-{bay}-question').hidden")
                    self.click(f"#bay-{bay}-yes")
                self.wait_for(bay, "failed")
                self.assertTrue(self.text(f"#bay-{bay}-line").startswith(phase), self.text(f"#bay-{bay}-line"))
                self.assertIn("next", self.text(f"#bay-{bay}-more"))
                self.assertIn("1,500 bytes " + {"download": "erased, not written", "check": "written",
                                                "verify": "written"}.get(phase, "to be written"),
                              self.text(f"#bay-{bay}-readout"))
        self.assert_quiet()

    def test_says_that_an_adapter_is_not_there(self):
        self.start({"bay": "left", "bus": f"slcan:{self.path}/none"}, {"bay": "right", "bus": "sim:"})
        self.click("#bay-0-identify")
        self.wait_for(0, "failed")
        self.assertIn("none cannot be opened: No such file or directory", self.text("#bay-0-line"))
        self.assertIn("next look at the adapter", self.text("#bay-0-more"))
        self.click("#bay-1-identify")
        self.wait_for(1, "done")

    def test_identifies(self):
        self.start({"bay": "left", "bus": "sim:"})
        self.click("#bay-0-identify")
        self.wait_for(0, "done")
        self.assertEqual(self.text("#bay-0-line"), "SIMULATED ECU 001 REV A")

    def test_an_answer_that_comes_late_brings_nothing_old_back(self):
        self.start({"bay": "left", "bus": "sim:"})
        self.browser.run("""
            const directly = window.fetch;
            window.fetch = async (...request) => {
              const answer = await directly(...request);
              await new Promise((resolve) => setTimeout(resolve, 500));
              setTimeout(() => { window.answered = true; }, 100);
              return answer;
            };""")
        self.click("#bay-0-identify")
        self.wait("window.answered")
        self.wait_for(0, "done")

    def test_goes_on_without_the_page_and_in_two_windows(self):
        self.start(self.real_bay("left"))
        self.begin(0, self.image)
        self.browser.reload()
        self.wait("!document.querySelector('#bay-0-question')?.hidden")
        self.click("#bay-0-yes")
        self.wait_for_download(0)
        self.browser.reload()
        self.wait("document.querySelector('#bay-0-numbers')?.innerText.includes('download')")
        address = self.browser.run("return location.href")
        self.assertNotIn("token", address)
        first, second = self.browser.window()
        self.browser.open(address)
        self.wait("document.querySelector('#bay-0-numbers')?.innerText.includes('download')")
        self.click("#bay-0-stop")
        self.wait_for(0, "cancelled")
        self.browser.close_window()
        self.browser.go_to(first)
        self.wait_for(0, "cancelled")
        self.assertNotEqual(first, second)

    def test_is_told_nothing_without_the_token(self):
        station = self.start({"bay": "left", "bus": "sim:"})
        self.browser.command("Network.clearBrowserCookies", {})
        self.browser.open("about:blank")
        self.browser.open(station.url.split("#", maxsplit=1)[0])
        self.wait("!document.querySelector('#problem').hidden")
        self.assertIn("without the token", self.text("#problem"))
        self.assertEqual(self.browser.run("return document.querySelectorAll('.bay').length"), 0)
        self.assertIsNone(self.browser.run("return document.cookie || null"))

    def test_asks_for_the_password_over_tls_on_another_address(self):
        station = self.serve_to_all()
        self.assertRegex(station.url, r"^https://127\.0\.0\.1:\d+/$")
        self.browser.open(station.url)
        self.wait("document.activeElement.id === 'password'")
        self.assertEqual(self.browser.run("return document.querySelectorAll('.bay').length"), 0)
        self.browser.press(*"wrong horse", "enter")
        self.wait("document.querySelector('#login-problem').innerText === 'this is not the password of this station'")
        # What was typed is selected, so that typing replaces it.
        self.browser.press(*"correct horse battery", "enter")
        self.wait("document.body.dataset.link === 'there'")
        self.assertIsNone(self.browser.run("return document.cookie || null"))
        self.begin(0, self.small)
        self.click("#bay-0-yes")
        self.wait_for(0, "done")
        # Who asked for the password once is asked again by a station that knows nobody yet.
        self.browser.command("Network.clearBrowserCookies", {})
        self.browser.reload()
        self.wait("document.activeElement.id === 'password'")
        self.assertEqual(station.end(), 0)

    def test_says_that_the_station_is_lost(self):
        station = self.start({"bay": "left", "bus": "sim:"})
        station.process.kill()
        station.process.wait()
        station.process.stdout.close()
        self.wait("!document.querySelector('#problem').hidden")
        self.assertIn("does not answer", self.text("#problem"))
        self.assertTrue(self.browser.run("return document.querySelector('#bays').inert"))

    def assert_not_struck(self):
        self.assertEqual(self.browser.run("return document.querySelectorAll('main img, .bay b, #history b').length"), 0)
        self.assertIsNone(self.browser.run("return window.struck ?? null"))

    def test_shows_what_an_ecu_says_as_text(self):
        # Letters of the identification as they lie in its frames.
        forger = Forger(self.simulate().device, [("LATED E", "<b>bo</"), ("CU 001 ", "b><img>")])
        self.start({"bay": "left", "bus": f"slcan:{forger.device}"})
        self.click("#bay-0-identify")
        self.wait_for(0, "done")
        self.assertEqual(self.text("#bay-0-line"), "SIMU<b>bo</b><img>REV A")
        self.assert_not_struck()

    def test_shows_what_files_commands_and_records_say_as_text(self):
        image = self.path / (MARKUP.replace("/", "") + OBEYED + ".bin")
        image.write_bytes(self.small.read_bytes())
        command = self.path / "key"
        command.write_text(f"#!/bin/sh\ncat >&2 <<'END'\n{MARKUP}\nEND\nexit 1\n")
        command.chmod(0o755)
        station = self.start({"bay": "left", "bus": "sim:", "key-command": str(command)})
        self.begin(0, image)
        self.assertIn(MARKUP + "_[31m", self.text("#bay-0-facts"))
        self.click("#bay-0-yes")
        self.wait_for(0, "failed")
        self.click("#bay-0-details summary")
        self.wait("document.querySelector('#bay-0-log').innerText.includes('onerror')")
        with sqlite3.connect(station.records) as records:
            records.execute("UPDATE runs SET ecu = ?, bay = ?, message = ?", (OBEYED + MARKUP, MARKUP, MARKUP))
        records.close()
        self.browser.reload()
        self.wait("document.querySelector('#run-rows tr')")
        self.assertIn(SHOWN + MARKUP, self.text("#run-rows"))
        self.browser.run("document.querySelector('#run-chart').focus()")
        self.browser.press("right")
        self.wait("document.querySelector('#run-readout').innerText.includes('onerror')")
        self.assertIn(SHOWN + MARKUP, self.text("#run-readout"))
        self.assert_not_struck()

    def test_takes_a_file_that_is_dropped(self):
        self.start({"bay": "left", "bus": "sim:"})
        self.browser.run("""
            const files = new DataTransfer();
            files.items.add(new File([arguments[0]], "hello.srec"));
            document.querySelector(".bay").dispatchEvent(
              new DragEvent("drop", { dataTransfer: files, bubbles: true, cancelable: true }));
            """, "S10B0000616263646566676899\nS9030000FC\n".replace("99", "D0"))
        self.wait("!document.querySelector('#bay-0-plan').hidden || !document.querySelector('#bay-0-problem').hidden")
        self.assertIn("hello.srec", self.text(".bay"))

    def test_says_what_is_wrong_with_a_file(self):
        self.start({"bay": "left", "bus": "sim:"})
        damaged = self.path / "damaged.hex"
        damaged.write_text(":0000000\n")
        self.browser.choose_file("#bay-0-file", damaged)
        self.wait("!document.querySelector('#bay-0-problem').hidden")
        self.assertIn("damaged.hex:1:", self.text("#bay-0-problem"))
        with (self.path / "large.bin").open("wb") as large:
            large.truncate((64 << 20) + 1)
        self.browser.choose_file("#bay-0-file", self.path / "large.bin")
        self.wait("document.querySelector('#bay-0-problem').innerText.includes('expected at most 67108864 bytes')")
        self.choose(0, self.small)
        self.assertTrue(self.browser.run("return document.querySelector('#bay-0-problem').hidden"))

    def focused(self):
        return self.browser.run("return document.activeElement.id")

    def test_works_with_the_keyboard_alone(self):
        self.start({"bay": "left", "bus": "sim:"})
        self.choose(0, self.small)
        self.browser.run("document.querySelector('#bay-0-file').focus()")
        while self.focused() != "bay-0-flash":
            self.browser.press("tab")
        self.browser.press("enter")
        self.wait("document.activeElement.id === 'bay-0-question'")
        # What comes first does what is asked for; nothing erases by itself.
        self.browser.press("tab")
        self.assertEqual(self.focused(), "bay-0-yes")
        self.browser.press("tab")
        self.assertEqual(self.focused(), "bay-0-no")
        self.browser.press("enter")
        self.wait_for(0, "cancelled")
        spoken = self.text("#bay-0-spoken")
        self.assertTrue(spoken.startswith("left: "), spoken)

    def test_filters_the_history(self):
        self.start({"bay": "left", "bus": "sim:"}, {"bay": "right", "bus": "sim:", "fault": ["negative@0x34:0x72"]})
        for bay, state in ((0, "done"), (1, "failed")):
            self.begin(bay, self.small)
            self.click(f"#bay-{bay}-yes")
            self.wait_for(bay, state)
        self.wait("document.querySelectorAll('#run-rows tr').length === 2")
        self.picture("station-ended.png", height=1480)
        for selector, value, count in (("#run-outcome", "failed", 1), ("#run-outcome", "", 2), ("#run-search", "RIGHT", 1),
                                       ("#run-search", "nobody", 0), ("#run-search", "", 2),
                                       ("#run-since", "2199-01-01", 0), ("#run-since", "", 2), ("#run-until", "2001-01-01", 0)):
            self.browser.run("const filter = document.querySelector(arguments[0]); filter.value = arguments[1];"
                             "filter.dispatchEvent(new Event('input'))", selector, value)
            self.wait(f"document.querySelectorAll('#run-rows tr').length === {count}")

    def test_fits_every_screen_in_both_schemes(self):
        self.start(*({"bay": f"bay-{i}", "bus": "sim:"} for i in range(16)))
        self.choose(0, self.small)
        for scheme in ("light", "dark"):
            self.use_scheme(scheme)
            for width, columns in ((360, 1), (1280, 2), (2560, 4)):
                self.browser.resize(width, 900)
                self.assertLessEqual(self.browser.run("return document.documentElement.scrollWidth"), width)
                self.assertEqual(self.browser.run(
                    "return getComputedStyle(document.querySelector('.bays')).gridTemplateColumns.split(' ').length"), columns)
            self.assertEqual(self.browser.run("return document.querySelectorAll('.bay').length"), 16)
        self.use_scheme("")
        self.assert_quiet()

    def test_uses_nothing_from_elsewhere(self):
        station = self.start({"bay": "left", "bus": "sim:"})
        own = station.url.split("#", maxsplit=1)[0]
        for address in self.browser.run("return performance.getEntriesByType('resource').map((each) => each.name)"):
            self.assertTrue(address.startswith((own, "data:")), address)
        blocked = self.browser.run("""
            const script = document.createElement("script");
            script.textContent = "window.struck = 1";
            document.body.append(script);
            return window.struck === undefined;""")
        self.assertTrue(blocked)

    def test_names_all_that_can_be_used(self):
        self.start({"bay": "left", "bus": "sim:"})
        self.choose(0, self.small)
        nodes = self.browser.command("Accessibility.getFullAXTree", {})["nodes"]
        usable = {"button", "textbox", "searchbox", "combobox", "link", "progressbar", "alertdialog", "article", "region"}
        nameless = [node for node in nodes if not node.get("ignored")
                    and node.get("role", {}).get("value") in usable and not node.get("name", {}).get("value")]
        self.assertEqual(nameless, [])
        ids = self.browser.run("return [...document.querySelectorAll('[id]')].map((each) => each.id)")
        self.assertEqual(len(ids), len(set(ids)))


class AccessibilityTest(Page):
    """What axe-core finds in each state of the page, on a desk and on a phone, light and dark."""

    def check(self, state):
        if not self.browser.run("return 'axe' in window"):
            # By the DevTools: the page itself lets no script in but its own.
            self.browser.command("Runtime.evaluate", {"expression": AXE.read_text()})
        for scheme in ("light", "dark"):
            self.use_scheme(scheme)
            for width in (1280, 360):
                self.browser.resize(width, 900)
                found = self.browser.run("return axe.run()")
                self.assertGreater(len(found["passes"]), 10)
                for problem in found["violations"]:
                    places = [f"{node['html']}: {node['failureSummary']}" for node in problem["nodes"]]
                    with self.subTest(state=state, scheme=scheme, width=width):
                        self.assertNotIn(problem["impact"], ("serious", "critical"), "\n".join([problem["help"], *places]))
        self.use_scheme("")
        self.browser.resize(1280, 1000)

    def test_a_flash_from_the_first_look_to_the_history(self):
        self.start({"bay": "left", "bus": "sim:?time=real", "bitrate": 10000, "verify": True},
                   {"bay": "right", "bus": "sim:", "fault": [PHASES["download"]]}, {"bay": "third", "bus": "sim:"})
        self.check("empty")
        self.choose(0, self.image)
        self.check("planned")
        self.click("#bay-0-flash")
        self.wait("!document.querySelector('#bay-0-question').hidden")
        self.check("question")
        self.click("#bay-0-yes")
        self.wait_for_download(0)
        self.check("flashing")
        self.begin(1, self.small)
        self.click("#bay-1-yes")
        self.wait_for(1, "failed")
        self.begin(2, self.small)
        self.click("#bay-2-yes")
        self.wait_for(2, "done")
        self.click("#bay-2-details summary")
        self.wait("document.querySelectorAll('#run-rows tr').length === 3")
        self.browser.run("document.querySelector('#run-chart').focus()")
        self.browser.press("right", "enter")
        self.check("failed, done and history")
        self.click("#bay-0-stop")
        self.wait_for(0, "cancelled")
        self.check("cancelled")

    def test_what_goes_wrong(self):
        station = self.start({"bay": "left", "bus": "sim:"})
        self.browser.choose_file("#bay-0-file", self.image)
        self.wait("!document.querySelector('#bay-0-base').hidden")
        self.check("where a binary begins")
        damaged = self.path / "damaged.hex"
        damaged.write_text(":0000000\n")
        self.browser.choose_file("#bay-0-file", damaged)
        self.wait("!document.querySelector('#bay-0-problem').hidden")
        self.check("a wrong file")
        station.process.kill()
        station.process.wait()
        self.wait("!document.querySelector('#problem').hidden")
        self.check("lost")
        station.process.stdout.close()

    def test_a_wrong_password(self):
        self.browser.open(self.serve_to_all().url)
        self.wait("document.activeElement.id === 'password'")
        self.check("password")
        self.browser.press(*"wrong horse", "enter")
        self.wait("document.querySelector('#login-problem').innerText !== ''")
        self.check("a wrong password")

    def test_the_report(self):
        for options in (["--verify"], ["--fault", PHASES["download"], "--repeat", "0"]):
            folder = self.path / options[0].strip("-")
            folders.flash(TOOL, folder, *options, status=76 if "--fault" in options else 0)
            self.browser.open(folders.report(TOOL, folder))
            self.wait("document.body.getAttribute('aria-busy') === 'false'")
            self.check(f"report of {options[0]}")


if __name__ == "__main__":
    unittest.main(defaultTest="StationTest")
