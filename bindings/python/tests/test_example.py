# SPDX-License-Identifier: MIT
import os
import subprocess
import sys

from .support import FOLDER, Case, numpy

EXAMPLE = FOLDER.parent / "examples" / "nearest_tokens.py"
# The example's answer, each line with its key's distance reckoned from the first one's.
KEYS = [(0, 82239, "000001E0"), (5, 82213, "000001F8"), (9, 82143, "000001C7"), (10, 82119, "000001DF"),
        (12, 82406, "000001C8")]


class NearestTokens(Case):
    def test_goes_from_an_archive_to_tokens(self) -> None:
        blocked = "import sys; sys.modules['numpy'] = None; " if numpy is None else ""
        program = blocked + "import runpy, sys; del sys.argv[0]; runpy.run_path(sys.argv[0], run_name='__main__')"
        answer = subprocess.run(
            [sys.executable, "-c", program, str(EXAMPLE)], capture_output=True, text=True,
            env={**os.environ, "PYTHONPATH": str(FOLDER.parent)}, cwd=str(self.folder))
        self.assertEqual((answer.returncode, answer.stderr), (0, ""))
        lines = answer.stdout.splitlines()
        self.assertEqual(len(lines), len(KEYS))
        for line, (hops, key, identity) in zip(lines, KEYS):
            self.assertEqual(int(abs(key - KEYS[0][1]) ** 0.5), hops)
            self.assertTrue(line.startswith(
                "{} hops: Token(morton={}, hex_id='{}', payload=".format(hops, key, identity)), line)
