#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Checks the rules that the formatter does not: one form for one idea, in the sources and in the texts beside them.

Usage: scripts/check_style.py [PROJECT]    (prints every fault; exit code 1 if there is one)
"""

import pathlib
import re
import sys
from typing import Callable, Dict, Iterator, List, NamedTuple, Optional, Sequence, Tuple

PACKAGE = "bindings/python"  # whose Python users read, and which no formatter holds to the columns
FOLDERS = ("include", "src", "tools", "web", "tests", "fuzz", "bench", "examples", PACKAGE)
TEXTS = (".md", ".txt", ".js", ".mjs")  # the spelling of words is also checked in these, in the whole project
PUBLIC = {"qel_unit.h", "qel_archive.h"}

# The headers of other rooms that a room may include, besides those of common.
ROOMS = {
    "common": set(),
    "ogawa_reader": set(),
    "qel_unit": set(),
    "qel_alembic": {"qel_unit/matrix_48.h", "qel_unit/unit_format.h"},
    "qel_archive": {"ogawa_reader/container/container.h"},
}

# The rooms of the tool that its shared rooms may include besides themselves, and those that its other files may include.
TOOL_ROOMS = {
    "files": set(),
    "terminal": {"files", "commands.h"},
    "examine": {"files", "terminal"},
}
COMMAND_MAY_INCLUDE = {*TOOL_ROOMS, "commands.h"}

BOTH_LANGUAGES = {"tests/interface/archive_layout.h"}  # included in C and in C++: integers have no std::

# Sources without a test of their name, with the reason.
UNTESTED: Dict[str, str] = {}
# Tests without a source of their name, with the reason.
ACROSS: Dict[str, str] = {}

WORDS = (  # refused form, required form: in comments and texts as well
    (re.compile(r"\w*[Nn]ormalis\w+"), "it is normalize"),
)
SPELLINGS = (  # the same, in code only; a function may be called longest_...()
    (re.compile(r"\b(most|smallest|largest|least|biggest|fewest)_(?!of_)\w+"), "a limit is max_... or min_..."),
    (re.compile(r"\b(longest|shortest|deepest)_(?!of_)\w+\b(?!\()"), "a limit is max_... or min_..."),
    (re.compile(r"\b(no_mem|nomem|oom|no_room|no_view|out_of_memory|no_[a-z]+_memory|no_memory_for_\w+)\b"),
     "a failed allocation is no_memory"),
    (re.compile(r"for \(const std::(?:size_t|uint\d+_t) \w+ : \{(?:[\d']+(?:, )?)+\}"),
     "numbers of an unsigned list end in u, or clang takes them for a change of sign"),
)


def column_limit() -> int:
    """The formatter's limit, which holds for comments and for what it does not format as well."""
    settings = pathlib.Path(__file__).resolve().parent.parent / ".clang-format"
    limit = re.search(r"^ColumnLimit: (\d+)$", settings.read_text(encoding="utf-8"), re.M)
    return int(limit[1]) if limit else sys.exit(".clang-format has no ColumnLimit")


COLUMNS = column_limit()


class Source(NamedTuple):
    """One file: its path below the project, its text, and the text with comments and literals replaced by blanks."""

    path: str
    text: str
    code: str

    @property
    def parts(self) -> Tuple[str, ...]:
        return pathlib.PurePosixPath(self.path).parts

    @property
    def lines(self) -> List[str]:
        return self.text.split("\n")

    def line_of(self, place: int) -> int:
        return self.text.count("\n", 0, place) + 1


class Fault(NamedTuple):
    path: str
    line: int
    reason: str


def blanked(match: "re.Match[str]") -> str:
    return re.sub(r"[^\n]", " ", match[0])


def code_of(text: str) -> str:
    """The text with comments and literals replaced by blanks, so that all positions stay. Included names stay."""
    literal = r'R"(?P<mark>\w*)\([\s\S]*?\)(?P=mark)"|(?<!include )"(?:\\.|[^"\\\n])*"|\'(?:\\.|[^\'\\\n])+\''
    number = r"\b\d[\d'a-fA-FxXuUlL.]*"  # the separators of numbers begin no literal
    return re.sub(rf"//[^\n]*|/\*[\s\S]*?\*/|(?P<kept>{number})|{literal}",
                  lambda match: match[0] if match["kept"] else blanked(match), text)


def license_line(source: Source) -> Iterator[Fault]:
    mark = "SPDX-License-Identifier: MIT"
    wanted = {f"# {mark}"} if source.path.endswith(".py") else {f"// {mark}", f"/* {mark} */"}
    if not wanted & set(source.lines[:2]):
        yield Fault(source.path, 1, "the first line does not name the licence")


def columns(source: Source) -> Iterator[Fault]:
    for number, line in enumerate(source.lines, 1):
        if len(line) > COLUMNS and "http" not in line:
            yield Fault(source.path, number, f"{len(line)} columns of {COLUMNS}")


