# SPDX-License-Identifier: MIT
import struct
import subprocess
import sys
import unittest
from typing import Any

from qel_unit import Archive, CorruptFileError, Mesh, MeshCache, Skin, cache

from .support import FOLDER, TORUS, Case, rows
from .test_skin import IDENTITY

TRIANGLE = [(0, 0, 0), (1, 0, 0), (0, 2, 0)]


def triangle() -> Mesh:
    return Mesh.from_arrays(TRIANGLE, [0, 1, 2], normals=[(0, 0, 1)] * 3)


class Saving(Case):
    def test_a_mesh_comes_back(self) -> None:
        path = self.file("mesh.qelm")
        with triangle() as mesh:
            cache.save(path, mesh)
        self.assertEqual(path.read_bytes()[:24], struct.pack("<4sHHIIII", b"QELM", 2, 1, 3, 1, 0, 1))
        with MeshCache.load(path) as mapped:
            self.assertEqual((mapped.version, mapped.flags), (2, 1))
            self.assertEqual((mapped.vertex_count, mapped.triangle_count), (3, 1))
            self.assertEqual(mapped.bounds, ((0, 0, 0), (1, 2, 0)))
            self.assertEqual(mapped.file_size, 64 + 36 + 36 + 12)
            positions, normals, indices = mapped.gpu_data()
            self.assertEqual(rows(positions), [list(point) for point in TRIANGLE])
            self.assertEqual(rows(normals), [[0, 0, 1]] * 3)
            self.assertEqual(indices.tolist(), [[0, 1, 2]])
            self.assertEqual(rows(mapped.positions), rows(positions))
            self.assertEqual(rows(mapped.normals), rows(normals))
            self.assertEqual(mapped.indices.tolist(), [[0, 1, 2]])
            self.assertIsNone(mapped.skin)

    def test_views_are_read_only(self) -> None:
        with triangle() as mesh:
            cache.save(self.file("mesh.qelm"), mesh)
        with MeshCache.load(self.file("mesh.qelm")) as mapped:
            positions: Any = mapped.positions
            with self.assertRaises((TypeError, ValueError)):
                positions[0, 0] = 1.0

    def test_a_skin_comes_back(self) -> None:
        skin = Skin.from_arrays([IDENTITY], [[0, 0, 0, 0]] * 3, [[1, 0, 0, 0]] * 3, bind_extra=b"more")
        with triangle() as mesh:
            cache.save(self.file("mesh.qelm"), mesh, skin)
        with MeshCache.load(self.file("mesh.qelm")) as mapped:
            self.assertEqual(mapped.flags, 5)
            again = mapped.skin
            assert again is not None
            self.assertEqual((again.joint_count, again.weight_count, again.bind_extra[:5]), (1, 3, b"more\0"))
            self.assertEqual(rows(again.apply(IDENTITY, mapped.positions)), [list(point) for point in TRIANGLE])

    def test_an_archives_mesh_goes_in(self) -> None:
        with Archive(TORUS) as archive, archive.read_polymesh() as torus:
            cache.save(self.file("torus.qelm"), torus)
            with MeshCache.load(self.file("torus.qelm")) as mapped:
                self.assertEqual(mapped.positions.tobytes(), torus.positions.tobytes() if torus.positions is not None
                                 else None)
                self.assertEqual(mapped.indices.tolist(), torus.triangles().tolist())

    def test_a_mesh_without_faces_or_normals(self) -> None:
        with Mesh.from_arrays(TRIANGLE) as mesh:
            cache.save(self.file("points.qelm"), mesh)
        with MeshCache.load(self.file("points.qelm")) as mapped:
            self.assertEqual((mapped.triangle_count, mapped.indices.tolist()), (0, []))
            self.assertEqual((mapped.flags, mapped.normals), (0, None))

    def test_failures_raise_their_code(self) -> None:
        with Mesh.from_arrays(TRIANGLE, [0, 1, 3]) as mesh:
            self.fails("qel_mesh_save", -10, cache.save, self.file("x"), mesh)
        with Mesh.from_arrays([]) as mesh:
            self.fails("qel_mesh_save", -1, cache.save, self.file("x"), mesh)
        self.assertFalse(self.file("x").exists())

    def test_a_failed_save_keeps_the_old_file(self) -> None:
        self.file("x").write_bytes(b"old")
        with Mesh.from_arrays(TRIANGLE, [0, 1, 3]) as mesh:
            self.fails("qel_mesh_save", -10, cache.save, self.file("x"), mesh)
        self.assertEqual(self.file("x").read_bytes(), b"old")


    def test_leaves_other_files_alone(self) -> None:
        other = self.file("x.qelm.tmp")
        other.write_bytes(b"mine")
        for _ in range(2):
            with triangle() as mesh:
                cache.save(self.file("x.qelm"), mesh)
        self.assertEqual(other.read_bytes(), b"mine")
        self.assertEqual(sorted(path.name for path in self.folder.iterdir()), ["x.qelm", "x.qelm.tmp"])

    @unittest.skipIf(sys.platform == "win32", "needs permissions")
    def test_a_replaced_file_keeps_its_permissions(self) -> None:
        with triangle() as mesh:
            cache.save(self.file("x"), mesh)
            self.file("x").chmod(0o640)
            cache.save(self.file("x"), mesh)
        self.assertEqual(self.file("x").stat().st_mode & 0o777, 0o640)

    @unittest.skipUnless(sys.platform == "linux", "needs a limit on file sizes")
    def test_a_file_that_is_cut_short_raises_and_keeps_the_old_one(self) -> None:
        program = """
import resource, sys
from pathlib import Path
from qel_unit import Mesh, Skin, cache
path, present, limit, count = Path(sys.argv[1]), sys.argv[2] == "present", int(sys.argv[3]), 3000
one = [1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1]
skin = Skin.from_arrays([one], [[0] * 4] * count, [[1, 0, 0, 0]] * count)
mesh = Mesh.from_arrays([(0, 0, 0)] * count, normals=[(0, 0, 1)] * count)
if present:
    cache.save(path, mesh)
before = path.read_bytes() if present else None
resource.setrlimit(resource.RLIMIT_FSIZE, (limit, limit))
try:
    cache.save(path, mesh, skin)
except OSError as error:
    print(error)
else:
    print("nothing raised")
assert (path.read_bytes() if path.exists() else None) == before
assert [other.name for other in path.parent.iterdir()] == [path.name] * present
"""
        whole = 64 + 24 * 3000 + 4 + 328 + 4 + 20 * 3000 + 128
        for present in ("present", "absent"):
            for limit in (10, 16384, whole - 1):
                folder = self.file("{} {}".format(present, limit))
                folder.mkdir()
                ended = subprocess.run(
                    [sys.executable, "-W", "error", "-c", program, str(folder / "mesh.qelm"), present, str(limit)],
                    capture_output=True, text=True, cwd=str(FOLDER.parent))
                self.assertEqual((ended.returncode, ended.stderr), (0, ""))
                self.assertIn("could not be written whole", ended.stdout)


class Loading(Case):
    def test_failures_raise_their_code(self) -> None:
        self.file("empty").write_bytes(b"")
        self.fails("qel_mesh_load", -3, MeshCache.load, self.file("empty"))
        self.file("other").write_bytes(b"QELX" + bytes(60))
        self.fails("qel_mesh_load", -5, MeshCache.load, self.file("other"))

    def test_arrays_beyond_the_files_end_are_refused(self) -> None:
        path = self.file("mesh.qelm")
        with triangle() as mesh:
            cache.save(path, mesh)
        whole = path.read_bytes()
        for at in (8, 12, 48, 52, 56):  # the counts and the three offsets
            bad = bytearray(whole)
            bad[at : at + 4] = b"\xff\xff\xff\xff"
            path.write_bytes(bad)
            self.assertRaises(CorruptFileError, MeshCache.load, path)
        for length in range(4, len(whole)):
            path.write_bytes(whole[:length])
            try:
                with MeshCache.load(path) as mapped:
                    for block in mapped.gpu_data():
                        self.assertEqual(0 if block is None else len(block.tobytes()), getattr(block, "nbytes", 0))
            except CorruptFileError:
                pass
