# SPDX-License-Identifier: MIT
"""Single values in and out: numbers in their range, paths, names, identities, boxes."""

import ctypes
import operator
import os
import sys
from typing import Any, Iterable, NamedTuple, Tuple, Union

from ._arrays import pack, take_exactly

PathLike = Union[str, bytes, "os.PathLike[str]", "os.PathLike[bytes]"]
Identity8 = Union[str, bytes]
Triple = Tuple[float, float, float]
IDENTITY_LENGTH = 8


class Bounds(NamedTuple):
    """An axis-aligned box."""

    minimum: Triple
    maximum: Triple


def _integer(value: Any, low: int, high: int, name: str) -> int:
    number = operator.index(value)
    if not low <= number <= high:
        raise OverflowError("{} must be within {}..{}, not {}".format(name, low, high, number))
    return number


def u8(value: Any, name: str = "the number") -> int:
    return _integer(value, 0, 0xFF, name)


def u16(value: Any, name: str = "the number") -> int:
    return _integer(value, 0, 0xFFFF, name)


def u32(value: Any, name: str = "the number") -> int:
    return _integer(value, 0, 0xFFFFFFFF, name)


def u64(value: Any, name: str = "the number") -> int:
    return _integer(value, 0, 0xFFFFFFFFFFFFFFFF, name)


def i32(value: Any, name: str = "the number") -> int:
    return _integer(value, -0x80000000, 0x7FFFFFFF, name)


def f32(value: Any, name: str = "the number") -> float:
    """A number rounded to single precision, which must not make it infinite."""
    return float(pack((value,), ctypes.c_float, name)[0])


def fill(record: Any, values: Any, names: Iterable[str]) -> None:
    """Sets fields of a record to the numbers of the same names; `ctypes` alone would cut them to fit."""
    kinds = dict(record._fields_)
    for name in names:
        kind, value = kinds[name], getattr(values, name)
        if kind is ctypes.c_float:
            setattr(record, name, f32(value, name))
            continue
        half = 1 << (8 * ctypes.sizeof(kind) - 1)
        low, high = (-half, half - 1) if kind(-1).value < 0 else (0, 2 * half - 1)
        setattr(record, name, _integer(value, low, high, name))


def _without_zero(text: bytes) -> bytes:
    if b"\0" in text:
        raise ValueError("a zero byte would cut the text short")
    return text


def path_bytes(path: PathLike) -> bytes:
    """A path as `fopen` takes it: the system's bytes, on Windows those of the ANSI code page."""
    plain = os.fspath(path)
    if isinstance(plain, bytes):
        return _without_zero(plain)
    return _without_zero(plain.encode("mbcs") if sys.platform == "win32" else os.fsencode(plain))


def utf8_path_bytes(path: PathLike) -> bytes:
    """A path as the reader of archives takes it: the system's bytes, on Windows UTF-8."""
    return _without_zero(os.fsencode(path))  # which is UTF-8 on Windows


def text_bytes(text: Union[str, bytes]) -> bytes:
    return _without_zero(text if isinstance(text, bytes) else text.encode("utf-8", "surrogateescape"))


def text_of(text: bytes) -> str:
    return text.decode("utf-8", "surrogateescape")


def latin_bytes(text: Identity8) -> bytes:
    """The bytes of an identity's characters, one for each of U+0000 to U+00FF, without a zero byte."""
    return _without_zero(_latin(text))


def _latin(text: Identity8) -> bytes:
    if not isinstance(text, (str, bytes)):
        raise TypeError("an identity is text or bytes, not {!r}".format(text))
    return text if isinstance(text, bytes) else text.encode("latin-1")


def identity_bytes(identity: Identity8) -> bytes:
    """The 8 bytes of an identity. A shorter one is filled with zero bytes."""
    plain = _latin(identity)
    if len(plain) > IDENTITY_LENGTH:
        raise ValueError("an identity has at most 8 characters: {!r}".format(identity))
    return plain.ljust(IDENTITY_LENGTH, b"\0")


def identity_of(plain: bytes) -> str:
    """The text of 8 bytes, without zero bytes at the end; other bytes become the characters U+0080 to U+00FF."""
    return plain.rstrip(b"\0").decode("latin-1")


def field_bytes(record: Any, name: str) -> bytes:
    """All bytes of a record's field, those behind a zero byte included."""
    field = getattr(type(record), name)
    return ctypes.string_at(ctypes.addressof(record) + field.offset, field.size)


def box(bounds: Any) -> Any:
    """Six floats from a `Bounds`, two triples or six numbers."""
    return take_exactly(bounds, ctypes.c_float, 6, "the box", rows=(3, 6))


def bounds_of(six: Any) -> Bounds:
    return Bounds((six[0], six[1], six[2]), (six[3], six[4], six[5]))


def described(call: Any, record: Any) -> str:
    """The text of a function that writes a description into a buffer."""
    text = ctypes.create_string_buffer(4096)  # more than any path and numbers take
    call(ctypes.byref(record), text, len(text))
    return text_of(text.value)
