# SPDX-License-Identifier: MIT
"""The agent directory: process-wide, up to 65,536 agents, kept in one file."""

import ctypes
import enum
import threading
import weakref
from types import TracebackType
from typing import Any, List, NamedTuple, Optional, Tuple, Type

from . import _raw
from ._library import raw
from ._values import IDENTITY_LENGTH, Identity8, PathLike, field_bytes, i32, identity_bytes, identity_of
from ._values import path_bytes, text_bytes, u8, u32, u64
from .errors import ClosedError, check

CAPACITY = _raw.QEL_AGENT_CAPACITY


class State(enum.IntEnum):
    """Where an agent stands."""

    SPAWNED = 0
    RESET = 1
    DELEGATED = 2
    PAUSED = 3
    STATE_4 = 4
    STATE_5 = 5
    TERMINATED = 6


class Command(enum.IntEnum):
    """What `control` does."""

    PAUSE = 0
    RESUME = 1
    TO_STATE_5 = 2
    TO_STATE_4 = 3
    RESET = 4


class Agent(NamedTuple):
    """A copy of an agent's record. `state` is a `State` unless a loaded file held something else."""

    id: str
    parent: str
    type: int
    state: int
    idle: bool
    terminated: bool
    delegated: bool
    tag: int
    tier: int
    task: int


class Stats(NamedTuple):
    """Agents in use, those not terminated, and how many there are of the types 0 to 3."""

    total: int
    active: int
    by_type: Tuple[int, int, int, int]


_lock = threading.RLock()  # the library leaves it to its callers to take turns
_current: "Optional[weakref.ref[AgentDirectory]]" = None


def _end() -> None:
    with _lock:
        raw.qel_agent_dir_free()


class AgentDirectory:
    """The process's directory, of which there is one at a time: `with AgentDirectory(path) as directory`.

    Closing it saves it to its path if it has changed, and so does its end without a `close`.
    """

    def __init__(self, path: Optional[PathLike] = None) -> None:
        """An empty directory. The file is not read and not written yet."""
        global _current
        with _lock:
            present = _current() if _current is not None else None
            if present is not None and not present.closed:
                raise RuntimeError("the process has one agent directory, and it is open already")
            check("qel_agent_dir_init", raw.qel_agent_dir_init(None if path is None else path_bytes(path)))
            self._finalizer = weakref.finalize(self, _end)
            _current = weakref.ref(self)

    @classmethod
    def load(cls, path: PathLike) -> "AgentDirectory":
        """The directory of a file."""
        directory = cls()
        try:
            directory.merge(path)
        except BaseException:
            directory.close()
            raise
        return directory

    def merge(self, path: PathLike) -> None:
        """Reads a file over the slots from 0 on, and takes its path. Ids that were there can still be found."""
        with self._turn():
            check("qel_agent_dir_load", raw.qel_agent_dir_load(path_bytes(path)))

    @property
    def closed(self) -> bool:
        """Whether `close` was called."""
        return not self._finalizer.alive

    def close(self) -> None:
        """Saves the directory to its path if it has changed (a failure is not reported) and ends it."""
        self._finalizer()

    def __enter__(self) -> "AgentDirectory":
        with self._turn():
            return self

    def __exit__(
        self, kind: Optional[Type[BaseException]], error: Optional[BaseException], trace: Optional[TracebackType]
    ) -> None:
        self.close()

    def _turn(self) -> "_Turn":
        return _Turn(self)

    def save(self, path: Optional[PathLike] = None) -> None:
        """Writes the directory to a path, or to its own. A write that fails half way is not told."""
        with self._turn():
            check("qel_agent_dir_save", raw.qel_agent_dir_save(None if path is None else path_bytes(path)))

    def sync(self) -> None:
        """Saves the directory to its own path if it has changed."""
        with self._turn():
            check("qel_agent_dir_save", raw.qel_agent_dir_sync())  # its codes are those of a save

    def stats(self) -> Stats:
        """Counts agents."""
        total, active, counts = ctypes.c_uint32(), ctypes.c_uint32(), (ctypes.c_uint32 * 4)()
        with self._turn():
            raw.qel_agent_dir_stats(ctypes.byref(total), ctypes.byref(active), counts)
        return Stats(total.value, active.value, (counts[0], counts[1], counts[2], counts[3]))

    def __len__(self) -> int:
        return self.stats().total

    def spawn(self, parent: Optional[Identity8] = None, type: int = 0, tier: int = 0, tag: int = 0) -> str:
        """Makes an agent and returns its id."""
        identity = ctypes.create_string_buffer(IDENTITY_LENGTH + 1)
        given = None if parent is None else identity_bytes(parent)
        with self._turn():
            check("qel_agent_spawn", raw.qel_agent_spawn(
                given, u8(type, "type"), u8(tier, "tier"), u8(tag, "tag"), identity))
        return identity_of(identity.raw[:IDENTITY_LENGTH])

    def terminate(self, id: Identity8) -> None:
        """Ends an agent. It keeps its slot."""
        with self._turn():
            check("qel_agent_terminate", raw.qel_agent_terminate(identity_bytes(id)))

    def delegate(self, source: Identity8, target: Identity8, task: int) -> None:
        """Gives the target a task; the source becomes its parent."""
        with self._turn():
            check("qel_agent_delegate", raw.qel_agent_delegate(
                identity_bytes(source), identity_bytes(target), u64(task, "task")))

    def query(self, id: Identity8) -> Agent:
        """A copy of an agent's record."""
        record = _raw.qel_agent()
        with self._turn():
            check("qel_agent_query", raw.qel_agent_query(identity_bytes(id), ctypes.byref(record)))
        return Agent(
            identity_of(field_bytes(record, "id")), identity_of(field_bytes(record, "parent")), record.type,
            _state(record.state), bool(record.flag_idle), bool(record.flag_terminated),
            bool(record.flag_delegated), record.tag, record.tier, record.task)

    def control(self, id: Identity8, command: int) -> None:
        """Changes an agent's state by a `Command`."""
        with self._turn():
            check("qel_agent_control", raw.qel_agent_control(identity_bytes(id), u32(command, "command")))

    def monitor(self, pattern: str = "", limit: Optional[int] = None) -> List[str]:
        """The ids that match a pattern, in slot order; `*` stands for any character, missing ones are free."""
        text = text_bytes(pattern)
        with self._turn():
            most = min(self.stats().total, CAPACITY)
            room = most if limit is None else max(0, min(i32(limit, "limit"), most))
            ids = ctypes.create_string_buffer(room * (IDENTITY_LENGTH + 1))
            found = raw.qel_agent_monitor(text, ids, room)
        size, plain = IDENTITY_LENGTH + 1, ids.raw
        return [identity_of(plain[at : at + IDENTITY_LENGTH]) for at in range(0, found * size, size)]


def _state(number: int) -> int:
    return State(number) if number <= State.TERMINATED else number


class _Turn:
    """One caller at a time, and none after the end."""

    def __init__(self, directory: AgentDirectory) -> None:
        self._directory = directory

    def __enter__(self) -> None:
        _lock.acquire()
        if self._directory.closed:
            _lock.release()
            raise ClosedError("this AgentDirectory is closed")

    def __exit__(self, *_: Any) -> None:
        _lock.release()
