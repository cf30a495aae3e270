# SPDX-License-Identifier: MIT
"""What the farm's tests share: small archives, a stand-in for the tool, a cluster of processes, calls of the
program."""

import json
import os
import random
import shlex
import signal
import subprocess
import sys
import tempfile
import time
import unittest
from array import array
from pathlib import Path
from typing import Any, Callable, Dict, List, Optional

from qel_unit.farm.sources import OWN_FOLDER
from tests import archive_writer as writer

TOOL = os.environ["QEL_TOOL"]
PACKAGE = Path(__file__).resolve().parent.parent
HARBOUR = PACKAGE.parent.parent / "examples" / "data" / "harbour.abc"


def grid(side: int, seed: int) -> bytes:
    """An archive of one mesh of side × side vertices at places that the seed decides."""
    draw = random.Random(seed)
    positions = array("f", (draw.uniform(-10, 10) for _ in range(3 * side * side)))
    counts = [4] * (side - 1) ** 2
    corners = [corner for x in range(side - 1) for y in range(side - 1)
               for corner in (x * side + y, x * side + y + 1, (x + 1) * side + y + 1, (x + 1) * side + y)]
    return writer.written([writer.mesh("grid", [positions], counts, corners)])


def stand_in(path: Path, log: Path, seconds: float = 0.0) -> str:
    """A program in the tool's place that notes each archive, takes its time, and crashes or hangs for some."""
    path.write_text("\n".join((
        "#!/bin/sh",
        'for archive; do :; done',
        '[ "$archive" = --version ] || echo "$archive" >>' + shlex.quote(str(log)),
        "case $archive in",
        "*crash*) kill -SEGV $$ ;;",
        "*hang*) exec sleep 1000 ;;",
        "*silent*) exit 0 ;;",
        "esac",
        'sleep {}'.format(seconds) if seconds else ":",
        'exec {} "$@"'.format(shlex.quote(TOOL)), "")))
    path.chmod(0o755)
    return str(path)


def _take_interruptions() -> None:
    """A shell lets the processes that it starts in the background ignore them, and their children inherit that."""
    signal.signal(signal.SIGINT, signal.SIG_DFL)


class Case(unittest.TestCase):
    """A test with its own folder."""

    def setUp(self) -> None:
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = Path(os.path.realpath(folder.name))
        self.out = self.folder / "out"

    def file(self, name: str, content: bytes = b"") -> Path:
        path = self.folder / name
        path.parent.mkdir(parents=True, exist_ok=True)
        path.write_bytes(content)
        return path

    def start_farm(self, *arguments: Any) -> "subprocess.Popen[str]":
        """The program as its user starts it; the end of the test ends it."""
        process = subprocess.Popen(
            [sys.executable, "-m", "qel_unit.farm", *map(str, arguments)], cwd=PACKAGE, text=True,
            stdout=subprocess.PIPE, stderr=subprocess.PIPE, preexec_fn=_take_interruptions,
            env={**os.environ, "TMPDIR": str(self.folder)})  # one that is killed leaves its workers' folder
        self.addCleanup(process.communicate)
        self.addCleanup(process.kill)
        return process

    def until(self, holds: Callable[[], Any], what: str, seconds: float = 60.0) -> None:
        """Waits for what must come."""
        deadline = time.monotonic() + seconds
        while not holds():
            self.assertLess(time.monotonic(), deadline, what)
            time.sleep(0.02)


class Cluster:
    """A scheduler and workers, processes of one thread each on 127.0.0.1; the end of the test ends them."""

    def __init__(self, test: Case, workers: int) -> None:
        self._test = test
        self._log = open(test.folder / "cluster.log", "ab")
        test.addCleanup(self._log.close)
        self._file = test.folder / "scheduler.json"
        self.scheduler = self._start("dask_scheduler", "--host", "127.0.0.1", "--port", "0",
                                     "--dashboard-address", "127.0.0.1:0", "--scheduler-file", str(self._file))
        test.until(self._file.exists, "the scheduler has not started")
        self.workers = [self.start_worker() for _ in range(workers)]

    @property
    def address(self) -> str:
        return str(json.loads(self._file.read_text())["address"])

    def start_worker(self) -> "subprocess.Popen[bytes]":
        return self._start("dask_worker", "--scheduler-file", str(self._file), "--nthreads", "1", "--no-nanny",
                           "--memory-limit", "0", "--dashboard-address", "127.0.0.1:0", "--host", "127.0.0.1",
                           "--local-directory", str(self._test.folder))

    def _start(self, name: str, *arguments: str) -> "subprocess.Popen[bytes]":
        process = subprocess.Popen([sys.executable, "-m", "distributed.cli." + name, *arguments], cwd=PACKAGE,
                                   stdout=self._log, stderr=self._log)
        self._test.addCleanup(process.wait)
        self._test.addCleanup(process.kill)
        return process


def farm(*arguments: Any, typed: Optional[str] = None) -> "subprocess.CompletedProcess[str]":
    """A call of the program to its end."""
    return subprocess.run([sys.executable, "-m", "qel_unit.farm", *map(str, arguments)], cwd=PACKAGE, text=True,
                          input=typed if typed is not None else "", capture_output=True, timeout=170)


def results_of(folder: Path) -> Dict[str, bytes]:
    """Every result of a folder by its path, without the time at which it was saved, and nothing of the farm's own."""
    found = {}
    for path in sorted(folder.rglob("*")):
        name = path.relative_to(folder).as_posix()
        if path.is_file() and not path.name.startswith(".farm") and not name.startswith(OWN_FOLDER) and "/" in name:
            content = path.read_bytes()
            stamped = path.suffix in (".qel", ".qeag")
            found[name] = content[:16] + content[24:] if stamped else content
    return found


def convert_alone(archives: List[Path], sources: Path, folder: Path) -> None:
    """What one process of the tool after the other makes of the same archives."""
    for archive in archives:
        out = folder / archive.relative_to(sources)
        subprocess.run([TOOL, "convert", "-q", str(archive), "-o", str(out)], check=True)


def kill(process: "subprocess.Popen[Any]") -> None:
    """As an administrator does, or a system without memory."""
    process.send_signal(signal.SIGKILL)
    process.wait()


def processes_of(pid: int) -> List[int]:
    """A process and all that it has started, and these in turn."""
    found = [pid]
    for parent in found:  # which grows in the loop
        for tasks in Path("/proc", str(parent), "task").glob("*/children"):
            found += map(int, tasks.read_text().split())
    return found


def alive(pid: int) -> bool:
    """Whether a process runs; a zombie does not."""
    try:
        return Path("/proc", str(pid), "stat").read_text().rpartition(")")[2].split()[0] != "Z"
    except OSError:
        return False


def listening(pids: List[int]) -> List[str]:
    """The addresses at which processes listen."""
    held = set()
    for pid in pids:
        for entry in Path("/proc", str(pid), "fd").iterdir():
            try:
                held.add(os.readlink(entry))
            except OSError:
                pass  # closed by now
    found = []
    for table in ("/proc/net/tcp", "/proc/net/tcp6"):
        for line in Path(table).read_text().splitlines()[1:] if Path(table).exists() else []:
            fields = line.split()
            if fields[3] == "0A" and "socket:[{}]".format(fields[9]) in held:
                plain = bytes.fromhex(fields[1].split(":")[0])
                found.append(".".join(map(str, plain[::-1])) if len(plain) == 4 else fields[1])
    return found
