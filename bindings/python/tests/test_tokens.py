# SPDX-License-Identifier: MIT
from qel_unit import Token, tokens

from .support import Case


class SquareRoots(Case):
    def test_sqrt_rounds_to_single_precision_first(self) -> None:
        self.assertEqual([tokens.sqrt(n) for n in (0, 1, 2, 15, 16, 17)], [0, 1, 1, 3, 4, 4])
        self.assertEqual(tokens.sqrt(2**64 - 1), 4294967296)
        self.assertEqual(tokens.sqrt(16777217), 4096)

    def test_isqrt_gives_0_below_1(self) -> None:
        self.assertEqual([tokens.isqrt(n) for n in (-5, 0, 1, 99, 100, 2**31 - 1)], [0, 0, 1, 9, 10, 46340])

    def test_bounded_sqrt_tests_the_lower_bound_first(self) -> None:
        self.assertEqual(tokens.bounded_sqrt(100, 2, 20), 10)
        self.assertEqual(tokens.bounded_sqrt(100, 11, 20), 11)
        self.assertEqual(tokens.bounded_sqrt(100, 2, 7), 7)
        self.assertEqual(tokens.bounded_sqrt(-1, 30, 20), 30)

    def test_hop_distance_is_symmetric(self) -> None:
        self.assertEqual(tokens.hop_distance(10, 110), 10)
        self.assertEqual(tokens.hop_distance(110, 10), 10)

    def test_numbers_out_of_range_are_refused(self) -> None:
        for call in (lambda: tokens.sqrt(-1), lambda: tokens.sqrt(2**64), lambda: tokens.isqrt(2**31)):
            self.assertRaises(OverflowError, call)
        self.assertRaises(TypeError, tokens.sqrt, 1.5)


class Keys(Case):
    def test_lattice_key_packs_sixteen_bits_each(self) -> None:
        self.assertEqual(tokens.lattice_key(1, 2, 3), 0x100020003)
        self.assertEqual(tokens.lattice_vertex(0x100020003), (1, 2, 3))
        self.assertRaises(OverflowError, tokens.lattice_key, 65536, 0, 0)
        self.assertRaises(OverflowError, tokens.lattice_vertex, 2**64)
        self.assertRaises(OverflowError, tokens.lattice_vertex, -1)


class Transform(Case):
    def test_doubles_halves_and_reverses(self) -> None:
        token = Token(0x8000000000000001, "A\u00e9", 0x0102030405060708, 7)
        self.assertEqual(tokens.apply_ilogic(token, tokens.Logic.DOUBLE), token._replace(morton=3))
        self.assertEqual(tokens.apply_ilogic(token, tokens.Logic.HALVE), token._replace(morton=0x4000000000000000))
        self.assertEqual(tokens.apply_ilogic(token, tokens.Logic.REVERSE), token._replace(payload=0x0807060504030201))
        self.assertEqual(tokens.apply_ilogic(token, 0), token)

    def test_identities_have_at_most_eight_characters(self) -> None:
        self.assertRaises(ValueError, tokens.apply_ilogic, Token(0, "123456789", 0, 0), 2)
