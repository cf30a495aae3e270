# SPDX-License-Identifier: MIT
"""Units: stores of tokens with an index by key and one by identity."""

import ctypes
from typing import Any, Iterable, Iterator, NamedTuple, Optional, Union

from . import _raw
from ._arrays import Array, as_array, take, take_exactly, view
from ._library import raw
from ._records import Owner, Record, free
from ._values import Identity8, PathLike, i32, identity_bytes, identity_of, path_bytes, u8, u16, u32, u64
from .errors import check
from .tokens import Token


class Columns(NamedTuple):
    """Every token's key, identity (eight bytes a row) and layer: copies, free of the unit."""

    mortons: Array
    hex_ids: Array
    layers: Array


class Nearest(NamedTuple):
    """Token numbers with their distances in hops, nearest first."""

    numbers: Array
    distances: Array


def _release(value: _raw.qel_unit) -> None:
    raw.qel_unit_free(ctypes.byref(value))
    if value.order:  # the library leaves it to the unit's owner
        free(ctypes.addressof(value.order.contents))
        value.order = None


def _identities(values: Union[bytes, Iterable[Identity8]], count: int) -> Any:
    if not isinstance(values, (bytes, bytearray, memoryview)):
        values = b"".join(identity_bytes(value) for value in values)
    if len(values) != count * 8:
        raise ValueError("hex_ids must be {} identities, or 8 bytes for each".format(count))
    return (ctypes.c_char * len(values)).from_buffer_copy(values)


