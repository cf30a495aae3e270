# SPDX-License-Identifier: MIT
"""Every command but `convert`, on good files and broken ones. PAGE names the manual page."""

import json
import os
import re
import shutil
import signal
import stat
import struct
import subprocess
import unittest

import files
from tool import QEL, TORUS, ToolTest, at_most

PAGE = os.environ["PAGE"]
THREE = [(702, b"000002FC", 1 << 63, 1), (5, b"\x1b[31m\xff<x", 0, 2), (702, b"00000003", 3, 1)]


class CallTest(ToolTest):
    def test_help_names_every_command_and_status(self):
        text = self.qel("--help")
        for word in ("info", "convert", "nearest", "dump", "view", "Exit status", "--version"):
            self.assertIn(word, text)
        for command, option in (("info", "FILE"), ("convert", "--output"), ("nearest", "--packed"), ("dump", "--json"),
                                ("view", "PAGE.html")):
            self.assertIn(option, self.qel(command, "--help"))

    def test_version_is_one_line(self):
        self.assertRegex(self.qel("--version"), r"\Aqel \d+\.\d+\.\d+\n\Z")

    def test_a_wrong_call_is_status_2_and_says_so_on_standard_error(self):
        for call in ((), ("frobnicate",), ("info",), ("info", "--frob", "x"), ("convert", TORUS), ("view", TORUS),
                     ("nearest", "x"), ("nearest", "x", "1", "-k", "0"), ("nearest", "x", "1", "-k", "many")):
            self.assertEqual(self.qel(*call, status=2), "")
            self.assertRegex(self.errors, r"\Aqel: .+\nTry: qel --help\n\Z")

    def test_a_wrong_word_is_named(self):
        for call, word in ((("infoo",), "infoo"), (("--foo",), "--foo"), (("--foo", "info", TORUS), "--foo"),
                           (("info", TORUS, "--bar"), "--bar"), (("\x1b[31m",), r"\x1B[31m")):
            self.qel(*call, status=2)
            self.assertIn(word, self.errors)

    def test_the_manual_page_and_the_help_have_the_same_options(self):
        with open(PAGE, encoding="utf-8") as page:
            parts = re.split(r"(?m)^\.It Cm (\w+)", page.read())
        told = {name: {"-" + option for line in re.findall(r"(?m)^\.It (Fl .*)", part)
                       for option in re.findall(r"(?:Fl|,) (-?[a-z]+)", line)}
                for name, part in zip(parts[1::2], parts[2::2])}
        commands = re.findall(r"(?m)^  (\w+)", self.qel("--help").partition("Subcommands:")[2])
        self.assertEqual(sorted(told), sorted(commands))
        for command in commands:
            help_text = "\n".join(re.findall(r"(?m)^  (-\S+)", self.qel(command, "--help")))
            self.assertEqual(set(re.findall(r"-[-a-z]+", help_text)) - {"-h", "--help"}, told[command], command)
        self.assertIn(".Fl -help | Fl -version", parts[0])
        self.assertEqual(set(re.findall(r"(?m)^  (-\S+)", self.qel("--help"))), {"-h,--help", "--version"})

    def test_a_full_disk_is_a_failure(self):
        for call in (("dump", TORUS), ("info", TORUS), ("--version",), ("--help",), ("view", "--help")):
            with open("/dev/full", "w") as full:
                run = subprocess.run([QEL, *call], stdout=full, stderr=subprocess.PIPE, timeout=120)
            self.assertEqual((run.returncode, run.stderr), (1, b"qel: standard output: No space left on device\n"), call)

    def test_a_closed_descriptor_is_not_taken_for_a_file(self):
        for call, message in (("info - >&-", b"qel: standard output: Bad file descriptor\n"),
                              ("info - <&-", b"qel: standard input: Bad file descriptor\n"), ("info - 2>&- >&-", b"")):
            run = subprocess.run(["sh", "-c", '"$0" ' + call, QEL], input=files.unit(THREE), capture_output=True, timeout=120)
            self.assertEqual((run.returncode, run.stdout, run.stderr), (1, b"", message), call)

    def test_a_reader_that_has_had_enough_hears_no_complaint(self):
        with subprocess.Popen([QEL, "dump", TORUS], stdout=subprocess.PIPE, stderr=subprocess.PIPE) as run:
            run.stdout.readline()
            run.stdout.close()
            self.assertEqual(run.stderr.read(), b"")
            self.assertEqual(run.wait(), -signal.SIGPIPE)


