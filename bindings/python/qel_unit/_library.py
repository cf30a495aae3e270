# SPDX-License-Identifier: MIT
"""Finds and loads the shared library."""

import ctypes
import ctypes.util
import os
import sys
from typing import Iterator, List

from ._raw import Functions

VARIABLE = "QEL_UNIT_LIBRARY"

if sys.platform == "win32":
    NAMES = ("qel_unit.dll", "libqel_unit.dll")
elif sys.platform == "darwin":
    NAMES = ("libqel_unit.dylib",)
else:
    NAMES = ("libqel_unit.so",)


def _places() -> Iterator[str]:
    named = os.environ.get(VARIABLE)
    if named:
        yield named  # and nothing else: a wrong name must not quietly lead to another library
        return
    folder = os.path.dirname(os.path.abspath(__file__))
    for name in NAMES:
        beside = os.path.join(folder, name)
        if os.path.exists(beside):
            yield beside
    yield from NAMES
    found = ctypes.util.find_library("qel_unit")  # also knows libraries that have a version in their name only
    if found:
        yield found


def load() -> Functions:
    """The functions of the first library that can be loaded; an ImportError tells what was tried."""
    tried: List[str] = []
    for place in _places():
        try:
            library = ctypes.CDLL(place)
        except OSError as error:
            tried.append("{} ({})".format(place, error))
            continue
        try:
            return Functions(library)
        except AttributeError as error:
            raise ImportError("{} is no qel_unit library of this version: {}".format(place, error)) from error
    raise ImportError(
        "the shared library of qel_unit was not found. Set {} to its path, put it beside the package, or install it "
        "where the system's loader looks. Tried: {}".format(VARIABLE, "; ".join(tried))
    )


#: The library's functions, as they are.
raw: Functions = load()
