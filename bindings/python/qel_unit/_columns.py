# SPDX-License-Identifier: MIT
"""The columns that a unit is made of: identities in their several forms, and the order of keys."""

import ctypes
import operator
from itertools import islice
from typing import Any, Iterable, Optional, Tuple, Union

from ._arrays import numpy
from ._values import IDENTITY_LENGTH, Identity8, identity_bytes

Identities = Union[bytes, Iterable[Identity8]]


def identities(values: Any, count: Optional[int] = None) -> Any:
    """The identities as 8 bytes each: from texts, or from a buffer of bytes, flat or with one identity a row."""
    if isinstance(values, str):
        raise TypeError("hex_ids must be several texts, not a single one")
    plain = _buffered(values)
    if plain is None:
        plain = b"".join(map(identity_bytes, values))
    if len(plain) % IDENTITY_LENGTH != 0 or (count is not None and len(plain) != count * IDENTITY_LENGTH):
        raise ValueError("hex_ids must be {}identities, or 8 bytes for each".format(
            "" if count is None else "{} ".format(count)))
    return (ctypes.c_char * len(plain)).from_buffer_copy(plain)


def _buffered(values: Any) -> Optional[bytes]:
    """The bytes of a buffer that holds nothing else, such as `Columns.hex_ids` or a NumPy array of S8."""
    try:
        buffer = memoryview(values)
    except (TypeError, ValueError):  # a ValueError where NumPy holds texts that are no buffer
        return None
    letter = buffer.format.lstrip("@=<>!|")
    if letter == "{}s".format(IDENTITY_LENGTH) and buffer.ndim == 1:
        return buffer.tobytes()
    if letter not in ("B", "b", "c"):
        return None
    if buffer.ndim not in (1, 2) or (buffer.ndim == 2 and (buffer.shape or ())[-1] != IDENTITY_LENGTH):
        raise ValueError("identities have 8 bytes a row, not the shape {}".format(buffer.shape))
    return buffer.tobytes()


def ascending(keys: Any) -> bool:
    """Whether no key is followed by a smaller one."""
    if numpy is not None:
        array = numpy.frombuffer(keys, numpy.uint64) if len(keys) > 0 else numpy.empty(0, numpy.uint64)
        return bool((array[:-1] <= array[1:]).all())
    return all(map(operator.le, keys, islice(keys, 1, None)))


def by_key(keys: Any, hex_ids: Any, payloads: Any, layers: Any) -> Tuple[Any, Any, Any, Any]:
    """Copies of the columns in ascending order of the keys; equal keys stay in their order, as after a load."""
    if numpy is not None:
        order: Any = numpy.argsort(numpy.frombuffer(keys, numpy.uint64), kind="stable")
    else:
        order = sorted(range(len(keys)), key=keys[:].__getitem__)
    wide = (ctypes.c_uint64 * len(keys)).from_buffer_copy(hex_ids)
    moved = _moved(wide, order)
    return (
        _moved(keys, order), (ctypes.c_char * ctypes.sizeof(moved)).from_buffer(moved), _moved(payloads, order),
        _moved(layers, order))


def _moved(column: Any, order: Any) -> Any:
    moved = (column._type_ * len(column))()
    if numpy is not None:
        kind = numpy.dtype(column._type_)
        numpy.take(numpy.frombuffer(column, kind), order, out=numpy.frombuffer(moved, kind))
    else:
        moved[:] = list(map(column[:].__getitem__, order))
    return moved
