#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Times that users wait for: commands of the tool, the first answer, Python calls, the load of the libraries, sizes.

Usage: users.py [--quick] [--page PAGE.md]   called by scripts/bench-users.sh, which builds what QEL, USERS_BENCH and
QEL_UNIT_LIBRARY name. Prints the tables, and puts them between the markers of the page where one is given."""
import argparse
import os
import pathlib
import shutil
import statistics
import subprocess
import sys
import tempfile
import time
from array import array
from typing import NamedTuple

from page import duration, machine, markdown, number, put

ROOT = pathlib.Path(__file__).resolve().parent.parent
QEL, USERS_BENCH, LIBRARY = (os.environ[name] for name in ("QEL", "USERS_BENCH", "QEL_UNIT_LIBRARY"))
LIBRARIES = [pathlib.Path(LIBRARY).with_name(f"libqel_{name}.so") for name in ("unit", "archive")]


class Run(NamedTuple):
    """A process: milliseconds of wall time and of processor time, and its peak memory in MiB."""

    wall: float
    processor: float
    peak: float


def run(command):
    """Runs the command once to its end and discards its output."""
    done = subprocess.run([USERS_BENCH, "run", *map(str, command)], capture_output=True, text=True)
    if done.returncode != 0:
        sys.exit(f"failed: {command}: {done.stderr}")
    return Run(*map(float, done.stdout.split()))


def files_below(place):
    return [place] if place.is_file() else sorted(path for path in place.rglob("*") if path.is_file())


def remove(place):
    if place.is_dir():
        shutil.rmtree(place)
    elif place.exists():
        place.unlink()


class Command(NamedTuple):
    """A command of the tool, the file it reads, and what it writes, if anything."""

    name: str
    arguments: list
    source: pathlib.Path
    result: pathlib.Path = None

    def once(self):
        if self.result:
            remove(self.result)
        return run([QEL, *self.arguments])

    def least(self, copies):
        """The system's time to start a process, to read the file and to copy the results."""
        steps = [run([QEL, "--version"]), run(["cat", self.source])]
        if self.result:
            remove(copies)
            steps.append(run(["cp", "-r", self.result, copies]))
            remove(copies)
        return sum(step.wall for step in steps)


def command_row(command, what, rounds, folder):
    """Runs both in turn; the ratio is the median of the rounds' ratios."""
    command.once()  # loads the files into the system's cache
    pairs = [(command.once(), command.least(folder / "copy")) for _ in range(rounds)]
    runs = [one for one, _ in pairs]
    ratios = sorted(one.wall / limit for one, limit in pairs)
    written = sum(path.stat().st_size for path in files_below(command.result)) if command.result else 0
    return [command.name, what, duration(statistics.median(one.wall for one in runs)),
            duration(statistics.median(one.processor for one in runs)),
            f"{max(one.peak for one in runs):,.0f} MiB", f"{written / 1e6:,.1f} MB" if written else "–",
            f"{number(statistics.median(ratios))} [{number(ratios[0])}–{number(ratios[-1])}]"]


def commands_on(archive, folder):
    out, page = folder / "out", folder / "page.html"
    return [Command("`qel info`", ["info", archive], archive),
            Command("`qel convert`", ["convert", archive, "-o", out, "--quiet"], archive, out),
            Command("`qel view`", ["view", archive, "-o", page, "--quiet"], archive, page)]


def tool_table(folder, quick):
    harbour, large, unit = ROOT / "examples/data/harbour.abc", folder / "large.abc", folder / "tokens.qel"
    rows = []
    for archive, rounds in ((harbour, 9), (large, 2)):
        size = archive.stat().st_size / 1e6
        what = f"{archive.name}, {size:,.1f} MB"
        rows += [command_row(command, what, 1 if quick else rounds, folder) for command in commands_on(archive, folder)]
        remove(folder / "out")
    nearest = Command("`qel nearest`: the first answer", ["nearest", unit, "1,2,3"], unit)
    rows.append(command_row(nearest, f"unit of {unit.stat().st_size // 25:,} tokens", 1 if quick else 9, folder))
    headings = ["command", "file", "wall", "processor", "peak memory", "written", "wall ÷ limit"]
    return markdown(headings, rows)


