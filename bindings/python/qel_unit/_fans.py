# SPDX-License-Identifier: MIT
"""Polygons into triangles, all faces at once: each face a fan about its first corner."""

import ctypes
from itertools import groupby
from typing import Any

from ._arrays import as_array, numpy


def fans(corners: Any, counts: Any) -> Any:
    """The triangles of all faces, one a row, for arrays or memory views whose counts are known to fit the corners."""
    if numpy is None:
        return _fans_plainly(corners, counts)
    size = int(counts[0])
    if bool((counts == size).all()):
        triangles = _fans_of_equals(corners, len(counts), size)
    else:
        triangles = _fans_of_many(corners, counts.astype(numpy.int64))
    triangles.flags.writeable = False
    return triangles


def _fans_of_equals(corners: Any, faces: int, size: int) -> Any:
    rows = max(0, size - 2)
    triangles = numpy.empty((faces, rows, 3), numpy.uint32)
    if rows > 0:
        table = corners.reshape(faces, size)
        triangles[:, :, 0] = table[:, :1]
        triangles[:, :, 1] = table[:, 1:-1]
        triangles[:, :, 2] = table[:, 2:]
    return triangles.reshape(faces * rows, 3)


def _fans_of_many(corners: Any, sizes: Any) -> Any:
    rows = numpy.maximum(sizes - 2, 0)
    starts = numpy.cumsum(sizes) - sizes
    firsts = numpy.repeat(starts, rows)
    # A row's place in its fan, from 0 on: its number less that of the fan's first row.
    places = numpy.arange(len(firsts)) - numpy.repeat(numpy.cumsum(rows) - rows, rows)
    triangles = numpy.empty((len(firsts), 3), numpy.uint32)
    triangles[:, 0] = corners[firsts]
    places += firsts
    triangles[:, 1] = corners[places + 1]
    triangles[:, 2] = corners[places + 2]
    return triangles


def _fans_plainly(corners: Any, counts: Any) -> Any:
    """Runs of faces of one size are copied column by column."""
    sizes = counts.tolist()
    rows = sum(size - 2 for size in sizes if size > 2)
    block = (ctypes.c_uint32 * (3 * rows))()
    triangles = memoryview(block).cast("B").cast("I")
    read = written = 0
    for size, run in groupby(sizes):
        faces = sum(1 for _ in run)
        end = read + faces * size
        step = 3 * (size - 2)
        stop = written + faces * max(0, step)
        for place in range(size - 2):
            at = written + 3 * place
            triangles[at:stop:step] = corners[read:end:size]
            triangles[at + 1 : stop : step] = corners[read + place + 1 : end : size]
            triangles[at + 2 : stop : step] = corners[read + place + 2 : end : size]
        read, written = end, stop
    return as_array(block, (rows, 3))
