# SPDX-License-Identifier: MIT
"""Calls of the reader of archives, and what their codes mean in Python."""

import ctypes
import errno
from typing import Any, Dict, Optional

from . import _raw_archive as _raw
from ._library_archive import raw
from ._records import Record
from ._values import text_of
from .errors import ArchiveError


class ArchiveRecord(Record):
    """An open archive, which is closed when nobody holds it any more."""

    def __init__(self, handle: ctypes.c_void_p, path: str) -> None:
        super().__init__(handle, raw.qel_archive_close)
        self.path = path

    def call(self, name: str, *arguments: Any) -> None:
        """Calls a function for the archive, and raises what its answer means."""
        check(name, getattr(raw, name)(self.value, *arguments), self.path)


def check(function: str, code: int, path: str) -> None:
    """Raises what a code means, Python's own error where there is one."""
    if code == 0:
        return
    if code == _raw.QEL_ARCHIVE_NO_MEMORY:
        raise MemoryError("{}: {}".format(path, message(code)))
    if code == _raw.QEL_ARCHIVE_CANNOT_OPEN:
        raise OSError(errno.EIO, message(code), path)
    if code == _raw.QEL_ARCHIVE_NOT_FOUND:
        raise IndexError("{}: {}".format(path, _raw.CODES[function][code]))
    raise ArchiveError(function, code, path)


def message(code: int) -> str:
    """What the library says of a code."""
    return text_of(raw.qel_archive_message(code) or b"")


def metadata_of(text: Optional[bytes]) -> Dict[str, str]:
    """The pairs `key=value` of a metadata text."""
    pairs = (part.partition("=") for part in text_of(text or b"").split(";") if part)
    return {key: value for key, _, value in pairs}
