# SPDX-License-Identifier: MIT
"""The tool where memory runs out or a disk becomes full inside the library: it ends with a message, and what is there
stays. PROGRAMS are those that people copy; FAILING_HEAP and FULL_DISK, if given, are libraries that make it so."""

import os
import shutil
import subprocess
import unittest

from tool import HARBOUR, QEL, TORUS, ToolTest, at_most

FAILING_HEAP, FULL_DISK = os.environ.get("FAILING_HEAP"), os.environ.get("FULL_DISK")
PROGRAMS = os.environ.get("PROGRAMS", "").split()
INDEX = 4 * 0x800000  # bytes of an index's buckets


@unittest.skipUnless(FAILING_HEAP, "the library's heap cannot be made to fail here")
class HeapTest(ToolTest):
    def run_with(self, call, **environment):
        return subprocess.run(call, capture_output=True, text=True, cwd=self.folder, timeout=120,
                              env={**os.environ, "LD_PRELOAD": FAILING_HEAP, **environment})

    def asked_for(self, *call):
        """The sizes of the library's allocations, in order."""
        run = self.run_with(call, SIZES=self.path("sizes"))
        self.assertEqual(run.returncode, 0, run.stderr)
        asked = self.content("sizes").decode().split()
        os.remove(self.path("sizes"))
        return asked

    def chosen(self, asked):
        """The faces repeat the same allocation: the first of such a run represents all."""
        return [number for number in range(1, len(asked) + 1) if number == 1 or asked[number - 1] != asked[number - 2]]

    def refuse(self, number, call):
        run = self.run_with(call, FAIL_AT=str(number))
        self.assertIn(run.returncode, (0, 1), (number, run.stderr))
        return run

    def refuse_to_qel(self, number, call):
        run = self.refuse(number, (QEL, *call))
        self.assertRegex(run.stderr, r"\Aqel: .+\n\Z" if run.returncode else r"\A\Z", number)
        return run.returncode

    def test_convert_allocates_no_index_that_no_result_needs(self):
        """To fill one takes longer than a small archive's whole conversion."""
        for call in (("convert", HARBOUR), ("convert", "--by-bytes", TORUS)):
            self.assertLess(max(map(int, self.asked_for(QEL, *call, "-o", "out"))), INDEX // 4, call)

    def test_convert_ends_with_a_message_and_leaves_nothing(self):
        asked = self.asked_for(QEL, "convert", "--by-bytes", TORUS, "-o", "out")
        self.assertGreater(len(asked), 40)
        shutil.rmtree(self.path("out"))
        statuses = []
        for number in self.chosen(asked):
            statuses.append(self.refuse_to_qel(number, ("convert", "--by-bytes", TORUS, "-o", f"out{number}")))
            self.assertEqual(os.path.exists(self.path(f"out{number}")), statuses[-1] == 0, number)
        self.assertIn(1, statuses)

    def test_an_index_that_only_a_report_needs_may_be_refused(self):
        call = QEL, "convert", "--by-bytes", "-v", TORUS, "-o", "out"
        asked = self.asked_for(*call)
        shutil.rmtree(self.path("out"))
        first, second, of_scene = (i for i, size in enumerate(asked, 1) if int(size) == INDEX)
        for number in first, second:
            last = self.refuse(number, call).stderr.splitlines()[-1]
            self.assertEqual(last, f"qel: {TORUS}: load unit: out/tokens.qel: not enough memory")
            self.assertFalse(os.path.exists(self.path("out")))
        self.assertEqual(self.refuse(of_scene, call).returncode, 0)  # a scene loads without it

    def test_the_other_commands_end_with_a_message(self):
        self.qel("convert", "--by-bytes", TORUS, "-o", "out")
        for call in (("info", "--by-bytes", TORUS), ("info", HARBOUR, "-tv"),
                     ("convert", HARBOUR, "-o", "out2", "--mesh", "rock", "--only", "tokens,scene,cache"), ("dump", "--by-bytes", TORUS), ("view", TORUS, "--by-bytes", "-o", "page.html"),
                     ("info", "out/scene.bqel"),
                     ("info", "out/mesh.qelm"), ("view", "out/mesh.qelm", "-o", "page.html"),
                     ("nearest", "out/tokens.qel", "1")):
            with self.subTest(call=call):
                asked = self.asked_for(QEL, *call)
                self.assertGreater(len(asked), 1)
                for number in self.chosen(asked):
                    self.refuse_to_qel(number, call)

    def test_the_examples_and_the_programs_of_the_pages_release_nothing_twice(self):
        self.assertGreater(len(PROGRAMS), 5)
        for program in PROGRAMS:
            call = (program, TORUS, ".") if program.endswith("archive_to_tokens") else (program, TORUS)
            if program.endswith("skinned_cache"):
                call = (program, "strip.qelm")
            elif program.endswith(("read_archive", "archive_reader")):
                call = (program, HARBOUR)
            with self.subTest(program=program):
                asked = self.asked_for(*call)
                self.assertGreater(len(asked), 0)
                for number in self.chosen(asked):
                    self.refuse(number, call)


@unittest.skipUnless(FULL_DISK, "no disk can be made full here")
class DiskTest(ToolTest):
    SIZES = {"tokens.qel": 24 + 25 * 1152, "scene.bqel": 64 + 101 + 2304 * 12 + 1152 * 84,
             "mesh.qelm": 64 + 1152 * 24 + 2304 * 12 + 8 + 2 * 328 + 1152 * 20 + 128}
    WRITERS = {"tokens.qel": "qel_alembic_export_file_qel", "scene.bqel": "qel_alembic_save", "mesh.qelm": "qel_mesh_save"}

    def test_the_sizes_are_those_of_whole_files(self):
        self.qel("convert", "--by-bytes", TORUS, "-o", "out")
        self.assertEqual({name: os.path.getsize(self.path("out/" + name)) for name in self.SIZES}, self.SIZES)

    def test_a_full_disk_for_the_agent_directory_is_reported_and_leaves_nothing(self):
        for room in (0, 1, 24, 103):
            self.fails(f"{HARBOUR}: record run: out/agents.qeag: the file was not written whole", "convert", HARBOUR, "-o", "out",
                       "--only", "agents", preexec_fn=lambda: at_most(room))
            self.assertFalse(os.path.exists(self.path("out")))
        self.qel("convert", HARBOUR, "-o", "out", "--only", "agents", preexec_fn=lambda: at_most(104))
        self.assertEqual(os.path.getsize(self.path("out/agents.qeag")), 104)

    def test_a_disk_that_fills_inside_any_result_is_reported_and_leaves_nothing(self):
        for name, size in self.SIZES.items():
            for room in (0, 1, 63, 64, 4096, size // 2, size - 1):
                if room >= size:
                    continue
                with self.subTest(name=name, room=room):
                    environment = {**os.environ, "LD_PRELOAD": FULL_DISK, "FULL_IN": self.WRITERS[name],
                                   "FULL_AT": str(room)}
                    status, errors = self.status_of("convert", "--by-bytes", TORUS, "-o", "out", env=environment)
                    self.assertEqual(status, 1, errors)
                    self.assertRegex(errors, rf"\Aqel: {TORUS}: [a-z ]+: out/{name}: the file was not written whole\n\Z")
                    self.assertFalse(os.path.exists(self.path("out")))
