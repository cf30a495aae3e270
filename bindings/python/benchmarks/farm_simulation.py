# SPDX-License-Identifier: MIT
"""How a farm grows, by measured costs: farm_simulation.py MEASURED.json OUTPUT.json

Every worker has 10,000 archives, so that 10,000 workers have 10⁸. A task's time is the sum of measured times of its
archives, drawn at random. The scheduler and the client serve one task after the other, and so does the storage, whose
bandwidth all share; a task is handed out when the client has dealt with those a window before it, as in `run.py`.
"""

import heapq
import json
import sys
from pathlib import Path
from typing import Any, Dict, List, NamedTuple, Optional

import numpy

WORKERS = (1, 2, 5, 10, 20, 50, 100, 200, 500, 1000, 2000, 5000, 10_000)
ARCHIVES_EACH, SUMS = 10_000, 4000
BENT = 0.8  # of the speed-up that the number of workers promises


class Costs(NamedTuple):
    """Seconds, but for the bytes."""

    service: "numpy.ndarray[Any, numpy.dtype[numpy.float64]]"  # of archives
    scheduler_task: float
    scheduler_beat: float  # of a worker's sign of life
    client_archive: float
    archive_bytes: float


class Farm(NamedTuple):
    """What is varied."""

    name: str
    bandwidth: Optional[float]  # bytes a second; None is storage that is never the limit
    task_seconds: float = 2.0
    clients: int = 1  # each with a scheduler and a part of the workers


class Outcome(NamedTuple):
    """One simulated run."""

    workers: int
    archives: int
    hours: float
    speedup: float
    busy: Dict[str, float]  # the share of the time that each of what all share was busy


def costs_of(measured: Dict[str, Any]) -> Costs:
    """By the run of two workers; what the scheduler spends idle is that of the workers' signs of life."""
    run = measured["two"]
    beats_a_second = 2 / 0.5
    scheduler, client = (max(run[name] - measured[idle] * run["wall"], 0.0)
                         for name, idle in (("scheduler", "idle"), ("client", "client_idle")))
    return Costs(numpy.array(run["service"]), scheduler / run["tasks"], measured["idle"] / beats_a_second,
                 client / run["archives"], run["bytes"] / run["archives"])


def beats(workers: int) -> float:
    """Signs of life a second, as Dask spaces them: each half second, and about a hundred a second in large clusters."""
    interval = 0.5 if workers <= 10 else 1.0 if workers < 50 else 2.0 if workers < 200 else workers / 100
    return workers / interval


def simulate(farm: Farm, workers: int, costs: Costs, draw: "numpy.random.Generator") -> Outcome:
    """One run of so many workers, of which each client has a part."""
    part = max(workers // farm.clients, 1)
    group = max(int(farm.task_seconds / costs.service.mean()), 1)
    tasks = max(part * ARCHIVES_EACH // group, 1)
    sums = draw.choice(costs.service, (SUMS, group)).sum(axis=1)
    times: List[float] = draw.choice(sums, tasks).tolist()
    scheduler_task = costs.scheduler_task / max(1 - beats(part) * costs.scheduler_beat, 0.01)
    storage_task = 0.0 if farm.bandwidth is None else group * costs.archive_bytes / (farm.bandwidth / farm.clients)
    end = _makespan(times, part, scheduler_task, group * costs.client_archive, storage_task)
    alone = float(costs.service.mean()) * group * tasks
    busy = {"scheduler": tasks * scheduler_task / end, "client": tasks * group * costs.client_archive / end,
            "storage": tasks * storage_task / end, "workers": sum(times) / part / end}
    return Outcome(workers, tasks * group * farm.clients, end / 3600, alone / end * farm.clients, busy)


def _makespan(times: List[float], workers: int, scheduler_task: float, client_task: float,
              storage_task: float) -> float:
    free = [0.0] * workers
    window = 2 * workers + 2
    client = scheduler = storage = 0.0
    dealt: List[float] = []  # when the client had dealt with the n-th task that ended
    for number, seconds in enumerate(times):
        ended = heapq.heappop(free)
        client = max(client, ended) + client_task
        dealt.append(client)
        handed_out = dealt[number - window] if number >= window else 0.0
        scheduler = max(scheduler, ended, handed_out) + scheduler_task
        storage = max(storage, scheduler) + storage_task
        heapq.heappush(free, max(scheduler + seconds, storage))
    return max(free)


def bend(outcomes: List[Outcome]) -> Dict[str, Any]:
    """Where the speed-up falls behind, and what is busy there."""
    for outcome in outcomes:
        if outcome.speedup < BENT * outcome.workers:
            shared = {name: busy for name, busy in outcome.busy.items() if name != "workers"}
            return {"workers": outcome.workers, "by": max(shared, key=lambda name: shared[name])}
    return {"workers": None, "by": ""}


def farms() -> List[Farm]:
    """What is compared: storage first, then what can be changed."""
    return [Farm("storage of 1 GB/s", 1e9), Farm("storage of 10 GB/s", 1e10), Farm("storage without limit", None),
            Farm("10 GB/s, tasks of 20 s", 1e10, 20.0), Farm("without limit, 10 clients and schedulers", None, 2.0, 10)]


def main() -> None:
    """Writes the outcomes of all farms."""
    measured = json.loads(Path(sys.argv[1]).read_text())
    costs, draw = costs_of(measured), numpy.random.default_rng(1)
    lines = []
    for farm in farms():
        outcomes = [simulate(farm, workers, costs, draw) for workers in WORKERS if workers >= farm.clients]
        lines.append({
            "farm": farm.name, "bend": bend(outcomes), "outcomes": [outcome._asdict() for outcome in outcomes]})
    known = {name: getattr(costs, name) for name in Costs._fields if name != "service"}
    known["service_mean"] = float(costs.service.mean())
    Path(sys.argv[2]).write_text(json.dumps({"costs": known, "farms": lines}))


if __name__ == "__main__":
    main()
