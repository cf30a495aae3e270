# SPDX-License-Identifier: MIT
import ctypes
import re
import subprocess
import sys
import unittest

from qel_unit import _raw, _raw_archive

from .support import ROOT


class Generated(unittest.TestCase):
    def test_is_what_the_headers_give(self) -> None:
        checked = subprocess.run(
            [sys.executable, str(ROOT / "scripts" / "generate_python.py"), "--check"], capture_output=True, text=True)
        self.assertEqual((checked.returncode, checked.stderr), (0, ""))

    def test_has_the_functions_that_the_libraries_export(self) -> None:
        lists = {"exports.map": (_raw.SIGNATURES, 101), "qel_archive/exports.map": (_raw_archive.SIGNATURES, 16)}
        for name, (signatures, count) in lists.items():
            exported = re.findall(r"^    (\w+);$", (ROOT / "src" / name).read_text(encoding="utf-8"), re.M)
            self.assertEqual(sorted(signatures), sorted(exported))
            self.assertEqual(len(exported), count)

    def test_lays_records_out_as_the_files_do(self) -> None:
        sizes = {
            "qel_token": 25, "qel_hash_node": 8, "qel_matrix_identity": 24, "qel_matrix_offspring": 16,
            "qel_alembic_vertex": 40, "qel_alembic_token": 32, "qel_mesh_verify_report": 32, "qel_skin_joint": 328,
            "qel_skin_weight": 20, "qel_mesh_header": 64, "qel_agent": 40,
        }
        self.assertEqual({name: ctypes.sizeof(getattr(_raw, name)) for name in sizes}, sizes)
        self.assertEqual(_raw.qel_token.layer.offset, 24)
        self.assertEqual(_raw.qel_alembic_vertex.k11_level.offset, 24)
        self.assertEqual(_raw.qel_mesh_header.skin_offset.offset, 60)

    def test_lays_records_of_the_second_library_out_as_a_compiler_does(self) -> None:
        text = ctypes.sizeof(ctypes.c_char_p)
        self.assertEqual(_raw_archive.qel_archive_info.start.offset, 16)
        self.assertEqual(ctypes.sizeof(_raw_archive.qel_archive_object), 4 * text + 16)
        self.assertEqual(ctypes.sizeof(_raw_archive.qel_archive_property), 2 * text + 24)
        self.assertEqual(ctypes.sizeof(_raw_archive.qel_archive_mesh_info), 40)

    def test_knows_signatures(self) -> None:
        self.assertEqual(_raw.SIGNATURES["ruv_sqrt"], (ctypes.c_uint64, (ctypes.c_uint64,)))
        self.assertEqual(
            _raw.SIGNATURES["qel_mesh_load"], (ctypes.c_int32, (ctypes.c_char_p, ctypes.POINTER(_raw.qel_mesh))))
        self.assertEqual(_raw.SIGNATURES["ogawa_schema_to_string"], (ctypes.c_char_p, (ctypes.c_uint32,)))
        self.assertEqual(_raw.SIGNATURES["qel_agent_dir_free"], (None, ()))
        self.assertEqual(_raw_archive.SIGNATURES["qel_archive_open"], (
            ctypes.c_int32, (ctypes.c_char_p, ctypes.POINTER(ctypes.c_void_p))))
        self.assertEqual(_raw_archive.SIGNATURES["qel_archive_read_mesh"], (
            ctypes.c_int32, (ctypes.c_void_p, ctypes.c_uint32, ctypes.c_uint64, ctypes.POINTER(_raw.ogawa_polymesh))))
        self.assertEqual(_raw_archive.SIGNATURES["qel_archive_world_transform"], (
            ctypes.c_int32, (ctypes.c_void_p, ctypes.c_uint32, ctypes.c_double, ctypes.POINTER(ctypes.c_double))))

    def test_knows_constants(self) -> None:
        self.assertEqual(_raw.QEL_NOT_FOUND, 0xFFFFFFFF)
        self.assertEqual(_raw.QEL_HASH_BUCKETS, 0x800000)
        self.assertEqual(_raw.OGAWA_SCHEMA_CAMERA, 8)
        self.assertEqual((_raw_archive.QEL_ARCHIVE_OK, _raw_archive.QEL_ARCHIVE_WRONG_KIND), (0, -8))
        self.assertEqual((_raw.QEL_OK, _raw.QEL_AGENT_STATE_TERMINATED, _raw.QEL_ILOGIC_REVERSE), (0, 6, -1))

    def test_has_the_names_of_codes(self) -> None:
        self.assertEqual(_raw.CODE_NAMES["qel_unit_get_token"], {-1: "QEL_UNIT_GET_TOKEN_NOT_FOUND"})
        for raw in (_raw, _raw_archive):
            for function, codes in raw.CODES.items():
                self.assertEqual(set(raw.CODE_NAMES[function]), set(codes) - {0})
            for names in raw.CODE_NAMES.values():
                values = {code: getattr(raw, name) for code, name in names.items()}
                self.assertEqual(values, {code: code for code in names})

    def test_has_the_meanings_of_codes(self) -> None:
        self.assertEqual(_raw.CODES["qel_unit_save"][-2], "the file cannot be created")
        self.assertEqual(
            _raw.CODES["qel_mesh_save"][-10], "a face index is not below vertex_count: no file is created")
        self.assertEqual(sorted(_raw.CODES["ogawa_open"]), [-5, -4, -3, -2, -1, 0])
        self.assertEqual(sorted(_raw_archive.CODES["qel_archive_open"]), [-6, -5, -4, -3, -2, -1, 0])
        self.assertEqual(
            _raw_archive.CODES["qel_archive_open"][-4], "it is an older archive in the HDF5 container")
        for function, codes in [*_raw.CODES.items(), *_raw_archive.CODES.items()]:
            for code, meaning in codes.items():
                self.assertTrue(meaning and "@" not in meaning, (function, code))
