# SPDX-License-Identifier: MIT
import array
import ctypes
import math
import sys
import unittest

from qel_unit import _raw
from qel_unit._arrays import as_array, take, take_exactly

from .support import Case, f32, numpy


class GoingIn(Case):
    def test_a_writable_buffer_is_used_in_place(self) -> None:
        floats = array.array("f", [1.0, 2.0, 3.0])
        block = take(floats, ctypes.c_float, 3)
        floats[1] = 9.0
        self.assertEqual(list(block), [1.0, 9.0, 3.0])

    def test_numbers_are_converted(self) -> None:
        self.assertEqual(list(take([(1, 2), [3, 4]], ctypes.c_float, 2)), [1.0, 2.0, 3.0, 4.0])
        self.assertEqual(list(take(array.array("d", [0.5]), ctypes.c_float)), [0.5])
        self.assertEqual(list(take(array.array("b", [1, 2]), ctypes.c_uint64)), [1, 2])
        self.assertEqual(list(take(b"\1\2", ctypes.c_uint8)), [1, 2])
        self.assertEqual(list(take(b"\1\2", ctypes.c_uint32)), [1, 2])
        self.assertEqual(list(take((n for n in (5, 6)), ctypes.c_uint32)), [5, 6])
        self.assertEqual(list(take((ctypes.c_double * 2)(0.5, 1.5), ctypes.c_float)), [0.5, 1.5])
        self.assertEqual(list(take([], ctypes.c_uint32, 3)), [])
        self.assertEqual(list(take((ctypes.c_float * 0)(), ctypes.c_float, 3)), [])

    def test_what_would_change_a_number_is_refused(self) -> None:
        self.assertRaises(OverflowError, take, [-1], ctypes.c_uint32)
        self.assertRaises(OverflowError, take, [2**32], ctypes.c_uint32)
        self.assertRaises(TypeError, take, [1.5], ctypes.c_uint32)
        self.assertRaises(TypeError, take, "12", ctypes.c_uint32)
        self.assertRaises(TypeError, take, None, ctypes.c_float)

    def test_a_number_that_does_not_fit_is_refused_at_any_position(self) -> None:
        for numbers in ([2**64], [2**63, -1], [-1], array.array("q", [-1]), [[2**64]]):
            self.assertRaises(OverflowError, take, numbers, ctypes.c_uint64)
        for numbers in ([1e39], [3.5e38, math.inf], [-1e300], [10**400], array.array("d", [1.0, -1e39])):
            self.assertRaises(OverflowError, take, numbers, ctypes.c_float)
        self.assertEqual(list(take([2**64 - 1], ctypes.c_uint64)), [2**64 - 1])
        largest = (2.0 - 2.0**-23) * 2.0**127
        for whole in ([math.inf, -math.inf, largest], array.array("d", [math.inf, -math.inf, largest])):
            self.assertEqual(list(take(whole, ctypes.c_float)), [math.inf, -math.inf, largest])
        self.assertTrue(math.isnan(take([math.nan], ctypes.c_float)[0]))

    def test_what_is_no_real_number_is_refused(self) -> None:
        for numbers in ([None, 1, 2], ["1", "2", "3"], [1 + 2j], [[1, 2], [3, "4"]], [object()], ("12",), 5, 1.5):
            for kind in (ctypes.c_float, ctypes.c_double, ctypes.c_uint32):
                self.assertRaises(TypeError, take, numbers, kind)
        for numbers in ((ctypes.c_char * 2)(b"1", b"2"), memoryview(b"12").cast("c")):
            self.assertRaises(TypeError, take, numbers, ctypes.c_float)
        for numbers in (array.array("f", [1.0]), [1.0]):
            self.assertRaises(TypeError, take, numbers, ctypes.c_uint32)

    def test_integers_are_converted_through_double(self) -> None:
        just_above_a_tie = 2**62 + 2**38 + 1  # the double is the tie itself, which goes down to the even float
        for numbers in ([just_above_a_tie], array.array("q", [just_above_a_tie]), array.array("Q", [just_above_a_tie])):
            self.assertEqual(take(numbers, ctypes.c_float)[0], 2.0**62)

    def test_truth_values_and_other_byte_orders_are_numbers(self) -> None:
        self.assertEqual(list(take([True, False], ctypes.c_uint8)), [1, 0])
        self.assertEqual(list(take(memoryview(b"\1\0").cast("?"), ctypes.c_float)), [1.0, 0.0])
        if sys.byteorder == "little":
            turned = (ctypes.c_uint32.__ctype_be__ * 2)(1, 2)  # type: ignore[attr-defined]
            self.assertEqual(list(take(turned, ctypes.c_uint32)), [1, 2])

    def test_rows_must_have_the_width(self) -> None:
        for wrong in ([[0, 0], [1, 1], [2, 2]], [[0] * 4] * 3, [[0, 0, 0, 0, 0, 0]], [[]], [[[0], [0], [0]]],
                      (ctypes.c_float * 4 * 3)(), memoryview(bytes(12)).cast("B", (3, 4)),
                      (ctypes.c_float * 4 * 0)()):
            self.assertRaises(ValueError, take, wrong, ctypes.c_float, 3)
        for right in ([[0, 1, 2]], [[[0, 1, 2]]], ((ctypes.c_float * 3)(0, 1, 2),), (iter((0, 1, 2)),),
                      memoryview(b"\0\1\2").cast("B", (1, 3))):
            self.assertEqual(list(take(right, ctypes.c_float, 3)), [0, 1, 2])
        self.assertEqual(list(take([[1, 2], [3, 4]], ctypes.c_float, 4, rows=(4, 2))), [1, 2, 3, 4])
        self.assertRaises(ValueError, take_exactly, [[1, 2]], ctypes.c_float, 2, "x")

    def test_rows_must_be_of_one_length(self) -> None:
        for ragged in ([[0, 0, 0], [0, 0]], [0, [0, 0, 0]], [[0, 0, 0], [[0, 0, 0]]], [[0, 0], [0, 0, 0, 0]]):
            self.assertRaises(ValueError, take, ragged, ctypes.c_float, 3)

    def test_lengths_must_fit(self) -> None:
        self.assertRaises(ValueError, take, [1, 2, 3, 4], ctypes.c_float, 3)
        self.assertRaises(ValueError, take_exactly, [1, 2], ctypes.c_float, 3, "x")

    def test_a_view_of_the_package_goes_in_again(self) -> None:
        shown = as_array((ctypes.c_float * 6)(*range(6)), (2, 3))
        self.assertEqual(list(take(shown, ctypes.c_float, 3)), [0.0, 1.0, 2.0, 3.0, 4.0, 5.0])

    def test_a_view_with_strides_is_straightened(self) -> None:
        strided = memoryview(array.array("I", range(6)))[::2]
        self.assertEqual(list(take(strided, ctypes.c_uint32)), [0, 2, 4])

    @unittest.skipIf(numpy is None, "needs NumPy")
    def test_numpy_arrays_are_used_in_place(self) -> None:
        points = numpy.zeros((2, 3), numpy.float32)
        block = take(points, ctypes.c_float, 3)
        points[1, 2] = 4.0
        self.assertEqual(block[5], 4.0)
        points.setflags(write=False)
        self.assertEqual(ctypes.addressof(take(points, ctypes.c_float, 3)), points.ctypes.data)
        self.assertEqual(list(take(points[:, ::-1], ctypes.c_float, 3)), [0.0] * 3 + [4.0, 0.0, 0.0])


    @unittest.skipIf(numpy is None, "needs NumPy")
    def test_numpy_arrays_follow_the_same_rules(self) -> None:
        nan, inf = math.nan, math.inf
        for wrong, kind, error in (
            (numpy.array([1e39]), ctypes.c_float, OverflowError),
            (numpy.array([1e39, inf]), ctypes.c_float, OverflowError),
            (numpy.array([2**63], "u8"), ctypes.c_uint32, OverflowError),
            (numpy.array([2**64], object), ctypes.c_uint64, OverflowError),
            (numpy.array([1j]), ctypes.c_double, TypeError),
            ([numpy.complex64(1j)], ctypes.c_double, TypeError),
            (numpy.array(["1"]), ctypes.c_float, TypeError),
            (numpy.array([b"1"]), ctypes.c_float, TypeError),
            (numpy.array([None]), ctypes.c_float, TypeError),
            (numpy.array([0], "M8[s]"), ctypes.c_float, TypeError),
            (numpy.array(1.0), ctypes.c_float, TypeError),
            (numpy.array([1.0]), ctypes.c_uint32, TypeError),
            (numpy.zeros((3, 1)), ctypes.c_double, ValueError),
        ):
            self.assertRaises(error, take, wrong, kind, 3 if error is ValueError else 1)
        self.assertEqual(list(take(numpy.array([inf, -inf, 0.1]), ctypes.c_float)), [inf, -inf, f32(0.1)])
        self.assertTrue(math.isnan(take(numpy.array([nan]), ctypes.c_float)[0]))
        self.assertEqual(list(take(numpy.array([[1, 2]], ">i2"), ctypes.c_uint64, 2)), [1, 2])
        self.assertEqual(list(take([numpy.float32(1), numpy.uint8(2)], ctypes.c_float)), [1, 2])
        self.assertEqual(list(take([numpy.arange(3)] * 2, ctypes.c_uint32, 3)), [0, 1, 2] * 2)
        self.assertEqual(list(take(numpy.array([True]), ctypes.c_uint8)), [1])


