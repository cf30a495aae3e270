# SPDX-License-Identifier: MIT
"""`qel info` on good files, and what may be shown of names and paths."""

import json
import os
import shutil
import signal
import subprocess
import unittest

import files
from tool import HARBOUR, QEL, TORUS, ToolTest, at_most, open_terminal, read_terminal


class InfoTest(ToolTest):
    def facts(self, *arguments, **how):
        return dict(line.split(": ", 1) for line in self.qel("info", *arguments, **how).splitlines() if line)

    def test_a_unit(self):
        facts = self.facts(self.file(files.unit(files.THREE, saved_at=1767225600)))
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
        facts = self.facts("--by-bytes", TORUS)
        self.assertEqual([facts[name] for name in ("kind", "vertices", "faces", "corners", "bounds", "sound")],
                         ["archive", "1152", "1152", "4608", "(-4, -4, -1) to (4, 4, 1)", "yes"])
        self.assertNotIn("time", facts)

    def test_json_equals_the_lines_of_every_kind(self):
        contents = (files.unit(files.THREE), files.scene(), files.cache(), files.agents([(b"2A9E0100", 0)]))
        for call in [(self.file(content, f"file{i}"),) for i, content in enumerate(contents)] + [(HARBOUR,), (TORUS, "--by-bytes")]:
            lines = dict(line.split(": ", 1) for line in self.qel("info", *call).splitlines())
            told = json.loads(self.qel("info", "--json", *call))
            self.assertIs(told["sound"], True)
            self.assertEqual(told["problems"], [])
            for name in lines.keys() - {"sound"} - {f"mesh {i}" for i in range(100) if call == (HARBOUR,)}:
                self.assertEqual(str(told[name.replace(" ", "_").replace(",", "")]), lines[name], name)
        cut = self.file(files.unit(files.THREE)[:-1])
        told = json.loads(self.qel("info", "-j", cut, status=1))
        self.assertEqual((told["sound"], len(told["problems"])), (False, 1))
        self.assertEqual(self.qel("info", "-q", cut, status=1), "")
        self.assertIn("cut short", self.errors)

    def test_standard_input_and_pipes_are_read_like_files(self):
        facts = self.facts("-", stdin=files.unit(files.THREE))
        self.assertEqual((facts["file"], facts["tokens"], facts["sound"]), ("standard input", "3", "yes"))
        os.mkfifo(self.path("pipe"))
        with subprocess.Popen([QEL, "info", "pipe"], cwd=self.folder, stdout=subprocess.PIPE) as run:
            self.file(files.cache(), "pipe")
            self.assertIn(b"kind: mesh cache\n", run.stdout.read())

    def test_a_pipe_of_another_format_is_not_copied_first(self):
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
        self.qel("info", "-", stdin=files.unit(files.THREE), env={**os.environ, "TMPDIR": self.folder})
        self.qel("info", "-", stdin=b"no file of ours", env={**os.environ, "TMPDIR": self.folder}, status=1)
        self.assertEqual(os.listdir(self.folder), [])

    def test_several_files_are_all_reported_and_one_failure_counts(self):
        out = self.fails("missing: No such file or directory", "info", self.file(files.unit(files.THREE)), "missing", HARBOUR)
        self.assertEqual(out.count("sound: yes"), 2)

    def test_words_in_brackets_are_names(self):
        for name in ("[a,b]", "[a]", "{}", "{", "[", "[]", "%%", "\x01[a,b]"):
            self.assertIn(f"tokens: 3\n", self.qel("info", self.file(files.unit(files.THREE), name)), name)
            os.remove(self.path(name))
            self.qel("info", name, status=1)
            self.assertEqual(self.errors, f"qel: {name}: No such file or directory\n".replace("\x01", r"\x01"))
            for call in (("view", name, "-o", "page"), ("dump", name), ("convert", name, "-o", "out"), ("nearest", name, "1")):
                self.qel(*call, status=1)
                self.assertEqual(self.errors, f"qel: {name}: No such file or directory\n".replace("\x01", r"\x01"))
        self.qel("info", "x", "[a,b]", "y", status=1)
        self.assertEqual(self.errors.count("No such file"), 3)
        self.qel("convert", HARBOUR, "-o", "[a,b]")
        self.assertTrue(os.path.exists(self.path("[a,b]/tokens.qel")))

    def test_control_characters_of_names_are_escaped(self):
        self.fails(r"\x1B[31m: No such file or directory", "info", "\x1b[31m")
        text = self.qel("info", self.file(files.scene([files.mesh(name=b"\x1b]0;x\x07")])))
        self.assertIn(r'"\x1B]0;x\x07"', text)

    def test_no_line_holds_a_control_character(self):
        """Whatever path or name comes from outside, in what succeeds and in what fails, on both streams."""
        evil = "\x1b]0;x\x07\u202e\r\n\x7f\u009b31m"
        os.mkdir(self.path(evil))
        archive, scene, unit = f"{evil}/t.abc", f"{evil}/s.bqel", f"{evil}/u.qel"
        shutil.copy(HARBOUR, self.path(archive))
        self.file(files.scene([files.mesh(name=evil.encode())]), scene)
        self.file(files.unit([(1, b"\x1b[31m\x07\r\n", 0, 1)]), unit)
        self.file(self.content(scene)[:-1], f"{evil}/cut")
        self.file(b"", f"{evil}/empty")
        os.mkdir(self.path("taken"))
        os.mkdir(self.path("taken/" + "scene.bqel"))
        calls = [("convert", "-v", archive, "-o", f"{evil}/out"), ("convert", "-v", archive, "-o", f"{archive}/out"),
                 ("convert", archive, "-o", f"{evil}/" + "x" * 230), ("convert", archive, "-o", "taken"),
                 ("view", archive, "-o", f"{evil}/page"), ("view", archive, "-o", archive), ("view", archive, "-o", evil),
                 ("view", scene, "-o", f"{evil}/none/page"), ("view", unit, "-o", evil), ("nearest", unit, "1"),
                 ("nearest", unit, "1", "--json"), ("nearest", unit, evil), ("nearest", archive, "1"), (evil,),
                 ("info", "--" + evil), ("info", archive, scene, unit, evil, f"{evil}/cut", f"{evil}/empty"),
                 ("dump", scene), ("dump", scene, "--json"), ("dump", unit), ("dump", f"{evil}/cut"), ("dump", evil),
                 ("convert", unit, "-o", evil)]
        for call in calls:
            run = self.run_qel(*call)
            self.assertIn(run.returncode, (0, 1, 2), call)
            for line in (run.stdout + run.stderr).decode().split("\n"):
                self.assertNotRegex(line, "[\x00-\x1f\x7f-\x9f\u202e]", call)
            if "--json" in call:
                json.loads(run.stdout)

    def test_a_terminal_for_both_streams_shows_each_problem_once(self):
        terminal, end = open_terminal(self)
        cut = self.file(files.unit(files.THREE)[:-1])
        with subprocess.Popen([QEL, "info", "--color=never", cut, "missing"], cwd=self.folder, stdout=end, stderr=end) as run:
            os.close(end)
            shown = read_terminal(terminal)
        self.assertEqual(run.returncode, 1)
        self.assertEqual(shown.count("cut short"), 1, shown)
        self.assertEqual(shown.count("qel: missing: No such file or directory"), 1, shown)

    def test_a_name_in_utf_8_is_shown_as_it_is(self):
        for name in ("größe", "漢字 𝄞", "\u00a0\uffff"):
            self.fails(f"{name}: No such file or directory", "info", name)
            self.assertEqual(self.facts(self.file(files.unit(files.THREE), name))["file"], name)

    def test_bytes_that_are_no_utf_8_and_control_characters_are_escaped(self):
        for name, shown in ((b"a\xff\xc3", r"a\xFF\xC3"), (b"\xc0\xaf", r"\xC0\xAF"), (b"\xe0\x80\xaf", r"\xE0\x80\xAF"),
                            (b"\xed\xa0\x80", r"\xED\xA0\x80"), (b"\xf4\x90\x80\x80", r"\xF4\x90\x80\x80"),
                            (b"\xe2\x82(", r"\xE2\x82("), ("\u009b31m".encode(), r"\xC2\x9B31m"), (b"\x7f", r"\x7F")):
            self.fails(f"{shown}: No such file or directory", "info", name)
