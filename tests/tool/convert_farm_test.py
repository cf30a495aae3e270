# SPDX-License-Identifier: MIT
"""`qel convert` on many archives: lists, parts of them, several at once, and runs that continue an interrupted one."""

import json
import os
import shutil
import signal
import subprocess
import time

from convert_whole_test import WholeToolTest
from tool import HARBOUR, QEL, TORUS, full_device


class ListTest(WholeToolTest):
    def names_of(self, *arguments, **how):
        """The archives that a run has converted, each by the folder of its results."""
        shutil.rmtree(self.path("out"), ignore_errors=True)
        lines = self.qel("convert", "--json", "--only", "tokens", "-o", "out", *arguments, **how).splitlines()
        made = [json.loads(line) for line in lines]
        folders = [each["folder"].replace("\\x0A", "\n") for each in made]
        self.assertTrue(all(os.path.exists(self.path(folder + "/tokens.qel")) for folder in folders))
        return [(each["archive"], each["folder"]) for each in made]

    def test_a_list_names_archives_and_folders_a_line_each(self):
        os.mkdir(self.path("more"))
        shutil.copy(HARBOUR, self.path("more/a.abc"))
        shutil.copy(HARBOUR, self.path("-"))
        shutil.copy(HARBOUR, self.path("two\nlines.abc"))
        self.file(f"{HARBOUR}\n\nmore\n-\n{HARBOUR}".encode(), "list")
        wanted = [(HARBOUR, "out/harbour"), ("more/a.abc", "out/a"), ("./-", "out/-"), (HARBOUR, "out/harbour-2")]
        self.assertEqual(self.names_of("--from-file", "list"), wanted)
        self.assertEqual(self.names_of("--from-file", "-", stdin=self.content("list")), wanted)
        self.assertEqual(self.names_of("--from-file", "list", self.archive("changing"))[0], ("made/changing.abc", "out/changing"))
        self.assertEqual(len(self.names_of("--from-file", "list", "--from-file", "list")), 8)
        self.file(f"two\nlines.abc\0{HARBOUR}\0".encode(), "zeros")
        self.assertEqual([folder for _, folder in self.names_of("--from-file", "zeros")], [r"out/two\x0Alines", "out/harbour"])

    def test_a_list_that_is_empty_or_not_there_is_a_failure(self):
        self.fails("empty: names no archive", "convert", "-o", "out", "--from-file", self.file(b"\n\n", "empty"))
        self.fails("standard input: names no archive", "convert", "-o", "out", "--from-file", "-", stdin=b"")
        self.fails("none: No such file or directory", "convert", "-o", "out", "--from-file", "none")
        self.qel("convert", "-o", "out", status=2)
        self.assertIn("ARCHIVE, or --from-file", self.errors)

    def test_shards_are_parts_that_together_are_the_whole(self):
        os.mkdir(self.path("many"))
        for name in "abcdefg":
            shutil.copy(HARBOUR, self.path(f"many/{name}.abc"))
        whole = self.names_of("many", HARBOUR, HARBOUR)
        self.assertEqual(whole[-1], (HARBOUR, "out/harbour-2"))
        for count in (1, 2, 4, 20):
            parts = [self.names_of("many", HARBOUR, HARBOUR, "--shard", f"{part}/{count}") for part in range(1, count + 1)]
            self.assertEqual(sorted(sum(parts, [])), sorted(whole))
            self.assertLessEqual(max(map(len, parts)) - min(map(len, parts)), 1)
        self.assertEqual(self.names_of(HARBOUR, "--shard", "2/2"), [])
        for text in ("0/3", "4/3", "3", "/", "a/b", "1/", "-1/2", "1/2/3"):
            self.qel("convert", HARBOUR, "-o", "out", "--shard", text, status=2)
            self.assertIn(f'"{text}" is no part I/N with I from 1 to N', self.errors)

    def test_json_reports_the_results_and_their_cost(self):
        one = json.loads(self.qel("convert", "--json", HARBOUR, "-o", "out"))
        self.assertEqual({name: one[name] for name in ("archive", "folder", "meshes", "vertices", "triangles", "frames", "tokens")},
                         {"archive": HARBOUR, "folder": "out", "meshes": 23, "vertices": 2138, "triangles": 3690, "frames": 48, "tokens": 2138})
        self.assertGreater(one["seconds"], 0)
        self.assertTrue(1 << 20 < one["peak_memory"] < 1 << 28, one)
        self.assertEqual(json.loads(self.qel("convert", "--json", "--by-bytes", TORUS, "-o", "out"))["meshes"], 1)
        none = json.loads(self.qel("convert", "--json", HARBOUR, "-o", "none", "--only", "cache"))
        self.assertEqual((none["meshes"], none["tokens"], none["frames"]), (23, 0, 0))
        shutil.copy(HARBOUR, self.path('"\\\x1b.abc'))
        self.assertEqual(json.loads(self.qel("convert", "--json", '"\\\x1b.abc', "-o", "odd"))["archive"], '"\\\\x1B.abc')

    def test_the_peak_memory_is_not_that_of_the_program_that_starts_the_tool(self):
        """What the system counts for a process begins with the memory of the one that it was made from."""
        held = bytes(300 << 20)
        self.assertLess(json.loads(self.qel("convert", "--json", HARBOUR, "-o", "out"))["peak_memory"], len(held))

    def test_a_slow_archive_delays_no_other_and_lines_keep_their_order(self):
        """A pipe whose writer takes its time is a slow archive; all others are done before it."""
        os.mkfifo(self.path("slow"))
        names = ["slow"] + [HARBOUR] * 5
        with subprocess.Popen([QEL, "convert", *names, "-j", "2", "-o", "out", "--only", "tokens"], cwd=self.folder,
                              stdout=subprocess.PIPE, text=True) as run:
            with open(self.path("slow"), "wb") as slow:
                deadline = time.time() + 60
                while not os.path.exists(self.path("out/harbour-5/tokens.qel")) and time.time() < deadline:
                    time.sleep(0.01)
                self.assertTrue(os.path.exists(self.path("out/harbour-5/tokens.qel")))
                slow.write(self.content(HARBOUR))
            lines = run.stdout.read().splitlines()
        self.assertEqual([line.split(": ")[0] for line in lines], names)


