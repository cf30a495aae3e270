#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Checks that the headers keep the declarations of earlier releases of the same major version: each function, its types
and its codes, each record to its last field, each number. Declarations may be added, but no fields, since callers
allocate the records.

Usage: scripts/check_interface.py    (prints each broken declaration; exit code 1 if there is one)
"""
import pathlib
import sys
from typing import Iterator, List

import interface
from interface import Header

RELEASES = interface.ROOT / "packaging" / "interface"


def broken(old: Header, new: Header) -> Iterator[str]:
    """The declarations of the old header that are missing or different in the new one."""
    functions = {function.name: function for function in new.functions}
    for function in old.functions:
        if function.name not in functions:
            yield f"{function.name} is gone"
            continue
        there = functions[function.name]
        if (function.result, [(part.kind, part.dimensions) for part in function.arguments]) != (
                there.result, [(part.kind, part.dimensions) for part in there.arguments]):
            yield f"{function.name} was {function.prototype}"
        for code in sorted(function.codes.keys() - there.codes.keys()):
            yield f"{function.name}: its code {code} is gone"
    records = {record.name: record for record in new.records}
    for record in old.records:
        if record.name not in records or record[2:] != records[record.name][2:]:
            yield f"the record {record.name} was another"
    numbers = {constant.name: constant.number for constant in new.constants}
    for constant in old.constants:
        if "_VERSION_" not in constant.name and numbers.get(constant.name) != constant.number:
            yield f"{constant.name} was {constant.value}"
    enumerations = {constant.enumeration for constant in old.constants if constant.enumeration}
    for name in sorted((enumerations | old.opaque | set(old.aliases)) - new.names()):
        yield f"the type {name} is gone"
    for name, kind in old.aliases.items():
        if new.aliases.get(name, kind) != kind:
            yield f"the type {name} was {kind}"


def kept_releases() -> List[pathlib.Path]:
    """The releases that the present version must not break."""
    major = interface.version().partition(".")[0]
    return sorted(RELEASES.glob(major + ".*"))


def main() -> None:
    problems = [f"{release.name}: {name}: {problem}" for release in kept_releases() for name in interface.MARKS
                for problem in broken(Header(name, (release / name).read_text(encoding="utf-8")), Header(name))]
    print(*problems, sep="\n", end="\n" if problems else "")
    print(f"interface: {len(kept_releases())} releases, {len(problems)} promises broken")
    sys.exit(1 if problems or not kept_releases() else 0)


if __name__ == "__main__":
    main()
