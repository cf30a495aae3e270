# SPDX-License-Identifier: MIT
"""Token scenes: meshes whose vertices are placed on the 48-cube lattice of their own box, one token per vertex."""

import ctypes
import os
from typing import Any, Iterable, Iterator, List, NamedTuple, Optional, Sequence, Tuple

from . import _files, _raw
from ._arrays import pointer_to
from ._library import raw
from ._records import Owner, Record, free
from ._scene_mesh import SceneMesh, release_scene_mesh
from ._scene_vertex import Hit, Vertex, compute_bounds, generate_token, hit_of, matrix_to_world, process_vertex
from ._scene_vertex import topology_hash, world_to_matrix
from ._values import PathLike, described, f32, i32, path_bytes, u8, u32, u64
from .errors import QelError, check

__all__ = [
    "Frame", "FrameRange", "Hit", "Scene", "SceneMesh", "Vertex",
    "compute_bounds", "generate_token", "matrix_to_world", "process_vertex", "topology_hash", "world_to_matrix",
]


class FrameRange(NamedTuple):
    """The first and last position of a frame, and the frames per second."""

    start: int
    end: int
    fps: float


class Frame(NamedTuple):
    """Positions of meshes at one moment. Of the meshes only the positions count."""

    number: int
    time: float
    meshes: Sequence[SceneMesh]


def _release_loaded(value: Any) -> None:
    raw.qel_alembic_free(ctypes.byref(value))


def _release_assembled(value: Any) -> None:
    value.meshes, value.mesh_count = None, 0  # they belong to their own records
    value.frames, value.frame_count = None, 0
    raw.qel_alembic_free(ctypes.byref(value))


def _part(mesh: Any) -> Record:
    if not isinstance(mesh, SceneMesh):
        raise TypeError(
            "a Scene is made of SceneMeshes, not of {!r}; a file's is made by Scene.load(path)".format(mesh))
    return mesh._held()


def _copies(records: Sequence[Record]) -> Any:
    return (_raw.qel_alembic_mesh * len(records))(*(record.value for record in records))


