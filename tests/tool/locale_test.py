# SPDX-License-Identifier: MIT
"""What the tool prints and writes is the same in every locale. LOCALES names a folder of some."""

import os
import unittest

from files import agents, cache, scene, unit
from tool import HARBOUR, ToolTest

LOCALES = os.environ.get("LOCALES", "")


@unittest.skipUnless(LOCALES, "there are no locales here (Debian: locales)")
class LocaleTest(ToolTest):
    def everywhere(self, *arguments, status=0):
        """What the tool prints in the C locale, where all others have to print the same."""
        results = []
        for locale in "C", "de_DE.UTF-8", "ps_AF.UTF-8":
            environment = dict(os.environ, LOCPATH=LOCALES, LC_ALL=locale, LANGUAGE="")
            results.append((self.qel(*arguments, status=status, env=environment), self.errors))
        self.assertEqual(results[1:], results[:1] * 2)
        return results[0][0]

    def test_reports_have_decimal_points(self):
        self.file(unit([(1234567, b"0000002A", 5, 1)]), "a.qel")
        self.file(scene(), "a.bqel")
        self.file(cache(), "a.qelm")
        self.file(agents([(b"2A9E0100", 0)]), "a.qeag")
        for name in HARBOUR, "a.qel", "a.bqel", "a.qelm", "a.qeag":
            self.everywhere("info", name)
        for name in "a.qel", "a.bqel", "a.qelm", "a.qeag":
            self.assertIn("1", self.everywhere("dump", name))
            self.assertIn("1", self.everywhere("dump", "--json", name))
        self.assertRegex(self.everywhere("dump", "a.bqel"), r"\d\.\d")
        self.assertIn("1234567", self.everywhere("nearest", "a.qel", "1000000"))
        self.everywhere("info", "missing", status=1)
