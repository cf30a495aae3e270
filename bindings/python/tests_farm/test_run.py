# SPDX-License-Identifier: MIT
"""Whole runs on processes: what is killed, hangs or is damaged, and what is left of it."""

import collections
import json
import os
import random
import shutil
import signal
from pathlib import Path
from typing import Dict, List

from distributed import Client

from qel_unit.farm import Farm, Manifest
from qel_unit.farm.manifest import read_record
from qel_unit.farm.queries import Layer, Lookup, Nearest, Question, answer

from .support import PACKAGE, Case, Cluster, alive, convert_alone, farm, grid, kill, listening, processes_of
from .support import results_of, stand_in

SOUND, CUT, FLIPPED = 267, 20, 10


class FarmTest(Case):
    def make_sources(self) -> None:
        """300 archives: sound ones in folders, cut and flipped ones, a crash, a hang, and a huge one that is sound."""
        draw = random.Random(7)
        self.sources = self.folder / "in"
        self.sound = [self.file("in/shot{:02}/a{:03}.abc".format(i % 12, i), grid(3 + i % 9, i)) for i in range(SOUND)]
        self.sound.append(self.file("in/huge.abc", grid(400, 1)))
        for i in range(CUT):
            content = grid(5, i)
            self.file("in/damaged/cut{:02}.abc".format(i), content[: draw.randrange(len(content))])
        for i in range(FLIPPED):  # in the first word, so that none is an archive
            flipped = bytearray(grid(5, i))
            flipped[draw.randrange(5)] ^= 1 << draw.randrange(8)
            self.file("in/damaged/flipped{:02}.abc".format(i), bytes(flipped))
        self.file("in/crash.abc", grid(3, 0))
        self.file("in/hang.abc", grid(3, 0))
        self.bad = CUT + FLIPPED + 2
        self.log = self.file("log")
        self.tool = stand_in(self.folder / "tool.sh", self.log, 0.03)

    def call(self) -> List[str]:
        return ["convert", str(self.sources), "-o", str(self.out), "--scheduler", self.cluster.address,
                "--tool", self.tool, "--time-limit", "2"]

    def asked(self) -> Dict[str, int]:
        """How often the tool was started for each archive."""
        return collections.Counter(self.log.read_text().splitlines())

    def made(self) -> List[Path]:
        found = []
        for folder, folders, names in os.walk(self.out):
            folders[:] = [name for name in folders if name != ".farm"]
            found += [Path(folder)] if ".farm.json" in names else []
        return found

    def assert_nothing_is_half_written(self) -> None:
        for folder, folders, names in os.walk(self.out):
            folders[:] = [name for name in folders if name != ".farm"]
            if set(names) - {"manifest.jsonl"} and Path(folder).name != "meshes":
                record = read_record(folder)
                self.assertTrue(record and record.is_whole(str(self.out)), folder)

    def test_nothing_is_lost_or_done_twice_when_a_worker_and_the_client_are_killed(self) -> None:
        self.make_sources()
        self.cluster = Cluster(self, 3)
        first = self.start_farm(*self.call())
        self.until(lambda: len(self.made()) > 40, "no results come")
        kill(self.cluster.workers[0])
        self.until(lambda: len(self.made()) > 120, "no more results come after a worker was killed")
        kill(first)
        first.communicate()
        self.assert_nothing_is_half_written()
        self.assertLess(len(self.made()), len(self.sound), "the client was killed too late to tell anything")
        second = farm(*self.call())
        self.assertEqual(second.returncode, 1, second.stderr)
        self.assertIn("300 archives:", second.stdout)
        self.assertIn("{} failed".format(self.bad), second.stdout)
        self.look_at_results()
        self.look_at_second_run()
        self.look_at_answers()

    def look_at_results(self) -> None:
        self.assert_nothing_is_half_written()
        self.assertEqual(os.listdir(self.out / ".farm" / "work") if (self.out / ".farm" / "work").exists() else [], [])
        convert_alone(self.sound, self.sources, self.folder / "alone")
        alone, made = results_of(self.folder / "alone"), results_of(self.out)
        self.assertEqual(sorted(alone), sorted(made))
        self.assertEqual([name for name in alone if alone[name] != made[name]], [])
        again = {path: count - 1 for path, count in self.asked().items() if count > 1 and Path(path) in self.sound}
        # At each of the two kills, what the three workers had begun; a busy machine may make one miss its time limit,
        # too.
        self.assertLessEqual(sum(again.values()), 2 * 3, again)
        entries = Manifest(str(self.out)).entries
        self.assertEqual(len(entries), 300)
        self.assertEqual({Path(entry.path) for entry in entries.values() if entry.done}, set(self.sound))
        self.assertEqual((entries["crash.abc"].code, entries["hang.abc"].code), (-signal.SIGSEGV, -signal.SIGKILL))
        self.assertIn("it took longer than 2 s", entries["hang.abc"].message)
        self.assertEqual({entry.attempts for entry in entries.values() if not entry.done}, {2})
        huge = entries["huge.abc"]
        self.assertEqual((huge.meshes, huge.vertices, huge.tokens, huge.frames), (1, 160000, 160000, 0))
        self.assertGreater(huge.peak_memory or 0, 10 << 20)

    def look_at_second_run(self) -> None:
        manifest, asked = (self.out / "manifest.jsonl").read_bytes(), self.asked()
        third = farm(*self.call())
        self.assertIn("0 converted, {} done before, {} failed".format(len(self.sound), self.bad), third.stdout)
        self.assertEqual((third.returncode, third.stderr), (1, ""))
        self.assertEqual(((self.out / "manifest.jsonl").read_bytes(), self.asked()), (manifest, asked))

    def look_at_answers(self) -> None:
        """Three workers, two, one, and this process alone answer the same."""
        questions: List[Question] = [
            Nearest(29183, 8), Nearest(0, 300), Nearest(2**63, 1), Nearest(5, 0), Lookup("00000003"), Lookup(29183),
            Layer(1, 100), Layer(1), Layer(9)]
        some = self.folder / "some"  # without a manifest: a unit takes 10 ms to load
        for i in range(9, 21):
            shutil.copytree(
                self.out / "shot{:02}".format(i % 12), some / str(i), dirs_exist_ok=True,
                ignore=lambda folder, names: [name for name in names if name[0] == "a" and name[-5] not in "12"])
        with Client(self.cluster.address, set_as_default=False) as client:
            whole = Farm(self.out, client, 1 << 28)
            self.assertEqual(len(whole.units), len(self.sound))
            one = answer(Nearest(29183, 40), str(self.out), whole.units, 1 << 28)
            self.assertEqual(whole.nearest(29183, 40).result(), one)
            units = Farm(some, client).units
            self.assertGreater(len(units), 20)
            alone = [answer(question, str(some), units, 1 << 28) for question in questions]
            self.assertEqual([len(hits) for hits in alone[:5]], [8, 300, 1, 0, len(units)])
            self.assertEqual((len(alone[6]), len(alone[8])), (100, 0))
            self.cluster.workers[0] = self.cluster.start_worker()
            client.wait_for_workers(3)
            for workers in (3, 2, 1):
                asked = Farm(some, client, 1 << 28)
                futures = [asked.ask(question) for question in questions]
                self.assertEqual([future.result() for future in futures], alone, workers)
                kill(self.cluster.workers.pop())


