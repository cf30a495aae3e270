# SPDX-License-Identifier: MIT
"""The chain that scripts/demo.sh shows. SOURCE names the project's folder."""

import os
import shlex
import subprocess
import sys

import files
from tool import HARBOUR, QEL, ToolTest

SHOW = os.path.join(os.environ["SOURCE"], "scripts/show_chain.py")


class DemoTest(ToolTest):
    def show(self, archive):
        return subprocess.run([sys.executable, "-B", SHOW, QEL, archive, "out"], cwd=self.folder, capture_output=True,
                              encoding="utf-8", timeout=120)

    def test_shows_the_meshes_answers_three_queries_and_ends_with_a_command_that_makes_the_page(self):
        run = self.show(HARBOUR)
        self.assertEqual((run.returncode, run.stderr), (0, ""))
        lines = run.stdout.splitlines()
        self.assertIn("/harbour/sea                                      441     400      48  deforms", lines)
        self.assertEqual(sum(line.startswith("/harbour/") for line in lines), 25)
        self.assertEqual(sum("HOPS" in line for line in lines), 3)
        command, _ = lines[-1].split(" && ")
        subprocess.run(shlex.split(command), cwd=self.folder, check=True)
        self.assertGreater(os.path.getsize(self.path("out/page.html")), 10000)

    def test_an_archive_that_cannot_be_read_ends_it_with_one_message(self):
        run = self.show(self.file(b"Ogawa nonsense", "bad.abc"))
        self.assertEqual((run.returncode, run.stdout), (1, ""))
        self.assertRegex(run.stderr, r"\Aqel: bad.abc: [^\n]+\n\Z")
        run = self.show(self.file(files.unit([]), "unit.abc"))
        self.assertNotEqual(run.returncode, 0)
