# SPDX-License-Identifier: MIT
"""Token scenes: meshes whose vertices are placed on the 48-cube lattice of their own box, one token per vertex."""

import ctypes
from typing import Any, Iterable, List, NamedTuple, Optional, Sequence, Tuple

from . import _raw
from ._arrays import Array, pointer_to, take, take_exactly, view
from ._library import raw
from ._records import Owner, Record, free
from ._values import Bounds, PathLike, Triple, bounds_of, box, described, f32, field_bytes, fill, i32, identity_of
from ._values import path_bytes, text_bytes, text_of, u8, u32, u64
from .errors import QelError, check
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


class FrameRange(NamedTuple):
    """The first and last position of a frame, and the frames per second."""

    start: int
    end: int
    fps: float


def _vertex(record: Any) -> Vertex:
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


def _token(record: Any) -> Token:
    return Token(record.morton, identity_of(field_bytes(record, "hex_id")), record.payload, record.layer)


def _hit(record: Any) -> Hit:
    return Hit(
        record.mesh_index, record.vertex_index, record.frame_index, record.distance,
        _vertex(record.vertex.contents) if record.vertex else None,
        _token(record.token.contents) if record.token else None)


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
    return _vertex(record)


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
    return _token(record)


def _release_mesh(value: Any) -> None:
    raw.qel_alembic_mesh_free(ctypes.byref(value))


class SceneMesh(Owner):
    """One mesh of a scene: its own, or a part of the scene that it came from, which it then holds."""

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
        record = Record(value, _release_mesh)
        check("qel_alembic_load_raw", code)
        return cls(record)

    def process(self, layer: int) -> None:
        """Processes every vertex again, with another layer. Views of `vertices` and `tokens` see the new values."""
        held = self._held()
        if held.shared:
            raise ValueError("a sampled mesh shares the scene's arrays: process the scene's own mesh")
        check("qel_alembic_process_mesh", raw.qel_alembic_process_mesh(ctypes.byref(held.value), u8(layer, "layer")))

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
    def positions(self) -> Optional[Array]:
        """The vertices, one triple a row, in place."""
        held = self._held()
        count = held.value.vertex_count
        return view(held.value.positions, count * 3, held, (count, 3))

    @property
    def indices(self) -> Optional[Array]:
        """The triangles, one a row, in place; None without."""
        held = self._held()
        count = held.value.face_count
        return view(held.value.indices, count * 3, held, (count, 3))

    @property
    def vertices(self) -> Optional[Array]:
        """The processed vertices in place: fields `position`, `matrix_x`, …, `topology`; None until processed."""
        held = self._held()
        return view(held.value.vertices, held.value.vertex_count, held)

    @property
    def tokens(self) -> Optional[Array]:
        """The tokens in place: fields `morton`, `hex_id`, `payload`, `layer`; None until processed."""
        held = self._held()
        return view(held.value.tokens, held.value.vertex_count, held)

    def info(self) -> str:
        """A description: name, counts, box, layer, and whether it is processed."""
        held = self._held()
        return described(raw.qel_alembic_mesh_info, held.value)

    def export(self, path: PathLike) -> None:
        """Writes the mesh's tokens as a unit file that `Unit.load` reads."""
        held = self._held()
        check("qel_alembic_export_qel", raw.qel_alembic_export_qel(ctypes.byref(held.value), path_bytes(path)))


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


def _copies(records: Sequence[Record]) -> Any:
    return (_raw.qel_alembic_mesh * len(records))(*(record.value for record in records))


