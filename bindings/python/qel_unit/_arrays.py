# SPDX-License-Identifier: MIT
"""Arrays in and out: NumPy arrays where NumPy is there, memory views where it is not.

Going in, an array of the right type is used in place and anything else is converted, by the same rules with NumPy
and without: only numbers are taken, integers where integers are wanted, and each must fit its type. Coming out, an
array is a read-only view: of memory that lives as long as the view does.
"""

import array
import ctypes
import math
import struct
import sys
from functools import lru_cache
from itertools import chain
from numbers import Complex, Real
from typing import Any, Iterable, List, Optional, Sequence, Tuple, Type

try:
    import numpy as numpy  # for the other modules, too
except ImportError:
    numpy = None  # type: ignore[assignment]

#: Kind of number and letter of the memory view for each element type.
_LETTERS = {
    ctypes.c_bool: "?", ctypes.c_float: "f", ctypes.c_double: "d",
    ctypes.c_uint8: "B", ctypes.c_uint16: "H", ctypes.c_uint32: "I", ctypes.c_uint64: "Q",
    ctypes.c_int8: "b", ctypes.c_int16: "h", ctypes.c_int32: "i", ctypes.c_int64: "q",
}
_KINDS = {**dict.fromkeys("efd", "f"), **dict.fromkeys("?BHILQN", "u"), **dict.fromkeys("bhilqn", "i")}
#: Types of numbers that need no closer look.
_PLAIN = {bool, int, float}


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

    def __repr__(self) -> str:
        return "<Records: {} of {}>".format(len(self), self._type.__name__)

    def tolist(self) -> Any:
        return [tuple(getattr(record, name) for name, _ in self._type._fields_) for record in self]

    def tobytes(self) -> bytes:
        return self._bytes.tobytes()


@lru_cache(maxsize=None)  # of the library's few types; NumPy takes microseconds for each
def _dtype_of(kind: Any) -> Any:
    return _record_dtype(kind) if issubclass(kind, ctypes.Structure) else numpy.dtype(kind)


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
        dtype = _dtype_of(kind)
        if len(block) == 0:
            flat = numpy.empty(0, dtype)
        else:
            flat = numpy.frombuffer(memoryview(block).cast("B").toreadonly(), dtype)
        return flat.view(numpy.recarray) if dtype.names else flat.reshape(shape or (len(block),))
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


def _is_nest(kind: type) -> bool:
    return hasattr(kind, "__iter__") or issubclass(kind, ctypes.Array)


def _unnest(values: Any, name: str) -> Tuple[Tuple[int, ...], List[Any]]:
    """The shape of a (nested) iterable, which must be rectangular, and its numbers in a row."""
    entries = list(values)
    shape: Tuple[int, ...] = (len(entries),)
    while True:
        kinds = set(map(type, entries))
        for kind in kinds - _PLAIN:
            if issubclass(kind, str):  # which would hold itself for ever
                raise TypeError("{} holds text where numbers should be".format(name))
            if issubclass(kind, Complex) and not issubclass(kind, Real):  # NumPy's would lose their imaginary part
                raise TypeError("{} must hold real numbers".format(name))
        nests = set(filter(_is_nest, kinds))
        if not nests:
            return shape, entries
        if nests != kinds:
            raise ValueError("{} holds numbers beside rows of numbers".format(name))
        rows = entries if kinds <= {list, tuple} else list(map(list, entries))
        lengths = set(map(len, rows))
        if len(lengths) > 1:
            raise ValueError("{} has rows of different length".format(name))
        shape = (*shape, *lengths)
        entries = list(chain.from_iterable(rows))


def pack(numbers: Iterable[Any], kind: Any, name: str) -> Any:
    """Numbers as an array of their type. One that does not fit it is refused; infinities fit."""
    letter = _LETTERS[kind]
    try:
        packed = array.array("d" if letter == "f" else letter, numbers)
    except (OverflowError, TypeError) as error:
        raise type(error)("{}: {}".format(name, error)) from None
    if letter != "f":
        return packed
    singles = array.array("f", packed)
    if sum(map(math.isinf, singles)) != sum(map(math.isinf, packed)):
        raise OverflowError("{} must hold numbers within single precision".format(name))
    return singles


def _pack_block(numbers: Sequence[Any], kind: Any, name: str) -> Any:
    packed = pack(numbers, kind, name)
    return (kind * len(packed)).from_buffer(packed) if len(packed) > 0 else (kind * 0)()


