# SPDX-License-Identifier: MIT
import math
import struct
from unittest import mock

from qel_unit import Archive, Scene, SceneMesh, Unit, matrix, scene
from qel_unit._library import raw
from qel_unit.scene import Frame

from .support import TORUS, Case, f32, rows

TRIANGLE = [(0, 0, 0), (1, 0, 0), (0, 2, 0)]
BOX = ((0, 0, 0), (1, 2, 0))


def topology(vertex: int, triangles: "list[list[int]]") -> int:
    """The hash as the header documents it."""
    h = 0x5A5A5A5A
    for a, b, c in triangles:
        if vertex in (a, b, c):
            mixed = (a * 0x1F1F1F1F ^ b * 0x2E2E2E2E ^ h ^ c * 0x3D3D3D3D) & 0xFFFFFFFF
            h = (mixed << 5 | mixed >> 27) & 0xFFFFFFFF
    return h


class Vertices(Case):
    def test_bounds(self) -> None:
        self.assertEqual(scene.compute_bounds(TRIANGLE), BOX)
        self.assertIsNone(scene.compute_bounds([]))

    def test_lattice_and_back(self) -> None:
        self.assertEqual(scene.world_to_matrix((0.5, 2, 7), BOX), (23, 47, 47))
        self.assertEqual(scene.world_to_matrix((math.nan, -1, 0), BOX), (0, 0, 0))
        self.assertEqual(scene.matrix_to_world((47, 0, 9), BOX), (1, 0, 0))

    def test_a_vertex_is_processed(self) -> None:
        vertex = scene.process_vertex((1, 0, 0), BOX)
        coupling = f32(f32(f32(matrix.phi_norm(47, 0, 0) / 48) + 1) * f32(10.665754))
        self.assertEqual(vertex, ((1, 0, 0), (47, 0, 0), matrix.morton_encode(47, 0, 0), -10, -1,
                                  matrix.phi_norm(47, 0, 0), coupling, 0))

    def test_topology_hash(self) -> None:
        triangles = [[0, 1, 2], [2, 1, 3], [3, 0, 2]]
        for vertex in range(5):
            self.assertEqual(scene.topology_hash(vertex, triangles), topology(vertex, triangles))
        self.assertEqual(scene.topology_hash(0, []), 0)

    def test_a_token_is_made(self) -> None:
        vertex = scene.process_vertex((1, 0, 0), BOX)._replace(topology=0xC1C1C1C1)
        token = scene.generate_token(vertex, 9, 0x1FE, 0x2000001)
        payload = 0xC1C1C1C1 ^ vertex.morton ^ 47 << 48
        self.assertEqual(token, (vertex.morton, "FE000001", payload, 9))


    def test_a_number_that_does_not_fit_is_refused(self) -> None:
        vertex = scene.process_vertex((1, 0, 0), BOX)
        for change in ({"morton": 2**64 + 5}, {"morton": -1}, {"k11_level": 128}, {"i_state": 128}, {"i_state": -129},
                       {"topology": 2**32}, {"phi_norm": 1e39}, {"em_coupling": 1e39}, {"cell": (256, 0, 0)},
                       {"position": (1e39, 0, 0)}):
            wrong = vertex._replace(**change)  # type: ignore[arg-type]
            self.assertRaises(OverflowError, scene.generate_token, wrong, 1, 0, 0)
        self.assertRaises(ValueError, scene.generate_token, vertex._replace(position=(1, 0)), 1, 0, 0)  # type: ignore
        self.assertRaises(OverflowError, scene.world_to_matrix, (1e39, 0, 0), BOX)
        self.assertRaises(OverflowError, scene.world_to_matrix, (0, 0, 0), ((0, 0, 0), (1, 1, 1e39)))


class Meshes(Case):
    def test_are_copied_and_processed(self) -> None:
        with SceneMesh.from_arrays(TRIANGLE, [0, 1, 2], "triangle") as mesh:
            self.assertEqual((mesh.name, mesh.vertex_count, mesh.face_count, mesh.layer), ("triangle", 3, 1, 1))
            self.assertEqual(mesh.bounds, BOX)
            self.assertEqual(rows(mesh.positions), [list(point) for point in TRIANGLE])
            indices, vertices, tokens = mesh.indices, mesh.vertices, mesh.tokens
            assert indices is not None and vertices is not None and tokens is not None
            self.assertEqual(indices.tolist(), [[0, 1, 2]])
            self.assertEqual([vertices[1].matrix_x, vertices[1].matrix_y, vertices[1].matrix_z], [47, 0, 0])
            self.assertEqual(vertices[1].topology, topology(1, [[0, 1, 2]]))
            self.assertEqual([(token.hex_id, token.layer) for token in tokens],
                             [(b"00000000", 1), (b"00000001", 1), (b"00000002", 1)])
            mesh.process(6)
            self.assertEqual([token.layer for token in tokens], [6, 6, 6])
            self.assertEqual(mesh.info().splitlines()[:3], ["Mesh: triangle", "Vertices: 3", "Faces: 1"])

    def test_without_vertices_raise_their_code(self) -> None:
        self.fails("qel_alembic_load_raw", -1, SceneMesh.from_arrays, [])

    def test_export_becomes_a_unit(self) -> None:
        with SceneMesh.from_arrays(TRIANGLE, [0, 1, 2]) as mesh:
            mesh.export(self.file("tokens.qel"))
        with Unit.load(self.file("tokens.qel")) as unit:
            self.assertEqual([token.hex_id for token in unit], ["00000000", "00000001", "00000002"])