class ResumeTest(WholeToolTest):
    def setUp(self):
        super().setUp()
        os.mkdir(self.path("in"))
        for name in "abc":
            self.small(name)

    def small(self, name):
        shutil.copy(self.path(self.archive("changing")), self.path(f"in/{name}.abc"))

    def done(self, *arguments, status=0):
        """Which archives a run has converted, which it has left out."""
        lines = self.qel("convert", "--resume", "in", "-o", "out", *arguments, status=status).splitlines()
        before = [line[3] for line in lines if line.endswith(": done before")]
        return "".join(line[3] for line in lines if line[3] not in before), "".join(before)

    def test_finished_archives_are_skipped_and_changed_ones_are_converted_again(self):
        self.assertEqual(self.done(), ("abc", ""))
        self.assertEqual(self.done(), ("", "abc"))
        self.assertEqual(self.done("-j", "3"), ("", "abc"))
        os.utime(self.path("in/b.abc"), ns=(1, 1))
        self.assertEqual(self.done(), ("b", "ac"))
        self.assertEqual(self.done(), ("", "abc"))

    def test_another_choice_is_converted_again(self):
        self.assertEqual(self.done(), ("abc", ""))
        for words in (("--only", "tokens"), ("--mesh", "still"), ("--mesh", "s*"), ("--frame", "11"), ("--range", "10:12"), ("--points",),
                      ("--object-space",)):
            self.assertEqual(self.done(*words), ("abc", ""), words)
            self.assertEqual(self.done(*words), ("", "abc"), words)
        shutil.copy(HARBOUR, self.path("in/a.abc"))
        for wanted in ("23 meshes", "found by the look of the bytes", "23 meshes"):
            words = ("--by-bytes",) if "bytes" in wanted else ()
            self.assertIn(wanted, self.qel("convert", "--resume", "in/a.abc", HARBOUR, "-o", "out", *words).splitlines()[0])

    def test_results_that_are_missing_or_cut_are_made_again(self):
        self.assertEqual(self.done(), ("abc", ""))
        os.remove(self.path("out/a/scene.bqel"))
        os.truncate(self.path("out/b/tokens.qel"), 100)
        self.assertEqual(self.done(), ("ab", "c"))
        record = self.content("out/c/.converted")
        for length in (0, 5, 20, 60, record.rindex(b"\n", 0, -1)):
            self.file(record[:length], "out/c/.converted")
            self.assertEqual(self.done(), ("c", "ab"), length)

    def test_a_failure_is_tried_again(self):
        self.file(b"Ogawa nonsense", "in/bad.abc")
        for wanted in (("abc", ""), ("", "abc")):
            self.assertEqual(self.done(status=1), wanted)
            self.assertRegex(self.errors, r"\Aqel: in/bad.abc: ")

    def test_a_killed_run_is_continued(self):
        for name in range(60):
            self.small(f"n{name:02}")
        with subprocess.Popen([QEL, "convert", "--resume", "in", "-o", "out"], cwd=self.folder, stdout=subprocess.PIPE) as run:
            for _ in range(5):
                run.stdout.readline()
            run.send_signal(signal.SIGKILL)
        lines = self.qel("convert", "--resume", "in", "-o", "out", "-j", "2").splitlines()
        self.assertEqual(len(lines), 63)
        before = sum(line.endswith(": done before") for line in lines)
        self.assertTrue(5 <= before < 63, before)
        self.assertEqual(self.done(), ("", "".join(sorted("abc" + "n" * 60))))

    def test_without_the_option_no_record_is_read_or_written(self):
        self.qel("convert", "in", "-o", "out")
        self.assertFalse([name for name in self.made() if name.endswith(".converted")])
        self.assertEqual(self.done(), ("abc", ""))
        self.assertNotIn("done before", self.qel("convert", "in", "-o", "out"))

    def test_standard_input_is_always_converted(self):
        for _ in range(2):
            self.assertIn("23 meshes", self.qel("convert", "--resume", "-", "-o", "out", stdin=self.content(HARBOUR)))
        self.assertNotIn(".converted", os.listdir(self.path("out")))

    def test_json_reports_earlier_results(self):
        self.done()
        lines = [json.loads(line) for line in self.qel("convert", "--json", "--resume", "in", "-o", "out").splitlines()]
        self.assertEqual(lines, [{"archive": f"in/{name}.abc", "folder": f"out/{name}", "done_before": True} for name in "abc"])

    def test_a_record_that_cannot_be_written_is_a_failure_that_keeps_the_results(self):
        os.makedirs(self.path("out/a"))
        os.symlink(full_device(self), self.path("out/a/.converted"))
        self.assertEqual(self.done(status=1), ("bc", ""))
        self.assertRegex(self.errors, r"\Aqel: out/a/.converted: No space left on device\n\Z")
        self.assertTrue(os.path.exists(self.path("out/a/tokens.qel")))
