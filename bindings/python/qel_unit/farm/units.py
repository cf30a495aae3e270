# SPDX-License-Identifier: MIT
"""The units that a worker holds open: those asked last, as many as a share of its memory allows."""

import contextlib
import os
import threading
from collections import OrderedDict
from typing import Iterator, NamedTuple, Tuple

from ..unit import Unit

#: Two indexes of 32 MiB, and 45 bytes a token, of which 25 are in the file.
_FIXED, _EACH, _RECORD = 64 << 20, 45, 25

Key = Tuple[str, int, int]  # path, size, time


class _Held:
    def __init__(self, unit: Unit, cost: int) -> None:
        self.unit, self.cost, self.users = unit, cost, 1


class Counts(NamedTuple):
    """How often a unit was there, had to be loaded, or was given up, and what those that are open cost."""

    found: int
    loaded: int
    closed: int
    memory: int


class OpenUnits:
    """Open units, of which those that nobody uses are closed, the one used longest ago first, to stay within `memory`.

    One unit is always allowed. A file that has changed is another unit.
    """

    def __init__(self, memory: int) -> None:
        self.memory = memory
        self._lock = threading.Lock()
        self._held: "OrderedDict[Key, _Held]" = OrderedDict()
        self._found = self._loaded = self._closed = 0

    @contextlib.contextmanager
    def open(self, path: str) -> Iterator[Unit]:
        """The unit of a file, which stays open at least until the end of the `with`."""
        found = os.stat(path)
        key = (path, found.st_size, found.st_mtime_ns)
        held = self._taken(key) or self._load(key)
        try:
            yield held.unit
        finally:
            with self._lock:
                held.users -= 1
                self._make_room(0)

    def _taken(self, key: Key) -> "_Held | None":
        with self._lock:
            held = self._held.get(key)
            if held is not None:
                self._held.move_to_end(key)
                held.users += 1
                self._found += 1
            return held

    def _load(self, key: Key) -> _Held:
        path, size, _ = key
        cost = _FIXED + size // _RECORD * _EACH
        with self._lock:
            self._make_room(cost)
        held = _Held(Unit.load(path), cost)
        with self._lock:
            self._loaded += 1
            other = self._held.get(key)
            if other is not None:  # another thread was quicker
                held.unit.close()
                other.users += 1
                return other
            self._held[key] = held
            return held

    def _make_room(self, cost: int) -> None:
        spent = cost + sum(held.cost for held in self._held.values())
        for key, held in list(self._held.items()):
            if spent <= self.memory:
                break
            if held.users == 0:
                del self._held[key]
                held.unit.close()
                self._closed += 1
                spent -= held.cost

    def counts(self) -> Counts:
        """What has been so far."""
        with self._lock:
            return Counts(self._found, self._loaded, self._closed, sum(held.cost for held in self._held.values()))


_of_process_lock = threading.Lock()
_of_process: "OpenUnits | None" = None


def of_process(memory: int) -> OpenUnits:
    """Those of this process, from now on within `memory`."""
    global _of_process
    with _of_process_lock:
        if _of_process is None:
            _of_process = OpenUnits(memory)
        _of_process.memory = memory
        return _of_process


def share_of_memory() -> int:
    """A quarter of what this worker may have, or of what the machine has for each of its processors."""
    from distributed import get_worker
    from distributed.system import MEMORY_LIMIT

    try:
        limit = get_worker().memory_manager.memory_limit
    except ValueError:  # no worker
        limit = None
    return int(limit or MEMORY_LIMIT // (os.cpu_count() or 1)) // 4
