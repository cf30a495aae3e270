# SPDX-License-Identifier: MIT
"""`qel convert`: whole archives, what becomes of their meshes, samples and names. MAKE_ARCHIVES makes small ones."""

import json
import os
import resource
import shutil
import signal
import struct
import subprocess
import time
import unittest

import files
from tool import HARBOUR, QEL, TORUS, ToolTest, at_most

FORMATS = ["agents.qeag", "scene.bqel", "tokens.qel"]


class SceneFile:
    """A scene file, read from its description alone."""

    def __init__(self, content):
        magic, self.version, meshes, frames, self.vertices, self.triangles, self.rate, self.start, self.end = \
            struct.unpack_from("<4sIIIQQfff", content)
        assert magic == b"BQEL"
        self.at, self.content = 64, content
        self.meshes = [self.mesh() for _ in range(meshes)]
        self.frames = [self.frame() for _ in range(frames)]
        assert self.at == len(content)

    def take(self, form):
        values = struct.unpack_from("<" + form, self.content, self.at)
        self.at += struct.calcsize("<" + form)
        return values

    def mesh(self):
        name, vertices, faces = self.take("64sII")
        self.take("6fIB")
        positions, indices = self.take(f"{vertices * 3}f"), self.take(f"{faces * 3}I")
        self.at += vertices * 40
        ids = [self.take("Q8sQB7x")[1] for _ in range(vertices)]
        return {"name": name.rstrip(b"\0").decode(), "positions": positions, "indices": indices, "ids": ids}

    def frame(self):
        number, seconds, meshes = self.take("ifI")
        return {"number": number, "time": seconds, "meshes": [self.take(f"{self.take('I')[0] * 3}f") for _ in range(meshes)]}


class WholeToolTest(ToolTest):
    def archive(self, name):
        if not os.path.exists(self.path("made")):
            os.mkdir(self.path("made"))
            subprocess.run([os.environ["MAKE_ARCHIVES"], self.path("made")], check=True)
        return f"made/{name}.abc"

    def scene(self, *arguments, folder="out"):
        """The scene of a conversion into a folder that is not there before."""
        shutil.rmtree(self.path(folder), ignore_errors=True)
        self.said = self.qel("convert", *arguments, "-o", folder)
        return SceneFile(self.content(folder + "/scene.bqel"))

    def made(self, folder="out"):
        return sorted(os.path.relpath(os.path.join(path, name), self.path(folder))
                      for path, _, names in os.walk(self.path(folder)) for name in names)


