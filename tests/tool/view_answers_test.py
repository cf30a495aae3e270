# SPDX-License-Identifier: MIT
"""The page of `qel view` in headless Chromium: search, nearest tokens, the list of objects, what can be taken along."""

import os
import re
import subprocess

import files
from view_page import DOWN, ENTER, ESCAPE, HARBOUR, LEFT, QEL, RIGHT, PageTest


class SearchTest(PageTest):
    def test_a_key_an_identity_a_cell_and_a_path_are_found(self):
        browser = self.browse("torus")
        for wanted, told in (("0000000A", "Identity\n0000000A\n"), ("47,23,23", "Cell\n47, 23, 23\n"), ("47 23 23", "Identity\n00000000\n")):
            card, said = self.search(browser, wanted)
            self.assertIn(told, card)
            self.assertEqual(said, "")
        key = re.search(r"Key\n(\d+)", card)[1]
        for wanted in (key, hex(int(key))):
            self.assertIn("Cell\n47, 23, 23\n", self.search(browser, wanted)[0])
        browser = self.browse("harbour")
        self.assertIn("/harbour/lighthouse/tower", self.search(browser, "/harbour/lighthouse/tower")[1])
        self.assertIn("lighthouse", self.search(browser, "lighthou")[1])
        self.assertEqual(browser.run("return document.querySelector('.row[aria-selected=true] .name').innerText"), "lighthouse")
        self.assertEqual(browser.complaints(), [])

    def test_identities_of_a_scene_name_the_mesh(self):
        subprocess.run([QEL, "convert", HARBOUR, "-o", self.pages.path("converted"), "--only", "scene"], check=True, capture_output=True)
        self.pages.sources["converted"] = (self.pages.path("converted/scene.bqel"),)
        browser = self.browse("converted")
        for mesh, vertex in ((0, 9), (5, 3), (22, 0)):
            identity = f"{mesh << 24 | vertex:08X}"
            card, said = self.search(browser, identity)
            self.assertIn(f"Identity\n{identity}\n", card)
            self.assertTrue(card.startswith(f"Token {vertex}\n"), card)
            self.assertEqual(said, "")
        self.assertEqual(self.search(browser, "17000000")[1], "No token has the identity or the key 17000000.")
        self.assertEqual(browser.complaints(), [])

    def test_a_missing_token_is_reported(self):
        browser = self.browse("torus")
        for wanted, said in (("99999999999", "No token has the key 99999999999."), ("FFFFFFFF", "No token has the identity FFFFFFFF."),
                             ("00FFFFFF", "No token has the identity 00FFFFFF."), ("24,24,24", "No token stands in cell 24, 24, 24."),
                             ("48,0,0", "Cells go from 0 to 47: 48, 0, 0 is none."), ("/no/such", "No object has the path /no/such."),
                             ("nobody", "No object is called nobody."), ("12345678", "No token has the identity or the key 12345678.")):
            self.assertEqual(self.search(browser, wanted), ("", said))
            self.assertEqual(browser.run("return document.getElementById('find').getAttribute('aria-invalid')"), "true")
        self.assertEqual(self.search(browser, ""), ("", ""))
        self.assertEqual(browser.run("return document.getElementById('find').getAttribute('aria-invalid')"), "false")

    def test_enter_finds_the_next_one(self):
        browser = self.browse("harbour")
        card, _ = self.search(browser, "47, 0, 23")
        self.assertIn("Shares its cell with 5 other tokens.", card)
        found = []
        for _ in range(7):
            found.append(browser.run("return document.querySelector('#card small').title + ' ' + document.querySelector('#card h3 span').innerText"))
            browser.run("document.getElementById('find').focus()")
            browser.press(ENTER)
            self.assertEqual(browser.text("#found"), "Enter finds the next one.")
        self.assertEqual(len(set(found)), 6, found)
        self.assertEqual(found[6], found[0])

    def test_the_nearest_tokens_are_those_of_qel_nearest(self):
        browser = self.browse("torus")
        self.search(browser, "0000012C")
        card = browser.text("#card")
        key = re.search(r"Key\n(\d+)", card)[1]
        shown = re.findall(r"(\d+)\n([0-9A-F]{8})", card.split("Nearest, in hops")[1])
        subprocess.run([QEL, "convert", "--by-bytes", os.environ["TORUS"], "-o", self.pages.path("out")], check=True)
        table = subprocess.run([QEL, "nearest", self.pages.path("out/tokens.qel"), key, "-k", "60"], check=True, capture_output=True, text=True).stdout
        distances = {identity: distance for identity, distance in re.findall(r"(?m)^ +\d+ +([0-9A-F]{8}) +\d+ +\d+ +(\d+)$", table)}
        self.assertEqual(len(shown), 8)
        self.assertGreater(len(distances), 50)
        for distance, identity in shown:
            self.assertEqual(distances.get(identity), distance, (identity, table))
        told = [int(distance) for distance, _ in shown]
        self.assertEqual(told, sorted(told))

    def test_the_nearest_tokens_are_marked_in_both_halves_and_can_be_picked(self):
        browser = self.browse("torus")
        browser.run("document.getElementById('card').style.visibility = 'hidden'")
        before = self.halves(browser, "none")
        self.search(browser, "0000012C")
        self.rest(browser)
        for old, new in zip(before, self.halves(browser, "nearest")):
            self.assertGreater(sum(a != b for a, b in zip(old, new)), 200)
        browser.run("document.getElementById('card').style.visibility = ''")
        first = browser.run("return document.querySelector('#card li span').innerText")
        browser.click("#card li button")
        self.assertIn(f"Identity\n{first}\n", browser.text("#card"))


