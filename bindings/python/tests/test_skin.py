# SPDX-License-Identifier: MIT
from qel_unit import Skin

from .support import Case, f32, rows

IDENTITY = [1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1]
LIFTED = [1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 2, 1]  # two units along z: a row vector's translation


class Skinning(Case):
    def test_moves_by_weight(self) -> None:
        with Skin.from_arrays([IDENTITY, IDENTITY], [[0, 0, 0, 0], [1, 0, 0, 0], [0, 1, 9, 0]],
                              [[1, 0, 0, 0], [1, 0, 0, 0], [0.5, 0.5, 1, 0]]) as skin:
            moved = skin.apply([IDENTITY, LIFTED], [(1, 2, 3), (1, 2, 3), (1, 2, 3)])
            self.assertEqual(rows(moved), [[1, 2, 3], [1, 2, 5], [1, 2, 4]])
            self.assertEqual((skin.joint_count, skin.weight_count), (2, 3))

    def test_keeps_its_records(self) -> None:
        descriptors = bytes(range(200)) + bytes(200)
        with Skin.from_arrays([IDENTITY, LIFTED], [[1, 2, 3, 4]], [[0.1, 0.2, 0.3, 0.4]],
                              descriptors=descriptors, bind_extra=b"extra") as skin:
            joints, weights = skin.joints, skin.weights
            assert joints is not None and weights is not None
            self.assertEqual(bytes(joints[0].descriptor), descriptors[:200])
            self.assertEqual(list(joints[1].joint_transform), LIFTED)
            self.assertEqual(list(weights[0].joints), [1, 2, 3, 4])
            self.assertEqual(list(weights[0].weights), [f32(part) for part in (0.1, 0.2, 0.3, 0.4)])
            self.assertEqual(skin.bind_extra, b"extra".ljust(128, b"\0"))

    def test_takes_a_matrix_as_one_row_or_four(self) -> None:
        square = [IDENTITY[row : row + 4] for row in range(0, 16, 4)]
        for matrices in (IDENTITY, [IDENTITY], square, [square]):
            with Skin.from_arrays(matrices, [[0, 0, 0, 0]], [[1, 0, 0, 0]]) as skin:
                self.assertEqual(rows(skin.apply(matrices, [(1, 2, 3)])), [[1, 2, 3]])
        self.assertRaises(ValueError, Skin.from_arrays, [[0.0] * 8] * 2, [[0] * 4], [[1, 0, 0, 0]])
        self.assertRaises(ValueError, Skin.from_arrays, [IDENTITY], [[0] * 4], [[1, 0], [0, 0]])

    def test_lengths_must_agree(self) -> None:
        self.assertRaises(ValueError, Skin.from_arrays, [IDENTITY], [[0, 0, 0, 0]], [[1, 0, 0, 0]] * 2)
        with Skin.from_arrays([IDENTITY], [[0, 0, 0, 0]], [[1, 0, 0, 0]]) as skin:
            self.assertRaises(ValueError, skin.apply, [IDENTITY] * 2, [(0, 0, 0)])
            self.assertRaises(ValueError, skin.apply, [IDENTITY], [(0, 0, 0)] * 2)

    def test_an_empty_skin_moves_nothing(self) -> None:
        with Skin.from_arrays([], [], []) as skin:
            self.assertEqual(skin.apply([], []).tolist(), [])
