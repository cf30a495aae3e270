# SPDX-License-Identifier: MIT
"""What an archive, a task and a worker cost: farm_measure.py OUTPUT.json [ARCHIVES]

Small archives are converted by one worker and by two, on a scheduler of its own process; QEL_TOOL names the tool.
Wall time says little where other programs take the processors, so that processor times are measured beside it.
"""

import json
import os
import resource
import subprocess
import sys
import tempfile
import time
from contextlib import nullcontext
from pathlib import Path
from typing import Any, Dict, List

FOLDER = Path(__file__).resolve().parent.parent
sys.path.insert(0, str(FOLDER))

from distributed import Client  # noqa: E402

from qel_unit.farm import Options, convert  # noqa: E402
from qel_unit.farm.sources import Source, find_sources  # noqa: E402
from tests_farm.support import TOOL, grid  # noqa: E402

ARCHIVES, IDLE_SECONDS, DISTINCT = 10_000, 5.0, 50


def processor_seconds() -> float:
    """Of this process."""
    return time.process_time()


def worker_seconds() -> float:
    """Of a worker and of the tools that it has started."""
    used = resource.getrusage(resource.RUSAGE_CHILDREN)
    return time.process_time() + used.ru_utime + used.ru_stime


def make_sources(folder: Path, count: int) -> List[Source]:
    """Small archives of 9 to 196 vertices, 256 to a folder."""
    contents = [grid(3 + seed % 12, seed) for seed in range(DISTINCT)]
    for number in range(count):
        path = folder / "{:04}".format(number // 256) / "{:06}.abc".format(number)
        path.parent.mkdir(parents=True, exist_ok=True)
        path.write_bytes(contents[number % DISTINCT])
    return find_sources([str(folder)], sys.stdin, str(folder.parent / "out"))


def start(name: str, folder: Path, *words: str) -> "subprocess.Popen[bytes]":
    """A process of the cluster."""
    return subprocess.Popen(
        [sys.executable, "-m", "distributed.cli." + name, "--scheduler-file", str(folder / "scheduler"),
         "--host", "127.0.0.1", "--dashboard-address", "127.0.0.1:0", *words],
        cwd=FOLDER, stderr=subprocess.DEVNULL)


def run(client: Any, sources: List[Source], out: Path) -> Dict[str, Any]:
    """One run, with what each process spent on it."""
    before = (client.run_on_scheduler(processor_seconds), processor_seconds(), sum(client.run(worker_seconds).values()))
    made = convert(lambda: nullcontext(client), sources, str(out), Options(tool=TOOL, quiet=True))
    after = (client.run_on_scheduler(processor_seconds), processor_seconds(), sum(client.run(worker_seconds).values()))
    if made.failed or made.converted != len(sources):
        raise RuntimeError("{} of {} were converted".format(made.converted, len(sources)))
    scheduler, own, workers = (then - first for first, then in zip(before, after))
    return {"archives": len(sources), "tasks": made.tasks, "wall": made.seconds, "scheduler": scheduler, "client": own,
            "workers": workers, "service": [entry.seconds for entry in made.entries],
            "bytes": sum(entry.size for entry in made.entries) + sum(
                path.stat().st_size for path in out.rglob("*") if path.is_file())}


def tool_alone(sources: List[Source], out: Path) -> Dict[str, float]:
    """What an archive costs the tool as a process of its own, and as one of many in one call."""
    spent = []
    some = [source.path for source in sources[:200]]
    each = [[path, "-o", str(out / str(number))] for number, path in enumerate(some)]
    for calls in (each, [[*some, "-o", str(out / "all")]]):
        before = resource.getrusage(resource.RUSAGE_CHILDREN)
        for call in calls:
            subprocess.run([TOOL, "convert", "-q", *call], check=True)
        after = resource.getrusage(resource.RUSAGE_CHILDREN)
        spent.append((after.ru_utime + after.ru_stime - before.ru_utime - before.ru_stime) / len(some))
    return {"each": spent[0], "together": spent[1]}


def measure(folder: Path, count: int) -> Dict[str, Any]:
    """All figures; the processes end with it."""
    sources = make_sources(folder / "in", count)
    measured: Dict[str, Any] = {
        "cores": os.cpu_count(), "load": os.getloadavg()[0], "tool": tool_alone(sources, folder / "tool")}
    processes = [start("dask_scheduler", folder, "--port", "0")]
    worker = ("--nthreads", "1", "--no-nanny", "--memory-limit", "0", "--local-directory", str(folder))
    try:
        processes.append(start("dask_worker", folder, *worker))
        with Client(scheduler_file=str(folder / "scheduler"), timeout=60, set_as_default=False) as client:
            client.wait_for_workers(1, timeout=60)
            measured["one"] = run(client, sources[: max(count // 4, 1)], folder / "one")
            processes.append(start("dask_worker", folder, *worker))
            client.wait_for_workers(2, timeout=60)
            time.sleep(2.0)
            idle = client.run_on_scheduler(processor_seconds), processor_seconds()
            time.sleep(IDLE_SECONDS)
            measured["idle"] = (client.run_on_scheduler(processor_seconds) - idle[0]) / IDLE_SECONDS
            measured["client_idle"] = (processor_seconds() - idle[1]) / IDLE_SECONDS
            measured["two"] = run(client, sources, folder / "two")
    finally:
        for process in reversed(processes):
            process.kill()
            process.wait()
    return measured


def main() -> None:
    """Writes the figures to a file."""
    with tempfile.TemporaryDirectory() as folder:
        measured = measure(Path(os.path.realpath(folder)), int(sys.argv[2]) if len(sys.argv) > 2 else ARCHIVES)
        Path(sys.argv[1]).write_text(json.dumps(measured))  # before many small files are removed, which takes its time


if __name__ == "__main__":
    main()
