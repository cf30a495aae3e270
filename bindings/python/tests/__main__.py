# SPDX-License-Identifier: MIT
"""Runs all tests, and then checks that every function of both libraries was called."""

import sys
import unittest
from pathlib import Path

from .support import FOLDER, calls, numpy


class EveryFunction(unittest.TestCase):
    """Last: counts what the others have called."""

    def test_was_called_through_the_wrappers(self) -> None:
        self.assertEqual([name for name, count in calls.items() if count == 0], [])
        self.assertEqual(len(calls), 101 + 16)


def main() -> int:
    print("NumPy: {}".format("none" if numpy is None else numpy.__version__), file=sys.stderr)
    if numpy is not None and "--without-numpy" in sys.argv:
        raise RuntimeError("NumPy was not kept out")
    if numpy is None and "--with-numpy" in sys.argv:
        raise RuntimeError("NumPy is missing")
    suite = unittest.defaultTestLoader.discover(str(FOLDER), top_level_dir=str(Path(FOLDER).parent))
    suite.addTests(unittest.defaultTestLoader.loadTestsFromTestCase(EveryFunction))
    result = unittest.TextTestRunner().run(suite)
    return 0 if result.wasSuccessful() else 1


sys.exit(main())
