# SPDX-License-Identifier: MIT
"""What a worker does to one archive, in this process: limits, failures, what is left at its place."""

import os
import shutil
import signal
import time
from pathlib import Path
from typing import Any, Dict, List, Tuple
from unittest import mock

from qel_unit.farm import tasks, tool
from qel_unit.farm.manifest import Entry, read_record, write_record
from qel_unit.farm.sources import Source
from qel_unit.farm.tasks import Settings, convert_group, convert_one, run_file
from qel_unit.farm.tool import Limits

from .support import HARBOUR, TOOL, Case, grid, stand_in


class TaskCase(Case):
    def setUp(self) -> None:
        super().setUp()
        self.log = self.file("log")
        self.file("out/.farm/run", b"this")
        self.settings = Settings(str(self.out), "this", stand_in(self.folder / "tool.sh", self.log),
                                 "tokens,scene,cache,agents", Limits(30.0, 1 << 30))

    def convert(self, name: str, content: bytes, **settings: Any) -> Entry:
        self.source = Source(str(self.file("in/" + name, content)), name, len(content))
        return convert_one(self.source, self.settings._replace(**settings))

    def asked(self) -> int:
        return len(self.log.read_text().splitlines())


class ConvertTest(TaskCase):
    def test_a_line_describes_the_archive_and_its_results(self) -> None:
        made = self.convert("a.abc", HARBOUR.read_bytes())
        self.assertEqual((made.code, made.message, made.meshes, made.vertices, made.tokens, made.frames, made.attempts),
                         (0, "", 23, 2138, 2138, 48, 1))
        self.assertEqual(made.digest, "95c99f4231f871b1dad79756f779e3c68795184ddfb10695248317914bc4771d")
        self.assertEqual(made.versions["tool"], tool.version(TOOL))
        self.assertTrue(1 << 20 < (made.peak_memory or 0) < 1 << 26 and 0 < made.seconds < 30)
        self.assertEqual(read_record(str(self.out / "a.abc")), made)
        self.assertEqual(made.files["tokens.qel"], 24 + 25 * 2138)
        self.assertEqual(len(made.files), 26)
        self.assertTrue(made.is_whole(str(self.out)))
        self.assertEqual(os.listdir(self.out / ".farm" / "work"), [])

    def test_finished_work_is_found_by_its_record_and_not_repeated(self) -> None:
        made = self.convert("a.abc", grid(4, 1))
        self.assertEqual(convert_one(self.source, self.settings), made)
        self.assertEqual(self.asked(), 1)
        os.utime(self.source.path, ns=(9, 9))
        self.assertEqual(convert_one(self.source, self.settings), made._replace(modified=9))
        self.assertEqual(self.asked(), 1)
        os.remove(self.out / "a.abc" / "scene.bqel")
        self.assertEqual(convert_one(self.source, self.settings).code, 0)
        self.assertEqual(self.asked(), 2)
        with open(self.source.path, "r+b") as archive:  # other bytes of the same length
            archive.write(grid(4, 2))
        self.assertNotEqual(convert_one(self.source, self.settings).digest, made.digest)
        self.assertEqual(self.asked(), 3)

    def test_crashes_timeouts_memory_limits_and_missing_results_are_failures(self) -> None:
        started = time.monotonic()
        ends: List[Tuple[str, Dict[str, Any], int, str]] = [
            ("crash.abc", {}, -signal.SIGSEGV, "ended by signal 11"),
            ("hang.abc", {"limits": Limits(0.3, None)}, -signal.SIGKILL, "it took longer than 0.3 s"),
            ("silent.abc", {}, 1, "the tool has made nothing"),
            ("cut.abc", {}, 1, "the archive is damaged, cut short or was never finished"),
            ("small.abc", {"tool": "/nowhere/qel"}, 127, "/nowhere/qel")]
        for name, settings, code, message in ends:
            with mock.patch.object(tasks, "version", lambda _: "qel"):
                made = self.convert(name, grid(4, 1)[: 60 if "cut" in name else None], **settings)
            self.assertEqual(made.code, code, made)
            self.assertIn(message, made.message)
        self.assertLess(time.monotonic() - started, 20)
        self.assertEqual(sorted(os.listdir(self.out)), [".farm"])
        self.assertEqual(os.listdir(self.out / ".farm" / "work"), [])

    def test_exceeding_the_memory_limit_fails_one_archive_only(self) -> None:
        large = grid(300, 1)
        made = self.convert("large.abc", large, limits=Limits(30.0, 24 << 20))
        self.assertNotEqual((made.code, made.message), (0, ""))
        self.assertEqual(self.convert("large.abc", large, limits=Limits(30.0, 1 << 30)).code, 0)

    def test_a_killed_worker_takes_its_tool_with_it(self) -> None:
        pid = os.fork()
        if pid == 0:  # a worker, which is killed while its tool hangs
            self.convert("hang.abc", grid(3, 1))
            os._exit(0)
        self.until(self.asked, "the tool was not started")
        os.kill(pid, signal.SIGKILL)
        os.waitpid(pid, 0)
        self.until(lambda: not _running("hang.abc"), "the tool goes on", 10)

    def test_a_new_result_takes_the_place_of_the_old_one_whole(self) -> None:
        self.convert("a.abc", HARBOUR.read_bytes())
        made = self.convert("a.abc", grid(4, 1))
        self.assertEqual(sorted(path.name for path in (self.out / "a.abc" / "meshes").iterdir()), ["grid.qelm"])
        self.assertTrue(made.is_whole(str(self.out)))

    def test_the_place_of_another_archive_is_not_taken_while_that_one_is_there(self) -> None:
        self.convert("a.abc", grid(4, 1))
        other = Source(str(self.file("other/a.abc", grid(4, 2))), "a.abc", 1)
        refused = convert_one(other, self.settings)
        self.assertEqual((refused.code, refused.message), (1, "its place holds the results of " + self.source.path))
        os.remove(self.source.path)
        self.assertEqual(convert_one(other, self.settings).code, 0)

    def test_an_archive_that_changes_while_it_is_read_is_a_failure(self) -> None:
        made = self.convert("a.abc", grid(4, 1))
        shutil.rmtree(self.out / "a.abc")
        def changed(path: str) -> str:
            os.utime(path, ns=(5, 5))
            return "digest"

        with mock.patch.object(tasks, "_digest", changed):
            self.assertIn("has changed while it was read", convert_one(self.source, self.settings).message)
        self.assertFalse((self.out / made.result).exists())

    def test_a_path_that_an_agent_directory_cannot_keep_is_refused_unless_none_is_made(self) -> None:
        name = "/".join(["d" * 100] * 3) + "/a.abc"
        self.assertIn("too long for an agent directory", self.convert(name, grid(3, 1)).message)
        self.assertEqual(self.convert(name, grid(3, 1), only="tokens").code, 0)

    def test_what_is_missing_or_unreadable_is_a_failure(self) -> None:
        self.assertIn("No such file", convert_one(Source("/nowhere/a.abc", "a.abc", 0), self.settings).message)
        os.mkdir(self.folder / "folder")
        self.assertNotEqual(convert_one(Source(str(self.folder / "folder"), "f", 0), self.settings).code, 0)
        self.file("out/file")
        self.assertNotEqual(self.convert("file/a.abc", grid(3, 1)).code, 0)

    def test_names_that_are_no_text_are_converted(self) -> None:
        name = os.fsdecode(b"\xff \n'\"$.abc")
        made = self.convert(name, grid(3, 1))
        self.assertEqual(made.code, 0, made)
        self.assertTrue((self.out / name / "tokens.qel").exists())


