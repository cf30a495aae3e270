# SPDX-License-Identifier: MIT
"""Matrix-48: the algebra of the 48-cube. Coordinates outside 0..47 are not refused but computed through."""

import ctypes
import enum
from typing import NamedTuple, Tuple

from . import _raw
from ._library import raw
from ._values import fill, i32, u8, u32

Cell = Tuple[int, int, int]


class Identity(NamedTuple):
    """The attributes of one cell."""

    x: int
    y: int
    z: int
    mirror_x: int
    mirror_y: int
    mirror_z: int
    k11_level: int
    i_state: int
    morton: int
    phi_norm: float
    em_coupling: float


class Offspring(NamedTuple):
    """The child of two cells."""

    x: int
    y: int
    z: int
    chirality: int
    phi_blend: float
    em_coupling: float
    k11_level: int
    i_state: int


class Mode(enum.IntEnum):
    """How two cells have a child. Every number but 0 and 2 means projective."""

    CROSSOVER = _raw.QEL_REPRODUCE_CROSSOVER
    PROJECTIVE = _raw.QEL_REPRODUCE_PROJECTIVE
    TACHYON = _raw.QEL_REPRODUCE_TACHYON


def _three() -> Tuple[ctypes.c_uint8, ctypes.c_uint8, ctypes.c_uint8]:
    return ctypes.c_uint8(), ctypes.c_uint8(), ctypes.c_uint8()


def morton_encode(x: int, y: int, z: int) -> int:
    """The interleaved low 6 bits of each coordinate: 18 bits."""
    return raw.qel_matrix_48_morton_encode(u32(x, "x"), u32(y, "y"), u32(z, "z"))


def palindrome(x: int, y: int, z: int) -> Cell:
    """The mirror cell: 47 minus each coordinate, kept to its low 8 bits."""
    a, b, c = _three()
    raw.qel_matrix_48_palindrome(
        u32(x, "x"), u32(y, "y"), u32(z, "z"), ctypes.byref(a), ctypes.byref(b), ctypes.byref(c))
    return a.value, b.value, c.value


def k11_level(a: int, b: int, c: int) -> int:
    """The level of a cell, -11..11."""
    return raw.qel_matrix_48_k11_level(u8(a, "a"), u8(b, "b"), u8(c, "c"))


def i_state(v: int) -> int:
    """The state of a level: 0, 1, 255 or 2 for its two low bits."""
    return raw.qel_matrix_48_i_state(i32(v, "v"))


def phi_norm(x: int, y: int, z: int) -> float:
    """The norm of a cell: its scaled distance from the lattice centre."""
    return raw.qel_matrix_48_phi_norm(u8(x, "x"), u8(y, "y"), u8(z, "z"))


def em_coupling(x: int, y: int, z: int) -> float:
    """The coupling of a cell."""
    return raw.qel_matrix_48_em_coupling(u8(x, "x"), u8(y, "y"), u8(z, "z"))


def identity(x: int, y: int, z: int) -> Identity:
    """All attributes of a cell; of `z` the low 8 bits count."""
    record = _raw.qel_matrix_identity()
    raw.qel_matrix_48_identity(u8(x, "x"), u8(y, "y"), u32(z, "z"), ctypes.byref(record))
    return Identity(*(getattr(record, name) for name in Identity._fields))


def crossover_bind(a: Cell, b: Cell) -> Cell:
    """The cell between two cells: the truncated average of each axis."""
    x, y, z = _three()
    ax, ay, az = a
    bx, by, bz = b
    raw.qel_matrix_48_crossover_bind(
        u8(ax), u8(ay), u8(az), u8(bx), u8(by), u8(bz), ctypes.byref(x), ctypes.byref(y), ctypes.byref(z))
    return x.value, y.value, z.value


def mutate_tachyon(x: int, y: int, z: int) -> Cell:
    """The reflected cell: 0 gives 47, 1..48 give 48 - v, larger coordinates give 0."""
    a, b, c = _three()
    raw.qel_matrix_48_mutate_tachyon(
        u8(x, "x"), u8(y, "y"), u8(z, "z"), ctypes.byref(a), ctypes.byref(b), ctypes.byref(c))
    return a.value, b.value, c.value


def chirality(a: int, b: int) -> int:
    """1 if `b` is below `a`, -1 if `a` is below `b`, 0 if they are equal."""
    return raw.qel_matrix_48_chirality(u8(a, "a"), u8(b, "b"))


def reproduce(a: Identity, b: Identity, mode: int = Mode.CROSSOVER) -> Offspring:
    """The child of two cells, of which the coordinates and norms are read."""
    parents, child = (_raw.qel_matrix_identity * 2)(), _raw.qel_matrix_offspring()
    fill(parents[0], a, Identity._fields)
    fill(parents[1], b, Identity._fields)
    raw.qel_matrix_48_reproduce(
        ctypes.byref(parents[0]), ctypes.byref(parents[1]), u32(mode, "mode"), ctypes.byref(child))
    return Offspring(*(getattr(child, name) for name in Offspring._fields))


def validate_all() -> int:
    """The number of cells, 110592. Nothing is examined."""
    return raw.qel_matrix_48_validate_all()
