# SPDX-License-Identifier: MIT
"""`qel view` as far as no browser is needed: where the page goes and what is in it."""

import os
import random
import shutil
import stat

import files
from page_file import Page
from tool import HARBOUR, TORUS, ToolTest, at_most, full_device


class ViewTest(ToolTest):
    def page(self, *arguments):
        self.assertEqual(self.qel("view", *arguments, "-o", "page.html"), "")
        text = self.content("page.html").decode()
        return text, Page(text)

    def test_pages_of_all_kinds_hold_the_same_mesh(self):
        self.qel("convert", "--by-bytes", TORUS, "-o", "out")
        pages = [self.page(*how)[1] for how in ((TORUS, "--by-bytes"), ("out/scene.bqel",), ("out/mesh.qelm",), ("out",))]
        for page in pages:
            self.assertEqual([(m["vertices"], m["triangles"]) for m in page.header["meshes"]], [(1152, 2304)])
            for array in ("positions", "triangles", "cells"):
                self.assertEqual(page.array(array), pages[0].array(array))
        self.assertEqual([page.header["kind"] for page in pages],
                         ["archive, by its bytes", "scene", "mesh cache", "mesh cache"])

    def test_an_archive_is_read_by_its_structure(self):
        header = self.page(HARBOUR)[1].header
        self.assertEqual(header["kind"], "archive")
        self.assertEqual((len(header["times"]), header["rate"]), (48, 24))
        names = [header["objects"][mesh["object"]]["name"] for mesh in header["meshes"]]
        self.assertIn("lantern", names)
        self.assertEqual(header["objects"][0], {"name": "harbour", "parent": -1, "kind": "Xform"})
        moving = {name for name, mesh in zip(names, header["meshes"]) if mesh.get("moves")}
        self.assertIn("sail", moving)
        self.assertNotIn("tower", moving)

    def test_positions_are_within_half_a_step_of_a_box(self):
        points = [(0.0, 0.0, 0.0), (1.0, 2.0, -4.0), (0.3, 0.7, -3.1), (1e-5, 1.5, -0.25)]
        made = self.page(self.file(files.cache(positions=points, box=(0, 0, -4, 1, 2, 0)), "points.qelm"))[1]
        for was, now in zip(points, made.positions()):
            for axis, size in enumerate((1, 2, 4)):
                self.assertLessEqual(abs(was[axis] - now[axis]), size / 65535 * 0.501)

    def test_frames_of_a_scene_are_there_and_still_meshes_are_not_repeated(self):
        moved = [(x + 1, y, z) for x, y, z in files.CORNERS]
        frames = [files.frame(i, 0.25 * i, positions) for i, positions in enumerate((files.CORNERS, moved, files.CORNERS))]
        page = self.page(self.file(files.scene([files.mesh(), files.mesh(name=b"still")], frames=frames), "s.bqel"))[1]
        self.assertEqual(page.header["times"], [0, 0.25, 0.5])
        self.assertEqual([mesh.get("moves", False) for mesh in page.header["meshes"]], [True, False])
        step = page.array("positions 1")
        self.assertEqual(len(step), 9)
        first = page.array("positions")[:9]
        low, high = page.header["meshes"][0]["low"][0], page.header["meshes"][0]["high"][0]
        xs = [low + ((a + b) % 65536) / 65535 * (high - low) for a, b in zip(first[::3], step[::3])]
        self.assertEqual([round(x, 3) for x in xs], [1, 2, 1])

    def test_a_page_keeps_its_size_limit_and_reports_what_it_omits(self):
        generator = random.Random(14)
        points = [tuple(generator.random() for _ in range(3)) for _ in range(300000)]
        self.file(files.cache(positions=points, indices=(), box=(0, 0, 0, 1, 1, 1)), "many.qelm")
        text, page = self.page("many.qelm", "--max-size", "1")
        self.assertLess(len(text), 1000000)
        left = page.header["meshes"][0]["vertices"]
        self.assertGreater(left, 20000)
        self.assertEqual(page.header["notes"],
                         [f"Shows {left:,} of 300,000 vertices, so that the page stays within its size."])
        self.assertEqual(page.header["meshes"][0]["of"], 300000)
        numbers = page.array("numbers")
        self.assertEqual(sorted(set(numbers)), numbers)
        for i in (0, left // 2, left - 1):
            for was, now in zip(points[numbers[i]], page.positions()[i]):
                self.assertAlmostEqual(was, now, delta=1e-4)

    def test_frames_are_thinned_before_points_are_sampled(self):
        generator = random.Random(14)
        points = lambda: [tuple(generator.random() for _ in range(3)) for _ in range(4000)]
        mesh = files.mesh(positions=points(), cells=[(0, 0, 0)] * 4000, keys=[0] * 4000)
        frames = [files.frame(i, i / 24, points()) for i in range(60)]
        page = self.page(self.file(files.scene([mesh], frames=frames), "s.bqel"), "--max-size", "1")[1]
        self.assertEqual(page.header["meshes"][0]["vertices"], 4000)
        shown = len(page.header["times"])
        self.assertGreater(shown, 8)
        self.assertLess(shown, 61)
        self.assertEqual(page.header["notes"], [f"Shows {shown} of 61 frames, so that the page stays within its size."])
        self.assertEqual(len({round(b - a, 4) for a, b in zip(page.header["times"][1:], page.header["times"][2:])}), 1)

    def test_a_folder_without_a_cache_is_refused(self):
        os.mkdir(self.path("empty"))
        self.fails("empty: has no mesh cache (*.qelm) in it", "view", "empty", "-o", "page.html")

    def test_the_page_needs_nothing_else(self):
        text, _ = self.page(HARBOUR)
        self.assertNotRegex(text, r"https?:|//[a-z]+\.|@import|src=|<link|url\(")
        self.assertIn("default-src 'none'", text)

    def test_hostile_names_stay_text(self):
        evil = files.scene([files.mesh(name=b"</script><script>alert(1)//")])
        os.mkdir(self.path("d"))
        text, page = self.page(self.file(evil, "d/<img onerror=x>&.bqel"))
        self.assertEqual(text.lower().count("<script"), 2 + len(page.pieces))
        self.assertNotIn("<img", text)
        self.assertEqual(page.header["objects"][0]["name"], "</script><script>alert(1)//")

    def test_unusual_tokens_bring_their_keys_and_identities(self):
        self.qel("convert", "--by-bytes", TORUS, "-o", "out")
        usual = self.page("out/scene.bqel")[1]
        self.assertNotIn("keys", usual.blocks)
        other = self.page(self.file(files.scene([files.mesh(ids=[b"AAAAAAAA", b"B", b"C"])])))[1]
        self.assertEqual(other.array("keys"), files.KEYS)
        self.assertEqual(other.array("identities")[1], ord("B"))

    def test_identities_name_their_mesh_in_pages_of_archives_and_scenes_and_are_not_stored(self):
        self.qel("convert", HARBOUR, "-o", "out")
        page = self.page("out/scene.bqel")[1]
        self.assertEqual([mesh.get("named", 0) for mesh in page.header["meshes"]], list(range(23)))
        self.assertNotIn("identities", page.blocks)
        archive = self.page(HARBOUR)[1].header
        def path(number):
            return path(archive["objects"][number]["parent"]) + "/" + archive["objects"][number]["name"] if number >= 0 else ""
        names = {path(mesh["object"]): mesh.get("named", 0) for mesh in archive["meshes"]}
        scene = [page.header["objects"][mesh["object"]]["name"] for mesh in page.header["meshes"]]
        self.assertEqual([names[name] for name in scene], list(range(23)))
        self.assertEqual(sorted(names.values()), list(range(25))) # points and curves come last
        names = [b"%08X" % (2 << 24 | i) for i in range(3)]
        other = self.page(self.file(files.scene([files.mesh(), files.mesh(ids=names)])))[1]
        self.assertEqual([number.to_bytes(8, "little") for number in other.array("identities")[-3:]], names)

    def test_goes_to_standard_output_and_is_refused_for_other_kinds(self):
        self.assertTrue(self.qel("view", HARBOUR, "-o", "-").startswith("<!DOCTYPE html>"))
        self.fails("file: is of the kind unit, but view wants an archive, a scene or a mesh cache", "view",
                   self.file(files.unit(files.THREE)), "-o", "page.html")
        self.fails("no/page.html: No such file or directory", "view", HARBOUR, "-o", "no/page.html")

    def test_the_input_is_not_overwritten(self):
        shutil.copy(TORUS, self.path("x.abc"))
        os.symlink("x.abc", self.path("link"))
        os.link(self.path("x.abc"), self.path("twin"))
        for page in ("x.abc", "./x.abc", "link", "twin"):
            self.qel("view", "x.abc", "-o", page, status=2)
            self.assertEqual(self.errors, f"qel: {page}: is the input, which would be lost\n")
        self.assertEqual(self.content("x.abc"), self.content(TORUS))

    def test_a_page_is_replaced_once_the_new_one_is_complete(self):
        self.file(b"earlier", "page.html")
        os.chmod(self.path("page.html"), 0o600)
        os.symlink("page.html", self.path("link"))
        self.fails("page.html: File too large", "view", HARBOUR, "-o", "page.html", preexec_fn=lambda: at_most(9000))
        self.assertEqual((self.content("page.html"), sorted(os.listdir(self.folder))), (b"earlier", ["link", "page.html"]))
        self.file(b"of a killed run", "page.html.unfinished-0")
        self.qel("view", HARBOUR, "-o", "link")
        self.assertTrue(self.content("page.html").startswith(b"<!DOCTYPE html>"))
        self.assertEqual(stat.S_IMODE(os.stat(self.path("page.html")).st_mode), 0o600)
        self.assertTrue(os.path.islink(self.path("link")))
        self.assertEqual(self.content("page.html.unfinished-0"), b"of a killed run")
        self.qel("view", HARBOUR, "-o", "new.html", preexec_fn=lambda: os.umask(0o027))
        self.assertEqual(stat.S_IMODE(os.stat(self.path("new.html")).st_mode), 0o640)

    def test_links_and_modes_stay(self):
        os.mkdir(self.path("d"))
        for name, mode in (("a", 0o600), ("b", 0o664), ("c", 0o666)):
            self.file(b"earlier", name)
            os.chmod(self.path(name), mode)
            self.qel("view", HARBOUR, "-o", name, preexec_fn=lambda: os.umask(0o022))
            self.assertEqual(stat.S_IMODE(os.stat(self.path(name)).st_mode), mode)
        os.symlink("d/page.html", self.path("dangling"))
        os.symlink("dangling", self.path("chain"))
        self.qel("view", HARBOUR, "-o", "chain")
        self.assertEqual([os.readlink(self.path(name)) for name in ("chain", "dangling")], ["dangling", "d/page.html"])
        self.assertEqual(os.listdir(self.path("d")), ["page.html"])
        os.symlink("loop", self.path("loop"))
        self.fails("loop: Too many levels of symbolic links", "view", HARBOUR, "-o", "loop")
        self.assertTrue(os.path.islink(self.path("loop")))

    def test_a_full_disk_is_reported(self):
        os.symlink(full_device(self), self.path("full.html"))
        self.fails("full.html: No space left on device", "view", HARBOUR, "-o", "full.html")
        self.assertTrue(stat.S_ISCHR(os.stat(self.path("full.html")).st_mode))
