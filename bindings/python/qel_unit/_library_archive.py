# SPDX-License-Identifier: MIT
"""Finds and loads the second shared library, the reader of archives by what they say."""

import os

from ._library import VARIABLE as FIRST
from ._library import load
from ._raw_archive import Functions

#: The library's path, where the variable is set. Where it is not, the library is looked for beside the first one, if
#: that one was named, and then wherever the first one is looked for.
VARIABLE = "QEL_ARCHIVE_LIBRARY"

#: The library's functions, as they are.
raw: Functions = load("qel_archive", VARIABLE, Functions, os.path.dirname(os.environ.get(FIRST, "")))
