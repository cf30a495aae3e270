# SPDX-License-Identifier: MIT
"""Tokens and lattice maths. The square roots work in single precision on purpose."""

import ctypes
import enum
from typing import NamedTuple, Tuple

from . import _raw
from ._library import raw
from ._values import field_bytes, i32, identity_bytes, identity_of, u8, u16, u64


class Token(NamedTuple):
    """A spatial key with an identity of eight characters, a state word and a layer."""

    morton: int
    hex_id: str
    payload: int
    layer: int


def sqrt(n: int) -> int:
    """The integer square root of an unsigned 64-bit number, which is rounded to single precision first."""
    return raw.ruv_sqrt(u64(n, "n"))


def isqrt(n: int) -> int:
    """The integer square root of a signed 32-bit number, 0 below 1."""
    return raw.ruv_isqrt(i32(n, "n"))


def bounded_sqrt(n: int, lo: int, hi: int) -> int:
    """The integer square root kept between two bounds; the lower one is tested first."""
    return raw.ruv_bounded_sqrt(i32(n, "n"), i32(lo, "lo"), i32(hi, "hi"))


def hop_distance(a: int, b: int) -> int:
    """The distance of two keys in hops: `sqrt` of their absolute difference."""
    return raw.ruv_hop_distance(u64(a, "a"), u64(b, "b"))


def lattice_key(x: int, y: int, z: int) -> int:
    """The key of a lattice vertex: x in bits 32..47, y in 16..31, z in 0..15."""
    return u16(x, "x") << 32 | u16(y, "y") << 16 | u16(z, "z")


def lattice_vertex(key: int) -> Tuple[int, int, int]:
    """The lattice vertex of a key, the inverse of `lattice_key`."""
    key = u64(key, "key")
    return key >> 32 & 0xFFFF, key >> 16 & 0xFFFF, key & 0xFFFF


def to_record(token: Token) -> _raw.qel_token:
    """The packed record of a token."""
    record = _raw.qel_token(u64(token.morton, "morton"), b"", u64(token.payload, "payload"), u8(token.layer, "layer"))
    address = ctypes.addressof(record) + _raw.qel_token.hex_id.offset
    ctypes.memmove(address, identity_bytes(token.hex_id), 8)
    return record


def from_record(record: _raw.qel_token) -> Token:
    """The token of a packed record."""
    return Token(record.morton, identity_of(field_bytes(record, "hex_id")), record.payload, record.layer)


class Logic(enum.IntEnum):
    """What `apply_ilogic` does. Any other number changes nothing."""

    REVERSE = _raw.QEL_ILOGIC_REVERSE  #: the payload's bytes are reversed
    DOUBLE = _raw.QEL_ILOGIC_DOUBLE  #: the key becomes 2 x key + 1
    HALVE = _raw.QEL_ILOGIC_HALVE  #: the key is halved


def apply_ilogic(token: Token, op: int) -> Token:
    """A transformed token: what a `Logic` says."""
    record = to_record(token)
    raw.qel_token_apply_ilogic(ctypes.byref(record), i32(op, "op"))
    return from_record(record)
