# SPDX-License-Identifier: MIT
"""What was done: a line of JSON for each archive, and the same beside its results."""

import fcntl
import json
import os
from typing import Any, Dict, Iterable, List, NamedTuple, Optional

from .sources import OWN_FOLDER

#: The record of a result, in its folder.
RECORD = ".farm.json"


class Entry(NamedTuple):
    """One archive's line. Counts are 0 of what was not made; what is not known is None."""

    path: str
    result: str  # the folder of the results, within that of all
    size: int
    modified: int  # of the archive, nanoseconds
    digest: str  # SHA-256 of the archive
    choice: str  # what was asked for
    versions: Dict[str, str]
    meshes: int
    vertices: int
    tokens: int
    frames: int
    seconds: float
    peak_memory: Optional[int]  # of the tool, bytes
    code: int  # of the tool: 0 is done, below 0 is the number of a signal
    message: str
    attempts: int
    files: Dict[str, int]  # the results with their sizes, beside the results only

    @property
    def done(self) -> bool:
        """Whether the results are made."""
        return self.code == 0

    def line(self) -> str:
        """As it stands in a file; names that are no UTF-8 come back as they were."""
        return json.dumps(self._asdict())

    def is_whole(self, out: str) -> bool:
        """Whether all results are there, each with the size that it had."""
        folder = os.path.join(out, self.result)
        try:
            return bool(self.files) and all(
                os.path.getsize(os.path.join(folder, name)) == size for name, size in self.files.items())
        except OSError:
            return False


def entry_of(line: str) -> Optional[Entry]:
    """The entry of a line, None where it is none: the last one may be cut."""
    try:
        fields = json.loads(line)
        return Entry(**fields) if isinstance(fields, dict) else None
    except (ValueError, TypeError):
        return None


def read_record(folder: str) -> Optional[Entry]:
    """What a folder of results says of itself."""
    try:
        with open(os.path.join(folder, RECORD), encoding="ascii") as file:
            return entry_of(file.read())
    except (OSError, UnicodeDecodeError):
        return None


def write_record(folder: str, entry: Entry) -> None:
    """Puts the record beside results; it is whole or the old one stays."""
    fresh = os.path.join(folder, RECORD + ".new")
    with open(fresh, "w", encoding="ascii") as file:
        file.write(entry.line() + "\n")
    os.replace(fresh, os.path.join(folder, RECORD))


class Busy(RuntimeError):
    """Another run works on the same folder."""


class Manifest:
    """The file `manifest.jsonl` of a folder of results. The last line of an archive counts.

    With `writing`, one process at a time has it: another one raises `Busy`. It is free again when its process is gone.
    """

    NAME = "manifest.jsonl"

    def __init__(self, out: str, writing: bool = False) -> None:
        self.path = os.path.join(out, self.NAME)
        self.entries: Dict[str, Entry] = {}
        self._file: Optional[int] = None
        self._lock: Any = None
        if writing:
            os.makedirs(os.path.join(out, OWN_FOLDER), exist_ok=True)
            self._take(os.path.join(out, OWN_FOLDER, "lock"))
        self._read()
        if writing:
            self._file = os.open(self.path, os.O_RDWR | os.O_APPEND | os.O_CREAT, 0o666)
            self._end_cut_line()

    def _take(self, path: str) -> None:
        self._lock = open(path, "a", encoding="ascii")
        try:
            fcntl.flock(self._lock, fcntl.LOCK_EX | fcntl.LOCK_NB)
        except OSError as error:
            self._lock.close()
            raise Busy("another run works on {}".format(os.path.dirname(os.path.dirname(path)))) from error

    def _read(self) -> None:
        try:
            with open(self.path, encoding="ascii", errors="replace") as file:
                for entry in filter(None, map(entry_of, file)):
                    self.entries[entry.result] = entry
        except FileNotFoundError:
            pass

    def _end_cut_line(self) -> None:
        """A client that was killed while it wrote leaves half a line, to which the next one must not be joined."""
        assert self._file is not None
        size = os.fstat(self._file).st_size
        if size > 0 and os.pread(self._file, 1, size - 1) != b"\n":
            os.write(self._file, b"\n")

    def append(self, entries: Iterable[Entry]) -> None:
        """Adds lines, all of them in one write."""
        assert self._file is not None, "opened for reading"
        some: List[Entry] = [entry._replace(files={}) for entry in entries]
        plain = "".join(entry.line() + "\n" for entry in some).encode("ascii")
        while plain:
            plain = plain[os.write(self._file, plain):]
        self.entries.update((entry.result, entry) for entry in some)

    def close(self) -> None:
        """Gives the file up to the next run."""
        if self._file is not None:
            os.fsync(self._file)
            os.close(self._file)
            self._file = None
        if self._lock is not None:
            self._lock.close()
            self._lock = None

    def __enter__(self) -> "Manifest":
        return self

    def __exit__(self, *_: Any) -> None:
        self.close()
