# SPDX-License-Identifier: MIT
"""Units: stores of tokens with an index by key and one by identity."""

import ctypes
import os
import struct
from typing import Any, Iterable, Iterator, List, Literal, NamedTuple, Optional, Set, Union, overload

from . import _bulk, _files, _raw
from ._arrays import as_array, take, take_exactly
from ._columns import Identities, ascending, by_key, identities
from ._library import raw
from ._records import Owner, Record, free
from ._types import Bytes, Keys, RecordArray, Words
from ._values import Identity8, PathLike, i32, identity_bytes, identity_of, path_bytes, u8, u16, u32, u64
from .errors import check
from .tokens import Token

#: A token's record: key, identity, payload, layer.
_RECORD = struct.Struct("<Q8sQB")
#: What stands for no token in the answers to whole arrays of keys.
NOT_FOUND = _raw.QEL_NOT_FOUND


class Columns(NamedTuple):
    """Every token's key, identity (eight bytes a row) and layer: copies, free of the unit."""

    mortons: Keys
    hex_ids: Bytes
    layers: Bytes


class Nearest(NamedTuple):
    """Token numbers with their distances in hops, nearest first."""

    numbers: Words
    distances: Keys


def _release(value: _raw.qel_unit) -> None:
    raw.qel_unit_free(ctypes.byref(value))
    if value.order:  # the library leaves it to the unit's owner
        free(ctypes.addressof(value.order.contents))
        value.order = None


