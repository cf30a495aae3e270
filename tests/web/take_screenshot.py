# SPDX-License-Identifier: MIT
"""Takes the picture of the page that docs/web.md shows. Called by scripts/screenshots.sh with the picture's path."""

import sys
import unittest

from dropped import HARBOUR, DroppedTest


class Screenshot(DroppedTest):
    picture = ""

    def runTest(self):
        self.browser.devtools("Emulation.setDeviceMetricsOverride", width=1280, height=760, deviceScaleFactor=1, mobile=False)
        self.show(HARBOUR)
        with self.frame():
            self.wait(lambda: "unpacking" not in self.browser.text("#frame-text"), "frames stay packed")
        self.convert("harbour.abc")
        self.browser.run("document.querySelector('#downloads').scrollTop = 0")
        self.browser.settle()
        self.browser.screenshot(self.picture)
        self.assertEqual(self.browser.complaints(), [])


if __name__ == "__main__":
    Screenshot.picture = sys.argv.pop(1)
    unittest.main(defaultTest="Screenshot")
