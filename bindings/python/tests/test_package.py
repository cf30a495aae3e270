# SPDX-License-Identifier: MIT
import re
import subprocess
import sys
from typing import Any, Callable, List

import qel_unit
from qel_unit import Archive, ArchiveTree, Mesh, MeshCache, Scene, SceneMesh, Skin, Unit, archive, mesh
from qel_unit._records import Owner

from .support import FOLDER, HARBOUR, ROOT, TORUS, Case


class Package(Case):
    def test_includes_the_licence(self) -> None:
        self.assertEqual((FOLDER.parent / "LICENSE").read_bytes(), (ROOT / "LICENSE").read_bytes())

    def test_names_what_it_exports(self) -> None:
        for name in qel_unit.__all__:
            self.assertTrue(getattr(qel_unit, name).__doc__, name)

    def test_owners_say_how_they_are_made(self) -> None:
        makers = {
            Mesh: "Mesh.from_arrays", MeshCache: "MeshCache.load", Skin: "Skin.from_arrays", Unit: "Unit.create",
            SceneMesh: "SceneMesh.from_arrays", mesh.UVSet: "UVSet.from_arrays", mesh.Manifold: "Mesh.build_manifold",
            mesh.TangentFrame: "Mesh.compute_tangent_frame",
        }
        others = {Archive, ArchiveTree, Scene, archive.Object}  # which are made by a call of their class
        self.assertEqual(set(makers) | others, set(Owner.__subclasses__()))
        for owner, maker in makers.items():
            calls: List[Callable[[Any], Any]] = [
                lambda kind: kind(), lambda kind: kind([]), lambda kind: kind(positions=[(0, 0, 0)])]
            for call in calls:
                with self.assertRaisesRegex(TypeError, "a {} is made by .*{}".format(owner.__name__, maker)):
                    call(owner)
            kind, method = maker.split(".")
            self.assertTrue(callable(getattr(owner if kind == owner.__name__ else Mesh, method)))
        for wrong in ("scene.bqel", [1]):
            with self.assertRaisesRegex(TypeError, r"Scene\.load\(path\)"):
                Scene(wrong)  # type: ignore[arg-type]

    def test_a_process_may_end_with_everything_open(self) -> None:
        program = """
import sys, qel_unit
source = qel_unit.Archive(sys.argv[1])
first = source.first_polymesh()
mesh = source.read_polymesh()
manifold = mesh.build_manifold()
positions, faces, normals = mesh.positions, manifold.vertex_faces(0), source.read_normals()
scene = qel_unit.Scene([qel_unit.SceneMesh.from_arrays(positions, mesh.triangles())])
scene.build_index()
qel_unit.cache.save(sys.argv[2] + "/mesh.qelm", mesh)
cached = qel_unit.MeshCache.load(sys.argv[2] + "/mesh.qelm").positions
unit = qel_unit.Unit.from_tokens([qel_unit.Token(1, "a", 2, 3)])
tokens, thing = unit.tokens, qel_unit.archive.Object("thing")
directory = qel_unit.AgentDirectory(sys.argv[2] + "/agents.qeag")
directory.spawn()
"""
        ended = subprocess.run(
            [sys.executable, "-W", "error", "-c", program, str(TORUS), str(self.folder)],
            capture_output=True, text=True, cwd=str(FOLDER.parent))
        self.assertEqual((ended.returncode, ended.stdout, ended.stderr), (0, "", ""))
        self.assertEqual(self.file("agents.qeag").stat().st_size, 64)  # kept, as a file would be


class Readme(Case):
    def test_programs_run(self) -> None:
        text = (FOLDER.parent / "README.md").read_text(encoding="utf-8")
        programs = re.findall(r"```python\n(.*?)```", text, re.S)
        self.assertGreaterEqual(len(programs), 2)
        self.file("torus.abc").write_bytes(TORUS.read_bytes())
        self.file("harbour.abc").write_bytes(HARBOUR.read_bytes())
        path = str(FOLDER.parent)
        for program in programs:
            ended = subprocess.run(
                [sys.executable, "-W", "error", "-c", "import sys; sys.path.insert(0, {!r})\n".format(path) + program],
                capture_output=True, text=True, cwd=str(self.folder))
            self.assertEqual((ended.returncode, ended.stderr), (0, ""), program)
