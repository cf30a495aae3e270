# SPDX-License-Identifier: MIT
"""One mesh of a token scene: its vertices, their tokens, and its unit file."""

import ctypes
from typing import Any, Optional

from . import _files, _raw
from ._arrays import take
from ._library import raw
from ._records import Owner, Record
from ._types import Floats, RecordArray, Words
from ._values import Bounds, PathLike, bounds_of, described, text_bytes, text_of, u8
from .errors import check


def release_scene_mesh(value: Any) -> None:
    raw.qel_alembic_mesh_free(ctypes.byref(value))


class SceneMesh(Owner):
    """One mesh of a scene: its own, or a part of the scene that it came from, which it then holds."""

    _made_by = "SceneMesh.from_arrays(positions, indices, name)"

    @classmethod
    def from_arrays(cls, positions: Any, indices: Any = None, name: str = "unnamed") -> "SceneMesh":
        """A mesh of copies of the arrays, processed with layer 1. `indices` are triangles; the name is cut to 63."""
        points = take(positions, ctypes.c_float, 3, "positions")
        corners = None if indices is None else take(indices, ctypes.c_uint32, 3, "indices")
        triangles = 0 if corners is None else len(corners) // 3
        value = _raw.qel_alembic_mesh()
        code = raw.qel_alembic_load_raw(
            points, len(points) // 3, corners, triangles, text_bytes(name), ctypes.byref(value))
        if code != 0 and triangles > 0 and not value.indices:
            value.positions = None  # freed already where the indices could not be copied
        record = Record(value, release_scene_mesh)
        check("qel_alembic_load_raw", code)
        return cls._of(record)

    def process(self, layer: int) -> None:
        """Processes every vertex again, with another layer. Views of `vertices` and `tokens` see the new values."""
        held = self._held()
        if held.shared:
            raise ValueError("a sampled mesh shares the scene's arrays: process the scene's own mesh")
        held.changed()
        check("qel_alembic_process_mesh", raw.qel_alembic_process_mesh(ctypes.byref(held.value), u8(layer, "layer")))

    def _facts(self) -> str:
        return "{!r} of {} vertices and {} triangles".format(self.name, self.vertex_count, self.face_count)

    @property
    def name(self) -> str:
        """The mesh's name."""
        return text_of(self._held().value.name)

    @property
    def vertex_count(self) -> int:
        """The number of vertices."""
        return int(self._held().value.vertex_count)

    @property
    def face_count(self) -> int:
        """The number of triangles."""
        return int(self._held().value.face_count)

    @property
    def layer(self) -> int:
        """The layer of the mesh and its tokens."""
        return int(self._held().value.layer)

    @property
    def bounds(self) -> Bounds:
        """The box that the lattice lies in."""
        return bounds_of(self._held().value.bounds)

    @property
    def positions(self) -> Optional[Floats]:
        """The vertices, one triple a row, in place."""
        return self._array("positions", "vertex_count", 3)

    @property
    def indices(self) -> Optional[Words]:
        """The triangles, one a row, in place; None without."""
        return self._array("indices", "face_count", 3)

    @property
    def vertices(self) -> Optional[RecordArray]:
        """The processed vertices in place: fields `position`, `matrix_x`, …, `topology`; None until processed."""
        return self._array("vertices", "vertex_count")

    @property
    def tokens(self) -> Optional[RecordArray]:
        """The tokens in place: fields `morton`, `hex_id`, `payload`, `layer`; None until processed."""
        return self._array("tokens", "vertex_count")

    def info(self) -> str:
        """A description: name, counts, box, layer, and whether it is processed."""
        held = self._held()
        return described(raw.qel_alembic_mesh_info, held.value)

    def export(self, path: PathLike) -> None:
        """Writes the mesh's tokens as a unit file that `Unit.load` reads.

        One that could not be written whole raises an OSError, and the old file stays.
        """
        held = self._held()

        def write(fresh: bytes) -> int:
            check("qel_alembic_export_qel", raw.qel_alembic_export_qel(ctypes.byref(held.value), fresh))
            return _files.unit_size(held.value.vertex_count)

        _files.save(path, write)
