#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""The style check notices each kind of fault, and nothing where there is none."""
import pathlib
import subprocess
import sys
import tempfile
import unittest
from unittest import mock

PROJECT = pathlib.Path(__file__).resolve().parent.parent.parent
sys.path.insert(0, str(PROJECT / "scripts"))
sys.dont_write_bytecode = True
import check_style  # noqa: E402

LICENSE = "// SPDX-License-Identifier: MIT\n"
SOURCE = LICENSE + """\
#include "qel_unit/part.h"

#include "common/heap.h"

#include <cstdint>

namespace qel {
namespace {

constexpr std::uint32_t max_parts = 1'000; // as many as "most_parts" says

} // namespace
} // namespace qel

using namespace qel;

extern "C" {

std::int32_t qel_part() {
    return QEL_OK;
}

} // extern "C"
"""
TREE = {
    "src/qel_unit/part.h": LICENSE + '#include "qel_unit.h"\n',
    "src/qel_unit/part.cpp": SOURCE,
    "src/common/heap.h": LICENSE,
    "tests/qel_unit/part_test.cpp": LICENSE,
    "tests/qel_unit/part_limits_test.cpp": LICENSE,
    "tests/consumers/program.c": LICENSE + "int32_t number;\n",
    "tools/qel/part.h": LICENSE,
    "tools/qel/files/part.h": LICENSE,
    "tools/qel/info/part.h": LICENSE + '#include "files/part.h"\n',
    "tools/qel/main.cpp": LICENSE + '#include "part.h"\n\n#include <qel_unit.h>\n#include <string>\n',
    "include/qel_unit.h": "/* SPDX-License-Identifier: MIT */\n#include <stdint.h>\nint32_t max_parts;\n",
    "web/main.js": "const longest_line = 1;\n",
    "docs/page.md": "# A page with a line of more than 120 columns " + "x" * 120 + "\n",
    "tests/tool/some_test.py": "#!/usr/bin/env python3\n# SPDX-License-Identifier: MIT\n",
    "bindings/python/qel_unit/part.py": "# SPDX-License-Identifier: MIT\n",
}


def problems(changes):
    """What is wrong with the sound tree once files of it are changed, added or, with None, removed."""
    tree = {path: text for path, text in {**TREE, **changes}.items() if text is not None}
    sources = [check_style.Source(path, text, check_style.code_of(text)) for path, text in tree.items()]
    with mock.patch.object(check_style, "UNTESTED", {}), mock.patch.object(check_style, "ACROSS", {}):
        return [f"{fault.path}:{fault.line}: {fault.reason}" for fault in check_style.faults(sources)]


