# SPDX-License-Identifier: MIT
import array
import ctypes
import unittest

from qel_unit import _raw
from qel_unit._arrays import as_array, take, take_exactly

from .support import Case, numpy


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
