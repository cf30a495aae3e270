# SPDX-License-Identifier: MIT
"""No view dangles, nothing is released twice or leaked, and closed objects raise."""

import gc
import sys
import unittest
from typing import Any, List

from qel_unit import Archive, ClosedError, Mesh, MeshCache, Scene, SceneMesh, Skin, Unit, archive, cache
from qel_unit._records import Owner
from qel_unit.mesh import UVSet

from .support import TORUS, Case, mapped, opened, rows
from .test_skin import IDENTITY
from .test_unit import TOKENS

TRIANGLE = [(0, 0, 0), (1, 0, 0), (0, 2, 0)]
LINUX = sys.platform == "linux"


def everything_of(owner: Owner) -> List[str]:
    """The names of an owner's properties and of its methods that need no arguments."""
    plain = [name for name in dir(type(owner)) if not name.startswith("_")]
    return [name for name in plain if isinstance(getattr(type(owner), name), property) and name != "closed"]


class Closed(Case):
    def owners(self) -> List[Owner]:
        opened_archive = Archive(TORUS)
        torus = opened_archive.read_polymesh()
        uvs = opened_archive.read_uvs()
        cache.save(self.file("torus.qelm"), torus)
        triangle = SceneMesh.from_arrays(TRIANGLE)
        return [
            opened_archive, torus, uvs, torus.build_manifold(), torus.compute_tangent_frame(uvs),
            MeshCache.load(self.file("torus.qelm")), triangle, Scene([triangle]), Unit.from_tokens(TOKENS),
            Skin.from_arrays([IDENTITY], [[0] * 4], [[1, 0, 0, 0]]), archive.Object("object"),
        ]

    def test_owners_refuse_every_property(self) -> None:
        for owner in self.owners():
            names = everything_of(owner)
            self.assertTrue(names, owner)
            for name in names:
                getattr(owner, name)
            owner.close()
            owner.close()
            self.assertTrue(owner.closed)
            for name in names:
                with self.assertRaises(ClosedError, msg=(type(owner), name)):
                    getattr(owner, name)
            with self.assertRaisesRegex(ClosedError, "this {} is closed".format(type(owner).__name__)):
                owner.__enter__()

    def test_owners_refuse_their_methods(self) -> None:
        (opened_archive, torus, uvs, manifold, frame, mapped_cache, triangle, scene, unit, skin, thing) = self.owners()
        others: Any = (opened_archive, torus, uvs, manifold, frame, mapped_cache, triangle, scene, unit, skin, thing)
        for owner in others:
            owner.close()
        path = self.file("x")
        a, m, _, f, t, c, s, e, u, k, _ = others
        for call in (
            a.info, a.read_polymesh, a.first_polymesh, a.read_positions, a.read_normals, a.read_uvs,
            a.read_tangent_frame, a.read_skinning, m.triangles, m.build_manifold, c.gpu_data, s.info, e.info,
            e.validate, e.build_index, e.frame_range, u.all_tokens, f.is_closed, lambda: len(u), lambda: len(t),
            lambda: m.compute_tangent_frame(uvs), lambda: f.vertex_faces(0), lambda: f.vertex_neighbors(0),
            lambda: s.process(1), lambda: s.export(path), lambda: e.save(path), lambda: e.export(path),
            lambda: e.lookup_morton(0), lambda: e.lookup_frame_vertex(0, 0, 0), lambda: e.query_nearest(0, 1),
            lambda: e.query_layer(1), lambda: e.sample_frame(0), lambda: e.interpolate_time(0), lambda: u.save(path),
            lambda: u.token(0), lambda: u[0], lambda: u.lookup_morton(0), lambda: u.lookup_hex(""),
            lambda: u.query_lattice_vertex(0, 0, 0), lambda: u.query_layer(1), lambda: u.query_nearest(0, 1),
            lambda: u.apply_ilogic(0, 2), lambda: k.apply([], []), lambda: cache.save(path, m), lambda: Scene([s]),
            lambda: archive.Object("parent", children=[thing]),  # type: ignore[list-item]
        ):
            self.assertRaises(ClosedError, call)
        self.assertFalse(path.exists())

    def test_a_failed_with_closes(self) -> None:
        with self.assertRaises(KeyError), Unit.from_tokens(TOKENS) as unit:
            raise KeyError
        self.assertTrue(unit.closed)


