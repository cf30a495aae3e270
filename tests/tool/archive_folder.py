# SPDX-License-Identifier: MIT
"""The folder of archives that production tools wrote, which are no part of the project; tests are skipped without it."""

import os
import unittest

FOLDER = os.environ.get("QEL_REAL_ARCHIVES") or os.path.join(
    os.path.dirname(os.path.abspath(__file__)), "../../../shared/archives")

needs_real_archives = unittest.skipUnless(
    os.path.isdir(FOLDER), "no archives here: set QEL_REAL_ARCHIVES to a folder of them")
