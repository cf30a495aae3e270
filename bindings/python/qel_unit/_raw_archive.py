# SPDX-License-Identifier: MIT
# Generated from include/qel_archive.h by scripts/generate_python.py: change the header, not this file.
"""The C interface as it is: records, constants, signatures and the meanings of codes."""

from ctypes import CDLL, POINTER, Structure
from ctypes import (c_char_p, c_double, c_int32, c_uint32, c_uint64, c_void_p)
from typing import Any, Callable, Dict, Optional, Tuple

from ._raw import ogawa_polymesh

QEL_ARCHIVE_OK = 0
QEL_ARCHIVE_BAD_ARGUMENT = -1
QEL_ARCHIVE_CANNOT_OPEN = -2
QEL_ARCHIVE_NOT_AN_ARCHIVE = -3
QEL_ARCHIVE_HDF5 = -4
QEL_ARCHIVE_DAMAGED = -5
QEL_ARCHIVE_NO_MEMORY = -6
QEL_ARCHIVE_NOT_FOUND = -7
QEL_ARCHIVE_WRONG_KIND = -8
QEL_ARCHIVE_PROPERTY_COMPOUND = 0
QEL_ARCHIVE_PROPERTY_SCALAR = 1
QEL_ARCHIVE_PROPERTY_ARRAY = 2
QEL_ARCHIVE_VALUE_BOOL = 0
QEL_ARCHIVE_VALUE_U8 = 1
QEL_ARCHIVE_VALUE_I8 = 2
QEL_ARCHIVE_VALUE_U16 = 3
QEL_ARCHIVE_VALUE_I16 = 4
QEL_ARCHIVE_VALUE_U32 = 5
QEL_ARCHIVE_VALUE_I32 = 6
QEL_ARCHIVE_VALUE_U64 = 7
QEL_ARCHIVE_VALUE_I64 = 8
QEL_ARCHIVE_VALUE_F16 = 9
QEL_ARCHIVE_VALUE_F32 = 10
QEL_ARCHIVE_VALUE_F64 = 11
QEL_ARCHIVE_VALUE_TEXT = 12
QEL_ARCHIVE_VALUE_WIDE_TEXT = 13
QEL_ARCHIVE_TOPOLOGY_CONSTANT = 0
QEL_ARCHIVE_TOPOLOGY_POSITIONS_CHANGE = 1
QEL_ARCHIVE_TOPOLOGY_FACES_CHANGE = 2


class qel_archive_info(Structure):
    """The description of an archive."""


class qel_archive_object(Structure):
    """One object of an archive."""


class qel_archive_property(Structure):
    """One property of an object."""


class qel_archive_mesh_info(Structure):
    """The description of a mesh, without its arrays."""


# The fields come last: records point at one another.
qel_archive_info._fields_ = [
    ("library_version", c_int32),
    ("object_count", c_uint32),
    ("mesh_count", c_uint32),
    ("time_sampling_count", c_uint32),
    ("start", c_double),
    ("end", c_double),
    ("frames_per_second", c_double),
    ("metadata", c_char_p),
]
qel_archive_object._fields_ = [
    ("name", c_char_p),
    ("path", c_char_p),
    ("metadata", c_char_p),
    ("schema", c_char_p),
    ("kind", c_uint32),
    ("parent", c_uint32),
    ("child_count", c_uint32),
    ("property_count", c_uint32),
]
qel_archive_property._fields_ = [
    ("name", c_char_p),
    ("metadata", c_char_p),
    ("kind", c_uint32),
    ("value", c_uint32),
    ("extent", c_uint32),
    ("sample_count", c_uint32),
    ("time_sampling", c_uint32),
    ("constant", c_uint32),
]
qel_archive_mesh_info._fields_ = [
    ("sample_count", c_uint32),
    ("topology", c_uint32),
    ("vertex_count", c_uint32),
    ("face_count", c_uint32),
    ("corner_count", c_uint32),
    ("start", c_double),
    ("end", c_double),
]

