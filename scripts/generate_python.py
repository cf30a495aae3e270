#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Writes the raw layer of the Python package from the headers: records, constants, signatures, meanings of codes.

Usage: scripts/generate_python.py [--check]     (--check writes nothing and fails when a file is out of date)
Python's standard library is enough: the headers are plain enough to be read without a compiler.
"""

import argparse
import re
import sys
import textwrap
from pathlib import Path
from typing import Dict, List, NamedTuple, Set, Tuple

ROOT = Path(__file__).resolve().parent.parent
TARGETS = ROOT / "bindings" / "python" / "qel_unit"
WIDTH = 110

SCALARS = {
    "char": "c_char", "int": "c_int", "float": "c_float", "double": "c_double",
    "int8_t": "c_int8", "int16_t": "c_int16", "int32_t": "c_int32", "int64_t": "c_int64",
    "uint8_t": "c_uint8", "uint16_t": "c_uint16", "uint32_t": "c_uint32", "uint64_t": "c_uint64",
}
OPAQUE = {"void", "FILE"}


class Header(NamedTuple):
    name: str
    mark: str  # before each function
    target: str
    includes: Tuple[str, ...]  # headers of this list whose types it uses


HEADERS = {
    header.name: header for header in (
        Header("qel_unit.h", "QEL_API", "_raw.py", ()),
        Header("qel_archive.h", "QEL_ARCHIVE_API", "_raw_archive.py", ("qel_unit.h",)),
    )
}


class Record(NamedTuple):
    name: str
    brief: str
    packed: bool
    fields: List[Tuple[str, str]]


class Function(NamedTuple):
    name: str
    brief: str
    prototype: str
    result: str
    arguments: List[str]
    codes: Dict[int, str]


def without_comments(text: str) -> str:
    return re.sub(r"/\*.*?\*/", " ", text, flags=re.S)


def one_line(text: str) -> str:
    return " ".join(text.split())


def plain(comment: str) -> str:
    """A comment's text without the leading stars and the marks of the reference."""
    lines = [re.sub(r"^\s*\*( |$)", "", line) for line in comment.strip().splitlines()]
    return "\n".join(lines).replace("`", "").replace("::", "")


def brief_of(comment: str) -> str:
    return one_line(re.split(r"\n\s*\n|\n\s*@|^\s*@", plain(comment))[0])


def codes_of(comment: str) -> Dict[int, str]:
    found = re.findall(r"@retval\s+(-?\d+)\s+(.*?)(?=\n\s*@|\n\s*\n|\Z)", plain(comment), flags=re.S)
    return {int(code): one_line(text) for code, text in found}


def split_declaration(text: str) -> Tuple[str, str, str]:
    """'const float *x[3]' -> ('const float *', 'x', '[3]')"""
    match = re.fullmatch(r"(.*?)(\w+)\s*((?:\[\w+\])*)", one_line(text))
    if match is None:
        raise ValueError("not a declaration: " + text)
    return match.group(1).strip(), match.group(2), match.group(3)


class Types:
    """From C types to the names of ctypes."""

    def __init__(self, text: str) -> None:
        """All that a text declares, be it in one header or in several."""
        self.records = set(record_names(text))
        self.aliases = {name: kind for kind, name in re.findall(r"typedef (\w+) (\w+);", text)}
        self.opaque = OPAQUE | set(re.findall(r"typedef struct (\w+) \1;", text)) - self.records

    def base(self, name: str) -> str:
        name = self.aliases.get(name, name)
        if name in SCALARS:
            return SCALARS[name]
        if name in self.records:
            return name
        raise ValueError("unknown type: " + name)

    def of(self, text: str) -> str:
        stars = text.count("*")
        words = text.replace("*", " ").split()
        constant = "const" in words
        (name,) = [word for word in words if word not in ("const", "struct")]
        if stars == 0:
            return "None" if name == "void" else self.base(name)
        if name in self.opaque:
            inner = "c_void_p"
        elif name == "char" and constant:
            inner = "c_char_p"
        else:
            inner = "POINTER({})".format(self.base(name))
        for _ in range(stars - 1):
            inner = "POINTER({})".format(inner)
        return inner

    def argument(self, text: str) -> str:
        """An array that is passed on is a pointer to its first element."""
        kind, _, dimensions = split_declaration(text)
        return self.of(kind + " *" if dimensions else kind)

    def field(self, text: str) -> Tuple[str, str]:
        kind, name, dimensions = split_declaration(text)
        result = self.of(kind)
        for size in reversed(re.findall(r"\[(\w+)\]", dimensions)):
            result = "{} * {}".format(result, size)
        return name, result


