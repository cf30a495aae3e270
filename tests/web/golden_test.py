# SPDX-License-Identifier: MIT
"""The golden digests in headless Chromium, without and with SIMD128. SOURCE names the project."""

import os
import pathlib
import sys
import tempfile
import unittest

SOURCE = pathlib.Path(os.environ["SOURCE"])
sys.path.insert(0, str(SOURCE / "tests" / "tool"))

from browser import Browser, until  # noqa: E402


class GoldenTest(unittest.TestCase):
    def lines(self, preset):
        """The output of the program in a page."""
        program = SOURCE / "build" / preset / "tests" / "golden" / "golden_digests_page.js"
        with tempfile.TemporaryDirectory() as folder, Browser(640, 480) as browser:
            page = pathlib.Path(folder) / "golden.html"
            page.write_text(f"""<!DOCTYPE html><link rel="icon" href="data:,"><script>
                window.said = []; window.ended = null;
                window.Module = {{ print: (line) => said.push(line), printErr: (line) => said.push(line),
                                   onExit: (code) => {{ ended = code; }} }};
                </script><script src="{program.as_uri()}"></script>""")
            browser.open(str(page))
            until(lambda: browser.run("return ended") is not None, "the program does not end")
            self.assertEqual(browser.run("return ended"), 0, browser.run("return said"))
            return browser.run("return said")

    def test_the_digests_are_the_committed_ones_in_both_builds(self):
        table = (SOURCE / "tests" / "golden" / "digests.txt").read_text(encoding="utf-8").splitlines()
        for preset, widest in (("wasm", "plain"), ("wasm-simd", "sse2")):
            self.assertEqual(self.lines(preset), [f"{len(table)} digests, with kernels up to {widest}"])