#: Result and arguments of every function.
SIGNATURES: Dict[str, Tuple[Any, Tuple[Any, ...]]] = {
    # const char *qel_archive_message(int32_t status)
    "qel_archive_message": (c_char_p, (c_int32,)),
    # int32_t qel_archive_open(const char *path, qel_archive **archive)
    "qel_archive_open": (c_int32, (c_char_p, POINTER(c_void_p))),
    # void qel_archive_close(qel_archive *archive)
    "qel_archive_close": (None, (c_void_p,)),
    # int32_t qel_archive_get_info(const qel_archive *archive, qel_archive_info *info)
    "qel_archive_get_info": (c_int32, (c_void_p, POINTER(qel_archive_info))),
    # int32_t qel_archive_get_object(const qel_archive *archive, uint32_t object, qel_archive_object *out)
    "qel_archive_get_object": (c_int32, (c_void_p, c_uint32, POINTER(qel_archive_object))),
    # uint32_t qel_archive_find(const qel_archive *archive, const char *path)
    "qel_archive_find": (c_uint32, (c_void_p, c_char_p)),
    # int32_t qel_archive_get_property(const qel_archive *archive, uint32_t object, uint32_t property,
    # qel_archive_property *out)
    "qel_archive_get_property": (c_int32, (c_void_p, c_uint32, c_uint32, POINTER(qel_archive_property))),
    # uint32_t qel_archive_find_property(const qel_archive *archive, uint32_t object, const char *name)
    "qel_archive_find_property": (c_uint32, (c_void_p, c_uint32, c_char_p)),
    # int32_t qel_archive_read_property(const qel_archive *archive, uint32_t object, uint32_t property,
    # uint64_t sample, void *bytes, uint64_t capacity, uint64_t *size)
    "qel_archive_read_property": (c_int32, (
        c_void_p, c_uint32, c_uint32, c_uint64, c_void_p, c_uint64, POINTER(c_uint64)
    )),
    # int32_t qel_archive_property_time(const qel_archive *archive, uint32_t object, uint32_t property,
    # uint64_t sample, double *seconds)
    "qel_archive_property_time": (c_int32, (c_void_p, c_uint32, c_uint32, c_uint64, POINTER(c_double))),
    # int32_t qel_archive_get_mesh_info(const qel_archive *archive, uint32_t object, qel_archive_mesh_info
    # *out)
    "qel_archive_get_mesh_info": (c_int32, (c_void_p, c_uint32, POINTER(qel_archive_mesh_info))),
    # int32_t qel_archive_read_mesh(const qel_archive *archive, uint32_t object, uint64_t sample,
    # ogawa_polymesh *mesh)
    "qel_archive_read_mesh": (c_int32, (c_void_p, c_uint32, c_uint64, POINTER(ogawa_polymesh))),
    # int32_t qel_archive_sample_at(const qel_archive *archive, uint32_t object, double seconds, uint64_t
    # *sample)
    "qel_archive_sample_at": (c_int32, (c_void_p, c_uint32, c_double, POINTER(c_uint64))),
    # int32_t qel_archive_local_transform(const qel_archive *archive, uint32_t object, double seconds, double
    # matrix[16])
    "qel_archive_local_transform": (c_int32, (c_void_p, c_uint32, c_double, POINTER(c_double))),
    # int32_t qel_archive_world_transform(const qel_archive *archive, uint32_t object, double seconds, double
    # matrix[16])
    "qel_archive_world_transform": (c_int32, (c_void_p, c_uint32, c_double, POINTER(c_double))),
    # int32_t qel_archive_is_visible(const qel_archive *archive, uint32_t object, double seconds, int32_t
    # *visible)
    "qel_archive_is_visible": (c_int32, (c_void_p, c_uint32, c_double, POINTER(c_int32))),
}

