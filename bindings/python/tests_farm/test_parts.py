# SPDX-License-Identifier: MIT
"""The rooms of the farm one by one: sources, the manifest, groups, open units, what is shown."""

import io
import os
import random
import subprocess
import sys
from pathlib import Path
from typing import Dict, List

from qel_unit import Unit, tokens
from qel_unit.farm.groups import Grouping
from qel_unit.farm.manifest import Busy, Entry, Manifest, entry_of, read_record, write_record
from qel_unit.farm.progress import Progress, printable, size_text, tables, time_text
from qel_unit.farm.queries import Hit, Layer, Lookup, Nearest, Question, answer, merge
from qel_unit.farm.sources import Source, SourceError, find_sources
from qel_unit.farm.units import OpenUnits

from .support import PACKAGE, Case


def entry(result: str, code: int = 0, attempts: int = 1, seconds: float = 1.0) -> Entry:
    return Entry("/in/" + result, result, 1000, 5, "ab", "only tokens", {"tool": "qel 1"}, 1, 2, 3, 4, seconds, 5000,
                 code, "" if code == 0 else "it is odd", attempts, {})


class SourcesTest(Case):
    def found(self, *names: str, listed: str = "") -> List["tuple[str, str]"]:
        found = find_sources([str(self.folder / name) if name != "-" else name for name in names], io.StringIO(listed),
                             str(self.out))
        return [(os.path.relpath(source.path, self.folder), source.result) for source in found]

    def test_a_folder_is_mirrored_by_full_names(self) -> None:
        for name in ("in/a.abc", "in/b/a.abc", "in/b.abc", "in/b/note.txt", "in/c.abc/inner.abc"):
            self.file(name, b"x" * 7)
        self.assertEqual(self.found("in"), [("in/a.abc", "a.abc"), ("in/b.abc", "b.abc"), ("in/b/a.abc", "b/a.abc"),
                                            ("in/c.abc/inner.abc", "c.abc/inner.abc")])
        self.assertEqual(find_sources([str(self.folder / "in")], io.StringIO(), str(self.out))[0].size, 7)

    def test_files_globs_and_lists_keep_their_paths(self) -> None:
        for name in ("x/a.abc", "x/b.abc", "y/a.abc"):
            self.file(name)
        below = str(self.folder).lstrip("/")
        self.assertEqual(self.found("x/a.abc"), [("x/a.abc", below + "/x/a.abc")])
        self.assertEqual(self.found("*/a.abc"), [("x/a.abc", below + "/x/a.abc"), ("y/a.abc", below + "/y/a.abc")])
        lines = "{0}/y/a.abc\n\n{0}/x\n".format(self.folder)
        self.assertEqual(self.found("-", listed=lines), [("x/a.abc", "a.abc"), ("x/b.abc", "b.abc"),
                                                         ("y/a.abc", below + "/y/a.abc")])

    def test_a_name_with_a_star_that_is_a_file_is_that_file(self) -> None:
        self.file("x/a[1]*.abc")
        self.assertEqual(len(self.found("x/a[1]*.abc")), 1)

    def test_names_that_are_no_text_are_found(self) -> None:
        name = os.fsdecode(b"in/\xff\n.abc")
        self.file(name)
        self.assertEqual(self.found("in"), [(name, os.fsdecode(b"\xff\n.abc"))])

    def test_results_are_no_sources(self) -> None:
        self.file("a.abc")
        self.file("out/a.abc/strange.abc")
        self.assertEqual(self.found("."), [("a.abc", "a.abc")])

    def test_two_sources_of_one_place_and_what_is_missing_are_refused(self) -> None:
        self.file("x/a.abc")
        self.file("y/a.abc")
        for names in (("x", "y"), ("none",), ("none*",), ("-",)):
            self.assertRaises(SourceError, self.found, *names, listed="/nowhere/a.abc\n")
        self.assertEqual(len(self.found("x", "x")), 1)