def _take_numpy(given: Any, kind: Any, name: str) -> Any:
    """The array itself where it may be used in place. Converts as `pack` does, only faster."""
    wanted = numpy.dtype(kind)
    if given.size == 0:
        return (kind * 0)()
    if given.dtype != wanted:
        if given.dtype.kind == "O":
            return _pack_block(given.ravel().tolist(), kind, name)
        if given.dtype.kind not in ("biu" if wanted.kind == "u" else "biuf"):
            raise TypeError("{} must hold {}".format(name, "integers" if wanted.kind == "u" else "real numbers"))
        if wanted.kind == "u":
            if int(given.min()) < 0 or int(given.max()) > int(numpy.iinfo(wanted).max):
                raise OverflowError("{} must hold unsigned {}-bit numbers".format(name, wanted.itemsize * 8))
        else:
            with numpy.errstate(all="ignore"):
                doubles = given.astype(numpy.float64)
                rounded = doubles.astype(wanted)
            if numpy.isinf(rounded).sum() != numpy.isinf(given).sum():
                raise OverflowError("{} must hold numbers within {}-bit precision".format(name, wanted.itemsize * 8))
            given = rounded
    ready = numpy.ascontiguousarray(given, wanted)
    block = (kind * ready.size).from_address(ready.ctypes.data)
    block._owner = ready
    return block


def _take_buffer(buffer: memoryview, kind: Any, name: str) -> Any:
    """The buffer itself where it may be used in place, a copy where it is read-only or of another type."""
    letter, wanted = buffer.format.lstrip("@=<>!"), _LETTERS[kind]
    if buffer.nbytes == 0:
        return (kind * 0)()
    native = buffer.format[0] not in ("!>" if sys.byteorder == "little" else "<")
    fits = native and _KINDS.get(letter) == _KINDS[wanted] and buffer.itemsize == ctypes.sizeof(kind)
    if not fits or not buffer.c_contiguous:
        if letter not in _KINDS:
            raise TypeError("{} must hold numbers".format(name))
        return _pack_block([number for (number,) in struct.iter_unpack(buffer.format, buffer.tobytes())], kind, name)
    block = buffer.obj
    if isinstance(block, ctypes.Array) and block._type_ is kind and ctypes.sizeof(block) == buffer.nbytes:
        return block  # one of our own views
    count, source = buffer.nbytes // ctypes.sizeof(kind), buffer.cast("B")
    return (kind * count).from_buffer_copy(source) if buffer.readonly else (kind * count).from_buffer(source)


def _take_any(values: Any, kind: Any, name: str) -> Tuple[Tuple[int, ...], Any]:
    """The shape and the numbers of whatever it is."""
    if numpy is not None and hasattr(values, "__array__"):
        given = numpy.asarray(values)
        return given.shape, _take_numpy(given, kind, name)
    try:
        buffer = memoryview(values)
    except TypeError:
        shape, numbers = _unnest(values, name)
        return shape, _pack_block(numbers, kind, name)
    if numpy is not None:
        return buffer.shape or (), _take_numpy(numpy.asarray(buffer), kind, name)
    return buffer.shape or (), _take_buffer(buffer, kind, name)


def take(values: Any, kind: Any, width: int = 1, name: str = "the array", rows: Tuple[int, ...] = ()) -> Any:
    """The numbers of any buffer or (nested) iterable as a ctypes array, in place where that is possible.

    `width` is the number of numbers in an entry. A flat array must hold a multiple of it; one of more dimensions
    must have rows of this length, or of one of the lengths `rows`.
    """
    if values is None or isinstance(values, str):
        raise TypeError("{} must hold numbers".format(name))
    shape, block = _take_any(values, kind, name)
    if len(shape) == 0:
        raise TypeError("{} must hold numbers, but is a single one".format(name))
    if len(shape) > 1 and shape[-1] not in (rows or (width,)):
        raise ValueError("{} must have rows of {}, but has the shape {}".format(
            name, " or ".join(map(str, rows or (width,))), shape))
    if len(block) % width != 0:
        raise ValueError("{} must hold {} numbers for each entry, but holds {}".format(name, width, len(block)))
    if len(block) // width > 0xFFFFFFFF:
        raise OverflowError("{} has more than 2^32 - 1 entries".format(name))
    return block


def take_exactly(values: Any, kind: Any, count: int, name: str, rows: Tuple[int, ...] = (1,)) -> Any:
    """As `take`, for an array whose length is known beforehand."""
    block = take(values, kind, 1, name, rows)
    if len(block) != count:
        raise ValueError("{} must hold {} numbers, but holds {}".format(name, count, len(block)))
    return block


def pointer_to(block: Any) -> Any:
    """A pointer for a record's field, which keeps the block alive; null for an empty block.

    Empty arrays go in as null: beside a count of 0 the library takes some pointers as unbounded.
    """
    kind = ctypes.POINTER(block._type_)
    return ctypes.cast(block, kind) if len(block) > 0 else kind()
