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
from typing import List, NamedTuple, Set, Tuple

import interface
from interface import Declaration, Function, Header, Record

TARGETS = interface.ROOT / "bindings" / "python" / "qel_unit"
WIDTH = 110

SCALARS = {
    "char": "c_char", "int": "c_int", "float": "c_float", "double": "c_double",
    "int8_t": "c_int8", "int16_t": "c_int16", "int32_t": "c_int32", "int64_t": "c_int64",
    "uint8_t": "c_uint8", "uint16_t": "c_uint16", "uint32_t": "c_uint32", "uint64_t": "c_uint64",
}
OPAQUE = {"void", "FILE"}


class Module(NamedTuple):
    """The module generated from a header."""

    target: str
    includes: Tuple[str, ...]  # headers whose types it uses


MODULES = {"qel_unit.h": Module("_raw.py", ()), "qel_archive.h": Module("_raw_archive.py", ("qel_unit.h",))}


class Types:
    """Maps C types to the names of ctypes."""

    def __init__(self, headers: List[Header]) -> None:
        """All declarations of the headers."""
        self.records = {record.name for header in headers for record in header.records}
        self.aliases = {name: kind for header in headers for name, kind in header.aliases.items()}
        self.opaque = OPAQUE.union(*(header.opaque for header in headers))

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

    def argument(self, argument: Declaration) -> str:
        """An array argument is a pointer to its first element."""
        return self.of(argument.kind + " *" if argument.dimensions else argument.kind)

    def field(self, field: Declaration) -> str:
        result = self.of(field.kind)
        for size in reversed(re.findall(r"\[(\w+)\]", field.dimensions)):
            result = "{} * {}".format(result, size)
        return result


def plain(text: str) -> str:
    """The text without Doxygen's marks."""
    return text.replace("`", "").replace("::", "")


def wrapped(head: str, parts: List[str], tail: str) -> str:
    """The parts on one line if they fit, else one per line."""
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


def emit_records(records: List[Record], types: Types) -> List[str]:
    lines = []
    for record in records:
        lines += ["", "", "class {}(Structure):".format(record.name), docstring(plain(record.brief))]
        if record.packed:
            lines += ["", "    _pack_ = 1", '    _layout_ = "ms"']
    lines += ["", "", "# The fields come last: records point at one another."]
    for record in records:
        fields = "".join('    ("{}", {}),\n'.format(field.name, types.field(field)) for field in record.fields)
        lines.append("{}._fields_ = [\n{}]".format(record.name, fields))
    return lines


def emit_signatures(functions: List[Function], types: Types) -> List[str]:
    lines = ["", "#: Result and arguments of every function.",
             "SIGNATURES: Dict[str, Tuple[Any, Tuple[Any, ...]]] = {"]
    for function in functions:
        comment = textwrap.wrap(function.prototype, WIDTH - 6)
        lines += ["    # " + line for line in comment]
        lines.append(wrapped('    "{}": ({}, ('.format(function.name, types.of(function.result)),
                             [types.argument(argument) for argument in function.arguments],
                             ("," if len(function.arguments) == 1 else "") + ")),"))
    return lines + ["}"]


def emit_codes(functions: List[Function]) -> List[str]:
    lines = ["", "#: What each code of a function means.", "CODES: Dict[str, Dict[int, str]] = {"]
    for function in functions:
        if not function.codes:
            continue
        lines.append('    "{}": {{'.format(function.name))
        for code, text in function.codes.items():
            meaning = plain(text)
            parts = textwrap.wrap(meaning, WIDTH - 16)
            if len(parts) == 1:
                lines.append("        {}: {},".format(code, quoted(meaning)))
            else:
                texts = [quoted(part + " ") for part in parts[:-1]] + [quoted(parts[-1])]
                lines.append("        {}: (\n            {}\n        ),".format(code, "\n            ".join(texts)))
        lines.append("    },")
    return lines + ["}"]


PYTHON_RESULTS = {"None": "None", "c_float": "float", "c_double": "float", "c_char_p": "Optional[bytes]"}


def emit_code_names(header: Header) -> List[str]:
    lines = ["", "#: The names of the failures' codes.", "CODE_NAMES: Dict[str, Dict[int, str]] = {"]
    for function, names in header.code_names().items():
        if names:
            lines.append('    "{}": {{'.format(function))
            lines += ["        {}: {},".format(code, quoted(name)) for code, name in names.items()] + ["    },"]
    return lines + ["}"]


def emit_functions(functions: List[Function], types: Types) -> List[str]:
    lines = ["", "", "class Functions:",
             '    """The functions of a loaded library, each with its signature. Nothing is checked."""', ""]
    for function in functions:
        result = types.of(function.result)
        kind = "Any" if result.startswith("POINTER") else PYTHON_RESULTS.get(result, "int")
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


def imported(header: Header, used: Set[str]) -> List[str]:
    """The imports of the records that other headers declare."""
    lines = []
    for name in MODULES[header.name].includes:
        records = [record.name for record in Header(name).records if record.name in used]
        if records:
            lines.append("from .{} import {}".format(MODULES[name].target[:-3], ", ".join(records)))
    return [""] + lines if lines else []


def generate(header: Header) -> str:
    types = Types([Header(name) for name in MODULES[header.name].includes] + [header])
    body = (emit_records(header.records, types) + emit_signatures(header.functions, types) + emit_codes(header.functions)
            + emit_code_names(header) + emit_functions(header.functions, types))
    words = set(re.findall(r"\b\w+\b", "\n".join(line for line in body if not line.lstrip().startswith("#"))))
    constants = ["{} = {}".format(constant.name, constant.value) for constant in header.constants]
    if header.name == "qel_unit.h":
        constants = ['VERSION = "{}"'.format(interface.version())] + constants
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
    for header in interface.headers():
        wanted, target = generate(header), TARGETS / MODULES[header.name].target
        if not check:
            target.write_text(wanted, encoding="utf-8")
        elif not target.exists() or target.read_text(encoding="utf-8") != wanted:
            outdated.append(str(target.relative_to(interface.ROOT)))
    if outdated:
        print("out of date: {}: run scripts/generate_python.py".format(", ".join(outdated)), file=sys.stderr)
    return 1 if outdated else 0


if __name__ == "__main__":
    sys.exit(main())
