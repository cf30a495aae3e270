# SPDX-License-Identifier: MIT
import ast
import os
import subprocess
import sys

from .support import FOLDER, TORUS, Case, numpy

EXAMPLE = FOLDER.parent / "examples" / "nearest_tokens.py"
# The example's answer, each line with its key's distance reckoned from the first one's.
KEYS = [(0, 82239, "000001E0"), (5, 82213, "000001F8"), (9, 82143, "000001C7"), (10, 82119, "000001DF"),
        (12, 82406, "000001C8")]


class NearestTokens(Case):
    def test_has_ten_lines_of_code_at_most(self) -> None:
        text = EXAMPLE.read_text(encoding="utf-8")
        docstring = ast.parse(text).body[0]
        assert docstring.end_lineno is not None
        lines = [line.strip() for line in text.splitlines()[docstring.end_lineno:]]
        code = [line for line in lines if line and not line.startswith("#")]
        self.assertTrue(0 < len(code) <= 10, code)
        self.assertNotIn(";", "".join(code))

    def test_goes_from_an_archive_to_tokens(self) -> None:
        blocked = "import sys; sys.modules['numpy'] = None; " if numpy is None else ""
        program = blocked + "import runpy, sys; del sys.argv[0]; runpy.run_path(sys.argv[0], run_name='__main__')"
        answer = subprocess.run(
            [sys.executable, "-c", program, str(EXAMPLE), str(TORUS), "tokens.qel"], capture_output=True, text=True,
            env={**os.environ, "PYTHONPATH": str(FOLDER.parent)}, cwd=str(self.folder))
        self.assertEqual((answer.returncode, answer.stderr), (0, ""))
        lines = answer.stdout.splitlines()
        self.assertEqual(len(lines), len(KEYS))
        for line, (hops, key, identity) in zip(lines, KEYS):
            self.assertEqual(int(abs(key - KEYS[0][1]) ** 0.5), hops)
            self.assertTrue(line.startswith(
                "{} hops: Token(morton={}, hex_id='{}', payload=".format(hops, key, identity)), line)
