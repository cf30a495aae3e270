# SPDX-License-Identifier: MIT
import math
import time

from qel_unit import verify

from .support import Case, f32

SOUND = [(0.0, 1.0, 2.0), (3.0, 4.0, 5.0)]
BROKEN = [(0.0, math.inf, 2.0), (3.0, 4.0, math.nan)]


class Checks(Case):
    def test_finite_positions_pass(self) -> None:
        self.assertTrue(verify.verify_p_minus_p(SOUND))
        self.assertTrue(verify.verify_p_div_p(SOUND))
        self.assertTrue(verify.is_static_valid(SOUND))
        self.assertTrue(verify.is_static_valid([]))

    def test_others_fail(self) -> None:
        self.assertFalse(verify.verify_p_minus_p(BROKEN))
        self.assertFalse(verify.verify_p_div_p(BROKEN))
        self.assertFalse(verify.is_static_valid(BROKEN))

    def test_coherence_scores_proportions(self) -> None:
        self.assertEqual(verify.bounds_coherence([0, 0, 0, 2, 2, 2]), 1.0)
        self.assertEqual(verify.bounds_coherence(((0, 0, 0), (1, 2, 4))), f32(1 / 7))

    def test_report_has_all_of_it(self) -> None:
        before = int(time.time()) - 1  # the library's clock of whole seconds can be a moment behind this one
        report = verify.verify_identity(SOUND, (0, 1, 2, 3, 4, 5))
        self.assertEqual(report[:5], (True, True, 1.0, True, 2))
        self.assertTrue(before <= report.verified_at <= time.time())
        self.assertEqual(verify.verify_identity(BROKEN, (0, 1, 2, 3, 4, 5))[:5], (False, False, 1.0, False, 2))

    def test_positions_come_in_threes(self) -> None:
        self.assertRaises(ValueError, verify.is_static_valid, [1.0, 2.0])
        self.assertRaises(ValueError, verify.bounds_coherence, [0, 0, 0])
