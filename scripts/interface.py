#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""The interface as the headers in include/ declare it: groups, constants, records, functions and their codes.

All scripts that read the headers without a compiler use this module. The headers use a small subset of C.

Usage: scripts/interface.py [FILE]       (writes a line for each function: its header, its name and its codes)
       scripts/interface.py --version    (writes the version)
"""

import pathlib
import re
import sys
from typing import Dict, Iterator, List, NamedTuple, Optional, Set, Tuple

ROOT = pathlib.Path(__file__).resolve().parent.parent
FOLDER = ROOT / "include"
MARKS = {"qel_unit.h": "QEL_API", "qel_archive.h": "QEL_ARCHIVE_API"}  # the macro before each function

COMMENT = r"/\*\*(?P<comment>(?:[^*]|\*(?!/))*)\*/\s*"
ITEM = re.compile(
    r"/\*\* @defgroup (?P<group>\w+) (?P<title>[^\n]*)"
    r"|" + COMMENT + r"(?:"
    r"(?P<mark>" + "|".join(MARKS.values()) + r")\s+(?P<prototype>[^;]*);"
    r"|(?:typedef )?struct (?P<record>\w+) \{(?P<fields>.*?)\n\}[\w ]*;"
    r"|(?:typedef )?enum(?: (?P<enumeration>\w+))? \{(?P<values>.*?)\n\}[\w ]*;"
    r"|typedef struct (?P<opaque>\w+) \w+;"
    r"|typedef (?P<kind>\w+) (?P<alias>\w+);"
    r"|#define (?P<define>\w+) (?P<number>0[xX][0-9a-fA-F]+|\d+)u?\b)", re.S)
PACKED = re.compile(r"#pragma pack\(push, 1\).*?#pragma pack\(pop\)", re.S)
VALUE = re.compile(r"(\w+) = (-?\d+)\s*(?:,|(?=/)|\Z)\s*(?:/\*\*<(.*?)\*/)?", re.S)  # of an enumeration
CODE = re.compile(r"(-?\d+)\s+(.*)", re.S)


class Group(NamedTuple):
    name: str
    title: str


class Constant(NamedTuple):
    """One named number, of an enumeration (which may have no name) or a macro."""

    name: str
    value: str  # as written, without a suffix
    enumeration: Optional[str]
    meaning: str

    @property
    def number(self) -> int:
        return int(self.value, 0)


class Declaration(NamedTuple):
    """A field or an argument: 'const float *', 'bounds', '[3]'."""

    kind: str
    name: str
    dimensions: str


class Record(NamedTuple):
    name: str
    brief: str
    packed: bool
    fields: List[Declaration]


class Function(NamedTuple):
    name: str
    group: Group
    brief: str
    prototype: str  # on one line
    result: str
    arguments: List[Declaration]
    codes: Dict[int, str]  # the meaning of each status; empty if it returns none
    returns: Optional[str]  # its other return value


def one_line(text: str) -> str:
    return " ".join(text.split())


def without_comments(text: str) -> str:
    return re.sub(r"/\*.*?\*/", " ", text, flags=re.S)


def plain(comment: str) -> str:
    """A comment's text without the stars at the beginnings of lines."""
    return "\n".join(re.sub(r"^\s*\*( |$)", "", line) for line in comment.strip().splitlines())


def brief_of(comment: str) -> str:
    return one_line(re.split(r"\n\s*\n|\n\s*@|^\s*@", plain(comment))[0])


def tags_of(comment: str, tag: str) -> List[str]:
    """The texts after a tag, each as one line."""
    return [one_line(text) for text in re.findall(rf"^@{tag}\s+(.*?)(?=\n@|\n\n|\Z)", plain(comment), re.M | re.S)]


def declaration(text: str) -> Declaration:
    match = re.fullmatch(r"(.*?)(\w+)\s*((?:\[\w+\])*)", one_line(text))
    if match is None:
        raise ValueError("not a declaration: " + text)
    return Declaration(match[1].strip(), match[2], match[3])


def function(match: "re.Match[str]", group: Group) -> Function:
    prototype = one_line(match["prototype"])
    head, arguments = re.fullmatch(r"(.*?)\((.*)\)", prototype).groups()
    result, name, _ = declaration(head)
    codes = [CODE.fullmatch(tag).groups() for tag in tags_of(match["comment"], "retval")]
    returns = tags_of(match["comment"], "return")
    return Function(name, group, brief_of(match["comment"]), prototype, result,
                    [] if arguments == "void" else [declaration(part) for part in arguments.split(",")],
                    {int(code): text for code, text in codes}, returns[0] if returns else None)


