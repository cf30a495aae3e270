# SPDX-License-Identifier: MIT
"""What the tests of pages in Chromium share: scenes, pages made once, and hands for what a user does.

QEL and TORUS name the program and an archive; SHOTS, if given, a folder that keeps the pictures."""

import math
import os
import re
import subprocess
import tempfile
import time
import unittest

import files
from browser import Browser, until

QEL, TORUS, SHOTS = os.environ["QEL"], os.environ["TORUS"], os.environ.get("SHOTS")
HARBOUR = os.path.join(os.path.dirname(TORUS), "harbour.abc")
LEFT, RIGHT, UP, DOWN, ESCAPE, ENTER, TAB = "\ue012", "\ue014", "\ue013", "\ue015", "\ue00c", "\ue007", "\ue004"


def blob(step, layer, name=None):
    """A bumpy ball whose vertices share cells, as a block of a scene: made by the tool's own library."""
    points, triangles = [], []
    for i in range(step):
        for j in range(step):
            a, b = math.pi * i / (step - 1), 2 * math.pi * j / step
            r = 1 + 0.18 * math.sin(6 * b) * math.sin(a) ** 3 + 0.1 * math.cos(9 * a)
            points.append((r * math.sin(a) * math.cos(b), r * math.cos(a), r * math.sin(a) * math.sin(b) + layer * 3))
    for i in range(step - 1):
        for j in range(step):
            k = (j + 1) % step
            a, b, c, d = i * step + j, i * step + k, (i + 1) * step + j, (i + 1) * step + k
            triangles += [a, c, b, b, c, d]
    cells = [tuple(min(47, max(0, int((v + 1.3) * 18))) for v in (x, y, z - layer * 3)) for x, y, z in points]
    keys = [sum((c >> bit & 1) << 3 * bit + axis for axis, c in enumerate(cell) for bit in range(6)) for cell in cells]
    return files.mesh(points, triangles, cells, keys, layer=layer, name=name or b"ball %d" % layer)


class Pages:
    """Pages in a folder, each made when it is first requested."""

    def __init__(self):
        self.folder = tempfile.TemporaryDirectory()
        self.sources = {"torus": (TORUS, "--by-bytes"), "harbour": (HARBOUR,)}

    def path(self, name):
        return os.path.join(self.folder.name, name)

    def add(self, name, ending, content):
        with open(self.path(name + ending), "wb") as out:
            out.write(content)
        self.sources[name] = (self.path(name + ending),)

    def make(self, name, *how):
        page = self.path(name + ".html")
        if not os.path.exists(page):
            subprocess.run([QEL, "view", *self.sources[name], *how, "-o", page], check=True)
        return page


class PageTest(unittest.TestCase):
    until = staticmethod(until)

    @classmethod
    def setUpClass(cls):
        cls.pages = Pages()
        cls.pages.add("two", ".bqel", files.scene([blob(60, 1), blob(60, 4)], total=7200))
        cls.pages.add("points", ".qelm", files.cache(
            positions=[(math.cos(i), math.sin(i), i / 99) for i in range(100)], indices=(), box=(-1, -1, 0, 1, 1, 1)))

    @classmethod
    def tearDownClass(cls):
        cls.pages.folder.cleanup()

    def browse(self, page, width=1280, height=800, **how):
        browser = Browser(width, height, **how)
        self.addCleanup(browser.close)
        self.visit(browser, self.pages.make(page))
        return browser

    def visit(self, browser, path):
        browser.open(path)
        self.until(lambda: not browser.run("return document.body.classList.contains('opening')"), "the page stays closed")
        self.rest(browser)

    def ready(self, browser):
        """Waits until the frames are unpacked."""
        self.until(lambda: "unpacking" not in browser.text("#frame-text"), "frames stay packed")

    def rest(self, browser):
        """Waits until nothing moves and all is drawn in full."""
        time.sleep(0.35)
        browser.settle()
        self.until(lambda: browser.run("const c = document.getElementById('canvas'), o = document.getElementById('overlay');"
                                       "return c.width === o.width && o.style.visibility !== 'hidden'"), "it stays coarse")
        browser.settle()

    def shot(self, browser, name):
        return browser.screenshot(os.path.join(SHOTS, name + ".png") if SHOTS else None)

    def half(self, browser, pane, name="half", scale=1):
        return self.shot(browser, name).part(*(scale * number for number in browser.box(pane)))

    def halves(self, browser, name, scale=1):
        picture = self.shot(browser, name)
        return [picture.part(*(scale * number for number in browser.box(pane))) for pane in ("#mesh-pane", "#token-pane")]

    def centre(self, browser, pane):
        left, top, width, height = browser.box(pane)
        return round(left + width / 2), round(top + height / 2)

    def hover(self, browser, pane):
        """Points at one place after the other until a card is shown; returns its text and the place."""
        x, y = self.centre(browser, pane)
        for way in range(-60, 150, 5):
            browser.point(x + way, y + 40)
            if browser.text("#card"):
                return browser.text("#card"), (x + way, y + 40)
        self.fail("no card over " + pane)

    def press(self, browser, *keys):
        browser.run("document.getElementById('canvas').focus()")
        browser.press(*keys)

    def search(self, browser, text):
        browser.run("const f = document.getElementById('find'); f.value = arguments[0]; f.focus(); f.dispatchEvent(new Event('input'))", text)
        browser.settle()
        return browser.text("#card"), browser.text("#found")

    def check_card(self, text):
        self.assertRegex(text, r"\AToken [\d\u2009]+")
        for pattern in (r"Key\n\d+\n", r"Identity\n[0-9A-F]{8}\n", r"Cell\n\d+, \d+, \d+\n", r"Layer\n\d+\n",
                        r"Level\n\u2212?\d+\n", r"State\n(\u22121|0|1|2)\n", r"Norm\n\d\.\d{4}\n", r"Payload\n[0-9A-F]{16}\n",
                        r"Position\n", r"[Nn]ormal\n"):
            self.assertRegex(text, pattern)
        x, y, z = map(int, re.search(r"Cell\n(\d+), (\d+), (\d+)", text).groups())
        key = sum((c >> bit & 1) << 3 * bit + axis for axis, c in enumerate((x, y, z)) for bit in range(6))
        self.assertIn(f"Key\n{key}\n", text)
        if "ball" not in text:  # whose level is made up
            self.assertIn("Level\n" + str((x + y + z) % 23 - 11).replace("-", "\u2212") + "\n", text)
