#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Writes the raw layer of the JavaScript package from the headers: functions, records, constants, meanings of codes.

Usage: scripts/generate_javascript.py [--check | --assertions FILE]
--check writes nothing and fails if a file is out of date; --assertions writes a C source that compiles only if the
layout of the records is the one that the package uses.
"""

import argparse
import json
import re
import sys
import textwrap
from typing import Dict, Iterator, List, NamedTuple, Tuple

import interface
from interface import Declaration, Function, Header

TARGETS = interface.ROOT / "bindings" / "javascript"
POINTER = 4  # bytes, in 32-bit WebAssembly
SIZES = {
    "char": 1, "int8_t": 1, "uint8_t": 1, "int16_t": 2, "uint16_t": 2, "int": 4, "int32_t": 4, "uint32_t": 4,
    "float": 4, "int64_t": 8, "uint64_t": 8, "double": 8,
}
HEAD = "// Made from the headers by scripts/generate_javascript.py.\n"


class Field(NamedTuple):
    name: str
    offset: int
    kind: str  # a scalar, "pointer" or a record
    count: int  # of an array; 1 otherwise


class Layout(NamedTuple):
    size: int
    align: int
    fields: List[Field]


class Package:
    """The declarations of both headers, with their layout in WebAssembly."""

    def __init__(self, headers: Tuple[Header, ...]) -> None:
        self.headers = headers
        self.aliases = {name: kind for header in headers for name, kind in header.aliases.items()}
        self.constants = {item.name: item.number for header in headers for item in header.constants}
        self.layouts: Dict[str, Layout] = {}
        for header in headers:
            for record in header.records:
                self.layouts[record.name] = self.layout(record.fields, record.packed)

    def base(self, kind: str) -> str:
        if "*" in kind:
            return "pointer"
        (name,) = [word for word in kind.split() if word not in ("const", "struct")]
        return self.aliases.get(name, name)

    def measures(self, kind: str) -> Tuple[int, int]:
        """Size and alignment."""
        if kind == "pointer":
            return POINTER, POINTER
        if kind in SIZES:
            return SIZES[kind], SIZES[kind]
        return self.layouts[kind].size, self.layouts[kind].align

    def count(self, dimensions: str) -> int:
        count = 1
        for text in re.findall(r"\[(\w+)\]", dimensions):
            count *= int(text) if text.isdigit() else self.constants[text]
        return count

    def layout(self, fields: List[Declaration], packed: bool) -> Layout:
        at, widest, placed = 0, 1, []
        for field in fields:
            kind, count = self.base(field.kind), self.count(field.dimensions)
            size, align = self.measures(kind)
            align = 1 if packed else align
            at += -at % align
            placed.append(Field(field.name, at, kind, count))
            at += size * count
            widest = max(widest, align)
        return Layout(at + -at % widest, widest, placed)

    def functions(self) -> Iterator[Function]:
        return (function for header in self.headers for function in header.functions)

    def result(self, function: Function) -> str:
        return "void" if function.result == "void" else self.base(function.result)

    def arguments(self, function: Function) -> List[Tuple[str, str]]:
        return [(item.name, "pointer" if item.dimensions else self.base(item.kind)) for item in function.arguments]

    # ---- output
    def script(self) -> str:
        codes = {}
        for header in self.headers:
            names = header.code_names()
            for function in header.functions:
                own = {str(code): [names[function.name].get(code, ""), text]
                       for code, text in function.codes.items() if code < 0}
                if own:
                    codes[function.name] = own
        records = {name: {"size": layout.size, "fields": {
            field.name: [field.offset, field.kind, field.count] for field in layout.fields}}
            for name, layout in self.layouts.items()}
        results = {function.name: self.result(function) for function in self.functions()}
        return HEAD + "\n".join(f"export const {name} = {rows(value)};" for name, value in (
            ("constants", self.constants), ("results", results), ("records", records), ("codes", codes))) + "\n"

    def declarations(self) -> str:
        lines = [HEAD + "// Pointers are numbers: places in the memory of the library.",
                 "export declare const constants: {"]
        lines += [f"  readonly {name}: {value};" for name, value in self.constants.items()]
        lines += ["};", "", "/** The functions of the C interface. */", "export interface Raw {"]
        for function in self.functions():
            arguments = ", ".join(f"{name}: {typed(kind)}" for name, kind in self.arguments(function))
            lines += [f"  /** {function.brief} */" if len(function.brief) < 110 else "  /**\n" + "\n".join(
                "   * " + line for line in textwrap.wrap(function.brief, 110)) + "\n   */",
                f"  {function.name}({arguments}): {typed(self.result(function))};"]
        lines += ["}", "", "export type RecordName =", "  | " + "\n  | ".join(f"'{name}'" for name in self.layouts) + ";",
                  "/** Where the fields of records lie: offset, kind and count of each. */",
                  "export declare const records: {",
                  "  readonly [name in RecordName]: { readonly size: number; readonly fields: "
                  "{ readonly [field: string]: readonly [number, string, number] } };", "};",
                  "/** What a function returns, in C's words. */",
                  "export declare const results: { readonly [name in keyof Raw]: string };",
                  "/** For each function its failures: name and meaning. */",
                  "export declare const codes: { readonly [name: string]: { readonly [code: string]: "
                  "readonly [string, string] } };"]
        return "\n".join(lines) + "\n"

    def assertions(self) -> str:
        lines = ["#include <qel_archive.h>", "#include <stddef.h>"]
        for name, layout in self.layouts.items():
            lines.append(f"_Static_assert(sizeof({name}) == {layout.size}, \"{name}\");")
            lines += [f"_Static_assert(offsetof({name}, {field.name}) == {field.offset}, \"{name}.{field.name}\");"
                      for field in layout.fields]
        return "\n".join(lines) + "\n"


def typed(kind: str) -> str:
    if kind == "void":
        return "void"
    return "bigint" if kind in ("int64_t", "uint64_t") else "number"


def rows(value: object) -> str:
    """A JavaScript object with one line per entry."""
    assert isinstance(value, dict)
    return "{\n" + "".join(f"  {key}: {json.dumps(entry)},\n" for key, entry in value.items()) + "}"


def main() -> None:
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--check", action="store_true")
    parser.add_argument("--assertions", metavar="FILE")
    options = parser.parse_args()
    package = Package(interface.headers())
    if options.assertions:
        with open(options.assertions, "w", encoding="utf-8") as out:
            out.write(package.assertions())
        return
    for name, text in (("raw.js", package.script()), ("raw.d.ts", package.declarations())):
        target = TARGETS / name
        if options.check and (not target.exists() or target.read_text(encoding="utf-8") != text):
            sys.exit(f"{target.relative_to(interface.ROOT)} is out of date: run scripts/generate_javascript.py")
        if not options.check:
            target.write_text(text, encoding="utf-8")


if __name__ == "__main__":
    main()
