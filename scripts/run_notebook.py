#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Runs the cells of docs/python-notebook.md in a folder and compares their output with the page.

Usage: scripts/run_notebook.py FOLDER [--write]     (--write updates the page's outputs and its picture)
Requires NumPy and Matplotlib, and the package's libraries at QEL_UNIT_LIBRARY or beside the package.
"""

import argparse
import contextlib
import difflib
import io
import os
import re
import shutil
import sys
from pathlib import Path
from typing import Any, Dict, List

ROOT = Path(__file__).resolve().parent.parent
PAGE = ROOT / "docs" / "python-notebook.md"
PICTURE = ROOT / "docs" / "images" / "harbour.png"
#: A cell and, if it prints something, its output.
CELL = re.compile(r"^```python\n(.*?)^```\n(?:\n^```text\n(.*?)^```\n)?", re.M | re.S)


def run(page: str) -> List[str]:
    """The output of each cell; all cells run as one program."""
    names: Dict[str, Any] = {"__name__": "__main__"}
    printed = []
    for number, cell in enumerate(CELL.finditer(page)):
        output = io.StringIO()
        with contextlib.redirect_stdout(output):
            exec(compile(cell.group(1), "cell {}".format(number + 1), "exec"), names)
        printed.append(output.getvalue())
    return printed


def with_outputs(page: str, printed: List[str]) -> str:
    """The page with its outputs replaced."""
    outputs = iter(printed)

    def renewed(cell: "re.Match[str]") -> str:
        output = next(outputs)
        code = "```python\n" + cell.group(1) + "```\n"
        return code + "\n```text\n" + output + "```\n" if output else code

    return CELL.sub(renewed, page)


def main() -> int:
    parser = argparse.ArgumentParser(description="Runs the notebook page in a folder.")
    parser.add_argument("folder", type=Path, help="where the cells work; it gets the archive, the tokens, the picture")
    parser.add_argument("--write", action="store_true", help="renew the page's outputs and its picture")
    given = parser.parse_args()
    sys.path.insert(0, str(ROOT / "bindings" / "python"))
    given.folder.mkdir(parents=True, exist_ok=True)
    shutil.copy(ROOT / "examples" / "data" / "harbour.abc", given.folder)
    os.chdir(given.folder)
    page = PAGE.read_text(encoding="utf-8")
    wanted = with_outputs(page, run(page))
    if given.write:
        PAGE.write_text(wanted, encoding="utf-8")
        shutil.copy("harbour.png", PICTURE)
    elif wanted != page:
        sys.stderr.writelines(difflib.unified_diff(
            page.splitlines(True), wanted.splitlines(True), "the page", "what its cells print"))
        return 1
    return 0


if __name__ == "__main__":
    sys.exit(main())
