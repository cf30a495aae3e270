# SPDX-License-Identifier: MIT
"""Finds and loads the second shared library, the reader of archives by what they say, when it is first used."""

import os
from typing import Any, cast

from ._library import VARIABLE as FIRST
from ._library import load
from ._raw_archive import Functions

#: The library's path, where the variable is set. Where it is not, the library lies beside the first one, if a path to
#: that one was given, and else wherever the first one is looked for.
VARIABLE = "QEL_ARCHIVE_LIBRARY"


class _Deferred:
    """Loads at the first look at a function: whoever opens no archive needs no second library."""

    def __getattr__(self, name: str) -> Any:
        if name.startswith("__"):
            raise AttributeError(name)
        functions = load("qel_archive", VARIABLE, Functions, os.path.dirname(os.environ.get(FIRST, "")))
        for known, function in vars(functions).items():
            self.__dict__.setdefault(known, function)
        return getattr(functions, name)


#: The library's functions, as they are.
raw = cast(Functions, _Deferred())