class InfoTest(ToolTest):
    def facts(self, *arguments, **how):
        return dict(line.split(": ", 1) for line in self.qel("info", *arguments, **how).splitlines() if line)

    def test_a_unit(self):
        facts = self.facts(self.file(files.unit(THREE, saved_at=1767225600)))
        self.assertEqual(facts, {
            "file": "file", "kind": "unit", "bytes": "99", "version": "1", "tokens": "3", "extra": "7",
            "saved": "2026-01-01T00:00:00Z", "sorted": "no, loading sorts it", "keys": "5 to 702", "distinct keys": "2",
            "layers": "1 (2), 2 (1)", "sound": "yes"})

    def test_an_empty_unit(self):
        self.assertEqual(self.facts(self.file(files.unit([])))["tokens"], "0")

    def test_an_agent_directory(self):
        facts = self.facts(self.file(files.agents([(b"2A9E0100", 0), (b"2A9E0101", 6)])))
        self.assertEqual([facts[name] for name in ("agents", "active", "states", "saved", "sound")],
                         ["2", "1", "0 (1), 6 (1)", "never", "yes"])

    def test_a_scene_with_frames(self):
        facts = self.facts(self.file(files.scene([files.mesh(), files.mesh(layer=9)], [files.frame()])))
        self.assertEqual([facts[name] for name in ("meshes", "vertices", "frames", "mesh 1", "sound")],
                         ["2", "6", "1", '"triangle", 3 vertices, 1 triangle, layer 9, (0, 0, 0) to (1, 2, 0)', "yes"])

    def test_a_mesh_cache_with_skin_and_normals(self):
        content = files.cache(normals=[(0, 0, 1)] * 3, skin=files.skin(), joints=1)
        facts = self.facts(self.file(content))
        self.assertEqual([facts[name] for name in ("vertices", "triangles", "normals", "joints", "skin at", "sound")],
                         ["3", "1", "yes", "1", "148", "yes"])

    def test_an_archive(self):
        facts = self.facts(TORUS)
        self.assertEqual([facts[name] for name in ("kind", "vertices", "faces", "corners", "bounds", "sound")],
                         ["archive", "1152", "1152", "4608", "(-4, -4, -1) to (4, 4, 1)", "yes"])

    def test_standard_input_and_pipes_are_read_like_files(self):
        facts = self.facts("-", stdin=files.unit(THREE))
        self.assertEqual((facts["file"], facts["tokens"], facts["sound"]), ("standard input", "3", "yes"))
        os.mkfifo(self.path("pipe"))
        with subprocess.Popen([QEL, "info", "pipe"], cwd=self.folder, stdout=subprocess.PIPE) as run:
            self.file(files.cache(), "pipe")
            self.assertIn(b"kind: mesh cache\n", run.stdout.read())

    def test_a_pipe_that_is_none_of_the_formats_is_not_copied_first(self):
        self.fails("/dev/zero: not a unit, scene, mesh cache, agent directory or archive", "info", "/dev/zero",
                   preexec_fn=lambda: at_most(1000))

    @unittest.skipUnless(os.path.exists("/proc/self/fd"), "a file has to have a name here")
    def test_the_temporary_file_has_no_name_while_it_is_in_use(self):
        scene = files.scene([files.mesh()] * 3000)
        environment = {**os.environ, "TMPDIR": self.folder}
        with subprocess.Popen([QEL, "dump", "-"], stdin=subprocess.PIPE, stdout=subprocess.PIPE, env=environment) as run:
            run.stdin.write(scene[:500000])  # more than a pipe holds: some of it has been copied
            self.assertEqual(os.listdir(self.folder), [])
            run.stdin.write(scene[500000:])
            run.stdin.close()
            run.stdout.readline()
            run.stdout.close()
            self.assertEqual(run.wait(), -signal.SIGPIPE)
        self.assertEqual(os.listdir(self.folder), [])

    def test_no_temporary_file_stays(self):
        self.qel("info", "-", stdin=files.unit(THREE), env={**os.environ, "TMPDIR": self.folder})
        self.qel("info", "-", stdin=b"no file of ours", env={**os.environ, "TMPDIR": self.folder}, status=1)
        self.assertEqual(os.listdir(self.folder), [])

    def test_several_files_are_all_told_and_one_failure_counts(self):
        out = self.fails("missing: No such file or directory", "info", self.file(files.unit(THREE)), "missing", TORUS)
        self.assertEqual(out.count("sound: yes"), 2)

    def test_a_name_cannot_command_the_terminal(self):
        self.fails(r"\x1B[31m: No such file or directory", "info", "\x1b[31m")
        text = self.qel("info", self.file(files.scene([files.mesh(name=b"\x1b]0;x\x07")])))
        self.assertIn(r'"\x1B]0;x\x07"', text)


    def test_a_name_in_utf_8_is_shown_as_it_is(self):
        for name in ("größe", "漢字 𝄞", "\u00a0\uffff"):
            self.fails(f"{name}: No such file or directory", "info", name)
            self.assertEqual(self.facts(self.file(files.unit(THREE), name))["file"], name)

    def test_bytes_that_are_no_utf_8_and_control_characters_are_escaped(self):
        for name, shown in ((b"a\xff\xc3", r"a\xFF\xC3"), (b"\xc0\xaf", r"\xC0\xAF"), (b"\xe0\x80\xaf", r"\xE0\x80\xAF"),
                            (b"\xed\xa0\x80", r"\xED\xA0\x80"), (b"\xf4\x90\x80\x80", r"\xF4\x90\x80\x80"),
                            (b"\xe2\x82(", r"\xE2\x82("), ("\u009b31m".encode(), r"\xC2\x9B31m"), (b"\x7f", r"\x7F")):
            self.fails(f"{shown}: No such file or directory", "info", name)