class Scene(Owner):
    """Meshes, frames over time, and an index from key to token: `with Scene.load(path) as scene`.

    The index takes 32 MiB.
    """

    #: The records of an assembled scene's meshes; empty for a loaded one, whose meshes lie in the scene.
    _parts: Tuple[Record, ...] = ()
    _block: Any = None

    def __init__(
        self, meshes: Iterable[SceneMesh] = (), frames: Iterable[Frame] = (), *, time_start: float = 0.0,
        time_end: float = 0.0, fps: float = 24.0,
    ) -> None:
        """A scene over meshes, which it shares: nothing is copied. `build_index` makes it ready for lookups."""
        self._parts = tuple(mesh._held() for mesh in meshes)
        block = _copies(self._parts)
        moments, keep = [], [block, self._parts]
        for number, time, shown in frames:
            records = tuple(mesh._held() for mesh in shown)
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
        super().__init__(Record(value, _release_assembled, (listed, *keep)))

    @classmethod
    def load(cls, path: PathLike) -> "Scene":
        """Reads a scene file and builds its index. What a file that ends early does not hold is zero."""
        value = _raw.qel_alembic_file()
        record = Record(value, _release_loaded)
        check("qel_alembic_load", raw.qel_alembic_load(path_bytes(path), ctypes.byref(value)))
        scene = cls.__new__(cls)
        Owner.__init__(scene, record)
        return scene

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
        """Writes a scene file. Write errors are not told."""
        held = self._held()
        check("qel_alembic_save", raw.qel_alembic_save(path_bytes(path), ctypes.byref(held.value)))

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
        """The file that it was loaded from."""
        return text_of(self._held().value.source)

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
        return sum(value.meshes[place].vertex_count for place in range(value.mesh_count))

    @property
    def meshes(self) -> List[SceneMesh]:
        """The scene's meshes, in place."""
        held = self._held()
        if self._parts:
            return [SceneMesh(record) for record in self._parts]
        return _meshes_in(held.value, held)

    @property
    def frames(self) -> List[Frame]:
        """The scene's frames, their meshes in place."""
        held = self._held()
        records = [held.value.frames[place] for place in range(held.value.frame_count)]
        return [Frame(record.frame, record.time, _meshes_in(record, held, shared=True)) for record in records]

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
        return _hit(record) if code == 0 else None

    def lookup_frame_vertex(self, frame: int, mesh_index: int, vertex_index: int) -> Hit:
        """A vertex of a frame, or of the scene's own meshes when `frame` is 0 or there are no frames."""
        held = self._held()
        record = _raw.qel_alembic_hit()
        check("qel_alembic_lookup_frame_vertex", raw.qel_alembic_lookup_frame_vertex(
            ctypes.byref(held.value), i32(frame, "frame"), u32(mesh_index, "mesh_index"),
            u32(vertex_index, "vertex_index"), ctypes.byref(record)))
        return _hit(record)

    def query_nearest(self, key: int, k: int) -> List[Hit]:
        """The `k` vertices whose keys are nearest to a key, nearest first."""
        held = self._held()
        room = max(0, min(i32(k, "k"), self.vertex_count))
        hits = (_raw.qel_alembic_hit * room)()
        found = raw.qel_alembic_query_nearest(ctypes.byref(held.value), u64(key, "key"), room, hits)
        return [_hit(hits[place]) for place in range(found)]

    def query_layer(self, layer: int, limit: Optional[int] = None) -> List[Hit]:
        """The tokens of one layer, meshes and tokens in order, at most `limit`."""
        held = self._held()
        most = min(self.vertex_count, 0x7FFFFFFF)
        room = most if limit is None else max(0, min(i32(limit, "limit"), most))
        hits = (_raw.qel_alembic_hit * room)()
        found = raw.qel_alembic_query_layer(ctypes.byref(held.value), u8(layer, "layer"), hits, room)
        return [_hit(hits[place]) for place in range(found)]

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
        record = Record(value, _release_mesh)
        check("qel_alembic_interpolate_time", raw.qel_alembic_interpolate_time(
            ctypes.byref(held.value), f32(time, "time"), ctypes.byref(value)))
        return SceneMesh(record)

    def frame_range(self) -> FrameRange:
        """The range of frame positions and the frame rate."""
        held = self._held()
        start, end, fps = ctypes.c_uint32(), ctypes.c_uint32(), ctypes.c_float()
        raw.qel_alembic_get_frame_range(
            ctypes.byref(held.value), ctypes.byref(start), ctypes.byref(end), ctypes.byref(fps))
        return FrameRange(start.value, end.value, fps.value)

    def export(self, path: PathLike) -> None:
        """Writes the tokens of all meshes as one unit file that `Unit.load` reads and sorts."""
        held = self._held()
        check("qel_alembic_export_file_qel", raw.qel_alembic_export_file_qel(
            ctypes.byref(held.value), path_bytes(path)))


def _shared_mesh(value: Any, owner: Record) -> SceneMesh:
    record = Record(value, keep=(owner,))
    record.shared = True
    return SceneMesh(record)


def _meshes_in(value: Any, owner: Record, shared: bool = False) -> List[SceneMesh]:
    places = [value.meshes[place] for place in range(value.mesh_count)]
    if shared:
        return [_shared_mesh(place, owner) for place in places]
    return [SceneMesh(Record(place, keep=(owner,))) for place in places]
