# SPDX-License-Identifier: MIT
import array
from random import Random
from typing import Any, List, Sequence

from qel_unit import Archive, Mesh, mesh
from qel_unit.mesh import UVSet

from .support import TORUS, Case, buffer, rows

SQUARE = [(0, 0, 0), (1, 0, 0), (1, 1, 0), (0, 1, 0)]


def fan(face: List[int]) -> List[List[int]]:
    return [[face[0], face[i], face[i + 1]] for i in range(1, len(face) - 1)]


class Geometry(Case):
    def test_bounds(self) -> None:
        self.assertEqual(mesh.compute_bounds([(1, -2, 3), (-4, 5, -6)]), ((-4, -2, -6), (1, 5, 3)))
        self.assertIsNone(mesh.compute_bounds([]))

    def test_a_face_is_fanned(self) -> None:
        self.assertEqual(mesh.triangulate_face([9, 8, 7, 6, 5]).tolist(), fan([9, 8, 7, 6, 5]))
        self.fails("ogawa_triangulate_face", -1, mesh.triangulate_face, [1, 2])


class FromArrays(Case):
    def test_uses_arrays_in_place(self) -> None:
        positions = array.array("f", range(9))
        with Mesh.from_arrays(positions, [0, 1, 2], name="m") as made:
            self.assertEqual((made.name, made.path, made.vertex_count, made.face_count), ("m", "/m", 3, 1))
            self.assertEqual(made.bounds, ((0, 1, 2), (6, 7, 8)))
            self.assertIsNone(made.face_counts)
            self.assertEqual((made.normals, made.normal_scope), (None, 0))
            self.assertEqual(made.transform[:6], (1, 0, 0, 0, 0, 1))
            positions[4] = 40.0
            self.assertEqual(rows(made.positions)[1], [3, 40, 5])

    def test_refuses_rows_of_another_width(self) -> None:
        for points in ([[0, 0], [1, 1], [2, 2]], [[0, 0, 0, 1]] * 3):
            self.assertRaises(ValueError, Mesh.from_arrays, points)
            self.assertRaises(ValueError, mesh.compute_bounds, points)

    def test_takes_corners_flat_or_one_face_a_row(self) -> None:
        right: Any = (
            ([0, 1, 2, 0, 2, 3], None, 2), ([[0, 1, 2], [0, 2, 3]], None, 2), ([[0, 1, 2], [0, 2, 3]], [3, 3], 2),
            ([[0, 1, 2, 3]], [4], 1), ([0, 1, 2, 3, 0, 1, 2], [4, 3], 2),
        )
        for corners, counts, faces in right:
            with Mesh.from_arrays(SQUARE, corners, counts) as made:
                self.assertEqual(made.face_count, faces)
        wrong: Any = (
            ([[0, 1, 2, 3]] * 3, None), ([0, 1, 2, 3], None), ([[0, 1, 2]], [4]), ([[0, 1, 2]] * 2, [4, 2]),
            ([[0, 1, 2], [0, 1, 2, 3]], [3, 4]), ([0, 1, 2], [[3, 3]]),
        )
        for corners, counts in wrong:
            self.assertRaises(ValueError, Mesh.from_arrays, SQUARE, corners, counts)

    def test_refuses_a_scope_that_does_not_fit(self) -> None:
        for scope in (-1, 2**32):
            with self.assertRaises(OverflowError):
                Mesh.from_arrays(SQUARE, normals=SQUARE, normal_scope=scope)

    def test_keeps_normals_with_their_scope(self) -> None:
        with Mesh.from_arrays(SQUARE, normals=[(0, 0, 1)] * 4) as made:
            self.assertEqual(rows(made.normals), [[0, 0, 1]] * 4)
            self.assertEqual(made.normal_scope, mesh.SCOPE_VERTEX)

    def test_triangles_are_fans(self) -> None:
        with Mesh.from_arrays(SQUARE, [0, 1, 2, 3, 0, 1, 0, 1, 2], [4, 2, 3]) as made:
            self.assertEqual(made.triangles().tolist(), [[0, 1, 2], [0, 2, 3], [0, 1, 2]])
        with Mesh.from_arrays(SQUARE, [0, 1, 2]) as made:
            self.assertEqual(made.triangles().tolist(), [[0, 1, 2]])
        with Mesh.from_arrays(SQUARE, [0, 1, 3], [3]) as made:
            self.assertEqual(made.triangles().tolist(), [[0, 1, 3]])
        with Mesh.from_arrays(SQUARE) as made:
            self.assertEqual(made.triangles().tolist(), [])

    def test_triangles_are_those_of_the_library(self) -> None:
        random = Random(7)
        mixes: List[Sequence[int]] = [
            (4,), (5,), (2,), (0,), (3, 4), (0, 1, 2, 3, 4, 5, 17), (1, 2), (4, 4, 4, 4, 4, 4, 3)]
        for sizes in mixes:
            for faces in (1, 2, 300):
                counts = [random.choice(sizes) for _ in range(faces)]
                corners = [random.randrange(1000) for _ in range(sum(counts) + 2)]  # two belong to no face
                wanted, first = [], 0
                for size in counts:
                    if size > 2:
                        wanted.append(mesh.triangulate_face(corners[first : first + size]).tobytes())
                    first += size
                with self.subTest(sizes), Mesh.from_arrays([(0, 0, 0)] * 1000, corners, counts) as made:
                    triangles = made.triangles()
                    self.assertEqual(triangles.tobytes(), b"".join(wanted))
                    self.assertEqual(len(triangles), len(b"".join(wanted)) // 12)
                    self.assertTrue(buffer(triangles).readonly)
                    self.assertEqual(buffer(triangles).format, "I")

    def test_triangles_refuses_wrong_face_counts(self) -> None:
        with Mesh.from_arrays(SQUARE, [0, 1, 2], [4]) as made:
            self.assertRaises(ValueError, made.triangles)
        with Mesh.from_arrays(SQUARE, [0, 1, 4]) as made:
            self.assertRaises(ValueError, made.triangles)


class Adjacency(Case):
    def test_lists_faces_and_neighbours(self) -> None:
        with Mesh.from_arrays(SQUARE, [0, 1, 2, 0, 2, 3]) as made:
            manifold = made.build_manifold()
            self.assertEqual((manifold.vertex_count, manifold.face_count), (4, 2))
            self.assertEqual([manifold.vertex_faces(v).tolist() for v in range(4)], [[0, 1], [0], [0, 1], [1]])
            self.assertEqual([manifold.vertex_neighbors(v).tolist() for v in range(4)],
                             [[1, 2, 3], [0, 2], [0, 1, 3], [0, 2]])
            self.assertEqual(manifold.face_offsets.tolist(), [0, 3, 6])
            self.assertEqual(manifold.vertex_face_offsets.tolist(), [0, 2, 3, 5, 6])
            self.assertEqual(manifold.flat_vertex_faces.tolist(), [0, 1, 0, 0, 1, 1])
            self.assertFalse(manifold.is_closed())
            self.fails("ogawa_get_vertex_faces", -1, manifold.vertex_faces, 4)
            self.fails("ogawa_get_vertex_neighbors", -1, manifold.vertex_neighbors, 4)

    def test_a_vertex_without_faces_has_empty_lists(self) -> None:
        with Mesh.from_arrays(SQUARE, [0, 1, 2]) as made, made.build_manifold() as manifold:
            self.assertEqual(manifold.vertex_faces(3).tolist(), [])
            self.assertEqual(manifold.vertex_neighbors(3).tolist(), [])

    def test_requires_vertices(self) -> None:
        self.fails("ogawa_build_manifold", -1, Mesh.from_arrays([]).build_manifold)

    def test_agrees_with_a_plain_computation(self) -> None:
        with Archive(TORUS) as archive, archive.read_polymesh() as torus, torus.build_manifold() as manifold:
            corners: Any = torus.face_indices
            faces = [corners.tolist()[4 * face : 4 * face + 4] for face in range(torus.face_count)]
            for vertex in (0, 1, 23, 600, 1151):
                around = [number for number, face in enumerate(faces) if vertex in face]
                self.assertEqual(manifold.vertex_faces(vertex).tolist(), around)
                others = [other for number in around for other in faces[number] if other != vertex]
                self.assertEqual(manifold.vertex_neighbors(vertex).tolist(), list(dict.fromkeys(others)))


class Tangents(Case):
    def test_follow_the_uvs(self) -> None:
        uvs = UVSet.from_arrays([(0, 0), (1, 0), (1, 1), (0, 1)], [0, 1, 2, 3], name="first")
        turned = UVSet.from_arrays([(0, 0), (0, 1), (1, 1), (1, 0)], [0, 1, 2, 3], name="second")
        with Mesh.from_arrays(SQUARE, [0, 1, 2, 3], [4]) as made:
            frame = made.compute_tangent_frame(uvs)
            self.assertEqual(len(frame), 4)
            self.assertEqual(rows(frame.tangents), [[1, 0, 0]] * 4)
            self.assertEqual(rows(frame.bitangents), [[0, 1, 0]] * 4)
            frame = made.compute_tangent_frame([uvs, turned], "second")
            self.assertEqual(rows(frame.tangents), [[0, 1, 0]] * 4)
            self.fails("ogawa_compute_tangent_frame", -1, made.compute_tangent_frame, [])
            self.fails("ogawa_compute_tangent_frame", -2, made.compute_tangent_frame, uvs, "third")
            self.assertEqual((uvs.name, uvs.scope), ("first", mesh.SCOPE_FACE_VARYING))
            self.assertEqual(rows(uvs.values)[2], [1, 1])
            self.assertEqual(uvs.indices.tolist() if uvs.indices is not None else None, [0, 1, 2, 3])