class ManifestTest(Case):
    def test_the_last_line_of_an_archive_counts_and_a_truncated_line_is_skipped(self) -> None:
        self.out.mkdir()
        with Manifest(str(self.out), writing=True) as manifest:
            manifest.append([entry("a", code=1), entry("b")])
            manifest.append([entry("a", attempts=2)])
        path = self.out / "manifest.jsonl"
        whole = path.read_bytes()
        self.assertEqual(whole.count(b"\n"), 3)
        self.assertEqual(Manifest(str(self.out)).entries, {"a": entry("a", attempts=2), "b": entry("b")})
        last = whole.rindex(b"\n", 0, -1) + 1
        for length in (last, last + 1, len(whole) - 2):
            path.write_bytes(whole[:length])
            self.assertEqual(Manifest(str(self.out)).entries["a"], entry("a", code=1))
            with Manifest(str(self.out), writing=True) as manifest:
                manifest.append([entry("c")])
            self.assertEqual(sorted(Manifest(str(self.out)).entries), ["a", "b", "c"], length)
        path.write_bytes(whole[:-1])
        self.assertEqual(Manifest(str(self.out)).entries["a"].attempts, 2)

    def test_invalid_lines_are_skipped(self) -> None:
        for line in ("", "{", "[]", "5", '{"path": 1}', "null", "\ufffd"):
            self.assertIsNone(entry_of(line))

    def test_names_that_are_no_text_come_back(self) -> None:
        name = os.fsdecode(b"\xff\n\"\\")
        self.assertEqual(entry_of(entry(name).line()), entry(name))
        self.assertEqual(entry(name).line().count("\n"), 0)

    def test_one_writes_at_a_time_and_a_killed_run_does_not_block_the_next(self) -> None:
        code = ("import sys; from qel_unit.farm.manifest import Manifest; m = Manifest(sys.argv[1], writing=True); "
                "print('has it', flush=True); sys.stdin.read()")
        with subprocess.Popen([sys.executable, "-c", code, str(self.out)], cwd=PACKAGE, stdin=subprocess.PIPE,
                              stdout=subprocess.PIPE, text=True) as other:
            assert other.stdout
            self.assertEqual(other.stdout.readline(), "has it\n")
            self.assertRaises(Busy, Manifest, str(self.out), True)
            self.assertEqual(Manifest(str(self.out)).entries, {})
            other.kill()
        Manifest(str(self.out), writing=True).close()

    def test_a_record_reports_whether_its_files_exist(self) -> None:
        self.file("out/a/x", b"123")
        whole = entry("a")._replace(files={"x": 3})
        write_record(str(self.out / "a"), whole)
        self.assertEqual(read_record(str(self.out / "a")), whole)
        self.assertTrue(whole.is_whole(str(self.out)))
        others: List[Dict[str, int]] = [{"x": 4}, {"x": 3, "y": 0}, {}]
        for other in others:
            self.assertFalse(whole._replace(files=other).is_whole(str(self.out)))
        (self.out / "a" / ".farm.json").write_bytes(b"\xff{")
        self.assertIsNone(read_record(str(self.out / "a")))
        self.assertIsNone(read_record(str(self.out / "b")))


class GroupingTest(Case):
    def groups(self, sizes: List[int], workers: int) -> List[List[int]]:
        grouping = Grouping([Source("/x", str(i), size) for i, size in enumerate(sizes)], workers)
        return list(map(lambda group: [source.size for source in group], iter(grouping.next, [])))

    def test_every_archive_is_in_one_group_and_the_largest_come_first(self) -> None:
        draw = random.Random(3)
        sizes = [draw.randrange(1 << draw.randrange(32)) for _ in range(5000)]
        groups = self.groups(sizes, 4)
        self.assertEqual([size for group in groups for size in group], sorted(sizes, reverse=True))
        self.assertTrue(all(len(group) == 1 for group in groups if group[0] > 200_000_000))

    def test_small_ones_share_a_task_of_seconds_and_few_ones_are_spread(self) -> None:
        many = self.groups([1000] * 100_000, 4)
        self.assertTrue(all(5 <= len(group) <= 1000 for group in many[:-1]), [len(group) for group in many])
        self.assertLess(len(many), 700)
        self.assertGreaterEqual(len(self.groups([1000] * 100, 10)), 10)
        self.assertEqual(self.groups([], 3), [])

    def test_it_learns_from_what_groups_took(self) -> None:
        sources = [Source("/x", str(i), 1000) for i in range(100_000)]
        for seconds, larger in ((0.001, True), (0.1, False)):
            grouping = Grouping(sources, 1)
            first = grouping.next()
            for _ in range(20):
                group = grouping.next()
                grouping.learn(group, seconds * len(group))
            self.assertEqual(len(grouping.next()) > len(first), larger)


