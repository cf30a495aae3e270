# SPDX-License-Identifier: MIT
"""Properties of archives: every kind of value as an array of its type and shape, texts, times, names."""

import math
from pathlib import Path
from random import Random
from typing import Any, Callable, List, Set

from qel_unit import ArchiveError, open_archive
from qel_unit.archive_property import VALUES, PropertyKind

from . import archive_writer as writer
from .support import HARBOUR, Case, buffer, numpy

EXTREMES: List[List[Any]] = [
    [False, True], [0, 255], [-128, 127], [0, 2**16 - 1], [-(2**15), 2**15 - 1], [0, 2**32 - 1], [-(2**31), 2**31 - 1],
    [0, 2**64 - 1], [-(2**63), 2**63 - 1], [-65504.0, 2.0**-24], [1.5, -math.inf], [1e300, 5e-324],
]


class Values(Case):
    def opened(self, *properties: Any, samplings: Any = ()) -> Any:
        path = self.file("properties.abc")
        path.write_bytes(writer.written([], samplings, properties=properties))
        archive = open_archive(path)
        self.addCleanup(archive.close)
        return archive.top.properties

    def test_of_every_kind_keep_their_type_and_their_shape(self) -> None:
        parts: List[Any] = []
        for value, pair in enumerate(EXTREMES):
            parts += [
                writer.Scalar("scalar{}".format(value), value, [pair], 2),
                writer.Scalar("one{}".format(value), value, [pair[1:]]),
                writer.Array("flat{}".format(value), value, [pair * 3]),
                writer.Array("rows{}".format(value), value, [pair * 3], 2),
                writer.Array("empty{}".format(value), value, [[]], 2)]
        found = self.opened(*parts)
        for value, pair in enumerate(EXTREMES):
            shapes = {"scalar": (2,), "one": (1,), "flat": (6,), "rows": (3, 2)}
            wanted = {"scalar": pair, "one": pair[1:], "flat": pair * 3, "rows": [pair] * 3}
            for name, shape in shapes.items():
                with self.subTest(VALUES[value], name=name):
                    one = found["{}{}".format(name, value)]
                    self.assertEqual(one.values, VALUES[value])
                    values = one.samples[0]
                    self.assertEqual((values.shape, values.tolist()), (shape, wanted[name]))
                    letter = "f" if value == 9 and numpy is None else writer.LETTERS[value]
                    self.assertEqual(array_letter(values), letter)
                    with self.assertRaises((TypeError, ValueError)):
                        values[(0,) * len(shape)] = 0
            self.assertEqual(len(found["empty{}".format(value)].samples[0]), 0)

    def test_bools_are_true_or_false_whatever_their_byte_is(self) -> None:
        found = self.opened(writer.Array("bools", 0, [bytes([0, 1, 2, 255])]))
        self.assertEqual(found["bools"].samples[0].tolist(), [False, True, True, True])

    def test_texts_are_lists(self) -> None:
        found = self.opened(
            writer.Scalar("one", writer.TEXT, [["hull"]]),
            writer.Array("many", writer.TEXT, [["a", "", "\u00e9t\u00e9"], []]),
            writer.Scalar("other", writer.TEXT, [b"\xff\0"]))
        self.assertEqual(found["one"].samples[0], ["hull"])
        self.assertEqual(found["many"].samples[:], [["a", "", "\u00e9t\u00e9"], []])
        self.assertEqual(found["other"].samples[0], ["\udcff"])

    def test_wide_texts_are_their_bytes(self) -> None:
        found = self.opened(writer.Scalar("wide", writer.WIDE_TEXT, [b"a\0\0\0\0\0\0\0"]))
        self.assertEqual(found["wide"].values, "wide text")
        self.assertEqual(found["wide"].samples[0].tolist(), [97, 0, 0, 0, 0, 0, 0, 0])

    def test_samples_are_a_sequence_and_have_times(self) -> None:
        found = self.opened(
            writer.Scalar("moving", 10, [[0.5], [1.5], [2.5]], 1, 1), writer.Scalar("still", 10, [[7.0]]),
            writer.Compound("both", [writer.Scalar("a", 6, [[1]])]), samplings=[(0.25, [10.0])])
        samples = found["moving"].samples
        self.assertEqual((len(samples), samples[-1].tolist()), (3, [2.5]))
        self.assertEqual([one.tolist() for one in samples], [[0.5], [1.5], [2.5]])
        self.assertEqual([one.tolist() for one in samples[::2]], [[0.5], [2.5]])
        self.assertEqual(found["moving"].times.tolist(), [10.0, 10.25, 10.5])
        self.assertEqual([found["moving"].time(place) for place in (0, 2, -1)], [10.0, 10.5, 10.5])
        self.assertRaises(IndexError, found["moving"].time, 3)
        self.assertEqual([found[name].time_sampling for name in ("moving", "still")], [1, 0])
        self.assertEqual([found[name].constant for name in ("moving", "still")], [False, True])
        for number in (3, -4):
            self.assertRaises(IndexError, lambda place=number: samples[place])
        self.assertEqual((len(found["both"].samples), found["both"].kind), (0, PropertyKind.COMPOUND))
        self.assertRaises(IndexError, lambda: found["both"].samples[0])

    def test_a_damaged_sample_raises(self) -> None:
        found = self.opened(writer.Scalar("short", 11, [b"1234567"]))
        with self.assertRaises(ArchiveError) as caught:
            found["short"].samples[0]
        self.assertEqual((caught.exception.function, caught.exception.code), ("qel_archive_read_property", -5))


