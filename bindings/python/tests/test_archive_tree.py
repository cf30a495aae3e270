# SPDX-License-Identifier: MIT
"""Archives read by their structure: objects, meshes, times, transforms, and unsound archives."""

import gc
import os
import sys
import unittest
from typing import Any, Callable, List

from qel_unit import ArchiveError, ArchiveObject, ClosedError, Mesh, open_archive
from qel_unit._raw_archive import CODES
from qel_unit.archive import Schema, TimeRange
from qel_unit.archive_tree import Topology

from . import archive_writer as writer
from .support import HARBOUR, Case, buffer, calls, numpy, opened, rows

POSIX = os.name == "posix"
SQUARE = [0.0, 0.0, 0.0, 1.0, 0.0, 0.0, 1.0, 1.0, 0.0, 0.0, 1.0, 0.0]
RAISED = [number + (2.0 if place % 3 == 2 else 0.0) for place, number in enumerate(SQUARE)]


def arm(name: str, offset: List[List[float]], *below: Any, visible: Any = ()) -> writer.Thing:
    """A transform that shifts, with a sample for each half second."""
    sampling = 1 if len(offset) > 1 else 0
    xform = writer.Compound(".xform", [
        writer.Scalar(".ops", 1, [[0x10]]), writer.Scalar(".vals", 11, offset, 3, sampling)])
    shown = [writer.Scalar("visible", 2, [[one] for one in visible], 1, sampling)] if visible else []
    return writer.Thing(name, writer.XFORM, [xform, *shown], below)


class Tree(Case):
    def setUp(self) -> None:
        super().setUp()
        self.archive = open_archive(HARBOUR)
        self.addCleanup(self.archive.close)

    def test_says_what_it_is(self) -> None:
        info = self.archive.info
        self.assertEqual(info[:4], (10709, 42, 23, 2))
        self.assertEqual(info.metadata["_ai_Description"], "a harbour")
        self.assertEqual(self.archive.path, str(HARBOUR))
        self.assertEqual(self.archive.time_range, TimeRange(0.0, 47 / 24, 24.0))

    def test_gives_objects_by_number_and_by_path(self) -> None:
        self.assertEqual(len(self.archive), 42)
        everything = list(self.archive)
        self.assertEqual([found.number for found in everything], list(range(42)))
        for found in everything:
            self.assertEqual(self.archive[found.path], found)
            self.assertEqual(self.archive[found.number].path, found.path)
            self.assertIn(found.path, self.archive)
        self.assertEqual(self.archive[-1], everything[-1])
        self.assertEqual(len(set(everything)), 42)
        for wrong in ("", "harbour", "/harbour/", "/nothing", "/harbour\0"):
            self.assertNotIn(wrong, self.archive)
            self.assertIsNone(self.archive.find(wrong))
            self.assertRaises(KeyError, lambda path=wrong: self.archive[path])
        self.assertNotIn(5, self.archive)
        for number in (42, -43):
            self.assertRaises(IndexError, lambda place=number: self.archive[place])

    def test_is_a_tree(self) -> None:
        top = self.archive.top
        self.assertEqual((top.name, top.path, top.parent, top.number), ("", "/", None, 0))

        def walk(found: ArchiveObject) -> List[int]:
            for child in found.children:
                self.assertEqual(child.parent, found)
                self.assertEqual(child.path, (found.path if found.parent else "") + "/" + child.name)
            return [found.number] + [number for child in found.children for number in walk(child)]

        self.assertEqual(walk(top), list(range(42)))

    def test_lists_its_meshes(self) -> None:
        meshes = list(self.archive.meshes())
        self.assertEqual(len(meshes), 23)
        self.assertTrue(all(found.is_mesh for found in meshes))
        self.assertFalse(self.archive.top.is_mesh)
        kinds = {found.kind for found in meshes}
        self.assertEqual(kinds, {Schema.POLYMESH, Schema.SUBD})
        buoy = self.archive["/harbour/buoy/float"]
        self.assertEqual((buoy.kind, buoy.schema), (Schema.SUBD, "AbcGeom_SubD_v1"))
        self.assertEqual(buoy.metadata["schema"], "AbcGeom_SubD_v1")
        self.assertIs(buoy.archive, self.archive)

    def test_an_object_needs_its_archive(self) -> None:
        sea = self.archive["/harbour/sea"]
        properties = sea.properties
        self.archive.close()
        looks: List[Callable[[], Any]] = [
            sea.mesh, sea.mesh_info, sea.visible, sea.world_transform, lambda: sea.children, lambda: sea.parent,
            lambda: sea.properties, lambda: sea.time_range, lambda: list(self.archive), lambda: "/" in self.archive,
            lambda: len(self.archive), lambda: self.archive.info, lambda: self.archive.path, lambda: self.archive.top,
            lambda: self.archive.time_range, lambda: self.archive.find("/"), lambda: next(self.archive.meshes())]
        for call in looks:
            self.assertRaises(ClosedError, call)
        self.assertEqual(len(properties["P"].samples[0]), 441)  # which holds the archive's record