class Scene(Owner):
    """Meshes, frames over time, and an index from key to token: `with Scene.load(path) as scene`.

    The index takes 32 MiB.
    """

    #: The records of an assembled scene's meshes; empty for a loaded one, whose meshes lie in the scene.
    _parts: Tuple[Record, ...] = ()
    _block: Any = None
    _source = ""

    def __init__(
        self, meshes: Iterable[SceneMesh] = (), frames: Iterable[Frame] = (), *, time_start: float = 0.0,
        time_end: float = 0.0, fps: float = 24.0,
    ) -> None:
        """A scene over meshes, which it shares: nothing is copied. `build_index` makes it ready for lookups."""
        self._parts = tuple(_part(mesh) for mesh in meshes)
        block = _copies(self._parts)
        moments, keep = [], [block, self._parts]
        for number, time, shown in frames:
            records = tuple(_part(mesh) for mesh in shown)
            positions = _copies(records)
            moments.append(_raw.qel_alembic_frame(
                i32(number, "frame"), f32(time, "time"), pointer_to(positions), len(records)))
            keep += [records, positions]
        listed = (_raw.qel_alembic_frame * len(moments))(*moments)
        value = _raw.qel_alembic_file()
        value.version, value.fps = 1, f32(fps, "fps")
        value.time_start, value.time_end = f32(time_start, "time_start"), f32(time_end, "time_end")
        value.meshes, value.mesh_count = pointer_to(block), len(block)
        value.total_faces = sum(part.value.face_count for part in self._parts)
        value.frames, value.frame_count = pointer_to(listed), len(listed)
        self._block = block
        self._record = Record(value, _release_assembled, (listed, *keep))

    @classmethod
    def load(cls, path: PathLike) -> "Scene":
        """Reads a scene file and builds its index. What a file that ends early does not hold is zero."""
        value = _raw.qel_alembic_file()
        record = Record(value, _release_loaded)
        _files.check_opened("qel_alembic_load", raw.qel_alembic_load(path_bytes(path), ctypes.byref(value)), path)
        scene = cls._of(record)
        scene._source = _files.path_text(path)
        record.origin = os.path.abspath(scene._source)
        return scene

    @classmethod
    def _reopen(cls, path: str) -> "Scene":
        return cls.load(path)

    def _facts(self) -> str:
        value = self._held().value
        return "of {} meshes and {} frames".format(value.mesh_count, value.frame_count)

    def _held(self) -> Record:
        """The record; an assembled scene's meshes may have been processed since it was looked at last."""
        record = super()._held()
        for place, part in enumerate(self._parts):
            ctypes.memmove(
                ctypes.byref(self._block, place * ctypes.sizeof(part.value)), ctypes.byref(part.value),
                ctypes.sizeof(part.value))
        return record

    def close(self) -> None:
        """Gives the scene up, and its hold on the meshes that it was made of."""
        super().close()
        self._parts, self._block = (), None

    def save(self, path: PathLike) -> None:
        """Writes a scene file. One that could not be written whole raises an OSError, and the old file stays."""
        held = self._held()

        def write(fresh: bytes) -> int:
            check("qel_alembic_save", raw.qel_alembic_save(fresh, ctypes.byref(held.value)))
            return _whole_size(held.value)

        _files.save(path, write)

    def build_index(self) -> None:
        """Builds the index from key to token. It is not kept up to date: build it again after a change."""
        held = self._held()
        value = held.value
        if value.hash:
            free(ctypes.addressof(value.hash.contents))
            value.hash = None
        check("qel_alembic_build_hash_table", raw.qel_alembic_build_hash_table(ctypes.byref(value)))

    @property
    def has_index(self) -> bool:
        """Whether keys can be looked up."""
        return bool(self._held().value.hash)

    @property
    def source(self) -> str:
        """The path that it was loaded from, empty for an assembled scene."""
        self._held()
        return self._source

    @property
    def time_start(self) -> float:
        """Seconds."""
        return float(self._held().value.time_start)

    @property
    def time_end(self) -> float:
        """Seconds."""
        return float(self._held().value.time_end)

    @property
    def vertex_count(self) -> int:
        """The sum of the meshes' vertex counts."""
        value = self._held().value
        return sum(mesh.vertex_count for mesh in _each(value.meshes, value.mesh_count))

    @property
    def meshes(self) -> List[SceneMesh]:
        """The scene's meshes, in place."""
        held = self._held()
        if self._parts:
            return [SceneMesh._of(record) for record in self._parts]
        return _meshes_in(held.value, held)

    @property
    def frames(self) -> List[Frame]:
        """The scene's frames, their meshes in place."""
        held = self._held()
        return [
            Frame(record.frame, record.time, _meshes_in(record, held, shared=True))
            for record in _each(held.value.frames, held.value.frame_count)]

    def validate(self) -> None:
        """Raises a `QelError` that says what is not sound, if anything is not."""
        held = self._held()
        check("qel_alembic_validate", raw.qel_alembic_validate(ctypes.byref(held.value)))

    def info(self) -> str:
        """A description: version, counts, totals, times and source."""
        held = self._held()
        return described(raw.qel_alembic_file_info, held.value)

    def lookup_morton(self, key: int) -> Optional[Hit]:
        """The first token with a key, None if there is none. A scene without an index raises a `QelError`."""
        held = self._held()
        record = _raw.qel_alembic_hit()
        code = raw.qel_alembic_lookup_morton(ctypes.byref(held.value), u64(key, "key"), ctypes.byref(record))
        if not held.value.hash:
            raise QelError("qel_alembic_lookup_morton", code)
        return hit_of(record) if code == 0 else None

    def lookup_frame_vertex(self, frame: int, mesh_index: int, vertex_index: int) -> Hit:
        """A vertex of a frame, or of the scene's own meshes when `frame` is 0 or there are no frames."""
        held = self._held()
        record = _raw.qel_alembic_hit()
        check("qel_alembic_lookup_frame_vertex", raw.qel_alembic_lookup_frame_vertex(
            ctypes.byref(held.value), i32(frame, "frame"), u32(mesh_index, "mesh_index"),
            u32(vertex_index, "vertex_index"), ctypes.byref(record)))
        return hit_of(record)

    def query_nearest(self, key: int, k: int) -> List[Hit]:
        """The `k` vertices whose keys are nearest to a key, nearest first."""
        held = self._held()
        room = max(0, min(i32(k, "k"), self.vertex_count))
        hits = (_raw.qel_alembic_hit * room)()
        found = raw.qel_alembic_query_nearest(ctypes.byref(held.value), u64(key, "key"), room, hits)
        if found == 0 and room > 0 and any(
                mesh.vertices and mesh.vertex_count for mesh in _each(held.value.meshes, held.value.mesh_count)):
            raise MemoryError("no memory for the scratch list of the nearest query")
        return [hit_of(hits[place]) for place in range(found)]

    def query_layer(self, layer: int, limit: Optional[int] = None) -> List[Hit]:
        """The tokens of one layer, meshes and tokens in order, at most `limit`."""
        held = self._held()
        most = min(self.vertex_count, 0x7FFFFFFF)
        room = most if limit is None else max(0, min(i32(limit, "limit"), most))
        hits = (_raw.qel_alembic_hit * room)()
        found = raw.qel_alembic_query_layer(ctypes.byref(held.value), u8(layer, "layer"), hits, room)
        return [hit_of(hits[place]) for place in range(found)]

    def sample_frame(self, frame: int) -> SceneMesh:
        """The first mesh of a frame, or the scene's first mesh when there are no frames; it shares their arrays."""
        held = self._held()
        value = _raw.qel_alembic_mesh()
        check("qel_alembic_sample_frame", raw.qel_alembic_sample_frame(
            ctypes.byref(held.value), i32(frame, "frame"), ctypes.byref(value)))
        return _shared_mesh(value, held)

    def interpolate_time(self, time: float) -> SceneMesh:
        """The first mesh's positions at a moment between two frames. It has nothing but positions."""
        held = self._held()
        value = _raw.qel_alembic_mesh()
        record = Record(value, release_scene_mesh)
        check("qel_alembic_interpolate_time", raw.qel_alembic_interpolate_time(
            ctypes.byref(held.value), f32(time, "time"), ctypes.byref(value)))
        return SceneMesh._of(record)

    def frame_range(self) -> FrameRange:
        """The range of frame positions and the frame rate."""
        held = self._held()
        start, end, fps = ctypes.c_uint32(), ctypes.c_uint32(), ctypes.c_float()
        raw.qel_alembic_get_frame_range(
            ctypes.byref(held.value), ctypes.byref(start), ctypes.byref(end), ctypes.byref(fps))
        return FrameRange(start.value, end.value, fps.value)

    def export(self, path: PathLike) -> None:
        """Writes the tokens of all meshes as one unit file that `Unit.load` reads and sorts.

        One that could not be written whole raises an OSError, and the old file stays.
        """
        held = self._held()
        count = self.vertex_count
        if count > 0xFFFFFFFF:
            raise OverflowError("a unit file has at most 2^32 - 1 tokens")

        def write(fresh: bytes) -> int:
            check("qel_alembic_export_file_qel", raw.qel_alembic_export_file_qel(ctypes.byref(held.value), fresh))
            return _files.unit_size(count)

        _files.save(path, write)


def _whole_size(value: Any) -> int:
    """The length of a whole scene file: a header, the meshes with all their arrays, the frames with their positions."""
    each_vertex = 12 + ctypes.sizeof(_raw.qel_alembic_vertex) + ctypes.sizeof(_raw.qel_alembic_token)
    size = 64
    for mesh in _each(value.meshes, value.mesh_count):
        size += 101 + each_vertex * mesh.vertex_count + 12 * mesh.face_count
    for frame in _each(value.frames, value.frame_count):
        size += 12 + sum(4 + 12 * mesh.vertex_count for mesh in _each(frame.meshes, frame.mesh_count))
    return size


def _each(records: Any, count: int) -> Iterator[Any]:
    return (records[place] for place in range(count))


def _shared_mesh(value: Any, owner: Record) -> SceneMesh:
    record = Record(value, keep=(owner,))
    record.shared = True
    return SceneMesh._of(record)


def _meshes_in(value: Any, owner: Record, shared: bool = False) -> List[SceneMesh]:
    meshes = _each(value.meshes, value.mesh_count)
    if shared:
        return [_shared_mesh(mesh, owner) for mesh in meshes]
    return [SceneMesh._of(Record(mesh, keep=(owner,))) for mesh in meshes]