class LocalTest(Case):
    """Runs on a cluster of their own."""

    def test_a_folder_is_converted_and_asked(self) -> None:
        for i in range(5):
            self.file("in/s{}/a.abc".format(i), grid(4, i))
        run = farm("convert", self.folder / "in", "-o", self.out, "--only", "tokens", "--workers", 2)
        self.assertEqual((run.returncode, run.stderr), (0, ""))
        self.assertFalse((PACKAGE / "dask-worker-space").exists(), "the caller's folder is not for the workers")
        self.assertIn("5 archives: 5 converted, 0 done before, 0 failed", run.stdout)
        results = sorted(path.name for path in (self.out / "s0" / "a.abc").iterdir())
        self.assertEqual(results, [".farm.json", "tokens.qel"])
        found = farm("nearest", self.out, "23,23,23", "-k", 3, "--json", "--workers", 1)
        self.assertEqual((found.returncode, found.stderr), (0, ""))
        hits = [json.loads(line) for line in found.stdout.splitlines()]
        self.assertEqual(len(hits), 3)
        self.assertEqual(hits, sorted(hits, key=lambda hit: (int(hit["hops"]), hit["file"], hit["token"])))

    def test_an_interruption_leaves_what_is_done_and_the_same_call_goes_on(self) -> None:
        for i in range(60):
            self.file("in/a{:02}.abc".format(i), grid(4, i))
        log = self.file("log")
        tool = stand_in(self.folder / "tool.sh", log, 0.1)
        call = ["convert", self.folder / "in", "-o", self.out, "--only", "tokens", "--workers", 2, "--tool", tool]
        for number in (signal.SIGINT, signal.SIGTERM):
            run = self.start_farm(*call)
            before = len(log.read_text().splitlines())
            self.until(lambda: len(log.read_text().splitlines()) > before + 6, "nothing is converted")
            run.send_signal(number)
            _, errors = run.communicate(timeout=60)
            self.assertEqual(run.returncode, 130, errors)
            self.assertIn("interrupted; what is done stays done", errors)
            self.assertFalse((self.out / ".farm" / "run").exists())
        last = farm(*call)
        self.assertEqual(last.returncode, 0, last.stderr)
        self.assertEqual(len(list(self.out.rglob("tokens.qel"))), 60)
        self.assertLessEqual(len(log.read_text().splitlines()), 60 + 2 * 2)

    def test_changed_archives_are_converted_again_and_touched_ones_are_not(self) -> None:
        paths = [self.file("in/{}.abc".format(name), grid(4, i)) for i, name in enumerate("abcd")]
        log = self.file("log")
        call = ["convert", self.folder / "in", "-o", self.out, "--only", "tokens", "--workers", 1,
                "--tool", stand_in(self.folder / "tool.sh", log)]

        def converted() -> str:
            log.write_text("")
            run = farm(*call)
            self.assertEqual((run.returncode, run.stderr), (0, ""))
            return "".join(sorted(Path(line).stem for line in log.read_text().splitlines()))

        self.assertEqual(converted(), "abcd")
        self.assertEqual(converted(), "")
        os.utime(paths[0], ns=(1, 1))
        paths[1].write_bytes(grid(5, 9))
        os.unlink(self.out / "c.abc" / ".farm.json")
        self.assertEqual(converted(), "bc")
        self.assertEqual(converted(), "")
        os.truncate(self.out / "d.abc" / "tokens.qel", 30)
        self.assertEqual(converted(), "")
        call.append("--verify")
        self.assertEqual(converted(), "d")
        call[call.index("tokens")] = "tokens,cache"
        self.assertEqual(converted(), "abcd")
        self.assertEqual(converted(), "")
        call[-1] = "--again"
        self.assertEqual(converted(), "abcd")
        before = (self.out / "a.abc" / "tokens.qel").read_bytes()
        call[-2] = stand_in(self.folder / "crash.sh", log)
        (self.folder / "crash.sh").write_text("#!/bin/sh\n[ $1 = --version ] && echo qel || kill -SEGV $$\n")
        self.assertEqual(farm(*call).returncode, 1)
        self.assertEqual((self.out / "a.abc" / "tokens.qel").read_bytes(), before, "a failure keeps what was there")

    def test_a_cluster_of_its_own_listens_to_this_machine_alone_and_ends_with_a_killed_client(self) -> None:
        self.file("in/hang.abc", grid(4, 0))
        log = self.file("log")
        run = self.start_farm("convert", self.folder / "in", "-o", self.out, "--workers", 2,
                              "--tool", stand_in(self.folder / "tool.sh", log))
        self.until(log.read_text, "nothing is converted")
        family = processes_of(run.pid)
        self.assertGreater(len(family), 2)
        addresses = listening(family)
        self.assertGreater(len(addresses), 2)
        self.assertEqual(set(addresses), {"127.0.0.1"})
        kill(run)
        self.until(lambda: not any(alive(pid) for pid in family), "workers outlive their client", 30)

    def test_two_runs_do_not_work_on_one_folder(self) -> None:
        self.file("in/a.abc", grid(4, 0))
        with Manifest(str(self.out), writing=True):
            run = farm("convert", self.folder / "in", "-o", self.out)
        self.assertEqual((run.returncode, run.stderr), (1, "qel_unit.farm: another run works on {}\n".format(self.out)))

    def test_a_scheduler_that_is_killed_ends_the_run_and_keeps_what_is_done(self) -> None:
        for i in range(100):
            self.file("in/a{:02}.abc".format(i), grid(4, i))
        cluster = Cluster(self, 1)
        log = self.file("log")
        call = ["convert", str(self.folder / "in"), "-o", str(self.out), "--only", "tokens"]
        tool = stand_in(self.folder / "tool.sh", log, 0.05)
        run = self.start_farm(*call, "--scheduler", cluster.address, "--tool", tool)
        self.until(lambda: len(log.read_text().splitlines()) > 20, "nothing is converted")
        kill(cluster.scheduler)
        _, errors = run.communicate(timeout=120)
        self.assertEqual(run.returncode, 1, errors)
        self.assertIn("what is done stays done", errors)
        kill(cluster.workers[0])
        last = farm(*call, "--workers", 1)
        self.assertEqual(last.returncode, 0, last.stderr)
        self.assertEqual(len(list(self.out.rglob("tokens.qel"))), 100)

    def test_a_missing_tool_and_a_missing_scheduler_are_reported_at_once(self) -> None:
        self.file("in/a.abc", grid(4, 0))
        run = farm("convert", self.folder / "in", "-o", self.out, "--workers", 1, "--tool", "/nowhere/qel")
        self.assertEqual(run.returncode, 1)
        self.assertRegex(run.stderr, r"qel_unit.farm: /nowhere/qel cannot be asked for its version")
        wrong = farm("convert", self.folder / "none", "-o", self.out)
        self.assertEqual(wrong.returncode, 2)
        self.assertIn("none: no such file or folder", wrong.stderr)
        for call in (("convert",), ("nearest", self.out, "99,0,0"), ("layer", self.out, "256"), ("lookup", self.out),
                     ("convert", "x", "-o", "y", "--only", "pages"),
                     ("convert", "x", "-o", "y", "--memory-limit", "4 apples")):
            self.assertEqual(farm(*call).returncode, 2, call)
        empty = farm("nearest", self.folder, "5", "--workers", 1)
        told = "qel_unit.farm: {}: has no units in it\n".format(self.folder)
        self.assertEqual((empty.returncode, empty.stderr), (1, told))