class ComingOut(Case):
    def test_a_view_is_read_only_and_has_its_shape(self) -> None:
        shown = as_array((ctypes.c_uint32 * 6)(*range(6)), (2, 3))
        self.assertEqual((shown.shape, shown.nbytes, len(shown)), ((2, 3), 24, 2))
        self.assertEqual((shown[1, 2], shown.tolist()), (5, [[0, 1, 2], [3, 4, 5]]))
        with self.assertRaises((TypeError, ValueError)):
            shown[0, 0] = 1
        self.assertEqual(as_array((ctypes.c_float * 0)(), (0, 3)).tolist(), [])

    def test_records_have_their_fields(self) -> None:
        block = (_raw.qel_token * 2)()
        block[1].morton, block[1].hex_id, block[1].layer = 7, b"ABC", 3
        shown = as_array(block)
        self.assertEqual((len(shown), shown.shape, shown.nbytes), (2, (2,), 50))
        self.assertEqual((shown[1].morton, shown[-1].hex_id, shown[1].layer), (7, b"ABC", 3))
        self.assertEqual([record.morton for record in shown[::-1]], [7, 0])
        self.assertEqual(shown.tolist(), [(0, b"", 0, 0), (7, b"ABC", 0, 3)])
        with self.assertRaises((TypeError, ValueError)):
            shown[0] = shown[1]

    def test_comes_as_what_there_is(self) -> None:
        shown = as_array((ctypes.c_float * 3)())
        self.assertIsInstance(shown, memoryview if numpy is None else numpy.ndarray)
