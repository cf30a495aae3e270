# SPDX-License-Identifier: MIT
"""Arrays in and out: NumPy arrays where NumPy is there, memory views where it is not.

Going in, an array of the right type is used in place and anything else is converted. Coming out, an array is a
read-only view: of memory that lives as long as the view does.
"""

import array
import ctypes
from collections.abc import Iterable
from typing import Any, Iterator, List, Optional, Protocol, Sequence, Tuple, Type

try:
    import numpy
except ImportError:
    numpy = None  # type: ignore[assignment]

#: Kind of number and letter of the memory view for each element type.
_LETTERS = {
    ctypes.c_float: "f",
    ctypes.c_double: "d",
    ctypes.c_uint8: "B",
    ctypes.c_uint32: "I",
    ctypes.c_uint64: "Q",
}
_KINDS = {**dict.fromkeys("fd", "f"), **dict.fromkeys("BHILQN", "u"), **dict.fromkeys("bhilqn", "i")}


class Array(Protocol):
    """What a NumPy array and a memory view have in common: `a[i, j]`, `a.tolist()`, `a.shape`, `len(a)`.

    A memory view of several dimensions can be iterated only by way of `tolist`.
    """

    @property
    def shape(self) -> Tuple[int, ...]: ...

    @property
    def nbytes(self) -> int: ...

    def __len__(self) -> int: ...

    def __getitem__(self, key: Any) -> Any: ...

    def __iter__(self) -> Iterator[Any]: ...

    def tolist(self) -> Any: ...

    def tobytes(self) -> bytes: ...


class Records(Sequence[Any]):
    """A read-only view of records where NumPy is missing: `view[i].field`. Each access copies one record."""

    def __init__(self, block: Any) -> None:
        self._block = block
        self._bytes = memoryview(block).cast("B").toreadonly()
        self._type: Type[Any] = block._type_

    @property
    def shape(self) -> Tuple[int, ...]:
        return (len(self._block),)

    @property
    def nbytes(self) -> int:
        return self._bytes.nbytes

    def __len__(self) -> int:
        return len(self._block)

    def __getitem__(self, key: Any) -> Any:
        if isinstance(key, slice):
            return [self[index] for index in range(*key.indices(len(self)))]
        index = range(len(self))[key]
        size = ctypes.sizeof(self._type)
        return self._type.from_buffer_copy(self._bytes[index * size : (index + 1) * size])

    def tolist(self) -> Any:
        return [tuple(getattr(record, name) for name, _ in self._type._fields_) for record in self]

    def tobytes(self) -> bytes:
        return self._bytes.tobytes()


def _record_dtype(record: Any) -> Any:
    names = [name for name, _ in record._fields_]
    formats: List[Any] = []
    for _, kind in record._fields_:
        if issubclass(kind, ctypes.Array) and kind._type_ is ctypes.c_char:
            formats.append("S{}".format(kind._length_))
        else:
            formats.append(numpy.dtype(kind))
    offsets = [getattr(record, name).offset for name in names]
    return numpy.dtype(
        {"names": names, "formats": formats, "offsets": offsets, "itemsize": ctypes.sizeof(record)}
    )


def as_array(block: Any, shape: Optional[Tuple[int, ...]] = None) -> Any:
    """A read-only view of a ctypes array. The view keeps the block alive."""
    kind = block._type_
    if numpy is not None:
        record = issubclass(kind, ctypes.Structure)
        dtype = _record_dtype(kind) if record else numpy.dtype(kind)
        if len(block) == 0:
            flat = numpy.empty(0, dtype)
        else:
            flat = numpy.frombuffer(memoryview(block).cast("B").toreadonly(), dtype)
        return flat.view(numpy.recarray) if record else flat.reshape(shape or (len(block),))
    if issubclass(kind, ctypes.Structure):
        return Records(block)
    flat = memoryview(block).cast("B").toreadonly()
    if len(block) == 0 or shape is None:
        return flat.cast(_LETTERS[kind])
    return flat.cast(_LETTERS[kind], shape)


def view(pointer: Any, count: int, owner: Any, shape: Optional[Tuple[int, ...]] = None) -> Any:
    """A read-only view of `count` entries behind a pointer, None for a null one. It keeps `owner` alive."""
    if not pointer:
        return None
    block = (pointer._type_ * count).from_address(ctypes.addressof(pointer.contents))
    block._owner = owner
    return as_array(block, shape)


