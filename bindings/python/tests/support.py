# SPDX-License-Identifier: MIT
"""What several tests need: counted calls, temporary folders, expected failures, single precision."""

import gc
import os
import struct
import tempfile
import unittest
from pathlib import Path
from typing import Any, Callable, Dict, List

from qel_unit import QelError, _library, _library_archive, _raw, _raw_archive

try:
    import numpy as _numpy
except ImportError:
    _numpy = None  # type: ignore[assignment]

#: NumPy, None where it is missing or kept out.
numpy: Any = _numpy

FOLDER = Path(__file__).resolve().parent
ROOT = FOLDER.parents[2]
TORUS = ROOT / "examples" / "data" / "torus.abc"
HARBOUR = ROOT / "examples" / "data" / "harbour.abc"
CODES = {**_raw.CODES, **_raw_archive.CODES}
CODE_NAMES = {**_raw.CODE_NAMES, **_raw_archive.CODE_NAMES}

#: How often each function of both libraries was called.
calls: Dict[str, int] = dict.fromkeys([*_raw.SIGNATURES, *_raw_archive.SIGNATURES], 0)


def _counted(name: str, function: Callable[..., Any]) -> Callable[..., Any]:
    def call(*arguments: Any) -> Any:
        calls[name] += 1
        return function(*arguments)

    return call


def count_calls() -> None:
    """Puts a counter before every function of the loaded libraries."""
    for raw, interface in ((_library.raw, _raw), (_library_archive.raw, _raw_archive)):
        for name in interface.SIGNATURES:
            setattr(raw, name, _counted(name, getattr(raw, name)))


def f32(number: float) -> float:
    """A number rounded to single precision."""
    return float(struct.unpack("<f", struct.pack("<f", number))[0])


def buffer(array: Any) -> memoryview:
    """An array's element type, and whether it can be written to, with NumPy and without."""
    return memoryview(array)


def rows(array: Any) -> List[List[float]]:
    return [list(row) for row in array.tolist()]


class Case(unittest.TestCase):
    """A test with a temporary folder, which checks that a failure has its function, code and meaning."""

    def setUp(self) -> None:
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = Path(folder.name)

    def file(self, name: str) -> Path:
        return self.folder / name

    def fails(self, function: str, code: int, call: Callable[..., Any], *arguments: Any) -> None:
        with self.assertRaises(QelError) as caught:
            call(*arguments)
        error = caught.exception
        self.assertEqual((error.function, error.code), (function, code))
        self.assertEqual((error.name, error.meaning), (CODE_NAMES[function][code], CODES[function][code]))
        self.assertIn(error.meaning, str(error))
        self.assertIn(function, str(error))

    def releases(self, function: str, count: int, act: Callable[[], Any]) -> None:
        """`act` and a collection call a release function so often."""
        gc.collect()
        before = calls[function]
        act()
        gc.collect()
        self.assertEqual(calls[function] - before, count)


def mapped(path: Path) -> bool:
    """Whether this process has a file mapped (Linux)."""
    return str(path) in Path("/proc/self/maps").read_text(encoding="utf-8")


def opened(path: Path) -> bool:
    """Whether this process has a file open (Linux)."""
    for entry in os.listdir("/proc/self/fd"):
        try:
            if os.readlink("/proc/self/fd/" + entry) == str(path):
                return True
        except OSError:
            pass  # the listing's own descriptor is gone by now
    return False