class BrokenFileTest(ToolTest):
    def broken(self, content, problem, converts=False):
        """`info` tells the problem and is status 1; the other commands neither crash nor call it sound. An archive
        may be converted, with a warning."""
        name = self.file(content)
        out = self.fails(f"file: not sound: {problem}", "info", name)
        self.assertIn(f"sound: no\nproblem: {problem}\n", out)
        self.qel("dump", name, "--json", status=1)
        self.assertRegex(self.errors, r"\Aqel: file: .+\n\Z")
        for command, done in ((["view", name, "-o", "page.html"], False), (["convert", name, "-o", "out"], converts)):
            self.qel(*command, status=0 if done else 1)
            self.assertRegex(self.errors, r"\Aqel: file: .+\n\Z")
            self.assertEqual(os.path.exists(self.path(command[3])), done)

    def test_what_is_no_file_of_ours(self):
        self.fails("missing: No such file or directory", "info", "missing")
        self.fails(".: Is a directory", "info", ".")
        self.fails("file: the file is empty", "info", self.file(b""))
        self.fails("file: not a unit, scene, mesh cache, agent directory or archive", "info", self.file(b"QEL\1" * 20))

    def test_units(self):
        whole = files.unit(THREE)
        self.broken(whole[:-1], "cut short: its counts need 99 bytes, it has 98")
        self.broken(whole + b"x", "1 byte beyond the 99 that its counts need")
        self.broken(whole[:20], "its header is cut short")
        self.broken(files.unit(THREE, version=2), "its version is 2, not 1")
        self.broken(files.unit(THREE, count=0xFFFFFFFF), "cut short: its counts need 107374182399 bytes, it has 99")

    def test_agent_directories(self):
        good = [(b"2A9E0100", 0), (b"2A9E0101", 2)]
        self.broken(files.agents(good)[:-1], "cut short: its counts need 104 bytes, it has 103")
        self.broken(files.agents(good)[:17], "its header is cut short")
        self.broken(files.agents(good, count=70000), "it claims 70000 agents, a directory holds at most 65536")
        self.broken(files.agents(good, active=3), "it counts 3 active, but only 2 have not ended")
        self.broken(files.agents([(b"2a9e0100", 0)]),
                    "1 agent has an id that is not eight hexadecimal digits, the first is agent 0")
        self.broken(files.agents([good[0], good[0]]), "1 agent has an id that an earlier one has, the first is agent 1")
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
        with open(TORUS, "rb") as torus:
            whole = torus.read()
        self.fails("file: still being written, or not closed by its writer", "info", self.file(whole[:5] + b"\0" + whole[6:]))
        self.fails("file: cut short in its root reference", "info", self.file(whole[:12]))
        self.broken(whole[:-300], "its root does not lie in the file", converts=True)
        self.assertEqual(self.errors, "qel: file: its root does not lie in the file: the mesh was found among its bytes\n")
        self.broken(self.with_a_wrong_corner(whole),
                    "1 corner has a vertex that the mesh does not have, the first is corner 4", converts=True)
        self.assertEqual(self.errors, "qel: file: its faces name vertices or corners that it does not have: going on "
                                      "without faces\n")
        self.assertIn("mesh: none found", self.qel("info", self.file(whole[:20] + bytes(64)), status=1))

    def test_a_broken_archive_is_dumped_as_far_as_it_goes(self):
        name = self.file(self.with_a_wrong_corner(self.content(TORUS)))
        got = json.loads(self.qel("dump", name, "--json", status=1))
        self.assertEqual((len(got["positions"]), got["face_indices"][4]), (1152, 5000))
        self.assertEqual(self.errors, "qel: file: 1 corner has a vertex that the mesh does not have, the first is corner 4\n")

    def with_a_wrong_corner(self, archive):
        corners = json.loads(self.qel("dump", TORUS, "--json"))["face_indices"]
        place = archive.index(struct.pack("<8I", *corners[:8])) + 16
        return archive[:place] + struct.pack("<I", 5000) + archive[place + 4:]

    def test_every_truncation_and_many_changes_end_in_a_status(self):
        contents = [files.unit(THREE), files.scene(frames=[files.frame()]), files.agents([(b"2A9E0100", 0)]),
                    files.cache(normals=[(0, 0, 1)] * 3, skin=files.skin(), joints=1)]
        for content in contents:
            changes = [content[:length] for length in range(1, min(len(content), 160), 7)]
            changes += [content[:at] + b"\xff\xff\xff\xff" + content[at + 4:] for at in range(4, min(len(content), 180), 8)]
            for changed in changes:
                name = self.file(changed)
                for command in (["info", name], ["dump", name], ["view", name, "-o", "-"]):
                    run = subprocess.run([QEL, *command], capture_output=True, cwd=self.folder, timeout=120)
                    self.assertIn(run.returncode, (0, 1), (command, changed, run.stderr))


