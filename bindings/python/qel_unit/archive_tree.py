# SPDX-License-Identifier: MIT
"""Archives read by what they say: objects, properties, samples, times. Arrays stay in the file until asked for.

The module `archive` recognises arrays by their bytes instead, and needs no sound headers.
"""

import ctypes
import enum
import operator
import os
from typing import Any, Dict, Iterator, List, NamedTuple, Optional, Tuple, Union

from . import _raw as _raw_unit
from . import _raw_archive as _raw
from ._archive_calls import ArchiveRecord, check, metadata_of
from ._arrays import as_array
from ._files import path_text, require_opens
from ._library_archive import raw
from ._records import Owner, Record
from ._types import Doubles
from ._values import PathLike, text_bytes, text_of, utf8_path_bytes
from .archive import Schema, TimeRange
from .archive_property import Properties
from .mesh import Mesh, release_mesh

_MESHES = (Schema.POLYMESH, Schema.SUBD)


class ArchiveInfo(NamedTuple):
    """What an archive says of itself. `library_version` is the writing library's: 10709 is 1.7.9."""

    library_version: int
    object_count: int
    mesh_count: int
    time_sampling_count: int
    metadata: Dict[str, str]


class Topology(enum.IntEnum):
    """What changes from one sample of a mesh to another."""

    CONSTANT = _raw.QEL_ARCHIVE_TOPOLOGY_CONSTANT
    POSITIONS_CHANGE = _raw.QEL_ARCHIVE_TOPOLOGY_POSITIONS_CHANGE
    FACES_CHANGE = _raw.QEL_ARCHIVE_TOPOLOGY_FACES_CHANGE


class MeshInfo(NamedTuple):
    """What a mesh holds. The counts of vertices, faces and corners are those of sample 0; times are seconds."""

    sample_count: int
    topology: Topology
    vertex_count: int
    face_count: int
    corner_count: int
    start: float
    end: float


def open_archive(path: PathLike) -> "ArchiveTree":
    """Opens an archive: reads and checks its whole tree of objects. `with open_archive(path) as archive`."""
    return ArchiveTree(path)


class ArchiveTree(Owner):
    """An open archive's objects by path and by number, depth first; the top object is number 0.

    The file stays open until the archive is closed. Any number of threads may read one archive side by side.
    """

    _record: Optional[ArchiveRecord]
    _family: Optional[List[List[int]]] = None

    def __init__(self, path: PathLike) -> None:
        handle = ctypes.c_void_p()
        text = path_text(path)
        code = raw.qel_archive_open(utf8_path_bytes(path), ctypes.byref(handle))
        if code == _raw.QEL_ARCHIVE_CANNOT_OPEN:
            require_opens(path)
        check("qel_archive_open", code, text)
        self._record = ArchiveRecord(handle, text)
        self._record.origin = os.path.abspath(text)

    def _archive(self) -> ArchiveRecord:
        record = self._held()
        assert isinstance(record, ArchiveRecord)
        return record

    def _info(self) -> _raw.qel_archive_info:
        told = _raw.qel_archive_info()
        self._archive().call("qel_archive_get_info", ctypes.byref(told))
        return told

    @property
    def path(self) -> str:
        """The path that it was opened with."""
        return self._archive().path

    @property
    def info(self) -> ArchiveInfo:
        """What it says of itself."""
        told = self._info()
        return ArchiveInfo(
            told.library_version, told.object_count, told.mesh_count, told.time_sampling_count,
            metadata_of(told.metadata))

    @property
    def time_range(self) -> TimeRange:
        """First and last sample time of all that changes, 0 and 0 where nothing does; 0 frames per second if unsaid."""
        told = self._info()
        return TimeRange(told.start, told.end, told.frames_per_second)

    @property
    def top(self) -> "ArchiveObject":
        """The top object, whose path is "/"."""
        return self[0]

    def __len__(self) -> int:
        return int(self._info().object_count)

    def __iter__(self) -> Iterator["ArchiveObject"]:
        return (ArchiveObject(self, number) for number in range(len(self)))

    def __getitem__(self, place: Union[int, str]) -> "ArchiveObject":
        """An object by its number or its path. None there is an IndexError or a KeyError."""
        if isinstance(place, str):
            found = self.find(place)
            if found is None:
                raise KeyError(place)
            return found
        return ArchiveObject(self, range(len(self))[place])

    def __contains__(self, path: object) -> bool:
        return isinstance(path, str) and self.find(path) is not None

    def find(self, path: str) -> Optional["ArchiveObject"]:
        """The object with a path, None if there is none."""
        record = self._archive()
        if "\0" in path:
            return None
        number = raw.qel_archive_find(record.value, text_bytes(path))
        return None if number == _raw_unit.QEL_NOT_FOUND else ArchiveObject(self, number)

    def meshes(self) -> Iterator["ArchiveObject"]:
        """The objects that are meshes, polygon meshes and subdivision surfaces."""
        return (found for found in self if found.is_mesh)

    def _children(self, number: int) -> List[int]:
        if self._family is None:  # two threads may make it twice, and alike
            family: List[List[int]] = [[] for _ in range(len(self))]
            for found in self:
                if found._parent is not None:
                    family[found._parent].append(found.number)
            self._family = family
        return self._family[number]

    def _facts(self) -> str:
        return "{!r}: {} objects, {} meshes".format(self.path, len(self), self.info.mesh_count)

    @classmethod
    def _reopen(cls, path: str) -> "ArchiveTree":
        return cls(path)


