#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""The headers' reader reads every declaration or reports it, and compares codes with their names."""
import pathlib
import re
import sys
import unittest

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[2] / "scripts"))
import error_codes  # noqa: E402
import interface  # noqa: E402

UNIT, ARCHIVE = interface.headers()


def changed(old, new):
    """The header of the first library with one passage changed."""
    assert UNIT.text.count(old) == 1, old
    return interface.Header("qel_unit.h", UNIT.text.replace(old, new))


class Reader(unittest.TestCase):
    def test_takes_all_functions_and_records(self):
        self.assertEqual([len(header.functions) for header in (UNIT, ARCHIVE)], [101, 16])
        self.assertEqual([len(header.records) for header in (UNIT, ARCHIVE)], [27, 4])
        self.assertEqual(ARCHIVE.opaque, {"qel_archive"})
        self.assertEqual([record.name for record in UNIT.records if record.packed], ["qel_token"])

    def test_takes_what_a_declaration_says(self):
        function = next(function for function in UNIT.functions if function.name == "ogawa_read_uvs")
        self.assertEqual((function.group.name, function.result, len(function.arguments)), ("geometry", "int32_t", 5))
        self.assertEqual(function.arguments[3], interface.Declaration("uint32_t", "set_index", ""))
        self.assertEqual(list(function.codes), [0, -1, -2])
        numbers = {constant.name: constant.number for constant in UNIT.constants}
        self.assertEqual((numbers["QEL_NOT_FOUND"], numbers["QEL_HASH_BUCKETS"]), (0xFFFFFFFF, 0x800000))
        self.assertEqual((numbers["OGAWA_SCHEMA_CAMERA"], numbers["QEL_MESH_SAVE_INDEX_OUTSIDE"]), (8, -10))
        meanings = {constant.name: constant.meaning for constant in UNIT.constants}
        self.assertEqual((meanings["QEL_AGENT_SPAWN_FULL"], meanings["OGAWA_SCHEMA_CAMERA"]),
                         ("the directory is full", '"Camera"'))
        self.assertEqual([name for name, meaning in meanings.items() if not meaning], [])

    def test_skips_no_declaration(self):
        for old, new in (("QEL_API uint64_t ruv_sqrt(uint64_t n);", "QEL_API int x(int);\nQEL_API int ruv_sqrt(int n);"),
                         ("/** A skin. */", "struct uncommented {\n    int x;\n};\n/** A skin. */"),
                         ("QEL_ILOGIC_HALVE = 3", "QEL_ILOGIC_HALVE = 1 + 2"),
                         ("#define QEL_NOT_FOUND 0xFFFFFFFFu", "#define QEL_NOT_FOUND (-1)")):
            with self.assertRaisesRegex(ValueError, "of a (function|record|constant)", msg=old):
                changed(old, new)


class Version(unittest.TestCase):
    def test_is_that_of_the_newest_changes(self):
        dated = re.findall(r"^## (\d+\.\d+\.\d+), (\d{4}-\d\d-\d\d)$",
                           (interface.ROOT / "CHANGELOG.md").read_text(encoding="utf-8"), re.M)
        self.assertEqual(dated[0][0], interface.version())

    def test_is_written_once(self):
        written = re.compile(rf"""version["' :=]+{re.escape(interface.version())}""", re.I)
        files = [path for folder in ("cmake", "packaging", "scripts", "bindings/python")
                 for path in (interface.ROOT / folder).rglob("*")]
        files += [interface.ROOT / "CMakeLists.txt"]
        twice = [path.name for path in files if path.is_file() and path.suffix not in (".pyc", ".so")
                 and written.search(path.read_text(encoding="utf-8", errors="replace"))]
        self.assertEqual(twice, ["_raw.py"])  # which is generated


class Codes(unittest.TestCase):
    def test_each_has_its_name(self):
        self.assertEqual([*UNIT.code_problems(), *ARCHIVE.code_problems()], [])
        self.assertEqual(UNIT.code_names()["qel_mesh_save"], {
            -1: "QEL_MESH_SAVE_BAD_ARGUMENT", -2: "QEL_MESH_SAVE_CANNOT_CREATE", -10: "QEL_MESH_SAVE_INDEX_OUTSIDE"})
        self.assertEqual(ARCHIVE.code_names()["qel_archive_get_object"], {
            -1: "QEL_ARCHIVE_BAD_ARGUMENT", -6: "QEL_ARCHIVE_NO_MEMORY", -7: "QEL_ARCHIVE_NOT_FOUND"})

    def test_the_libraries_answer_with_the_names(self):
        sources = "\n".join(path.read_text(encoding="utf-8") for path in (interface.ROOT / "src").rglob("*.cpp"))
        for header in (UNIT, ARCHIVE):
            names = {constant.name for constant in header.constants if (constant.enumeration or "").endswith("_status")}
            self.assertEqual({name for name in names if not re.search(rf"\b{name}\b", sources)}, set())

    def test_a_difference_is_noticed(self):
        for old, new, reason in (
                ("QEL_UNIT_SAVE_CANNOT_CREATE = -2", "QEL_UNIT_SAVE_CANNOT_CREATE = -7",
                 "qel_unit_save: -2 has no name|qel_unit_save: -7 has no @retval"),
                ("QEL_AGENT_SPAWN_FULL = -2", "QEL_AGENT_SPAWN_NO_MEMORY = -2", "is described as: the directory is full"),
                ("QEL_AGENT_SPAWN_NO_MEMORY = -1", "QEL_AGENT_SPAWN_FAILED = -1", "_FAILED is described as: no memory")):
            self.assertRegex("|".join(changed(old, new).code_problems()), reason.replace("|", r"\|"), old)
        for old, new, reason in (("QEL_AGENT_SPAWN_FULL = -2", "QEL_AGENT_SPAWN_FULL = -1", "second name"),
                                 ("QEL_AGENT_SPAWN_FULL = -2", "QEL_AGENT_SPAWNS_FULL = -2", "no function's name")):
            with self.assertRaisesRegex(ValueError, reason):
                changed(old, new).code_names()


class Page(unittest.TestCase):
    def test_follows_each_meaning(self):
        page = error_codes.page(UNIT, ARCHIVE)
        for old, new in (("the directory is full", "the moon is full"), ("no such token, or no tokens", "no such token")):
            self.assertIn(new, error_codes.page(changed(f"/**< {old} */", f"/**< {new} */"), ARCHIVE))
            self.assertIn(f": {old} |", page)
        text = ARCHIVE.text.replace("/**< an older archive in the HDF5 container */", "/**< an archive in HDF5 */")
        self.assertIn("| an archive in HDF5 |", error_codes.page(UNIT, interface.Header("qel_archive.h", text)))

    def test_requires_a_meaning(self):
        with self.assertRaisesRegex(SystemExit, "QEL_AGENT_SPAWN_FULL has no comment"):
            error_codes.page(changed("/**< the directory is full */", ""), ARCHIVE)


class Comments(unittest.TestCase):
    def test_warn_first_of_tokens_that_are_not_sorted(self):
        briefs = {function.name: function.brief for function in UNIT.functions}
        for name in ("qel_unit_create", "qel_unit_query_nearest"):
            self.assertRegex(briefs[name], r"^Requires [^.]*ascending [^.]* and no error")


if __name__ == "__main__":
    unittest.main()
