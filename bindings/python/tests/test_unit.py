# SPDX-License-Identifier: MIT
import array
import struct
from typing import List

from qel_unit import Token, Unit, tokens

from .support import Case

TOKENS = [Token(tokens.lattice_key(x, y, 0), "{:08X}".format(x * 4 + y), 100 + x * 4 + y, x)
          for x in range(4) for y in range(4)]


def nearest(keys: List[int], key: int, k: int) -> List[int]:
    """The distances of the nearest keys, reckoned plainly; small differences, whose roots are exact."""
    return sorted(int(abs(each - key) ** 0.5) for each in keys)[:k]


class Creation(Case):
    def test_keeps_tokens_in_their_order(self) -> None:
        with Unit.from_tokens(reversed(TOKENS)) as unit:
            self.assertEqual(len(unit), 16)
            self.assertEqual((unit.version, unit.extra), (1, 0))
            self.assertEqual(list(unit), TOKENS[::-1])
            self.assertEqual(unit[-1], TOKENS[0])
            self.assertRaises(IndexError, lambda: unit[16])
            self.assertEqual(unit.order.tolist(), list(range(16)))

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
        with Unit.from_tokens(reversed(TOKENS)) as unit:
            unit.extra = 0xABCD
            unit.save(path)
        content = path.read_bytes()
        self.assertEqual(content[:16], struct.pack("<4sIII", b"QEL\0", 1, 16, 0xABCD))
        self.assertEqual(content[24:49], struct.pack("<Q8sQB", *_packed(TOKENS[15])))
        self.assertEqual(len(content), 24 + 16 * 25)
        with Unit.load(str(path)) as unit:
            self.assertEqual(list(unit), TOKENS)
            self.assertEqual(unit.extra, 0xABCD)

    def test_failures_tell_their_code(self) -> None:
        self.fails("qel_unit_load", -1, Unit.load, self.file("missing"))
        self.file("short").write_bytes(b"QEL\0")
        self.fails("qel_unit_load", -2, Unit.load, self.file("short"))
        self.file("other").write_bytes(b"QEM\0" + bytes(20))
        self.fails("qel_unit_load", -3, Unit.load, self.file("other"))
        with Unit.from_tokens(TOKENS) as unit:
            self.fails("qel_unit_save", -2, unit.save, self.folder)

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

    def test_a_token_that_is_not_there_tells_its_code(self) -> None:
        self.fails("qel_unit_get_token", -1, self.unit.token, 16)