class ArchiveObject:
    """One object of an open archive. Times are seconds; the last sample at or before a time counts."""

    def __init__(self, archive: ArchiveTree, number: int) -> None:
        told = _raw.qel_archive_object()
        archive._archive().call("qel_archive_get_object", number, ctypes.byref(told))
        self._archive = archive
        #: Its number in the archive.
        self.number: int = number
        #: Its name, empty for the top object.
        self.name: str = text_of(told.name)
        #: Its path, "/" for the top object.
        self.path: str = text_of(told.path)
        #: Its pairs of keys and values.
        self.metadata: Dict[str, str] = metadata_of(told.metadata)
        #: The schema's name as the archive has it, empty without one.
        self.schema: str = text_of(told.schema)
        #: What it is; `Schema.UNKNOWN` for a schema without a value of its own.
        self.kind: Schema = Schema(told.kind)
        self._parent: Optional[int] = None if told.parent == _raw_unit.QEL_NOT_FOUND else told.parent
        self._property_count: int = told.property_count

    @property
    def archive(self) -> ArchiveTree:
        """The archive that it is in."""
        return self._archive

    @property
    def parent(self) -> Optional["ArchiveObject"]:
        """The object above it; None for the top object."""
        return None if self._parent is None else self._archive[self._parent]

    @property
    def children(self) -> List["ArchiveObject"]:
        """The objects directly below it."""
        return [self._archive[number] for number in self._archive._children(self.number)]

    @property
    def is_mesh(self) -> bool:
        """Whether it is a polygon mesh or a subdivision surface."""
        return self.kind in _MESHES

    @property
    def properties(self) -> Properties:
        """Its properties by name: `properties["P"].samples[0]`."""
        return Properties(self._archive._archive(), self.number, self._property_count)

    @property
    def time_range(self) -> Optional[Tuple[float, float]]:
        """The first and the last time of its properties that have more than one sample; None where none has."""
        changing = [one for one in self.properties.values() if len(one.samples) > 1]
        if not changing:
            return None
        return min(one.time(0) for one in changing), max(one.time(-1) for one in changing)

    def mesh_info(self) -> MeshInfo:
        """What it holds as a mesh, without its arrays. Points, curves and patches are taken too: they have no faces."""
        told = _raw.qel_archive_mesh_info()
        self._call("qel_archive_get_mesh_info", ctypes.byref(told))
        return MeshInfo(
            told.sample_count, Topology(told.topology), told.vertex_count, told.face_count, told.corner_count,
            told.start, told.end)

    def sample_at(self, time: float) -> int:
        """The number of the last sample of the positions at or before a time; 0 where all are later."""
        sample = ctypes.c_uint64()
        self._call("qel_archive_sample_at", float(time), ctypes.byref(sample))
        return sample.value

    def mesh(self, sample: Optional[int] = None, *, time: Optional[float] = None) -> Mesh:
        """One sample of a mesh, points, curves or a patch, by number or by time; the first where neither is given.

        The mesh owns its arrays, and lives on when the archive is closed. Its faces are sound.
        """
        if sample is not None and time is not None:
            raise TypeError("a sample is chosen by its number or by a time, not by both")
        chosen = self.sample_at(time) if time is not None else 0 if sample is None else operator.index(sample)
        if not 0 <= chosen < 1 << 64:
            raise IndexError("{} has no sample {}".format(self.path, chosen))
        value = _raw_unit.ogawa_polymesh()
        record = Record(value, release_mesh)
        self._call("qel_archive_read_mesh", chosen, ctypes.byref(value))
        return Mesh._of(record)

    def local_transform(self, time: float = 0.0) -> Doubles:
        """The 4 x 4 matrix from its space to its parent's. Points are rows: p' = p M."""
        return self._matrix("qel_archive_local_transform", time)

    def world_transform(self, time: float = 0.0) -> Doubles:
        """The 4 x 4 matrix from its space to the world's. Points are rows: p' = p M."""
        return self._matrix("qel_archive_world_transform", time)

    def visible(self, time: float = 0.0) -> bool:
        """Whether it is shown: it or the nearest object above it that says so decides."""
        shown = ctypes.c_int32()
        self._call("qel_archive_is_visible", float(time), ctypes.byref(shown))
        return bool(shown.value)

    def _matrix(self, function: str, time: float) -> Any:
        matrix = (ctypes.c_double * 16)()
        self._call(function, float(time), matrix)
        return as_array(matrix, (4, 4))

    def _call(self, function: str, *arguments: Any) -> None:
        self._archive._archive().call(function, self.number, *arguments)

    def __eq__(self, other: object) -> bool:
        return isinstance(other, ArchiveObject) and (self._archive, self.number) == (other._archive, other.number)

    def __hash__(self) -> int:
        return hash((self._archive, self.number))

    def __reduce__(self) -> Tuple[Any, ...]:
        return ArchiveObject, (self._archive, self.number)

    def __repr__(self) -> str:
        return "<ArchiveObject {} {!r}: {}>".format(self.number, self.path, self.schema or "no schema")