def nanoseconds(calls, count):
    """The minimum of three rounds, per call or element."""
    times = []
    for _ in range(3):
        start = time.perf_counter_ns()
        calls()
        times.append((time.perf_counter_ns() - start) / count)
    return min(times)


def python_table(path, lookups):
    sys.path.insert(0, str(ROOT / "bindings/python"))
    import qel_unit  # found by QEL_UNIT_LIBRARY

    in_c = [float(value) for value in subprocess.run(
        [USERS_BENCH, "calls", path, str(lookups)], check=True, capture_output=True, text=True).stdout.split()[:3]]
    rows = []
    with qel_unit.Unit.load(path) as unit:
        numbers = [i * 7919 % len(unit) for i in range(lookups)]  # the same as in users_bench
        columns = unit.all_tokens()
        keys = [int(columns.mortons[i]) for i in numbers]
        ids = [bytes(columns.hex_ids[i]) for i in numbers]
        few = keys[: lookups // 10]

        def row(name, c, single, singles, bulk):
            one, all_at_once = nanoseconds(lambda: [single(key) for key in singles], len(singles)), nanoseconds(bulk, len(singles))
            rows.append([name, f"{c:.0f} ns", f"{one:,.0f} ns", f"{one - c:,.0f} ns", f"{all_at_once:,.0f} ns", number(all_at_once / c)])

        all_keys, all_ids, few_keys = array("Q", keys), b"".join(ids), array("Q", few)
        row("lookup by key", in_c[0], unit.lookup_morton, keys, lambda: unit.lookup_mortons(all_keys))
        row("lookup by identity", in_c[1], unit.lookup_hex, ids, lambda: unit.lookup_ids(all_ids))
        row("nearest, k = 8", in_c[2], lambda key: unit.query_nearest(key, 8), few, lambda: unit.query_nearest_many(few_keys, 8))
    headings = ["job", "from C", "from Python, a call each", "Python's part in a call", "arrays in one call, an element", "÷ C"]
    return markdown(headings, rows)


LOAD = "import ctypes, sys, time; s = time.perf_counter(); ctypes.CDLL(sys.argv[1]); print((time.perf_counter() - s) * 1000)"


def loads(library, rounds):
    """Each in a new process, so that the load includes the C++ library."""
    return [float(subprocess.run([sys.executable, "-c", LOAD, str(library)], check=True, capture_output=True, text=True).stdout)
            for _ in range(rounds)]


def stripped_size(library, folder):
    copy = folder / library.name
    subprocess.run(["strip", "--strip-unneeded", "-o", str(copy), str(library.resolve())], check=True)
    return copy.stat().st_size


def library_table(folder, rounds):
    libc = loads("libm.so.6", rounds)
    rows = [["`libm.so.6`, for comparison", duration(statistics.median(libc)), "–"]]
    for library in LIBRARIES:
        times = loads(library, rounds)
        rows.append([f"`{library.name}`", f"{duration(statistics.median(times))} [{duration(min(times))}–{duration(max(times))}]",
                     f"{stripped_size(library, folder):,} bytes"])
    return markdown(["library", "load in a fresh process", "size, stripped"], rows)


def main():
    parser = argparse.ArgumentParser(description=__doc__.split("\n")[0])
    parser.add_argument("--quick", action="store_true", help="small inputs, one round")
    parser.add_argument("--page", help="the page to write the tables into")
    given = parser.parse_args()
    megabytes, tokens, lookups = (20, 20000, 1000) if given.quick else (1000, 1000000, 200000)
    with tempfile.TemporaryDirectory() as scratch:
        folder = pathlib.Path(scratch)
        subprocess.run([USERS_BENCH, "inputs", scratch, str(megabytes), str(tokens)], check=True)
        parts = [machine(), tool_table(folder, given.quick), python_table(folder / "tokens.qel", lookups),
                 library_table(folder, 3 if given.quick else 21)]
    text = "\n\n".join(parts)
    print(text)
    if given.page:
        put(given.page, "users", text)


if __name__ == "__main__":
    main()
