# SPDX-License-Identifier: MIT
"""What people expect of any package: a version, a word on every object, pickles, slices, types for type checkers."""

import copy
import enum
import inspect
import os
import pickle
import pkgutil
import re
import shutil
import subprocess
import unittest
from importlib import import_module
from typing import Any, List

import qel_unit
from qel_unit import AgentDirectory, Archive, ArchiveTree, Mesh, MeshCache, QelError, Scene, SceneMesh, Skin, Token
from qel_unit import Unit, archive, cache, open_archive
from qel_unit.errors import ArchiveError
from qel_unit.mesh import UVSet

from .support import FOLDER, HARBOUR, ROOT, TORUS, Case, numpy
from .test_skin import IDENTITY
from .test_unit import TOKENS

TRIANGLE = [(0, 0, 0), (1, 0, 0), (0, 2, 0)]


class Version(Case):
    def test_is_that_of_the_library(self) -> None:
        text = (ROOT / "CHANGELOG.md").read_text(encoding="utf-8")
        found = re.search(r"^## ([\d.]+)", text, re.M)  # the newest
        assert found is not None
        self.assertEqual(qel_unit.__version__, found.group(1))


class Words(Case):
    """Every class has its own `repr`."""

    def test_are_defined_by_every_class(self) -> None:
        silent = []
        for module in pkgutil.iter_modules(qel_unit.__path__):
            if module.name.startswith("_raw") or module.name == "_types":
                continue
            found = import_module("qel_unit." + module.name)
            for name, kind in inspect.getmembers(found, inspect.isclass):
                if kind.__module__ == found.__name__ and not name.startswith("_") and kind.__repr__ is object.__repr__:
                    silent.append(name)
        self.assertEqual(sorted(silent), ["ArchiveRecord", "Record"])  # base classes of those that have one
        self.assertTrue(issubclass(archive.Schema, enum.IntEnum))

    def test_say_what_each_one_is(self) -> None:
        with Archive(TORUS) as source:
            torus, uvs = source.read_polymesh(), source.read_uvs()
        cache.save(self.file("t.qelm"), torus)
        triangle = SceneMesh.from_arrays(TRIANGLE, [0, 1, 2], "three")
        tree = open_archive(HARBOUR)
        sea = tree["/harbour/sea"]
        with AgentDirectory() as directory:
            self.assertEqual(repr(directory), "<AgentDirectory None of 0 agents>")
        self.assertEqual(repr(directory), "<AgentDirectory: closed>")
        wanted = {
            "<Archive {!r}>".format(str(TORUS)): Archive(TORUS),
            "<Mesh '/mesh' of 1152 vertices and 1152 faces>": torus,
            "<UVSet 'uv' of 3 pairs>": UVSet.from_arrays([(0, 0), (1, 0), (0, 1)]),
            "<Manifold of 1152 vertices and 1152 faces>": torus.build_manifold(),
            "<TangentFrame of 1152 vertices>": torus.compute_tangent_frame(uvs),
            "<MeshCache of 1152 vertices and 2304 triangles>": MeshCache.load(self.file("t.qelm")),
            "<SceneMesh 'three' of 3 vertices and 1 triangles>": triangle,
            "<Scene of 1 meshes and 0 frames>": Scene([triangle]),
            "<Unit of 16 tokens>": Unit.from_tokens(TOKENS),
            "<Skin of 1 joints for 2 vertices>": Skin.from_arrays([IDENTITY], [[0] * 4] * 2, [[1, 0, 0, 0]] * 2),
            "<Object '/arm': Xform>": archive.Object("arm", schema=archive.Schema.XFORM),
            "<ArchiveTree {!r}: 42 objects, 23 meshes>".format(str(HARBOUR)): tree,
            "<ArchiveObject 2 '/harbour/sea': AbcGeom_PolyMesh_v1>": sea,
            "<ArchiveProperty '.geom/P': array of f32 x 3, 48 samples>": sea.properties["P"],
            "<ArchiveProperty '.geom': compound>": sea.properties[".geom"],
            "<Samples of '.geom/P': 48>": sea.properties["P"].samples,
        }
        for text, one in wanted.items():
            self.assertEqual(repr(one), text)
            if hasattr(one, "close"):
                one.close()
                self.assertEqual(repr(one), "<{}: closed>".format(type(one).__name__))
        tree.close()

    def test_of_properties_are_their_names(self) -> None:
        with open_archive(HARBOUR) as tree:
            self.assertRegex(repr(tree["/harbour/sea"].properties), r"^<Properties: \.geom, \.geom/\.selfBnds, ")


