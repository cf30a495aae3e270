# SPDX-License-Identifier: MIT
import itertools
import math

from qel_unit import matrix

from .support import Case, f32

SAMPLES = list(itertools.product((0, 1, 23, 24, 47, 48, 255), repeat=3))


def norm(x: int, y: int, z: int) -> float:
    """Step by step in single precision; the squares and their sum are exact."""
    root = f32(math.sqrt(sum((v - 23.5) ** 2 for v in (x, y, z))))
    return f32(f32(root / f32(40.703194)) * f32(1.618034))


class Cells(Case):
    def test_morton_encode_interleaves_six_bits(self) -> None:
        self.assertEqual(matrix.morton_encode(47, 47, 47), 233471)
        for cell in SAMPLES:
            wanted = sum(
                (v >> bit & 1) << (3 * bit + axis) for axis, v in enumerate(cell) for bit in range(6))
            self.assertEqual(matrix.morton_encode(*cell), wanted)

    def test_palindrome_mirrors(self) -> None:
        self.assertEqual(matrix.palindrome(0, 10, 50), (47, 37, 253))

    def test_levels_and_states(self) -> None:
        for cell in SAMPLES:
            self.assertEqual(matrix.k11_level(*cell), sum(cell) % 23 - 11)
        self.assertEqual([matrix.i_state(v) for v in (-1, 0, 1, 2, 3, 4)], [2, 0, 1, 255, 2, 0])

    def test_norm_and_coupling_are_single_precision(self) -> None:
        for cell in SAMPLES:
            self.assertEqual(matrix.phi_norm(*cell), norm(*cell))
            factor = f32(f32(norm(*cell) / 48) + 1)
            self.assertEqual(matrix.em_coupling(*cell), f32(factor * 10.665754185164001))

    def test_identity_has_all_of_it(self) -> None:
        self.assertEqual(
            matrix.identity(5, 6, 256 + 7),
            matrix.Identity(5, 6, 7, 42, 41, 40, 7, 2, matrix.morton_encode(5, 6, 7), norm(5, 6, 7),
                            matrix.em_coupling(5, 6, 7)))

    def test_coordinates_that_do_not_fit_are_refused(self) -> None:
        self.assertRaises(OverflowError, matrix.phi_norm, 256, 0, 0)
        self.assertRaises(OverflowError, matrix.k11_level, 0, -1, 0)

    def test_counts_its_cells(self) -> None:
        self.assertEqual(matrix.validate_all(), 48**3)


class Children(Case):
    def test_crossover_averages(self) -> None:
        self.assertEqual(matrix.crossover_bind((0, 1, 47), (47, 2, 47)), (23, 1, 47))

    def test_tachyon_reflects(self) -> None:
        self.assertEqual(matrix.mutate_tachyon(0, 1, 48), (47, 47, 0))
        self.assertEqual(matrix.mutate_tachyon(47, 24, 200), (1, 24, 0))

    def test_chirality_compares(self) -> None:
        self.assertEqual([matrix.chirality(*pair) for pair in ((2, 1), (1, 2), (3, 3))], [1, -1, 0])

    def test_reproduce_refuses_numbers_that_do_not_fit(self) -> None:
        cell = matrix.identity(9, 9, 9)
        for change in ({"x": 265}, {"mirror_z": -1}, {"k11_level": 128}, {"k11_level": -129}, {"i_state": 256},
                       {"morton": 2**64}, {"phi_norm": 1e39}, {"em_coupling": -1e39}):
            wrong = cell._replace(**change)  # type: ignore[arg-type]
            self.assertRaises(OverflowError, matrix.reproduce, wrong, cell)
            self.assertRaises(OverflowError, matrix.reproduce, cell, wrong)
        self.assertRaises(TypeError, matrix.reproduce, cell._replace(x=9.5), cell)  # type: ignore[arg-type]
        self.assertRaises(TypeError, matrix.reproduce, cell._replace(phi_norm="1"), cell)  # type: ignore[arg-type]

    def test_reproduce_knows_three_modes(self) -> None:
        a, b = matrix.identity(10, 20, 30), matrix.identity(20, 10, 40)
        child = matrix.reproduce(a, b)
        self.assertEqual(child[:4], (15, 15, 35, 0))
        self.assertEqual(child.k11_level, (15 + 15 + 35) % 23 - 11)
        blend = f32(f32(f32(a.phi_norm * f32(1.618034)) + b.phi_norm) / f32(2.618034))
        self.assertAlmostEqual(child.phi_blend, blend, places=6)
        self.assertEqual(child.em_coupling, matrix.em_coupling(15, 15, 35))
        self.assertEqual(matrix.reproduce(a, b, matrix.Mode.TACHYON)[:3], (29, 19, 29))
        self.assertEqual(matrix.reproduce(a, b, matrix.Mode.PROJECTIVE)[:3], (14, 14, 36))