def record_names(text: str) -> List[str]:
    return re.findall(r"^(?:typedef )?struct (\w+) \{", text, re.M)


def read_records(text: str, types: Types) -> List[Record]:
    packed_parts = [part.span() for part in re.finditer(r"#pragma pack\(push, 1\).*?#pragma pack\(pop\)", text, re.S)]
    records = []
    for match in re.finditer(r"/\*\*((?:(?!\*/).)*)\*/\s*(?:typedef )?struct (\w+) \{(.*?)\n\}[\w ]*;", text, re.S):
        fields = [types.field(part) for part in without_comments(match.group(3)).split(";") if part.strip()]
        packed = any(first <= match.start() < last for first, last in packed_parts)
        records.append(Record(match.group(2), brief_of(match.group(1)), packed, fields))
    return records


def read_functions(text: str, mark: str, types: Types) -> List[Function]:
    functions = []
    for match in re.finditer(r"/\*\*((?:(?!\*/).)*)\*/\s*" + mark + r"\s+([^;]*);", text, re.S):
        prototype = one_line(match.group(2))
        head, arguments = re.fullmatch(r"(.*?)\((.*)\)", prototype).groups()  # type: ignore[union-attr]
        result, name, _ = split_declaration(head)
        parts = [] if arguments == "void" else arguments.split(",")
        kinds = [types.argument(part) for part in parts]
        functions.append(Function(name, brief_of(match.group(1)), prototype, types.of(result), kinds,
                                  codes_of(match.group(1))))
    return functions


def read_constants(text: str) -> Dict[str, str]:
    constants = dict(re.findall(r"#define (\w+) (0[xX][0-9a-fA-F]+|\d+)u?\b", text))
    for body in re.findall(r"\benum[\w ]* \{(.*?)\}[\w ]*;", text, re.S):
        constants.update(re.findall(r"(\w+) = (-?\d+)", without_comments(body)))
    return constants


def wrapped(head: str, parts: List[str], tail: str) -> str:
    """The parts on one line where they fit, else on lines of their own."""
    line = head + ", ".join(parts) + tail
    if len(line) <= WIDTH:
        return line
    indent = " " * (len(head) - len(head.lstrip()) + 4)
    body = textwrap.fill(", ".join(parts), WIDTH, initial_indent=indent, subsequent_indent=indent,
                         break_long_words=False)
    return head.rstrip() + "\n" + body + "\n" + indent[:-4] + tail


def quoted(text: str) -> str:
    return '"' + text.replace("\\", "\\\\").replace('"', '\\"') + '"'


def docstring(text: str) -> str:
    lines = textwrap.wrap(text, WIDTH - 7)
    if len(lines) == 1:
        return '    """{}"""'.format(lines[0])
    return '    """' + "\n    ".join(lines) + '\n    """'


def emit_records(records: List[Record]) -> List[str]:
    lines = []
    for record in records:
        lines += ["", "", "class {}(Structure):".format(record.name), docstring(record.brief)]
        if record.packed:
            lines += ["", "    _pack_ = 1", '    _layout_ = "ms"']
    lines += ["", "", "# The fields come last: records point at one another."]
    for record in records:
        fields = "".join('    ("{}", {}),\n'.format(name, kind) for name, kind in record.fields)
        lines.append("{}._fields_ = [\n{}]".format(record.name, fields))
    return lines


def emit_signatures(functions: List[Function]) -> List[str]:
    lines = ["", "#: Result and arguments of every function.",
             "SIGNATURES: Dict[str, Tuple[Any, Tuple[Any, ...]]] = {"]
    for function in functions:
        comment = textwrap.wrap(function.prototype, WIDTH - 6)
        lines += ["    # " + line for line in comment]
        arguments = function.arguments + ([""] if len(function.arguments) == 1 else [])
        tail = ")),"
        lines.append(wrapped('    "{}": ({}, ('.format(function.name, function.result),
                             [part for part in arguments if part],
                             ("," if len(function.arguments) == 1 else "") + tail))
    return lines + ["}"]