class Pickles(Case):
    """What came from a file is opened again by the file's full path."""

    def make_files(self) -> None:
        with Unit.from_tokens(TOKENS) as unit:
            unit.save(self.file("u.qel"))
        with Mesh.from_arrays(TRIANGLE, [0, 1, 2]) as mesh:
            cache.save(self.file("m.qelm"), mesh)
        with Scene([SceneMesh.from_arrays(TRIANGLE, [0, 1, 2], "three")]) as scene:
            scene.save(self.file("s.bqel"))
        self.file("h.abc").write_bytes(HARBOUR.read_bytes())

    def test_open_the_file_again_wherever_the_process_works(self) -> None:
        self.make_files()
        here = os.getcwd()
        self.addCleanup(os.chdir, here)
        os.chdir(self.folder)
        owners: List[Any] = [
            Unit.load("u.qel"), MeshCache.load("m.qelm"), Scene.load("s.bqel"), open_archive("h.abc"), Archive("h.abc")]
        plain = [pickle.dumps(owner) for owner in owners]
        copies = [copy.copy(owner) for owner in owners]
        os.chdir(here)
        again = [pickle.loads(one) for one in plain]
        for kinds in (again, copies):
            self.assertEqual([type(one) for one in kinds], [Unit, MeshCache, Scene, ArchiveTree, Archive])
            unit, mesh, scene, tree, _ = kinds
            self.assertEqual(list(unit), TOKENS)
            self.assertEqual(mesh.positions.tolist(), [list(map(float, point)) for point in TRIANGLE])
            self.assertEqual([one.name for one in scene.meshes], ["three"])
            self.assertEqual(len(tree), 42)
            for one in kinds:
                self.assertFalse(one.closed)
        os.remove(self.file("u.qel"))
        self.assertRaises(FileNotFoundError, pickle.loads, plain[0])
        for owner in owners:
            owner.close()
            self.assertRaises(qel_unit.ClosedError, pickle.dumps, owner)

    def test_objects_of_an_archive_share_it(self) -> None:
        with open_archive(HARBOUR) as tree:
            sea, boat = pickle.loads(pickle.dumps([tree["/harbour/sea"], tree["/harbour/boat"]]))
        self.assertIs(sea.archive, boat.archive)
        self.assertEqual((sea.path, boat.path, sea.mesh().vertex_count), ("/harbour/sea", "/harbour/boat", 441))

    def test_are_refused_where_no_file_holds_the_same(self) -> None:
        self.make_files()

        def changed_mesh() -> Scene:
            scene = Scene.load(self.file("s.bqel"))
            scene.meshes[0].process(7)
            return scene

        def changed_token() -> Unit:
            unit = Unit.load(self.file("u.qel"))
            unit.apply_ilogic(0, 2)
            return unit

        def changed_word() -> Unit:
            unit = Unit.load(self.file("u.qel"))
            unit.extra = 5
            return unit

        triangle = SceneMesh.from_arrays(TRIANGLE)
        owners: List[Any] = [
            changed_mesh(), changed_token(), changed_word(), Unit.from_tokens(TOKENS), Scene([triangle]), triangle,
            Mesh.from_arrays(TRIANGLE), archive.Object("a")]
        for owner in owners:
            with owner:
                with self.assertRaisesRegex(TypeError, "this {} cannot be pickled".format(type(owner).__name__)):
                    pickle.dumps(owner)

    def test_of_errors_say_the_same(self) -> None:
        for error in (QelError("qel_unit_create", -1), ArchiveError("qel_archive_open", -4, "old.abc")):
            again = pickle.loads(pickle.dumps(error))
            self.assertEqual((type(again), str(again), vars(again)), (type(error), str(error), vars(error)))


