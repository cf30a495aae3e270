# SPDX-License-Identifier: MIT
"""The page of `qel view` in headless Chromium: what is drawn, what pointing says, that every control does something.

QEL and TORUS name the program and an archive; SHOTS, if given, a folder that keeps the pictures."""

import math
import os
import re
import subprocess
import tempfile
import unittest

import files
from browser import Browser

QEL, TORUS, SHOTS = os.environ["QEL"], os.environ["TORUS"], os.environ.get("SHOTS")


def blob(step, layer):
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
    return files.mesh(points, triangles, cells, keys, layer=layer, name=b"ball %d" % layer)


class PageTest(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.folder = tempfile.TemporaryDirectory()
        path = lambda name: os.path.join(cls.folder.name, name)
        with open(path("two.bqel"), "wb") as out:
            out.write(files.scene([blob(60, 1), blob(60, 4)], total=7200))
        with open(path("points.qelm"), "wb") as out:
            out.write(files.cache(positions=[(math.cos(i), math.sin(i), i / 99) for i in range(100)], indices=(),
                                  box=(-1, -1, 0, 1, 1, 1)))
        cls.pages = {}
        for name, source in (("torus", TORUS), ("two", path("two.bqel")), ("points", path("points.qelm"))):
            cls.pages[name] = path(name + ".html")
            subprocess.run([QEL, "view", source, "-o", cls.pages[name]], check=True)

    @classmethod
    def tearDownClass(cls):
        cls.folder.cleanup()

    def browse(self, page, width=1280, height=800, **how):
        browser = Browser(width, height, **how)
        self.addCleanup(browser.close)
        browser.open(self.pages[page])
        return browser

    def shot(self, browser, name):
        return browser.screenshot(os.path.join(SHOTS, name + ".png") if SHOTS else None)

    def halves(self, browser, name, scale=1):
        picture = self.shot(browser, name)
        return [picture.part(*(scale * number for number in browser.box(pane))) for pane in ("#mesh-pane", "#token-pane")]

    def centre(self, browser, pane):
        left, top, width, height = browser.box(pane)
        return left + width / 2, top + height / 2

    def hover(self, browser, pane):
        """Points at one place after the other until a card is shown."""
        x, y = self.centre(browser, pane)
        for way in range(-60, 150, 5):
            browser.point(x + way, y + 40)
            if browser.text("#card"):
                return browser.text("#card")
        self.fail("no card over " + pane)

    def check_card(self, text):
        self.assertRegex(text, r"\AToken [\d\u2009]+")
        for pattern in (r"Key\n\d+\n", r"Identity\n[0-9A-F]{8}\n", r"Cell\n\d+, \d+, \d+\n", r"Layer\n\d+\n",
                        r"Level\n\u2212?\d+\n", r"State\n(\u22121|0|1|2)\n", r"Norm\n\d\.\d{4}\n", r"Position\n"):
            self.assertRegex(text, pattern)
        x, y, z = map(int, re.search(r"Cell\n(\d+), (\d+), (\d+)", text).groups())
        key = sum((c >> bit & 1) << 3 * bit + axis for axis, c in enumerate((x, y, z)) for bit in range(6))
        self.assertIn(f"Key\n{key}\n", text)

    def test_both_halves_show_something_in_light_and_dark(self):
        for page in self.pages:
            for dark in (False, True):
                browser = self.browse(page, dark=dark)
                for half in self.halves(browser, f"{page}-{'dark' if dark else 'light'}"):
                    background = half[0]
                    self.assertEqual(sum(background) < 200, dark)
                    drawn = [pixel for pixel in half if pixel != background]
                    self.assertGreater(len(drawn), len(half) // 100)
                    self.assertGreater(len(set(drawn)), 200)
                self.assertEqual(browser.complaints(), [])

    def test_pointing_at_either_half_reads_a_token_and_marks_both(self):
        for page in self.pages:
            browser = self.browse(page)
            for pane in ("#mesh-pane", "#token-pane"):
                browser.point(5, 5)
                before = self.halves(browser, "before")
                self.check_card(self.hover(browser, pane))
                browser.run("document.getElementById('card').style.visibility = 'hidden'")
                after = self.halves(browser, f"{page}-{pane[1:]}")
                browser.run("document.getElementById('card').style.visibility = ''")
                for old, new in zip(before, after):
                    self.assertGreater(sum(a != b for a, b in zip(old, new)), 50)
            self.assertEqual(browser.complaints(), [])

    def test_each_colouring_changes_both_halves_and_the_legend(self):
        browser = self.browse("two")
        seen, legends = [], set()
        for mode in ("level", "state", "norm", "layer"):
            browser.click(f"input[value={mode}]")
            seen.append(self.halves(browser, "two-" + mode))
            legends.add(browser.text("#legend"))
        for side in (0, 1):
            self.assertEqual(len({tuple(halves[side]) for halves in seen}), 4)
        self.assertEqual(len(legends), 4)
        self.assertIn("Layer", browser.text("#legend"))
        tinted = seen[-1]
        browser.click("#tint")
        plain = self.halves(browser, "two-plain")
        self.assertNotEqual(plain[0], tinted[0])
        self.assertEqual(plain[1], tinted[1])
        self.assertEqual(browser.complaints(), [])

    def test_drag_wheel_and_keys_move_both_halves_and_reset_brings_them_back(self):
        browser = self.browse("torus")
        first = self.halves(browser, "first")
        x, y = map(round, self.centre(browser, "#token-pane"))
        moves = [lambda: browser.drag((x, y + 200), (x + 90, y + 170)), lambda: browser.wheel(x, y, -300)]
        for key in ("\ue012", "\ue013", "+", "-"):
            moves.append(lambda key=key: (browser.run("document.getElementById('canvas').focus()"), browser.press(key)))
        for move in moves:
            move()
            browser.point(5, 5)
            moved = self.halves(browser, "moved")
            self.assertTrue(all(a != b for a, b in zip(first, moved)))
            browser.click("#reset")
            browser.run("document.activeElement.blur()")
            self.assertEqual(self.halves(browser, "reset"), first)
        self.assertEqual(browser.complaints(), [])

    def test_the_keyboard_alone_steps_through_tokens_and_finds_one(self):
        browser = self.browse("torus")
        browser.run("document.getElementById('canvas').focus()")
        browser.press(".", ".", ".")
        self.assertIn("Identity\n00000002\n", browser.text("#card"))
        browser.press(",")
        self.assertIn("Identity\n00000001\n", browser.text("#card"))
        browser.press("\ue00c")
        self.assertEqual(browser.text("#card"), "")
        for wanted, identity in (("700", "000002BC"), ("0000000A", "0000000A"), ("47,23,23", "00000000")):
            browser.run("document.getElementById('find').value = ''; document.getElementById('find').focus()")
            browser.press(*wanted)
            self.assertIn(f"Identity\n{identity}\n", browser.text("#card"))
        browser.press("x")
        self.assertEqual(browser.run("return document.getElementById('find').getAttribute('aria-invalid')"), "true")
        reached = []
        browser.run("document.querySelector('input[name=mode]:checked').focus()")
        for _ in range(5):
            browser.press("\ue004")
            reached.append(browser.run("return document.activeElement.id "))
        self.assertEqual(reached, ["find", "tint", "reset", "theme", "canvas"])

    def test_the_theme_can_be_chosen(self):
        browser = self.browse("torus", dark=True)
        colours = []
        for _ in range(3):
            colours.append(browser.run("return getComputedStyle(document.body).backgroundColor"))
            browser.click("#theme")
        self.assertEqual(colours[0], colours[2])
        self.assertNotEqual(colours[0], colours[1])

    def test_a_phone_shows_everything_and_a_tap_reads_a_token(self):
        browser = self.browse("torus", 390, 844, mobile=True, scale=2)
        self.assertEqual(browser.run("return [document.documentElement.scrollWidth, document.documentElement.scrollHeight]"),
                         [390, 844])
        for half in self.halves(browser, "phone", 2):
            self.assertGreater(len(set(half)), 200)
        x, y = self.centre(browser, "#mesh-pane")
        browser.tap(x + 60, y + 10)
        self.check_card(browser.text("#card"))
        self.shot(browser, "phone-card")
        for control in ("#modes", "#find", "#tint", "#theme", "#canvas", "#card"):
            left, top, width, height = browser.box(control)
            self.assertTrue(left >= 0 and top >= 0 and left + width <= 390 and top + height <= 844, control)
        self.assertEqual(browser.complaints(), [])


if __name__ == "__main__":
    unittest.main(verbosity=2)
