# SPDX-License-Identifier: MIT
"""Polygon meshes and what is computed from them: adjacency, tangent frames, bounds, triangles."""

import ctypes
from typing import Any, List, Optional, Sequence, Tuple, Union

from . import _raw
from ._arrays import as_array, pointer_to, take
from ._fans import fans
from ._library import raw
from ._mesh_parts import SCOPE_FACE_VARYING, SCOPE_VERTEX, Manifold, TangentFrame, UVSet
from ._mesh_parts import release_manifold, release_tangent_frame, release_uv_set
from ._records import Owner, Record, owned
from ._types import Floats, Words
from ._values import Bounds, bounds_of, text_bytes, text_of, u32
from .errors import check

__all__ = [
    "SCOPE_FACE_VARYING", "SCOPE_VERTEX", "Manifold", "Mesh", "TangentFrame", "UVSet", "compute_bounds",
    "release_mesh", "release_tangent_frame", "release_uv_set", "triangulate_face",
]

_IDENTITY_MATRIX = (1.0, 0.0, 0.0, 0.0, 0.0, 1.0, 0.0, 0.0, 0.0, 0.0, 1.0, 0.0, 0.0, 0.0, 0.0, 1.0)


def release_mesh(value: Any) -> None:
    raw.ogawa_free_polymesh(ctypes.byref(value))


def compute_bounds(positions: Any) -> Optional[Bounds]:
    """The box of positions, None for no positions."""
    block = take(positions, ctypes.c_float, 3, "positions")
    if len(block) == 0:
        return None
    six = (ctypes.c_float * 6)()
    raw.ogawa_compute_bounds(block, len(block) // 3, six)
    return bounds_of(six)


def triangulate_face(face: Any) -> Words:
    """A polygon's fan of triangles about its first corner, one triangle a row."""
    corners = take(face, ctypes.c_uint32, 1, "the face")
    triangles, count = ctypes.POINTER(ctypes.c_uint32)(), ctypes.c_uint32()
    check("ogawa_triangulate_face", raw.ogawa_triangulate_face(
        corners, len(corners), ctypes.byref(triangles), ctypes.byref(count)))
    return owned(triangles, count.value * 3, (count.value, 3))


class Mesh(Owner):
    """One polygon mesh, read from an archive or made from arrays."""

    _made_by = (
        "Mesh.from_arrays(positions, face_indices, face_counts), Archive.read_polymesh() or ArchiveObject.mesh()")

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

    def _facts(self) -> str:
        return "{!r} of {} vertices and {} faces".format(self.path, self.vertex_count, self.face_count)

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

    @property
    def positions(self) -> Optional[Floats]:
        """The vertices (x, y, z) in place; None where there are none."""
        return self._array("positions", "vertex_count", 3)

    @property
    def normals(self) -> Optional[Floats]:
        """The normals in place; None where there are none. `normal_scope` says what each belongs to."""
        return self._array("normals", "normal_count", 3)

    @property
    def normal_indices(self) -> Optional[Words]:
        """Which of the normals each place has, in place; None where the normals are not indexed."""
        value = self._held().value
        places = {0: 1, 1: value.face_count, SCOPE_FACE_VARYING: value.face_index_count}
        return self._array("normal_indices", places.get(value.normal_scope, value.vertex_count))

    @property
    def normal_scope(self) -> int:
        """`SCOPE_VERTEX`, `SCOPE_FACE_VARYING`, or 0 without normals.

        A mesh of `open_archive` has also 0 for a single normal, 1 for one a face, 2 for one a vertex that is varying.
        """
        return int(self._held().value.normal_scope)

    @property
    def uv_sets(self) -> List[UVSet]:
        """The UV sets that were read with the mesh, in place."""
        held = self._held()
        value = held.value
        return [UVSet._of(Record(value.uv_sets[place], keep=(held,))) for place in range(value.uv_set_count)]

    @property
    def face_counts(self) -> Optional[Words]:
        """The number of corners of each face, in place; None for triangles or no faces."""
        return self._array("face_counts", "face_count")

    @property
    def face_indices(self) -> Optional[Words]:
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

    def triangles(self) -> Words:
        """All faces as triangles, one a row: each face a fan. A triangle mesh's own indices come in place.

        Faces that name corners or vertices that do not exist raise a ValueError.
        """
        value = self._held().value
        corners, total = value.face_indices, value.face_index_count
        if value.face_count == 0 or not corners:
            return as_array((ctypes.c_uint32 * 0)(), (0, 3))
        counts: Any = self.face_counts
        used = 3 * value.face_count if counts is None else _sum(counts)
        if used > total:
            raise ValueError("the faces name more corners than there are")
        if used > 0 and _largest(self._array("face_indices", used)) >= value.vertex_count:
            raise ValueError("a face names a vertex that does not exist")
        if counts is None or _every_is(counts, 3):
            return self._array("face_indices", "face_count", 3)
        return fans(self._array("face_indices", used), counts)

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