class NearestTest(ToolTest):
    def test_lists_tokens_nearest_first(self):
        name = self.file(files.unit(THREE))
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

    def test_a_place_that_is_none_is_a_wrong_call(self):
        name = self.file(files.unit(THREE))
        for place in ("", "x", "1,2", "1,2,48", "1,2,3,4", "+1", "1 ", "0x", "99999999999999999999", "1,,3"):
            self.assertEqual(self.qel("nearest", name, place, status=2), "")
            self.assertTrue(self.errors.startswith("qel: "), self.errors)

    def test_wants_a_unit(self):
        self.fails("file: is of the kind mesh cache, but nearest wants unit", "nearest", self.file(files.cache()), "1")
        self.assertEqual(len(self.qel("nearest", self.file(files.unit([])), "1").splitlines()), 1)


class DumpTest(ToolTest):
    def json(self, content, **how):
        return json.loads(self.qel("dump", self.file(content), "--json", **how), parse_constant=self.fail)

    def test_a_unit_in_the_order_of_the_file(self):
        self.assertEqual(self.json(files.unit(THREE)), {
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
        lines = self.qel("dump", self.file(files.unit(THREE))).splitlines()
        self.assertEqual(lines[:2] + lines[-2:], ['format = "unit"', "version = 1", 'tokens[2].payload = "0x0000000000000003"',
                                                  "tokens[2].layer = 1"])
        self.assertIn(r'tokens[1].hex_id = "\u001b[31m\u00ff<x"', lines)

    def test_a_scene(self):
        got = self.json(files.scene(frames=[files.frame()]))
        self.assertEqual(got["meshes"][0]["positions"], [[0, 0, 0], [1, 0, 0], [0, 2, 0]])
        self.assertEqual(got["meshes"][0]["vertices"][1], {
            "position": [1, 0, 0], "cell": [47, 0, 0], "morton": "33353", "k11_level": 1, "i_state": 1, "phi_norm": 1.5,
            "em_coupling": 11, "topology": 5})
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
            "flag_delegated": 0, "tag": 0, "tier": 0, "task": "0x0000000000000000"}])

    def test_an_archive(self):
        got = json.loads(self.qel("dump", TORUS, "--json"))
        self.assertEqual((len(got["positions"]), len(got["face_counts"]), sum(got["face_counts"])), (1152, 1152, 4608))
        self.assertEqual(got["positions"][0], [4, 0, 0])

    def test_a_number_that_is_not_finite_is_null(self):
        got = self.json(files.cache(positions=[(files.NAN, float("inf"), -float("inf"))] + files.CORNERS[1:]), status=1)
        self.assertEqual(got["positions"][0], [None, None, None])

    def test_all_digits_of_a_float(self):
        got = self.json(files.cache(positions=[(0.1, 1e-45, 3.4028234e38)] + files.CORNERS[1:]))
        self.assertEqual(got["positions"][0], [0.100000001, 1.40129846e-45, 3.40282347e+38])


