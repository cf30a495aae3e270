# SPDX-License-Identifier: MIT
import array
import struct
from random import Random
from typing import Any, List
from unittest import mock

from qel_unit import Token, Unit, tokens
from qel_unit._library import raw
from qel_unit.unit import NOT_FOUND

from .support import Case, buffer, numpy

TOKENS = [Token(tokens.lattice_key(x, y, 0), "{:08X}".format(x * 4 + y), 100 + x * 4 + y, x)
          for x in range(4) for y in range(4)]


def nearest(keys: List[int], key: int, k: int) -> List[int]:
    """The distances of the nearest keys, reckoned plainly; small differences, whose roots are exact."""
    return sorted(int(abs(each - key) ** 0.5) for each in keys)[:k]


class Creation(Case):
    def test_keeps_tokens_that_ascend(self) -> None:
        with Unit.from_tokens(TOKENS, sorted=True) as unit:
            self.assertEqual(len(unit), 16)
            self.assertEqual((unit.version, unit.extra), (1, 0))
            self.assertEqual(list(unit), TOKENS)
            self.assertEqual(unit[-1], TOKENS[15])
            self.assertRaises(IndexError, lambda: unit[16])
            self.assertEqual(unit.order.tolist(), list(range(16)))

    def test_sorts_tokens_that_do_not_and_keeps_the_order_of_equal_keys(self) -> None:
        random = Random(5)
        mixed = [Token(random.choice((0, 1, 7, 2**63, 2**64 - 1)), "{:08X}".format(place), random.getrandbits(64),
                       random.getrandbits(8)) for place in range(500)]
        mortons = array.array("Q", [token.morton for token in mixed])
        with Unit.from_tokens(mixed) as unit, Unit.create(
                mortons, b"".join(token.hex_id.encode() for token in mixed),
                array.array("Q", [token.payload for token in mixed]), bytes(token.layer for token in mixed)) as again:
            wanted = sorted(mixed, key=lambda token: token.morton)
            self.assertEqual(list(unit), wanted)
            self.assertEqual(list(again), wanted)
        self.assertEqual(mortons.tolist(), [token.morton for token in mixed])  # the caller's own stays as it is

    def test_refuses_unsorted_tokens_that_are_declared_sorted(self) -> None:
        self.assertRaises(ValueError, lambda: Unit.from_tokens([TOKENS[1], TOKENS[0]], sorted=True))
        self.assertRaises(ValueError, lambda: Unit.from_tokens([*TOKENS, TOKENS[14]], sorted=True))
        with Unit.from_tokens([TOKENS[3], TOKENS[3]], sorted=True) as unit:
            self.assertEqual(len(unit), 2)

    def test_takes_identities_in_every_form_that_they_have(self) -> None:
        texts = ["\u00e9", "", "12345678", "a\0b"]
        plain = b"".join(text.encode("latin-1").ljust(8, b"\0") for text in texts)
        forms: List[Any] = [
            texts, iter(texts), [text.encode("latin-1") for text in texts], plain, bytearray(plain), memoryview(plain),
            memoryview(plain).cast("B", (4, 8)), array.array("B", plain), array.array("b", plain)]
        if numpy is not None:
            rows = numpy.frombuffer(plain, numpy.uint8).reshape(4, 8)
            forms += [rows, numpy.array(rows, order="F"), numpy.frombuffer(plain, "S8"), numpy.array(texts)]
        for form in forms:
            with self.subTest(type(form)), Unit.create(range(4), form, [0] * 4, [0] * 4) as unit:
                self.assertEqual([token.hex_id for token in unit], texts)
                with Unit.create(range(4), unit.all_tokens().hex_ids, [0] * 4, [0] * 4) as again:
                    self.assertEqual(list(again), list(unit))
        if numpy is not None:
            with Unit.create(range(4), plain, [0] * 4, [0] * 4) as unit, \
                    Unit.create(
                    range(4), *(getattr(unit.tokens, name) for name in ("hex_id", "payload", "layer"))) as again:
                self.assertEqual(list(again), list(unit))

    def test_refuses_invalid_identities(self) -> None:
        wrong: List[Any] = [
            bytes(31), bytes(33), memoryview(bytes(32)).cast("B", (8, 4)), ["1", "2", "3", "123456789"], ["\u20ac"] * 4]
        for form in wrong:
            self.assertRaises(ValueError, Unit.create, range(4), form, [0] * 4, [0] * 4)
        typeless: List[Any] = [
            "12345678" * 4, 5, [1, 2, 3, 4], [None] * 4, array.array("Q", range(4)), array.array("d", range(4))]
        for form in typeless:
            self.assertRaises(TypeError, Unit.create, range(4), form, [0] * 4, [0] * 4)

    def test_takes_arrays_of_any_kind(self) -> None:
        columns = [token.morton for token in TOKENS], bytes(token.layer for token in TOKENS)
        with Unit.create(array.array("Q", columns[0]), b"".join(token.hex_id.encode() for token in TOKENS),
                         (token.payload for token in TOKENS), columns[1]) as unit:
            self.assertEqual(list(unit), TOKENS)

    def test_refuses_columns_of_different_length(self) -> None:
        self.assertRaises(ValueError, Unit.create, [1, 2], ["a", "b"], [1], [1, 2])
        self.assertRaises(ValueError, Unit.create, [1, 2], ["a"], [1, 2], [1, 2])
        self.assertRaises(OverflowError, Unit.create, [-1], ["a"], [1], [1])
        self.assertRaises(OverflowError, Unit.create, [1], ["a"], [1], [256])
        self.assertRaises(OverflowError, Unit.create, [2**64], ["a"], [1], [1])
        self.assertRaises(OverflowError, Unit.create, [2**63, -1], ["a", "b"], [1, 1], [1, 1])

    def test_refuses_no_tokens(self) -> None:
        self.fails("qel_unit_create", -1, Unit.from_tokens, [])