class Views(Case):
    def test_of_a_unit_outlive_its_close(self) -> None:
        unit = Unit.from_tokens(TOKENS)
        tokens, order = unit.tokens, unit.order
        self.releases("qel_unit_free", 0, unit.close)
        self.assertEqual(tokens[3].payload, 103)
        del tokens
        self.assertEqual(order[15], 15)
        part = order[2:4]
        del order
        gc.collect()
        self.assertEqual(part.tolist(), [2, 3])
        del unit

        def drop() -> None:
            nonlocal part
            del part

        self.releases("qel_unit_free", 1, drop)

    def test_of_results_outlive_the_unit(self) -> None:
        with Unit.from_tokens(TOKENS) as unit:
            numbers = unit.query_layer(1)
        self.assertEqual(numbers.tolist(), [4, 5, 6, 7])

    @unittest.skipUnless(LINUX, "looks into /proc")
    def test_of_a_cache_hold_the_mapping(self) -> None:
        path = self.file("mesh.qelm")
        with Mesh.from_arrays(TRIANGLE, [0, 1, 2]) as mesh:
            cache.save(path, mesh)
        loaded = MeshCache.load(path)
        positions = loaded.positions
        loaded.close()
        gc.collect()
        self.assertTrue(mapped(path))
        self.assertEqual(rows(positions)[2], [0, 2, 0])
        del positions
        gc.collect()
        self.assertFalse(mapped(path))

    @unittest.skipUnless(LINUX, "looks into /proc")
    def test_a_cache_without_views_unmaps_at_once(self) -> None:
        path = self.file("mesh.qelm")
        with Mesh.from_arrays(TRIANGLE, [0, 1, 2]) as mesh:
            cache.save(path, mesh)
        with MeshCache.load(path) as loaded:
            self.assertEqual(rows(loaded.positions)[2], [0, 2, 0])
            self.assertTrue(mapped(path))
        self.assertFalse(mapped(path))

    def test_of_a_cache_survive_a_save_over_it(self) -> None:
        path = self.file("mesh.qelm")
        many = [(float(i), 0.0, 0.0) for i in range(3000)]
        with Mesh.from_arrays(many, [0, 1, 2]) as mesh:
            cache.save(path, mesh)
        with MeshCache.load(path) as loaded:
            positions = loaded.positions
            with Mesh.from_arrays(TRIANGLE, [0, 1, 2]) as mesh:
                cache.save(path, mesh)
            self.assertEqual(positions[2999, 0], 2999)
            with MeshCache.load(path) as again:
                self.assertEqual(again.vertex_count, 3)
        self.assertEqual([entry.name for entry in self.folder.iterdir()], ["mesh.qelm"])

    def test_of_a_caches_skin_outlive_it(self) -> None:
        skin = Skin.from_arrays([IDENTITY], [[0] * 4] * 3, [[1, 0, 0, 0]] * 3)
        with Mesh.from_arrays(TRIANGLE, [0, 1, 2]) as mesh:
            cache.save(self.file("mesh.qelm"), mesh, skin)
        with MeshCache.load(self.file("mesh.qelm")) as loaded:
            kept = loaded.skin
        assert kept is not None
        self.assertEqual(rows(kept.apply(IDENTITY, TRIANGLE)), [list(point) for point in TRIANGLE])

        def drop() -> None:
            nonlocal kept
            kept = None

        self.releases("qel_mesh_free", 1, drop)

    @unittest.skipUnless(LINUX, "looks into /proc")
    def test_of_the_first_mesh_hold_the_archive(self) -> None:
        source = Archive(TORUS)
        first = source.first_polymesh()
        assert first is not None
        positions = first.positions
        first.close()
        source.close()
        gc.collect()
        self.assertTrue(opened(TORUS))
        self.assertEqual(rows(positions)[0], [4, 0, 0])
        del positions
        gc.collect()
        self.assertFalse(opened(TORUS))

    def test_of_a_manifold_hold_the_mesh(self) -> None:
        mesh = Mesh.from_arrays(TRIANGLE, [0, 1, 2])
        manifold = mesh.build_manifold()
        faces = manifold.vertex_faces(1)
        mesh.close()
        del mesh
        gc.collect()
        self.assertEqual(manifold.vertex_neighbors(0).tolist(), [1, 2])
        manifold.close()
        self.assertEqual(faces.tolist(), [0])

    def test_of_a_scene_hold_it(self) -> None:
        with Scene([SceneMesh.from_arrays(TRIANGLE, [0, 1, 2], "kept")]) as scene:
            scene.save(self.file("scene.bqel"))
        with Scene.load(self.file("scene.bqel")) as scene:
            mesh = scene.meshes[0]
            (hit,) = scene.query_nearest(0, 1)
        gc.collect()
        tokens = mesh.tokens
        mesh.close()
        gc.collect()
        assert tokens is not None and hit.token is not None
        self.assertEqual(tokens[2].hex_id, b"00000002")
        self.assertEqual(hit.token.hex_id, "00000000")

    def test_of_a_scenes_meshes_outlive_their_owners(self) -> None:
        mesh = SceneMesh.from_arrays(TRIANGLE, [0, 1, 2])
        scene = Scene([mesh])
        mesh.close()
        del mesh
        gc.collect()
        self.assertEqual(len(scene.query_layer(1)), 3)
        self.releases("qel_alembic_mesh_free", 1, scene.close)

    def test_of_a_callers_buffer_hold_it(self) -> None:
        buffer = bytearray(36)
        mesh = Mesh.from_arrays(memoryview(buffer).cast("f"))
        with self.assertRaises(BufferError):
            buffer.extend(b"more")  # would move what the mesh looks at
        mesh.close()


