# SPDX-License-Identifier: MIT
"""`qel convert --by-bytes`: the files that it leaves in every case, and its messages.

SLOW_STEP, if given, is a library that makes one step take long. PROGRAMS are the examples."""

import contextlib
import json
import os
import re
import shutil
import signal
import stat
import struct
import subprocess
import tempfile
import time
import unittest
import unittest.mock

import files
from tool import QEL, TORUS, ToolTest, at_most, open_terminal, read_terminal

SLOW_STEP = os.environ.get("SLOW_STEP")
PROGRAMS = os.environ["PROGRAMS"].split()


class ConvertTest(ToolTest):
    NAMES = ["tokens.qel", "scene.bqel", "mesh.qelm", "agents.qeag"]

    def assert_sound_results(self, folder, *others):
        self.assertEqual(sorted(os.listdir(self.path(folder))), sorted([*self.NAMES, *others]))
        self.assertEqual(self.qel("info", *(f"{folder}/{name}" for name in self.NAMES)).count("sound: yes\n"), 4)

    def test_makes_a_sound_file_of_each_format_and_names_them(self):
        paths = [f"out/{name}" for name in self.NAMES]
        self.assertEqual(self.qel("convert", "--by-bytes", TORUS, "-o", "out").splitlines(), paths)
        self.assertEqual(self.errors, "")
        self.assert_sound_results("out")

    def test_the_results_are_those_that_the_library_makes(self):
        """The example calls it for all of them. Its scene has another rate and name; the time of a save, 8 bytes from 16
        on, is the run's own."""
        example, = (program for program in PROGRAMS if program.endswith("archive_to_tokens"))
        subprocess.run([example, TORUS, "."], cwd=self.folder, check=True, capture_output=True)
        for words in ((), ("-v",)):
            self.qel("convert", "--by-bytes", TORUS, "-o", "out", *words)
            self.assertEqual(self.content("out/scene.bqel")[128:], self.content("scene.bqel")[128:])
            unit, wanted = self.content("out/tokens.qel"), self.content("tokens.qel")
            self.assertEqual(unit[:16] + unit[24:], wanted[:16] + wanted[24:])
            agents, wanted = self.content("out/agents.qeag"), bytearray(self.content("agents.qeag"))
            self.assertLess(abs(struct.unpack_from("<q", agents, 16)[0] - time.time()), 60)
            wanted[12:24] = struct.pack("<I", 1) + agents[16:24]
            maker = 24 + 40  # which the tool ends: state 6, of the flags the second, and no task
            wanted[maker + 17:maker + 22], wanted[maker + 32:] = b"\6\0\1\0\0", bytes(8)
            self.assertEqual(agents, wanted)

    def test_reports_the_steps_where_asked(self):
        self.qel("convert", "--by-bytes", "-v", TORUS, "-o", "out")
        self.assertRegex(self.errors, r"(?m)^read mesh +[\d.]+ ms  1152 vertices, 1152 faces, 4608 indices, 4608 normals$")
        for said in ("found by the walk over the archive's nodes, with faces", "bounds (-4, -4, -1) to (4, 4, 1)", "2304 triangles",
                     "1152 tokens, one for each vertex", "1152 tokens in 1152 cells and 1 layer\n", "8 tokens around key",
                     "sound, and the same tokens", "1155 normals and 1153 UVs found by their bytes",
                     "vertex 0 has 4 faces and 8 neighbours", "1152 tangents computed",
                     "all positions finite, box coherence 0.0769", "1152 vertices, 2304 triangles, the same positions in place",
                     "1152 vertices moved, by up to 1.000", "2 agents, 1 active: 2A9E0100 read, 2A9E0200 made 1152 tokens"):
            self.assertIn(said, self.errors)

    def test_says_when_a_mesh_came_from_the_byte_search(self):
        positions = b"".join(struct.pack("<3f", *point) for point in json.loads(self.qel("dump", "--by-bytes", TORUS, "--json"))["positions"])
        content = self.content(TORUS)
        place = content.index(positions[:120])  # no groups at all: only bytes that look like positions
        bytes_alone = content[:8] + struct.pack("<Q", 16) + content[place:place + len(positions)]
        self.qel("convert", "--by-bytes", "-v", self.file(bytes_alone), "-o", "out")
        self.assertIn("found by the fallback", self.errors)

    def test_reads_standard_input(self):
        self.qel("convert", "--by-bytes", "-", "-o", "out", stdin=self.content(TORUS))
        self.assertEqual(os.path.getsize(self.path("out/tokens.qel")), 24 + 25 * 1152)

    def test_says_what_is_wrong_and_leaves_nothing(self):
        self.fails("file: is of the kind unit, but convert wants archive", "convert", "--by-bytes", self.file(files.unit([])), "-o", "out")
        head = self.content(TORUS)[:20] + bytes(64)
        self.fails("file: not sound: its root does not lie in the file", "convert", "--by-bytes", self.file(head), "-o", "out")
        self.fails("missing: No such file or directory", "convert", "--by-bytes", "missing", "-o", "out")
        self.assertFalse(os.path.exists(self.path("out")))
        self.qel("convert", "--by-bytes", TORUS, "-o", "file/out", status=1)
        self.assertIn("output folder: file: is no folder", self.errors)

    def earlier_results(self):
        os.mkdir(self.path("out"))
        for name in [*self.NAMES, "other"]:
            self.file(b"earlier " + name.encode(), "out/" + name)

    def assert_only_earlier_results(self):
        self.assertEqual(sorted(os.listdir(self.path("out"))), sorted([*self.NAMES, "other"]))
        for name in [*self.NAMES, "other"]:
            self.assertEqual(self.content("out/" + name), b"earlier " + name.encode())

    def test_takes_the_place_of_earlier_results(self):
        self.earlier_results()
        self.qel("convert", "--by-bytes", TORUS, "-o", "out")
        self.assert_sound_results("out", "other")

    def test_a_failure_changes_no_file_that_was_there(self):
        self.earlier_results()
        self.fails(f"{TORUS}: save scene: out/scene.bqel: the file was not written whole", "convert", "--by-bytes", TORUS, "-o", "out",
                   preexec_fn=lambda: at_most(50000))
        self.assert_only_earlier_results()

    def folder_of_length(self, wanted):
        """A folder whose path has so many bytes, inside the test's own."""
        name = "a" * 100
        os.makedirs(self.path(name), exist_ok=True)
        return name + "/" + "b" * (wanted - len(name) - 1)

    def test_a_path_that_the_agent_directory_would_cut_is_refused_before_anything_is_made(self):
        longest = 255 - len("/agents.qeag")
        fits, long = self.folder_of_length(longest), self.folder_of_length(longest + 1)
        self.qel("convert", "--by-bytes", TORUS, "-o", fits)
        self.assert_sound_results(fits)
        self.fails(f"{TORUS}: record run: {long}: the path is too long: an agent directory keeps no more than 255 bytes of its "
                   "own, which would have 256", "convert", "--by-bytes", TORUS, "-o", long)
        self.assertFalse(os.path.exists(self.path(long)))

    def test_no_other_file_is_written_whatever_the_length(self):
        """Where a path is cut after 255 bytes, the rest of the last one is the name of another file."""
        for length in range(235, 260):
            folder = self.folder_of_length(length)
            before = sorted(os.listdir(self.path("a" * 100)))
            status, _ = self.status_of("convert", "--by-bytes", TORUS, "-o", folder)
            made = set(os.listdir(self.path("a" * 100))) - set(before)
            self.assertEqual(made, {os.path.basename(folder)} if status == 0 else set(), length)
            if status == 0:
                self.assertEqual(sorted(os.listdir(self.path(folder))), sorted(self.NAMES), length)

    def test_a_failure_leaves_no_folder_that_was_not_there(self):
        os.mkdir(self.path("a"))
        for output in ("a/b/c", "new/b/c", "a/b/../d", "./e"):
            self.qel("convert", "--by-bytes", TORUS, "-o", output, status=1, preexec_fn=lambda: at_most(50000))
            self.assertEqual([names for _, *names in os.walk(self.folder)], [[["a"], []], [[], []]], output)
        self.qel("convert", "--by-bytes", TORUS, "-o", "a/b/c/")
        self.assertEqual(sorted(os.listdir(self.path("a/b/c"))), sorted(self.NAMES))

    def test_files_that_are_replaced_hand_down_their_modes(self):
        self.earlier_results()
        modes = dict(zip(self.NAMES, (0o600, 0o640, 0o664, 0o666)))
        for name, mode in modes.items():
            os.chmod(self.path("out/" + name), mode)
        self.qel("convert", "--by-bytes", TORUS, "-o", "out", preexec_fn=lambda: os.umask(0o022))
        self.assertEqual({name: stat.S_IMODE(os.stat(self.path("out/" + name)).st_mode) for name in modes}, modes)
        self.qel("convert", "--by-bytes", TORUS, "-o", "new", preexec_fn=lambda: os.umask(0o027))
        self.assertEqual({stat.S_IMODE(os.stat(self.path("new/" + name)).st_mode) for name in modes}, {0o640})

    def test_links_stay_and_what_they_lead_to_is_replaced_or_made(self):
        os.makedirs(self.path("out"))
        os.mkdir(self.path("else"))
        self.file(b"earlier", "else/unit")
        os.symlink("../else/unit", self.path("out/tokens.qel"))
        os.symlink(self.path("else/none"), self.path("out/scene.bqel"))
        with tempfile.TemporaryDirectory(dir="/dev/shm" if os.path.isdir("/dev/shm") else None) as other_disk:
            os.symlink(os.path.join(other_disk, "mesh"), self.path("out/mesh.qelm"))
            self.qel("convert", "--by-bytes", TORUS, "-o", "out")
            self.assertEqual(os.listdir(other_disk), ["mesh"])
            self.assertIn("sound: yes\n", self.qel("info", os.path.join(other_disk, "mesh")))
            self.assertEqual([os.path.islink(self.path("out/" + name)) for name in self.NAMES], [True, True, True, False])
        self.assertEqual(sorted(os.listdir(self.path("else"))), ["none", "unit"])
        self.assertEqual(self.qel("info", "else/none", "else/unit").count("sound: yes\n"), 2)
        self.assertEqual(sorted(os.listdir(self.path("out"))), sorted(self.NAMES))

    def test_a_link_that_leads_to_no_folder_is_refused_before_anything_is_made(self):
        self.earlier_results()
        os.remove(self.path("out/agents.qeag"))
        os.symlink("none/agents.qeag", self.path("out/agents.qeag"))
        self.fails(f"{TORUS}: output folder: out/agents.qeag: its link leads to a folder that is not there", "convert", "--by-bytes", TORUS,
                   "-o", "out")
        self.assertEqual(self.content("out/tokens.qel"), b"earlier tokens.qel")
        os.symlink("loop", self.path("loop"))
        os.remove(self.path("out/agents.qeag"))
        os.symlink("../loop", self.path("out/agents.qeag"))
        self.fails(f"{TORUS}: output folder: out/agents.qeag: its links lead to one another", "convert", "--by-bytes", TORUS, "-o", "out")

    def test_no_message_names_a_path_that_is_missing_afterwards(self):
        self.qel("convert", "--by-bytes", "-v", TORUS, "-o", "out")
        self.assertNotIn(".unfinished", self.errors)
        for path in re.findall(r"\S*out/\S+", self.errors):
            self.assertTrue(os.path.exists(self.path(path)), path)

    def test_what_is_no_file_or_read_only_stays_as_it_is(self):
        self.earlier_results()
        os.chmod(self.path("out/agents.qeag"), 0o444)
        self.fails(f"{TORUS}: output folder: out/agents.qeag: the file there is read-only", "convert", "--by-bytes", TORUS, "-o", "out")
        self.assert_only_earlier_results()
        os.mkdir(self.path("else"))
        os.mkdir(self.path("else/mesh.qelm"))
        self.fails(f"{TORUS}: output folder: else/mesh.qelm: what is there is no file", "convert", "--by-bytes", TORUS, "-o", "else")
        self.assertEqual(os.listdir(self.path("else")), ["mesh.qelm"])

    def test_the_input_is_not_overwritten(self):
        os.mkdir(self.path("out"))
        shutil.copy(TORUS, self.path("out/tokens.qel"))
        os.symlink("out/tokens.qel", self.path("link.abc"))
        for name in ("out/tokens.qel", "link.abc", os.path.join(self.folder, "out", "tokens.qel")):
            self.assertEqual(self.qel("convert", "--by-bytes", name, "-o", "out", status=2), "")
            self.assertEqual(self.errors, "qel: out/tokens.qel: is the input, which would be lost\n")
        with open(self.path("out/tokens.qel"), "rb") as archive:
            run = subprocess.run([QEL, "convert", "--by-bytes", "-", "-o", "out"], stdin=archive, cwd=self.folder, capture_output=True)
        self.assertEqual(run.returncode, 2)
        self.assertEqual(os.listdir(self.path("out")), ["tokens.qel"])
        self.assertEqual(self.content("out/tokens.qel"), self.content(TORUS))


