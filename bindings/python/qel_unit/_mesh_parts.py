# SPDX-License-Identifier: MIT
"""What hangs on a mesh: texture coordinates, tangents, adjacency."""

import ctypes
from typing import Any, Optional

from . import _raw
from ._arrays import pointer_to, take, view
from ._library import raw
from ._records import Owner, Record, owned
from ._types import Floats, Words
from ._values import text_bytes, text_of, u32
from .errors import check

SCOPE_VERTEX = _raw.OGAWA_SCOPE_VERTEX
SCOPE_FACE_VARYING = _raw.OGAWA_SCOPE_FACE_VARYING


def release_uv_set(value: Any) -> None:
    raw.ogawa_free_uv_set(ctypes.byref(value))


def release_tangent_frame(value: Any) -> None:
    raw.ogawa_free_tangent_frame(ctypes.byref(value))


def release_manifold(value: Any) -> None:
    raw.ogawa_free_manifold(ctypes.byref(value))


class UVSet(Owner):
    """A set of texture coordinates, read from an archive or made from arrays."""

    _made_by = "UVSet.from_arrays(values, indices) or Archive.read_uvs()"

    @classmethod
    def from_arrays(cls, values: Any, indices: Any = None, name: str = "uv") -> "UVSet":
        """A set over the caller's arrays: pairs (u, v) and, per face corner, an index into them.

        Arrays of single floats and 32-bit words in writable buffers are used in place; do not resize them.
        """
        pairs = take(values, ctypes.c_float, 2, "values")
        numbers = take(() if indices is None else indices, ctypes.c_uint32, 1, "indices")
        text = text_bytes(name)
        if len(text) > 63:
            raise ValueError("a set's name has at most 63 bytes")
        value = _raw.ogawa_uv_set(
            text, pointer_to(pairs), len(pairs) // 2, pointer_to(numbers), len(numbers),
            SCOPE_FACE_VARYING if len(numbers) > 0 else SCOPE_VERTEX)
        return cls._of(Record(value, keep=(pairs, numbers)))

    def _facts(self) -> str:
        return "{!r} of {} pairs".format(self.name, self._held().value.value_count)

    @property
    def name(self) -> str:
        """The set's name."""
        return text_of(self._held().value.name)

    @property
    def values(self) -> Optional[Floats]:
        """The pairs (u, v), in place."""
        return self._array("values", "value_count", 2)

    @property
    def indices(self) -> Optional[Words]:
        """Per face corner an index into `values`, in place; None without indices."""
        return self._array("indices", "index_count")

    @property
    def scope(self) -> int:
        """`SCOPE_VERTEX` or `SCOPE_FACE_VARYING`."""
        return int(self._held().value.scope)


class TangentFrame(Owner):
    """Tangents and bitangents, three floats a row."""

    _made_by = "Mesh.compute_tangent_frame(uv_sets) or Archive.read_tangent_frame()"

    def _facts(self) -> str:
        return "of {} vertices".format(len(self))

    def __len__(self) -> int:
        return int(self._held().value.count)

    @property
    def tangents(self) -> Floats:
        """The tangents, in place."""
        return self._array("tangents", "count", 3)

    @property
    def bitangents(self) -> Floats:
        """The bitangents, in place."""
        return self._array("bitangents", "count", 3)


class Manifold(Owner):
    """Vertex-to-face and face-to-vertex adjacency. It holds the mesh that it was built from."""

    _made_by = "Mesh.build_manifold()"

    def _facts(self) -> str:
        return "of {} vertices and {} faces".format(self.vertex_count, self.face_count)

    @property
    def vertex_count(self) -> int:
        """The mesh's number of vertices."""
        return int(self._held().value.vertex_count)

    @property
    def face_count(self) -> int:
        """The mesh's number of faces."""
        return int(self._held().value.face_count)

    @property
    def vertex_face_offsets(self) -> Words:
        """Where each vertex's faces start in `flat_vertex_faces`, one more than there are vertices; in place."""
        return self._array("vertex_face_offsets", self.vertex_count + 1)

    @property
    def flat_vertex_faces(self) -> Words:
        """Face numbers grouped by vertex, in place."""
        return self._array("vertex_faces", self._held().value.vertex_face_offsets[self.vertex_count])

    @property
    def face_offsets(self) -> Words:
        """Where each face's corners start, one more than there are faces; in place."""
        return self._array("face_offsets", self.face_count + 1)

    def vertex_faces(self, vertex: int) -> Words:
        """The faces around a vertex, ascending: a part of the manifold, in place."""
        held = self._held()
        faces, count = ctypes.POINTER(ctypes.c_uint32)(), ctypes.c_uint32()
        check("ogawa_get_vertex_faces", raw.ogawa_get_vertex_faces(
            ctypes.byref(held.value), u32(vertex, "vertex"), ctypes.byref(faces), ctypes.byref(count)))
        return view(faces, count.value, held)

    def vertex_neighbors(self, vertex: int) -> Words:
        """The vertices that share a face with a vertex, each once, in order of first appearance."""
        held = self._held()
        mesh: Record = held.keep[0]
        faces = ctypes.byref(mesh.value, _raw.ogawa_polymesh.face_counts.offset)
        neighbors, count = ctypes.POINTER(ctypes.c_uint32)(), ctypes.c_uint32()
        check("ogawa_get_vertex_neighbors", raw.ogawa_get_vertex_neighbors(
            ctypes.byref(held.value), faces, u32(vertex, "vertex"), ctypes.byref(neighbors), ctypes.byref(count)))
        return owned(neighbors, count.value)

    def is_closed(self) -> bool:
        """False: the library does not determine whether a mesh is closed."""
        held = self._held()
        return bool(raw.ogawa_is_manifold_closed(ctypes.byref(held.value)))