def c_border(source: Source) -> Iterator[Fault]:
    """Functions for C are in one block at the end of a source: with a blank line inside at both ends, a named end, and
    preceded by the using directive of the namespace."""
    opened = None
    for number, line in enumerate(source.lines, 1):
        if line == 'extern "C" {':
            opened = number
            if source.lines[number] != "":
                yield Fault(source.path, number, 'a blank line follows extern "C" {')
        elif line == '} // extern "C"':
            if source.lines[number - 2] != "":
                yield Fault(source.path, number, 'a blank line precedes } // extern "C"')
            opened = None
        elif opened and "using namespace" in line:
            yield Fault(source.path, number, 'using namespace precedes extern "C" {')
    if opened:
        yield Fault(source.path, opened, 'extern "C" { is closed by } // extern "C"')
    if source.parts[0] == "src":
        for match in re.finditer(r'extern "C"(?! \{$)', source.text, re.M):
            if "//" not in source.lines[source.line_of(match.start()) - 1]:
                yield Fault(source.path, source.line_of(match.start()), 'functions for C are in a block: extern "C" {')


def integers(source: Source) -> Iterator[Fault]:
    """C++ writes std::int32_t, C int32_t."""
    wanted = r"\bstd::u?int(?:8|16|32|64)_t\b"
    if not source.path.endswith(".c") and source.path not in BOTH_LANGUAGES:
        wanted = r"(?<![\w:])u?int(?:8|16|32|64)_t\b"
    for match in re.finditer(wanted, source.code):
        yield Fault(source.path, source.line_of(match.start()), f"{match[0]} is spelled in the other language's way")


def include_rank(source: Source, name: str, quoted: bool) -> int:
    if not quoted:
        return 2
    own = pathlib.PurePosixPath(source.path).with_suffix(".h").name
    return 0 if pathlib.PurePosixPath(name).name == own and not source.path.endswith(".h") else 1


def include_order(source: Source) -> Iterator[Fault]:
    """A source's own header, then the project's, then the system's, a blank line between them."""
    last, depth, blank = -1, 0, False
    for number, line in enumerate(source.code.split("\n"), 1):
        depth += len(re.findall(r"^#if", line)) - len(re.findall(r"^#endif", line))
        match = re.match(r'#include (?:"(?P<quoted>[^"]+)"|<(?P<system>[^>]+)>)', line)
        if match and match["system"] in PUBLIC:
            continue  # an installed header may be among the system's
        if match and depth == 0:
            rank = include_rank(source, match["quoted"] or match["system"], match["quoted"] is not None)
            if rank < last:
                yield Fault(source.path, number, "its own header comes first, then the project's, then the system's")
            elif last not in (-1, rank) and not blank:
                yield Fault(source.path, number, "a blank line parts the kinds of headers")
            last = rank
        blank = not match and (blank or line == "")


def namespaces(source: Source) -> Iterator[Fault]:
    """The end of each namespace names it."""
    opened: List[str] = []
    for number, line in enumerate(source.lines, 1):
        opening = re.fullmatch(r"(?:inline )?namespace ?([\w:]*) ?\{", line)
        closing = re.fullmatch(r"\} // namespace ?([\w:]*)", line)
        if opening:
            opened.append(opening[1])
        elif closing and (not opened or opened.pop() != closing[1]):
            yield Fault(source.path, number, "another namespace ends here")
        elif re.match(r"\}.*namespace", line) and not closing:
            yield Fault(source.path, number, "a namespace ends with } // namespace NAME")
    if opened:
        yield Fault(source.path, len(source.lines), f"the end of namespace {opened[-1]} is not named")


def spellings(source: Source) -> Iterator[Fault]:
    for pattern, reason in SPELLINGS:
        for match in pattern.finditer(source.code):
            yield Fault(source.path, source.line_of(match.start()), f"{match[0]}: {reason}")


def words(source: Source) -> Iterator[Fault]:
    for pattern, reason in WORDS:
        for match in pattern.finditer(source.text):
            yield Fault(source.path, source.line_of(match.start()), f"{match[0]}: {reason}")


def statuses(source: Source) -> Iterator[Fault]:
    """The values that functions return have names in the public headers: no room has its own."""
    if source.parts[0] != "src":
        return
    for match in re.finditer(r"\benum\b[^;{]*\{[^}]*?= -\d", source.code):
        yield Fault(source.path, source.line_of(match.start()), "the codes have names in the public headers")


def arrows(source: Source) -> Iterator[Fault]:
    """The rooms whose headers a file of the libraries may include."""
    if source.parts[0] != "src":
        return
    here = source.parts[1]
    for match in re.finditer(r'^#include (?:"([^"]+)"|<(qel_\w+\.h)>)', source.code, re.M):
        name = match[1] or match[2]
        if name in PUBLIC:
            allowed = name == "qel_unit.h" or here == "qel_archive"
        else:
            allowed = name.split("/")[0] in (here, "common") or name in ROOMS.get(here, set())
        if not allowed:
            yield Fault(source.path, source.line_of(match.start()), f"{here} does not look into {name}")


