# SPDX-License-Identifier: MIT
"""The tests of the Python package: `python3 -m tests [--without-numpy]`, or both ways scripts/test-python.sh."""

import sys

if "--without-numpy" in sys.argv:
    sys.modules["numpy"] = None  # type: ignore[assignment]  # an import of it fails

from .support import count_calls

count_calls()