class Scenes(Case):
    def setUp(self) -> None:
        super().setUp()
        with Archive(TORUS) as archive, archive.read_polymesh() as torus:
            self.torus = SceneMesh.from_arrays(torus.positions, torus.triangles(), "torus")
        self.triangle = SceneMesh.from_arrays(TRIANGLE, [0, 1, 2], "triangle")
        self.triangle.process(2)
        self.scene = Scene([self.torus, self.triangle], fps=30)
        self.addCleanup(self.scene.close)

    def test_knows_itself(self) -> None:
        self.scene.build_index()
        self.assertEqual([mesh.name for mesh in self.scene.meshes], ["torus", "triangle"])
        self.assertEqual((self.scene.vertex_count, self.scene.has_index), (1155, True))
        self.assertEqual(self.scene.frame_range(), (0, 0, 30))
        self.assertIn("Total Vertices: 1155", self.scene.info())
        self.assertIn("Total Faces: 2305", self.scene.info())
        self.scene.validate()

    def test_looks_keys_up(self) -> None:
        self.fails("qel_alembic_lookup_morton", -1, self.scene.lookup_morton, 0)
        self.scene.build_index()
        self.scene.build_index()  # the first table is released
        self.assertEqual(self.scene.lookup_morton(2**40), None)
        hit = self.scene.lookup_morton(matrix.morton_encode(47, 23, 23))
        assert hit is not None and hit.vertex is not None and hit.token is not None
        self.assertEqual(hit[:4], (0, 0, 0, 0))
        self.assertEqual((hit.vertex.position, hit.vertex.cell), ((4, 0, 0), (47, 23, 23)))
        self.assertEqual((hit.token.hex_id, hit.token.layer), ("00000000", 1))

    def test_finds_the_nearest(self) -> None:
        key = 60000
        keys = [vertex.morton for mesh in self.scene.meshes for vertex in mesh.vertices or ()] \
            if not hasattr(self.torus.vertices, "morton") else \
            [int(each) for mesh in self.scene.meshes for each in mesh.vertices.morton]  # type: ignore[union-attr]
        wanted = sorted((math.isqrt(abs(each - key)), place) for place, each in enumerate(keys))[:9]
        hits = self.scene.query_nearest(key, 9)
        self.assertEqual([(hit.distance, hit.mesh_index * 1152 + hit.vertex_index) for hit in hits], wanted)
        self.assertEqual(len(self.scene.query_nearest(key, 2**31 - 1)), 1155)
        self.assertEqual(self.scene.query_nearest(key, 0), [])
        with mock.patch.object(raw, "qel_alembic_query_nearest", lambda *_: 0):
            self.assertEqual(self.scene.query_nearest(key, 0), [])
            self.assertRaises(MemoryError, self.scene.query_nearest, key, 1)
        self.assertEqual(Scene().query_nearest(key, 5), [])
        bare = Scene([self.triangle], [Frame(0, 0, [self.triangle]), Frame(1, 1, [self.triangle])]).interpolate_time(0)
        self.assertEqual(Scene([bare]).query_nearest(key, 5), [])

    def test_lists_a_layer(self) -> None:
        self.assertEqual([hit[:2] for hit in self.scene.query_layer(2)], [(1, 0), (1, 1), (1, 2)])
        self.assertEqual(len(self.scene.query_layer(1, 5)), 5)
        self.triangle.process(3)  # a scene sees what becomes of its meshes
        self.assertEqual([hit[:2] for hit in self.scene.query_layer(3)], [(1, 0), (1, 1), (1, 2)])

    def test_comes_back_from_its_file(self) -> None:
        path = self.file("scene.bqel")
        self.scene.save(path)
        self.assertEqual(path.read_bytes()[:16], struct.pack("<4sIII", b"BQEL", 1, 2, 0))
        with Scene.load(path) as loaded:
            self.assertEqual(loaded.source, str(path))
            self.assertTrue(loaded.has_index)
            again, first = loaded.meshes[1], self.scene.meshes[1]
            self.assertEqual((again.name, again.layer, again.bounds), ("triangle", 2, BOX))
            for name in ("positions", "indices", "vertices", "tokens"):
                self.assertEqual(getattr(again, name).tobytes(), getattr(first, name).tobytes())
            again.process(7)
            self.assertEqual(len(loaded.query_layer(7)), 3)

    def test_export_becomes_a_unit(self) -> None:
        self.scene.export(self.file("tokens.qel"))
        with Unit.load(self.file("tokens.qel")) as unit:
            self.assertEqual(len(unit), 1155)
            self.assertEqual(len(unit.query_layer(2)), 3)

    def test_failures_raise_their_code(self) -> None:
        self.file("other").write_bytes(bytes(64))
        self.fails("qel_alembic_load", -2, Scene.load, self.file("other"))
        self.file("late").write_bytes(b"BQEL\2" + bytes(59))
        self.fails("qel_alembic_load", -3, Scene.load, self.file("late"))
        self.fails("qel_alembic_export_file_qel", -1, Scene().export, self.file("x"))
        self.assertFalse(self.file("x").exists())
        self.fails("qel_alembic_build_hash_table", -1, Scene().build_index)
        self.fails("qel_alembic_validate", -2, Scene().validate)
        self.fails("qel_alembic_sample_frame", -1, Scene().sample_frame, 0)


