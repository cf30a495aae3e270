# SPDX-License-Identifier: MIT
"""Archives of other programs, where there is a folder of them: `info`, `dump` and `convert` on each, and a table."""

import json
import os
import struct
import time

from archive_folder import FOLDER, needs_real_archives
from convert_whole_test import WholeToolTest


@needs_real_archives
class RealArchivesTest(WholeToolTest):
    def test_info_dump_and_convert_agree_on_each(self):
        names = sorted(name for name in os.listdir(FOLDER) if name.endswith(".abc"))
        self.assertGreater(len(names), 0)
        rows = []
        for name in names:
            with self.subTest(name=name):
                rows.append(self.row(name, os.path.join(FOLDER, name)))
        print("\n" + "\n".join("%-40s %7s %9s %7s %8s %8s" % row for row in
                               [("FILE", "MESHES", "VERTICES", "FRAMES", "TOKENS", "SECONDS"), *rows]))

    def visible(self, path):
        """The output of `info` for the meshes that are shown and have points."""
        about = json.loads(self.qel("info", "--json", path))
        self.assertTrue(about["sound"])
        return about, [mesh for mesh in about["meshes"] if mesh["visible"] and mesh["vertices"] > 0
                       and mesh["kind"] in ("PolyMesh", "SubD")]

    def row(self, name, path):
        about, meshes = self.visible(path)
        dumped = json.loads(self.qel("dump", "--json", path), parse_constant=self.fail)["objects"]
        self.assertEqual(len(dumped), about["objects"] + 1)  # with the top object
        by_path = {about["path"]: about["properties"] for about in dumped}
        for mesh in meshes:
            points = next(p for p in by_path[mesh["path"]] if p["name"] == ".geom/P")
            self.assertEqual([len(points["samples"]), len(points["samples"][0]["values"])], [mesh["samples"], mesh["vertices"]])
        start = time.time()
        if not meshes:
            self.qel("convert", path, "-o", "out", status=1)
            self.assertRegex(self.errors, r"\Aqel: [^\n]+: has no visible mesh with points[^\n]*\n\Z")
            return (name, 0, 0, 0, 0, "%.3f" % (time.time() - start))
        scene = self.scene(path)
        seconds = time.time() - start
        self.assertEqual([mesh["name"] for mesh in scene.meshes], [mesh["path"][-63:] for mesh in meshes])
        vertices = sum(len(mesh["positions"]) // 3 for mesh in scene.meshes)
        self.assertEqual(vertices, sum(mesh["vertices"] for mesh in meshes))
        tokens = (os.path.getsize(self.path("out/tokens.qel")) - 24) // 25
        self.assertEqual((tokens, scene.vertices), (vertices, vertices))
        self.assertEqual(len(scene.frames), about["frames"] if about["frames"] > 1 else 0)
        self.compare_caches(scene)
        return (name, len(scene.meshes), vertices, len(scene.frames), tokens, "%.3f" % seconds)

    def compare_caches(self, scene):
        caches = {}
        for name in os.listdir(self.path("out/meshes")):
            content = self.content("out/meshes/" + name)
            count, = struct.unpack_from("<I", content, 8)
            offset, = struct.unpack_from("<I", content, 48)
            caches.setdefault(content[offset:offset + 12 * count], []).append(name)
        self.assertEqual(sum(map(len, caches.values())), len(scene.meshes))
        for mesh in scene.meshes:
            self.assertIn(struct.pack(f"<{len(mesh['positions'])}f", *mesh["positions"]), caches)
