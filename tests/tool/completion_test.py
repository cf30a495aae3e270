# SPDX-License-Identifier: MIT
"""What shells offer for the words of a call: the same as --help lists, and the files that a command takes."""

import fcntl
import os
import re
import select
import shutil
import struct
import subprocess
import termios
import time
import unittest

from tool import ToolTest, commands, open_terminal, options

NAMES = ["a b.abc", "a.bqel", "a.html", "a.qeag", "a.qel", "a.qelm", "a.txt", "folder"]


class CompletionTest(ToolTest):
    def setUp(self):
        super().setUp()
        os.mkdir(self.path("folder"))
        for name in NAMES[:-1]:
            self.file(b"", name)

    def files_for(self, *extensions):
        return [name for name in NAMES if name == "folder" or name.rpartition(".")[2] in extensions]


@unittest.skipUnless(shutil.which("bash"), "there is no bash here")
class BashTest(CompletionTest):
    def offered(self, *words):
        """The completions offered for the last of these words, after the ones before it."""
        self.file(self.qel("completion", "bash").encode(), "completion")
        run = subprocess.run(["bash", "--norc", "-c", 'source ./completion; COMP_WORDS=(qel "$@"); COMP_CWORD=$#; _qel; '
                              'printf "%s\\n" "${COMPREPLY[@]}"; complete -p qel', "bash", *words],
                             cwd=self.folder, capture_output=True, text=True)
        self.assertEqual((run.returncode, run.stderr), (0, ""), words)
        *offers, registered = run.stdout.splitlines()
        self.assertEqual(registered, "complete -F _qel qel")
        return sorted(filter(None, offers))

    def test_commands_and_options_are_those_of_the_help(self):
        self.assertEqual(self.offered(""), sorted([*commands(self), *options(self)]))
        self.assertEqual(self.offered("con"), ["convert"])
        for command in commands(self):
            self.assertEqual(set(self.offered(command, "-")), options(self, command), command)
            self.assertEqual(set(self.offered(command, "a.qel", "--")),
                             {option for option in options(self, command) if option.startswith("--")}, command)

    def test_arguments_are_files_of_the_kinds_that_the_command_takes(self):
        every = self.files_for("abc", "bqel", "qeag", "qel", "qelm")
        for command, wanted in (("info", every), ("dump", every), ("convert", self.files_for("abc")),
                                ("nearest", self.files_for("qel")), ("view", self.files_for("abc", "bqel", "qelm"))):
            self.assertEqual([self.offered(command, ""), self.offered(command, "-q", ""), self.offered(command, "--", "")],
                             [wanted] * 3, command)
        self.assertEqual(self.offered("info", "a\\ "), ["a b.abc"])
        self.assertEqual(self.offered("info", "'a "), ["a b.abc"])
        self.assertEqual(self.offered("info", "--", "-"), [])

    def test_values_are_those_that_an_option_takes(self):
        self.assertEqual(self.offered("convert", "-o", ""), ["folder"])
        self.assertEqual(self.offered("view", "--output", ""), self.files_for("html"))
        self.assertEqual(self.offered("nearest", "--scene", ""), self.files_for("bqel"))
        for command in commands(self):
            self.assertEqual(self.offered(command, "--color", ""), ["always", "auto", "never"])
            self.assertEqual(self.offered(command, "--color", "=", "n"), ["never"])  # as bash splits --color=n
            self.assertEqual(self.offered(command, "--color", "="), ["always", "auto", "never"])
            self.assertEqual(self.offered(command, "--color=a"), ["--color=always", "--color=auto"])
        self.assertEqual(self.offered("convert", "--only", ""), ["agents", "cache", "scene", "tokens"])
        self.assertEqual(self.offered("convert", "--only", "scene,t"), ["scene,tokens"])
        for words in (("convert", "--frame", ""), ("dump", "--path", ""), ("nearest", "-k", "")):
            self.assertEqual(self.offered(*words), [])

    def test_each_offered_value_is_taken_and_no_other(self):
        for command in commands(self):
            for word in (*self.offered(command, "--color", ""), "sometimes"):
                self.qel(command, "--color", word, status=2)  # of a call that lacks its file
                self.assertEqual("sometimes" in self.errors, word == "sometimes", (command, word))
        for word in (*self.offered("convert", "--only", ""), "pages"):
            _, errors = self.status_of("convert", "missing", "-o", "out", "--only", word)
            self.assertEqual("missing: No such file" in errors, word != "pages", word)


class ZshTest(CompletionTest):
    def setUp(self):
        super().setUp()
        if not shutil.which("zsh"):
            self.skipTest("there is no zsh here (Debian: zsh)")
        os.mkdir(self.path("functions"))
        self.file(self.qel("completion", "zsh").encode(), "functions/_qel")

    def test_the_script_is_one_that_zsh_can_read(self):
        subprocess.run(["zsh", "-n", self.path("functions/_qel")], check=True)

    def start_shell(self):
        """A shell on its own terminal; ^T lists what can follow, ^Y clears the line."""
        self.terminal, end = open_terminal(self)
        fcntl.ioctl(end, termios.TIOCSWINSZ, struct.pack("4H", 500, 200, 0, 0))
        shell = subprocess.Popen(["zsh", "-f", "-i"], cwd=self.folder, stdin=end, stdout=end, stderr=end, start_new_session=True,
                                 env={**os.environ, "TERM": "vt100", "HOME": self.folder})
        os.close(end)
        self.addCleanup(os.close, self.terminal)
        self.addCleanup(shell.wait)
        self.addCleanup(shell.kill)
        self.answer("fpath=($PWD/functions $fpath); autoload -Uz compinit; compinit -u -D; zstyle ':completion:*' verbose no; "
                    "bindkey '^T' list-choices; bindkey '^Y' kill-whole-line; print rea''dy\r", r"ready\r\n[\s\S]*\x1b\[\?2004h")  # the last is of the next prompt

    def answer(self, text, ending):
        """What is shown after this was typed, up to what the regular expression finds."""
        os.write(self.terminal, text.encode())
        shown, end = "", time.time() + 20
        while not re.search(ending, shown):
            self.assertLess(time.time(), end, shown)
            if select.select([self.terminal], [], [], 0.1)[0]:
                shown += os.read(self.terminal, 65536).decode().replace("\0", "")
        return shown

    def offered(self, line):
        shown = self.answer(line + "\x14", r"\x1b\[J[^\x1b]+\x1b\[\d*A")  # below the line, which the cursor goes back to
        self.answer("\x19print do''ne\r", r"done\r\n[\s\S]*\x1b\[\?2004h")
        listed = re.search(r"\x1b\[J([^\x1b]+)\x1b", shown)[1]
        return {word.replace("\\ ", " ").rstrip("/") for word in re.split(r"(?:(?<!\\)\s)+", listed.strip())}

    def test_commands_options_values_and_files(self):
        self.start_shell()
        self.assertEqual(self.offered("qel "), set(commands(self)))
        self.assertEqual(self.offered("qel -"), options(self))
        for name in commands(self):
            self.assertEqual(self.offered(f"qel {name} -"), options(self, name), name)
        self.assertEqual(self.offered("qel info ") - {"functions"}, set(self.files_for("abc", "bqel", "qeag", "qel", "qelm")))
        self.assertEqual(self.offered("qel convert -o "), {"folder", "functions"})
        self.assertEqual(self.offered("qel convert --only "), {"tokens", "scene", "cache", "agents"})
        self.assertEqual(self.offered("qel view --color="), {"auto", "always", "never"})