class Units(Case):
    def test_have_slices(self) -> None:
        odd = TOKENS[:15] + [Token(TOKENS[15].morton, "\u00e9\0x", 2**64 - 1, 255)]
        with Unit.from_tokens(odd) as unit:
            for first in (None, 0, 3, 10, 16, 20, -1, -3, -20):
                for last in (None, 0, 5, 16, 20, -1, -20):
                    for step in (None, 1, 2, 5, -1, -3):
                        part = slice(first, last, step)
                        self.assertEqual(unit[part], odd[part], part)
            self.assertRaises(ValueError, lambda: unit[::0])
            self.assertIsInstance(unit[3:4][0], Token)

    def test_give_identities_as_bytes_and_as_texts(self) -> None:
        texts = ["\u00e9", "", "12345678", "a\0b"]
        with Unit.create(range(4), texts, [0] * 4, [0] * 4) as unit:
            self.assertEqual(unit.hex_ids(text=True), texts)
            self.assertEqual(unit.hex_ids().tobytes(), unit.all_tokens().hex_ids.tobytes())
            self.assertEqual(unit.hex_ids().shape, (4, 8))


CALLER = '''
from typing import List, Optional
import numpy as np
from numpy.typing import NDArray
import qel_unit

def world(found: qel_unit.ArchiveObject, time: float) -> NDArray[np.float32]:
    with found.mesh(time=time) as mesh:
        positions = mesh.positions
        assert positions is not None
        matrix = found.world_transform(time)
        moved: NDArray[np.float64] = positions @ matrix[:3, :3] + matrix[3, :3]
        return moved.astype(np.float32)

with qel_unit.open_archive("harbour.abc") as archive:
    boxes: List[NDArray[np.float32]] = [world(found, 0.5).max(axis=0) for found in archive.meshes()]
    parent: Optional[qel_unit.ArchiveObject] = archive.top.parent
    reveal_type(archive["/harbour/sea"].mesh().triangles())
with qel_unit.Unit.load("tokens.qel") as unit:
    some: List[qel_unit.Token] = unit[10:20]
    one: qel_unit.Token = unit[3]
    texts: List[str] = unit.hex_ids(text=True)
    reveal_type(unit.query_nearest(one.morton, 5).numbers)
    keys: NDArray[np.uint64] = unit.all_tokens().mortons
    first: int = int(unit.tokens.morton[0])
'''
WRONG = '''
import qel_unit
with qel_unit.open_archive("harbour.abc") as archive:
    archive["/harbour/sea"].mesh("first")
    unknown: str = archive.top.number
'''


@unittest.skipUnless(numpy is not None and shutil.which("mypy"), "needs NumPy and mypy")
class Types(Case):
    """The output of `mypy --strict` for a program that uses the package."""

    def checked(self, program: str) -> "subprocess.CompletedProcess[str]":
        self.file("caller.py").write_text(program, encoding="utf-8")
        environment = {**os.environ, "MYPYPATH": str(FOLDER.parent)}
        return subprocess.run(
            ["mypy", "--strict", "--follow-imports=silent", "--cache-dir", str(ROOT / "build" / "mypy-caller"),
             "caller.py"], capture_output=True, text=True, cwd=str(self.folder), env=environment)

    def test_are_found_by_callers(self) -> None:
        answer = self.checked(CALLER)
        self.assertEqual(answer.returncode, 0, answer.stdout + answer.stderr)
        revealed = re.findall(r'Revealed type is "(.*)"', answer.stdout)
        self.assertEqual(len(revealed), 2, answer.stdout)
        for text in revealed:
            self.assertEqual(
                text, "numpy.ndarray[Any, numpy.dtype[numpy.unsignedinteger[numpy._typing._32Bit]]]")

    def test_refuse_what_is_wrong(self) -> None:
        answer = self.checked(WRONG)
        self.assertEqual(answer.returncode, 1)
        self.assertEqual(re.findall(r"caller\.py:(\d+): error", answer.stdout), ["4", "5"])