class UnitsTest(Case):
    def setUp(self) -> None:
        super().setUp()
        draw = random.Random(4)
        self.paths = []
        for i in range(6):
            keys = sorted(draw.randrange(200) for _ in range(100))
            path = self.file("out/{}.qel".format(i))
            ids, layers = ["{:08X}".format(n) for n in range(100)], [n % 3 for n in range(100)]
            with Unit.create(keys, ids, [7] * 100, layers) as unit:
                unit.save(path)
            self.paths.append(str(path))
        self.cost = (64 << 20) + 45 * 100

    def test_the_last_queried_stay_open_within_the_memory(self) -> None:
        held = OpenUnits(3 * self.cost)
        for path in self.paths + self.paths[-3:]:
            with held.open(path) as unit:
                self.assertEqual(len(unit), 100)
            self.assertLessEqual(held.counts().memory, 3 * self.cost)
        self.assertEqual(held.counts(), (3, 6, 3, 3 * self.cost))

    def test_one_in_use_is_not_closed_and_one_alone_is_always_allowed(self) -> None:
        held = OpenUnits(0)
        with held.open(self.paths[0]) as first, held.open(self.paths[1]) as second:
            self.assertEqual((len(first), len(second)), (100, 100))
        self.assertEqual(held.counts().memory, 0)

    def test_a_file_that_has_changed_is_loaded_again(self) -> None:
        held = OpenUnits(1 << 40)
        for count in (100, 1):
            with held.open(self.paths[0]) as unit:
                self.assertEqual(len(unit), count)
            with Unit.create([1], ["a"], [0], [0]) as unit:
                unit.save(self.paths[0])

    def test_answers_are_those_of_all_tokens_in_the_order_of_hops_path_and_number(self) -> None:
        names = [os.path.basename(path) for path in self.paths]
        every = []
        for name, path in zip(names, self.paths):
            with Unit.load(path) as unit:
                for number, token in enumerate(unit):
                    hops = tokens.hop_distance(token.morton, 100)
                    every.append(Hit(hops, name, number, *token[:2], token.layer, token.payload))
        out = str(self.out)
        for k in (1, 7, 50, 1000):
            found = answer(Nearest(100, k), out, names, 0)
            self.assertEqual([hit.hops for hit in found], sorted(hit.hops for hit in every)[:k])
            self.assertTrue(set(found) <= set(every))
            self.assertEqual(found, sorted(found))
        layer = sorted(hit._replace(hops=0) for hit in every if hit.layer == 2)
        self.assertEqual(answer(Layer(2), out, names, 0), layer)
        self.assertEqual(answer(Layer(2, 40), out, names, 0), layer[:40])
        self.assertEqual([hit.path for hit in answer(Lookup("00000007"), out, names, 0)], names)

    def test_answers_of_parts_merge_to_the_answer_of_all(self) -> None:
        names, out, draw = [os.path.basename(path) for path in self.paths], str(self.out), random.Random(5)
        questions: List[Question] = [Nearest(100, 9), Layer(1, 50), Layer(1), Lookup(100)]
        for question in questions:
            whole = answer(question, out, names, 0)
            for _ in range(5):
                cut = sorted(draw.sample(range(7), 2))
                draw.shuffle(names)
                thirds = (names[: cut[0]], names[cut[0]: cut[1]], names[cut[1]:])
                parts = [answer(question, out, some, 0) for some in thirds]
                self.assertEqual(merge(parts, question.most), whole)


class ShownTest(Case):
    def test_control_characters_of_names_are_escaped(self) -> None:
        self.assertEqual(printable("a\x1b[31m\n\u202e\udcff ü"), r"a\x1b[31m\n\u202e\udcff ü")
        lines = tables([entry("x\x1b[2J"), entry("bad\n", code=-9)])
        self.assertFalse([line for line in lines if "\x1b" in line or "\n" in line])

    def test_tables_name_the_slowest_and_the_failed(self) -> None:
        entries = [entry(str(i), seconds=i) for i in range(30)] + [entry("f{:02}".format(i), code=3) for i in range(12)]
        lines = tables(entries)
        self.assertEqual([line.split()[-1] for line in lines[1:11]], ["/in/{}".format(i) for i in range(29, 19, -1)])
        self.assertIn("/in/f00: it is odd", lines[12])
        self.assertEqual(lines[-1], "and 2 more in the manifest")
        self.assertEqual(tables([]), [])

    def test_progress_is_written_to_a_terminal_but_not_to_a_file(self) -> None:
        class Terminal(io.StringIO):
            def isatty(self) -> bool:
                return True

        for stream, quiet in ((Terminal(), False), (Terminal(), True), (io.StringIO(), False)):
            progress = Progress(stream, 4, 4000, quiet)
            progress.add([entry("a"), entry("b", code=1)])
            shown = stream.getvalue()
            is_told = "2 of 4 archives, 2.0 KB of 4.0 KB" in shown and "1 failed" in shown
            self.assertEqual(is_told, not quiet and stream.isatty())
            self.assertRegex(progress.line(), r", [\d.]+ s left, 1 failed\Z")
            progress.end()
            self.assertTrue(not shown or stream.getvalue().endswith("\r\x1b[K"))

    def test_sizes_and_times(self) -> None:
        self.assertEqual([size_text(n) for n in (0, 999, 1000, 5.2e9, 7e15)],
                         ["0 B", "999 B", "1.0 KB", "5.2 GB", "7000.0 TB"])
        self.assertEqual([time_text(n) for n in (0.04, 99.9, 100, 3723)], ["0.0 s", "99.9 s", "0:01:40", "1:02:03"])


class PackageTest(Case):
    def test_without_distributed_an_error_names_what_is_missing_and_the_package_works(self) -> None:
        code = "import sys; sys.modules['distributed'] = None; import qel_unit; import qel_unit.farm"
        run = subprocess.run([sys.executable, "-c", code], cwd=PACKAGE, capture_output=True, text=True)
        self.assertEqual(run.returncode, 1)
        self.assertIn("qel_unit.farm wants Dask's distributed scheduler (Debian: python3-distributed", run.stderr)
        self.assertTrue((Path(PACKAGE) / "pyproject.toml").read_text().count("\nfarm = ["))
