#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""What checks the pages and the site notices what is wrong, and the pages' filter links what it should."""
import pathlib
import subprocess
import sys
import tempfile
import unittest

PROJECT = pathlib.Path(__file__).resolve().parent.parent.parent
sys.path[:0] = [str(PROJECT / "docs"), str(PROJECT / "tests" / "docs")]
sys.dont_write_bytecode = True
import check_pages  # noqa: E402
import page_filter  # noqa: E402


def run(*command):
    return subprocess.run([sys.executable, *map(str, command)], capture_output=True, text=True)


class Links(unittest.TestCase):
    def check(self, **pages):
        with tempfile.TemporaryDirectory() as folder:
            for name, text in pages.items():
                pathlib.Path(folder, name + ".html").write_text(text)
            return run(PROJECT / "scripts" / "check_links.py", folder)

    def test_sound_pages_pass(self):
        ended = self.check(index='<a href="other.html#there">', other='<p id="there"><a href="https://example.org/x">')
        self.assertEqual((ended.returncode, ended.stdout), (0, "links: 1 local ones on 2 pages, 0 broken\n"))

    def test_a_missing_page_place_picture_or_word_fails(self):
        for link, reason in (('<a href="gone.html">', "no such file"), ('<a href="#gone">', "no such place"),
                             ('<img alt="" src="gone.svg">', "no such file"), ('<img src="index.html">', "without words")):
            ended = self.check(index=link)
            self.assertEqual(ended.returncode, 1, link)
            self.assertIn(reason, ended.stdout)

    def test_no_pages_are_no_site(self):
        self.assertNotEqual(self.check().returncode, 0)


class Stack(unittest.TestCase):
    def check(self, *lines, exports="    outer;\n"):
        """Looks at a call graph of these lines, as gcc writes them."""
        with tempfile.TemporaryDirectory() as folder:
            pathlib.Path(folder, "exports.map").write_text(exports)
            pathlib.Path(folder, "unit.ci").write_text("\n".join(lines))
            ended = run(PROJECT / "scripts" / "check_stack.py", folder, pathlib.Path(folder, "exports.map"))
        return ended.returncode, ended.stdout, ended.stderr

    @staticmethod
    def function(name, size, kind="static", text=None):
        return f'node: {{ title: "{name}" label: "{text or name}\\nunit.cpp:1:1\\n{size} bytes ({kind})" }}'

    @staticmethod
    def call(caller, callee):
        return f'edge: {{ sourcename: "{caller}" targetname: "{callee}" label: "unit.cpp:2:2" }}'

    def test_frames_along_the_deepest_path_are_added(self):
        code, out, _ = self.check(self.function("outer", 1000), self.function("small", 10), self.function("large", 500),
                                  self.call("outer", "small"), self.call("outer", "large"), self.call("large", "fread"))
        self.assertEqual(code, 0)
        self.assertIn("   1500 outer\n            500 large\n", out)

    def test_more_than_the_ceiling_fails(self):
        for size, expected in ((24 * 1024 - 8, 0), (24 * 1024 - 7, 1)):
            code, _, err = self.check(self.function("outer", 8), self.function("inner", size), self.call("outer", "inner"))
            self.assertEqual(code, expected, err)
        self.assertIn("outer: needs 32769 bytes", err)

    def test_a_pointer_may_lead_to_every_function_of_the_file(self):
        _, out, _ = self.check(self.function("outer", 8), self.function("unit.cpp:form", 700, text="qel::{anonymous}::form"),
                               self.call("outer", "__indirect_call"))
        self.assertIn("    708 outer", out)

    def test_what_has_no_sum_fails(self):
        for lines, reason in (((self.function("outer", 8, "dynamic"),), "has no bound"),
                              ((self.function("outer", 8), self.call("outer", "outer")), "calls itself"),
                              ((self.function("outer", 8), self.function("a", 8), self.call("outer", "a"),
                                self.call("a", "outer")), "calls itself"),
                              ((self.function("outer", 8), self.call("outer", "qsort")), "unknown function"),
                              ((self.function("other", 8),), "not in the build"), ((), "not in the build")):
            code, _, err = self.check(*lines)
            self.assertEqual(code, 1, reason)
            self.assertIn(reason, err)


class Pages(unittest.TestCase):
    everything = check_pages.sources()

    def check(self, addition):
        """What is wrong with a page once something is added to it."""
        page = PROJECT / "docs" / "units.md"
        return list(check_pages.check_page(page, page.read_text(encoding="utf-8") + f"\n{addition}\n", self.everything))

    def test_existing_names_are_accepted(self):
        self.assertEqual(self.check("`scripts/lint.sh --fix`, `-DBUILD_TESTING=OFF`, `qel_unit_load`, `src/common/file`, `UnitLoad.SortsByKeyAndKeepsEveryByte`, "
                                    "`cmake --preset release`, [x](guarantees.md#threads), [y](../include/qel_unit.h#scene)"), [])

    def test_missing_names_are_reported(self):
        for addition, reason in (("`scripts/gone.sh`", "not there"), ("`scripts/lint.sh --gone`", "does not know"),
                                 ("`-DQEL_GONE=ON`", "nothing reads"), ("`qel_unit_gone`", "is nowhere"),
                                 ("`UnitLoad.IsGone`", "the test UnitLoad.IsGone"), ("`cmake --preset gone`", "preset gone"), ("`find_package(qel_unit 9.9)`", "version 9.9"),
                                 ("[x](gone.md)", "not there"), ("[x](guarantees.md#gone)", "no such heading"),
                                 ("[x](../include/qel_unit.h#gone)", "no such group"),
                                 ("    scripts/gone.sh", "not there"), ("```sh\nscripts/gone.sh\n```", "not there"),
                                 ("```c\nint x;\n```", "no test runs"), ("@include gone.c", "not in docs/snippets")):
            problems = self.check(addition)
            self.assertEqual(len(problems), 1, addition)
            self.assertIn(reason, problems[0])


class Map(unittest.TestCase):
    def test_a_room_or_source_that_is_not_named_is_noticed(self):
        page = "| `common/heap.h`, `bits.h` | arrays |\n| `tests/support` | the kit of heap_test and clock |\n"
        self.assertEqual(list(check_pages.check_map(page, ["common", "support"], ["heap.h", "bits.h"])), [])
        self.assertEqual(list(check_pages.check_map(page, ["common", "model"], ["heap.h", "clock.h", "cpu.cpp"])),
                         ["does not name clock", "does not name cpu", "does not name model"])


class Filter(unittest.TestCase):
    def test_links_what_the_site_has(self):
        page = PROJECT / "docs" / "units.md"
        made = page_filter.filtered(page, "# Title\n\n## A part\n\n`qel_unit_load` and `free`, [the\nrest](scenes.md#the-functions),"
                                          " [a file](snippets/units.c), me@home of qel_unit\n\n```text\n`qel_unit_load`\n```\n")
        self.assertEqual(made, "# Title {#units}\n\n## A part {#units-a-part}\n\n<code>@ref qel_unit_load</code> and `free`, "
                               '@ref scenes-the-functions "the rest", a file, me@@home of %qel_unit\n\n'
                               "```text\n`qel_unit_load`\n```\n")


if __name__ == "__main__":
    unittest.main()
