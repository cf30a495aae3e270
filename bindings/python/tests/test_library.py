# SPDX-License-Identifier: MIT
import ctypes.util
import os
import shutil
import subprocess
import sys
import tempfile
import unittest
from pathlib import Path
from typing import Dict

from qel_unit import _library, _library_archive

from .support import FOLDER, HARBOUR

PACKAGE = FOLDER.parent / "qel_unit"
LIBRARY = os.environ.get(_library.VARIABLE, "")


ROOT_OF_SQUARE = "print(qel_unit.tokens.sqrt(81))"
OPENED = "print(len(qel_unit.open_archive({!r})))".format(str(HARBOUR))


def imported(folder: Path, program: str = ROOT_OF_SQUARE, **variables: str) -> "subprocess.CompletedProcess[str]":
    """An import of the package in a separate process, without the variables of this one."""
    environment: Dict[str, str] = {
        name: text for name, text in os.environ.items()
        if name not in (_library.VARIABLE, _library_archive.VARIABLE, "LD_LIBRARY_PATH")}
    environment.update(variables, PYTHONPATH=str(folder), PYTHONDONTWRITEBYTECODE="1")
    return subprocess.run(
        [sys.executable, "-c", "import qel_unit; " + program],
        capture_output=True, text=True, env=environment, cwd=str(folder))


class Finding(unittest.TestCase):
    def setUp(self) -> None:
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = Path(folder.name)

    def test_takes_the_variable_first_and_only(self) -> None:
        answer = imported(PACKAGE.parent, QEL_UNIT_LIBRARY="/nowhere/libqel_unit.so", LD_LIBRARY_PATH=str(
            Path(LIBRARY).parent))
        self.assertNotEqual(answer.returncode, 0)
        self.assertIn("ImportError: the shared library of qel_unit was not found", answer.stderr)
        self.assertIn("Set QEL_UNIT_LIBRARY to its path", answer.stderr)
        self.assertIn("/nowhere/libqel_unit.so", answer.stderr)

    @unittest.skipUnless(LIBRARY, "needs the library's path in QEL_UNIT_LIBRARY")
    def test_looks_beside_the_package(self) -> None:
        shutil.copytree(PACKAGE, self.folder / "qel_unit", ignore=shutil.ignore_patterns("__pycache__"))
        (self.folder / "qel_unit" / _library.file_names("qel_unit")[0]).symlink_to(Path(LIBRARY).resolve())
        self.assertEqual(imported(self.folder).stdout, "9\n")

    @unittest.skipUnless(LIBRARY and sys.platform == "linux", "needs the library's path, and a loader with a path")
    def test_asks_the_systems_loader(self) -> None:
        (self.folder / "libqel_unit.so").symlink_to(Path(LIBRARY).resolve())
        self.assertEqual(imported(PACKAGE.parent, LD_LIBRARY_PATH=str(self.folder)).stdout, "9\n")

    def link(self, *names: str) -> None:
        for name in names:
            (self.folder / name).symlink_to((Path(LIBRARY).parent / name).resolve())

    @unittest.skipUnless(LIBRARY and sys.platform == "linux", "needs the libraries' folder, and a loader with a path")
    def test_takes_the_second_library_from_where_the_first_one_is(self) -> None:
        self.link("libqel_unit.so")
        alone = imported(PACKAGE.parent, OPENED, QEL_UNIT_LIBRARY=str(self.folder / "libqel_unit.so"),
                         LD_LIBRARY_PATH=str(Path(LIBRARY).parent))
        self.assertIn("ImportError: the shared library of qel_archive was not found", alone.stderr)
        self.assertIn(str(self.folder / "libqel_archive.so"), alone.stderr)
        self.link("libqel_archive.so")
        for variables in (
                {"QEL_UNIT_LIBRARY": str(self.folder / "libqel_unit.so")}, {"LD_LIBRARY_PATH": str(self.folder)},
                {"QEL_UNIT_LIBRARY": LIBRARY, "QEL_ARCHIVE_LIBRARY": str(self.folder / "libqel_archive.so")}):
            answer = imported(PACKAGE.parent, OPENED, **variables)
            self.assertEqual((answer.stdout, answer.stderr), ("42\n", ""))

    @unittest.skipUnless(LIBRARY and sys.platform == "linux", "needs the library's path")
    def test_needs_no_second_library_before_an_archive_is_opened(self) -> None:
        self.link("libqel_unit.so")
        answer = imported(PACKAGE.parent, QEL_UNIT_LIBRARY=str(self.folder / "libqel_unit.so"))
        self.assertEqual((answer.stdout, answer.stderr), ("9\n", ""))

    def test_refuses_another_library(self) -> None:
        other = ctypes.util.find_library("c")
        if other is None:
            self.skipTest("no other library is known")
        answer = imported(PACKAGE.parent, QEL_UNIT_LIBRARY=other)
        self.assertIn("is no qel_unit library of this version", answer.stderr)