class Damaged(Case):
    def test_archives_raise_documented_errors_only(self) -> None:
        colours = writer.Compound(".arbGeomParams", [writer.Array("Cd", 10, [[0.5] * 12], 3)])
        sound = writer.written(
            [writer.mesh("square", [[0.0] * 12, [1.0] * 12], [4], [0, 1, 2, 3], 1, others=[colours])], [(0.5, [0.0])],
            properties=[
                writer.Scalar("bool", 0, [[True]]), writer.Array("half", 9, [[1.5, 2.5]], 2),
                writer.Array("text", writer.TEXT, [["one", "two"]])])
        random = Random(13)
        outcomes: Set[Any] = set()
        for _ in range(1500):
            content = bytearray(sound)
            for _ in range(random.choice((1, 1, 2, 5))):
                place = random.randrange(len(content))
                content[place] = random.choice((0, 1, 2, 0x7F, 0x80, 0xFF, random.getrandbits(8)))
            path = self.file("damaged.abc")
            path.write_bytes(content[: random.choice((len(content), len(content), random.randrange(len(content))))])
            outcomes.add(self.outcome(lambda: self.read_all(path)))
        self.assertEqual(outcomes - {None, -3, -5, -8, IndexError, KeyError}, set())
        self.assertTrue({None, -3, -5} <= outcomes)

    def read_all(self, path: Path) -> None:
        failures = []
        with open_archive(path) as archive:
            for found in archive:
                calls: List[Callable[[], Any]] = [
                    found.mesh, found.mesh_info, found.world_transform, found.visible, lambda: found.time_range,
                    lambda: [one.samples[0] for one in found.properties.values() if one.values],
                    lambda: [one.samples[-1] for one in found.properties.values() if len(one.samples)],
                    lambda: found.mesh().triangles()]
                failures += [self.outcome(call) for call in calls]
        self.assertEqual(set(failures) - {None, -5, -8, IndexError}, set())

    @staticmethod
    def outcome(call: Callable[[], Any]) -> Any:
        """The code of an archive's error, the type of another that is expected, None without."""
        try:
            call()
        except ArchiveError as error:
            return error.code
        except (IndexError, KeyError) as error:
            return type(error)
        return None


class Names(Case):
    def test_are_those_of_the_archive_in_its_order(self) -> None:
        with open_archive(HARBOUR) as archive:
            found = archive["/harbour/sea"].properties
            self.assertEqual(list(found)[:3], [".geom", ".geom/.selfBnds", ".geom/P"])
            self.assertEqual(len(found), len(list(found)))
            self.assertEqual([one.name for one in found.values()], list(found))
            self.assertEqual(found[".geom/P"].metadata["interpretation"], "point")

    def test_may_be_abbreviated_to_an_unambiguous_ending(self) -> None:
        red, blue = [1.0, 0.0, 0.0], [0.0, 0.0, 1.0]
        colours = writer.Compound(
            ".arbGeomParams", [writer.Array("Cd", 10, [red * 3 + blue], 3), writer.Array("x", 6, [[1]])])
        path = self.file("colours.abc")
        path.write_bytes(writer.written([writer.mesh(
            "square", [[0.0] * 12], [4], [0, 1, 2, 3], others=[colours], around=[writer.Scalar("x", 6, [[2]])])]))
        with open_archive(path) as archive:
            found = archive["/square"].properties
            self.assertEqual(found["Cd"].name, ".geom/.arbGeomParams/Cd")
            self.assertEqual(found["Cd"].samples[0].tolist(), [red, red, red, blue])
            self.assertEqual(found[".arbGeomParams/Cd"].extent, 3)
            self.assertEqual(found["x"].samples[0].tolist(), [2])  # a whole name comes first
            self.assertIn("P", found)
            for wrong in ("d", "geom/P", "", "Cd\0", "/Cd"):
                self.assertNotIn(wrong, found)
            self.assertIsNone(found.get("N"))
            self.assertRaises(TypeError, lambda: found[2])  # type: ignore[index]
        path.write_bytes(writer.written([], properties=[
            writer.Compound(name, [writer.Array("Cd", 10, [red], 3)]) for name in ("one", "two")]))
        with open_archive(path) as archive, self.assertRaisesRegex(KeyError, "'one/Cd' or 'two/Cd'"):
            archive.top.properties["Cd"]


def array_letter(values: Any) -> str:
    """The letter of an array's type, of those that mean the same the one that the writer has."""
    letter = buffer(values).format
    return {"l": "q", "L": "Q"}.get(letter, letter)
