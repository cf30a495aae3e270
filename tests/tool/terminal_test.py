# SPDX-License-Identifier: MIT
"""Output for terminals only: colours, and the progress line of a conversion. And --quiet.

SLOW_STEP, if given, is a library that makes each mesh cache take long."""

import fcntl
import os
import re
import struct
import subprocess
import termios
import unittest

import files
from tool import HARBOUR, QEL, ToolTest, commands, open_terminal, read_terminal

SLOW_STEP = os.environ.get("SLOW_STEP")
LIVELY = {"TERM": "xterm", "NO_COLOR": ""}


class TerminalTest(ToolTest):
    def shown(self, *call, columns=0, status=0, environment=LIVELY):
        """What a terminal shows that is standard output and error; standard input is no terminal."""
        terminal, end = open_terminal(self)
        fcntl.ioctl(end, termios.TIOCSWINSZ, struct.pack("4H", 24, columns, 0, 0))
        kept = {name: value for name, value in os.environ.items() if name not in ("TERM", "NO_COLOR")}
        with subprocess.Popen([QEL, *call], cwd=self.folder, stdin=subprocess.DEVNULL, stdout=end, stderr=end,
                              env={**kept, **environment}) as run:
            os.close(end)
            shown = read_terminal(terminal)
        self.assertEqual(run.returncode, status, shown)
        return shown


class ColourTest(TerminalTest):
    def setUp(self):
        super().setUp()
        unit = files.unit(files.THREE)
        self.file(unit, "good.qel")
        self.file(unit[:-1], "cut.qel")

    def test_a_terminal_shows_verdicts_names_and_errors_in_colours(self):
        self.assertIn("\x1b[1mtokens:\x1b[0m 3\r\n", self.shown("info", "good.qel"))
        self.assertIn("\x1b[32msound: yes\x1b[0m\r\n", self.shown("info", "good.qel"))
        cut = self.shown("info", "cut.qel", status=1)
        self.assertIn("\x1b[1;31msound: no\x1b[0m\r\n\x1b[1;31mproblem:\x1b[0m cut short", cut)
        self.assertEqual(self.shown("info", "none", status=1), "\x1b[1;31mqel:\x1b[0m none: No such file or directory\r\n")
        self.assertRegex(self.shown("nearest", "good.qel", "1"), r"\A\x1b\[1m +TOKEN .*HOPS\x1b\[0m\r\n")
        self.assertIn("\x1b[1;31mqel:\x1b[0m", self.shown("nonsense", status=2))

    def test_colours_are_reset_and_nothing_else_changes(self):
        for call, status in ((("info", "good.qel", "cut.qel", "-v", HARBOUR, "--tree"), 1), (("nearest", "good.qel", "1"), 0)):
            plain = self.shown(*call, status=status, environment={"TERM": "dumb"})
            self.assertEqual(re.sub(r"\x1b\[[\d;]+m([^\x1b\r]+)\x1b\[0m", r"\1", self.shown(*call, status=status)), plain)
            self.assertNotIn("\x1b", plain)

    def test_no_colours_if_they_are_disabled(self):
        call = "info", "good.qel", "cut.qel", "none"
        for environment, coloured in (({**LIVELY, "NO_COLOR": "1"}, False), ({**LIVELY, "NO_COLOR": "no"}, False),
                                      ({"TERM": "dumb"}, False), ({}, False), ({"TERM": ""}, False), (LIVELY, True),
                                      ({"TERM": "xterm"}, True)):
            self.assertEqual("\x1b" in self.shown(*call, status=1, environment=environment), coloured, environment)
            self.assertIn("\x1b[", self.shown(*call, "--color=always", status=1, environment=environment))
            self.assertNotIn("\x1b", self.shown(*call, "--color", "never", status=1, environment=environment))

    def test_a_pipe_has_none_unless_requested(self):
        for words, coloured in (((), False), (("--color=auto",), False), (("--color=never",), False), (("--color=always",), True)):
            out = self.qel("info", "good.qel", "none", *words, status=1, env={**os.environ, **LIVELY})
            self.assertEqual(("\x1b[32m" in out, "\x1b[1;31m" in self.errors), (coloured, coloured), words)

    def test_each_stream_is_tested_separately(self):
        terminal, end = open_terminal(self)
        with subprocess.Popen([QEL, "info", "good.qel", "none"], cwd=self.folder, stdout=subprocess.PIPE, stderr=end,
                              env={**os.environ, **LIVELY}) as run:
            os.close(end)
            self.assertIn("\x1b[1;31mqel:\x1b[0m none", read_terminal(terminal))
            self.assertNotIn(b"\x1b", run.stdout.read())

    def test_machine_readable_output_never_has_any(self):
        for call in (("info", "--json", "good.qel"), ("dump", "good.qel"), ("dump", "--json", "good.qel"),
                     ("nearest", "--json", "good.qel", "1")):
            self.assertNotIn("\x1b", self.qel(*call, "--color=always"))