class Unit(Owner):
    """A store of tokens. It costs 64 MiB plus 45 bytes per token, so close it: `with Unit.load(path) as unit`."""

    @classmethod
    def create(cls, mortons: Any, hex_ids: Any, payloads: Any, layers: Any) -> "Unit":
        """Builds a unit from arrays, one token per entry, in this order. The nearest query wants ascending keys.

        `hex_ids` is an iterable of texts, or a bytes-like object with eight bytes for each.
        """
        keys = take(mortons, ctypes.c_uint64, 1, "mortons")
        count = len(keys)
        value = _raw.qel_unit()
        record = Record(value, _release)
        check("qel_unit_create", raw.qel_unit_create(
            ctypes.byref(value), count, keys, _identities(hex_ids, count),
            take_exactly(payloads, ctypes.c_uint64, count, "payloads"),
            take_exactly(layers, ctypes.c_uint8, count, "layers"),
        ))
        return cls(record)

    @classmethod
    def from_tokens(cls, tokens: Iterable[Token]) -> "Unit":
        """Builds a unit from tokens, in this order."""
        listed = list(tokens)
        return cls.create(
            [token.morton for token in listed], [token.hex_id for token in listed],
            [token.payload for token in listed], [token.layer for token in listed],
        )

    @classmethod
    def load(cls, path: PathLike) -> "Unit":
        """Reads a unit file, sorts its tokens by key and builds both indexes. A cut file gives its whole records."""
        value = _raw.qel_unit()
        record = Record(value, _release)
        check("qel_unit_load", raw.qel_unit_load(path_bytes(path), ctypes.byref(value)))
        return cls(record)

    def save(self, path: PathLike) -> None:
        """Writes a unit file."""
        held = self._held()
        check("qel_unit_save", raw.qel_unit_save(path_bytes(path), ctypes.byref(held.value)))

    @property
    def version(self) -> int:
        """The file format's version: 1 after create, the file's after load."""
        return int(self._held().value.version)

    @property
    def extra(self) -> int:
        """A word carried to and from the file."""
        return int(self._held().value.extra)

    @extra.setter
    def extra(self, word: int) -> None:
        self._held().value.extra = u32(word, "extra")

    def __len__(self) -> int:
        held = self._held()
        return raw.qel_unit_get_count(ctypes.byref(held.value))

    def __getitem__(self, index: int) -> Token:
        return self.token(range(len(self))[index])

    def __iter__(self) -> Iterator[Token]:
        return (self.token(number) for number in range(len(self)))

    def token(self, number: int) -> Token:
        """One token."""
        held = self._held()
        morton, hex_id, layer = ctypes.c_uint64(), (ctypes.c_char * 8)(), ctypes.c_uint8()
        check("qel_unit_get_token", raw.qel_unit_get_token(
            ctypes.byref(held.value), u32(number, "the token number"), ctypes.byref(morton), hex_id,
            ctypes.byref(layer)))
        return Token(morton.value, identity_of(hex_id.raw), held.value.tokens[number].payload, layer.value)

    def all_tokens(self) -> Columns:
        """Copies of every token's key, identity and layer, in storage order."""
        held = self._held()
        count = len(self)
        mortons, hex_ids = (ctypes.c_uint64 * count)(), (ctypes.c_char * (count * 8))()
        layers = (ctypes.c_uint8 * count)()
        raw.qel_unit_get_all_tokens(ctypes.byref(held.value), mortons, hex_ids, layers)
        rows = (ctypes.c_uint8 * (count * 8)).from_buffer(hex_ids)
        return Columns(as_array(mortons), as_array(rows, (count, 8)), as_array(layers))

    @property
    def tokens(self) -> Array:
        """The stored records in place, 25 bytes each: fields `morton`, `hex_id`, `payload`, `layer`."""
        record = self._held()
        return view(record.value.tokens, record.value.count, record)

    @property
    def order(self) -> Array:
        """The token numbers 0, 1, 2, … in place."""
        record = self._held()
        return view(record.value.order, record.value.count, record)

    def lookup_morton(self, key: int) -> Optional[int]:
        """The number of the token with a key, None if there is none or a later one shares its bucket."""
        held = self._held()
        return _found(raw.qel_unit_lookup_morton(ctypes.byref(held.value), u64(key, "key")))

    def lookup_hex(self, hex_id: Identity8) -> Optional[int]:
        """The number of the token with an identity, None if there is none or a later one shares its bucket."""
        held = self._held()
        return _found(raw.qel_unit_lookup_hex(ctypes.byref(held.value), identity_bytes(hex_id)))

    def query_lattice_vertex(self, x: int, y: int, z: int) -> Optional[int]:
        """The number of the token at a lattice vertex, as `lookup_morton` of its key."""
        held = self._held()
        return _found(raw.qel_unit_query_lattice_vertex(
            ctypes.byref(held.value), u16(x, "x"), u16(y, "y"), u16(z, "z")))

    def query_layer(self, layer: int, limit: Optional[int] = None) -> Array:
        """The numbers of a layer's tokens, in storage order, at most `limit` of them."""
        held = self._held()
        room = _room(limit, len(self))
        numbers = (ctypes.c_uint32 * room)()
        found = raw.qel_unit_query_layer(ctypes.byref(held.value), u8(layer, "layer"), numbers, room)
        return as_array(numbers)[:found]

    def query_nearest(self, key: int, k: int) -> Nearest:
        """The `k` tokens nearest to a key by hop distance. The tokens must stand in ascending key order."""
        held = self._held()
        room = _room(k, len(self))
        numbers, distances = (ctypes.c_uint32 * room)(), (ctypes.c_uint64 * room)()
        found = raw.qel_unit_query_nearest(ctypes.byref(held.value), u64(key, "key"), room, numbers, distances)
        return Nearest(as_array(numbers)[:found], as_array(distances)[:found])

    def apply_ilogic(self, number: int, op: int) -> None:
        """Transforms a stored token in place, as `tokens.apply_ilogic`. No index is updated."""
        held = self._held()
        place = ctypes.pointer(held.value.tokens[range(len(self))[number]])
        raw.qel_token_apply_ilogic(place, i32(op, "op"))


def _found(number: int) -> Optional[int]:
    return None if number == _raw.QEL_NOT_FOUND else number


def _room(wanted: Optional[int], most: int) -> int:
    """No more room than there can be results: a huge `k` must not take huge memory."""
    most = min(most, 0x7FFFFFFF)
    return most if wanted is None else max(0, min(i32(wanted, "the number of results"), most))