def _flatten(values: Any) -> Iterator[Any]:
    for value in values:
        if isinstance(value, str):  # which would hold itself for ever
            raise TypeError("text where numbers should be")
        if isinstance(value, Iterable):
            yield from _flatten(value)
        else:
            yield value


def _take_numpy(values: Any, kind: Any, name: str) -> Any:
    wanted = numpy.dtype(kind)
    if isinstance(values, (bytes, bytearray)):
        values = memoryview(values)
    elif not hasattr(values, "__len__"):
        values = list(values)
    given = numpy.asarray(values)
    if given.dtype != wanted and given.size > 0 and wanted.kind == "u":
        if given.dtype.kind not in "iub":
            raise TypeError("{} must hold integers".format(name))
        if int(given.min()) < 0 or int(given.max()) > int(numpy.iinfo(wanted).max):
            raise OverflowError("{} must hold unsigned {}-bit numbers".format(name, wanted.itemsize * 8))
    ready = numpy.ascontiguousarray(given, wanted)
    block = (kind * ready.size).from_address(ready.ctypes.data)
    block._owner = ready
    return block


def _take_buffer(buffer: memoryview, kind: Any) -> Any:
    """The buffer itself where it may be used in place, a copy where it is read-only, None if it does not fit."""
    letter = buffer.format.lstrip("@<=")
    wanted = _LETTERS[kind]
    fits = _KINDS.get(letter) == _KINDS[wanted] and buffer.itemsize == ctypes.sizeof(kind)
    if buffer.nbytes == 0:
        return (kind * 0)()
    if not fits or not buffer.c_contiguous:
        return None
    count = buffer.nbytes // ctypes.sizeof(kind)
    block = buffer.obj
    if isinstance(block, ctypes.Array) and block._type_ is kind and ctypes.sizeof(block) == buffer.nbytes:
        return block  # one of our own views
    source = buffer.cast("B")
    return (kind * count).from_buffer_copy(source) if buffer.readonly else (kind * count).from_buffer(source)


def _take_plain(values: Any, kind: Any, name: str) -> Any:
    try:
        buffer = memoryview(values)
    except TypeError:
        numbers = values
    else:
        block = _take_buffer(buffer, kind)
        if block is not None:
            return block
        letter = buffer.format[1:]
        if buffer.format.startswith("<") and letter in _KINDS and buffer.c_contiguous:
            buffer = buffer.cast("B").cast(letter)  # a memory view reads native formats only
        numbers = buffer.tolist()
    try:
        packed = array.array(_LETTERS[kind], _flatten(numbers))
    except OverflowError as error:
        raise OverflowError("{}: {}".format(name, error)) from None
    except TypeError as error:
        raise TypeError("{}: {}".format(name, error)) from None
    return (kind * len(packed)).from_buffer(packed) if len(packed) > 0 else (kind * 0)()


def take(values: Any, kind: Any, width: int = 1, name: str = "the array") -> Any:
    """The numbers of any buffer or (nested) iterable as a ctypes array, in place where that is possible.

    `width` is the number of numbers in an entry: a length that it does not divide is refused.
    """
    if values is None or isinstance(values, str):
        raise TypeError("{} must hold numbers".format(name))
    block = (_take_numpy if numpy is not None else _take_plain)(values, kind, name)
    if len(block) % width != 0:
        raise ValueError("{} must hold {} numbers for each entry, but holds {}".format(name, width, len(block)))
    if len(block) // width > 0xFFFFFFFF:
        raise OverflowError("{} has more than 2^32 - 1 entries".format(name))
    return block


def take_exactly(values: Any, kind: Any, count: int, name: str) -> Any:
    """As `take`, for an array whose length is known beforehand."""
    block = take(values, kind, 1, name)
    if len(block) != count:
        raise ValueError("{} must hold {} numbers, but holds {}".format(name, count, len(block)))
    return block


def pointer_to(block: Any) -> Any:
    """A pointer for a record's field, which keeps the block alive; null for an empty block.

    Empty arrays go in as null: beside a count of 0 the library takes some pointers as unbounded.
    """
    kind = ctypes.POINTER(block._type_)
    return ctypes.cast(block, kind) if len(block) > 0 else kind()
