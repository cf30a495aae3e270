# SPDX-License-Identifier: MIT
"""Polygon meshes and what is computed from them: adjacency, tangent frames, bounds, triangles."""

import ctypes
from typing import Any, Optional, Sequence, Tuple, Union

from . import _raw
from ._arrays import Array, as_array, pointer_to, take, view
from ._fans import fans
from ._library import raw
from ._records import Owner, Record, owned
from ._values import Bounds, bounds_of, text_bytes, text_of, u32
from .errors import check

SCOPE_VERTEX = _raw.OGAWA_SCOPE_VERTEX
SCOPE_FACE_VARYING = _raw.OGAWA_SCOPE_FACE_VARYING

_IDENTITY_MATRIX = (1.0, 0.0, 0.0, 0.0, 0.0, 1.0, 0.0, 0.0, 0.0, 0.0, 1.0, 0.0, 0.0, 0.0, 0.0, 1.0)


def release_mesh(value: Any) -> None:
    raw.ogawa_free_polymesh(ctypes.byref(value))


def release_uv_set(value: Any) -> None:
    raw.ogawa_free_uv_set(ctypes.byref(value))


def release_tangent_frame(value: Any) -> None:
    raw.ogawa_free_tangent_frame(ctypes.byref(value))


def release_manifold(value: Any) -> None:
    raw.ogawa_free_manifold(ctypes.byref(value))


