# SPDX-License-Identifier: MIT
"""How far a run is, on a terminal, and what it comes to."""

import shutil
import time
from typing import Iterable, List, TextIO

from .manifest import Entry

_SHOWN = 10  # rows of a table


def printable(text: str) -> str:
    """A text that cannot command the terminal."""
    return "".join(
        letter if letter.isprintable() else letter.encode("unicode_escape", "replace").decode("ascii")
        for letter in text)


def size_text(size: float) -> str:
    """Bytes for people."""
    for unit in ("B", "KB", "MB", "GB"):
        if size < 1000:
            return "{:.0f} {}".format(size, unit) if unit == "B" else "{:.1f} {}".format(size, unit)
        size /= 1000
    return "{:.1f} TB".format(size)


def time_text(seconds: float) -> str:
    """Seconds for people."""
    if seconds < 100:
        return "{:.1f} s".format(seconds)
    whole = int(seconds + 0.5)
    return "{}:{:02}:{:02}".format(whole // 3600, whole // 60 % 60, whole % 60)


class Progress:
    """A line that the next one replaces, on a terminal; nothing elsewhere."""

    def __init__(self, stream: TextIO, archives: int, size: int, quiet: bool) -> None:
        self._stream = stream
        self._shown = stream.isatty() and not quiet
        self._all, self._bytes = archives, size
        self._done = self._done_bytes = self._failed = 0
        self._began = time.monotonic()
        self._last = 0.0

    def add(self, entries: Iterable[Entry]) -> None:
        """Counts what is done or has failed for good."""
        for entry in entries:
            self._done += 1
            self._done_bytes += entry.size
            self._failed += not entry.done
        self._draw()

    def line(self) -> str:
        """As it is shown."""
        spent = max(time.monotonic() - self._began, 1e-3)
        share = self._done_bytes / self._bytes if self._bytes else self._done / max(self._all, 1)
        left = "" if share <= 0 else ", {} left".format(time_text(spent / share - spent))
        return "{} of {} archives, {} of {}, {:.1f}/s, {}/s{}, {} failed".format(
            self._done, self._all, size_text(self._done_bytes), size_text(self._bytes), self._done / spent,
            size_text(self._done_bytes / spent), left, self._failed)

    def _draw(self) -> None:
        now = time.monotonic()
        if self._shown and now - self._last >= 0.1:
            self._last = now
            self._stream.write("\r\x1b[K" + self.line()[: shutil.get_terminal_size().columns - 1])
            self._stream.flush()

    def end(self) -> None:
        """Takes the line away."""
        if self._shown:
            self._stream.write("\r\x1b[K")
            self._stream.flush()


def tables(entries: Iterable[Entry]) -> List[str]:
    """The slowest archives and the failed ones."""
    every = list(entries)
    slowest = sorted((entry for entry in every if entry.done), key=lambda entry: -entry.seconds)[:_SHOWN]
    failed = sorted((entry for entry in every if not entry.done), key=lambda entry: entry.result)
    lines = []
    if slowest:
        lines.append("{:>9}  {:>9}  {:>9}  {}".format("SECONDS", "SIZE", "MEMORY", "SLOWEST"))
        lines += ["{:9.2f}  {:>9}  {:>9}  {}".format(
            entry.seconds, size_text(entry.size), size_text(entry.peak_memory or 0), printable(entry.path))
            for entry in slowest]
    if failed:
        lines.append("{:>5}  {:>8}  {}".format("CODE", "ATTEMPTS", "FAILED"))
        lines += ["{:5}  {:8}  {}: {}".format(
            entry.code, entry.attempts, printable(entry.path), printable(entry.message)) for entry in failed[:_SHOWN]]
        if len(failed) > _SHOWN:
            lines.append("and {} more in the manifest".format(len(failed) - _SHOWN))
    return lines
