#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""The site in Chromium: its search finds words anywhere in the text, and nothing of its titles, tree and tables is cut.
SITE names its folder; scripts/test-view.sh makes it and runs this."""
import os
import pathlib
import sys
import unittest

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parent.parent / "tool"))
from browser import Browser  # noqa: E402

SITE = pathlib.Path(os.environ["SITE"])
PAGES = sorted(path.name for path in SITE.glob("*.html"))
RECORDS = [page for page in PAGES if page.startswith("struct")]
DOWN, ESCAPE, ENTER = "\ue015", "\ue00c", "\ue007"
SIZES = ((1280, 900, False), (400, 800, True))

# What is wider than the place that it has, but for what may be scrolled by itself.
CUT = """
const shown = element => element.getClientRects().length > 0;
const cut = [];
if (document.documentElement.scrollWidth > innerWidth) cut.push("the page: " + document.documentElement.scrollWidth);
for (const title of document.querySelectorAll("div.title, .contents h1, .contents h2:not(.memtitle), .contents h3"))
    if (shown(title) && (title.scrollWidth > title.clientWidth + 1 || title.getBoundingClientRect().right > innerWidth))
        cut.push("the title " + title.innerText);
const tree = document.getElementById("side-nav").getBoundingClientRect();
for (const label of document.querySelectorAll("#nav-tree .label a"))
    if (shown(label) && label.getBoundingClientRect().right > tree.right) cut.push("in the tree " + label.innerText);
for (const table of document.querySelectorAll(".contents table"))
    if (shown(table) && table.getBoundingClientRect().right > innerWidth + 1 && !table.closest(".memproto, .memdoc, .fragment"))
        cut.push("a table of " + table.className);
return cut;
"""


class Search(unittest.TestCase):
    def search(self, browser, query):
        """The headings that are found, best first."""
        browser.run("const field = document.querySelector('#search input'); field.focus(); field.value = arguments[0];"
                    "field.dispatchEvent(new Event('input'));", query)
        browser.settle()
        return browser.run("return [...document.querySelectorAll('#search-results b')].map(name => name.innerText)")

    def test_finds_words_anywhere_on_all_pages(self):
        with Browser(1280, 900) as browser:
            browser.open(SITE / "units.html")
            for query, wanted in (("nearest", "qel_unit_query_nearest()"), ("thread", "Threads"), ("install", "Install it"),
                                  ("ONE PROBE", "Units and tokens"), ("sqrt hop", "Tokens and lattice maths"),
                                  ("opengl", ""), ("(", "")):
                found = self.search(browser, query)
                self.assertEqual(bool(found), query != "opengl", query)
                self.assertTrue(any(wanted in name for name in found[:6]) or not wanted, (query, found))
            self.assertEqual(self.search(browser, "opengl"), [])
            self.assertIn("No page", browser.text("#search-results"))
            self.assertEqual(self.search(browser, ""), [])
            self.assertEqual(browser.text("#search-results"), "")
            self.assertEqual(browser.complaints(), [])

    def test_every_hit_leads_to_its_place(self):
        with Browser(1280, 900) as browser:
            browser.open(SITE / "index.html")
            self.search(browser, "qel")
            links = browser.run("return [...document.querySelectorAll('#search-results a')].map(a => a.getAttribute('href'))")
            self.assertEqual(len(links), 30)
            every = browser.run("return searchSections().map(section => section.link)")
            self.assertGreater(len(every), 300)
            for link in every:
                page, _, anchor = link.partition("#")
                self.assertIn(page, PAGES)
                if anchor:
                    self.assertIn(f'id="{anchor}"', (SITE / page).read_text(encoding="utf-8"), link)

    def test_is_used_by_keys(self):
        with Browser(1280, 900) as browser:
            browser.open(SITE / "index.html")
            browser.press("/")
            self.assertEqual(browser.run("return document.activeElement.type"), "search")
            browser.press(*"lattice")
            self.assertTrue(browser.text("#search-results"))
            browser.press(ESCAPE)
            self.assertEqual(browser.text("#search-results"), "")
            browser.press(*" key", DOWN, DOWN)
            wanted = browser.run("return document.querySelectorAll('#search-results a')[1].href")
            self.assertEqual(browser.run("return document.activeElement.href"), wanted)
            browser.press(ENTER)
            self.assertEqual(browser.run("return location.href"), wanted)

    def test_fits_a_telephone(self):
        with Browser(400, 800, mobile=True) as browser:
            browser.open(SITE / "units.html")
            self.assertTrue(self.search(browser, "nearest"))
            left, _, width, _ = browser.box("#search-results")
            self.assertGreaterEqual(left, 0)
            self.assertLessEqual(left + width, 400)


class Whole(unittest.TestCase):
    def test_no_title_no_line_of_the_tree_and_no_table_is_cut(self):
        for width, height, mobile in SIZES:
            with Browser(width, height, mobile=mobile) as browser:
                for page in [page for page in PAGES if page not in RECORDS[3:]]: # which are alike
                    browser.open(SITE / page)
                    if page.startswith("group__"): # whose functions the tree can show
                        browser.run("document.querySelector('#nav-tree .selected .arrow')?.click()")
                        browser.settle()
                    with self.subTest(page=page, width=width):
                        self.assertEqual(browser.run(CUT), [])


if __name__ == "__main__":
    unittest.main()
