# SPDX-License-Identifier: MIT
"""`qel nearest` and `qel dump`."""

import json
import struct

import files
from tool import HARBOUR, TORUS, ToolTest


class NearestTest(ToolTest):
    def test_lists_tokens_nearest_first(self):
        name = self.file(files.unit(files.THREE))
        self.assertEqual(self.qel("nearest", name, "700", "-k", "2").splitlines(), [
            "     TOKEN  ID                         KEY  LAYER        HOPS",
            "         1  000002FC                   702      1           1",
            "         2  00000003                   702      1           1"])
        self.assertEqual(len(self.qel("nearest", name, "0x2BE").splitlines()), 4)

    def test_takes_cells_and_packed_vertices(self):
        name = self.file(files.unit([(233471, b"00000000", 0, 1), (1 << 32 | 2 << 16 | 3, b"00000001", 0, 1)]))
        first = json.loads(self.qel("nearest", name, "47,47,47", "--json"))
        self.assertEqual((first["key"], first["nearest"][0]), ("233471", {
            "token": 0, "hex_id": "00000000", "morton": "233471", "layer": 1, "hops": "0"}))
        packed = json.loads(self.qel("nearest", name, "1,2,3", "-p", "-j", "-k", "1"))
        self.assertEqual((packed["key"], packed["nearest"][0]["token"]), ("4295098371", 1))

    def test_an_invalid_position_is_a_wrong_call(self):
        name = self.file(files.unit(files.THREE))
        for place in ("", "x", "1,2", "1,2,48", "1,2,3,4", "+1", "1 ", "0x", "99999999999999999999", "1,,3"):
            self.assertEqual(self.qel("nearest", name, place, status=2), "")
            self.assertTrue(self.errors.startswith("qel: "), self.errors)

    def test_several_units_are_merged_and_named(self):
        self.file(files.unit([(10, b"00000001", 0, 1), (40, b"00000002", 0, 1)]), "a.qel")
        self.file(files.unit([(11, b"00000003", 0, 1), (90, b"00000004", 0, 1)]), "b.qel")
        hits = json.loads(self.qel("nearest", "a.qel", "b.qel", "11", "-k", "3", "--json"))["nearest"]
        self.assertEqual([(hit["file"], hit["hex_id"], hit["hops"]) for hit in hits],
                         [("b.qel", "00000003", "0"), ("a.qel", "00000001", "1"), ("a.qel", "00000002", "5")])
        self.assertIn("  FILE\n", self.qel("nearest", "a.qel", "b.qel", "11"))
        self.fails("none.qel: No such file or directory", "nearest", "a.qel", "none.qel", "11")

    def test_a_position_in_the_world_through_a_scene(self):
        self.qel("convert", HARBOUR, "-o", "out", "--only", "tokens,scene", "--mesh", "sea", "--mesh", "flag")
        for mesh in json.loads(self.qel("dump", "--json", "out/scene.bqel"))["meshes"]:
            for vertex, position in list(zip(mesh["vertices"], mesh["positions"]))[5:9]:
                if mesh["name"] == "/harbour/flagpole/flag":
                    place = ",".join(map(repr, position))
                    told = json.loads(self.qel("nearest", "out/tokens.qel", f"--position={place}", "--scene", "out/scene.bqel", "-j"))
                    self.assertEqual((told["key"], told["nearest"][0]["hops"]), (vertex["morton"], "0"))
        for words in (("--position=1,2,3",), ("--position=x", "--scene", "out/scene.bqel"), ("--scene", "out/scene.bqel")):
            self.qel("nearest", "out/tokens.qel", *words, status=2)

    def test_requires_a_unit(self):
        self.fails("file: is of the kind mesh cache, but nearest wants unit", "nearest", self.file(files.cache()), "1")
        self.assertEqual(len(self.qel("nearest", self.file(files.unit([])), "1").splitlines()), 1)


