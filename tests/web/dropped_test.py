# SPDX-License-Identifier: MIT
"""The page that opens dropped files, in headless Chromium, from disk: what a user sees, queries and saves."""

import pathlib
import re
import subprocess
import tempfile

from dropped import HARBOUR, QEL, DroppedTest

SAVED_AT = {".qel": (16, 24), ".qeag": (16, 24)}  # seconds since 1970, which differ from run to run


def without_time(name, content):
    start, end = SAVED_AT.get(pathlib.PurePath(name).suffix, (0, 0))
    return content[:start] + content[end:]


class PictureTest(DroppedTest):
    def test_a_dropped_scene_is_shown_played_filtered_and_queried(self):
        self.show(HARBOUR)
        with self.frame():
            self.assertIn("25 meshes", self.browser.text("#counts").replace("\u2009", ""))
            self.wait(lambda: self.browser.run("return getComputedStyle(document.getElementById('time')).display") != "none", "no time")
            before = self.browser.text("#frame-text")
            self.browser.click("#play")
            self.wait(lambda: self.browser.text("#frame-text") != before, "it does not play")
            self.browser.click("#play")
            vertices = self.browser.text("#token-note")
            self.find("/harbour/sea")
            self.browser.run("document.getElementById('canvas').focus()")
            self.browser.press("h")
            self.assertNotEqual(self.browser.text("#token-note"), vertices)
            self.browser.press("a")
            key = re.search(r"Key\n(\d+)\n", self.find("00000000"))[1]
            card = self.find(key)
            self.assertIn(f"Key\n{key}\n", card)
            self.assertIn("Nearest, in hops", card)
        self.assertEqual(self.browser.complaints(), [])

    def find(self, text):
        self.browser.run("const f = document.getElementById('find'); f.value = arguments[0]; f.dispatchEvent(new Event('input'))", text)
        self.browser.settle()
        return self.browser.text("#card")

    def test_a_query_for_a_cell_or_a_position_names_the_tokens_that_are_nearest(self):
        self.show(self.small)
        with self.frame():
            card = self.find("0.0, 0.0, 0.0")
            position = [float(part.replace("\u2212", "-")) for part in re.search(r"Position\n(.*)\n", card)[1].split(", ")]
            cell = re.search(r"Cell\n(.*)\n", card)[1]
            self.assertIn("Nearest, in hops", card)
            self.assertIn(f"Cell\n{cell}\n", self.find(cell))
            self.assertIn(f"Cell\n{cell}\n", self.find(", ".join(f"{part:f}" for part in position)))
        self.assertEqual(self.browser.complaints(), [])

    def test_both_halves_of_the_picture_are_drawn(self):
        self.show(HARBOUR)
        with self.frame():
            boxes = [self.browser.box(pane) for pane in ("#mesh-pane", "#token-pane")]
        top = self.browser.box("#frame")[1]
        picture = self.browser.screenshot()
        for left, above, width, height in boxes:
            self.assertGreater(len(set(picture.part(left, above + top, width, height))), 200)

    def test_several_files_are_shown_in_one_space(self):
        self.show(HARBOUR, self.small)
        with self.frame():
            self.assertIn("26 meshes", self.browser.text("#counts").replace("\u2009", ""))
            for path in ("/harbour.abc/harbour/sea", "/small.bqel/triangle"):
                self.find(path)
                self.assertIn(f"{path}: press Enter", self.browser.text("#found"))
        self.assertEqual(self.browser.complaints(), [])


