# SPDX-License-Identifier: MIT
"""Archives: Alembic scene files in the Ogawa container."""

import ctypes
import enum
import os
import threading
from typing import Any, Callable, Iterable, NamedTuple, Optional, Tuple

from . import _raw
from ._files import check_opened, path_text
from ._library import raw
from ._records import Owner, Record, allocate, free, owned
from ._types import Floats
from ._values import PathLike, described, path_bytes, text_bytes, text_of, u32, u64
from .errors import check
from .mesh import Mesh, TangentFrame, UVSet, release_mesh, release_tangent_frame, release_uv_set
from .skin import Skin


class Schema(enum.IntEnum):
    """What a scene object is."""

    UNKNOWN = _raw.OGAWA_SCHEMA_UNKNOWN
    XFORM = _raw.OGAWA_SCHEMA_XFORM
    POLYMESH = _raw.OGAWA_SCHEMA_POLYMESH
    SUBD = _raw.OGAWA_SCHEMA_SUBD
    POINTS = _raw.OGAWA_SCHEMA_POINTS
    CURVES = _raw.OGAWA_SCHEMA_CURVES
    CAMERA = _raw.OGAWA_SCHEMA_CAMERA


class Normals(NamedTuple):
    """Normals, one a row, and what each belongs to."""

    values: Floats
    scope: int


class TimeRange(NamedTuple):
    """Seconds and frames per second; 0, 1 and 24 where an archive was opened: time samplings are not read."""

    start: float
    end: float
    fps: float


def schema_from_string(text: str) -> Schema:
    """The schema whose word a name contains, `Schema.UNKNOWN` when there is none."""
    return Schema(raw.ogawa_schema_from_string(text_bytes(text)))


def schema_to_string(schema: int) -> str:
    """The text of a schema, "Unknown" for a value without a name."""
    text = raw.ogawa_schema_to_string(u32(schema, "schema"))
    return text_of(text or b"")


def _release_object(value: Any) -> None:
    raw.ogawa_free_object(ctypes.byref(value))


class Object(Owner):
    """A scene object: a mesh that is read for it takes over its name and path. It owns its children."""

    def __init__(
        self, name: str, path: Optional[str] = None, schema: int = Schema.UNKNOWN, children: Iterable["Object"] = ()
    ) -> None:
        name_bytes, full = text_bytes(name), text_bytes("/" + name if path is None else path)
        if len(name_bytes) > 255 or len(full) > 1023:
            raise ValueError("a name has at most 255 bytes, a path at most 1023")
        value = _raw.ogawa_object.from_address(allocate(ctypes.sizeof(_raw.ogawa_object)))
        value.name, value.path, value.schema = name_bytes, full, u32(schema, "schema")
        record = Record(value, _release_object)
        self._record = record
        held = [child._held() for child in children]
        if held:
            kind = ctypes.POINTER(_raw.ogawa_object)
            value.children = ctypes.cast(allocate(ctypes.sizeof(kind) * len(held)), ctypes.POINTER(kind))
            for place, child in enumerate(held):
                child.give_away(record)
                value.children[place] = ctypes.pointer(child.value)
                value.child_count = place + 1

    def _facts(self) -> str:
        return "{!r}: {}".format(self.path, schema_to_string(self.schema))

    @property
    def name(self) -> str:
        """The object's name."""
        return text_of(self._held().value.name)

    @property
    def path(self) -> str:
        """The object's full path."""
        return text_of(self._held().value.path)

    @property
    def schema(self) -> int:
        """The kind of object."""
        return int(self._held().value.schema)


def _release_archive(value: Any) -> None:
    raw.ogawa_close(ctypes.byref(value))


def _release_uncached_mesh(value: Any) -> None:
    release_mesh(value)
    free(ctypes.addressof(value))