class DumpTest(ToolTest):
    def json(self, content, **how):
        return json.loads(self.qel("dump", self.file(content), "--json", **how), parse_constant=self.fail)

    def test_a_unit_in_the_order_of_the_file(self):
        self.assertEqual(self.json(files.unit(files.THREE)), {
            "format": "unit", "version": 1, "count": 3, "extra": 7, "saved_at": "0", "tokens": [
                {"morton": "702", "hex_id": "000002FC", "payload": "0x8000000000000000", "layer": 1},
                {"morton": "5", "hex_id": "\x1b[31m\xff<x", "payload": "0x0000000000000000", "layer": 2},
                {"morton": "702", "hex_id": "00000003", "payload": "0x0000000000000003", "layer": 1}]})

    def test_fields_of_64_bits_are_texts_in_json_and_digits_in_lines(self):
        unit = files.unit([(2**64 - 1, b"00000000", 2**64 - 1, 1)], saved_at=-2**63)
        got = self.json(unit)
        self.assertEqual((got["saved_at"], got["tokens"][0]["morton"], got["tokens"][0]["payload"]),
                         ("-9223372036854775808", "18446744073709551615", "0xFFFFFFFFFFFFFFFF"))
        near = json.loads(self.qel("nearest", self.file(unit), "0", "--json"))
        self.assertEqual((near["key"], near["nearest"][0]["morton"]), ("0", "18446744073709551615"))
        self.assertRegex(near["nearest"][0]["hops"], r"\A\d+\Z")
        scene = self.json(files.scene())
        self.assertEqual((scene["total_vertices"], scene["total_faces"]), ("3", "1"))
        self.assertEqual([vertex["morton"] for vertex in scene["meshes"][0]["vertices"]], ["0", "33353", "66706"])
        self.assertEqual([token["morton"] for token in scene["meshes"][0]["tokens"]], ["0", "33353", "66706"])
        self.assertIn("tokens[0].morton = 18446744073709551615\n", self.qel("dump", self.file(unit)))

    def test_lines_have_paths(self):
        lines = self.qel("dump", self.file(files.unit(files.THREE))).splitlines()
        self.assertEqual(lines[:2] + lines[-2:], ['format = "unit"', "version = 1", 'tokens[2].payload = "0x0000000000000003"',
                                                  "tokens[2].layer = 1"])
        self.assertIn(r'tokens[1].hex_id = "\u001b[31m\u00ff<x"', lines)

    def test_a_scene(self):
        got = self.json(files.scene(frames=[files.frame()]))
        self.assertEqual(got["meshes"][0]["positions"], [[0, 0, 0], [1, 0, 0], [0, 2, 0]])
        self.assertEqual(got["meshes"][0]["vertices"][1], {
            "position": [1, 0, 0], "cell": [47, 0, 0], "padding0": 0, "morton": "33353", "k11_level": 1, "i_state": 1,
            "padding1": [0, 0], "phi_norm": 1.5, "em_coupling": 11, "topology": 5})
        self.assertEqual(got["meshes"][0]["tokens"][2]["hex_id"], "00000002")
        self.assertEqual(got["frames"], [{"frame": 1, "time": 0.5, "meshes": [
            {"vertex_count": 3, "positions": [[0, 0, 0], [1, 0, 0], [0, 2, 0]]}]}])

    def test_a_mesh_cache(self):
        got = self.json(files.cache(normals=[(0, 0, 1)] * 3, skin=files.skin(), joints=1))
        self.assertEqual((got["indices"], got["normals"][2]), ([[0, 1, 2]], [0, 0, 1]))
        self.assertEqual(got["skin"]["weights"][0], {"joints": [0, 0, 0, 0], "weights": [1, 0, 0, 0]})

    def test_agents(self):
        self.assertEqual(self.json(files.agents([(b"2A9E0100", 2)]))["agents"], [{
            "id": "2A9E0100", "parent": "2A9E0000", "type": 1, "state": 2, "flag_idle": 0, "flag_terminated": 0,
            "flag_delegated": 0, "cleared": 0, "tag": 0, "tier": 0, "reserved": "0x0000000000000000",
            "task": "0x0000000000000000"}])

    def test_every_byte_of_a_file_is_dumped(self):
        """A change of any byte changes the text, except in the magic and after a name's end."""
        contents = [files.unit(files.THREE), files.agents([(b"2A9E0100", 0)]), files.scene(frames=[files.frame()]),
                    files.cache(normals=[(0, 0, 1)] * 3, skin=files.skin(), joints=1)]
        for content in contents:
            whole = self.qel("dump", self.file(content))
            behind_name = range(64 + 9, 64 + 64) if content.startswith(b"BQEL") else ()
            step = 1 if len(content) < 600 else 3  # a skin's fields of single bytes are in rows of four
            for at in (at for at in range(4, len(content), step) if at not in behind_name):
                changed = self.file(content[:at] + bytes([content[at] ^ 1]) + content[at + 1:])
                self.assertNotEqual(self.run_qel("dump", changed).stdout.decode(), whole, at)

    def test_an_archive(self):
        got = json.loads(self.qel("dump", "--by-bytes", TORUS, "--json"))
        self.assertEqual((len(got["positions"]), len(got["face_counts"]), sum(got["face_counts"])), (1152, 1152, 4608))
        self.assertEqual(got["positions"][0], [4, 0, 0])

    def test_all_objects_properties_and_samples_of_an_archive(self):
        got = json.loads(self.qel("dump", HARBOUR, "--json"))
        objects = {about["path"]: about for about in got["objects"]}
        self.assertEqual((len(objects), got["library_version"]), (42, 10709))
        points = next(p for p in objects["/harbour/sea"]["properties"] if p["name"] == ".geom/P")
        self.assertEqual((points["type"], points["array"], points["sample_count"], len(points["samples"])), ("float32[3]", True, 48, 48))
        self.assertEqual([round(sample["time"] * 24) for sample in points["samples"]], list(range(48)))
        self.assertEqual({len(sample["values"]) for sample in points["samples"]}, {441})
        self.assertEqual({len(value) for value in points["samples"][0]["values"]}, {3})
        self.assertEqual(points["samples"][0]["values"][0][::2], [-16, 16])
        self.assertEqual({len(sample["values"]) for about in objects.values() for p in about["properties"]
                          if p["name"] == ".geom/.faceCounts" for sample in p["samples"] if about["path"] == "/harbour/sea"}, {400})

    def test_an_object_with_what_is_below_it_and_one_sample(self):
        got = json.loads(self.qel("dump", HARBOUR, "--json", "--path", "/harbour/boat", "--sample", "40"))
        self.assertEqual([about["path"] for about in got["objects"]],
                         ["/harbour/boat", "/harbour/boat/hull", "/harbour/boat/mast", "/harbour/boat/sail"])
        for about in got["objects"]:
            for about_property in about["properties"]:
                wanted = [] if about_property["sample_count"] == 0 else [min(40, about_property["sample_count"] - 1)]
                self.assertEqual([sample["sample"] for sample in about_property["samples"]], wanted)
        self.assertIn('objects[0].path = "/harbour/boat"\n', self.qel("dump", HARBOUR, "--path", "/harbour/boat"))
        self.fails(f"{HARBOUR}: has no object /none", "dump", HARBOUR, "--path", "/none")
        self.qel("dump", self.file(files.unit(files.THREE)), "--sample", "1", status=2)

    def test_a_damaged_sample_is_reported_and_the_rest_is_written(self):
        content = self.content(HARBOUR)
        values = json.loads(self.qel("dump", HARBOUR, "--json", "--path", "/harbour/boat", "--sample", "0"))
        moves = next(p for p in values["objects"][0]["properties"] if p["name"] == ".xform/.vals")["samples"][0]["values"][0]
        place = content.index(struct.pack(f"<{len(moves)}d", *moves)) - 24  # after the size and the digest
        self.file(content[:place] + struct.pack("<Q", 20) + content[place + 8:], "damaged.abc")
        run = self.run_qel("dump", "--json", "damaged.abc")
        self.assertEqual(run.returncode, 1)
        self.assertRegex(run.stderr.decode(), r"\Aqel: damaged\.abc: not sound: /harbour/boat: \.xform/\.vals: [^\n]+\n\Z")
        self.assertEqual(len(json.loads(run.stdout)["objects"]), 42)

    def test_a_number_that_is_not_finite_is_null(self):
        got = self.json(files.cache(positions=[(files.NAN, float("inf"), -float("inf"))] + files.CORNERS[1:]), status=1)
        self.assertEqual(got["positions"][0], [None, None, None])

    def test_all_digits_of_a_float(self):
        got = self.json(files.cache(positions=[(0.1, 1e-45, 3.4028234e38)] + files.CORNERS[1:]))
        self.assertEqual(got["positions"][0], [0.100000001, 1.40129846e-45, 3.40282347e+38])
