# SPDX-License-Identifier: MIT
"""The cluster that does the work: one that runs already, or one on this machine that ends with the run."""

import contextlib
import importlib.util
import os
import tempfile
from typing import Any, Iterator, Optional

from distributed import Client, LocalCluster

#: Seconds within which a scheduler must answer.
_ANSWER = 30


@contextlib.contextmanager
def connected(scheduler: Optional[str] = None, workers: Optional[int] = None) -> Iterator[Any]:
    """A client of the scheduler at an address, or of a cluster of one process a core on this machine."""
    if scheduler:
        with Client(scheduler, timeout=_ANSWER, set_as_default=False) as client:
            client.wait_for_workers(1, timeout=_ANSWER)
            yield client
        return
    with tempfile.TemporaryDirectory(prefix="qel-farm-") as folder, LocalCluster(
        n_workers=workers or os.cpu_count() or 1, threads_per_worker=1, processes=True, host="127.0.0.1",
        dashboard_address="127.0.0.1:0", worker_dashboard_address="127.0.0.1:0", silence_logs=50,
        local_directory=folder,
    ) as cluster, Client(cluster, timeout=_ANSWER, set_as_default=False) as client:
        yield client


def _draws() -> bool:
    """Whether there is what draws Dask's dashboard."""
    return importlib.util.find_spec("bokeh") is not None


def dashboard(client: Any) -> Optional[str]:
    """Where Dask shows what its cluster does."""
    known = "dashboard" in client.scheduler_info().get("services", {})
    return str(client.dashboard_link) if known and _draws() else None


def threads(client: Any) -> int:
    """How many tasks can run at once."""
    return max(sum(client.nthreads().values()), 1)
