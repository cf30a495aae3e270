#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""What was released is kept, and the check of it notices each way to break a program."""
import pathlib
import sys
import unittest

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[2] / "scripts"))
import check_interface  # noqa: E402
import interface  # noqa: E402

UNIT = interface.Header("qel_unit.h")


def broken_by(old, new, count=1):
    """What programs miss where one passage of the header is changed."""
    assert UNIT.text.count(old) == count, old
    return list(check_interface.broken(UNIT, interface.Header("qel_unit.h", UNIT.text.replace(old, new))))


class Interface(unittest.TestCase):
    def test_keeps_every_release(self):
        releases = check_interface.kept_releases()
        self.assertIn(interface.version().partition(".")[0] + ".0.0", [release.name for release in releases])
        for release in releases:
            for name in interface.MARKS:
                old = interface.Header(name, (release / name).read_text(encoding="utf-8"))
                self.assertEqual(list(check_interface.broken(old, interface.Header(name))), [], release.name)

    def test_every_break_is_noticed(self):
        for old, new, broken in (
                ("QEL_API uint64_t ruv_sqrt(uint64_t n);", "QEL_API uint64_t ruv_sqrt(uint32_t n);",
                 ["ruv_sqrt was uint64_t ruv_sqrt(uint64_t n)"]),
                ("QEL_API uint64_t ruv_sqrt(uint64_t n);", "QEL_API uint32_t ruv_sqrt(uint64_t n);",
                 ["ruv_sqrt was uint64_t ruv_sqrt(uint64_t n)"]),
                ("QEL_API uint64_t ruv_sqrt(uint64_t n);", "QEL_API uint64_t ruv_root(uint64_t n);", ["ruv_sqrt is gone"]),
                ("#define QEL_NOT_FOUND 0xFFFFFFFFu", "#define QEL_NOT_FOUND 0xFFFFFFFEu", ["QEL_NOT_FOUND was 0xFFFFFFFF"]),
                ("typedef enum qel_ilogic {", "typedef enum qel_logic {", ["the type qel_ilogic is gone"]),
                ("    QEL_ILOGIC_HALVE = 3", "    QEL_ILOGIC_HALVE = 4", ["QEL_ILOGIC_HALVE was 3"]),
                ("\nstruct qel_skin {", "\nstruct qel_skin {\n    uint32_t kind;", ["the record qel_skin was another"])):
            self.assertEqual(broken_by(old, new), broken, old)

    def test_an_addition_breaks_nothing(self):
        self.assertEqual(broken_by("QEL_API uint64_t ruv_sqrt(uint64_t n);",
                                   "QEL_API uint64_t ruv_sqrt(uint64_t number);\n/** More. */\nQEL_API uint64_t ruv_more(void);"), [])


if __name__ == "__main__":
    unittest.main()
