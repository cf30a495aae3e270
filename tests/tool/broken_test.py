# SPDX-License-Identifier: MIT
"""Files that are damaged, of another kind or useless: what every command reports for them."""

import json
import os
import struct
import subprocess

import files
from tool import QEL, TORUS, ToolTest


class BrokenFileTest(ToolTest):
    def verdict(self, name, verdict):
        """All commands that take a file of this kind report the same and return status 1; none writes a file."""
        message = f"qel: file: {verdict}\n"
        out = self.fails(f"file: {verdict}", "info", "--by-bytes", name)
        self.qel("dump", "--by-bytes", name, "--json", status=1)
        self.assertEqual(self.errors, message)
        for call in (("view", name, "--by-bytes", "-o", "page.html"), ("convert", "--by-bytes", name, "-o", "out"), ("nearest", name, "1")):
            self.assertEqual(self.qel(*call, status=1), "")
            if ": is of the kind " not in self.errors:
                self.assertEqual(self.errors, message, call)
            self.assertEqual(os.listdir(self.folder), [name])
        return out

    def broken(self, content, problem):
        out = self.verdict(self.file(content), f"not sound: {problem}")
        self.assertIn(f"sound: no\nproblem: {problem}\n", out)

    def test_other_files_are_refused(self):
        self.fails("missing: No such file or directory", "info", "missing")
        self.fails(".: Is a directory", "info", ".")
        self.fails("file: the file is empty", "info", self.file(b""))
        self.fails("file: not a unit, scene, mesh cache, agent directory or archive", "info", self.file(b"QEL\1" * 20))

    def test_units(self):
        whole = files.unit(files.THREE)
        self.broken(whole[:-1], "cut short: its counts need 99 bytes, it has 98")
        self.broken(whole + b"x", "1 byte beyond the 99 that its counts need")
        self.broken(whole[:20], "its header is cut short")
        self.broken(files.unit(files.THREE, version=2), "its version is 2, not 1")
        self.broken(files.unit(files.THREE, count=0xFFFFFFFF), "cut short: its counts need 107374182399 bytes, it has 99")

    def test_agent_directories(self):
        good = [(b"2A9E0100", 0), (b"2A9E0101", 2)]
        self.broken(files.agents(good)[:-1], "cut short: its counts need 104 bytes, it has 103")
        self.broken(files.agents(good)[:17], "its header is cut short")
        self.broken(files.agents(good, count=70000), "it claims 70000 agents, a directory holds at most 65536")
        self.broken(files.agents(good, active=3), "it counts 3 active, but only 2 have not ended")
        self.broken(files.agents([(b"2a9e0100", 0)]),
                    "1 agent has an id that is not eight hexadecimal digits, the first is agent 0")
        self.broken(files.agents([(b"2A9E0100", 9)]), "1 agent has an impossible state, the first is agent 0")

    def test_scenes(self):
        whole = files.scene(frames=[files.frame()])
        self.broken(whole[:-1], f"cut short: its counts need {len(whole)} bytes, it has {len(whole) - 1}")
        self.broken(whole + b"ab", f"2 bytes beyond the {len(whole)} that its counts need")
        self.broken(files.scene([]), "it has no meshes")
        self.broken(files.scene(total=4), "its header counts 4 vertices, its meshes 3")
        self.broken(files.scene([files.mesh(indices=(0, 1, 3))]),
                    "1 mesh 0 triangle has a corner that is not below the vertex count 3, the first is mesh 0 triangle 0")
        self.broken(files.scene([files.mesh(level=12)]),
                    "3 mesh 0 vertices have a level outside -11..11, the first is mesh 0 vertex 0")
        self.broken(files.scene([files.mesh(cells=[(0, 0, 0), (48, 0, 0), (0, 0, 0)])]),
                    "1 mesh 0 vertex has a cell outside the lattice, the first is mesh 0 vertex 1")
        self.broken(files.scene([files.mesh(name=b"n" * 64)]), "mesh 0's name has no end")
        far = [files.CORNERS[0], (0.0, files.NAN, 0.0), files.CORNERS[2]]
        self.broken(files.scene(frames=[files.frame(positions=far)]),
                    "1 frame 0 position has a component that is not finite, the first is frame 0 position 1")
        self.broken(files.scene()[:40], "its header is cut short")
        self.fails("file: its version is not supported", "info", self.file(files.scene(version=2)))

    def test_mesh_caches(self):
        whole = files.cache()
        self.broken(whole[:-1], "its indices do not lie in the file: 12 bytes from 100 on")
        self.broken(whole[:30], "its header is cut short")
        self.broken(files.cache(version=3), "its version is 3, not 2")
        self.broken(files.cache(offsets=(65, 0, 100, 0)), "its positions start at 65, which is no multiple of 4")
        self.broken(files.cache(offsets=(0, 0, 100, 0)), "its positions start at 0, which is inside the header")
        self.broken(files.cache(offsets=(0xFFFFFFFC, 0, 100, 0)),
                    "its positions do not lie in the file: 36 bytes from 4294967292 on")
        self.broken(files.cache(counts=(0xFFFFFFFF, 1)),
                    "its positions do not lie in the file: 51539607540 bytes from 64 on")
        self.broken(files.cache(normals=[(0, 0, 1)] * 3, offsets=(64, 4096, 136, 0)),
                    "its normals do not lie in the file: 36 bytes from 4096 on")
        self.broken(files.cache(skin=files.skin()[:-1], joints=1), "its skin does not lie in the file")
        for content, problem in [
            (files.cache(indices=(0, 1, 3)),
             "1 triangle has a corner that is not below the vertex count 3, the first is triangle 0"),
            (files.cache(box=(1, 0, 0, 0, 2, 0)), "its bounds is no box: (1, 0, 0) to (0, 2, 0)"),
            (files.cache(skin=files.skin(joint=9), joints=1),
             "3 weights have a joint that the skin does not have, the first is weight 0"),
            (files.cache(skin=files.skin(weights=2), joints=1), "its skin has 2 weights, the mesh 3 vertices"),
        ]:
            self.broken(content, problem)

    def test_archives(self):
        whole = self.content(TORUS)
        self.fails("file: still being written, or not closed by its writer", "info", "--by-bytes", self.file(whole[:5] + b"\0" + whole[6:]))
        self.fails("file: cut short in its root reference", "info", "--by-bytes", self.file(whole[:12]))
        self.broken(whole[:-300], "its root does not lie in the file")
        self.broken(self.with_a_wrong_corner(whole),
                    "1 corner has a vertex that the mesh does not have, the first is corner 4")
        counts = whole.index(struct.pack("<8I", *[4] * 8))
        self.broken(whole[:counts] + struct.pack("<I", 3) + whole[counts + 4:],
                    "its faces need 4607 corners, it has 4608")

    def test_incomplete_faces_are_omitted_and_reported(self):
        corners = json.loads(self.qel("dump", "--by-bytes", TORUS, "--json"))["face_indices"]
        content = self.content(TORUS)
        place = content.index(struct.pack("<8I", *corners[:8]))
        name = self.file(content[:place] + b"\xff" * (4 * len(corners)) + content[place + 4 * len(corners):])
        out = self.qel("info", "--by-bytes", name)
        self.assertIn("left out: 1152 faces with 0 corners, one without the other\n", out)
        self.assertIn("faces: 0\n", out)
        self.qel("view", name, "--by-bytes", "-o", "page.html")
        self.qel("convert", "--by-bytes", name, "-o", "out")
        self.assertEqual(self.qel("info", "out/mesh.qelm", "out/scene.bqel").count("sound: yes\n"), 2)

    def test_an_archive_without_a_mesh_is_sound_but_cannot_be_converted(self):
        out = self.verdict(self.file(files.archive()), "no mesh was found")
        self.assertIn("mesh: none found\n", out)
        self.assertIn("sound: yes\n", out)

    def test_files_of_other_kinds_are_reported_by_their_names(self):
        pointer = b"version https://git-lfs.github.com/spec/v1\noid sha256:4d7a2146\nsize 12345\n"
        for content, what in [
            (b"\x89HDF\r\n\x1a\n" + bytes(100), "an Alembic archive in the older HDF5 container, which is not read"),
            (pointer, "the pointer that stands for a file in a large-file store, not the file: fetch that first"),
            (b"/annex/objects/SHA256E-s12--4d7a2146.abc\n",
             "the pointer that stands for a file in a large-file store, not the file: fetch that first"),
            (b"version 2 of something else", "not a unit, scene, mesh cache, agent directory or archive"),
        ]:
            self.verdict(self.file(content), what)

    def test_results_of_the_library_are_sound(self):
        twice = [(b"2A9E0100", 0), (b"2A9E0101", 2), (b"2A9E0100", 2)]  # the counter of ids has come round
        out = self.qel("info", self.file(files.agents(twice)))
        self.assertIn("agents: 3\n", out)
        self.assertIn("distinct ids: 2\n", out)
        name = self.file(files.scene([files.mesh(), files.mesh()], total=0, faces=0))  # saved without an index built
        out = self.qel("info", name)
        self.assertIn("vertices: 6\n", out)
        self.assertIn("triangles: 2\n", out)
        self.qel("view", name, "-o", "page.html")

    def test_the_readable_part_of_a_damaged_archive_is_dumped(self):
        name = self.file(self.with_a_wrong_corner(self.content(TORUS)))
        got = json.loads(self.qel("dump", "--by-bytes", name, "--json", status=1))
        self.assertEqual((len(got["positions"]), got["face_indices"][4]), (1152, 5000))
        self.assertEqual(self.errors, "qel: file: not sound: 1 corner has a vertex that the mesh does not have, the first is corner 4\n")

    def with_a_wrong_corner(self, archive):
        corners = json.loads(self.qel("dump", "--by-bytes", TORUS, "--json"))["face_indices"]
        place = archive.index(struct.pack("<8I", *corners[:8])) + 16
        return archive[:place] + struct.pack("<I", 5000) + archive[place + 4:]

    def test_every_truncation_and_many_changes_end_in_a_status(self):
        contents = [files.unit(files.THREE), files.scene(frames=[files.frame()]), files.agents([(b"2A9E0100", 0)]),
                    files.cache(normals=[(0, 0, 1)] * 3, skin=files.skin(), joints=1)]
        for content in contents:
            changes = [content[:length] for length in range(1, min(len(content), 160), 7)]
            changes += [content[:at] + b"\xff\xff\xff\xff" + content[at + 4:] for at in range(4, min(len(content), 180), 8)]
            for changed in changes:
                name = self.file(changed)
                for command in (["info", name], ["dump", name], ["view", name, "-o", "-"]):
                    run = subprocess.run([QEL, *command], capture_output=True, cwd=self.folder, timeout=120)
                    self.assertIn(run.returncode, (0, 1), (command, changed, run.stderr))