class Files(Case):
    def test_a_unit_comes_back_sorted(self) -> None:
        path = self.file("tokens.qel")
        with Unit.from_tokens(TOKENS) as unit:
            unit.extra = 0xABCD
            unit.save(path)
        content = path.read_bytes()
        self.assertEqual(content[:16], struct.pack("<4sIII", b"QEL\0", 1, 16, 0xABCD))
        self.assertEqual(content[49:74], struct.pack("<Q8sQB", *_packed(TOKENS[1])))
        path.write_bytes(content[:24] + b"".join(content[at : at + 25] for at in range(24 + 15 * 25, 0, -25)))
        self.assertEqual(len(content), 24 + 16 * 25)
        with Unit.load(str(path)) as unit:
            self.assertEqual(list(unit), TOKENS)
            self.assertEqual(unit.extra, 0xABCD)

    def test_failures_raise_their_code(self) -> None:
        self.file("short").write_bytes(b"QEL\0")
        self.fails("qel_unit_load", -2, Unit.load, self.file("short"))
        self.file("other").write_bytes(b"QEM\0" + bytes(20))
        self.fails("qel_unit_load", -3, Unit.load, self.file("other"))

    def test_paths_must_not_hold_a_zero_byte(self) -> None:
        self.assertRaises(ValueError, Unit.load, "a\0b")


def _packed(token: Token) -> "tuple[int, bytes, int, int]":
    return token.morton, token.hex_id.encode(), token.payload, token.layer