class Unit(Owner):
    """A store of tokens. It costs 64 MiB plus 45 bytes per token, so close it: `with Unit.load(path) as unit`.

    Tokens stand in ascending order of their keys, and a token's number is its place.
    """

    _made_by = "Unit.create(mortons, hex_ids, payloads, layers), Unit.from_tokens(tokens) or Unit.load(path)"
    #: The places at which a key is followed by a smaller one: the nearest query cannot be asked while there are any.
    _descents: Set[int]

    @classmethod
    def create(cls, mortons: Any, hex_ids: Identities, payloads: Any, layers: Any, *, sorted: bool = False) -> "Unit":
        """Builds a unit from arrays, one token per entry. Tokens whose keys do not ascend are sorted by key.

        Tokens of equal keys stay in their order. `sorted=True` says that the keys ascend already, so that numbers are
        the caller's places, and raises a ValueError if they do not.

        `hex_ids` is an iterable of texts, or a buffer of bytes with eight for each, such as `all_tokens().hex_ids`.
        """
        keys = take(mortons, ctypes.c_uint64, 1, "mortons")
        count = len(keys)
        columns = (
            keys, identities(hex_ids, count), take_exactly(payloads, ctypes.c_uint64, count, "payloads"),
            take_exactly(layers, ctypes.c_uint8, count, "layers"))
        if not ascending(keys):
            if sorted:
                raise ValueError("the keys are said to be sorted, but one is followed by a smaller one")
            columns = by_key(*columns)
        value = _raw.qel_unit()
        record = Record(value, _release)
        check("qel_unit_create", raw.qel_unit_create(ctypes.byref(value), count, *columns))
        return cls._of(record)

    @classmethod
    def from_tokens(cls, tokens: Iterable[Token], *, sorted: bool = False) -> "Unit":
        """Builds a unit from tokens, as `create`."""
        listed = list(tokens)
        return cls.create(
            [token.morton for token in listed], [token.hex_id for token in listed],
            [token.payload for token in listed], [token.layer for token in listed], sorted=sorted,
        )

    @classmethod
    def load(cls, path: PathLike) -> "Unit":
        """Reads a unit file, sorts its tokens by key and builds both indexes. A cut file gives its whole records."""
        value = _raw.qel_unit()
        record = Record(value, _release)
        _files.check_opened("qel_unit_load", raw.qel_unit_load(path_bytes(path), ctypes.byref(value)), path)
        record.origin = os.path.abspath(_files.path_text(path))
        return cls._of(record)

    @classmethod
    def _reopen(cls, path: str) -> "Unit":
        return cls.load(path)

    def _facts(self) -> str:
        return "of {} tokens".format(len(self))

    @classmethod
    def _of(cls, record: Record) -> "Unit":
        unit = super()._of(record)
        unit._descents = set()
        return unit

    def save(self, path: PathLike) -> None:
        """Writes a unit file. One that could not be written whole raises an OSError, and the old file stays."""
        held = self._held()

        def write(fresh: bytes) -> int:
            code = raw.qel_unit_save(fresh, ctypes.byref(held.value))
            if code in (_raw.QEL_UNIT_SAVE_CANNOT_WRITE_HEADER, _raw.QEL_UNIT_SAVE_CANNOT_WRITE_TOKENS):
                raise _files.unwritten(os.fsdecode(fresh))
            check("qel_unit_save", code)
            return _files.unit_size(held.value.count)

        _files.save(path, write)

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
        held = self._held()
        held.value.extra = u32(word, "extra")
        held.changed()

    def __len__(self) -> int:
        held = self._held()
        return raw.qel_unit_get_count(ctypes.byref(held.value))

    @overload
    def __getitem__(self, index: int) -> Token: ...

    @overload
    def __getitem__(self, index: slice) -> List[Token]: ...

    def __getitem__(self, index: Union[int, slice]) -> Union[Token, List[Token]]:
        """One token, or those of a slice."""
        chosen = range(len(self))[index]
        return self.token(chosen) if isinstance(chosen, int) else self._several(chosen)

    def _several(self, chosen: range) -> List[Token]:
        stored, size = self._held().value.tokens, ctypes.sizeof(_raw.qel_token)
        if len(chosen) == 0:
            return []
        first, last = min(chosen[0], chosen[-1]), max(chosen[0], chosen[-1])
        plain = ctypes.string_at(ctypes.byref(stored[first]), (last - first + 1) * size)
        found = [Token(key, identity_of(hex_id), *rest) for key, hex_id, *rest in _RECORD.iter_unpack(plain)]
        return found[:: chosen.step]

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

    @overload
    def hex_ids(self, text: Literal[True]) -> List[str]: ...

    @overload
    def hex_ids(self, text: Literal[False] = False) -> Bytes: ...

    def hex_ids(self, text: bool = False) -> Union[Bytes, List[str]]:
        """Every token's identity, in storage order: eight bytes a row, or texts."""
        rows = self.all_tokens().hex_ids
        if not text:
            return rows
        plain = rows.tobytes()
        return [identity_of(plain[first : first + 8]) for first in range(0, len(plain), 8)]

    @property
    def tokens(self) -> RecordArray:
        """The stored records in place, 25 bytes each: fields `morton`, `hex_id`, `payload`, `layer`."""
        return self._array("tokens", "count")

    @property
    def order(self) -> Words:
        """The token numbers 0, 1, 2, … in place."""
        return self._array("order", "count")

    def lookup_morton(self, key: int) -> Optional[int]:
        """The number of the token with a key, None if there is none or a later one shares its bucket."""
        held = self._held()
        return _found(raw.qel_unit_lookup_morton(ctypes.byref(held.value), u64(key, "key")))

    def lookup_hex(self, hex_id: Identity8) -> Optional[int]:
        """The number of the token with an identity, None if there is none or a later one shares its bucket."""
        held = self._held()
        return _found(raw.qel_unit_lookup_hex(ctypes.byref(held.value), identity_bytes(hex_id)))

    def lookup_mortons(self, keys: Any) -> Words:
        """What `lookup_morton` gives for each key; `NOT_FOUND`, which is no token's number, for None."""
        held = self._held()
        wanted = take(keys, ctypes.c_uint64, 1, "keys")
        return as_array(_bulk.look_up(_bulk.LOOKUP_MORTON, held.value, wanted))

    def lookup_ids(self, hex_ids: Identities) -> Words:
        """What `lookup_hex` gives for each identity; `NOT_FOUND`, which is no token's number, for None.

        `hex_ids` is what `create` takes.
        """
        held = self._held()
        wanted = identities(hex_ids)
        first = ctypes.addressof(wanted)
        return as_array(_bulk.look_up(_bulk.LOOKUP_HEX, held.value, range(first, first + len(wanted), 8)))

    def query_lattice_vertex(self, x: int, y: int, z: int) -> Optional[int]:
        """The number of the token at a lattice vertex, as `lookup_morton` of its key."""
        held = self._held()
        return _found(raw.qel_unit_query_lattice_vertex(
            ctypes.byref(held.value), u16(x, "x"), u16(y, "y"), u16(z, "z")))

    def query_layer(self, layer: int, limit: Optional[int] = None) -> Words:
        """The numbers of a layer's tokens, in storage order, at most `limit` of them."""
        held = self._held()
        room = _room(limit, len(self))
        numbers = (ctypes.c_uint32 * room)()
        found = raw.qel_unit_query_layer(ctypes.byref(held.value), u8(layer, "layer"), numbers, room)
        return as_array(numbers)[:found]

    def query_nearest(self, key: int, k: int) -> Nearest:
        """The `k` tokens nearest to a key by hop distance; fewer only where the unit has fewer.

        Where `apply_ilogic` has left a key beside a smaller one it raises a ValueError: the search wants ascending
        keys. A save and a load sort.
        """
        held = self._held()
        room = self._nearest_room(k)
        numbers, distances = (ctypes.c_uint32 * room)(), (ctypes.c_uint64 * room)()
        found = raw.qel_unit_query_nearest(ctypes.byref(held.value), u64(key, "key"), room, numbers, distances)
        if found != room:
            raise MemoryError("no memory for the scratch list of the nearest query")
        return Nearest(as_array(numbers), as_array(distances))

    def query_nearest_many(self, keys: Any, k: int) -> Nearest:
        """What `query_nearest` gives for each key, one key a row."""
        held = self._held()
        wanted = take(keys, ctypes.c_uint64, 1, "keys")
        room = self._nearest_room(k)
        numbers, distances = (ctypes.c_uint32 * (len(wanted) * room))(), (ctypes.c_uint64 * (len(wanted) * room))()
        if room > 0:
            _bulk.nearest(held.value, wanted, room, numbers, distances)
        shape = (len(wanted), room)
        return Nearest(as_array(numbers, shape), as_array(distances, shape))

    def _nearest_room(self, k: int) -> int:
        if self._descents:
            raise ValueError(
                "the nearest query wants ascending keys, and apply_ilogic has left one beside a smaller one")
        return _room(k, len(self))

    def apply_ilogic(self, number: int, op: int) -> None:
        """Transforms a stored token in place, as `tokens.apply_ilogic`. No index is updated, and it keeps its place."""
        held = self._held()
        place = range(len(self))[number]
        stored = held.value.tokens
        raw.qel_token_apply_ilogic(ctypes.pointer(stored[place]), i32(op, "op"))
        held.changed()
        for left in range(max(place - 1, 0), min(place + 1, len(self) - 1)):
            if stored[left].morton > stored[left + 1].morton:
                self._descents.add(left)
            else:
                self._descents.discard(left)


def _found(number: int) -> Optional[int]:
    return None if number == _raw.QEL_NOT_FOUND else number


def _room(wanted: Optional[int], most: int) -> int:
    """No more room than there can be results: a huge `k` must not take huge memory."""
    most = min(most, 0x7FFFFFFF)
    return most if wanted is None else max(0, min(i32(wanted, "the number of results"), most))