class ObjectsTest(PageTest):
    def off(self, browser):
        return browser.run("return [...document.querySelectorAll('.row.off .name')].map((one) => one.innerText)")

    def test_hiding_and_showing_alone_change_both_halves(self):
        browser = self.browse("harbour")
        whole = self.halves(browser, "harbour-whole")
        self.search(browser, "/harbour/sea")
        self.search(browser, "")
        browser.run("document.getElementById('tree').focus()")
        browser.press(" ")
        self.rest(browser)
        self.assertEqual(self.off(browser), ["sea"])
        hidden = self.halves(browser, "harbour-without-sea")
        browser.press("i")
        self.rest(browser)
        self.assertNotIn("sea", self.off(browser))
        self.assertIn("rock", self.off(browser))
        alone = self.halves(browser, "harbour-sea-alone")
        for side in (0, 1):
            self.assertEqual(len({tuple(halves[side]) for halves in (whole, hidden, alone)}), 3)
        browser.click("#show-all")
        browser.press(ESCAPE)
        self.rest(browser)
        self.assertEqual(self.off(browser), [])
        self.assertEqual(self.halves(browser, "harbour-again"), whole)
        self.assertEqual(browser.complaints(), [])

    def test_the_list_walks_folds_and_searches_by_keyboard(self):
        browser = self.browse("harbour")
        selected = lambda: browser.run("return document.querySelector('.row[aria-selected=true] .name')?.innerText")
        rows = lambda: browser.run("return [...document.querySelectorAll('.row .name')].map((one) => one.innerText)")
        browser.run("document.getElementById('tree').focus()")
        browser.press(DOWN, DOWN)
        self.assertEqual(selected(), "sea")
        browser.press(LEFT)
        self.assertEqual(selected(), "harbour")
        browser.press(LEFT)
        self.assertEqual(rows(), ["harbour"])
        browser.press(RIGHT, RIGHT)
        self.assertEqual(selected(), "sea")
        browser.run("const f = document.getElementById('filter-objects'); f.value = 'LANT'; f.dispatchEvent(new Event('input'))")
        self.assertEqual(rows(), ["harbour", "lighthouse", "lantern"])
        self.assertEqual(browser.run("return document.querySelector('.row small').innerText"), "2\u2009167")

    def test_ten_thousand_objects_scroll(self):
        self.pages.add("many", ".bqel", files.scene([
            files.mesh([(x + i % 100 * 3, y, z + i // 100 * 3) for x, y, z in files.CORNERS], name=b"mesh %05d" % i) for i in range(10000)]))
        browser = self.browse("many")
        self.assertLess(browser.run("return document.querySelectorAll('.row').length"), 60)
        browser.run("document.getElementById('tree').scrollTop = 26 * 7000")
        browser.settle()
        self.assertIn("mesh 07000", browser.text("#rows"))
        self.assertEqual(browser.complaints(), [])

    def test_hostile_names_stay_text(self):
        evil = b"<img src=x onerror=alert(1)></script>"
        self.pages.add("evil", ".bqel", files.scene([files.mesh(name=evil), files.mesh(name=b"other")]))
        browser = self.browse("evil")
        self.assertIn(evil.decode(), browser.text("#rows"))
        self.search(browser, "00000001")
        self.assertIn(evil.decode(), browser.text("#card"))
        self.assertEqual(browser.run("return document.querySelectorAll('img').length"), 0)
        self.assertEqual(browser.complaints(), [])


class TakeTest(PageTest):
    CATCH = """window.saved = null;
        HTMLAnchorElement.prototype.click = function () { const image = new Image(); image.onload = () => {
            const c = document.createElement('canvas'); [c.width, c.height] = [image.width, image.height];
            const pen = c.getContext('2d'); pen.drawImage(image, 0, 0);
            const d = new Uint32Array(pen.getImageData(0, 0, c.width, c.height).data.buffer);
            window.saved = [this.download, image.width, image.height, new Set(d).size]; }; image.src = this.href; };
        window.copied = null;
        Object.defineProperty(navigator, 'clipboard', { value: { writeText: async (text) => { window.copied = text; } } });"""

    def test_a_picture_is_saved(self):
        browser = self.browse("harbour")
        browser.run(self.CATCH)
        browser.click("#take-picture")
        self.until(lambda: browser.run("return window.saved"), "no picture")
        name, width, height, colours = browser.run("return window.saved")
        self.assertEqual(name, "harbour.abc.png")
        left, top, right, bottom = browser.box("#canvas")
        self.assertEqual((width, height), (round(right), round(bottom)))
        self.assertGreater(colours, 500)

    def test_a_link_brings_the_same_picture(self):
        browser = self.browse("harbour")
        browser.run(self.CATCH)
        self.ready(browser)
        self.press(browser, LEFT, LEFT, "+", "3", "w", "w", "]", "]")
        self.search(browser, "/harbour/sea")
        self.press(browser, "h", ESCAPE)
        self.rest(browser)
        browser.click("#take-link")
        link = browser.run("return window.copied")
        self.press(browser, ESCAPE)
        browser.run("document.activeElement.blur()")
        self.rest(browser)
        self.assertIn("#mesh=", link)
        other = self.browse("torus")
        self.visit(other, self.pages.make("harbour") + "#" + link.split("#")[1])
        self.until(lambda: other.text("#frame-text").startswith("3 / 48") and "unpacking" not in other.text("#frame-text"), "another frame")
        self.rest(other)
        self.assertEqual(other.run("return document.querySelector('input[name=mode]:checked').value"), "norm")
        self.assertEqual(other.run("return [...document.querySelectorAll('.row.off .name')].map((one) => one.innerText)"), ["sea"])
        for pane in ("#mesh-pane", "#token-pane"):
            mine, theirs = self.half(browser, pane, "link-mine"), self.half(other, pane, "link-theirs")
            self.assertLess(sum(a != b for a, b in zip(mine, theirs)), len(mine) // 100)

    def test_a_hostile_link_does_no_harm(self):
        browser = self.browse("torus")
        page = self.pages.make("torus")
        for text in ("mesh=1,2", "mesh=NaN,1,1,1,1,1", "mesh=0,9,-5,1e9,x,<b>&token=99999999&frame=-4&hidden=7,x", "colour=<img>&views=x&mesh="):
            self.visit(browser, page + "#" + text)
            self.assertEqual(browser.text("#message"), "")
            self.assertIn("1\u2009152 vertices", browser.text("#counts"))
        self.assertEqual(browser.complaints(), [])

    def test_the_record_of_a_token_equals_that_of_the_unit(self):
        browser = self.browse("torus")
        browser.run(self.CATCH)
        self.search(browser, "0000012C")
        browser.click("#take-record")
        record = dict(line.split(" = ") for line in browser.run("return window.copied").splitlines())
        subprocess.run([QEL, "convert", "--by-bytes", os.environ["TORUS"], "-o", self.pages.path("unit")], check=True)
        with open(self.pages.path("unit/tokens.qel"), "rb") as file:
            unit = file.read()
        at = unit.index(b"0000012C") - 8
        self.assertEqual(int(record["key"]), int.from_bytes(unit[at:at + 8], "little"))
        self.assertEqual(int(record["payload"], 16), int.from_bytes(unit[at + 16:at + 24], "little"))
        self.assertEqual((record["mesh"], record["vertex"], record["identity"], record["layer"]), ("/mesh", "300", "0000012C", "1"))