class QuietTest(TerminalTest):
    def test_every_command_accepts_it_and_keeps_results_and_errors(self):
        self.file(files.unit(files.THREE), "good.qel")
        calls = {"info": ("info", "good.qel"), "convert": ("convert", HARBOUR, "-o", "out"), "nearest": ("nearest", "good.qel", "1"),
                 "dump": ("dump", "good.qel"), "view": ("view", HARBOUR, "-o", "-")}
        only_reports = "info", "convert"  # that a file is sound, what was made
        self.assertEqual(set(calls), set(commands(self)))
        for command, call in calls.items():
            loud = self.qel(*call)
            self.assertNotEqual(loud, "")
            for word in "-q", "--quiet":
                self.assertEqual(self.qel(*call, word), "" if command in only_reports else loud, command)
                self.assertEqual(self.errors, "", command)
                bad = [{"good.qel": "none", HARBOUR: "none"}.get(part, part) for part in call]
                self.assertEqual(self.qel(*bad, word, status=1), "")
                self.assertEqual(self.errors, "qel: none: No such file or directory\n", command)
        self.assertTrue(os.path.exists(self.path("out/tokens.qel")))


@unittest.skipUnless(SLOW_STEP, "no step can be made slow here")
class ProgressTest(TerminalTest):
    """Each of the harbour's 23 caches takes 50 ms longer."""
    CALL = "convert", HARBOUR, "-o", "out"
    ENVIRONMENT = {**LIVELY, "LD_PRELOAD": SLOW_STEP or ""}

    def test_the_line_has_the_count_the_rate_and_the_remaining_time(self):
        lines = re.findall(r"\r\x1b\[Kcaches … ([\d.]+) s, (\d+) of 23, ([\d.]+)/s, (\d+) s left", self.shown(*self.CALL, environment=self.ENVIRONMENT))
        self.assertGreater(len(lines), 2)
        before = 0
        for seconds, done, rate, left in ((float(a), int(b), float(c), int(d)) for a, b, c, d in lines):
            self.assertTrue(before <= done < 23, lines)
            before = done
            self.assertAlmostEqual(rate, done / seconds, delta=0.1 + rate * 0.06 / seconds)  # seconds have one digit after the point
            self.assertAlmostEqual(left, (23 - done) / rate, delta=0.5 + (23 - done) * 0.05 / rate ** 2 + 0.01)
        self.assertGreater(before, int(lines[0][1]))

    def test_the_line_is_removed_at_the_end(self):
        shown = self.shown(*self.CALL, environment=self.ENVIRONMENT)
        self.assertRegex(shown, r"s left\r\x1b\[K[^…]*harbour\.abc: 23 meshes, [^\r]*\r\n\Z")

    def test_a_narrow_terminal_shows_as_much_as_fits_one_line(self):
        for columns in 12, 20, 30:
            lines = re.findall(r"\r\x1b\[K([^\r\x1b]+)(?=\r\x1b)", self.shown(*self.CALL, columns=columns, environment=self.ENVIRONMENT))
            self.assertGreater(len(lines), 2)
            self.assertEqual(set(map(len, lines)), {columns - 1})

    def test_no_line_if_it_is_disabled(self):
        for words, environment in (((), {"TERM": "dumb"}), ((), {}), (("-q",), {}), (("--quiet",), LIVELY), (("--quiet", "--color=always"), LIVELY)):
            shown = self.shown(*self.CALL, *words, environment={"LD_PRELOAD": SLOW_STEP, **environment})
            self.assertNotIn("…", shown)
            self.assertNotIn("\x1b", shown)

    def test_no_line_where_standard_error_is_no_terminal(self):
        for words in (), ("--color=always",):
            self.assertIn("23 meshes", self.qel(*self.CALL, *words, env={**os.environ, **self.ENVIRONMENT}))
            self.assertEqual(self.errors, "")