class Meshes(Case):
    def sea(self) -> ArchiveObject:
        archive = open_archive(HARBOUR)
        self.addCleanup(archive.close)
        return archive["/harbour/sea"]

    def test_come_with_all_that_they_have(self) -> None:
        with self.sea().mesh() as sea:
            self.assertIsInstance(sea, Mesh)
            self.assertEqual((sea.name, sea.path), ("sea", "/harbour/sea"))
            self.assertEqual((sea.vertex_count, sea.face_count), (441, 400))
            positions, normals, counts, corners = sea.positions, sea.normals, sea.face_counts, sea.face_indices
            assert positions is not None and normals is not None and counts is not None and corners is not None
            self.assertEqual((positions.shape, normals.shape), ((441, 3), (441, 3)))
            self.assertEqual(buffer(positions).format, "f")
            self.assertEqual(set(counts.tolist()), {4})
            self.assertEqual((len(corners), max(corners.tolist())), (1600, 440))
            self.assertEqual(sea.normal_scope, 3)
            self.assertIsNone(sea.normal_indices)
            (uvs,) = sea.uv_sets
            self.assertEqual((uvs.name, uvs.scope), ("surface", 3))
            assert uvs.values is not None
            self.assertEqual(uvs.values.shape, (441, 2))
            self.assertEqual(sea.triangles().shape, (800, 3))

    def test_by_number_and_by_time(self) -> None:
        sea = self.sea()
        self.assertEqual(sea.mesh_info(), (48, Topology.POSITIONS_CHANGE, 441, 400, 1600, 0.0, 47 / 24))
        self.assertEqual(sea.time_range, (0.0, 47 / 24))
        for sample in (0, 1, 24, 47):
            self.assertEqual(sea.sample_at(sample / 24), sample)
            by_number, by_time = sea.mesh(sample).positions, sea.mesh(time=sample / 24 + 0.01).positions
            assert by_number is not None and by_time is not None
            self.assertEqual(by_number.tobytes(), by_time.tobytes())
            self.assertEqual(by_number.tobytes(), sea.properties["P"].samples[sample].tobytes())
        self.assertEqual((sea.sample_at(-5), sea.sample_at(99)), (0, 47))
        self.assertRaises(TypeError, lambda: sea.mesh(1, time=0.5))
        self.assertRaises(TypeError, lambda: sea.mesh(1.0))  # type: ignore[arg-type]
        if numpy is not None:
            self.assertEqual(rows(sea.mesh(numpy.int64(3)).positions), rows(sea.mesh(3).positions))
            self.assertEqual(sea.sample_at(numpy.float32(0.5)), 12)
            self.assertEqual(sea.archive[numpy.uint8(2)], sea)
        for sample in (48, -1, 2**64 - 1, 2**64):
            self.assertRaises(IndexError, sea.mesh, sample)

    def test_are_not_copied_and_outlive_their_archive(self) -> None:
        with open_archive(HARBOUR) as archive:
            sea = archive["/harbour/sea"].mesh(24)
        value = sea._held().value
        positions = sea.positions
        assert positions is not None
        if hasattr(positions, "ctypes"):
            import ctypes

            self.assertEqual(positions.ctypes.data, ctypes.addressof(value.positions.contents))
        self.releases("ogawa_free_polymesh", 0, sea.close)
        corner = rows(positions)[440]
        self.assertEqual((corner[0], corner[2]), (16.0, -16.0))
        del sea, value

        def drop() -> None:
            nonlocal positions
            positions = None

        self.releases("ogawa_free_polymesh", 1, drop)

    def test_wrong_kinds_raise_their_code(self) -> None:
        with open_archive(HARBOUR) as archive:
            harbour = archive["/harbour"]
            self.fails("qel_archive_read_mesh", -8, harbour.mesh)
            self.fails("qel_archive_get_mesh_info", -8, harbour.mesh_info)
            self.fails("qel_archive_sample_at", -8, lambda: harbour.mesh(time=1.0))

    def test_normals_by_index_and_of_every_scope(self) -> None:
        up, down = [0.0, 0.0, 1.0], [0.0, 0.0, -1.0]
        scopes = {"con": (0, [0]), "uni": (1, [1]), "vtx": (3, [0, 1, 1, 0]), "fvr": (4, [1, 1, 0, 0])}
        for word, (scope, indices) in scopes.items():
            normals = writer.Compound("N", [
                writer.Array(".vals", 10, [up + down], 3), writer.Array(".indices", 5, [indices])],
                "isGeomParam=true;geoScope=" + word)
            self.file("square.abc").write_bytes(writer.written([
                writer.mesh("square", [SQUARE], [4], [0, 1, 2, 3], others=[normals])]))
            with self.subTest(word), open_archive(self.file("square.abc")) as archive:
                square = archive["/square"].mesh()
                assert square.normals is not None and square.normal_indices is not None
                self.assertEqual((square.normal_scope, rows(square.normals)), (scope, [up, down]))
                self.assertEqual(square.normal_indices.tolist(), indices)


