# SPDX-License-Identifier: MIT
"""Runs all tests of the farm: python3 -m tests_farm [-v] [NAME...]."""

import sys
import unittest
from pathlib import Path

FOLDER = Path(__file__).resolve().parent


def main() -> int:
    loader = unittest.defaultTestLoader
    names = [name for name in sys.argv[1:] if not name.startswith("-")]
    suite = (loader.loadTestsFromNames(["tests_farm." + name for name in names]) if names
             else loader.discover(str(FOLDER), top_level_dir=str(FOLDER.parent)))
    result = unittest.TextTestRunner(verbosity=2 if "-v" in sys.argv else 1).run(suite)
    return 0 if result.wasSuccessful() else 1


if __name__ == "__main__":
    sys.exit(main())
