# SPDX-License-Identifier: MIT
"""`qel info` on archives: their contents, and how reliable the byte search is."""

import json
import struct

import files
from convert_whole_test import WholeToolTest
from tool import HARBOUR, TORUS


class InfoArchiveTest(WholeToolTest):
    def told(self, *arguments, **how):
        return json.loads(self.qel("info", "--json", *arguments, **how))

    def test_the_writer_the_counts_and_the_times(self):
        told = self.told(HARBOUR)
        self.assertEqual({name: told[name] for name in ("written_by", "library_version", "objects", "frames", "start_in_seconds",
                                                        "frames_a_second", "meshes_shown", "points_curves_and_patches")},
                         {"written_by": "qel_unit make_scene_archive", "library_version": "1.7.9", "objects": 41, "frames": 48,
                          "start_in_seconds": 0, "frames_a_second": 24, "meshes_shown": 23, "points_curves_and_patches": 2})
        self.assertEqual(told["objects_by_kind"], "1 Curve, 1 FaceSet, 1 Points, 22 PolyMesh, 1 SubD, 15 Xform")
        self.assertAlmostEqual(told["end_in_seconds"], 47 / 24, 6)

    def test_each_mesh(self):
        meshes = {mesh["path"]: mesh for mesh in self.told(HARBOUR)["meshes"]}
        self.assertEqual(len(meshes), 25)
        sea = meshes["/harbour/sea"]
        self.assertEqual([sea[name] for name in ("kind", "vertices", "faces", "corners", "samples", "changes", "normals", "uv_sets",
                                                 "visible")],
                         ["PolyMesh", 441, 400, 1600, 48, "deforms", "by vertex", ["surface"], True])
        self.assertEqual(meshes["/harbour/windmill/rotor/arm_2/sail"]["changes"], "moves")
        self.assertEqual(meshes["/harbour/jetty/wood"]["changes"], "still")
        for number, bounds in enumerate(json.loads(self.qel("dump", "--json", self.converted()))["meshes"]):
            name = bounds["name"]
            self.assertEqual(meshes[name]["bounds"], bounds["bounds"], name)

    def converted(self):
        self.qel("convert", HARBOUR, "-o", "out", "--only", "scene", "--frame", "0")
        return "out/scene.bqel"

    def test_what_is_hidden_empty_or_changes_its_faces(self):
        told = self.told(self.archive("left_out"))
        self.assertEqual([told[name] for name in ("meshes_shown", "meshes_hidden", "points_curves_and_patches", "without_points")],
                         [2, 1, 1, 1])
        self.assertEqual({mesh["path"]: mesh["visible"] for mesh in told["meshes"]},
                         {"/shown": True, "/hidden": False, "/shown_later": True, "/dots": True})
        told = self.told(self.archive("changing"))
        self.assertEqual([(mesh["path"], mesh["changes"]) for mesh in told["meshes"]],
                         [("/growing", "faces change"), ("/still", "still"), ("/arm/hand", "moves")])
        self.assertNotIn("bounds", told["meshes"][0])

    def test_the_tree_and_its_properties(self):
        tree = self.qel("info", "--tree", self.archive("changing"))
        self.assertIn("/\n├─ growing  PolyMesh\n├─ still  PolyMesh\n└─ arm  Xform\n   └─ hand  PolyMesh\nsound: yes\n", tree)
        self.assertNotIn(".geom", tree)
        tree = self.qel("info", "--tree", "-v", self.archive("changing"))
        self.assertIn("│      .geom/P  float32[3] array, 3 samples\n", tree)
        objects = self.told("--tree", "-v", self.archive("changing"))["objects"]
        self.assertEqual([about["path"] for about in objects], ["/", "/growing", "/still", "/arm", "/arm/hand"])
        self.assertIn({"name": ".geom/P", "values": "float32[3]", "array": True, "samples": 3}, objects[1]["properties"])

    def test_control_characters_of_names_are_escaped(self):
        name = self.archive("names")
        for words in ((), ("--tree",), ("--json",), ("--json", "--tree")):
            for line in self.qel("info", name, *words).split("\n"):
                self.assertNotRegex(line, "[\x00-\x1f\x7f-\x9f]")

    def test_a_position_that_is_not_finite_is_a_problem(self):
        content = self.content(HARBOUR)
        floats = struct.pack("<3f", *json.loads(self.qel("dump", "--json", self.converted()))["meshes"][0]["positions"][0])
        place = content.index(floats)
        self.file(content[:place] + struct.pack("<f", files.NAN) + content[place + 4:], "nan.abc")
        out = self.qel("info", "nan.abc", status=1)
        self.assertIn("sound: no\nproblem: 1 /harbour/sea position has a component that is not finite", out)

    def test_cut_archives_are_refused_in_one_line(self):
        self.fails("cut.abc: the archive is damaged, cut short or was never finished", "info",
                   self.file(self.content(HARBOUR)[:50000], "cut.abc"))

    def test_the_byte_search_reports_its_verdict_and_the_mesh_it_found(self):
        told = self.told("--by-bytes", TORUS)
        self.assertEqual(told["byte_search"], "likely a mesh")
        told = self.told("--by-bytes", HARBOUR, status=None)
        self.assertIn(told["byte_search"].split(":")[0], ("likely a mesh", "doubtful", "not a mesh"))
        self.assertRegex(told["real_mesh"], r'\A("/harbour/.+", sample \d+|none: no object has these positions)\Z')

    def test_integers_mistaken_for_positions_are_no_mesh(self):
        points = json.loads(self.qel("dump", "--by-bytes", TORUS, "--json"))["positions"]
        content = self.content(TORUS)
        place = content.index(struct.pack("<12f", *sum(points[:4], [])))
        noise = b"".join(struct.pack("<fIf", x, i + 1, z) for i, (x, _, z) in enumerate(points))
        self.file(content[:place] + noise + content[place + len(noise):], "noise.abc")
        self.assertRegex(self.told("--by-bytes", "noise.abc", status=None)["byte_search"],
                         r"\Anot a mesh: 33.3% of the coordinates are below 1e-20")