class GroupTest(TaskCase):
    def test_a_group_ends_when_its_run_has_ended(self) -> None:
        sources = [Source(str(self.file("in/{}.abc".format(i), grid(3, i))), str(i), 1) for i in range(3)]
        self.assertEqual([entry.code for entry in convert_group(sources, self.settings)], [0, 0, 0])
        for other in (b"that", None):
            Path(run_file(str(self.out))).write_bytes(other) if other else os.remove(run_file(str(self.out)))
            self.assertEqual(convert_group(sources, self.settings), [])

    def test_a_result_of_a_run_that_has_ended_is_not_put_in_place(self) -> None:
        self.file("out/.farm/run", b"that")
        self.assertEqual(self.convert("a.abc", grid(3, 1)).message, "its run has ended")
        self.assertFalse((self.out / "a.abc").exists())

    def test_a_record_of_another_choice_or_archive_is_ignored(self) -> None:
        made = self.convert("a.abc", grid(3, 1))
        for other in (made._replace(choice="only agents"), made._replace(path="/x"), made._replace(size=1),
                      made._replace(files={})):
            write_record(str(self.out / "a.abc"), other)
            before = self.asked()
            self.assertEqual(convert_one(self.source, self.settings).code, 0)
            self.assertEqual(self.asked(), before + 1)


def _running(name: str) -> bool:
    for pid in filter(str.isdigit, os.listdir("/proc")):
        try:
            if name in Path("/proc", pid, "cmdline").read_text(errors="replace"):
                return True
        except OSError:
            pass  # it has ended
    return False