class Standing(Case):
    """Transforms and visibility over time."""

    def setUp(self) -> None:
        super().setUp()
        self.file("arms.abc").write_bytes(writer.written([
            arm("a", [[1, 0, 0], [2, 0, 0]], arm("b", [[0, 10, 0]], writer.mesh(
                "square", [SQUARE, RAISED], [4], [3, 2, 1, 0], 1)), visible=(1, 0))], [(0.5, [0.0])]))
        self.archive = open_archive(self.file("arms.abc"))
        self.addCleanup(self.archive.close)

    def test_transforms_are_those_of_their_time(self) -> None:
        b, square = self.archive["/a/b"], self.archive["/a/b/square"]
        self.assertEqual(rows(b.local_transform())[3], [0, 10, 0, 1])
        for time, x in ((-1.0, 1.0), (0.0, 1.0), (0.49, 1.0), (0.5, 2.0), (7, 2.0)):
            world = square.world_transform(time)
            self.assertEqual(rows(world), [[1, 0, 0, 0], [0, 1, 0, 0], [0, 0, 1, 0], [x, 10, 0, 1]])
            self.assertEqual((world.shape, buffer(world).format), ((4, 4), "d"))
        self.assertEqual(square.mesh(time=0.5).transform[12:], (2.0, 10.0, 0.0, 1.0))
        self.assertEqual(rows(square.mesh(time=0.5).positions)[0], [0, 0, 2])
        self.assertEqual(rows(square.local_transform(0.5))[3], [0, 0, 0, 1])

    def test_visibility_is_that_of_its_time(self) -> None:
        square = self.archive["/a/b/square"]
        self.assertEqual([square.visible(time) for time in (0.0, 0.25, 0.5, 1.0)], [True, True, False, False])
        self.assertIs(square.visible(), True)

    def test_times_are_those_of_what_changes(self) -> None:
        self.assertEqual(self.archive["/a"].time_range, (0.0, 0.5))
        self.assertIsNone(self.archive["/a/b"].time_range)
        self.assertEqual(self.archive.time_range, (0.0, 0.5, 2.0))


class Failures(Case):
    def raises(self, code: int, content: bytes) -> None:
        path = self.file("file.abc")
        path.write_bytes(content)
        self.fails("qel_archive_open", code, open_archive, path)
        with self.assertRaisesRegex(ArchiveError, str(path)) as caught:
            open_archive(path)
        self.assertEqual(caught.exception.path, str(path))

    def test_an_unsound_archive_raises_its_code(self) -> None:
        sound = HARBOUR.read_bytes()
        self.raises(-3, b"Ogawa\xff\0\1")
        self.raises(-3, b"something else that is long enough")
        self.raises(-4, b"\x89HDF\r\n\x1a\n" + bytes(64))
        self.raises(-5, sound[:5] + b"\0" + sound[6:])
        self.raises(-5, sound[: len(sound) // 2])
        self.assertIn("older archive in the HDF5 container", CODES["qel_archive_open"][-4])

    def test_what_cannot_be_opened_raises_the_systems_error(self) -> None:
        with self.assertRaises(FileNotFoundError) as caught:
            open_archive(self.file("missing.abc"))
        self.assertEqual(caught.exception.filename, str(self.file("missing.abc")))
        self.assertRaises(IsADirectoryError, open_archive, self.folder)
        self.assertRaises(ValueError, open_archive, "a\0b")
        if POSIX:
            os.mkfifo(self.file("pipe"))
            self.assertRaises(OSError, open_archive, self.file("pipe"))
            self.file("bytes.abc").write_bytes(HARBOUR.read_bytes())
            self.assertEqual(len(open_archive(os.fsencode(self.file("bytes.abc")))), 42)

    def test_a_file_truncated_while_it_is_open_raises(self) -> None:
        path = self.file("harbour.abc")
        path.write_bytes(HARBOUR.read_bytes())
        with open_archive(path) as archive:
            os.truncate(path, 4096)
            with self.assertRaises((ArchiveError, OSError)):
                archive["/harbour/boat/sail"].mesh(47)

    @unittest.skipUnless(sys.platform == "linux", "looks into /proc")
    def test_a_close_closes_the_file(self) -> None:
        before = calls["qel_archive_close"]
        archive = open_archive(HARBOUR)
        self.assertTrue(opened(HARBOUR))
        archive.close()
        gc.collect()
        self.assertFalse(opened(HARBOUR))
        self.assertEqual(calls["qel_archive_close"] - before, 1)
