# SPDX-License-Identifier: MIT
"""One vertex of a token scene: its cell of the lattice, its token, and the answers that name it."""

import ctypes
from typing import Any, NamedTuple, Optional, Sequence

from . import _raw
from ._arrays import take, take_exactly
from ._library import raw
from ._values import Bounds, Triple, bounds_of, box, field_bytes, fill, identity_of, u8, u32
from .matrix import Cell
from .tokens import Token


class Vertex(NamedTuple):
    """A processed vertex: its position, its lattice cell and what the cell gives it."""

    position: Triple
    cell: Cell
    morton: int
    k11_level: int
    i_state: int
    phi_norm: float
    em_coupling: float
    topology: int


class Hit(NamedTuple):
    """One answer, with copies of the vertex and its token: None for a frame's vertex or an unprocessed mesh."""

    mesh_index: int
    vertex_index: int
    frame_index: int
    distance: float
    vertex: Optional[Vertex]
    token: Optional[Token]


def vertex_of(record: Any) -> Vertex:
    x, y, z = record.position
    return Vertex(
        (x, y, z), (record.matrix_x, record.matrix_y, record.matrix_z), record.morton, record.k11_level,
        record.i_state, record.phi_norm, record.em_coupling, record.topology)


def _vertex_record(vertex: Vertex) -> Any:
    record = _raw.qel_alembic_vertex()
    record.position[:] = take_exactly(vertex.position, ctypes.c_float, 3, "the position")
    record.matrix_x, record.matrix_y, record.matrix_z = (u8(part, "the cell") for part in vertex.cell)
    fill(record, vertex, Vertex._fields[2:])
    return record


def token_of(record: Any) -> Token:
    return Token(record.morton, identity_of(field_bytes(record, "hex_id")), record.payload, record.layer)


def hit_of(record: Any) -> Hit:
    return Hit(
        record.mesh_index, record.vertex_index, record.frame_index, record.distance,
        vertex_of(record.vertex.contents) if record.vertex else None,
        token_of(record.token.contents) if record.token else None)


def compute_bounds(positions: Any) -> Optional[Bounds]:
    """The box of positions, None for no positions."""
    block = take(positions, ctypes.c_float, 3, "positions")
    if len(block) == 0:
        return None
    six = (ctypes.c_float * 6)()
    raw.qel_alembic_compute_bounds(block, len(block) // 3, six)
    return bounds_of(six)


def world_to_matrix(point: Sequence[float], bounds: Any) -> Cell:
    """The lattice cell of a point in a box. Only a point at the maximum reaches 47."""
    x, y, z = take_exactly(point, ctypes.c_float, 3, "the point")
    a, b, c = ctypes.c_uint8(), ctypes.c_uint8(), ctypes.c_uint8()
    raw.qel_alembic_world_to_matrix(x, y, z, box(bounds), ctypes.byref(a), ctypes.byref(b), ctypes.byref(c))
    return a.value, b.value, c.value


def matrix_to_world(cell: Sequence[int], bounds: Any) -> Triple:
    """The point of a lattice cell. Not the exact inverse of `world_to_matrix`, which truncates."""
    x, y, z = (u8(part, "the cell") for part in cell)
    a, b, c = ctypes.c_float(), ctypes.c_float(), ctypes.c_float()
    raw.qel_alembic_matrix_to_world(x, y, z, box(bounds), ctypes.byref(a), ctypes.byref(b), ctypes.byref(c))
    return a.value, b.value, c.value


def process_vertex(position: Sequence[float], bounds: Any) -> Vertex:
    """A vertex with its lattice cell, key, level, state, norm and coupling; the topology is 0."""
    record = _raw.qel_alembic_vertex()
    point = take_exactly(position, ctypes.c_float, 3, "the position")
    raw.qel_alembic_process_vertex(point, box(bounds), ctypes.byref(record))
    return vertex_of(record)


def topology_hash(vertex_index: int, indices: Any) -> int:
    """A hash of the triangles that touch a vertex."""
    block = take(indices, ctypes.c_uint32, 3, "indices")
    return raw.qel_alembic_topology_hash(u32(vertex_index, "vertex_index"), block, len(block) // 3)


def generate_token(vertex: Vertex, layer: int, mesh_index: int, vertex_index: int) -> Token:
    """The token of a processed vertex."""
    record = _raw.qel_alembic_token()
    raw.qel_alembic_generate_token(
        ctypes.byref(_vertex_record(vertex)), u8(layer, "layer"), u32(mesh_index, "mesh_index"),
        u32(vertex_index, "vertex_index"), ctypes.byref(record))
    return token_of(record)
