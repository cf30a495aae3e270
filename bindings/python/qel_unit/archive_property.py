# SPDX-License-Identifier: MIT
"""The properties of an archive's objects, and their samples as arrays."""

import ctypes
import enum
import struct
from typing import Any, Dict, Iterator, List, Mapping, Sequence, Union, overload

from . import _raw_archive as _raw
from ._archive_calls import ArchiveRecord, metadata_of
from ._arrays import as_array, numpy
from ._library_archive import raw
from ._raw import QEL_NOT_FOUND
from ._types import Array, Doubles
from ._values import text_bytes, text_of
from .errors import ArchiveError

#: The kinds of values, and what one of them is stored as. Nothing says how wide the characters of a wide text are.
_STORED: Dict[str, Any] = {
    "bool": ctypes.c_bool, "u8": ctypes.c_uint8, "i8": ctypes.c_int8, "u16": ctypes.c_uint16, "i16": ctypes.c_int16,
    "u32": ctypes.c_uint32, "i32": ctypes.c_int32, "u64": ctypes.c_uint64, "i64": ctypes.c_int64,
    "f16": ctypes.c_uint16, "f32": ctypes.c_float, "f64": ctypes.c_double, "text": ctypes.c_char,
    "wide text": ctypes.c_uint8,
}
VALUES = tuple(_STORED)
_BOOLS = bytes([0] + [1] * 255)

#: Numbers, or texts.
Values = Union[Array, List[str]]


class PropertyKind(enum.IntEnum):
    """What a property is."""

    COMPOUND = _raw.QEL_ARCHIVE_PROPERTY_COMPOUND
    SCALAR = _raw.QEL_ARCHIVE_PROPERTY_SCALAR
    ARRAY = _raw.QEL_ARCHIVE_PROPERTY_ARRAY


class ArchiveProperty:
    """One property of an object. What it holds is read when one of its samples is asked for."""

    def __init__(self, record: ArchiveRecord, object_number: int, number: int) -> None:
        told = _raw.qel_archive_property()
        record.call("qel_archive_get_property", object_number, number, ctypes.byref(told))
        self._record = record
        self._place = (object_number, number)
        #: With the compounds that it stands in: ".geom/P".
        self.name: str = text_of(told.name)
        #: Its pairs of keys and values.
        self.metadata: Dict[str, str] = metadata_of(told.metadata)
        #: Compound, scalar or array.
        self.kind: PropertyKind = PropertyKind(told.kind)
        #: The kind of its values, one of `VALUES`; empty for a compound.
        self.values: str = VALUES[told.value] if told.kind != PropertyKind.COMPOUND else ""
        #: The number of values of an element; 0 for a compound.
        self.extent: int = told.extent
        #: The number of its time sampling.
        self.time_sampling: int = told.time_sampling
        #: Whether the archive says that all samples are equal, or there is at most one.
        self.constant: bool = bool(told.constant)
        self._count: int = told.sample_count

    @property
    def samples(self) -> "Samples":
        """Its samples: `samples[0]`, `len(samples)`. A compound has none."""
        return Samples(self)

    def time(self, sample: int) -> float:
        """The time of a sample in seconds."""
        seconds = ctypes.c_double()
        place = range(self._count)[sample]
        self._record.call("qel_archive_property_time", *self._place, place, ctypes.byref(seconds))
        return seconds.value

    @property
    def times(self) -> Doubles:
        """The time of each sample in seconds."""
        return as_array((ctypes.c_double * self._count)(*map(self.time, range(self._count))))

    def _read(self, sample: int) -> Values:
        size = ctypes.c_uint64()
        call, name = self._record.call, "qel_archive_read_property"
        call(name, *self._place, sample, None, 0, ctypes.byref(size))
        kind, room = _STORED[self.values], size.value
        block = (kind * (room // ctypes.sizeof(kind)))()
        call(name, *self._place, sample, block, ctypes.sizeof(block), ctypes.byref(size))
        if size.value != ctypes.sizeof(block):  # somebody writes into the file
            raise ArchiveError(name, _raw.QEL_ARCHIVE_DAMAGED, self._record.path)
        return self._decoded(block)

    def _decoded(self, block: Any) -> Values:
        if self.values == "text":
            return [text_of(text) for text in block.raw.split(b"\0")[:-1]]
        if self.values == "wide text":
            return as_array(block)
        if self.values == "bool":
            block = type(block).from_buffer_copy(bytes(block).translate(_BOOLS))
        elements = (len(block) // self.extent,) if self.kind == PropertyKind.ARRAY else ()
        shape = (*elements, self.extent) if self.extent > 1 or not elements else elements
        return _halves(block, shape) if self.values == "f16" else as_array(block, shape)

    def __repr__(self) -> str:
        if self.kind == PropertyKind.COMPOUND:
            return "<ArchiveProperty {!r}: compound>".format(self.name)
        return "<ArchiveProperty {!r}: {} of {} x {}, {} samples>".format(
            self.name, self.kind.name.lower(), self.values, self.extent, self._count)


def _halves(block: Any, shape: Any) -> Any:
    """Half floats as NumPy has them, and as single ones where it is missing."""
    if numpy is not None:
        return as_array(block, shape).view(numpy.float16)
    singles = (ctypes.c_float * len(block))(*struct.unpack("{}e".format(len(block)), bytes(block)))
    return as_array(singles, shape)


class Samples(Sequence[Values]):
    """The samples of a property, each read when it is asked for.

    A sample of an array has an element a row, where an element is more than one value; one of a scalar has a single
    dimension. Texts are a list.
    """

    def __init__(self, owner: ArchiveProperty) -> None:
        self._owner = owner

    def __len__(self) -> int:
        return self._owner._count

    @overload
    def __getitem__(self, index: int) -> Any: ...

    @overload
    def __getitem__(self, index: slice) -> List[Any]: ...

    def __getitem__(self, index: Union[int, slice]) -> Any:
        """One sample, or a list of several."""
        chosen = range(len(self))[index]
        if isinstance(chosen, int):
            return self._owner._read(chosen)
        several: List[Any] = [self._owner._read(one) for one in chosen]
        return several

    def __repr__(self) -> str:
        return "<Samples of {!r}: {}>".format(self._owner.name, len(self))


class Properties(Mapping[str, ArchiveProperty]):
    """An object's properties by name, in the archive's order.

    A name may be cut at its beginning, as long as one property alone ends like this: "P" for ".geom/P".
    """

    def __init__(self, record: ArchiveRecord, object_number: int, count: int) -> None:
        self._record = record
        self._object = object_number
        self._count = count

    def _at(self, number: int) -> ArchiveProperty:
        return ArchiveProperty(self._record, self._object, number)

    def __getitem__(self, name: str) -> ArchiveProperty:
        if not isinstance(name, str):
            raise TypeError("properties have names, not {!r}".format(name))
        if "\0" in name:
            raise KeyError(name)
        number = raw.qel_archive_find_property(self._record.value, self._object, text_bytes(name))
        if number != QEL_NOT_FOUND:
            return self._at(number)
        ending = [full for full in self if full.endswith("/" + name)]
        if len(ending) > 1:
            raise KeyError("{!r} may be {}".format(name, " or ".join(map(repr, ending))))
        if not ending:
            raise KeyError(name)
        return self[ending[0]]

    def __iter__(self) -> Iterator[str]:
        return (self._at(number).name for number in range(self._count))

    def __len__(self) -> int:
        return self._count

    def __repr__(self) -> str:
        return "<Properties: {}>".format(", ".join(self))