class TakeTest(DroppedTest):
    def native(self, *arguments):
        subprocess.run([QEL, *arguments], check=True, capture_output=True)

    def test_what_an_archive_becomes_equals_the_native_conversion_and_is_shown_again(self):
        with tempfile.TemporaryDirectory() as folder:
            self.native("convert", HARBOUR, "-o", folder)
            # the folder of one archive holds its results
            expected = {str(path.relative_to(folder)): path for path in pathlib.Path(folder).rglob("*") if path.is_file()}
            self.show(HARBOUR)
            names = self.convert("harbour.abc")
            self.assertEqual(sorted(names), sorted(expected))
            for name in names:
                content = self.download(name)
                self.assertEqual(without_time(name, content), without_time(name, expected[name].read_bytes()), name)
                self.native("info", str(self.downloads / name.split("/")[-1]))
            for name in ("scene.bqel", "tokens.qel", "harbour.sea.qelm"):
                self.show(str(self.downloads / name))
        self.assertEqual(self.browser.complaints(), [])

    def test_the_page_that_is_taken_along_opens_by_itself(self):
        self.show(self.small)
        self.download("page.html")
        self.browser.open(str(self.downloads / "page.html"))
        self.wait(lambda: not self.browser.run("return document.body.classList.contains('opening')"), "the page stays closed")
        self.assertIn("3 vertices", self.browser.text("#counts").replace("\u2009", ""))


class RefusalTest(DroppedTest):
    def native_message(self, path):
        run = subprocess.run([QEL, "view", path, "-o", "/dev/null"], capture_output=True, text=True, check=False)
        return run.stderr.strip().replace(f"qel: {path}", pathlib.PurePath(path).name)

    def test_a_damaged_file_gives_the_message_of_the_native_tool_and_the_page_goes_on(self):
        with open(HARBOUR, "rb") as file:
            whole = file.read()
        for name, content in (("cut.abc", whole[:len(whole) // 2]), ("wrong.abc", b"a text and no archive"), ("none.abc", b"")):
            path = self.path(name, content)
            message = self.refused(path)
            self.assertEqual(message, self.native_message(path))
            self.show(self.small)
        self.assertEqual(self.browser.complaints(), [])

    def test_sparse_files_beyond_1_and_4_gigabytes_are_refused_by_a_message(self):
        for size in (1 << 30, (1 << 32) + 4096):
            path = self.path("sparse.abc", b"Ogawa\xff\x00\x01" + (size - 4096).to_bytes(8, "little"))
            with open(path, "r+b") as file:
                file.truncate(size)
            self.assertEqual(self.refused(path), self.native_message(path))
        self.show(self.small)
        self.assertEqual(self.browser.complaints(), [])

    def test_an_archive_whose_root_is_beyond_4_gigabytes_is_read(self):
        """The harbour with its root group moved after a hole, to a position of more than 32 bits."""
        with open(HARBOUR, "rb") as file:
            content = bytearray(file.read())
        at = int.from_bytes(content[8:16], "little")
        root = content[at:at + 8 + 8 * int.from_bytes(content[at:at + 8], "little")]
        place = (1 << 32) + 64
        content[8:16] = place.to_bytes(8, "little")
        path = self.path("far.abc", content)
        with open(path, "r+b") as file:
            file.seek(place)
            file.write(root)
        self.show(path)
        with self.frame():
            self.assertIn("25 meshes", self.browser.text("#counts").replace("\u2009", ""))


class ConnectionTest(DroppedTest):
    def test_the_policy_blocks_requests_to_other_hosts(self):
        """A fetch, a picture, a beacon and a socket are refused, in the page and in the shown one."""
        ways = """const done = arguments[0], said = [];
            document.addEventListener('securitypolicyviolation', (event) => said.push(event.effectiveDirective));
            fetch('http://127.0.0.1:9/').catch(() => {});
            new Image().src = 'http://127.0.0.1:9/picture.png';
            try { new WebSocket('ws://127.0.0.1:9/'); } catch {}
            navigator.sendBeacon('http://127.0.0.1:9/', 'x');
            setTimeout(() => done(said), 500);"""
        self.show(self.small)
        ask = lambda: self.browser.call("POST", self.browser.session + "/execute/async", {"script": ways, "args": []})
        expected = ["connect-src", "connect-src", "connect-src", "img-src"]
        self.assertEqual(sorted(ask()), expected)
        with self.frame():  # where two policies refuse
            self.assertEqual(sorted(ask()), sorted(2 * expected))