class Frames(Case):
    def setUp(self) -> None:
        super().setUp()
        self.base = SceneMesh.from_arrays(TRIANGLE, [0, 1, 2], "base")
        later = SceneMesh.from_arrays([(x + 4, y, z) for x, y, z in TRIANGLE])
        self.scene = Scene([self.base], [Frame(10, 1.0, [self.base]), Frame(20, 3.0, [later])], time_end=3)

    def check(self, shown: Scene) -> None:
        self.assertEqual(shown.frame_range(), (0, 1, 24))
        self.assertEqual((shown.time_start, shown.time_end), (0, 3))
        self.assertEqual([(frame.number, frame.time, len(frame.meshes)) for frame in shown.frames],
                         [(10, 1, 1), (20, 3, 1)])
        self.assertEqual(rows(shown.frames[1].meshes[0].positions)[1], [5, 0, 0])
        self.assertEqual(rows(shown.interpolate_time(1.5).positions), [[1, 0, 0], [2, 0, 0], [1, 2, 0]])
        self.fails("qel_alembic_interpolate_time", -1, shown.interpolate_time, 3.5)
        self.assertEqual(rows(shown.sample_frame(20).positions)[0], [4, 0, 0])
        self.fails("qel_alembic_sample_frame", -1, shown.sample_frame, 11)
        hit = shown.lookup_frame_vertex(20, 0, 2)
        self.assertEqual(hit, (0, 2, 1, 0, None, None))
        self.assertIsNotNone(shown.lookup_frame_vertex(0, 0, 2).token)
        self.fails("qel_alembic_lookup_frame_vertex", -1, shown.lookup_frame_vertex, 20, 1, 0)

    def test_times_that_do_not_fit_are_refused(self) -> None:
        for name, number in (("time_start", 1e39), ("time_end", -1e39), ("fps", 1e39)):
            with self.assertRaises(OverflowError):
                Scene([self.base], **{name: number})  # type: ignore[arg-type]
        self.assertRaises(OverflowError, Scene, [self.base], [Frame(1, 1e39, [self.base])])
        self.assertRaises(OverflowError, self.scene.interpolate_time, 1e39)

    def test_of_a_made_scene(self) -> None:
        self.check(self.scene)

    def test_of_a_loaded_scene(self) -> None:
        self.scene.save(self.file("scene.bqel"))
        with Scene.load(self.file("scene.bqel")) as loaded:
            self.check(loaded)

    def test_a_sampled_mesh_is_not_processed(self) -> None:
        self.assertRaises(ValueError, self.scene.sample_frame(10).process, 1)
        self.scene.save(self.file("scene.bqel"))
        with Scene.load(self.file("scene.bqel")) as loaded:
            self.assertRaises(ValueError, loaded.frames[0].meshes[0].process, 1)

    def test_an_interpolated_mesh_can_be_processed(self) -> None:
        between = self.scene.interpolate_time(2.0)
        self.assertIsNone(between.tokens)
        self.fails("qel_alembic_export_qel", -1, between.export, self.file("x"))
        with Scene([between]) as shown:
            shown.meshes[0].process(5)
            self.assertEqual(len(shown.query_layer(5)), 3)
