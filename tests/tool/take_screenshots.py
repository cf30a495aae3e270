# SPDX-License-Identifier: MIT
"""Takes the pictures of pages that the README and the docs show. Called by scripts/screenshots.sh with their folder."""

import sys

from view_page import PageTest


class Screenshots(PageTest):
    folder = ""

    def take(self, browser, name):
        self.rest(browser)
        browser.screenshot(f"{self.folder}/{name}.png")
        self.assertEqual(browser.complaints(), [])

    def runTest(self):
        browser = self.browse("harbour", 1280, 760)
        self.ready(browser)
        self.press(browser, "5", "]", "]", "]", "]", "]", "]")
        browser.click("#linked")  # the tokens stay as they are
        for _ in range(2):
            browser.wheel(560, 330, -200)
        browser.point(5, 5)
        browser.run("document.activeElement.blur()")
        self.take(browser, "view")
        browser.click("#linked")
        self.search(browser, "/harbour/boat/sail")
        self.press(browser, "1", "i")
        browser.run("document.getElementById('find').value = ''; document.getElementById('found').textContent = ''")
        browser.run("document.activeElement.blur()")
        browser.press("f", ".", ".")
        self.take(browser, "view-token")
        browser = self.browse("harbour", 390, 780, mobile=True, dark=True)
        self.press(browser, "3")
        browser.run("document.activeElement.blur()")
        self.take(browser, "view-phone")


if __name__ == "__main__":
    Screenshots.folder = sys.argv.pop(1)
    import unittest
    unittest.main(defaultTest="Screenshots")
