# SPDX-License-Identifier: MIT
"""Threads read one archive in parallel. No clock is used: the tests observe which call ends during which."""

import ctypes
import os
import subprocess
import sys
import threading
import time
from array import array
from typing import Any, Callable, Dict, List, Tuple

from qel_unit import ArchiveTree, _library, _library_archive, _raw, _raw_archive, open_archive
from qel_unit._records import Record
from qel_unit.mesh import release_mesh

from . import archive_writer as writer
from .support import FOLDER, HARBOUR, Case

VERTICES = 400_000
CALLS = 2_000  # of a long call, until a whole short one was seen in it
ENOUGH = 3  # short calls in a long one: a call that had waited for the long one's end would be seen in it once at most


def whole_calls_within(long_call: Callable[[], Any], short_call: Callable[[], Any], calls: int = CALLS) -> int:
    """Makes the long call again and again, and the short one in another thread. How many of the short ones began and
    ended within a single long one, at most.

    Threads take turns only where a call gives the interpreter's lock away, as nobody is interrupted meanwhile.
    """
    inside, most, done = 0, 0, False

    def call_shortly() -> None:
        nonlocal most
        counted: Dict[int, int] = {}
        while not done:
            before = inside
            short_call()
            if before and inside == before:
                counted[before] = counted.get(before, 0) + 1
                most = max(most, counted[before])

    interval = sys.getswitchinterval()
    sys.setswitchinterval(100)
    other = threading.Thread(target=call_shortly)
    try:
        other.start()
        for number in range(1, calls + 1):
            inside = number
            long_call()
            inside = 0
            time.sleep(0)  # a turn for the other thread, whatever the long call does
            if most >= ENOUGH:
                break
    finally:
        done = True
        other.join()
        sys.setswitchinterval(interval)
    return most


class SideBySide(Case):
    def archive(self) -> ArchiveTree:
        points = array("f", [0.0, 1.0, 2.0]) * VERTICES
        self.file("large.abc").write_bytes(writer.written([writer.mesh("large", [points], [3], [0, 1, 2])]))
        archive = open_archive(self.file("large.abc"))
        self.addCleanup(archive.close)
        return archive

    def test_calls_end_while_another_is_in_the_library(self) -> None:
        archive = self.archive()
        large = archive["/large"]
        self.assertGreaterEqual(whole_calls_within(large.mesh, large.world_transform), ENOUGH)

    def test_calls_that_kept_the_lock_would_be_seen(self) -> None:
        archive = self.archive()
        library = _library.load(
            "qel_archive", _library_archive.VARIABLE, lambda found: found,
            os.path.dirname(os.environ.get(_library.VARIABLE, "")))
        locked = ctypes.PyDLL(library._name).qel_archive_read_mesh  # keeps the interpreter's lock
        locked.restype, locked.argtypes = _raw_archive.SIGNATURES["qel_archive_read_mesh"]
        handle, read = archive._archive().value, []

        def keep_the_lock() -> None:
            value = _raw.ogawa_polymesh()
            read.append((locked(handle, 1, 0, value), Record(value, release_mesh)))

        seen = whole_calls_within(keep_the_lock, archive["/large"].visible, 20)
        self.assertEqual((seen, [code for code, _ in read]), (0, [0] * 20))

    def test_get_the_same_as_one_alone(self) -> None:
        with open_archive(HARBOUR) as archive:
            places = [(found.path, frame) for found in archive.meshes() for frame in (0, 11, 24, 47)]
            alone = {place: self.read(archive, place) for place in places}
            together: List[Dict[Tuple[str, int], Any]] = [{} for _ in range(4)]
            gate = threading.Barrier(len(together))

            def read_all(turn: int) -> None:
                gate.wait()
                for place in places[turn * 7 :] + places[: turn * 7]:
                    together[turn][place] = self.read(archive, place)

            threads = [threading.Thread(target=read_all, args=(turn,)) for turn in range(len(together))]
            for thread in threads:
                thread.start()
            for thread in threads:
                thread.join()
            for read in together:
                self.assertEqual(read, alone)

    @staticmethod
    def read(archive: ArchiveTree, place: Tuple[str, int]) -> Any:
        path, frame = place
        found, time = archive[path], frame / 24
        with found.mesh(time=time) as mesh:
            positions, indices = mesh.positions, mesh.face_indices
            assert positions is not None and indices is not None
            return (
                positions.tobytes(), indices.tobytes(), found.world_transform(time).tobytes(), found.visible(time),
                [one.name for one in found.children], list(found.properties))


class Benchmark(Case):
    def test_of_threads_runs(self) -> None:
        answer = subprocess.run(
            [sys.executable, "-W", "error", str(FOLDER.parent / "benchmarks" / "threads.py"), str(HARBOUR)],
            capture_output=True, text=True)
        self.assertEqual((answer.returncode, answer.stderr), (0, ""))
        self.assertRegex(
            answer.stdout, r"^23 meshes, best of 7 turns, milliseconds\n1 thread : wall [\d.]+, processor [\d.]+, "
            r"busiest thread [\d.]+\n2 threads: .*\ntwo against one: [\d.]+ by wall, [\d.]+ by ")