class Releases(Case):
    """Every record and array is released once."""

    def test_of_arrays_that_are_handed_out(self) -> None:
        with Archive(TORUS) as source:
            self.releases("ogawa_free_uv_set", 3, lambda: [source.read_normals() for _ in range(3)])
            self.releases("ogawa_free_uv_set", 1, source.read_uvs)
            self.releases("ogawa_free_tangent_frame", 1, source.read_tangent_frame)
            self.releases("ogawa_free_polymesh", 1, source.read_polymesh)
        self.releases("ogawa_close", 1, lambda: Archive(TORUS).close())

    def test_of_a_unit_and_its_order(self) -> None:
        # Arrays are freed by way of a UV set; the order is the unit's one array that its release leaves.
        self.releases("ogawa_free_uv_set", 1, lambda: Unit.from_tokens(TOKENS).close())
        self.releases("qel_unit_free", 1, lambda: Unit.from_tokens(TOKENS).close())

    def test_of_failures(self) -> None:
        self.releases("qel_unit_free", 1, lambda: self.fails("qel_unit_create", -1, Unit.from_tokens, []))
        self.releases("qel_alembic_free", 1, lambda: self.assertRaises(
            FileNotFoundError, Scene.load, self.file("missing")))
        with Archive(TORUS) as source:
            self.releases("qel_skin_free", 1, lambda: self.fails("ogawa_read_skinning", -1, source.read_skinning))

    def test_of_a_tree_of_objects(self) -> None:
        def plant() -> None:
            leaves = [archive.Object("leaf{}".format(place)) for place in range(3)]
            archive.Object("root", children=[archive.Object("branch", children=leaves)])

        self.releases("ogawa_free_object", 1, plant)

    def test_of_manifolds_and_frames(self) -> None:
        with Mesh.from_arrays(TRIANGLE, [0, 1, 2]) as mesh:
            uvs = UVSet.from_arrays([(0, 0), (1, 0), (0, 1)])
            self.releases("ogawa_free_manifold", 2, lambda: [mesh.build_manifold(), mesh.build_manifold()])
            self.releases("ogawa_free_tangent_frame", 1, lambda: mesh.compute_tangent_frame(uvs))
