# SPDX-License-Identifier: MIT
"""Files: what cannot be opened raises the system's own error, and what is saved is whole or was not saved."""

import contextlib
import errno
import os
import shutil
import stat
import tempfile
from typing import Callable, Iterator, Optional

from ._values import PathLike, path_bytes
from .errors import check

#: Writes a file of this name by a call of the library, and returns the length that it has if it is whole.
Writer = Callable[[bytes], int]


def path_text(path: PathLike) -> str:
    """A path as text, in the form that was given. One with a zero byte in it is refused."""
    path_bytes(path)
    return os.fsdecode(path)


def refusal(number: int, path: PathLike, reason: Optional[str] = None) -> OSError:
    """The error of a number: a `FileNotFoundError` of `ENOENT` and so on, with the path that was given."""
    return OSError(number, reason or os.strerror(number), os.fspath(path))


@contextlib.contextmanager
def _naming(path: PathLike) -> Iterator[None]:
    """What the system refuses names the path that was given, not one of our own."""
    try:
        yield
    except OSError as error:
        raise refusal(error.errno or errno.EIO, path, error.strerror) from None


def check_opened(function: str, code: int, path: PathLike) -> None:
    """Raises what a reading function's status means. A file that cannot be opened raises the system's reason."""
    if code != 0:
        require_opens(path)
    check(function, code)


def require_opens(path: PathLike) -> None:
    """Raises the system's reason why a file cannot be opened, where it has one."""
    with _naming(path):
        mode = os.stat(path).st_mode
        if stat.S_ISDIR(mode):
            raise refusal(errno.EISDIR, path)
        if stat.S_ISREG(mode):  # the opening of a pipe could wait for ever
            os.close(os.open(path, os.O_RDONLY))


def save(path: PathLike, write: Writer) -> None:
    """Saves a file: written beside, compared with the length of a whole one, flushed, and moved into its place.

    Whatever fails before the move leaves the old file as it was. The new one has the old one's permissions and, where
    that is allowed, its owner; a symbolic link stays and its target is replaced. What is there but is no regular
    file, a device or a pipe, gets the bytes of a file that is whole.
    """
    plain = path_text(path)
    with _naming(path):
        old = _status(plain)
        if old is not None and stat.S_ISDIR(old.st_mode):
            raise refusal(errno.EISDIR, path)
        if old is not None and not os.access(plain, os.W_OK, effective_ids=os.access in os.supports_effective_ids):
            raise refusal(errno.EACCES, path)
        if old is None or stat.S_ISREG(old.st_mode):
            _replace(plain, old, write)
        else:
            _pour(plain, write)


def _status(path: str) -> Optional[os.stat_result]:
    try:
        return os.stat(path)
    except FileNotFoundError:
        return None


def _replace(path: str, old: Optional[os.stat_result], write: Writer) -> None:
    final = os.path.realpath(path) if os.path.islink(path) else path
    folder, name = os.path.split(final)
    if name == "" or (old is not None and not os.path.exists(final)):
        # "folder/" names no file, and a descriptor's link in /proc can lead to a file that has no name any more.
        raise refusal(errno.EISDIR if name == "" and path else errno.ENOENT, path)
    # A folder of its own beside the old file: no name in it is taken, and whatever happens it goes again.
    with tempfile.TemporaryDirectory(prefix=".qel_", dir=folder or os.curdir) as home:
        fresh = os.path.join(home, "fresh")
        _write_whole(fresh, write)
        with open(fresh, "rb+") as file:
            if old is not None:
                _take_after(fresh, old)
            os.fsync(file.fileno())  # a disk that fails late says so here
        os.replace(fresh, final)
    _flush_folder(folder or os.curdir)


def _write_whole(fresh: str, write: Writer) -> None:
    with open(fresh, "xb"):
        pass  # where no file can be made, this knows the reason
    size = write(path_bytes(fresh))
    if os.path.getsize(fresh) != size:
        raise unwritten(fresh)


def unit_size(tokens: int) -> int:
    """The length of a whole unit file."""
    return 24 + 25 * tokens


def unwritten(path: PathLike) -> OSError:
    """What is raised for a file that is not whole. The library does not tell why; one more write may."""
    number, reason = errno.EIO, "the file could not be written whole"
    try:
        with open(path, "ab") as file:
            file.write(bytes(1 << 16))
    except OSError as error:
        number, reason = error.errno or number, "{}: {}".format(reason, error.strerror)
    return refusal(number, path, reason)


def _take_after(fresh: str, old: os.stat_result) -> None:
    if hasattr(os, "chown"):
        made = os.stat(fresh)
        if (made.st_uid, made.st_gid) != (old.st_uid, old.st_gid):
            with contextlib.suppress(PermissionError):
                os.chown(fresh, -1, old.st_gid)
                os.chown(fresh, old.st_uid, -1)
    os.chmod(fresh, stat.S_IMODE(old.st_mode))  # last: a change of owner takes some bits away


def _flush_folder(folder: str) -> None:
    """Flushes a file's name. Not every system can; the file itself is on the disk."""
    with contextlib.suppress(OSError):
        number = os.open(folder, os.O_RDONLY)
        try:
            os.fsync(number)
        finally:
            os.close(number)


def _pour(path: str, write: Writer) -> None:
    with tempfile.TemporaryDirectory(prefix="qel_") as home:
        fresh = os.path.join(home, "fresh")
        _write_whole(fresh, write)
        with open(fresh, "rb") as source, open(path, "wb") as target:
            shutil.copyfileobj(source, target)