def emit_codes(functions: List[Function]) -> List[str]:
    lines = ["", "#: What each code of a function means.", "CODES: Dict[str, Dict[int, str]] = {"]
    for function in functions:
        if not function.codes:
            continue
        lines.append('    "{}": {{'.format(function.name))
        for code, meaning in function.codes.items():
            parts = textwrap.wrap(meaning, WIDTH - 16)
            if len(parts) == 1:
                lines.append("        {}: {},".format(code, quoted(meaning)))
            else:
                texts = [quoted(part + " ") for part in parts[:-1]] + [quoted(parts[-1])]
                lines.append("        {}: (\n            {}\n        ),".format(code, "\n            ".join(texts)))
        lines.append("    },")
    return lines + ["}"]


PYTHON_RESULTS = {"None": "None", "c_float": "float", "c_double": "float", "c_char_p": "Optional[bytes]"}


def emit_functions(functions: List[Function]) -> List[str]:
    lines = ["", "", "class Functions:",
             '    """The functions of a loaded library, each with its signature. Nothing is checked."""', ""]
    for function in functions:
        kind = "Any" if function.result.startswith("POINTER") else PYTHON_RESULTS.get(function.result, "int")
        lines.append("    {}: Callable[..., {}]".format(function.name, kind))
    return lines + [
        "",
        "    def __init__(self, library: CDLL) -> None:",
        "        for name, (result, arguments) in SIGNATURES.items():",
        "            function = getattr(library, name)",
        "            function.restype = result",
        "            function.argtypes = arguments",
        "            setattr(self, name, function)",
    ]


def read_header(name: str) -> str:
    return (ROOT / "include" / name).read_text(encoding="utf-8")


def imported(header: Header, used: Set[str]) -> List[str]:
    """The imports of the records that other headers declare."""
    lines = []
    for name in header.includes:
        records = [record for record in record_names(read_header(name)) if record in used]
        if records:
            lines.append("from .{} import {}".format(HEADERS[name].target[:-3], ", ".join(records)))
    return [""] + lines if lines else []


def generate(header: Header) -> str:
    text = read_header(header.name)
    types = Types("".join(read_header(name) for name in (*header.includes, header.name)))
    records = read_records(text, types)
    functions = read_functions(text, header.mark, types)
    if ([record.name for record in records] != record_names(text)
            or len(functions) != text.count("\n{} ".format(header.mark))):
        raise ValueError("a record or a function was missed")
    body = emit_records(records) + emit_signatures(functions) + emit_codes(functions) + emit_functions(functions)
    words = set(re.findall(r"\b\w+\b", "\n".join(line for line in body if not line.lstrip().startswith("#"))))
    constants = ["{} = {}".format(name, value) for name, value in read_constants(text).items()]
    head = [
        "# SPDX-License-Identifier: MIT",
        "# Generated from include/{} by scripts/generate_python.py: change the header, not this file.".format(header.name),
        '"""The C interface as it is: records, constants, signatures and the meanings of codes."""',
        "",
        "from ctypes import CDLL, POINTER, Structure",
        wrapped("from ctypes import (", sorted(word for word in words if word.startswith("c_")), ")"),
        "from typing import Any, Callable, Dict, Optional, Tuple",
        *imported(header, words),
        "",
    ]
    return "\n".join(head + constants + body) + "\n"


def main() -> int:
    parser = argparse.ArgumentParser(description="Writes the raw layer of the Python package from the headers.")
    parser.add_argument("--check", action="store_true", help="write nothing; fail when a file is out of date")
    check = parser.parse_args().check
    outdated = []
    for header in HEADERS.values():
        wanted, target = generate(header), TARGETS / header.target
        if not check:
            target.write_text(wanted, encoding="utf-8")
        elif not target.exists() or target.read_text(encoding="utf-8") != wanted:
            outdated.append(str(target.relative_to(ROOT)))
    if outdated:
        print("out of date: {}: run scripts/generate_python.py".format(", ".join(outdated)), file=sys.stderr)
    return 1 if outdated else 0


if __name__ == "__main__":
    sys.exit(main())
