# SPDX-License-Identifier: MIT
"""Calls of the library for whole arrays of keys: addresses instead of records, and no line of Python for a key."""

import ctypes
from itertools import repeat
from typing import Any, Sequence

from ._library import raw

#: Keys between two looks at signals, so that an interrupt does not wait for the last of millions.
_CHUNK = 1 << 14


def _prebound(function: Any, *arguments: Any) -> Any:
    """The function with plain numbers for its pointers."""
    address: Any = ctypes.cast(function, ctypes.c_void_p).value
    return ctypes.CFUNCTYPE(ctypes.c_uint32, *arguments)(address)


LOOKUP_MORTON = _prebound(raw.qel_unit_lookup_morton, ctypes.c_void_p, ctypes.c_uint64)
LOOKUP_HEX = _prebound(raw.qel_unit_lookup_hex, ctypes.c_void_p, ctypes.c_void_p)
_NEAREST = _prebound(
    raw.qel_unit_query_nearest, ctypes.c_void_p, ctypes.c_uint64, ctypes.c_int32, ctypes.c_void_p, ctypes.c_void_p)


def look_up(lookup: Any, unit: Any, keys: Sequence[int]) -> Any:
    """The result of a lookup for each key."""
    address, found = ctypes.addressof(unit), (ctypes.c_uint32 * len(keys))()
    for first in range(0, len(keys), _CHUNK):
        part = keys[first : first + _CHUNK]
        found[first : first + len(part)] = list(map(lookup, repeat(address), part))
    return found


def nearest(unit: Any, keys: Any, room: int, numbers: Any, distances: Any) -> None:
    """Fills `numbers` and `distances`, `room` entries a key, which the unit is known to have."""
    address = ctypes.addressof(unit)
    number_places = range(ctypes.addressof(numbers), ctypes.addressof(numbers) + 4 * len(numbers), 4 * room)
    distance_places = range(ctypes.addressof(distances), ctypes.addressof(distances) + 8 * len(distances), 8 * room)
    for first in range(0, len(keys), _CHUNK):
        part = slice(first, first + _CHUNK)
        counts = map(_NEAREST, repeat(address), keys[part], repeat(room), number_places[part], distance_places[part])
        if set(counts) != {room}:
            raise MemoryError("no memory for the scratch list of the nearest query")
