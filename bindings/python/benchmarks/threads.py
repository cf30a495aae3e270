# SPDX-License-Identifier: MIT
"""How much faster two threads read one archive than one: threads.py [ARCHIVE]

Without an archive it makes one of 64 meshes of 100,000 vertices. Each turn reads all meshes, first with one thread
and then with two. Where other programs take the cores, wall time says little; the processor time of the busier thread
says what two free cores would give.
"""

import sys
import tempfile
import threading
import time
from array import array
from pathlib import Path
from typing import List, NamedTuple

FOLDER = Path(__file__).resolve().parent.parent
sys.path.insert(0, str(FOLDER))

from qel_unit import ArchiveTree, open_archive  # noqa: E402
from tests import archive_writer as writer  # noqa: E402

MESHES, SIDE, TURNS = 64, 316, 7


class Turn(NamedTuple):
    """Seconds of one reading of all meshes."""

    wall: float
    processor: float  # of all threads
    longest: float  # of the thread that worked most: the wall time on free cores


def make(path: Path) -> None:
    """Meshes that are grids of squares."""
    heights = [array("f", (number for x in range(SIDE) for z in range(SIDE) for number in (x, height, z)))
               for height in range(2)]
    corners = array("i", (
        number for x in range(SIDE - 1) for z in range(SIDE - 1)
        for number in (x * SIDE + z, x * SIDE + z + 1, x * SIDE + SIDE + z + 1, x * SIDE + SIDE + z)))
    counts = array("i", [4]) * ((SIDE - 1) ** 2)
    path.write_bytes(writer.written([
        writer.mesh("grid{}".format(number), [heights[number % 2]], counts, corners) for number in range(MESHES)]))


def read_all(archive: ArchiveTree, threads: int) -> Turn:
    """Every mesh once, shared out among threads."""
    numbers = [found.number for found in archive.meshes()]
    spent: List[float] = [0.0] * threads

    def work(turn: int) -> None:
        before = time.thread_time()
        for number in numbers[turn::threads]:
            archive[number].mesh().close()
        spent[turn] = time.thread_time() - before

    workers = [threading.Thread(target=work, args=(turn,)) for turn in range(threads)]
    before = time.perf_counter()
    for worker in workers:
        worker.start()
    for worker in workers:
        worker.join()
    return Turn(time.perf_counter() - before, sum(spent), max(spent))


def measure(path: Path) -> None:
    """Prints the best of several turns."""
    with open_archive(path) as archive:
        read_all(archive, 1)  # the file is in memory from here on
        best = [[min(column) for column in zip(*turns)] for turns in zip(*(
            (read_all(archive, 1), read_all(archive, 2)) for _ in range(TURNS)))]
        count = sum(1 for _ in archive.meshes())
    print("{} meshes, best of {} turns, milliseconds".format(count, TURNS))
    for threads, (wall, processor, longest) in zip((1, 2), best):
        print("{} thread{}: wall {:.1f}, processor {:.1f}, busiest thread {:.1f}".format(
            threads, "s" if threads > 1 else " ", wall * 1e3, processor * 1e3, longest * 1e3))
    print("two against one: {:.2f} by wall, {:.2f} by the busiest thread's processor time".format(
        best[0][0] / best[1][0], best[0][2] / best[1][2]))


def main() -> None:
    if len(sys.argv) > 1:
        measure(Path(sys.argv[1]))
        return
    with tempfile.TemporaryDirectory() as folder:
        made = Path(folder) / "grids.abc"
        make(made)
        measure(made)


if __name__ == "__main__":
    main()
