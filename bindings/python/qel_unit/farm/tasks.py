# SPDX-License-Identifier: MIT
"""What a worker does: a group of archives, one after the other."""

import hashlib
import itertools
import json
import os
import shutil
import socket
import time
from typing import Any, Dict, List, NamedTuple, Optional

import qel_unit

from .manifest import RECORD, Entry, read_record, write_record
from .sources import OWN_FOLDER, Source
from .tool import Limits, run, version

_numbers = itertools.count()
#: Bytes of its own path that an agent directory keeps.
_AGENTS_PATH = 255
_FAILED = 1


class Settings(NamedTuple):
    """What all archives of a run share."""

    out: str  # absolute
    run: str  # its name
    tool: str
    only: str  # parts of the results with commas between them
    limits: Limits
    again: bool = False  # what is done is done again

    @property
    def choice(self) -> str:
        """What decides on the results."""
        return "only " + self.only


def run_file(out: str) -> str:
    """The file that names the run whose work is wanted."""
    return os.path.join(out, OWN_FOLDER, "run")


def convert_group(group: List[Source], settings: Settings) -> List[Entry]:
    """Converts archives until they are done or their client is gone: then another one may work on the same."""
    done: List[Entry] = []
    for source in group:
        if not _is_wanted(settings):
            break
        done.append(convert_one(source, settings))
    return done


def _is_wanted(settings: Settings) -> bool:
    try:
        with open(run_file(settings.out), encoding="ascii") as file:
            return file.read() == settings.run
    except OSError:
        return False


class _Failed(Exception):
    def __init__(self, code: int, message: str) -> None:
        super().__init__(message)
        self.code = code


def convert_one(source: Source, settings: Settings) -> Entry:
    """Makes the results of one archive, unless they are there, and says what came of it."""
    started = time.monotonic()
    entry = Entry(
        source.path, source.result, source.size, 0, "", settings.choice,
        {"farm": qel_unit.__version__, "tool": version(settings.tool)}, 0, 0, 0, 0, 0.0, None, 0, "",
        source.attempts + 1, {})
    try:
        found = os.stat(source.path)
        entry = entry._replace(size=found.st_size, modified=found.st_mtime_ns)
        before = _done_before(entry, settings)
        if before is not None:
            return before
        return _make(entry._replace(digest=_digest(source.path)), settings, started)
    except _Failed as failed:
        code, message = failed.code, str(failed)
    except OSError as error:
        code, message = error.errno or _FAILED, str(error)
    return entry._replace(code=code, message=message, seconds=time.monotonic() - started)


def _done_before(entry: Entry, settings: Settings) -> Optional[Entry]:
    """What a run has left here that could not tell its client, or made of a file that was only touched since."""
    folder = os.path.join(settings.out, entry.result)
    record = None if settings.again else read_record(folder)
    if record is None or record.path != entry.path or record.size != entry.size or record.choice != entry.choice:
        return None
    if not record.is_whole(settings.out):
        return None
    if record.modified == entry.modified:
        return record
    if record.digest != _digest(entry.path):
        return None
    record = record._replace(modified=entry.modified)
    write_record(folder, record)
    return record


def _digest(path: str) -> str:
    read = hashlib.sha256()
    with open(path, "rb") as file:
        for part in iter(lambda: file.read(1 << 20), b""):
            read.update(part)
    return read.hexdigest()


def _make(entry: Entry, settings: Settings, started: float) -> Entry:
    """Writes the results into a folder of their own, and moves it to its place when it is whole."""
    place = os.path.join(settings.out, entry.result)
    _check_place(entry, place, settings)
    work = os.path.join(settings.out, OWN_FOLDER, "work", "{}-{}-{}".format(
        socket.gethostname()[:32], os.getpid(), next(_numbers)))
    os.makedirs(work)
    try:
        ended = run([settings.tool, "convert", "--json", "--only", settings.only, "-o", "r", entry.path],
                         settings.limits, work)
        if ended.code != 0:
            beginning = "qel: {}: ".format(entry.path)
            told = ended.message
            raise _Failed(ended.code, told[len(beginning):] if told.startswith(beginning) else told)
        made = os.path.join(work, "r")
        entry = entry._replace(files=_files_in(made), **_told(ended.output))
        _check_unchanged(entry)
        entry = entry._replace(seconds=time.monotonic() - started)
        write_record(made, entry)
        if not _is_wanted(settings):
            raise _Failed(_FAILED, "its run has ended")
        _publish(made, place, work)
        return entry
    finally:
        shutil.rmtree(work, ignore_errors=True)


def _check_place(entry: Entry, place: str, settings: Settings) -> None:
    record = read_record(place)
    if record is not None and record.path != entry.path and os.path.exists(record.path):
        raise _Failed(_FAILED, "its place holds the results of {}".format(record.path))
    if "agents" in settings.only.split(",") and len(os.fsencode(os.path.join(place, "agents.qeag"))) > _AGENTS_PATH:
        raise _Failed(_FAILED, "the path of its results is too long for an agent directory, which keeps {} bytes; "
                               "--only makes the others".format(_AGENTS_PATH))


def _told(output: str) -> Dict[str, Any]:
    """What the tool's line says of the results."""
    try:
        line = json.loads(output)
        return {name: int(line[name]) for name in ("meshes", "vertices", "tokens", "frames", "peak_memory")}
    except (ValueError, KeyError, TypeError) as error:
        raise _Failed(_FAILED, "the tool has not told what it made: {!r}".format(output[:200])) from error


def _files_in(folder: str) -> Dict[str, int]:
    sizes = {}
    for within, _, names in os.walk(folder):
        for name in names:
            path = os.path.join(within, name)
            sizes[os.path.relpath(path, folder)] = os.path.getsize(path)
    sizes.pop(RECORD, None)
    if not sizes:
        raise _Failed(_FAILED, "the tool has made nothing")
    return dict(sorted(sizes.items()))


def _check_unchanged(entry: Entry) -> None:
    found = os.stat(entry.path)
    if (found.st_size, found.st_mtime_ns) != (entry.size, entry.modified):
        raise _Failed(_FAILED, "the archive has changed while it was read")


def _publish(made: str, place: str, work: str) -> None:
    """A folder takes the place of an earlier one, which goes away with the work folder."""
    os.makedirs(os.path.dirname(place), exist_ok=True)
    for turn in range(8):  # another worker may have the same archive, should its own be thought dead
        try:
            os.rename(made, place)
            return
        except OSError:
            if not os.path.isdir(place):
                raise
        try:
            os.rename(place, os.path.join(work, "old-{}".format(turn)))
        except FileNotFoundError:
            pass
    raise _Failed(_FAILED, "another one has put its results to the same place again and again")
