# SPDX-License-Identifier: MIT
import math
import struct
from pathlib import Path

from qel_unit import Archive, archive, mesh

from .support import TORUS, Case, f32, rows


def torus_point(i: int, j: int) -> "list[float]":
    """The maker's formula: 48 steps around radius 3, 24 around the tube of radius 1."""
    u, v = math.tau * i / 48, math.tau * j / 24
    ring = 3 + math.cos(v)
    return [f32(ring * math.cos(u)), f32(ring * math.sin(u)), f32(math.sin(v))]


class Opening(Case):
    def test_tells_what_it_is(self) -> None:
        with Archive(TORUS) as opened:
            self.assertEqual(opened.path, str(TORUS))
            self.assertEqual(opened.version, (0, 1))
            self.assertEqual(opened.time_range, (0, 1, 24))
            self.assertEqual(opened.info().splitlines()[:2], ["Ogawa Archive", "============="])
            self.assertIn("Path: " + str(TORUS), opened.info())

    def test_failures_raise_their_code(self) -> None:
        heads = {-1: b"Ogaw", -2: b"other bytes", -3: b"Ogawa\0", -4: b"Ogawa\xff\0", -5: b"Ogawa\xff\0\1"}
        for code, head in heads.items():
            path: Path = self.file("head")
            path.write_bytes(head)
            self.fails("ogawa_open", code, Archive, path)

    def test_an_empty_archive_has_nothing_to_read(self) -> None:
        self.file("empty").write_bytes(b"Ogawa\xff\0\1" + bytes(8))
        with Archive(self.file("empty")) as opened:
            self.fails("ogawa_read_polymesh", -1, opened.read_polymesh)
            self.fails("ogawa_read_positions", -1, opened.read_positions)
            self.fails("ogawa_read_normals", -1, opened.read_normals)
            self.fails("ogawa_read_uvs", -1, opened.read_uvs)
            self.fails("ogawa_read_tangent_frame", -1, opened.read_tangent_frame)
            self.assertIsNone(opened.first_polymesh())


class Reading(Case):
    def setUp(self) -> None:
        super().setUp()
        self.archive = Archive(TORUS)
        self.addCleanup(self.archive.close)

    def test_mesh(self) -> None:
        with self.archive.read_polymesh() as torus:
            self.assertEqual((torus.name, torus.path), ("mesh", "/mesh"))
            self.assertEqual((torus.vertex_count, torus.face_count), (1152, 1152))
            self.assertEqual(torus.bounds, ((-4, -4, -1), (4, 4, 1)))
            positions = rows(torus.positions)
            for i, j in ((0, 0), (0, 1), (7, 5), (47, 23)):
                for got, wanted in zip(positions[i * 24 + j], torus_point(i, j)):
                    self.assertAlmostEqual(got, wanted, places=6)
            counts, corners, normals = torus.face_counts, torus.face_indices, torus.normals
            assert counts is not None and corners is not None and normals is not None
            self.assertEqual(counts.tolist(), [4] * 1152)
            self.assertEqual(corners.tolist()[:8], [0, 24, 25, 1, 1, 25, 26, 2])
            self.assertEqual((normals.shape, torus.normal_scope), ((4608, 3), mesh.SCOPE_FACE_VARYING))
            self.assertEqual(rows(normals)[0], [1, 0, 0])
            self.assertEqual(torus.triangles().tolist()[:2], [[0, 24, 25], [0, 25, 1]])
            self.assertEqual(torus.triangles().shape, (2304, 3))

    def test_first_mesh_is_the_same(self) -> None:
        first, again = self.archive.first_polymesh(), self.archive.first_polymesh()
        assert first is not None and again is not None
        with self.archive.read_polymesh() as torus:
            self.assertEqual(rows(first.positions), rows(torus.positions))
            self.assertEqual(rows(again.positions), rows(torus.positions))

    def test_mesh_has_the_name_of_the_given_object(self) -> None:
        child = archive.Object("child")
        named = archive.Object("torus", "/scene/torus", archive.Schema.POLYMESH, [child])
        self.assertEqual((named.name, named.path, named.schema), ("torus", "/scene/torus", 2))
        self.assertEqual(child.path, "/child")
        with self.archive.read_polymesh(named) as torus:
            self.assertEqual((torus.name, torus.path), ("torus", "/scene/torus"))
        self.assertRaises(ValueError, archive.Object, "other", None, 0, [child])

    def test_positions_of_the_first_bytes(self) -> None:
        # A block of 1200 triples, its size before it, near the file's start.
        triples = [(float(i + 1), float(i % 7 + 1), 1.0) for i in range(1200)]
        block = struct.pack("<3600f", *(part for triple in triples for part in triple))
        path = self.file("plain.abc")
        path.write_bytes(b"Ogawa\xff\0\1" + bytes(8) + struct.pack("<Q", len(block)) + block)
        with Archive(path) as opened:
            self.assertEqual(rows(opened.read_positions()), [list(triple) for triple in triples])

    def test_normals(self) -> None:
        normals = self.archive.read_normals()
        self.assertEqual((normals.values.shape, normals.scope), ((1155, 3), mesh.SCOPE_VERTEX))
        self.assertEqual(rows(normals.values)[0], [1, 0, 0])

    def test_uvs(self) -> None:
        with self.archive.read_uvs() as uvs:
            self.assertEqual((uvs.name, uvs.scope, uvs.indices), ("uv", mesh.SCOPE_FACE_VARYING, None))
            self.assertEqual(rows(uvs.values)[:2], [[0, 0], [0, f32(1 / 24)]])
            self.assertEqual(len(rows(uvs.values)), 1153)

    def test_tangents(self) -> None:
        with self.archive.read_tangent_frame() as frame:
            self.assertEqual(len(frame), 1153)
            self.assertEqual(rows(frame.tangents)[0], [0, 1, 0])
            self.assertEqual(rows(frame.bitangents)[0], [0, 0, 1])

    def test_no_skin(self) -> None:
        self.fails("ogawa_read_skinning", -1, self.archive.read_skinning)


class Schemas(Case):
    def test_names_and_values(self) -> None:
        self.assertEqual(archive.schema_from_string("AbcGeom_PolyMesh_v1"), archive.Schema.POLYMESH)
        self.assertEqual(archive.schema_from_string("nothing"), archive.Schema.UNKNOWN)
        self.assertEqual(archive.schema_to_string(archive.Schema.CAMERA), "Camera")
        self.assertEqual(archive.schema_to_string(7), "Unknown")
