# SPDX-License-Identifier: MIT
"""The calls that all commands share: help, statuses, standard streams. SOURCE names the project's folder."""

import os
import re
import signal
import subprocess

import files
from tool import HARBOUR, QEL, TORUS, ToolTest, commands, full_device, options

PAGE = os.path.join(os.environ["SOURCE"], "tools/qel/qel.1")


class CallTest(ToolTest):
    def test_help_names_every_command_and_status(self):
        text = self.qel("--help")
        for word in ("info", "convert", "nearest", "dump", "view", "Exit status", "--version"):
            self.assertIn(word, text)
        for command, option in (("info", "FILE"), ("convert", "--output"), ("nearest", "--packed"), ("dump", "--json"),
                                ("view", "PAGE.html")):
            self.assertIn(option, self.qel(command, "--help"))

    def test_help_fits_a_terminal_of_80_columns(self):
        for call in [(), *((command,) for command in commands(self))]:
            self.assertLessEqual(max(map(len, self.qel(*call, "--help").splitlines())), 80, call)

    def test_version_is_one_line(self):
        self.assertRegex(self.qel("--version"), r"\Aqel \d+\.\d+\.\d+\n\Z")

    def test_a_wrong_call_is_status_2_and_is_reported_on_standard_error(self):
        for call in ((), ("frobnicate",), ("info",), ("info", "--frob", "x"), ("convert", TORUS), ("view", TORUS),
                     ("nearest", "x"), ("nearest", "x", "1", "-k", "0"), ("nearest", "x", "1", "-k", "many")):
            self.assertEqual(self.qel(*call, status=2), "")
            command = call[0] + " " if call and call[0] in commands(self) else ""
            self.qel(*call, status=2)
            self.assertRegex(self.errors, rf"\Aqel: .+\nTry: qel {command}--help\n\Z")

    def test_a_wrong_word_is_named(self):
        for call, word in ((("infoo",), "infoo"), (("--foo",), "--foo"), (("--foo", "info", TORUS), "--foo"),
                           (("info", TORUS, "--bar"), "--bar"), (("\x1b[31m",), r"\x1B[31m")):
            self.qel(*call, status=2)
            self.assertIn(word, self.errors)
        self.qel("inf", TORUS, status=2)
        self.assertEqual(self.errors, 'qel: "inf" is none of the commands info, convert, nearest, dump, view\nTry: qel --help\n')

    def test_the_manual_page_and_the_help_have_the_same_options(self):
        with open(PAGE, encoding="utf-8") as page:
            parts = re.split(r"(?m)^\.It Cm (\w+)", page.read())
        told = {name: {"-" + option for line in re.findall(r"(?m)^\.It (Fl .*)", part)
                       for option in re.findall(r"(?:Fl|,) (-?[a-z][-a-z]*)", line)}
                for name, part in zip(parts[1::2], parts[2::2])}
        self.assertEqual(sorted(told), sorted(commands(self)))
        for command in commands(self):
            self.assertEqual(options(self, command) - {"-h", "--help"}, told[command], command)
        self.assertIn(".Fl -help | Fl -version", parts[0])
        self.assertEqual(set(re.findall(r"(?m)^  (-\S+)", self.qel("--help"))), {"-h,--help", "--version"})

    def test_a_full_disk_is_a_failure(self):
        device = full_device(self)
        for call in (("dump", HARBOUR), ("info", HARBOUR), ("--version",), ("--help",), ("view", "--help")):
            with open(device, "w") as full:
                run = subprocess.run([QEL, *call], stdout=full, stderr=subprocess.PIPE, timeout=120)
            self.assertEqual((run.returncode, run.stderr), (1, b"qel: standard output: No space left on device\n"), call)

    def test_a_closed_descriptor_is_not_taken_for_a_file(self):
        for call, message in (("info - >&-", b"qel: standard output: Bad file descriptor\n"),
                              ("info - <&-", b"qel: standard input: Bad file descriptor\n"), ("info - 2>&- >&-", b"")):
            run = subprocess.run(["sh", "-c", '"$0" ' + call, QEL], input=files.unit(files.THREE), capture_output=True, timeout=120)
            self.assertEqual((run.returncode, run.stdout, run.stderr), (1, b"", message), call)

    def test_a_closed_pipe_is_no_error(self):
        with subprocess.Popen([QEL, "dump", HARBOUR], stdout=subprocess.PIPE, stderr=subprocess.PIPE) as run:
            run.stdout.readline()
            run.stdout.close()
            self.assertEqual(run.stderr.read(), b"")
            self.assertEqual(run.wait(), -signal.SIGPIPE)