class WholeTest(WholeToolTest):
    def test_every_visible_mesh_becomes_tokens_a_mesh_of_the_scene_and_a_cache(self):
        scene = self.scene(HARBOUR)
        self.assertEqual((len(scene.meshes), scene.vertices, scene.triangles), (23, 2138, 3690))
        self.assertRegex(self.said, r"harbour.abc: 23 meshes, 2138 vertices, 3690 triangles, 48 frames, 2138 tokens in [\d.]+ s\n\Z")
        caches = [name for name in self.made() if name.startswith("meshes/")]
        self.assertEqual([name for name in self.made() if name not in caches], FORMATS)
        self.assertEqual(len(caches), 23)
        made = [f"out/{name}" for name in self.made()]
        self.assertEqual(self.qel("info", *made).count("sound: yes\n"), len(made))
        self.assertEqual(os.path.getsize(self.path("out/tokens.qel")), 24 + 25 * 2138)
        for mesh in scene.meshes:
            cache = json.loads(self.qel("dump", "--json", f"out/meshes/{mesh['name'][1:].replace('/', '.')}.qelm"))
            as_floats = struct.pack(f"<{len(mesh['positions'])}f", *sum(cache["positions"], []))
            self.assertEqual(as_floats, struct.pack(f"<{len(mesh['positions'])}f", *mesh["positions"]), mesh["name"])
            self.assertEqual(sum(cache["indices"], []), list(mesh["indices"]))

    def test_identities_name_the_mesh_and_the_vertex(self):
        scene = self.scene(HARBOUR)
        for number, mesh in enumerate(scene.meshes):
            self.assertEqual(mesh["ids"], [b"%08X" % (number << 24 | i) for i in range(len(mesh["ids"]))])
        ids = [token["hex_id"] for token in json.loads(self.qel("dump", "--json", "out/tokens.qel"))["tokens"]]
        self.assertEqual(ids, [identity.decode() for mesh in scene.meshes for identity in mesh["ids"]])

    def test_every_sample_is_a_frame_that_holds_all_meshes(self):
        scene = self.scene(HARBOUR)
        self.assertEqual([frame["number"] for frame in scene.frames], list(range(48)))
        self.assertEqual([frame["time"] for frame in scene.frames], [struct.unpack("f", struct.pack("f", i / 24))[0] for i in range(48)])
        self.assertEqual((scene.rate, scene.start, scene.end), (24, 0, scene.frames[-1]["time"]))
        moving = set()
        for frame in scene.frames:
            self.assertEqual(len(frame["meshes"]), 23)
            for mesh, positions in zip(scene.meshes, frame["meshes"]):
                self.assertEqual(len(positions), len(mesh["positions"]))
                if positions != mesh["positions"]:
                    moving.add(mesh["name"])
        self.assertEqual(scene.frames[0]["meshes"], [mesh["positions"] for mesh in scene.meshes])
        for name in ("/harbour/sea", "/harbour/boat/hull", "/harbour/flagpole/flag", "/harbour/windmill/rotor/arm_3/sail"):
            self.assertIn(name, moving)
        for name in ("/harbour/windmill/tower", "/harbour/jetty/wood"):
            self.assertNotIn(name, moving)

    def test_faces_that_change_and_a_mesh_that_is_empty_at_first(self):
        scene = self.scene(self.archive("changing"))
        self.assertEqual([mesh["name"] for mesh in scene.meshes], ["/growing", "/still", "/arm/hand"])
        self.assertEqual([frame["number"] for frame in scene.frames], [10, 11, 12])
        self.assertEqual([[len(mesh) // 3 for mesh in frame["meshes"]] for frame in scene.frames], [[0, 3, 3], [3, 3, 3], [4, 3, 3]])
        self.assertEqual([frame["meshes"][2][0] for frame in scene.frames], [0, 5, 9])
        self.assertEqual(scene.meshes[0]["indices"], (0, 1, 2))
        self.assertIn("sound: yes\n", self.qel("info", "out/scene.bqel"))

    def test_one_frame_and_a_range_of_frames(self):
        name = self.archive("changing")
        still = self.scene(name, "--frame", "12")
        self.assertEqual((still.frames, [len(mesh["positions"]) // 3 for mesh in still.meshes]), ([], [4, 3, 3]))
        self.assertEqual(still.meshes[2]["positions"][0], 9)
        some = self.scene(name, "--range", "10::2")
        self.assertEqual([frame["number"] for frame in some.frames], [10, 12])
        self.assertEqual([frame["number"] for frame in self.scene(HARBOUR, "--range", "5:9").frames], [5, 6, 7, 8, 9])
        self.fails(f"{name}: has the frames 10 to 12, not 13", "convert", name, "-o", "none", "--frame", "13")
        self.fails(f"{name}: has the frames 10 to 12, and none in the range", "convert", name, "-o", "none", "--range", "1:9")
        for words in (("--range", "9"), ("--range", "9:1"), ("--range", "1:2:0"), ("--range", "1:2:3:4"), ("--frame", "x"),
                      ("--frame", "1", "--range", "1:2"), ("--only", "foo"), ("--only", "tokens", "--by-bytes")):
            self.qel("convert", name, "-o", "none", *words, status=2)
        self.assertFalse(os.path.exists(self.path("none")))

    def test_each_in_its_own_space_if_requested(self):
        own, world = self.scene(HARBOUR, "--object-space"), self.scene(HARBOUR)
        at = [mesh["name"] for mesh in own.meshes].index("/harbour/windmill/tower")
        self.assertNotEqual(own.meshes[at]["positions"], world.meshes[at]["positions"])
        self.assertEqual(self.scene(self.archive("changing"), "--object-space").frames[2]["meshes"][2][0], 0)

    def test_only_the_requested_results_are_made(self):
        for parts, wanted in (("tokens", ["tokens.qel"]), ("scene", ["scene.bqel"]), ("agents", ["agents.qeag"]),
                              ("cache", ["meshes/harbour.island.rock.qelm", "meshes/harbour.lighthouse.rock.qelm"]), ("tokens,scene", ["scene.bqel", "tokens.qel"])):
            shutil.rmtree(self.path("out"), ignore_errors=True)
            self.qel("convert", HARBOUR, "-o", "out", "--only", parts, "--mesh", "rock")
            self.assertEqual(self.made(), wanted)

    def test_meshes_are_chosen_by_path_or_name(self):
        for globs, names in ((["hull"], ["/harbour/boat/hull", "/harbour/dinghy/hull"]), (["/harbour/boat/*", "lamp*"],
                             ["/harbour/boat/hull", "/harbour/boat/mast", "/harbour/boat/sail"]),
                             (["[s]ea"], ["/harbour/sea"])):
            words = [word for glob in globs for word in ("--mesh", glob)]
            self.assertEqual([mesh["name"] for mesh in self.scene(HARBOUR, *words).meshes], names)
        self.fails(f"{HARBOUR}: has no visible mesh with points that --mesh names", "convert", HARBOUR, "-o", "none",
                   "--mesh", "zeppelin")

    def test_what_is_hidden_empty_or_no_mesh_is_left_out_and_counted(self):
        name = self.archive("left_out")
        self.assertEqual([mesh["name"] for mesh in self.scene(name).meshes], ["/shown", "/shown_later"])
        self.assertIn("2 meshes, 6 vertices, 2 triangles, 0 frames, 6 tokens; 1 hidden; 1 without points in ", self.said)
        self.assertEqual([mesh["name"] for mesh in self.scene(name, "--points").meshes], ["/shown", "/shown_later", "/dots"])
        self.fails(f"{name}: has no visible mesh with points that --mesh names (1 without points, 1 hidden, 1 to be had with "
                   "--points)", "convert", name, "-o", "none", "--mesh", "hidden", "--mesh", "empty", "--mesh", "dots")

    def test_names_stay_unique_when_they_are_cut_and_files_get_names_that_any_disk_takes(self):
        scene = self.scene(self.archive("names"))
        names = [mesh["name"] for mesh in scene.meshes]
        self.assertEqual(len(set(names)), 7)
        self.assertEqual(names[:3], ["e" * 63, "e" * 61 + "~2", "e" * 61 + "~3"])
        caches = [name for name in self.made() if name.startswith("meshes/")]
        self.assertEqual(len({name.lower() for name in caches}), 7)
        for name in caches:
            self.assertRegex(name, r"\Ameshes/[-A-Za-z0-9_~][-A-Za-z0-9_.~]*\.qelm\Z")

    def test_normals_of_every_kind_turn_with_the_mesh(self):
        self.qel("convert", self.archive("normals"), "-o", "out")
        caches = [name for name in self.made() if name.startswith("meshes/")]
        self.assertEqual(len(caches), 6)
        for name in caches:
            for normal in json.loads(self.qel("dump", "--json", "out/" + name))["normals"]:
                for got, wanted in zip(normal, (0, -1, 0)):
                    self.assertAlmostEqual(got, wanted, 6, name)

    def test_standard_input_quiet_and_verbose(self):
        self.assertIn("standard input: 23 meshes", self.qel("convert", "-", "-o", "out", stdin=self.content(HARBOUR)))
        self.assertEqual(self.qel("convert", "-q", HARBOUR, "-o", "out") + self.errors, "")
        self.qel("convert", "-v", HARBOUR, "-o", "out")
        for said in ("23 meshes with 2138 vertices\n", "53474 bytes in out/tokens.qel\n", "out/scene.bqel, 48 frames\n", " MB/s\n"):
            self.assertIn(said, self.errors)

    @unittest.skipUnless(os.path.exists("/proc/self/status"), "a process cannot be asked for its memory here")
    def test_frames_are_not_held_in_memory(self):
        """The address space is a third of what the frames take."""
        subprocess.run([os.environ["MAKE_ARCHIVES"], self.folder, "200"], check=True)
        size = 200000000
        self.assertGreater(os.path.getsize(self.path("large.abc")), size)
        def limited():
            resource.setrlimit(resource.RLIMIT_AS, (size // 3, size // 3))
        if subprocess.run([QEL, "--version"], preexec_fn=limited, capture_output=True).returncode != 0:
            self.skipTest("a sanitizer takes more address space than that for itself")
        self.qel("convert", "large.abc", "-o", "out", "--only", "scene", preexec_fn=limited)
        self.assertGreater(os.path.getsize(self.path("out/scene.bqel")), size)


class ManyTest(WholeToolTest):
    def test_each_archive_has_a_folder_and_a_line_and_one_that_fails_stops_no_other(self):
        self.file(b"Ogawa nonsense", "bad.abc")
        os.makedirs(self.path("more/inside"))
        shutil.copy(HARBOUR, self.path("more/inside/deep.abc"))
        shutil.copy(HARBOUR, self.path("more/scene.abc"))
        self.file(b"", "more/note.txt")
        for jobs in "1", "3":
            out = self.qel("convert", HARBOUR, "bad.abc", "more", self.archive("changing"), HARBOUR, "-o", "o" + jobs, "-j", jobs,
                           status=1)
            self.assertEqual([line.split(": ")[0] for line in out.splitlines()],
                             [HARBOUR, "more/inside/deep.abc", "more/scene.abc", "made/changing.abc", HARBOUR])
            self.assertRegex(self.errors, r"\Aqel: bad.abc: .+\n\Z")
            self.assertEqual(sorted(os.listdir(self.path("o" + jobs))), ["changing", "harbour", "harbour-2", "inside", "scene"])
            for folder in ("changing", "inside/deep", "scene", "harbour", "harbour-2"):
                made = [f"o{jobs}/{folder}/{name}" for name in self.made(f"o{jobs}/{folder}")]
                self.assertEqual(self.qel("info", *made).count("sound: yes\n"), len(made))
        self.assertEqual(self.qel("convert", "-q", self.archive("names"), HARBOUR, "-o", "quiet") + self.errors, "")

    def test_by_bytes_too(self):
        out = self.qel("convert", "--by-bytes", TORUS, HARBOUR, "-o", "out")
        self.assertEqual(out.count("found by the look of the bytes"), 2)
        self.assertEqual(self.made("out/torus"), sorted([*FORMATS, "mesh.qelm"]))

    def test_a_folder_without_archives_and_one_that_cannot_be_made(self):
        os.mkdir(self.path("none"))
        self.fails("none: has no archive (*.abc) in it", "convert", "none", "-o", "out")
        self.file(b"", "file")
        self.qel("convert", self.archive("names"), HARBOUR, "-o", "file", status=1)
        self.assertEqual(self.errors.count("output folder: file: is no folder"), 2, self.errors)

    @unittest.skipUnless(os.path.exists("/proc/self/status"), "processes do not end with their parent here")
    def test_all_workers_stop_when_the_command_is_ended(self):
        os.mkfifo(self.path("pipe"))
        with subprocess.Popen([QEL, "convert", "pipe", "pipe", "-j", "2", "-o", "out"], cwd=self.folder) as run:
            time.sleep(0.3)
            children = subprocess.run(["ps", "--ppid", str(run.pid), "-o", "pid="], capture_output=True, text=True).stdout.split()
            run.send_signal(signal.SIGTERM)
            self.assertEqual(run.wait(), -signal.SIGTERM)
        self.assertEqual(len(children), 2)
        deadline = time.time() + 10
        while any(os.path.exists(f"/proc/{child}/exe") for child in children) and time.time() < deadline:
            time.sleep(0.02)
        self.assertFalse([child for child in children if os.path.exists(f"/proc/{child}/exe")])


class HarmTest(WholeToolTest):
    def test_a_failure_at_any_size_leaves_every_file_as_it_was(self):
        os.makedirs(self.path("out/meshes"))
        for name in ("scene.bqel", "tokens.qel", "meshes/harbour.sea.qelm"):
            self.file(b"earlier", "out/" + name)
        for size in (100, 20000, 53000, 500000, 1462738):
            self.qel("convert", HARBOUR, "-o", "out", status=1, preexec_fn=lambda: at_most(size))
            self.assertRegex(self.errors, rf"\Aqel: {HARBOUR}: [a-z ]+: out/\S+: .+\n\Z")
            self.assertEqual(self.made(), ["meshes/harbour.sea.qelm", "scene.bqel", "tokens.qel"])
            self.assertEqual([self.content("out/" + name) for name in self.made()], [b"earlier"] * 3)
            self.qel("convert", HARBOUR, "-o", "new/folder", status=1, preexec_fn=lambda: at_most(size))
            self.assertFalse(os.path.exists(self.path("new")))
        self.qel("convert", HARBOUR, "-o", "out", preexec_fn=lambda: at_most(1462739))

    def test_the_input_is_not_overwritten_nor_what_is_no_file(self):
        os.makedirs(self.path("out/meshes"))
        shutil.copy(HARBOUR, self.path("out/meshes/harbour.sea.qelm"))
        self.qel("convert", "out/meshes/harbour.sea.qelm", "-o", "out", status=2)
        self.assertEqual(self.errors, "qel: out/meshes/harbour.sea.qelm: is the input, which would be lost\n")
        self.assertEqual(self.made(), ["meshes/harbour.sea.qelm"])
        os.mkdir(self.path("out/scene.bqel"))
        self.fails(f"{HARBOUR}: output folder: out/scene.bqel: what is there is no file", "convert", HARBOUR, "-o", "out")

    def test_a_cut_archive_is_refused_at_any_length(self):
        content = self.content(HARBOUR)
        for length in range(0, len(content), 40009):
            self.file(content[:length], "cut.abc")
            self.qel("convert", "cut.abc", "-o", "out", status=1)
            self.assertRegex(self.errors, r"\Aqel: cut\.abc: .+\n\Z")
            self.assertFalse(os.path.exists(self.path("out")))

    def test_other_kinds_are_reported(self):
        self.fails("file: is of the kind unit, but convert wants archive", "convert", self.file(files.unit([])), "-o", "out")
        self.fails("missing: No such file or directory", "convert", "missing", "-o", "out")
