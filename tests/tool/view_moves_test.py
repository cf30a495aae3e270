# SPDX-License-Identifier: MIT
"""The page of `qel view` in headless Chromium: moving about, frames over time, and that every control works by keyboard."""

import re
import time

import files
from view_page import ESCAPE, LEFT, TAB, UP, PageTest


class MovesTest(PageTest):
    def view(self, browser):
        """What the link to the view holds."""
        self.press(browser, "k")
        parts = dict(part.split("=", 1) for part in browser.run("return location.hash").lstrip("#").split("&"))
        for name in ("mesh", "tokens"):
            parts[name] = [float(number) for number in parts[name].split(",")]
        return parts

    def test_drag_wheel_and_keys_move_both_halves_and_fit_brings_them_back(self):
        browser = self.browse("torus")
        first = self.halves(browser, "first")
        x, y = self.centre(browser, "#token-pane")
        moves = [lambda: browser.drag((x, y + 200), (x + 90, y + 170)), lambda: browser.wheel(x, y, -300)]
        moves += [lambda key=key: self.press(browser, key) for key in (LEFT, UP, "+", "-")]
        moves.append(lambda: browser.drag((x, y), (x + 70, y + 40), button=2))
        for move in moves:
            move()
            browser.point(5, 5)
            self.rest(browser)
            moved = self.halves(browser, "moved")
            self.assertTrue(all(a != b for a, b in zip(first, moved)))
            browser.click("#fit")
            browser.click("#fit")  # the second one turns it back as well
            browser.run("document.activeElement.blur()")
            self.rest(browser)
            self.assertEqual(self.halves(browser, "fit"), first)
        self.assertEqual(browser.complaints(), [])

    def test_dragging_with_the_right_button_and_the_wheel_keep_what_is_under_the_pointer(self):
        browser = self.browse("points")
        self.search(browser, "00000032")
        self.press(browser, "f")
        self.press(browser, ESCAPE)
        x, y = self.centre(browser, "#mesh-pane")
        browser.drag((x, y), (x + 60, y + 45), button=2)
        for zooms in (0, 3):
            for _ in range(zooms):
                browser.wheel(x + 60, y + 45, -240)
            self.rest(browser)
            browser.point(x + 61, y + 45)
            self.assertIn("Identity\n00000032\n", browser.text("#card"))
        view = self.view(browser)
        self.assertEqual(view["mesh"][:2], [0.65, 0.5])
        self.assertGreater(view["mesh"][2], 5)

    def test_views_turn_together_or_alone(self):
        browser = self.browse("two")
        before = self.halves(browser, "linked")
        browser.click("#linked")
        x, y = self.centre(browser, "#mesh-pane")
        browser.drag((x, y), (x + 80, y))
        browser.point(5, 5)
        self.rest(browser)
        after = self.halves(browser, "alone")
        self.assertNotEqual(after[0], before[0])
        self.assertEqual(after[1], before[1])
        browser.click("#linked")
        view = self.view(browser)
        self.assertEqual(view["mesh"][:2], view["tokens"][:2])

    def test_one_view_can_have_all_the_room(self):
        browser = self.browse("two")
        widths = []
        for _ in range(3):
            widths.append((round(browser.box("#mesh-pane")[2]), round(browser.box("#token-pane")[2])))
            self.press(browser, "v")
        room = round(browser.box("#stage")[2])
        self.assertEqual(widths, [(room // 2, room // 2), (room, 0), (0, room)])

    def test_the_axis_that_points_up_is_guessed_and_can_be_changed(self):
        browser = self.browse("harbour")
        before = self.halves(browser, "y-up")
        self.assertEqual(browser.text("#up"), "Y up")
        browser.click("#up")
        self.rest(browser)
        self.assertEqual(browser.text("#up"), "Z up")
        for old, new in zip(before, self.halves(browser, "z-up")):
            self.assertNotEqual(old, new)

    def test_meshes_above_z_0_have_z_up_but_flat_ground_around_y_0_does_not(self):
        browser = self.browse("harbour")
        for name, size, up in (("figure", (1, 0.6, 2), "Z up"), ("ground", (4, 0.2, 4), "Y up"), ("high", (0.5, 2, 0.5), "Z up")):
            points = [(x * size[0], (y - 0.5) * size[1], z * size[2]) for x in (0, 1) for y in (0, 1) for z in (0, 1)]
            box = (0, -size[1] / 2, 0, size[0], size[1] / 2, size[2])
            self.pages.add(name, ".qelm", files.cache(positions=points, indices=(), box=box))
            self.visit(browser, self.pages.make(name))
            self.assertEqual(browser.text("#up"), up, name)

    def test_focus_brings_the_picked_token_to_the_middle(self):
        browser = self.browse("two")
        self.search(browser, "00000123")
        self.press(browser, "f")
        self.rest(browser)
        view = self.view(browser)
        self.assertGreater(view["mesh"][2], 2)
        self.assertGreaterEqual(view["tokens"][2], 2.5)
        self.assertNotEqual(view["mesh"][3:], [0, 0, 0])

    def test_the_keyboard_alone_steps_through_tokens(self):
        browser = self.browse("torus")
        self.press(browser, ".", ".", ".")
        self.assertIn("Identity\n00000002\n", browser.text("#card"))
        browser.press(",")
        self.assertIn("Identity\n00000001\n", browser.text("#card"))
        browser.press("n")
        self.assertNotIn("Identity\n00000001\n", browser.text("#card").split("Nearest")[0])
        browser.press(ESCAPE)
        self.assertEqual(browser.text("#card"), "")

    def test_every_control_is_reached_by_the_tab_key(self):
        browser = self.browse("harbour", 390, 844)
        wanted = set(browser.run("""return [...document.querySelectorAll('button, input, select, summary, [tabindex="0"]')]
            .filter((one) => one.tabIndex >= 0 && one.checkVisibility() && one.type !== 'radio').map((one) => one.id || one.tagName)"""))
        self.assertGreater(len(wanted), 18)
        reached = set()
        browser.run("document.activeElement.blur()")
        for _ in range(60):
            browser.press(TAB)
            reached.add(browser.run("return document.activeElement.id || document.activeElement.tagName"))
        self.assertEqual(wanted - reached, set())

    def test_each_key_of_the_help_does_something(self):
        browser = self.browse("harbour")
        state = lambda: browser.run("""return JSON.stringify([location.hash, document.body.className, document.documentElement.dataset.theme,
            ...['edges', 'tint', 'grid'].map((id) => document.getElementById(id).checked), document.getElementById('help').open,
            ...['views', 'linked', 'up', 'card', 'frame-text', 'found', 'play', 'rows', 'token-note'].map((id) => document.getElementById(id).innerText),
            document.querySelector('input[name=mode]:checked').value, document.activeElement.id,
            [...document.querySelectorAll('.row.off')].length])""")
        for key in (".", ",", "n", "i", "a", "h", "a", ".", "w", "m", "g", "v", "l", "u", "o", "t", "]", "[", "2", "5", "c", "k", "/"):
            before = state()
            self.press(browser, key)
            self.assertNotEqual(before, state(), key)
        self.press(browser, "?")
        self.assertTrue(browser.run("return document.getElementById('help').open"))
        told = browser.text("#help-list")
        for word in ("Arrows", "zoom", "focus", "Space", "Picture", "Double click"):
            self.assertIn(word.lower(), told.lower())
        browser.press(ESCAPE)
        self.assertEqual(browser.complaints(), [])


class TimeTest(PageTest):
    def frame(self, browser):
        return int(browser.text("#frame-text").split(" / ")[0])

    def test_the_slider_shows_other_frames_and_tokens_follow(self):
        browser = self.browse("harbour")
        self.ready(browser)
        first = self.halves(browser, "frame-1")
        browser.run("const s = document.getElementById('frame'); s.value = 20; s.dispatchEvent(new Event('input'))")
        self.rest(browser)
        self.assertRegex(browser.text("#frame-text"), r"\A21 / 48 · 0\.833 s")
        for old, new in zip(first, self.halves(browser, "frame-21")):
            self.assertGreater(sum(a != b for a, b in zip(old, new)), 300)
        for _ in range(20):
            browser.click("#step-back")
        self.rest(browser)
        self.assertEqual(self.halves(browser, "frame-1-again"), first)
        self.assertEqual(browser.complaints(), [])

    def test_a_token_of_a_moving_mesh_changes_its_place_and_a_still_one_does_not(self):
        browser = self.browse("harbour")
        self.ready(browser)
        browser.run("document.getElementById('find').value = '/harbour/sea'")
        place = lambda: re.search(r"Position\n(.*)", browser.text("#card"))[1]
        self.search(browser, "00000017")
        for _ in range(40):
            if "sail" in browser.text("#card"):
                break
            browser.run("document.getElementById('find').focus()")
            browser.press("\ue007")
        moving = place()
        self.press(browser, "]", "]", "]")
        self.assertNotEqual(place(), moving)
        self.check_card(browser.text("#card"))

    def test_play_runs_at_its_rate_and_stops(self):
        browser = self.browse("harbour")
        self.ready(browser)
        browser.run("document.getElementById('rate').value = '0.25'")
        self.press(browser, " ")
        self.until(lambda: self.frame(browser) > 1, "nothing plays")
        start, before = self.frame(browser), time.monotonic()
        self.until(lambda: self.frame(browser) >= start + 6, "nothing plays")
        passed = time.monotonic() - before
        self.assertGreater(passed, 0.6)  # six frames at a quarter of 24 a second are one second
        self.press(browser, " ")
        stopped = self.frame(browser)
        time.sleep(0.5)
        self.assertEqual(self.frame(browser), stopped)
        self.rest(browser)
        self.press(browser, "[")
        self.assertEqual(self.frame(browser), stopped - 1)
        self.assertEqual(browser.complaints(), [])

    def test_a_scene_without_motion_has_no_slider(self):
        self.assertEqual(self.browse("torus").box("#time")[2], 0)