class Archive(Owner):
    """An open archive: `with Archive(path) as archive`.

    The stream is closed with the archive, or later, when the last view of its first mesh is gone. Calls from
    several threads wait for one another.
    """

    def __init__(self, path: PathLike) -> None:
        value = _raw.ogawa_archive()
        code = raw.ogawa_open(path_bytes(path), ctypes.byref(value))
        record = Record(value, _release_archive)
        check_opened("ogawa_open", code, path)
        self._record = record
        self._path = path_text(path)
        record.origin = os.path.abspath(self._path)
        self._lock = threading.Lock()  # all reads share one stream

    def _facts(self) -> str:
        return repr(self._path)

    @classmethod
    def _reopen(cls, path: str) -> "Archive":
        return cls(path)

    @property
    def path(self) -> str:
        """The path that it was opened with."""
        self._held()
        return self._path

    @property
    def version(self) -> Tuple[int, int]:
        """The two version bytes in file order."""
        first, second = self._held().value.version
        return first, second

    @property
    def time_range(self) -> TimeRange:
        """The time range and frame rate."""
        value = self._held().value
        return TimeRange(value.time_start, value.time_end, value.fps)

    def info(self) -> str:
        """A description: path, version, counts, time range, frame rate."""
        held = self._held()
        with self._lock:
            return described(raw.ogawa_get_info, held.value)

    def _call(self, function: Callable[..., int], object: Optional[Object], *arguments: Any) -> int:
        held = self._held()
        named = None if object is None else object._held()
        pointer = None if named is None else ctypes.byref(named.value)
        with self._lock:
            return function(ctypes.byref(held.value), pointer, *arguments)

    def read_polymesh(self, object: Optional[Object] = None, sample: int = 0) -> Mesh:
        """Reads the archive's mesh. Every archive is read as one static sample."""
        value = _raw.ogawa_polymesh()
        record = Record(value, release_mesh)
        number = u64(sample, "sample")
        check("ogawa_read_polymesh", self._call(raw.ogawa_read_polymesh, object, number, ctypes.byref(value)))
        return Mesh._of(record)

    def first_polymesh(self) -> Optional[Mesh]:
        """The archive's mesh, read once and kept in the archive, which it holds; None when there is none."""
        held = self._held()
        with self._lock:
            pointer = raw.ogawa_get_first_polymesh(ctypes.byref(held.value))
            if not pointer:
                return None
            cached = held.value.polymesh_count > 0
        value = pointer.contents
        return Mesh._of(Record(value, keep=(held,)) if cached else Record(value, _release_uncached_mesh))

    def read_positions(self) -> Floats:
        """Positions alone, by the search of the first 2 KiB; one triple a row."""
        positions, count = ctypes.POINTER(ctypes.c_float)(), ctypes.c_uint32()
        code = self._call(raw.ogawa_read_positions, None, 0, ctypes.byref(positions), ctypes.byref(count))
        if code != 0 and positions:
            free(ctypes.addressof(positions.contents))
        check("ogawa_read_positions", code)
        return owned(positions, count.value * 3, (count.value, 3))

    def read_normals(self) -> Normals:
        """Per-vertex normals: the longest block of the archive that looks like them."""
        normals, indices = ctypes.POINTER(ctypes.c_float)(), ctypes.POINTER(ctypes.c_uint32)()
        count, scope = ctypes.c_uint32(), ctypes.c_uint32()
        check("ogawa_read_normals", self._call(
            raw.ogawa_read_normals, None, 0, ctypes.byref(normals), ctypes.byref(indices), ctypes.byref(count),
            ctypes.byref(scope)))
        return Normals(owned(normals, count.value * 3, (count.value, 3)), scope.value)

    def read_uvs(self, set_index: int = 0) -> UVSet:
        """One UV set: the longest block of the archive that looks like one, whatever the index."""
        value = _raw.ogawa_uv_set()
        record = Record(value, release_uv_set)
        number = u32(set_index, "set_index")
        check("ogawa_read_uvs", self._call(raw.ogawa_read_uvs, None, 0, number, ctypes.byref(value)))
        return UVSet._of(record)

    def read_tangent_frame(self) -> TangentFrame:
        """Tangents and bitangents: the first pair of equal blocks that look like unit vectors."""
        value = _raw.ogawa_tangent_frame()
        code = self._call(raw.ogawa_read_tangent_frame, None, 0, ctypes.byref(value))
        # Released only after a success: a failure has freed what it had, and may leave a pointer to it.
        check("ogawa_read_tangent_frame", code)
        return TangentFrame._of(Record(value, release_tangent_frame))

    def read_skinning(self, object: Optional[Object] = None) -> Skin:
        """Always raises a `QelError`: archives are not read for skins."""
        value = _raw.qel_skin()
        record = Record(value, lambda skin: raw.qel_skin_free(ctypes.byref(skin)))
        check("ogawa_read_skinning", self._call(raw.ogawa_read_skinning, object, ctypes.byref(value)))
        return Skin._of(record)