def tool_headers(sources: List[Source]) -> Iterator[Fault]:
    """The tool includes the public headers and, of its own, those of the same room and of the shared rooms."""
    tool = pathlib.PurePosixPath("tools/qel")
    paths = {source.path for source in sources}
    for source in sources:
        if not source.path.startswith(f"{tool}/") or source.path.endswith(".py"):
            continue
        beside = pathlib.PurePosixPath(source.path).parent
        here = source.parts[2] if len(source.parts) > 3 else ""
        for match in re.finditer(r'^#include "([^"]+)"', source.code, re.M):
            line, room = source.line_of(match.start()), match[1].split("/")[0]
            if not {str(tool / match[1]), str(beside / match[1])} & paths:
                yield Fault(source.path, line, f"the tool includes the public headers alone, not {match[1]}")
            elif room not in {here, *TOOL_ROOMS.get(here, COMMAND_MAY_INCLUDE)} and (here or "/" in match[1]):
                yield Fault(source.path, line, f"{here or 'what calls the commands'} does not look into {match[1]}")


def test_paths(sources: List[Source]) -> Iterator[Fault]:
    """src/A/B.cpp is tested in tests/A/B_test.cpp, or in several of B_*_test.cpp."""
    paths = {source.path for source in sources}
    rooms = {path.split("/")[1] for path in paths if path.startswith("src/")}
    tested = [path[len("src/"):-len(".cpp")] for path in sorted(paths) if re.match(r"src/.*\.cpp$", path)]
    headers = [path[len("src/"):-len(".h")] for path in sorted(paths) if re.match(r"src/.*\.h$", path)]
    tests = [path[len("tests/"):-len("_test.cpp")] for path in sorted(paths)
             if re.match(r"tests/.*_test\.cpp$", path) and path.split("/")[1] in rooms]
    for path in tested:
        found = any(test == path or test.startswith(path + "_") for test in tests)
        if found == (f"src/{path}.cpp" in UNTESTED):
            yield Fault(f"src/{path}.cpp", 1, "is tested all the same" if found else f"has no test in tests/{path}_test.cpp")
    for test in tests:
        found = any(test == path or test.startswith(path + "_") for path in tested + headers)
        if found == (f"tests/{test}_test.cpp" in ACROSS):
            yield Fault(f"tests/{test}_test.cpp", 1,
                        "has a source of its name all the same" if found else "has no source of its name in src")
    for path in sorted({*UNTESTED, *ACROSS} - paths):
        yield Fault(path, 1, "is excepted, but not there")


RULES = (license_line, columns, words, c_border, integers, include_order, namespaces, spellings, statuses, arrows)
HEADER_RULES = (license_line, columns, words, namespaces, spellings)  # of the public headers, which are C


def rules_of(source: Source) -> Sequence[Callable[[Source], Iterator[Fault]]]:
    """The rules of a file."""
    if source.path.endswith(TEXTS):
        return (words, columns) if source.parts[0] == "web" else (words,)
    if source.path.endswith(".py"):
        return (license_line, columns) if source.path.startswith(PACKAGE) else (license_line,)
    return HEADER_RULES if source.parts[0] == "include" else RULES


def texts(project: pathlib.Path) -> Iterator[pathlib.Path]:
    """The texts of the project, without build folders and git's files."""
    yield from (path for path in project.glob("*") if path.suffix in TEXTS)
    for folder in sorted(project.iterdir()):
        if folder.is_dir() and folder.name != "build" and not folder.name.startswith("."):
            yield from (path for path in sorted(folder.rglob("*")) if path.suffix in TEXTS)


def read(project: pathlib.Path) -> List[Source]:
    paths = [path for folder in FOLDERS for path in sorted((project / folder).rglob("*"))
             if path.suffix in (".h", ".c", ".cpp", ".py")]
    sources = []
    for path in [*paths, *texts(project)]:
        text = path.read_text(encoding="utf-8")
        sources.append(Source(path.relative_to(project).as_posix(), text, code_of(text)))
    return sources


def faults(sources: List[Source]) -> Iterator[Fault]:
    for source in sources:
        for rule in rules_of(source):
            yield from rule(source)
    yield from test_paths(sources)
    yield from tool_headers(sources)


def main() -> None:
    project = pathlib.Path(sys.argv[1]) if len(sys.argv) > 1 else pathlib.Path(__file__).resolve().parent.parent
    sources = read(project)
    found = list(faults(sources))
    for fault in found:
        print(f"{fault.path}:{fault.line}: {fault.reason}")
    if not sources:
        sys.exit(f"there are no sources in {project}")
    print(f"style: {len(sources)} files, {len(found)} faults")
    sys.exit(1 if found else 0)


if __name__ == "__main__":
    main()