def compute_bounds(positions: Any) -> Optional[Bounds]:
    """The box of positions, None for no positions."""
    block = take(positions, ctypes.c_float, 3, "positions")
    if len(block) == 0:
        return None
    six = (ctypes.c_float * 6)()
    raw.ogawa_compute_bounds(block, len(block) // 3, six)
    return bounds_of(six)


def triangulate_face(face: Any) -> Array:
    """A polygon's fan of triangles about its first corner, one triangle a row."""
    corners = take(face, ctypes.c_uint32, 1, "the face")
    triangles, count = ctypes.POINTER(ctypes.c_uint32)(), ctypes.c_uint32()
    check("ogawa_triangulate_face", raw.ogawa_triangulate_face(
        corners, len(corners), ctypes.byref(triangles), ctypes.byref(count)))
    return owned(triangles, count.value * 3, (count.value, 3))


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

    @property
    def name(self) -> str:
        """The set's name."""
        return text_of(self._held().value.name)

    @property
    def values(self) -> Optional[Array]:
        """The pairs (u, v), in place."""
        held = self._held()
        count = held.value.value_count
        return view(held.value.values, count * 2, held, (count, 2))

    @property
    def indices(self) -> Optional[Array]:
        """Per face corner an index into `values`, in place; None without indices."""
        held = self._held()
        return view(held.value.indices, held.value.index_count, held)

    @property
    def scope(self) -> int:
        """`SCOPE_VERTEX` or `SCOPE_FACE_VARYING`."""
        return int(self._held().value.scope)


class TangentFrame(Owner):
    """Tangents and bitangents, three floats a row."""

    _made_by = "Mesh.compute_tangent_frame(uv_sets) or Archive.read_tangent_frame()"

    def _rows(self, field: str) -> Any:
        held = self._held()
        count = held.value.count
        return view(getattr(held.value, field), count * 3, held, (count, 3))

    def __len__(self) -> int:
        return int(self._held().value.count)

    @property
    def tangents(self) -> Array:
        """The tangents, in place."""
        return self._rows("tangents")

    @property
    def bitangents(self) -> Array:
        """The bitangents, in place."""
        return self._rows("bitangents")


class Manifold(Owner):
    """Vertex-to-face and face-to-vertex adjacency. It holds the mesh that it was built from."""

    _made_by = "Mesh.build_manifold()"

    @property
    def vertex_count(self) -> int:
        """The mesh's number of vertices."""
        return int(self._held().value.vertex_count)

    @property
    def face_count(self) -> int:
        """The mesh's number of faces."""
        return int(self._held().value.face_count)

    @property
    def vertex_face_offsets(self) -> Array:
        """Where each vertex's faces start in `flat_vertex_faces`, one more than there are vertices; in place."""
        held = self._held()
        value = held.value
        return view(value.vertex_face_offsets, value.vertex_count + 1, held)

    @property
    def flat_vertex_faces(self) -> Array:
        """Face numbers grouped by vertex, in place."""
        held = self._held()
        value = held.value
        count = value.vertex_face_offsets[value.vertex_count]
        return view(value.vertex_faces, count, held)

    @property
    def face_offsets(self) -> Array:
        """Where each face's corners start, one more than there are faces; in place."""
        held = self._held()
        return view(held.value.face_offsets, held.value.face_count + 1, held)

    def vertex_faces(self, vertex: int) -> Array:
        """The faces around a vertex, ascending: a part of the manifold, in place."""
        held = self._held()
        faces, count = ctypes.POINTER(ctypes.c_uint32)(), ctypes.c_uint32()
        check("ogawa_get_vertex_faces", raw.ogawa_get_vertex_faces(
            ctypes.byref(held.value), u32(vertex, "vertex"), ctypes.byref(faces), ctypes.byref(count)))
        return view(faces, count.value, held)

    def vertex_neighbors(self, vertex: int) -> Array:
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


class Mesh(Owner):
    """One polygon mesh, read from an archive or made from arrays."""

    _made_by = "Mesh.from_arrays(positions, face_indices, face_counts) or Archive.read_polymesh()"

    @classmethod
    def from_arrays(
        cls,
        positions: Any,
        face_indices: Any = None,
        face_counts: Any = None,
        *,
        normals: Any = None,
        normal_scope: int = SCOPE_VERTEX,
        name: str = "mesh",
    ) -> "Mesh":
        """A mesh over the caller's arrays. Without `face_counts` all faces are triangles.

        `face_indices` is flat, or has one face a row: rows of three, or of the number that every face count is.

        Arrays of single floats and 32-bit words in writable buffers are used in place: the mesh holds them, sees
        what is written into them, and must not see them resized. Everything else is copied.
        """
        points = take(positions, ctypes.c_float, 3, "positions")
        counts = take(() if face_counts is None else face_counts, ctypes.c_uint32, 1, "face_counts")
        corners = _take_corners(face_indices, None if face_counts is None else counts)
        directions = take(() if normals is None else normals, ctypes.c_float, 3, "normals")
        text = text_bytes(name)
        if len(text) > 255:
            raise ValueError("a mesh's name has at most 255 bytes")
        value = _raw.ogawa_polymesh()
        value.name, value.path = text, b"/" + text
        value.positions, value.vertex_count = pointer_to(points), len(points) // 3
        value.normals, value.normal_count = pointer_to(directions), len(directions) // 3
        value.normal_scope = u32(normal_scope, "normal_scope") if normals is not None else 0
        value.face_indices, value.face_index_count = pointer_to(corners), len(corners)
        value.face_counts = pointer_to(counts)
        value.face_count = len(counts) if face_counts is not None else len(corners) // 3
        value.transform[:] = _IDENTITY_MATRIX
        bounds = compute_bounds(points)
        if bounds is not None:
            value.bounds_min[:], value.bounds_max[:] = bounds
            value.self_bounds_min[:], value.self_bounds_max[:] = bounds
        return cls._of(Record(value, keep=(points, corners, counts, directions)))

    @property
    def name(self) -> str:
        """The mesh's name."""
        return text_of(self._held().value.name)

    @property
    def path(self) -> str:
        """The object's full path in the archive."""
        return text_of(self._held().value.path)

    @property
    def vertex_count(self) -> int:
        """The number of positions."""
        return int(self._held().value.vertex_count)

    @property
    def face_count(self) -> int:
        """The number of faces."""
        return int(self._held().value.face_count)

    def _array(self, field: str, count: str, width: int = 1) -> Any:
        held = self._held()
        rows = getattr(held.value, count)
        return view(getattr(held.value, field), rows * width, held, (rows, width) if width > 1 else None)

    @property
    def positions(self) -> Optional[Array]:
        """The vertices (x, y, z) in place; None where there are none."""
        return self._array("positions", "vertex_count", 3)

    @property
    def normals(self) -> Optional[Array]:
        """The normals in place; None where there are none. `normal_scope` says what each belongs to."""
        return self._array("normals", "normal_count", 3)

    @property
    def normal_scope(self) -> int:
        """`SCOPE_VERTEX`, `SCOPE_FACE_VARYING`, or 0 without normals."""
        return int(self._held().value.normal_scope)

    @property
    def face_counts(self) -> Optional[Array]:
        """The number of corners of each face, in place; None for triangles or no faces."""
        return self._array("face_counts", "face_count")

    @property
    def face_indices(self) -> Optional[Array]:
        """The vertex of every corner, face after face, in place. An archive's are not checked."""
        return self._array("face_indices", "face_index_count")

    @property
    def bounds(self) -> Bounds:
        """The box of the positions."""
        value = self._held().value
        return bounds_of((*value.bounds_min, *value.bounds_max))

    @property
    def transform(self) -> Tuple[float, ...]:
        """The 4 x 4 matrix, row by row."""
        return tuple(self._held().value.transform)

    def triangles(self) -> Array:
        """All faces as triangles, one a row: each face a fan. A triangle mesh's own indices come in place.

        Faces that name corners or vertices that do not exist raise a ValueError.
        """
        held = self._held()
        value = held.value
        corners, total = value.face_indices, value.face_index_count
        if value.face_count == 0 or not corners:
            return as_array((ctypes.c_uint32 * 0)(), (0, 3))
        counts: Any = self.face_counts
        used = 3 * value.face_count if counts is None else _sum(counts)
        if used > total:
            raise ValueError("the faces name more corners than there are")
        if used > 0 and _largest(view(corners, used, held)) >= value.vertex_count:
            raise ValueError("a face names a vertex that does not exist")
        if counts is None or _every_is(counts, 3):
            return view(corners, value.face_count * 3, held, (value.face_count, 3))
        return fans(view(corners, used, held), counts)

    def build_manifold(self) -> Manifold:
        """The mesh's adjacency. The mesh itself does not change; the manifold holds it."""
        held = self._held()
        scratch = _raw.ogawa_polymesh.from_buffer_copy(held.value)
        scratch.manifold = _raw.ogawa_manifold()
        code = raw.ogawa_build_manifold(ctypes.byref(scratch))
        value = _raw.ogawa_manifold.from_buffer_copy(scratch.manifold)
        if code != 0 and not value.vertex_faces:
            value.vertex_face_offsets = None  # freed already where the face list could not be allocated
        record = Record(value, release_manifold, (held,))
        check("ogawa_build_manifold", code)
        return Manifold._of(record)

    def compute_tangent_frame(
        self, uv_sets: Union[UVSet, Sequence[UVSet]], name: Optional[str] = None
    ) -> TangentFrame:
        """Per-vertex tangents and bitangents by way of a UV set: the first one, or the one of that name."""
        held = self._held()
        sets = [uv_sets] if isinstance(uv_sets, UVSet) else list(uv_sets)
        records = [one._held() for one in sets]
        listed = (_raw.ogawa_uv_set * len(records))(*(record.value for record in records))
        scratch = _raw.ogawa_polymesh.from_buffer_copy(held.value)
        scratch.tangent_frame = _raw.ogawa_tangent_frame()
        scratch.uv_sets, scratch.uv_set_count = pointer_to(listed), len(records)
        code = raw.ogawa_compute_tangent_frame(ctypes.byref(scratch), None if name is None else text_bytes(name))
        record = Record(_raw.ogawa_tangent_frame.from_buffer_copy(scratch.tangent_frame), release_tangent_frame)
        check("ogawa_compute_tangent_frame", code)
        return TangentFrame._of(record)


def _take_corners(indices: Any, counts: Any) -> Any:
    given = () if indices is None else indices
    if counts is None:
        return take(given, ctypes.c_uint32, 3, "face_indices")
    size = counts[0] if len(counts) > 0 else 1
    same = _every_is(as_array(counts), size)
    return take(given, ctypes.c_uint32, 1, "face_indices", rows=(size if same else 1,))


def _sum(numbers: Any) -> int:
    return int(numbers.sum(dtype="uint64")) if hasattr(numbers, "sum") else sum(numbers)


def _largest(numbers: Any) -> int:
    return int(numbers.max()) if hasattr(numbers, "max") else max(numbers)


def _every_is(counts: Any, wanted: int) -> bool:
    return bool((counts == wanted).all()) if hasattr(counts, "all") else all(count == wanted for count in counts)
