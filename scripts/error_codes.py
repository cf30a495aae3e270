#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Writes docs/error-codes.md, the tables of all functions and their codes, from the comments of the headers.

Usage: scripts/error_codes.py [--check]    (--check: only say whether the page is up to date)
"""
import pathlib
import re
import sys

import interface

PROJECT = interface.ROOT
MESSAGES = PROJECT / "src" / "qel_archive" / "archive.cpp"
PAGE = PROJECT / "docs" / "error-codes.md"

INTRODUCTION = """\
# Error codes at a glance

Every function and the meaning of each of its codes, in the order in which its steps can fail. The comment of the function
in [`qel_unit.h`](../include/qel_unit.h) or [`qel_archive.h`](../include/qel_archive.h) states the exact conditions and what
a failed call leaves. `scripts/error_codes.py` makes this page from the headers; a test compares the two, and each code with
its name in the header.
"""

NAMES = """\
The name of a code is the function's in capitals and then the word before the colon: `QEL_UNIT_LOAD_TOO_SHORT`. That of 0
is `QEL_OK`. The text after the colon is the code's comment in `qel_status`.
"""

ARCHIVE_INTRODUCTION = """\
## qel_archive

All functions of `qel_archive` share their codes. `qel_archive_message` returns the text of each, and "{unknown}" for
any other number.

| code | name | meaning | text |
| ---: | --- | --- | --- |
{rows}
"""


def cause(text):
    """The part of a code's text with its cause, without the state after the call."""
    text = re.sub(r"\s*\([^()]*\)", "", text).split(". ")[0].rstrip(".")
    causes, state_follows = [], False
    for clause in text.split("; "):
        if not state_follows or clause.startswith("or "):
            causes.append(clause.split(": ")[0])
        state_follows = state_follows or ": " in clause
    return "; ".join(causes)


def answer(function):
    """The return value of a function that succeeds."""
    if 0 in function.codes:
        return "0: " + cause(function.codes[0])
    if function.codes:
        return "never 0"
    if function.returns is None and function.result != "void":
        sys.exit(f"{function.name} does not say what it returns")
    return (function.returns or "nothing").split(". ")[0].rstrip(".")


def cell(text):
    text = text.replace("|", "\\|").replace("*", "\\*")
    return re.sub(r"`[^`]*`", lambda code: code[0].replace("\\*", "*"), re.sub(r"::(\w+)", r"`\1`", text))


def table(header):
    """All functions of a header as a table, with an introduction."""
    names = header.code_names()
    failures = sorted({code for function in header.functions for code in function.codes if code != 0}, reverse=True)
    answering = sum(1 for function in header.functions if function.codes)
    lines = [f"{len(header.functions)} functions, of which {answering} answer with a status code; the others"
             " return what they found, or nothing.\n",
             "| function | returns | " + " | ".join(f"{code}" for code in failures) + " |",
             "| --- " * (2 + len(failures)) + "|"]
    last = None
    for function in header.functions:
        if function.group != last:
            lines.append(f"| **{function.group.title}** |" + " |" * (1 + len(failures)))
            last = function.group
        causes = [failure(header, names[function.name], function, code) for code in failures]
        lines.append(f"| `{function.name}` | " + " | ".join(map(cell, [answer(function), *causes])) + " |")
    return re.sub(r" +\|", " |", "\n".join(lines)) + "\n"


def failure(header, names, function, code):
    """The end of a code's name and its meaning; for a code shared by all functions, its meaning for this one."""
    if code not in function.codes:
        return ""
    if not names.get(code, "").startswith(function.name.upper() + "_"):
        return cause(function.codes[code])
    return f"`{names[code][len(function.name) + 1:]}`: {statuses(header)[names[code]].meaning}"


def statuses(header):
    """The status codes of a header by their names."""
    found = {constant.name: constant for constant in header.constants if (constant.enumeration or "").endswith("_status")}
    for constant in found.values():
        if not constant.meaning:
            sys.exit(f"{constant.name} has no comment that says what it means")
    return found


def messages(header):
    """The status codes of qel_archive: number, name, meaning, and the library's text."""
    codes = statuses(header)
    source = text_of(MESSAGES)
    texts = dict(re.findall(r'case (QEL_ARCHIVE_\w+):\s+return "([^"]*)";', source))
    unknown = re.search(r'default:\s+return "([^"]*)";', source)
    if set(texts) != set(codes) or unknown is None:
        sys.exit(f"{MESSAGES.name} does not have a text for each status")
    rows = "\n".join(f"| {code.number} | `{name}` | {code.meaning} | {texts[name]} |" for name, code in codes.items())
    return ARCHIVE_INTRODUCTION.format(unknown=unknown[1], rows=rows)


def text_of(path):
    return path.read_text(encoding="utf-8")


def page(unit, archive):
    problems = [*unit.code_problems(), *archive.code_problems()]
    if problems:
        sys.exit("\n".join(problems))
    return "\n".join([INTRODUCTION, "## qel_unit\n", NAMES, table(unit), messages(archive), table(archive)])


def main():
    made = page(*interface.headers())
    if "--check" not in sys.argv[1:]:
        PAGE.write_text(made, encoding="utf-8")
    elif not PAGE.exists() or PAGE.read_text(encoding="utf-8") != made:
        sys.exit("docs/error-codes.md is not what the headers say: run scripts/error_codes.py")
    else:
        print("docs/error-codes.md is up to date")


if __name__ == "__main__":
    main()
