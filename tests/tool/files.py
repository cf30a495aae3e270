# SPDX-License-Identifier: MIT
"""Files of the four formats and archives, written from their description, whole or with something wrong."""

import math
import random
import struct

NAN = float("nan")
THREE = [(702, b"000002FC", 1 << 63, 1), (5, b"\x1b[31m\xff<x", 0, 2), (702, b"00000003", 3, 1)]  # tokens of a unit


def unit(tokens, version=1, count=None, extra=7, saved_at=0):
    """Tokens are (morton, hex_id, payload, layer)."""
    head = struct.pack("<4sIIIq", b"QEL\0", version, len(tokens) if count is None else count, extra, saved_at)
    return head + b"".join(struct.pack("<Q8sQB", *token) for token in tokens)


def agents(records, version=1, count=None, active=None, saved_at=0):
    """Records are (id, state)."""
    running = sum(state != 6 for _, state in records)
    head = struct.pack("<4sIIIq", b"QEAG", version, len(records) if count is None else count,
                       running if active is None else active, saved_at)
    return head + b"".join(struct.pack("<8s8s8BQQ", name, b"2A9E0000", 1, state, 0, 0, 0, 0, 0, 0, 0, 0)
                           for name, state in records)


CORNERS = [(0.0, 0.0, 0.0), (1.0, 0.0, 0.0), (0.0, 2.0, 0.0)]
CELLS = [(0, 0, 0), (47, 0, 0), (0, 47, 0)]
KEYS = [0, 33353, 66706]


def mesh(positions=None, indices=(0, 1, 2), cells=None, keys=None, level=1, layer=1, name=b"triangle", ids=None):
    positions, cells, keys = positions or CORNERS, cells or CELLS, keys or KEYS
    out = struct.pack("<64sII6fIB", name, len(positions), len(indices) // 3, 0, 0, 0, 1, 2, 0, 0, layer)
    out += b"".join(struct.pack("<3f", *p) for p in positions) + struct.pack(f"<{len(indices)}I", *indices)
    for p, c, k in zip(positions, cells, keys):
        out += struct.pack("<3f3BxQbbxxffI", *p, *c, k, level, 1, 1.5, 11.0, 5)
    for i, k in enumerate(keys):
        out += struct.pack("<Q8sQB7x", k, ids[i] if ids else b"%08X" % i, 1 << 63, layer)
    return out


def frame(number=1, time=0.5, positions=None):
    positions = positions or CORNERS
    return struct.pack("<ifII", number, time, 1, len(positions)) + b"".join(struct.pack("<3f", *p) for p in positions)


def scene(meshes=None, frames=(), version=1, total=None, faces=None):
    meshes = [mesh()] if meshes is None else meshes
    total = sum(struct.unpack_from("<I", m, 64)[0] for m in meshes) if total is None else total
    head = struct.pack("<4sIIIQQfffI16x", b"BQEL", version, len(meshes), len(frames), total,
                       len(meshes) if faces is None else faces, 24, 0, 1, 0)
    return head + b"".join(meshes) + b"".join(frames)


def cache(positions=None, indices=(0, 1, 2), normals=None, version=2, offsets=None, counts=None, skin=b"", joints=0,
          box=(0, 0, 0, 1, 2, 0)):
    positions = positions or CORNERS
    flags = (1 if normals else 0) | (4 if joints else 0)
    size = 12 * len(positions)
    start = 64 + size * (2 if normals else 1)
    places = offsets or (64, 64 + size if normals else 0, start, start + 4 * len(indices) if joints else 0)
    vertices, triangles = counts or (len(positions), len(indices) // 3)
    out = struct.pack("<4sHHIIII6f4I", b"QELM", version, flags, vertices, triangles, joints, 1, *box, *places)
    out += b"".join(struct.pack("<3f", *p) for p in positions)
    out += b"".join(struct.pack("<3f", *n) for n in normals or ())
    return out + struct.pack(f"<{len(indices)}I", *indices) + skin


def sheet(side):
    """A mesh cache of side x side vertices, wavy and a little rough."""
    vertices, triangles, rough = side * side, 2 * (side - 1) ** 2, random.Random(1).random
    waves = [(math.sin(i / side * 9) / 10, math.cos(i / side * 7)) for i in range(side)]
    points = b"".join(struct.pack("<3f", (i + 0.4 * rough()) / side, waves[i][0] * waves[j][1] + 0.2 * rough() / side,
                                  (j + 0.4 * rough()) / side) for i in range(side) for j in range(side))
    corners = b"".join(struct.pack("<6I", a, a + 1, a + side, a + 1, a + side + 1, a + side)
                       for i in range(side - 1) for a in range(i * side, i * side + side - 1))
    box = (0, -0.11, 0, 1.01, 0.11, 1.01)
    head = struct.pack("<4sHHIIII6f4I", b"QELM", 2, 0, vertices, triangles, 0, 1, *box, 64, 0, 64 + 12 * vertices, 0)
    return head + points + corners


def skin(joint=0, weights=3):
    one = struct.pack("<200x16d", *[1.0, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1])
    rows = b"".join(struct.pack("<4B4f", joint, 0, 0, 0, 1, 0, 0, 0) for _ in range(weights))
    return struct.pack("<I", 1) + one + struct.pack("<I", weights) + rows + bytes(128)


def archive():
    """Sound, but without anything in it: an empty root group."""
    return struct.pack("<8sQQ", b"Ogawa\xff\0\1", 16, 0)
