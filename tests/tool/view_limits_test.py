# SPDX-License-Identifier: MIT
"""The page of `qel view` in headless Chromium where something is missing or wrong, and on every archive at hand."""

import glob
import os
import re

from archive_folder import FOLDER, needs_real_archives
from view_page import ESCAPE, PageTest


class SentenceTest(PageTest):
    def changed(self, page, name, change):
        with open(self.pages.make(page), encoding="utf-8") as file:
            text = file.read()
        with open(self.pages.path(name), "w", encoding="utf-8") as file:
            file.write(change(text))
        return self.pages.path(name)

    def test_without_javascript(self):
        browser = self.browse("torus")
        browser.devtools("Emulation.setScriptExecutionDisabled", value=True)
        browser.call("POST", browser.session + "/url", {"url": "file://" + self.pages.make("torus")})
        tree = str(browser.devtools("Accessibility.getFullAXTree"))
        self.assertIn("switched off here: switch it on to see the scene", tree)

    def test_without_webgl_2(self):
        page = self.changed("torus", "no-webgl.html", lambda text: text.replace(
            '<script type="module">\n', '<script type="module">\nHTMLCanvasElement.prototype.getContext = new Proxy('
            "HTMLCanvasElement.prototype.getContext, { apply: (f, me, how) => how[0] === 'webgl2' ? null : f.apply(me, how) });\n"))
        browser = self.browse("points")
        browser.open(page)
        self.until(lambda: browser.text("#message"), "no message")
        self.assertIn("offers no WebGL 2", browser.text("#message"))
        self.assertIn("Identity\n0000000A\n", self.search(browser, "0000000A")[0])

    def test_an_empty_scene(self):
        def emptied(text):
            text = re.sub(r'"meshes":\[.*?\],\n"blocks"', '"meshes":[],\n"blocks"', text, 1, re.S)
            text = re.sub(r'"count":\d+,"deflated":true,"bytes":\d+', '"count":0,"deflated":false,"bytes":0', text)
            return re.sub(r'<script type="text/plain" class="piece".*?</script>', "", text)
        browser = self.browse("torus")
        browser.open(self.changed("torus", "empty.html", emptied))
        self.until(lambda: browser.text("#message"), "no message")
        self.assertIn("no mesh to show", browser.text("#message"))
        self.assertEqual(browser.complaints(), [])

    def test_a_damaged_page(self):
        browser = self.browse("torus")
        piece = r'(data-name="positions">)([A-Za-z0-9+/=]+)'
        damages = {
            "cut": lambda text: text[:text.index('data-name="triangles"') + 60],
            "piece": lambda text: re.sub(piece, lambda m: m[1] + m[2][:200], text),
            "letters": lambda text: re.sub(piece, lambda m: m[1] + m[2][:80] + "A" * 40 + m[2][120:], text),
            "no letters": lambda text: re.sub(piece, lambda m: m[1] + "?" + m[2][1:], text),
            "header": lambda text: text.replace('id="header">{', 'id="header">'),
            "count": lambda text: re.sub(r'"vertices":\d+', '"vertices":77', text, 1),
            "corner": lambda text: re.sub(r'"vertices":(\d+)(.*?"triangles":)\d+', r'"vertices":\1\g<2>9', text, 1, re.S),
            "script": lambda text: text.replace('"format":2', '"format":9'),
        }
        for name, change in damages.items():
            browser.open(self.changed("torus", f"damaged-{name}.html", change))
            self.until(lambda: browser.text("#message"), "no message for " + name)
            self.assertRegex(browser.text("#message"), r"\AThis page is damaged: .+\. Make it again with qel view\.\Z", name)
            self.assertEqual(browser.complaints(), [], name)


@needs_real_archives
class ArchivesTest(PageTest):
    def check_last_frame(self, browser, name):
        self.ready(browser)
        first = self.half(browser, "#mesh-pane")
        browser.run("const s = document.getElementById('frame'); s.value = s.max; s.dispatchEvent(new Event('input'))")
        self.rest(browser)
        self.assertRegex(browser.text("#frame-text"), r"\A(\d+) / \1 ")
        self.assertNotEqual(self.half(browser, "#mesh-pane", "archive-last-" + name), first, name)

    def test_every_archive_opens_and_is_drawn_or_reported_empty(self):
        paths = sorted(glob.glob(os.path.join(FOLDER, "*.abc")))
        self.assertGreater(len(paths), 5)
        browser = self.browse("torus")
        for number, path in enumerate(paths):
            name = os.path.basename(path)
            self.pages.sources[f"archive{number}"] = (path,)
            self.visit(browser, self.pages.make(f"archive{number}"))
            vertices = int(re.sub(r"\D", "", browser.text("#counts").split(" vert")[0]))
            if vertices == 0:
                self.assertIn("no mesh to show", browser.text("#message"), name)
            else:
                self.assertEqual(browser.text("#message"), "", name)
                for half in self.halves(browser, "archive-" + name):
                    self.assertGreater(len(set(half)), 20, name)
                self.press(browser, ".")
                self.check_card(browser.text("#card"))
                self.press(browser, ESCAPE)
                if browser.text("#time"):
                    self.check_last_frame(browser, name)
            self.assertEqual(browser.complaints(), [], name)
