# SPDX-License-Identifier: MIT
"""Numeric checks of bare positions."""

import ctypes
from typing import Any, NamedTuple

from . import _raw
from ._arrays import take
from ._library import raw
from ._values import box


class Report(NamedTuple):
    """What `verify_identity` found; `verified_at` counts seconds since 1970-01-01 UTC."""

    p_minus_p_ok: bool
    p_div_p_ok: bool
    coherence: float
    valid: bool
    vertex_count: int
    verified_at: int


def _triples(positions: Any) -> Any:
    return take(positions, ctypes.c_float, 3, "positions")


def verify_p_minus_p(positions: Any) -> bool:
    """Whether p - p is 0 for every coordinate: whether all are finite."""
    block = _triples(positions)
    return bool(raw.qel_mesh_verify_p_minus_p(block, len(block) // 3))


def verify_p_div_p(positions: Any) -> bool:
    """Whether p / p is 1 for every coordinate that is not zero."""
    block = _triples(positions)
    return bool(raw.qel_mesh_verify_p_div_p(block, len(block) // 3))


def is_static_valid(positions: Any) -> bool:
    """Whether both identities hold."""
    block = _triples(positions)
    return bool(raw.qel_mesh_is_static_valid(block, len(block) // 3))


def bounds_coherence(bounds: Any) -> float:
    """A score of a box's proportions, 1 for a cube. Not scale-free."""
    return raw.qel_mesh_bounds_coherence(*box(bounds))


def verify_identity(positions: Any, bounds: Any) -> Report:
    """Makes all checks."""
    block = _triples(positions)
    record = _raw.qel_mesh_verify_report()
    raw.qel_mesh_verify_identity(block, len(block) // 3, *box(bounds), ctypes.byref(record))
    return Report(
        bool(record.p_minus_p_ok), bool(record.p_div_p_ok), record.coherence, bool(record.valid),
        record.vertex_count, record.verified_at)