#: What each code of a function means.
CODES: Dict[str, Dict[int, str]] = {
    "qel_archive_open": {
        0: "opened",
        -1: "an argument is null",
        -2: (
            "there is no such file, it is no regular file, it may not be read, or the system failed to read "
            "it. Nothing is waited for"
        ),
        -3: "the file has fewer than 16 bytes or begins with others than an archive",
        -4: "it is an older archive in the HDF5 container",
        -5: "it contradicts itself, was cut short or never finished, holds itself, or is beyond the limits",
        -6: "no memory",
    },
    "qel_archive_get_info": {
        0: "filled",
        -1: "an argument is null",
    },
    "qel_archive_get_object": {
        0: "filled",
        -1: "an argument is null",
        -6: "no memory for the path",
        -7: "there is no object of that number",
    },
    "qel_archive_get_property": {
        0: "filled",
        -1: "an argument is null",
        -6: "no memory for the name",
        -7: "there is no object of that number, or it has no property of that number",
    },
    "qel_archive_read_property": {
        0: "copied, or the buffer is too small: *size says which",
        -1: "archive or size is null, or bytes is null and capacity is not 0",
        -2: "the system failed to read the file",
        -5: (
            "the sample is not stored whole, or has another number of values than the property or its "
            "dimensions say"
        ),
        -7: "there is no such object, property or sample",
        -8: "the property is a compound",
    },
    "qel_archive_property_time": {
        0: "set",
        -1: "archive or seconds is null",
        -7: "there is no such object, property or sample",
        -8: "the property is a compound",
    },
    "qel_archive_get_mesh_info": {
        0: "filled",
        -1: "an argument is null",
        -2: "the system failed to read the file",
        -5: (
            "an array of sample 0 is not stored whole, or the positions, face counts or indices are of "
            "another type"
        ),
        -7: "there is no such object, or its positions have no samples",
        -8: "the object has no positions",
    },
    "qel_archive_read_mesh": {
        0: "read",
        -1: "archive or mesh is null",
        -2: "the system failed to read the file",
        -5: (
            "an array is not stored whole or is of another type, the mesh is not sound, or a transform is "
            "damaged"
        ),
        -6: "no memory",
        -7: "there is no such object, or sample is not below the samples of its positions",
        -8: "the object has no positions",
    },
    "qel_archive_sample_at": {
        0: "set",
        -1: "archive or sample is null",
        -5: "the positions are of another type",
        -7: "there is no such object, or its positions have no samples",
        -8: "the object has no positions",
    },
    "qel_archive_local_transform": {
        0: "set",
        -1: "archive or matrix is null",
        -2: "the system failed to read the file",
        -5: "there is an unknown operation, there are too few values, or they are not stored whole",
        -7: "there is no such object",
    },
    "qel_archive_world_transform": {
        0: "set",
        -1: "archive or matrix is null",
        -2: "the system failed to read the file",
        -5: "as for qel_archive_local_transform, of any object on the way",
        -7: "there is no such object",
    },
    "qel_archive_is_visible": {
        0: "set",
        -1: "archive or visible is null",
        -2: "the system failed to read the file",
        -5: "a sample that was asked for is not stored whole",
        -7: "there is no such object",
    },
}