class Header:
    """The declarations of one header, each kind in the header's order."""

    def __init__(self, name: str, text: Optional[str] = None) -> None:
        self.name = name
        self.text = (FOLDER / name).read_text(encoding="utf-8") if text is None else text
        self.groups: List[Group] = []
        self.constants: List[Constant] = []
        self.records: List[Record] = []
        self.functions: List[Function] = []
        self.opaque: Set[str] = set()  # records without declared fields
        self.aliases: Dict[str, str] = {}  # other names of plain types
        packed = [part.span() for part in PACKED.finditer(self.text)]
        for match in ITEM.finditer(self.text):
            self._take(match, any(first <= match.start() < last for first, last in packed))
        self._miss_nothing()

    def _take(self, match: "re.Match[str]", packed: bool) -> None:
        if match["group"]:
            self.groups.append(Group(match["group"], match["title"]))
        elif match["prototype"]:
            self.functions.append(function(match, self.groups[-1]))
        elif match["record"]:
            fields = [declaration(part) for part in without_comments(match["fields"]).split(";") if part.strip()]
            self.opaque.discard(match["record"])
            self.records.append(Record(match["record"], brief_of(match["comment"]), packed, fields))
        elif match["values"]:
            values = VALUE.findall(re.sub(r"/\*(?!\*<).*?\*/", " ", match["values"], flags=re.S))
            self.constants += [Constant(name, value, match["enumeration"], one_line(plain(meaning)))
                               for name, value, meaning in values]
        elif match["opaque"]:
            self.opaque.add(match["opaque"])  # until its fields are declared
        elif match["alias"]:
            self.aliases[match["alias"]] = match["kind"]
        else:
            self.constants.append(Constant(match["define"], match["number"], None, brief_of(match["comment"])))

    def _miss_nothing(self) -> None:
        """Fails on a declaration that the reader would skip: in an unknown form or without a comment."""
        code = without_comments(self.text)
        expected = {
            "function": (len(self.functions), len(re.findall(rf"^{MARKS[self.name]}\s", code, re.M))),
            "record": (len(self.records), len(re.findall(r"^(?:typedef )?struct \w+ \{", code, re.M))),
            "constant": (len(self.constants), len(re.findall(r"^\s+\w+ = |^#define \w+ [\d(-]", code, re.M))),
        }
        for kind, (read, there) in expected.items():
            if read != there:
                raise ValueError(f"{self.name}: {read} of {there} declarations of a {kind} are in the known form")

    def names(self) -> Set[str]:
        """All names that a caller can use."""
        parts = (self.functions, self.records, self.constants)
        return {item.name for part in parts for item in part} | self.opaque | {
            constant.enumeration for constant in self.constants if constant.enumeration} | set(self.aliases)

    def code_names(self) -> Dict[str, Dict[int, str]]:
        """For each function its failures and their names: its own, which begin with its name in capitals, or those
        shared by all functions of the header."""
        statuses = [constant for constant in self.constants if (constant.enumeration or "").endswith("_status")]
        names: Dict[str, Dict[int, str]] = {function.name: {} for function in self.functions}
        shared: Dict[int, str] = {}
        for constant in statuses:
            owners = [name for name in names if constant.name.startswith(name.upper() + "_")]
            own = names[max(owners, key=len)] if owners else shared
            if own.setdefault(constant.number, constant.name) != constant.name:
                raise ValueError(f"{constant.name} is a second name of the same code")
        if any(names.values()) and any(code < 0 for code in shared):
            raise ValueError(f"{shared[min(shared)]} begins with no function's name")
        for function in self.functions:
            names[function.name].update({code: shared[code] for code in function.codes if code < 0 and code in shared})
        return names

    def code_problems(self) -> Iterator[str]:
        """The differences between the codes in the comments and their names."""
        names = self.code_names()
        for function in self.functions:
            stated = {code: text for code, text in function.codes.items() if code < 0}
            stated.update({int(code): text for code, text in re.findall(r"; (-\d+) (when .*)", function.returns or "")})
            for code in sorted(stated.keys() ^ names[function.name].keys(), reverse=True):
                yield f"{function.name}: {code} has no " + ("name" if code in stated else "@retval")
            for code, text in stated.items():
                name = names[function.name].get(code, "")
                if name and (re.match("no memory", text) is None) != (not name.endswith("_NO_MEMORY")):
                    yield f"{function.name}: {name} is described as: {text}"


def version() -> str:
    """The version of the project, which only this header defines."""
    numbers = {constant.name: constant.value for constant in Header("qel_unit.h").constants}
    return ".".join(numbers["QEL_UNIT_VERSION_" + part] for part in ("MAJOR", "MINOR", "PATCH"))


def headers() -> Tuple[Header, ...]:
    return tuple(Header(name) for name in MARKS)


def main() -> None:
    if sys.argv[1:] == ["--version"]:
        print(version())
        return
    lines = [" ".join([header.name, function.name, *map(str, function.codes)])
             for header in headers() for function in header.functions]
    text = "\n".join(lines) + "\n"
    if len(sys.argv) > 1:
        pathlib.Path(sys.argv[1]).write_text(text, encoding="utf-8")
    else:
        print(text, end="")


if __name__ == "__main__":
    main()
