# SPDX-License-Identifier: MIT
"""Headless Chromium through WebDriver, and its screenshots as pixels: the standard library is enough."""

import base64
import json
import os
import re
import struct
import subprocess
import tempfile
import time
import urllib.request
import zlib

ELEMENT = "element-6066-11e4-a52e-4f735466cecf"
ARGUMENTS = [
    "--headless=new", "--no-sandbox", "--disable-dev-shm-usage", "--disable-quic", "--no-first-run",
    "--disable-background-networking", "--disable-component-update", "--disable-sync", "--hide-scrollbars",
    "--use-angle=swiftshader", "--enable-unsafe-swiftshader", "--ignore-gpu-blocklist",
]


def until(condition, complaint, seconds=60):
    end = time.monotonic() + seconds
    while not condition():
        assert time.monotonic() < end, complaint
        time.sleep(0.05)


class Browser:
    """One window of a size. What the page writes to the console is kept by the browser."""

    def __init__(self, width, height, mobile=False, dark=False, scale=1):
        self.profile = tempfile.TemporaryDirectory(ignore_cleanup_errors=True)
        self.driver = subprocess.Popen(["chromedriver", "--port=0"], stdout=subprocess.PIPE,
                                       stderr=subprocess.DEVNULL, text=True)
        self.session = ""
        try:
            for line in self.driver.stdout:
                port = re.search(r"on port ([1-9]\d*)", line)
                if port:
                    break
            self.root = f"http://127.0.0.1:{port[1]}"
            options = {"args": ARGUMENTS + [f"--user-data-dir={self.profile.name}", f"--window-size={width},{height}"]}
            if os.path.exists("/usr/bin/chromium"):
                options["binary"] = "/usr/bin/chromium"
            answer = self.call("POST", "/session", {"capabilities": {"alwaysMatch": {
                "goog:chromeOptions": options, "goog:loggingPrefs": {"browser": "ALL"}}}})
            self.session = f"/session/{answer['sessionId']}"
            self.devtools("Emulation.setDeviceMetricsOverride", width=width, height=height,
                          deviceScaleFactor=scale, mobile=mobile)
            self.devtools("Emulation.setEmulatedMedia", features=[
                {"name": "prefers-color-scheme", "value": "dark" if dark else "light"}])
            if mobile:
                self.devtools("Emulation.setTouchEmulationEnabled", enabled=True)
        except BaseException:
            self.close()
            raise

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.close()

    def close(self):
        """May be called again."""
        session, self.session = self.session, ""
        try:
            if session:
                self.call("DELETE", session)
        finally:
            self.driver.terminate()
            self.driver.wait()
            self.driver.stdout.close()
            self.profile.cleanup()

    def call(self, method, path, body=None):
        data = None if body is None else json.dumps(body).encode()
        request = urllib.request.Request(self.root + path, data, {"Content-Type": "application/json"}, method=method)
        opener = urllib.request.build_opener(urllib.request.ProxyHandler({}))
        try:
            with opener.open(request, timeout=120) as answer:
                return json.load(answer)["value"]
        except urllib.error.HTTPError as error:
            raise RuntimeError(json.load(error)["value"]["message"]) from None

    def devtools(self, command, **parameters):
        return self.call("POST", self.session + "/goog/cdp/execute", {"cmd": command, "params": parameters})

    def open(self, path):
        self.call("POST", self.session + "/url", {"url": "file://" + os.path.abspath(path)})
        self.settle()

    def run(self, script, *arguments):
        return self.call("POST", self.session + "/execute/sync", {"script": script, "args": list(arguments)})

    def settle(self):
        """Waits until two frames have been drawn."""
        self.call("POST", self.session + "/execute/async", {
            "script": "const done = arguments[0]; requestAnimationFrame(() => requestAnimationFrame(() => done()));",
            "args": []})

    def act(self, kind, actions, **source):
        self.call("POST", self.session + "/actions", {"actions": [{"type": kind, "id": kind, "actions": actions, **source}]})
        self.settle()

    def point(self, x, y):
        self.act("pointer", [{"type": "pointerMove", "duration": 0, "x": round(x), "y": round(y)}])

    def drag(self, start, end, button=0):
        move = {"type": "pointerMove", "duration": 50}
        self.act("pointer", [{**move, "x": start[0], "y": start[1]}, {"type": "pointerDown", "button": button},
                             {**move, "x": end[0], "y": end[1]}, {"type": "pointerUp", "button": button}])

    def tap(self, x, y):
        self.act("pointer", [{"type": "pointerMove", "duration": 0, "x": round(x), "y": round(y)},
                             {"type": "pointerDown", "button": 0}, {"type": "pointerUp", "button": 0}],
                 parameters={"pointerType": "touch"})

    def wheel(self, x, y, lines):
        self.act("wheel", [{"type": "scroll", "x": x, "y": y, "deltaX": 0, "deltaY": lines}])

    def press(self, *keys):
        actions = []
        for key in keys:
            actions += [{"type": "keyDown", "value": key}, {"type": "keyUp", "value": key}]
        self.act("key", actions)

    def click(self, selector):
        self.run("document.querySelector(arguments[0]).click()", selector)
        self.settle()

    def text(self, selector):
        return self.run("const e = document.querySelector(arguments[0]); return e && !e.hidden ? e.innerText : ''", selector)

    def box(self, selector):
        """Left, top, width and height in pixels of the window."""
        return self.run("const b = document.querySelector(arguments[0]).getBoundingClientRect();"
                        "return [b.left, b.top, b.width, b.height]", selector)

    def complaints(self):
        entries = self.call("POST", self.session + "/se/log", {"type": "browser"})
        return [entry["message"] for entry in entries if entry["level"] in ("SEVERE", "WARNING")]

    def screenshot(self, path=None):
        png = base64.b64decode(self.call("GET", self.session + "/screenshot"))
        if path:
            with open(path, "wb") as file:
                file.write(png)
        return Picture(png)


class Picture:
    """A PNG of 8 bits a channel, as rows of pixels."""

    def __init__(self, png):
        data, at = b"", 8
        while at < len(png):
            size, kind = struct.unpack(">I4s", png[at:at + 8])
            body = png[at + 8:at + 8 + size]
            if kind == b"IHDR":
                self.width, self.height, depth, colour = struct.unpack(">IIBB", body[:10])
                assert depth == 8 and colour in (2, 6)
                self.step = 3 if colour == 2 else 4
            elif kind == b"IDAT":
                data += body
            at += size + 12
        self.rows = self.unfiltered(zlib.decompress(data))

    def unfiltered(self, raw):
        stride, step = self.width * self.step, self.step
        rows, above = [], bytearray(stride)
        for y in range(self.height):
            start = y * (stride + 1)
            kind, row = raw[start], bytearray(raw[start + 1:start + 1 + stride])
            for i in range(stride if kind else 0):
                left = row[i - step] if i >= step else 0
                corner = above[i - step] if i >= step else 0
                if kind == 1:
                    add = left
                elif kind == 2:
                    add = above[i]
                elif kind == 3:
                    add = (left + above[i]) // 2
                else:
                    p = left + above[i] - corner
                    a, b, c = abs(p - left), abs(p - above[i]), abs(p - corner)
                    add = left if a <= b and a <= c else above[i] if b <= c else corner
                row[i] = (row[i] + add) & 255
            rows.append(row)
            above = row
        return rows

    def part(self, left, top, width, height):
        """The pixels of a rectangle."""
        return [bytes(self.rows[y][x * self.step:x * self.step + 3])
                for y in range(round(top), min(round(top + height), self.height))
                for x in range(round(left), min(round(left + width), self.width))]
