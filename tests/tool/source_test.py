# SPDX-License-Identifier: MIT
"""What holds for the tool's sources, and for its build where a library is missing. SOURCE names the project's folder."""

import os
import pathlib
import re
import subprocess
import tempfile
import unittest

SOURCE = pathlib.Path(os.environ["SOURCE"])
TOOL = SOURCE / "tools/qel"


class SourceTest(unittest.TestCase):
    def test_only_the_named_places_write_to_the_standard_streams(self):
        """messages.cpp escapes what it writes. The others write documents whose texts they escape themselves, tables
        of numbers, the help, what shells read, or numbers to a file of their own."""
        writes = re.compile(r"\b(printf|fprintf|puts|fputs|putchar|fwrite|perror)\(|\bstd::(cout|cerr|clog)\b")
        found = {path.name for path in TOOL.rglob("*.cpp") if writes.search(path.read_text(encoding="utf-8"))}
        self.assertEqual(found, {"messages.cpp", "writer.cpp", "page_write.cpp", "nearest.cpp", "main.cpp",
                                 "whole_frames.cpp", "agents.cpp", "output.cpp"})

    def test_the_tool_is_built_of_nothing_of_the_examples(self):
        """scripts/check_style.py checks what its sources may include."""
        self.assertNotIn("examples", (TOOL / "CMakeLists.txt").read_text(encoding="utf-8"))

    def test_without_cli11_the_target_says_what_is_missing(self):
        with tempfile.TemporaryDirectory() as build:
            subprocess.run(["cmake", "-S", SOURCE, "-B", build, "-G", "Ninja", "-DBUILD_TESTING=OFF",
                            "-DCMAKE_DISABLE_FIND_PACKAGE_CLI11=ON"], check=True, capture_output=True)
            run = subprocess.run(["cmake", "--build", build, "--target", "qel"], capture_output=True, text=True)
        self.assertNotEqual(run.returncode, 0)
        self.assertIn("The tool qel is left out: CLI11 (Debian: libcli11-dev) was not found", run.stdout + run.stderr)
