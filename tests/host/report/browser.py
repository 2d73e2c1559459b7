# SPDX-License-Identifier: MIT
"""A headless Chromium, driven by chromedriver over its HTTP protocol with the standard library alone."""

import base64
import json
import re
import shutil
import subprocess
import tempfile
import urllib.error
import urllib.request

KEYS = {"left": "\ue012", "up": "\ue013", "right": "\ue014", "down": "\ue015", "end": "\ue010",
        "home": "\ue011", "enter": "\ue007", "tab": "\ue004"}

FLAGS = ["--headless", "--no-sandbox", "--disable-gpu", "--disable-quic", "--no-first-run",
         "--disable-background-networking", "--disable-component-update", "--disable-sync",
         "--window-size=1280,1000"]


# The driver is on this machine, whatever proxy the environment names.
DIRECTLY = urllib.request.build_opener(urllib.request.ProxyHandler({}))


class Browser:
    def __init__(self):
        self.profile = tempfile.mkdtemp(prefix="quillmark-chromium-")
        self.driver = subprocess.Popen(["chromedriver", "--port=0"], stdout=subprocess.PIPE, text=True)
        try:
            self.base = f"http://127.0.0.1:{self._port()}"
            options = {"binary": shutil.which("chromium"),
                       "args": FLAGS + [f"--user-data-dir={self.profile}"]}
            # Tests make their own certificates.
            capabilities = {"goog:chromeOptions": options, "acceptInsecureCerts": True, "goog:loggingPrefs": {"browser": "ALL"}}
            answer = self._call("POST", "/session", {"capabilities": {"alwaysMatch": capabilities}})
            self.session = f"/session/{answer['sessionId']}"
        except Exception:
            self._end()
            raise

    def _port(self):
        for line in self.driver.stdout:
            found = re.search(r"started successfully on port (\d+)", line)
            if found:
                return int(found.group(1))
        raise RuntimeError("chromedriver did not start")

    def _call(self, method, path, body=None):
        data = None if body is None else json.dumps(body).encode()
        request = urllib.request.Request(self.base + path, data, {"Content-Type": "application/json"},
                                         method=method)
        try:
            with DIRECTLY.open(request, timeout=180) as answer:
                return json.load(answer)["value"]
        except urllib.error.HTTPError as error:
            raise RuntimeError(json.load(error)["value"]["message"]) from None

    def __enter__(self):
        return self

    def __exit__(self, *_exception):
        try:
            self._call("DELETE", self.session)
        finally:
            self._end()

    def _end(self):
        self.driver.terminate()
        self.driver.wait()
        self.driver.stdout.close()
        shutil.rmtree(self.profile, ignore_errors=True)

    def open(self, place):
        """Opens a file, or an address."""
        url = f"file://{place}" if str(place).startswith("/") else str(place)
        self._call("POST", self.session + "/url", {"url": url})

    def reload(self):
        self._call("POST", self.session + "/refresh", {})

    def window(self):
        """Opens another window and goes there. Returns both, for `go_to`."""
        first = self._call("GET", self.session + "/window")
        second = self._call("POST", self.session + "/window/new", {"type": "tab"})["handle"]
        self.go_to(second)
        return first, second

    def go_to(self, window):
        self._call("POST", self.session + "/window", {"handle": window})

    def close_window(self):
        self._call("DELETE", self.session + "/window")

    def resize(self, width, height):
        self.command("Emulation.setDeviceMetricsOverride",
                     {"width": width, "height": height, "deviceScaleFactor": 1, "mobile": False})

    def choose_file(self, selector, path):
        """As a user does in the dialogue of the browser."""
        element = self._call("POST", self.session + "/element", {"using": "css selector", "value": selector})
        place = f"{self.session}/element/{next(iter(element.values()))}/value"
        self._call("POST", place, {"text": str(path)})

    def screenshot(self, path):
        path.write_bytes(base64.b64decode(self._call("GET", self.session + "/screenshot")))

    def run(self, script, *arguments):
        return self._call("POST", self.session + "/execute/sync", {"script": script, "args": list(arguments)})

    def press(self, *keys):
        """Presses keys one after the other on what has the focus."""
        actions = []
        for key in keys:
            value = KEYS.get(key, key)
            actions += [{"type": "keyDown", "value": value}, {"type": "keyUp", "value": value}]
        self._call("POST", self.session + "/actions",
                   {"actions": [{"type": "key", "id": "keyboard", "actions": actions}]})

    def point(self, selector, x, y):
        """Moves the pointer into an element, from its top left corner."""
        left, top = self.run("const place = document.querySelector(arguments[0]);"
                             "place.scrollIntoView({block: 'center'});"
                             "const box = place.getBoundingClientRect(); return [box.left, box.top];", selector)
        move = {"type": "pointerMove", "duration": 0, "x": round(left + x), "y": round(top + y)}
        self._call("POST", self.session + "/actions",
                   {"actions": [{"type": "pointer", "id": "mouse", "actions": [move]}]})

    def errors(self):
        """What the page has complained about since the last call."""
        log = self._call("POST", self.session + "/se/log", {"type": "browser"})
        return [entry["message"] for entry in log if entry["level"] == "SEVERE"]

    def command(self, name, parameters):
        """A command of the DevTools protocol."""
        return self._call("POST", self.session + "/goog/cdp/execute", {"cmd": name, "params": parameters})