class Looking(Case):
    def setUp(self) -> None:
        super().setUp()
        self.unit = Unit.from_tokens(TOKENS)
        self.addCleanup(self.unit.close)

    def test_finds_by_key_identity_and_vertex(self) -> None:
        self.assertEqual(self.unit.lookup_morton(TOKENS[7].morton), 7)
        self.assertIsNone(self.unit.lookup_morton(12345678))
        self.assertEqual(self.unit.lookup_hex("0000000B"), 11)
        self.assertEqual(self.unit.lookup_hex(b"0000000B"), 11)
        self.assertIsNone(self.unit.lookup_hex("nobody"))
        self.assertEqual(self.unit.query_lattice_vertex(2, 1, 0), 9)
        self.assertIsNone(self.unit.query_lattice_vertex(2, 9, 9))

    def test_lists_a_layer(self) -> None:
        self.assertEqual(self.unit.query_layer(2).tolist(), [8, 9, 10, 11])
        self.assertEqual(self.unit.query_layer(2, 3).tolist(), [8, 9, 10])
        self.assertEqual(self.unit.query_layer(200).tolist(), [])
        self.assertEqual(self.unit.query_layer(2, -1).tolist(), [])

    def test_finds_the_nearest(self) -> None:
        keys = [key * key for key in range(100)]
        with Unit.create(keys, b"01234567" * 100, [0] * 100, [0] * 100) as unit:
            for key in (0, 50, 2500, 9801, 20000):
                self.assertEqual(unit.query_nearest(key, 7).distances.tolist(), nearest(keys, key, 7))
            numbers, distances = unit.query_nearest(2500, 3)
            self.assertEqual(numbers.tolist(), [50, 49, 51])
            self.assertEqual(distances.tolist(), [0, 9, 10])

    def test_finds_the_nearest_of_tokens_that_were_not_sorted(self) -> None:
        random = Random(18)
        keys = [random.getrandbits(40) for _ in range(3000)]
        with Unit.create(keys, bytes(8 * 3000), [0] * 3000, [0] * 3000) as unit:
            held = unit.all_tokens().mortons
            for key in (0, 2**39, 2**40, keys[7]):
                numbers, distances = unit.query_nearest(key, 9)
                wanted = sorted(tokens.hop_distance(each, key) for each in keys)[:9]
                self.assertEqual(distances.tolist(), wanted)
                self.assertEqual([tokens.hop_distance(held[number], key) for number in numbers.tolist()], wanted)

    def test_refuses_nearest_while_a_key_is_out_of_order(self) -> None:
        with Unit.create([0, 10, 20, 20, 30], bytes(40), [0] * 5, [0] * 5) as unit:
            for place, op, fine in ((1, -1, True), (1, 3, True), (2, 2, False), (2, 3, True), (4, 3, False),
                                    (3, 3, False), (4, 2, False), (3, 2, True), (0, 2, True), (4, 3, False)):
                unit.apply_ilogic(place, op)
                keys = unit.all_tokens().mortons.tolist()
                self.assertEqual(keys == sorted(keys), fine, keys)
                if fine:
                    self.assertEqual(unit.query_nearest(12, 5).distances.tolist(), nearest(keys, 12, 5))
                else:
                    self.assertRaises(ValueError, unit.query_nearest, 12, 5)
                    self.assertRaises(ValueError, unit.query_nearest_many, [12], 5)
            unit.save(self.file("x"))
        with Unit.load(self.file("x")) as unit:
            self.assertEqual(unit.query_nearest(12, 5).distances.tolist(), nearest(keys, 12, 5))

    def test_a_huge_k_takes_no_huge_memory(self) -> None:
        self.assertEqual(len(self.unit.query_nearest(0, 2**31 - 1).numbers), 16)
        self.assertEqual(len(self.unit.query_nearest(0, 0).numbers), 0)
        self.assertRaises(OverflowError, self.unit.query_nearest, 0, 2**31)
        self.assertRaises(OverflowError, self.unit.query_layer, 0, 2**31)

    def test_hands_out_columns(self) -> None:
        columns = self.unit.all_tokens()
        self.assertEqual(columns.mortons.tolist(), [token.morton for token in TOKENS])
        self.assertEqual(columns.hex_ids.shape, (16, 8))
        self.assertEqual(columns.hex_ids.tobytes(), b"".join(token.hex_id.encode() for token in TOKENS))
        self.assertEqual(columns.layers.tolist(), [token.layer for token in TOKENS])

    def test_shows_records_in_place(self) -> None:
        records = self.unit.tokens
        self.assertEqual((records.shape, records.nbytes), ((16,), 400))
        self.assertEqual((records[5].morton, records[5].hex_id, records[5].payload, records[5].layer),
                         (TOKENS[5].morton, b"00000005", 105, 1))
        self.assertEqual(records.tobytes()[25:50], struct.pack("<Q8sQB", *_packed(TOKENS[1])))
        self.unit.apply_ilogic(5, 2)
        self.assertEqual(records[5].morton, TOKENS[5].morton * 2 + 1)
        self.unit.apply_ilogic(-1, -1)
        self.assertEqual(self.unit.token(15).payload, 115 << 56)

    def test_a_missing_token_raises_its_code(self) -> None:
        self.fails("qel_unit_get_token", -1, self.unit.token, 16)


