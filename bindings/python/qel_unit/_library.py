# SPDX-License-Identifier: MIT
"""Finds and loads the shared libraries."""

import ctypes
import ctypes.util
import os
import sys
from typing import Callable, Iterator, List, Tuple, TypeVar

from ._raw import VERSION, Functions

F = TypeVar("F")

#: The first library's path, where the variable is set.
VARIABLE = "QEL_UNIT_LIBRARY"


def file_names(name: str) -> Tuple[str, ...]:
    """What the file of a library is called on this system, first the name that only this interface's libraries have."""
    if sys.platform == "win32":
        return name + ".dll", "lib{}.dll".format(name)
    major = VERSION.partition(".")[0]
    if sys.platform == "darwin":
        return "lib{}.{}.dylib".format(name, major), "lib{}.dylib".format(name)
    return "lib{}.so.{}".format(name, major), "lib{}.so".format(name)


def _present(folder: str, names: Tuple[str, ...]) -> Iterator[str]:
    for name in names:
        place = os.path.join(folder, name)
        if os.path.exists(place):
            yield place


def _places(name: str, variable: str, beside: str) -> Iterator[str]:
    named = os.environ.get(variable)
    if named:
        yield named  # and nothing else: a wrong name must not quietly lead to another library
        return
    names = file_names(name)
    if beside:
        yield next(_present(beside, names), os.path.join(beside, names[0]))
        return
    yield from _present(os.path.dirname(os.path.abspath(__file__)), names)
    yield from names
    found = ctypes.util.find_library(name)  # also knows libraries that have a version in their name only
    if found:
        yield found


def load(name: str, variable: str, functions: Callable[[ctypes.CDLL], F], beside: str = "") -> F:
    """The functions of the first library that can be loaded; an ImportError tells what was tried.

    Where a folder `beside` is given, the library must lie there: two versions must not meet.
    """
    tried: List[str] = []
    for place in _places(name, variable, beside):
        try:
            library = ctypes.CDLL(place)
        except OSError as error:
            tried.append("{} ({})".format(place, error))
            continue
        try:
            return functions(library)
        except AttributeError as error:
            raise ImportError("{} is no {} library of this version: {}".format(place, name, error)) from error
    raise ImportError(
        "the shared library of {} was not found. Set {} to its path, put it beside the package, or install it "
        "where the system's loader looks. Tried: {}".format(name, variable, "; ".join(tried))
    )


#: The library's functions, as they are.
raw: Functions = load("qel_unit", VARIABLE, Functions)
