# SPDX-License-Identifier: MIT
"""The tool as its user meets it: output, messages and exit statuses.

QEL and TORUS name the program and an archive."""

import os
import pty
import re
import resource
import signal
import stat
import subprocess
import tempfile
import unittest

QEL, TORUS = os.environ["QEL"], os.environ["TORUS"]
HARBOUR = os.path.join(os.path.dirname(TORUS), "harbour.abc")


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

    def run_qel(self, *arguments, stdin=None, **how):
        return subprocess.run([QEL, *arguments], input=stdin, capture_output=True, cwd=self.folder, timeout=120,
                              stdin=None if stdin is not None else subprocess.DEVNULL, **how)

    def qel(self, *arguments, status=0, **how):
        run = self.run_qel(*arguments, **how)
        self.errors = run.stderr.decode()
        self.assertIn(run.returncode, (0, 1) if status is None else (status,), self.errors)
        return run.stdout.decode()

    def status_of(self, *arguments, **how):
        run = self.run_qel(*arguments, **how)
        return run.returncode, run.stderr.decode()

    def fails(self, message, *arguments, **how):
        out = self.qel(*arguments, status=1, **how)
        self.assertEqual(self.errors, f"qel: {message}\n")
        return out


def commands(test):
    """The commands that --help lists."""
    return re.findall(r"(?m)^  (\w+)", test.qel("--help").partition("Subcommands:")[2])


def options(test, *command):
    """The names of a command's options that its --help lists."""
    listed = "\n".join(re.findall(r"(?m)^  (-\S+)", test.qel(*command, "--help")))
    return set(re.findall(r"-[-a-z]+", listed))


def open_terminal(test):
    """The two ends of a terminal; where none can be had, as in a bare chroot, the test is skipped."""
    try:
        return pty.openpty()
    except OSError as error:
        return test.skipTest(f"no pseudo-terminal can be had here: {error}")


def full_device(test):
    """The device whose disk is always full; opened for writing where it is not there, it would become a file."""
    if not (os.path.exists("/dev/full") and stat.S_ISCHR(os.stat("/dev/full").st_mode)):
        test.skipTest("there is no device /dev/full here")
    return "/dev/full"


def read_terminal(terminal):
    """All that is shown until the other end is closed."""
    shown = b""
    try:
        while part := os.read(terminal, 4096):
            shown += part
    except OSError:  # how Linux reports that the other end is closed
        pass
    os.close(terminal)
    return shown.decode()


def at_most(size):
    """For a child: no file of its making grows beyond this, as on a full disk."""
    signal.signal(signal.SIGXFSZ, signal.SIG_IGN)
    resource.setrlimit(resource.RLIMIT_FSIZE, (size, size))
