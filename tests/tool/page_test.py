# SPDX-License-Identifier: MIT
"""`qel view` as far as no browser is needed: where the page goes and what is in it."""

import json
import os
import re
import shutil
import stat
import unittest

import files
from tool import TORUS, ToolTest, at_most, full_device


class ViewTest(ToolTest):
    def page(self, name):
        self.assertEqual(self.qel("view", name, "-o", "page.html"), "")
        with open(self.path("page.html"), encoding="utf-8") as page:
            text = page.read()
        found = re.search(r'<script type="application/json" id="data">(.*?)</script>', text, re.S)
        return text, json.loads(found[1])

    def test_pages_of_all_three_kinds(self):
        self.qel("convert", TORUS, "-o", "out")
        models = [self.page(name)[1] for name in (TORUS, "out/scene.bqel", "out/mesh.qelm")]
        for array in ("positions", "triangles", "cells", "levels", "states", "norms", "layers"):
            self.assertEqual(models[0][array], models[1][array])
            self.assertEqual(models[0][array], models[2][array])
        self.assertEqual(models[0]["parts"], [{"name": "mesh", "first": 0, "count": 1152}])

    def test_the_page_needs_nothing_else(self):
        text, _ = self.page(TORUS)
        self.assertNotRegex(text, r"https?:|//[a-z]+\.|@import|src=|<link|url\(")
        self.assertIn("default-src 'none'", text)

    def test_hostile_names_stay_text(self):
        evil = files.scene([files.mesh(name=b"</script><script>alert(1)//")])
        os.mkdir(self.path("d"))
        text, model = self.page(self.file(evil, "d/<img onerror=x>&.bqel"))
        self.assertEqual(text.lower().count("<script"), 2)
        self.assertNotIn("<img", text)
        self.assertEqual(model["parts"][0]["name"], "</script><script>alert(1)//")

    def test_unusual_tokens_bring_their_keys_and_identities(self):
        usual = self.page(self.file(files.scene()))[1]
        self.assertNotIn("keys", usual)
        other = self.page(self.file(files.scene([files.mesh(ids=[b"AAAAAAAA", b"B", b"C"])])))[1]
        self.assertIn("keys", other)
        self.assertIn("identities", other)

    def test_goes_to_standard_output_and_is_refused_where_there_is_nothing_to_see(self):
        self.assertTrue(self.qel("view", TORUS, "-o", "-").startswith("<!DOCTYPE html>"))
        self.fails("file: is of the kind unit, but view wants an archive, a scene or a mesh cache", "view",
                   self.file(files.unit(files.THREE)), "-o", "page.html")
        self.fails("no/page.html: No such file or directory", "view", TORUS, "-o", "no/page.html")

    def test_the_input_is_not_overwritten(self):
        shutil.copy(TORUS, self.path("x.abc"))
        os.symlink("x.abc", self.path("link"))
        os.link(self.path("x.abc"), self.path("twin"))
        for page in ("x.abc", "./x.abc", "link", "twin"):
            self.qel("view", "x.abc", "-o", page, status=2)
            self.assertEqual(self.errors, f"qel: {page}: is the input, which would be lost\n")
        self.assertEqual(self.content("x.abc"), self.content(TORUS))

    def test_a_page_is_replaced_when_the_new_one_is_whole(self):
        self.file(b"earlier", "page.html")
        os.chmod(self.path("page.html"), 0o600)
        os.symlink("page.html", self.path("link"))
        self.fails("page.html: File too large", "view", TORUS, "-o", "page.html", preexec_fn=lambda: at_most(9000))
        self.assertEqual((self.content("page.html"), sorted(os.listdir(self.folder))), (b"earlier", ["link", "page.html"]))
        self.file(b"of a killed run", "page.html.unfinished-0")
        self.qel("view", TORUS, "-o", "link")
        self.assertTrue(self.content("page.html").startswith(b"<!DOCTYPE html>"))
        self.assertEqual(stat.S_IMODE(os.stat(self.path("page.html")).st_mode), 0o600)
        self.assertTrue(os.path.islink(self.path("link")))
        self.assertEqual(self.content("page.html.unfinished-0"), b"of a killed run")
        self.qel("view", TORUS, "-o", "new.html", preexec_fn=lambda: os.umask(0o027))
        self.assertEqual(stat.S_IMODE(os.stat(self.path("new.html")).st_mode), 0o640)

    def test_links_and_modes_stay(self):
        os.mkdir(self.path("d"))
        for name, mode in (("a", 0o600), ("b", 0o664), ("c", 0o666)):
            self.file(b"earlier", name)
            os.chmod(self.path(name), mode)
            self.qel("view", TORUS, "-o", name, preexec_fn=lambda: os.umask(0o022))
            self.assertEqual(stat.S_IMODE(os.stat(self.path(name)).st_mode), mode)
        os.symlink("d/page.html", self.path("dangling"))
        os.symlink("dangling", self.path("chain"))
        self.qel("view", TORUS, "-o", "chain")
        self.assertEqual([os.readlink(self.path(name)) for name in ("chain", "dangling")], ["dangling", "d/page.html"])
        self.assertEqual(os.listdir(self.path("d")), ["page.html"])
        os.symlink("loop", self.path("loop"))
        self.fails("loop: Too many levels of symbolic links", "view", TORUS, "-o", "loop")
        self.assertTrue(os.path.islink(self.path("loop")))

    def test_a_full_disk_is_told(self):
        os.symlink(full_device(self), self.path("full.html"))
        self.fails("full.html: No space left on device", "view", TORUS, "-o", "full.html")
        self.assertTrue(stat.S_ISCHR(os.stat(self.path("full.html")).st_mode))


if __name__ == "__main__":
    unittest.main()
