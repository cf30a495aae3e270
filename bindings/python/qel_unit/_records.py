# SPDX-License-Identifier: MIT
"""Who owns what: records of the library, their release, and the heap that its arrays come from."""

import ctypes
import weakref
from types import TracebackType
from typing import Any, Callable, Optional, Tuple, Type, TypeVar, Union

from . import _raw
from ._arrays import as_array, view
from ._library import raw
from .errors import ClosedError

Self = TypeVar("Self", bound="Owner")


class Record:
    """A record of the library with its release, which runs when nobody holds the record any more.

    Every view of the record's arrays holds it. So `close` gives up one hold, and memory that somebody still looks
    at stays where it is until the last view is gone.
    """

    def __init__(
        self, value: Any, release: Optional[Callable[[Any], None]] = None, keep: Tuple[Any, ...] = ()
    ) -> None:
        self.value = value
        self.keep = keep
        self.shared = False  # whether its arrays belong to another record, which is then kept
        self.origin: Optional[str] = None  # the full path of a file that holds the same, where there is one
        self._finalizer: Any = None
        if release is not None:
            self._finalizer = weakref.finalize(self, release, value)
            self._finalizer.atexit = False  # the process ends: the system takes memory and mappings back

    def changed(self) -> None:
        """No file holds the same any more, for it and for what it is a part of."""
        self.origin = None
        for kept in self.keep:
            if isinstance(kept, Record):
                kept.changed()

    def give_away(self, owner: "Record") -> None:
        """The record belongs to another one from here on, which releases it with its own."""
        if self._finalizer is None or not self._finalizer.detach():
            raise ValueError("it belongs to something else already")
        self.keep = (owner,)


class Owner:
    """Something that can be closed, and refuses to be used afterwards. A context manager."""

    _record: Optional[Record]
    #: What makes one, where the class itself does not.
    _made_by = ""

    def __init__(self, *given: Any, **named: Any) -> None:
        raise TypeError("a {} is made by {}".format(type(self).__name__, self._made_by))

    @classmethod
    def _of(cls: Type[Self], record: Record) -> Self:
        owner = cls.__new__(cls)
        owner._record = record
        return owner

    def _held(self) -> Record:
        record = getattr(self, "_record", None)
        if record is None:
            raise ClosedError("this {} is closed".format(type(self).__name__))
        return record

    def _array(self, field: str, rows: Union[str, int], width: int = 1) -> Any:
        """The array behind a field of the record, in place; None for a null one.

        `rows` is how many there are, or the field that says so; each has `width` entries.
        """
        held = self._held()
        count: int = getattr(held.value, rows) if isinstance(rows, str) else rows
        return view(getattr(held.value, field), count * width, held, (count, width) if width > 1 else None)

    @property
    def closed(self) -> bool:
        """Whether `close` was called."""
        return self._record is None

    def close(self) -> None:
        """Gives the record up; more than once does no harm. Views that are still in use stay valid."""
        self._record = None

    def _facts(self) -> str:
        """What `repr` tells of an open one."""
        return ""

    @classmethod
    def _reopen(cls: Type[Self], path: str) -> Self:
        """One from a file, for those classes whose `Record.origin` can be set."""
        raise NotImplementedError

    def __repr__(self) -> str:
        name = type(self).__name__
        if getattr(self, "_record", None) is None:
            return "<{}: closed>".format(name)
        facts = self._facts()
        return "<{} {}>".format(name, facts) if facts else "<{}>".format(name)

    def __reduce__(self) -> Tuple[Any, ...]:
        """A pickle or copy holds the path, and opens the file again."""
        origin = self._held().origin
        if origin is None:
            raise TypeError("this {} cannot be pickled: no file is known to hold it as it is".format(
                type(self).__name__))
        return type(self)._reopen, (origin,)

    def __enter__(self: Self) -> Self:
        self._held()
        return self

    def __exit__(
        self, kind: Optional[Type[BaseException]], error: Optional[BaseException], trace: Optional[TracebackType]
    ) -> None:
        self.close()


def free(address: int) -> None:
    """Frees an array that the library handed out.

    It goes through a record, so that it meets the library's own heap: a Windows process can have several.
    """
    holder = _raw.ogawa_uv_set()
    holder.values = ctypes.cast(address, ctypes.POINTER(ctypes.c_float))
    raw.ogawa_free_uv_set(ctypes.byref(holder))


def allocate(size: int) -> int:
    """Zeroed memory of the library's heap, for records that it will release: the array of a fan of triangles."""
    corners = size // 12 + 3
    triangles = ctypes.POINTER(ctypes.c_uint32)()
    count = ctypes.c_uint32()
    face = (ctypes.c_uint32 * corners)()
    if raw.ogawa_triangulate_face(face, corners, ctypes.byref(triangles), ctypes.byref(count)) != 0:
        raise MemoryError
    ctypes.memset(triangles, 0, count.value * 12)
    return ctypes.addressof(triangles.contents)


def owned(pointer: Any, count: int, shape: Optional[Tuple[int, ...]] = None) -> Any:
    """A view of an array that the library handed out, which is freed when the last view of it is gone."""
    if not pointer:
        return as_array((pointer._type_ * 0)(), shape)
    address = ctypes.addressof(pointer.contents)
    block = (pointer._type_ * count).from_address(address)
    weakref.finalize(block, free, address).atexit = False
    return as_array(block, shape)
