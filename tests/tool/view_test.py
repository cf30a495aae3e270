# SPDX-License-Identifier: MIT
"""The page of `qel view` in headless Chromium: what is drawn, what pointing shows, colours, filters, themes, sizes."""

import re
import subprocess

import files
from view_page import ESCAPE, HARBOUR, QEL, PageTest


class DrawingTest(PageTest):
    def test_both_halves_show_something_in_light_and_dark(self):
        for dark in (False, True):
            browser = self.browse("torus", dark=dark)
            for page in ("torus", "two", "points", "harbour"):
                self.visit(browser, self.pages.make(page))
                for half in self.halves(browser, f"{page}-{'dark' if dark else 'light'}"):
                    background = half[0]
                    self.assertEqual(sum(background) < 200, dark)
                    drawn = [pixel for pixel in half if pixel != background]
                    self.assertGreater(len(drawn), len(half) // 100)
                    self.assertGreater(len(set(drawn)), 200)
                self.assertEqual(browser.complaints(), [])

    def test_pointing_at_either_half_reads_a_token_and_marks_both(self):
        browser = self.browse("torus")
        for page in ("torus", "two", "points", "harbour"):
            self.visit(browser, self.pages.make(page))
            for pane in ("#mesh-pane", "#token-pane"):
                browser.point(5, 5)
                before = self.halves(browser, "before")
                self.check_card(self.hover(browser, pane)[0])
                browser.run("document.getElementById('card').style.visibility = 'hidden'")
                after = self.halves(browser, f"{page}-{pane[1:]}")
                browser.run("document.getElementById('card').style.visibility = ''")
                for old, new in zip(before, after):
                    self.assertGreater(sum(a != b for a, b in zip(old, new)), 50)
            self.assertEqual(browser.complaints(), [])

    def test_picking_reports_the_object_in_both_halves(self):
        browser = self.browse("points")
        for number in (7, 50, 88):
            self.search(browser, f"{number:08X}")
            self.press(browser, "f")  # it comes to the middle of both halves
            self.rest(browser)
            self.press(browser, ESCAPE)
            for pane in ("#mesh-pane", "#token-pane"):
                browser.point(*self.centre(browser, pane))
                self.assertIn(f"Identity\n{number:08X}\n", browser.text("#card"))

    def test_a_picked_vertex_is_under_the_pointer_once_it_is_centered(self):
        browser = self.browse("torus")
        for page in ("torus", "two", "harbour"):
            self.visit(browser, self.pages.make(page))
            card, place = self.hover(browser, "#mesh-pane")
            identity = re.search(r"Identity\n\w+\n", card)[0]
            browser.drag(place, place)
            self.press(browser, "f")
            self.rest(browser)
            self.press(browser, ESCAPE)
            browser.point(*self.centre(browser, "#mesh-pane"))
            self.assertIn(identity, browser.text("#card"), page)

    def test_each_colouring_changes_both_halves_the_legend_and_the_words(self):
        browser = self.browse("two")
        seen, legends, words = [], set(), set()
        for mode in ("level", "state", "norm", "layer", "mesh"):
            browser.click(f"input[value={mode}]")
            self.rest(browser)
            seen.append(self.halves(browser, "two-" + mode))
            legends.add(browser.text("#legend"))
            words.add(browser.text("#explain"))
        self.assertEqual(len({tuple(halves[0]) for halves in seen[:3]}), 3)
        self.assertEqual(len({tuple(halves[1]) for halves in seen[:4]}), 4)
        self.assertEqual((len(legends), len(words)), (5, 5))
        self.assertTrue(all(len(word) > 30 for word in words))
        tinted = seen[-1]
        browser.click("#tint")
        self.rest(browser)
        plain = self.halves(browser, "two-plain")
        self.assertNotEqual(plain[0], tinted[0])
        self.assertEqual(plain[1], tinted[1])
        self.assertEqual(browser.complaints(), [])

    def test_filters_by_level_and_by_layer_hide_tokens_and_show_them_again(self):
        browser = self.browse("two")
        cells = lambda: int(re.sub(r"\D", "", browser.text("#token-note")))
        every, first = cells(), self.half(browser, "#token-pane")
        browser.run("const s = document.getElementById('level-from'); s.value = 11; s.dispatchEvent(new Event('input'))")
        self.rest(browser)
        self.assertEqual(browser.text("#legend output"), "11 to 11")
        self.assertIn("held back by a filter", browser.text("#explain"))
        some, filtered = cells(), self.half(browser, "#token-pane", "two-filtered")
        self.assertLess(some, every)
        self.assertNotEqual(filtered, first)
        browser.run("const s = document.getElementById('level-from'); s.value = -11; s.dispatchEvent(new Event('input'))")
        browser.click("input[value=layer]")
        browser.click("#legend .chip")
        without = cells()
        browser.click("#legend .chip:nth-child(2)")
        self.assertEqual(cells(), 0)
        browser.click("#legend .chip")
        browser.click("#legend .chip:nth-child(2)")
        self.assertLessEqual(without, every)
        browser.click("input[value=level]")
        self.rest(browser)
        self.assertEqual((cells(), self.half(browser, "#token-pane")), (every, first))

    def test_edges_and_grid_can_be_switched(self):
        browser = self.browse("torus")
        plain = self.halves(browser, "plain")
        for control in ("#edges", "#grid"):
            browser.click(control)
            self.rest(browser)
            other = self.halves(browser, control[1:])
            self.assertGreater(sum(a != b for a, b in zip(plain[0], other[0])), 500)
            self.assertEqual(plain[1], other[1])
            browser.click(control)
        self.rest(browser)
        self.assertEqual(self.halves(browser, "again"), plain)

    def test_the_theme_can_be_chosen(self):
        browser = self.browse("torus", dark=True)
        colours, drawn = [], []
        for _ in range(3):
            colours.append(browser.run("return getComputedStyle(document.body).backgroundColor"))
            self.rest(browser)
            drawn.append(self.half(browser, "#mesh-pane")[-1])
            browser.click("#theme")
        self.assertEqual(colours[0], colours[2])
        self.assertNotEqual(colours[0], colours[1])
        self.assertNotEqual(drawn[0], drawn[1])


class PhoneTest(PageTest):
    def test_everything_fits_390_pixels_and_a_tap_reads_a_token(self):
        browser = self.browse("torus", 390, 844, mobile=True, scale=2)
        for page in ("torus", "harbour"):
            self.visit(browser, self.pages.make(page))
            self.assertEqual(browser.run("return [document.documentElement.scrollWidth, document.documentElement.scrollHeight]"),
                             [390, 844])
            for half in self.halves(browser, page + "-phone", 2):
                self.assertGreater(len(set(half)), 200)
            controls = ["#modes", "#find", "#tint", "#edges", "#grid", "#theme", "#canvas", "#views", "#linked", "#up", "#fit",
                        "#take", "#help-open", "#side-open", "#legend"] + ["#play", "#frame", "#rate"] * (page == "harbour")
            for control in controls:
                left, top, width, height = browser.box(control)
                self.assertTrue(width > 0 and left >= 0 and top >= 0 and left + width <= 390 and top + height <= 844, control)
            x, y = self.centre(browser, "#mesh-pane")
            browser.tap(x + (60 if page == "torus" else 0), y + 10)
            self.check_card(browser.text("#card"))
            self.shot(browser, page + "-phone-card")
            left, top, width, height = browser.box("#card")
            self.assertTrue(left == 0 and width == 390 and top + height <= 844.5)
            self.assertEqual(browser.complaints(), [])

    def test_two_fingers_move_and_zoom(self):
        browser = self.browse("torus", 390, 844, mobile=True)
        before = self.half(browser, "#mesh-pane")
        x, y = self.centre(browser, "#mesh-pane")
        touch = lambda kind, *points: browser.devtools("Input.dispatchTouchEvent", type=kind,
                                                       touchPoints=[{"x": px, "y": py, "id": i} for i, (px, py) in enumerate(points)])
        touch("touchStart", (x - 30, y), (x + 30, y))
        for step in range(1, 6):
            touch("touchMove", (x - 30 - 6 * step, y + 4 * step), (x + 30 + 6 * step, y + 4 * step))
        touch("touchEnd")
        self.rest(browser)
        self.press(browser, "k")
        view = browser.run("return location.hash")
        zoom, *target = map(float, re.search(r"mesh=([^&]*)", view)[1].split(",")[2:])
        self.assertAlmostEqual(zoom, 2, delta=0.05)
        self.assertGreater(max(map(abs, target)), 0.02)
        self.assertNotEqual(before, self.half(browser, "#mesh-pane"))

    def test_the_list_of_objects_opens_and_closes(self):
        browser = self.browse("harbour", 390, 844, mobile=True)
        browser.click("#side-open")
        self.shot(browser, "harbour-phone-objects")
        left, _, width, _ = browser.box("#side")
        self.assertTrue(left == 0 and 200 < width <= 330)
        self.assertIn("lighthouse", browser.text("#rows"))
        browser.click("#side-close")
        self.assertEqual(browser.box("#side")[2], 0)


class LargeTest(PageTest):
    def test_a_million_triangles_open_turn_and_answer(self):
        self.pages.add("million", ".qelm", files.sheet(708))
        browser = self.browse("million")
        self.assertIn("999\u2009698 triangles", browser.text("#counts"))
        first = self.halves(browser, "million")
        for half in first:
            self.assertGreater(len(set(half)), 200)
        x, y = self.centre(browser, "#mesh-pane")
        browser.drag((x, y), (x + 90, y - 30))
        self.rest(browser)
        self.assertNotEqual(self.halves(browser, "million-turned"), first)
        self.check_card(self.hover(browser, "#mesh-pane")[0])
        self.check_card(self.hover(browser, "#token-pane")[0])
        self.assertEqual(browser.complaints(), [])

    def test_motion_lowers_the_resolution_and_rest_restores_it(self):
        self.pages.add("hundred", ".qelm", files.sheet(225))
        browser = self.browse("hundred")
        first, size = self.halves(browser, "hundred"), self.canvas(browser)
        x, y = self.centre(browser, "#mesh-pane")
        press = {"type": "pointerMove", "duration": 0, "x": x, "y": y}, {"type": "pointerDown", "button": 0}
        browser.act("pointer", [*press, {"type": "pointerMove", "duration": 50, "x": x + 40, "y": y}])
        self.assertLess(self.canvas(browser)[0], size[0])
        for half in self.halves(browser, "hundred-moving"):
            self.assertGreater(len(set(half)), 200)
        browser.act("pointer", [{"type": "pointerMove", "duration": 50, "x": x, "y": y}, {"type": "pointerUp", "button": 0}])
        browser.point(5, 5)
        self.rest(browser)
        self.assertEqual(self.canvas(browser), size)
        for was, now in zip(first, self.halves(browser, "hundred-again")):
            self.assertLess(sum(a != b for a, b in zip(was, now)), len(was) // 1000)
        self.assertEqual(browser.complaints(), [])

    def canvas(self, browser):
        return browser.run("const c = document.getElementById('canvas'); return [c.width, c.height]")

    def test_a_page_of_many_pieces_opens(self):
        page = self.pages.path("pieces.html")
        subprocess.run([QEL, "view", HARBOUR, "-o", page], check=True)
        with open(page, encoding="utf-8") as file:
            text = file.read()
        cut = lambda found: "".join(f'{found[1]}{found[2][at:at + 400]}</script>\n' for at in range(0, len(found[2]), 400))
        with open(page, "w", encoding="utf-8") as file:
            file.write(re.sub(r'(<script type="text/plain" class="piece" data-name="[^"]*">)([^<]*)</script>\n', cut, text))
        whole, browser = self.browse("harbour"), self.browse("torus")
        self.visit(browser, page)
        self.assertEqual(self.halves(browser, "pieces"), self.halves(whole, "whole"))
