# SPDX-License-Identifier: MIT
"""The mesh cache: one mesh in the form that a renderer wants, mapped into memory and used in place."""

import ctypes
import os
from typing import Any, NamedTuple, Optional

from . import _files, _raw
from ._arrays import as_array, view
from ._library import raw
from ._records import Owner, Record
from ._types import Floats, Words
from ._values import Bounds, PathLike, bounds_of, path_bytes
from .errors import CorruptFileError, check
from .mesh import Mesh
from .skin import Skin


class GpuData(NamedTuple):
    """What a renderer draws: views into the mapping, `normals` None without normals."""

    positions: Floats
    normals: Optional[Floats]
    indices: Words


def _release(value: Any) -> None:
    raw.qel_mesh_free(ctypes.byref(value))


def _require_inside(value: Any) -> None:
    """The library does not compare a file's counts with its length: nothing is handed out before that is done."""
    header = value.header
    blocks = [("positions", header.positions_offset, header.vertex_count)]
    if value.normals:
        blocks.append(("normals", header.normals_offset, header.vertex_count))
    blocks.append(("indices", header.indices_offset, header.triangle_count))
    for name, offset, count in blocks:
        if offset + 12 * count > value.file_size:
            raise CorruptFileError("the {} lie beyond the end of the mesh cache file".format(name))


def save(path: PathLike, mesh: Mesh, skin: Optional[Skin] = None) -> None:
    """Writes a mesh cache file. Faces are fanned into triangles, normals of corners summed up to normals of vertices.

    A file that exists is replaced by a new one, so whoever has mapped the old file keeps it. A file that could not be
    written whole raises an OSError, and the old one stays.
    """
    mesh_record = mesh._held()
    skin_record = None if skin is None else skin._held()

    def write(fresh: bytes) -> int:
        skin_pointer = None if skin_record is None else ctypes.byref(skin_record.value)
        check("qel_mesh_save", raw.qel_mesh_save(ctypes.byref(mesh_record.value), skin_pointer, fresh))
        return _whole_size(fresh, skin_record)

    _files.save(path, write)


def _whole_size(path: bytes, skin: Optional[Record]) -> int:
    """The size of a file just written, of what its header counts and its skin; 64 where even the header is cut."""
    header = _raw.qel_mesh_header()
    with open(path, "rb") as file:
        file.readinto(header)
    size = ctypes.sizeof(header) + 12 * header.vertex_count + 12 * header.triangle_count
    if header.flags & _raw.QEL_MESH_HAS_NORMALS:
        size += 12 * header.vertex_count
    if header.flags & _raw.QEL_MESH_HAS_SKIN and skin is not None:
        joints, weights = skin.value.joint_count, skin.value.weight_count
        size += 8 + joints * ctypes.sizeof(_raw.qel_skin_joint) + weights * ctypes.sizeof(_raw.qel_skin_weight) + 128
    return size


class MeshCache(Owner):
    """A mapped mesh cache file. Its arrays are views into the read-only mapping.

    The mapping lasts until the cache is closed and the last view is gone, so a view never dangles. Nobody may
    shorten the file meanwhile.
    """

    _made_by = "MeshCache.load(path), and its file by cache.save(path, mesh)"

    @classmethod
    def load(cls, path: PathLike) -> "MeshCache":
        """Maps a file. One whose counts lead beyond its end raises a `CorruptFileError`."""
        value = _raw.qel_mesh()
        record = Record(value, _release)
        _files.check_opened("qel_mesh_load", raw.qel_mesh_load(path_bytes(path), ctypes.byref(value)), path)
        _require_inside(value)
        record.origin = os.path.abspath(_files.path_text(path))
        return cls._of(record)

    @classmethod
    def _reopen(cls, path: str) -> "MeshCache":
        return cls.load(path)

    def _facts(self) -> str:
        return "of {} vertices and {} triangles".format(self.vertex_count, self.triangle_count)

    @property
    def version(self) -> int:
        """The file's version; 2 is the present one. It is not checked."""
        return int(self._held().value.header.version)

    @property
    def flags(self) -> int:
        """The header's flags."""
        return int(self._held().value.header.flags)

    @property
    def vertex_count(self) -> int:
        """The number of vertices."""
        return int(self._held().value.header.vertex_count)

    @property
    def triangle_count(self) -> int:
        """The number of triangles."""
        return int(self._held().value.header.triangle_count)

    @property
    def file_size(self) -> int:
        """The length of the file in bytes."""
        return int(self._held().value.file_size)

    @property
    def bounds(self) -> Bounds:
        """The mesh's box."""
        header = self._held().value.header
        return bounds_of((*header.bounds_min, *header.bounds_max))

    def gpu_data(self) -> GpuData:
        """Positions, normals and triangles, one vector or triangle a row, in place."""
        held = self._held()
        positions, normals = ctypes.POINTER(ctypes.c_float)(), ctypes.POINTER(ctypes.c_float)()
        indices = ctypes.POINTER(ctypes.c_uint32)()
        vertices, triangles = ctypes.c_uint32(), ctypes.c_uint32()
        check("qel_mesh_get_gpu_data", raw.qel_mesh_get_gpu_data(
            ctypes.byref(held.value), ctypes.byref(positions), ctypes.byref(normals), ctypes.byref(indices),
            ctypes.byref(vertices), ctypes.byref(triangles)))
        return GpuData(
            _rows(positions, vertices.value, held),
            _rows(normals, vertices.value, held) if normals else None,
            _rows(indices, triangles.value, held))

    @property
    def positions(self) -> Floats:
        """The vertices, one triple a row, in place."""
        return self.gpu_data().positions

    @property
    def normals(self) -> Optional[Floats]:
        """The normals, one triple a row, in place; None without normals."""
        return self.gpu_data().normals

    @property
    def indices(self) -> Words:
        """The triangles, three vertex numbers a row, in place. The file's: not checked."""
        return self.gpu_data().indices

    @property
    def skin(self) -> Optional[Skin]:
        """The skin, which lives in the cache; None without one."""
        held = self._held()
        return Skin._of(Record(held.value.skin.contents, keep=(held,))) if held.value.skin else None


def _rows(pointer: Any, count: int, owner: Any) -> Any:
    if count == 0:
        return as_array((pointer._type_ * 0)(), (0, 3))
    return view(pointer, count * 3, owner, (count, 3))