class LookingForMany(Case):
    """A row of each answer is the answer to one key."""

    def setUp(self) -> None:
        super().setUp()
        random = Random(19)
        self.keys = sorted(random.getrandbits(30) for _ in range(2000))
        self.ids = ["{:08X}".format(random.getrandbits(32)) for _ in self.keys]
        self.unit = Unit.create(self.keys, self.ids, [0] * 2000, [0] * 2000)
        self.addCleanup(self.unit.close)
        self.wanted = [random.choice((random.choice(self.keys), random.getrandbits(31), 2**64 - 1))
                       for _ in range(40000)]  # more than one chunk

    def test_keys(self) -> None:
        found = self.unit.lookup_mortons(self.wanted)
        self.assertEqual(found.shape, (40000,))
        self.assertEqual(buffer(found).format, "I")
        self.assertEqual([None if number == NOT_FOUND else number for number in found.tolist()],
                         [self.unit.lookup_morton(key) for key in self.wanted])
        self.assertIn(NOT_FOUND, found.tolist())
        self.assertEqual(self.unit.lookup_mortons(array.array("Q", self.wanted)).tobytes(), found.tobytes())

    def test_identities(self) -> None:
        wanted = (self.ids + ["nobody", "", "\u00ff"]) * 20
        found = self.unit.lookup_ids(wanted)
        self.assertEqual([None if number == NOT_FOUND else number for number in found.tolist()],
                         [self.unit.lookup_hex(id) for id in wanted])
        self.assertIn(NOT_FOUND, found.tolist())
        self.assertEqual(self.unit.lookup_ids(self.unit.all_tokens().hex_ids).tolist(), found.tolist()[:2000])

    def test_nearest(self) -> None:
        wanted = self.wanted[:17000]
        for k in (1, 3, 2001):
            some = wanted if k < 2001 else wanted[:20]
            numbers, distances = self.unit.query_nearest_many(some, k)
            self.assertEqual(numbers.shape, (len(some), min(k, 2000)))
            one = [self.unit.query_nearest(key, k) for key in some]
            self.assertEqual(numbers.tolist(), [each.numbers.tolist() for each in one])
            self.assertEqual(distances.tolist(), [each.distances.tolist() for each in one])

    def test_of_no_queries_are_empty(self) -> None:
        for call in (self.unit.lookup_mortons, self.unit.lookup_ids):
            self.assertEqual(call([]).tolist(), [])
        for keys, k in (([], 5), ([1, 2], 0), ([1, 2], -3)):
            numbers, distances = self.unit.query_nearest_many(keys, k)
            self.assertEqual((numbers.nbytes, distances.nbytes), (0, 0))

    def test_answers_are_read_only(self) -> None:
        nearest = self.unit.query_nearest_many([1], 1)
        for answer in (self.unit.lookup_mortons([1]), self.unit.lookup_ids(["1"]), *nearest):
            self.assertTrue(buffer(answer).readonly)

    def test_what_does_not_fit_is_refused(self) -> None:
        self.assertRaises(OverflowError, self.unit.lookup_mortons, [2**64])
        self.assertRaises(OverflowError, self.unit.query_nearest_many, [-1], 1)
        self.assertRaises(OverflowError, self.unit.query_nearest_many, [1], 2**31)
        self.assertRaises(ValueError, self.unit.lookup_ids, ["123456789"])
        self.assertRaises(ValueError, self.unit.lookup_ids, b"123456789")
        self.assertRaises(TypeError, self.unit.lookup_ids, "12345678")
        self.assertRaises(TypeError, self.unit.lookup_mortons, [1.5])

    def test_an_answer_without_memory_raises(self) -> None:
        with mock.patch("qel_unit._bulk._NEAREST", lambda *_: 0):
            self.assertRaises(MemoryError, self.unit.query_nearest_many, [1], 1)
        with mock.patch.object(raw, "qel_unit_query_nearest", lambda *_: 0):
            self.assertRaises(MemoryError, self.unit.query_nearest, 1, 1)