@unittest.skipUnless(SLOW_STEP, "no step can be made slow here")
class SlowConvertTest(ToolTest):
    ENVIRONMENT = {**os.environ, "LD_PRELOAD": SLOW_STEP or "", "TERM": "xterm"}

    @contextlib.contextmanager
    def begun(self, output, **how):
        """A run that has written a part of its results and is not done yet."""
        call = [QEL, "convert", "--by-bytes", TORUS, "-o", output]
        with subprocess.Popen(call, cwd=self.folder, env=self.ENVIRONMENT, **how) as run:
            while not os.path.exists(self.path(output + "/.unfinished-0/scene.bqel")) and run.poll() is None:
                time.sleep(0.01)
            yield run

    def test_an_interruption_leaves_the_folder_as_it_was(self):
        os.mkdir(self.path("out"))
        self.file(b"earlier", "out/tokens.qel")
        for number in (signal.SIGINT, signal.SIGTERM, signal.SIGHUP):
            with self.begun("out") as run:
                self.assertEqual(self.content("out/tokens.qel"), b"earlier")
                run.send_signal(number)
                self.assertEqual(run.wait(), -number)
            self.assertEqual(os.listdir(self.path("out")), ["tokens.qel"])
            self.assertEqual(self.content("out/tokens.qel"), b"earlier")

    def test_an_interruption_leaves_no_folder_that_was_not_there(self):
        with self.begun("a/b/c") as run:
            run.send_signal(signal.SIGTERM)
            self.assertEqual(run.wait(), -signal.SIGTERM)
        self.assertEqual(os.listdir(self.folder), [])

    def test_an_interruption_that_the_caller_ignores_has_no_effect(self):
        ignore = lambda: signal.signal(signal.SIGHUP, signal.SIG_IGN)
        with self.begun("out", stdout=subprocess.DEVNULL, preexec_fn=ignore) as run:
            run.send_signal(signal.SIGHUP)
            self.assertEqual(run.wait(), 0)
        self.assertEqual(sorted(os.listdir(self.path("out"))), sorted(ConvertTest.NAMES))

    def test_a_killed_run_does_not_block_the_next(self):
        with self.begun("out") as run:
            run.kill()
        self.assertEqual(os.listdir(self.path("out")), [".unfinished-0"])
        self.qel("convert", "--by-bytes", TORUS, "-o", "out")
        self.assertEqual(sorted(os.listdir(self.path("out"))), sorted([".unfinished-0", *ConvertTest.NAMES]))

    def test_where_there_is_no_terminal_the_tests_of_it_are_skipped(self):
        with unittest.mock.patch("pty.openpty", side_effect=OSError(2, "No such file or directory")):
            self.assertRaisesRegex(unittest.SkipTest, "no pseudo-terminal can be had here", self.on_a_terminal)

    def on_a_terminal(self, *options):
        """What a run writes to a terminal that is its standard error."""
        terminal, end = open_terminal(self)
        with subprocess.Popen([QEL, "convert", "--by-bytes", TORUS, "-o", "out", *options], cwd=self.folder, env=self.ENVIRONMENT,
                              stdout=subprocess.PIPE, stderr=end) as run:
            os.close(end)
            shown = read_terminal(terminal)
            self.assertEqual(run.stdout.read().count(b"\n"), 4)
        self.assertEqual(run.returncode, 0)
        return shown

    def test_a_terminal_shows_the_step_that_takes_long_and_is_clean_in_the_end(self):
        shown = self.on_a_terminal()
        self.assertRegex(shown, r"\r\x1b\[Kadjacency … [01]\.\d s\r\x1b\[K")
        self.assertTrue(shown.endswith("\r\x1b[K"), shown)

    def test_steps_are_reported_on_lines_of_their_own(self):
        self.assertRegex(self.on_a_terminal("-v"), r"(\n|\x1b\[K)adjacency +[\d.]+ ms ")

    def test_standard_error_that_is_no_terminal_stays_silent(self):
        self.qel("convert", "--by-bytes", TORUS, "-o", "out", env=self.ENVIRONMENT)
        self.assertEqual(self.errors, "")
