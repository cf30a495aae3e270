# SPDX-License-Identifier: MIT
"""A run: what is not done yet goes to the workers, and what comes of it into the manifest."""

import contextlib
import os
import shutil
import sys
import time
import uuid
from typing import Any, Callable, ContextManager, Dict, Iterable, List, NamedTuple, Optional, TextIO

from distributed import as_completed

from . import cluster, tasks
from .groups import Grouping
from .manifest import RECORD, Entry, Manifest, read_record
from .progress import Progress
from .sources import OWN_FOLDER, Source
from .tool import Limits, version

_SECONDS_BETWEEN_LOOKS = 5.0  # at how many workers there are


class Options(NamedTuple):
    """How a run goes about it."""

    only: str = "tokens,scene,cache,agents"
    tool: str = "qel"
    retries: int = 1
    limits: Limits = Limits()
    again: bool = False  # what is done, too
    verify: bool = False  # that every file of what is done is there
    quiet: bool = False


class Summary(NamedTuple):
    """What a run came to."""

    entries: List[Entry]  # of all sources
    converted: int
    skipped: int
    failed: int
    seconds: float
    tasks: int


class Lost(RuntimeError):
    """The scheduler is gone; what is done stays done."""


def convert(connect: Callable[[], ContextManager[Any]], sources: Iterable[Source], out: str,
            options: Options = Options(), stream: TextIO = sys.stderr) -> Summary:
    """Converts what is not done yet, if there is any, with the client that `connect` gives for that time.

    Interrupted, it leaves what is done and takes back what it has asked for.
    """
    out = os.path.abspath(out)
    began = time.monotonic()
    with Manifest(out, writing=True) as manifest:
        every = list(sources)
        wanted = [source for source in (_as_wanted(each, manifest, out, options) for each in every) if source]
        converted = number = 0
        if wanted:
            with connect() as client:
                run = _Run(client, manifest, _settings(out, options), options, wanted, stream)
                run.go()
            converted, number = run.converted, run.tasks
        entries = [manifest.entries[source.result] for source in every if source.result in manifest.entries]
        failed = sum(not entry.done for entry in entries)
        return Summary(entries, converted, len(every) - len(wanted), failed, time.monotonic() - began, number)


def _settings(out: str, options: Options) -> tasks.Settings:
    return tasks.Settings(out, uuid.uuid4().hex, options.tool, options.only, options.limits, options.again)


def _as_wanted(source: Source, manifest: Manifest, out: str, options: Options) -> Optional[Source]:
    """The source if it is to be converted, with the attempts that were made."""
    entry = manifest.entries.get(source.result)
    try:
        found = os.stat(source.path)
    except OSError:
        found = None
    same = entry is not None and found is not None and (entry.path, entry.size, entry.modified, entry.choice) == (
        source.path, found.st_size, found.st_mtime_ns, "only " + options.only)
    if entry is None or not same:
        return source
    if not entry.done:
        return source._replace(attempts=entry.attempts) if entry.attempts <= options.retries else None
    return None if not options.again and _is_there(entry, out, options.verify) else source


def _is_there(entry: Entry, out: str, verify: bool) -> bool:
    folder = os.path.join(out, entry.result)
    if not verify:
        return os.path.exists(os.path.join(folder, RECORD))
    record = read_record(folder)
    return record is not None and record.is_whole(out)


class _Run:
    """The groups of a run, as many at once as keep all workers busy."""

    def __init__(self, client: Any, manifest: Manifest, settings: tasks.Settings, options: Options,
                 wanted: List[Source], stream: TextIO) -> None:
        self._client, self._manifest, self._settings, self._options = client, manifest, settings, options
        self._groups: Dict[Any, List[Source]] = {}
        self._threads, self._looked = 1, 0.0
        self._wanted = wanted
        self._alone: List[Source] = []  # each in a task of its own
        self._again: List[Source] = []  # when all others are done
        self._grouping = Grouping([], 1)
        self._progress = Progress(stream, len(wanted), sum(source.size for source in wanted), options.quiet)
        self.converted = self.tasks = 0

    def go(self) -> None:
        """Works until all are done or have failed for good."""
        self._clear_work()
        self._client.submit(version, self._settings.tool, pure=False).result()  # says early what is missing
        self._name_run()
        self._look_at_workers()
        self._grouping = Grouping(self._wanted, self._threads)
        try:
            completed = as_completed(loop=self._client.loop)
            self._submit(completed)
            for future in completed:
                self._take(future)
                self._submit(completed)
        finally:
            os.unlink(tasks.run_file(self._settings.out))  # so that workers stop after the archive that they have
            with contextlib.suppress(Exception):  # of a scheduler that is gone nothing is to be taken back
                self._client.cancel(list(self._groups), force=True)
            self._progress.end()

    def _clear_work(self) -> None:
        """What runs that were killed have left."""
        shutil.rmtree(os.path.join(self._settings.out, OWN_FOLDER, "work"), ignore_errors=True)

    def _name_run(self) -> None:
        place = tasks.run_file(self._settings.out)
        with open(place + ".new", "w", encoding="ascii") as file:
            file.write(self._settings.run)
        os.replace(place + ".new", place)

    def _look_at_workers(self) -> None:
        if time.monotonic() - self._looked > _SECONDS_BETWEEN_LOOKS or self._looked == 0:
            self._threads, self._looked = cluster.threads(self._client), time.monotonic()

    def _next_group(self) -> List[Source]:
        if self._alone:
            return [self._alone.pop()]
        group = self._grouping.next()
        if not group and self._again and not self._groups:
            self._grouping, self._again = Grouping(self._again, self._threads), []
            group = self._grouping.next()
        return group

    def _submit(self, completed: Any) -> None:
        self._look_at_workers()
        while len(self._groups) < 2 * self._threads + 2:
            group = self._next_group()
            if not group:
                break
            future = self._client.submit(
                tasks.convert_group, group, self._settings, pure=False,
                key="convert-{}-{}".format(self._settings.run, self.tasks))
            self._groups[future] = group
            self.tasks += 1
            completed.add(future)

    def _take(self, future: Any) -> None:
        """Writes down what has come of a group."""
        group = self._groups.pop(future)
        entries: List[Entry] = []
        if future.status == "finished":
            entries = future.result()
            self._grouping.learn(group[: len(entries)], sum(entry.seconds for entry in entries))
            entries += [self._failed(source, "the worker does not see this run in {}: is that folder shared?".format(
                self._settings.out)) for source in group[len(entries):]]
        elif future.status != "error":
            raise Lost("the scheduler is gone ({}); what is done stays done".format(future.status))
        elif len(group) > 1:  # its workers have died, perhaps of one of these
            self._alone += group
        else:
            entries = [self._failed(group[0], str(future.exception()))]
        self._write_down(group, entries)

    def _write_down(self, group: List[Source], entries: List[Entry]) -> None:
        self._manifest.append(entries)
        again = {entry.result for entry in entries if not entry.done and entry.attempts <= self._options.retries}
        self._again += [source._replace(attempts=source.attempts + 1) for source in group if source.result in again]
        self.converted += sum(entry.done for entry in entries)
        self._progress.add([entry for entry in entries if entry.result not in again])

    def _failed(self, source: Source, message: str) -> Entry:
        modified = os.stat(source.path).st_mtime_ns if os.path.exists(source.path) else 0
        return Entry(source.path, source.result, source.size, modified, "", self._settings.choice, {}, 0, 0, 0, 0, 0.0,
                     None, 1, message, source.attempts + 1, {})
