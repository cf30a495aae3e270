# SPDX-License-Identifier: MIT
"""What the tests of the page that opens dropped files share: a browser with the page in it, and hands for what a user does.

PAGE names the page's file, QEL the native tool, SOURCE the project."""

import contextlib
import os
import pathlib
import sys
import tempfile
import unittest

SOURCE = pathlib.Path(os.environ["SOURCE"])
sys.path.insert(0, str(SOURCE / "tests" / "tool"))

import files  # noqa: E402
from browser import ELEMENT, Browser, until  # noqa: E402

PAGE, QEL = os.environ["PAGE"], os.environ["QEL"]
HARBOUR = str(SOURCE / "examples" / "data" / "harbour.abc")


class DroppedTest(unittest.TestCase):
    """One browser for the tests of a class; each opens the page anew."""
    wait = staticmethod(until)

    @classmethod
    def setUpClass(cls):
        cls.folder = tempfile.TemporaryDirectory()
        cls.addClassCleanup(cls.folder.cleanup)
        cls.small = cls.path("small.bqel", files.scene())
        cls.browser = Browser(1280, 800)
        cls.addClassCleanup(cls.browser.close)

    def setUp(self):
        self.downloads = pathlib.Path(tempfile.mkdtemp(dir=self.folder.name))
        self.browser.devtools("Browser.setDownloadBehavior", behavior="allow", downloadPath=str(self.downloads))
        self.browser.complaints()  # of the tests before
        self.browser.open(PAGE)
        self.wait(lambda: self.state() == "empty", "the page does not start")

    @classmethod
    def path(cls, name, content):
        path = os.path.join(cls.folder.name, name)
        with open(path, "wb") as file:
            file.write(content)
        return path

    def state(self):
        return self.browser.run("return document.body.dataset.state")

    def drop(self, *paths):
        """Drags files over the page and lets them go there."""
        data = {"items": [], "files": list(paths), "dragOperationsMask": 1}
        for kind in ("dragEnter", "dragOver", "drop"):
            self.browser.devtools("Input.dispatchDragEvent", type=kind, x=640, y=400, data=data)

    def show(self, *paths):
        """Drops files and waits until the picture is there."""
        self.drop(*paths)
        self.wait(lambda: self.state() in ("shown", "failed"), "no answer", 120)
        self.assertEqual(self.state(), "shown", self.browser.text("#message"))
        with self.frame():
            self.wait(lambda: self.browser.run("return !!document.getElementById('counts') && "
                                               "!document.body.classList.contains('opening')"), "the picture stays away")
            self.browser.settle()

    def element(self, selector):
        return self.browser.call("POST", self.browser.session + "/element", {"using": "css selector", "value": selector})

    def click(self, selector):
        """As a user does, whom the browser allows more downloads than a script."""
        self.browser.call("POST", f"{self.browser.session}/element/{self.element(selector)[ELEMENT]}/click", {})

    @contextlib.contextmanager
    def frame(self):
        """Inside, the browser queries the shown page."""
        self.browser.call("POST", self.browser.session + "/frame", {"id": self.element("#frame")})
        try:
            yield
        finally:
            self.browser.call("POST", self.browser.session + "/frame", {"id": None})

    def refused(self, path):
        """Drops a file that cannot be shown; returns the message."""
        self.drop(path)
        self.wait(lambda: self.state() in ("shown", "failed"), "no answer", 120)
        self.assertEqual(self.state(), "failed")
        return self.browser.text("#message")

    def download(self, name):
        """Presses a link and returns the bytes that have come down."""
        self.browser.run("document.getElementById('take').open = true")
        self.click(f'#downloads a[data-name="{name}"]')
        place = self.downloads / name.split("/")[-1]
        self.wait(place.exists, f"{name} does not come down")
        return place.read_bytes()

    def convert(self, name):
        """Starts a conversion; returns the names of its results."""
        self.browser.run("document.querySelector(`#downloads li[data-of=${CSS.escape(arguments[0])}] button`).click()", name)
        made = "return [...document.querySelectorAll('#downloads a.made')].map((link) => link.dataset.name)"
        self.wait(lambda: self.browser.run(made) or self.state() == "failed", "nothing is made", 120)
        self.assertEqual(self.state(), "shown", self.browser.text("#message"))
        return self.browser.run(made)
