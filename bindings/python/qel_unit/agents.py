# SPDX-License-Identifier: MIT
"""The agent directory: process-wide, up to 65,536 agents, kept in one file."""

import ctypes
import enum
import errno
import os
import shutil
import tempfile
import threading
import weakref
from types import TracebackType
from typing import Any, List, NamedTuple, Optional, Tuple, Type

from . import _files, _raw
from ._library import raw
from ._values import IDENTITY_LENGTH, Identity8, PathLike, field_bytes, i32, identity_bytes, identity_of
from ._values import latin_bytes, path_bytes, u8, u32, u64
from .errors import ClosedError, check

CAPACITY = _raw.QEL_AGENT_CAPACITY
#: The library keeps no more of a directory's path and would go on with what it kept.
PATH_LENGTH = _raw.qel_agent_dir.path.size - 1
_HEADER_SIZE = 24  # of the directory file


class State(enum.IntEnum):
    """Where an agent stands."""

    SPAWNED = _raw.QEL_AGENT_STATE_SPAWNED
    RESET = _raw.QEL_AGENT_STATE_RESET
    DELEGATED = _raw.QEL_AGENT_STATE_DELEGATED
    PAUSED = _raw.QEL_AGENT_STATE_PAUSED
    STATE_4 = _raw.QEL_AGENT_STATE_4
    STATE_5 = _raw.QEL_AGENT_STATE_5
    TERMINATED = _raw.QEL_AGENT_STATE_TERMINATED


class Command(enum.IntEnum):
    """What `control` does."""

    PAUSE = _raw.QEL_AGENT_COMMAND_PAUSE
    RESUME = _raw.QEL_AGENT_COMMAND_RESUME
    TO_STATE_5 = _raw.QEL_AGENT_COMMAND_TO_STATE_5
    TO_STATE_4 = _raw.QEL_AGENT_COMMAND_TO_STATE_4
    RESET = _raw.QEL_AGENT_COMMAND_RESET


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


class _Keeper:
    """The directory's own path, and whether it has changed since its last load or save: what its end needs.

    The library is not told the path: it would write without saying whether the file became whole.
    """

    path: Optional[str] = None
    changed = False

    def save(self, path: PathLike) -> None:
        _files.save(path, _write)
        self.changed = False

    def save_changes(self) -> None:
        if self.changed and self.path is not None:
            self.save(self.path)

    def end(self) -> None:
        with _lock:
            try:
                self.save_changes()
            finally:
                raw.qel_agent_dir_free()


def _write(fresh: bytes) -> int:
    """Saves by way of a folder for temporary files: `fresh` can be longer than a path that fits."""
    total = ctypes.c_uint32()
    raw.qel_agent_dir_stats(ctypes.byref(total), None, None)
    with tempfile.TemporaryDirectory(prefix="qel_") as folder:
        passed = os.path.join(folder, "agents")
        check("qel_agent_dir_save", raw.qel_agent_dir_save(_fitting(passed)))
        if not os.path.exists(passed):  # the library removes what is not whole
            raise _files.unwritten(passed)
        shutil.copyfile(passed, fresh)
    return _HEADER_SIZE + ctypes.sizeof(_raw.qel_agent) * min(total.value, CAPACITY)


def _fitting(path: PathLike) -> bytes:
    plain = path_bytes(path)
    if len(plain) > PATH_LENGTH:
        raise _files.refusal(errno.ENAMETOOLONG, path, "an agent directory's path has at most {} bytes".format(
            PATH_LENGTH))
    return plain


def _own(path: PathLike) -> str:
    """The path as the directory's own, which stays the same file where the process changes its working folder."""
    if not _fitting(path):
        raise _files.refusal(errno.ENOENT, path)
    return os.path.join(os.getcwd(), os.fsdecode(path))


class AgentDirectory:
    """The process's directory, of which there is one at a time: `with AgentDirectory(path) as directory`.

    Closing it saves it to its path if it has changed, and so does its end without a `close`. A path has at most 255
    bytes; a longer one raises an OSError.
    """

    def __init__(self, path: Optional[PathLike] = None) -> None:
        """An empty directory. The file is not read and not written yet."""
        global _current
        keeper = _Keeper()
        keeper.path = None if path is None else _own(path)
        with _lock:
            present = _current() if _current is not None else None
            if present is not None and not present.closed:
                raise RuntimeError("the process has one agent directory, and it is open already")
            check("qel_agent_dir_init", raw.qel_agent_dir_init(None))
            self._keeper = keeper
            self._finalizer = weakref.finalize(self, keeper.end)
            _current = weakref.ref(self)

    @classmethod
    def load(cls, path: PathLike) -> "AgentDirectory":
        """The directory of a file."""
        _own(path)
        directory = cls()
        try:
            directory.merge(path)
        except BaseException:
            directory.close()
            raise
        return directory

    def merge(self, path: PathLike) -> None:
        """Reads a file over the slots from 0 on, and takes its path. Ids that were there can still be found."""
        own = _own(path)
        with self._turn():
            _files.check_opened("qel_agent_dir_load", raw.qel_agent_dir_load(path_bytes(path)), path)
            self._keeper.path, self._keeper.changed = own, False

    @property
    def closed(self) -> bool:
        """Whether `close` was called."""
        return not self._finalizer.alive

    def close(self) -> None:
        """Saves the directory to its path if it has changed, and ends it.

        A save that fails raises its error and leaves the directory open, so that it can be saved elsewhere.
        """
        with _lock:
            if not self.closed:
                self._keeper.save_changes()
                self._finalizer()

    def __repr__(self) -> str:
        if self.closed:
            return "<AgentDirectory: closed>"
        return "<AgentDirectory {!r} of {} agents>".format(self._keeper.path, self.stats().total)

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
        """Writes the directory to a path, or to its own. A file that could not be written whole raises an OSError."""
        with self._turn():
            target = self._keeper.path if path is None else path
            if target is None:
                check("qel_agent_dir_save", raw.qel_agent_dir_save(None))  # which says that there is no path
            else:
                _fitting(path or "")
                self._keeper.save(target)

    def sync(self) -> None:
        """Saves the directory to its own path if it has changed."""
        with self._turn():
            if self._keeper.path is None:
                check("qel_agent_dir_save", raw.qel_agent_dir_sync())  # its codes are those of a save
            self._keeper.save_changes()

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
            self._keeper.changed = True
        return identity_of(identity.raw[:IDENTITY_LENGTH])

    def terminate(self, id: Identity8) -> None:
        """Ends an agent. It keeps its slot."""
        with self._turn():
            check("qel_agent_terminate", raw.qel_agent_terminate(identity_bytes(id)))
            self._keeper.changed = True

    def delegate(self, source: Identity8, target: Identity8, task: int) -> None:
        """Gives the target a task; the source becomes its parent."""
        with self._turn():
            check("qel_agent_delegate", raw.qel_agent_delegate(
                identity_bytes(source), identity_bytes(target), u64(task, "task")))
            self._keeper.changed = True

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
            self._keeper.changed = True

    def monitor(self, pattern: Identity8 = "", limit: Optional[int] = None) -> List[str]:
        """The ids that match a pattern, in slot order; `*` stands for any character, missing ones are free."""
        text = latin_bytes(pattern)  # as the ids that it is compared with
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
