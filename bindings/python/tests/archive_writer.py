# SPDX-License-Identifier: MIT
"""Writes small archives, with every kind of property, for the tests and the benchmark."""

import struct
from array import array
from typing import Any, List, NamedTuple, Optional, Sequence, Tuple, Union

Node = Union[bytes, List[Any]]  # data, or a group of nodes
LETTERS = "?BbHhIiQqefd"  # of the kinds of values that are numbers, in the order of their numbers
TEXT, WIDE_TEXT = 12, 13
MESH = "schema=AbcGeom_PolyMesh_v1;schemaObjTitle=AbcGeom_PolyMesh_v1:.geom"
XFORM = "schema=AbcGeom_Xform_v3;schemaObjTitle=AbcGeom_Xform_v3:.xform"


class Scalar(NamedTuple):
    """A property of one element a sample. A sample holds numbers, texts, or bytes as they are."""

    name: str
    value: int
    samples: Sequence[Any]
    extent: int = 1
    sampling: int = 0
    metadata: str = ""
    kind: int = 1


class Array(NamedTuple):
    """A property of many elements a sample."""

    name: str
    value: int
    samples: Sequence[Any]
    extent: int = 1
    sampling: int = 0
    metadata: str = ""
    kind: int = 2


class Compound(NamedTuple):
    """A property that holds others."""

    name: str
    parts: Sequence[Any]
    metadata: str = ""


class Thing(NamedTuple):
    """An object with what is below it."""

    name: str
    metadata: str = ""
    properties: Sequence[Any] = ()
    children: Sequence[Any] = ()


def _text(text: str) -> bytes:
    plain = text.encode()
    return struct.pack("<I", len(plain)) + plain


def _values(value: int, sample: Any) -> bytes:
    if isinstance(sample, (bytes, array)):
        return bytes(sample)
    if value == TEXT:
        return b"".join(text.encode() + b"\0" for text in sample)
    return struct.pack("<{}{}".format(len(sample), LETTERS[value]), *sample)


def _sample(owner: Any, sample: Any) -> List[Node]:
    stored = bytes(16) + _values(owner.value, sample)
    if owner.kind == 1:
        return [stored]
    return [stored, struct.pack("<Q", len(sample)) if owner.value == TEXT else b""]


def _property(owner: Any) -> Tuple[bytes, Node]:
    """A property's header and its group."""
    info = 2 << 2 | 0xFF << 20  # numbers are 32 bits wide, and the metadata is here
    if isinstance(owner, Compound):
        return struct.pack("<I", info) + _text(owner.name) + _text(owner.metadata), _compound(owner.parts)
    same = 1 << 11 if len(owner.samples) <= 1 else 0
    info |= owner.kind | owner.value << 4 | 1 << 8 | same | owner.extent << 12
    header = struct.pack("<III", info, len(owner.samples), owner.sampling) + _text(owner.name) + _text(owner.metadata)
    return header, [node for sample in owner.samples for node in _sample(owner, sample)]


def _compound(parts: Sequence[Any]) -> Node:
    if not parts:
        return []
    headers, groups = zip(*map(_property, parts))
    return [*groups, b"".join(headers)]


def _object(thing: Thing) -> Node:
    headers = b"".join(_text(child.name) + b"\xff" + _text(child.metadata) for child in thing.children)
    return [_compound(thing.properties), *map(_object, thing.children), headers + bytes(32)]


def _put(target: bytearray, node: Node) -> int:
    """Writes a node after the nodes that it refers to, and returns its reference."""
    if isinstance(node, bytes):
        mark, body = 1 << 63, struct.pack("<Q", len(node)) + node
    else:
        references = [_put(target, part) for part in node]
        mark, body = 0, struct.pack("<{}Q".format(len(node) + 1), len(node), *references)
    if len(node) == 0:
        return mark
    place = len(target)
    target += body
    return mark | place


def written(
    children: Sequence[Thing], samplings: Sequence[Tuple[float, Sequence[float]]] = (), metadata: str = "",
    properties: Sequence[Any] = (),
) -> bytes:
    """A whole archive. A time sampling is a cycle and the times in it; number 0 is the static one."""
    times = b"".join(
        struct.pack("<IdI{}d".format(len(first)), 1, cycle, len(first), *first)
        for cycle, first in [(1.0, [0.0]), *samplings])
    root: Node = [
        struct.pack("<i", 0), struct.pack("<i", 10709), _object(Thing("", "", properties, children)),
        metadata.encode(), times, b""]
    target = bytearray(b"Ogawa\xff\0\1" + bytes(8))
    struct.pack_into("<Q", target, 8, _put(target, root))
    return bytes(target)


def mesh(
    name: str, positions: Sequence[Any], counts: Sequence[int], corners: Sequence[int], sampling: int = 0,
    others: Sequence[Any] = (), children: Sequence[Thing] = (), around: Optional[Sequence[Any]] = None,
) -> Thing:
    """A polygon mesh with a sample of positions for each time, and with other properties in `.geom` and around it."""
    parts = [
        Array("P", 10, positions, 3, sampling), Array(".faceCounts", 6, [counts]), Array(".faceIndices", 6, [corners]),
        *others]
    return Thing(name, MESH, [Compound(".geom", parts, "schema=AbcGeom_PolyMesh_v1"), *(around or ())], children)
