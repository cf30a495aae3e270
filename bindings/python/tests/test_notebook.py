# SPDX-License-Identifier: MIT
"""The notebook page: its cells print the page's output, and draw its picture."""

import importlib
import importlib.util
import os
import re
import subprocess
import sys
import unittest
from pathlib import Path
from typing import Any

from .support import ROOT, Case, numpy

SCRIPT = ROOT / "scripts" / "run_notebook.py"
PAGE = ROOT / "docs" / "python-notebook.md"
PICTURE = ROOT / "docs" / "images" / "harbour.png"
DRAWS = numpy is not None and importlib.util.find_spec("matplotlib") is not None
BLOCK = 32  # pixels: so coarse that another version's lines and fonts do not count


def pixels(path: Path) -> Any:
    """Red, green and blue of a picture, from 0 to 1."""
    return importlib.import_module("matplotlib.image").imread(str(path))[:, :, :3]


def blocks(picture: Any) -> Any:
    """The mean colours of a picture's blocks."""
    height, width = picture.shape[0] // BLOCK, picture.shape[1] // BLOCK
    cut = picture[: height * BLOCK, : width * BLOCK]
    return cut.reshape(height, BLOCK, width, BLOCK, 3).mean(axis=(1, 3))


def share(mask: Any) -> float:
    return float(mask.mean())


@unittest.skipUnless(DRAWS, "needs NumPy and Matplotlib")
class Notebook(Case):
    def test_prints_and_draws_what_the_page_shows(self) -> None:
        answer = subprocess.run(
            [sys.executable, str(SCRIPT), str(self.folder)], capture_output=True, text=True,
            env={**os.environ, "MPLCONFIGDIR": str(self.file("matplotlib"))})
        self.assertEqual((answer.returncode, answer.stdout), (0, ""), answer.stdout + answer.stderr)
        drawn, shown = pixels(self.file("harbour.png")), pixels(PICTURE)
        self.assertEqual(drawn.shape, shown.shape)
        difference = abs(blocks(drawn) - blocks(shown))
        self.assertLess(float(difference.max()), 0.06)
        self.assertLess(float(difference.mean()), 0.01)

    def test_the_picture_shows_sea_land_and_dots(self) -> None:
        shown = pixels(PICTURE)
        self.assertEqual(shown.shape, (320, 640, 3))
        red, green, blue = shown[:, :, 0], shown[:, :, 1], shown[:, :, 2]
        self.assertTrue(0.35 < share(shown.min(axis=2) > 0.99) < 0.60)  # the page around it
        self.assertTrue(0.35 < share((blue > red + 0.15) & (blue > green)) < 0.60)  # sea
        self.assertTrue(0.03 < share((red > blue + 0.03) & (green > blue)) < 0.15)  # land, boats, mill
        dots = (red > green + 0.3) & (red > blue + 0.3)
        self.assertTrue(0.0005 < share(dots) < 0.01)
        rows, columns = numpy.nonzero(dots)
        self.assertLess(max(numpy.ptp(rows), numpy.ptp(columns)), 60)  # all of them about one place
        self.assertLess(PICTURE.stat().st_size, 100_000)

    def test_a_page_with_another_output_is_reported(self) -> None:
        found = importlib.util.spec_from_file_location("run_notebook", SCRIPT)
        assert found is not None and found.loader is not None
        module = importlib.util.module_from_spec(found)
        found.loader.exec_module(module)
        page = "```python\nx = 2\nprint(x + 2)\n```\n\n```text\n5\n```\n\n```python\ny = x\n```\n"
        printed = module.run(page)
        self.assertEqual(printed, ["4\n", ""])
        self.assertEqual(module.with_outputs(page, printed), page.replace("5", "4"))
        cells = re.findall(r"^```python$", PAGE.read_text(encoding="utf-8"), re.M)
        self.assertEqual(len(cells), len(module.CELL.findall(PAGE.read_text(encoding="utf-8"))))
