# SPDX-License-Identifier: MIT
"""The tool as its user meets it: output, messages and exit statuses.

QEL and TORUS name the program and an archive."""

import os
import resource
import signal
import subprocess
import tempfile
import unittest

QEL, TORUS = os.environ["QEL"], os.environ["TORUS"]


class ToolTest(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = folder.name

    def path(self, name):
        return os.path.join(self.folder, name)

    def file(self, content, name="file"):
        with open(self.path(name), "wb") as out:
            out.write(content)
        return name

    def content(self, name):
        with open(self.path(name), "rb") as file:
            return file.read()

    def qel(self, *arguments, stdin=None, status=0, **how):
        run = subprocess.run([QEL, *arguments], input=stdin, capture_output=True, cwd=self.folder, timeout=120,
                             stdin=None if stdin is not None else subprocess.DEVNULL, **how)
        self.errors = run.stderr.decode()
        self.assertEqual(run.returncode, status, self.errors)
        return run.stdout.decode()

    def fails(self, message, *arguments, **how):
        out = self.qel(*arguments, status=1, **how)
        self.assertEqual(self.errors, f"qel: {message}\n")
        return out


def at_most(size):
    """For a child: no file of its making grows beyond this, as on a full disk."""
    signal.signal(signal.SIGXFSZ, signal.SIG_IGN)
    resource.setrlimit(resource.RLIMIT_FSIZE, (size, size))