#: The names of the failures' codes.
CODE_NAMES: Dict[str, Dict[int, str]] = {
    "qel_archive_open": {
        -1: "QEL_ARCHIVE_BAD_ARGUMENT",
        -2: "QEL_ARCHIVE_CANNOT_OPEN",
        -3: "QEL_ARCHIVE_NOT_AN_ARCHIVE",
        -4: "QEL_ARCHIVE_HDF5",
        -5: "QEL_ARCHIVE_DAMAGED",
        -6: "QEL_ARCHIVE_NO_MEMORY",
    },
    "qel_archive_get_info": {
        -1: "QEL_ARCHIVE_BAD_ARGUMENT",
    },
    "qel_archive_get_object": {
        -1: "QEL_ARCHIVE_BAD_ARGUMENT",
        -6: "QEL_ARCHIVE_NO_MEMORY",
        -7: "QEL_ARCHIVE_NOT_FOUND",
    },
    "qel_archive_get_property": {
        -1: "QEL_ARCHIVE_BAD_ARGUMENT",
        -6: "QEL_ARCHIVE_NO_MEMORY",
        -7: "QEL_ARCHIVE_NOT_FOUND",
    },
    "qel_archive_read_property": {
        -1: "QEL_ARCHIVE_BAD_ARGUMENT",
        -2: "QEL_ARCHIVE_CANNOT_OPEN",
        -5: "QEL_ARCHIVE_DAMAGED",
        -7: "QEL_ARCHIVE_NOT_FOUND",
        -8: "QEL_ARCHIVE_WRONG_KIND",
    },
    "qel_archive_property_time": {
        -1: "QEL_ARCHIVE_BAD_ARGUMENT",
        -7: "QEL_ARCHIVE_NOT_FOUND",
        -8: "QEL_ARCHIVE_WRONG_KIND",
    },
    "qel_archive_get_mesh_info": {
        -1: "QEL_ARCHIVE_BAD_ARGUMENT",
        -2: "QEL_ARCHIVE_CANNOT_OPEN",
        -5: "QEL_ARCHIVE_DAMAGED",
        -7: "QEL_ARCHIVE_NOT_FOUND",
        -8: "QEL_ARCHIVE_WRONG_KIND",
    },
    "qel_archive_read_mesh": {
        -1: "QEL_ARCHIVE_BAD_ARGUMENT",
        -2: "QEL_ARCHIVE_CANNOT_OPEN",
        -5: "QEL_ARCHIVE_DAMAGED",
        -6: "QEL_ARCHIVE_NO_MEMORY",
        -7: "QEL_ARCHIVE_NOT_FOUND",
        -8: "QEL_ARCHIVE_WRONG_KIND",
    },
    "qel_archive_sample_at": {
        -1: "QEL_ARCHIVE_BAD_ARGUMENT",
        -5: "QEL_ARCHIVE_DAMAGED",
        -7: "QEL_ARCHIVE_NOT_FOUND",
        -8: "QEL_ARCHIVE_WRONG_KIND",
    },
    "qel_archive_local_transform": {
        -1: "QEL_ARCHIVE_BAD_ARGUMENT",
        -2: "QEL_ARCHIVE_CANNOT_OPEN",
        -5: "QEL_ARCHIVE_DAMAGED",
        -7: "QEL_ARCHIVE_NOT_FOUND",
    },
    "qel_archive_world_transform": {
        -1: "QEL_ARCHIVE_BAD_ARGUMENT",
        -2: "QEL_ARCHIVE_CANNOT_OPEN",
        -5: "QEL_ARCHIVE_DAMAGED",
        -7: "QEL_ARCHIVE_NOT_FOUND",
    },
    "qel_archive_is_visible": {
        -1: "QEL_ARCHIVE_BAD_ARGUMENT",
        -2: "QEL_ARCHIVE_CANNOT_OPEN",
        -5: "QEL_ARCHIVE_DAMAGED",
        -7: "QEL_ARCHIVE_NOT_FOUND",
    },
}


class Functions:
    """The functions of a loaded library, each with its signature. Nothing is checked."""

    qel_archive_message: Callable[..., Optional[bytes]]
    qel_archive_open: Callable[..., int]
    qel_archive_close: Callable[..., None]
    qel_archive_get_info: Callable[..., int]
    qel_archive_get_object: Callable[..., int]
    qel_archive_find: Callable[..., int]
    qel_archive_get_property: Callable[..., int]
    qel_archive_find_property: Callable[..., int]
    qel_archive_read_property: Callable[..., int]
    qel_archive_property_time: Callable[..., int]
    qel_archive_get_mesh_info: Callable[..., int]
    qel_archive_read_mesh: Callable[..., int]
    qel_archive_sample_at: Callable[..., int]
    qel_archive_local_transform: Callable[..., int]
    qel_archive_world_transform: Callable[..., int]
    qel_archive_is_visible: Callable[..., int]

    def __init__(self, library: CDLL) -> None:
        for name, (result, arguments) in SIGNATURES.items():
            function = getattr(library, name)
            function.restype = result
            function.argtypes = arguments
            setattr(self, name, function)