class Style(unittest.TestCase):
    def test_a_sound_tree_passes(self):
        self.assertEqual(problems({}), [])

    def test_each_fault_in_a_source_is_noticed(self):
        for old, new, line, reason in (
                (LICENSE, "// A part.\n", 1, "licence"),
                ("// as many", "// " + "x" * 120, 11, "columns of 120"),
                ('extern "C" {\n\n', 'extern "C" {\n', 18, "a blank line follows"),
                ('}\n\n} // extern "C"', '}\n} // extern "C"', 23, "a blank line precedes"),
                ('} // extern "C"', "}", 18, 'is closed by } // extern "C"'),
                ("    return QEL_OK;", "    using namespace qel;\n    return QEL_OK;", 21, "using namespace precedes"),
                ('extern "C" {\n\nstd', 'extern "C" std', 18, "in a block"),
                ("std::uint32_t", "uint32_t", 11, "the other language's way"),
                ('#include "qel_unit/part.h"\n\n#include "common/heap.h"',
                 '#include "common/heap.h"\n\n#include "qel_unit/part.h"', 4, "its own header comes first"),
                ("#include <cstdint>\n", '#include <cstdint>\n\n#include "common/bytes.h"\n', 8, "its own header comes first"),
                ('heap.h"\n\n', 'heap.h"\n', 5, "a blank line parts"),
                ("} // namespace qel", "}", 25, "is not named"),
                ("} // namespace qel", "} // namespace other", 14, "another namespace"),
                ("} // namespace qel", "} // end of namespace qel", 14, "ends with } // namespace NAME"),
                ("max_parts", "most_parts", 11, "max_... or min_..."), ("max_parts", "least_parts", 11, "max_... or min_..."),
                ("max_parts", "largest_part", 11, "max_... or min_..."), ("max_parts", "smallest_part", 11, "max_... or min_..."),
                ("max_parts", "longest_part", 11, "max_... or min_..."), ("max_parts", "deepest_part", 11, "max_... or min_..."),
                ("max_parts", "normalised", 11, "normalize"), ("as many as", "Normalises as", 11, "normalize"),
                ("max_parts", "out_of_memory", 11, "no_memory"),
                ("max_parts", "no_index_memory", 11, "no_memory"),
                ("    return QEL_OK;", "    for (const std::size_t part : {0, 12})\n        return part;", 21, "end in u"),
                ("} // namespace\n", "enum status : int { done = 0,\n    failed = -1 };\n} // namespace\n", 13, "public headers"),
                ('"common/heap.h"', '"ogawa_reader/container/container.h"', 4, "qel_unit does not look into ogawa_reader"),
                ('"common/heap.h"', '"qel_archive.h"', 4, "qel_unit does not look into qel_archive.h")):
            self.assertEqual(SOURCE.count(old), 1, old)
            found = problems({"src/qel_unit/part.cpp": SOURCE.replace(old, new)})
            self.assertTrue(any(fault.startswith(f"src/qel_unit/part.cpp:{line}: ") and reason in fault for fault in found),
                            (old, new, found))

    def test_each_fault_between_files_is_noticed(self):
        for changes, expected in (
                ({"tests/qel_unit/part_test.cpp": None, "tests/qel_unit/part_limits_test.cpp": None},
                 "src/qel_unit/part.cpp:1: has no test in tests/qel_unit/part_test.cpp"),
                ({"tests/qel_unit/other_test.cpp": LICENSE}, "tests/qel_unit/other_test.cpp:1: has no source of its name in src"),
                ({"tests/common/part_test.cpp": LICENSE}, "tests/common/part_test.cpp:1: has no source of its name in src"),
                ({"src/common/heap.h": LICENSE + '#include "qel_unit/part.h"\n'},
                 "src/common/heap.h:2: common does not look into qel_unit/part.h"),
                ({"tools/qel/main.cpp": LICENSE + '#include "qel_unit/part.h"\n'},
                 "tools/qel/main.cpp:2: the tool includes the public headers alone, not qel_unit/part.h"),
                ({"tools/qel/main.cpp": LICENSE + '#include "../../examples/part.h"\n'},
                 "tools/qel/main.cpp:2: the tool includes the public headers alone, not ../../examples/part.h"),
                ({"tools/qel/dump/dump.cpp": LICENSE + '#include "info/part.h"\n'},
                 "tools/qel/dump/dump.cpp:2: dump does not look into info/part.h"),
                ({"tools/qel/files/place.cpp": LICENSE + '#include "info/part.h"\n'},
                 "tools/qel/files/place.cpp:2: files does not look into info/part.h"),
                ({"tools/qel/files/place.cpp": LICENSE + '#include "commands.h"\n', "tools/qel/commands.h": LICENSE},
                 "tools/qel/files/place.cpp:2: files does not look into commands.h"),
                ({"tools/qel/main.cpp": LICENSE + '#include "info/part.h"\n'},
                 "tools/qel/main.cpp:2: what calls the commands does not look into info/part.h"),
                ({"tests/consumers/program.c": LICENSE + "std::int32_t number;\n"},
                 "tests/consumers/program.c:2: std::int32_t is spelled in the other language's way"),
                ({"include/qel_unit.h": "int32_t parts;\n"}, "include/qel_unit.h:1: the first line does not name the licence"),
                ({"include/qel_unit.h": f"/* SPDX-License-Identifier: MIT */\n/* {'x' * 115} */\n"},
                 "include/qel_unit.h:2: 121 columns of 120"),
                ({"web/main.js": f"// {'x' * 118}\n"}, "web/main.js:1: 121 columns of 120"),
                ({"web/main.js": "// normalises\n"}, "web/main.js:1: normalises: it is normalize"),
                ({"docs/page.md": "# Title\n\nA normalised vector.\n"}, "docs/page.md:3: normalised: it is normalize"),
                ({"tests/list.txt": "normaliser\n"}, "tests/list.txt:1: normaliser: it is normalize"),
                ({"tests/tool/some_test.py": "import re\n"}, "tests/tool/some_test.py:1: the first line does not name the licence"),
                ({"bindings/python/qel_unit/part.py": "import re\n"},
                 "bindings/python/qel_unit/part.py:1: the first line does not name the licence"),
                ({"bindings/python/qel_unit/part.py": f"# SPDX-License-Identifier: MIT\n{'x' * 121}\n"},
                 "bindings/python/qel_unit/part.py:2: 121 columns of 120")):
            self.assertEqual(problems(changes), [expected])

    def test_an_exception_without_a_fault_is_reported(self):
        sources = [check_style.Source(path, text, check_style.code_of(text)) for path, text in TREE.items()]
        for untested, across, expected in (
                ({"src/qel_unit/part.cpp": "so"}, {}, "is tested all the same"),
                ({}, {"tests/qel_unit/part_test.cpp": "so"}, "has a source of its name all the same"),
                ({"src/qel_unit/gone.cpp": "so"}, {}, "is excepted, but not there")):
            with mock.patch.object(check_style, "UNTESTED", untested), mock.patch.object(check_style, "ACROSS", across):
                self.assertEqual([fault.reason for fault in check_style.faults(sources)], [expected])

    def test_a_function_may_be_named_after_what_it_finds(self):
        line = "    return longest_in(parts);"
        self.assertEqual(problems({"src/qel_unit/part.cpp": SOURCE.replace("    return QEL_OK;", line)}), [])

    def test_the_script_returns_whether_a_project_is_sound(self):
        script = PROJECT / "scripts" / "check_style.py"
        with tempfile.TemporaryDirectory() as folder:
            source, page, built = (pathlib.Path(folder, path) for path in ("src/heap.h", "docs/page.md", "build/page.md"))
            for file in (source, page, built):
                file.parent.mkdir(parents=True)
                file.write_text("normalised\n")
            for file, text, code in ((source, LICENSE, 1), (page, "A page.\n", 0), (source, "// No licence.\n", 1)):
                file.write_text(text)
                ended = subprocess.run([sys.executable, "-B", script, folder], capture_output=True, text=True)
                self.assertEqual(ended.returncode, code, ended.stdout)
        with tempfile.TemporaryDirectory() as folder:
            self.assertNotEqual(subprocess.run([sys.executable, "-B", script, folder], capture_output=True).returncode, 0)


if __name__ == "__main__":
    unittest.main()