class ViewTest(ToolTest):
    def page(self, name):
        self.assertEqual(self.qel("view", name, "-o", "page.html"), "")
        with open(self.path("page.html"), encoding="utf-8") as page:
            text = page.read()
        found = re.search(r'<script type="application/json" id="data">(.*?)</script>', text, re.S)
        return text, json.loads(found[1])

    def test_pages_of_all_three_kinds(self):
        self.qel("convert", TORUS, "-o", "out")
        models = [self.page(name)[1] for name in (TORUS, "out/scene.bqel", "out/mesh.qelm")]
        for array in ("positions", "triangles", "cells", "levels", "states", "norms", "layers"):
            self.assertEqual(models[0][array], models[1][array])
            self.assertEqual(models[0][array], models[2][array])
        self.assertEqual(models[0]["parts"], [{"name": "mesh", "first": 0, "count": 1152}])

    def test_the_page_needs_nothing_else(self):
        text, _ = self.page(TORUS)
        self.assertNotRegex(text, r"https?:|//[a-z]+\.|@import|src=|<link|url\(")
        self.assertIn("default-src 'none'", text)

    def test_hostile_names_stay_text(self):
        evil = files.scene([files.mesh(name=b"</script><script>alert(1)//")])
        os.mkdir(self.path("d"))
        text, model = self.page(self.file(evil, "d/<img onerror=x>&.bqel"))
        self.assertEqual(text.lower().count("<script"), 2)
        self.assertNotIn("<img", text)
        self.assertEqual(model["parts"][0]["name"], "</script><script>alert(1)//")

    def test_unusual_tokens_bring_their_keys_and_identities(self):
        usual = self.page(self.file(files.scene()))[1]
        self.assertNotIn("keys", usual)
        other = self.page(self.file(files.scene([files.mesh(ids=[b"AAAAAAAA", b"B", b"C"])])))[1]
        self.assertIn("keys", other)
        self.assertIn("identities", other)

    def test_goes_to_standard_output_and_is_refused_where_there_is_nothing_to_see(self):
        self.assertTrue(self.qel("view", TORUS, "-o", "-").startswith("<!DOCTYPE html>"))
        self.fails("file: is of the kind unit, but view wants an archive, a scene or a mesh cache", "view",
                   self.file(files.unit(THREE)), "-o", "page.html")
        self.fails("no/page.html: No such file or directory", "view", TORUS, "-o", "no/page.html")

    def test_the_input_is_not_overwritten(self):
        shutil.copy(TORUS, self.path("x.abc"))
        os.symlink("x.abc", self.path("link"))
        os.link(self.path("x.abc"), self.path("twin"))
        for page in ("x.abc", "./x.abc", "link", "twin"):
            self.qel("view", "x.abc", "-o", page, status=2)
            self.assertEqual(self.errors, f"qel: {page}: is the input, which would be lost\n")
        self.assertEqual(self.content("x.abc"), self.content(TORUS))

    def test_a_page_is_replaced_when_the_new_one_is_whole(self):
        self.file(b"earlier", "page.html")
        os.chmod(self.path("page.html"), 0o600)
        os.symlink("page.html", self.path("link"))
        self.fails("page.html: File too large", "view", TORUS, "-o", "page.html", preexec_fn=lambda: at_most(9000))
        self.assertEqual((self.content("page.html"), sorted(os.listdir(self.folder))), (b"earlier", ["link", "page.html"]))
        self.file(b"of a killed run", "page.html.unfinished-0")
        self.qel("view", TORUS, "-o", "link")
        self.assertTrue(self.content("page.html").startswith(b"<!DOCTYPE html>"))
        self.assertEqual(stat.S_IMODE(os.stat(self.path("page.html")).st_mode), 0o600)
        self.assertTrue(os.path.islink(self.path("link")))
        self.assertEqual(self.content("page.html.unfinished-0"), b"of a killed run")
        self.qel("view", TORUS, "-o", "new.html", preexec_fn=lambda: os.umask(0o027))
        self.assertEqual(stat.S_IMODE(os.stat(self.path("new.html")).st_mode), 0o640)

    def test_a_full_disk_is_told(self):
        os.symlink("/dev/full", self.path("full.html"))
        self.fails("full.html: No space left on device", "view", TORUS, "-o", "full.html")
        self.assertTrue(stat.S_ISCHR(os.stat(self.path("full.html")).st_mode))


if __name__ == "__main__":
    unittest.main()
