#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Writes docs/error-codes.md, the tables of all functions and their codes, from the comments of the headers.

Usage: scripts/error_codes.py [--check]    (--check: only say whether the page is up to date)
"""
import pathlib
import re
import sys

PROJECT = pathlib.Path(__file__).resolve().parent.parent
HEADER = PROJECT / "include" / "qel_unit.h"
ARCHIVE_HEADER = PROJECT / "include" / "qel_archive.h"
MESSAGES = PROJECT / "src" / "qel_archive" / "archive.cpp"
PAGE = PROJECT / "docs" / "error-codes.md"

INTRODUCTION = """\
# Error codes at a glance

Every function with the causes of each of its codes, in the order in which its steps can fail. What a failed call leaves
behind stands in the comment of the function in [`qel_unit.h`](../include/qel_unit.h) or
[`qel_archive.h`](../include/qel_archive.h). This page is made from those comments by `scripts/error_codes.py`; a test holds
them together.
"""

ARCHIVE_INTRODUCTION = """\
## qel_archive

All functions of `qel_archive` share their codes. `qel_archive_message` gives the text of each, and "{unknown}" for any other
number.

| code | name | text |
| ---: | --- | --- |
{rows}
"""

ITEM = re.compile(r"/\*\* @defgroup (?P<group>\w+) (?P<title>[^\n]*)"
                  r"|/\*\*(?P<comment>(?:[^*]|\*(?!/))*)\*/\s*QEL_(?:ARCHIVE_)?API (?P<type>[^(]*?)(?P<name>\w+)\(")
CODE = re.compile(r"@retval\s+(-?\d+)\s+(.*)")


def tags(comment):
    """The comment's tagged paragraphs, each as one line: "@retval 0 built", "@return the root", …"""
    text = re.sub(r"\n\s*\* ?", "\n", comment)
    return [" ".join(part.split()) for part in re.split(r"\n\s*(?=@)", text) if part.lstrip().startswith("@")]


def cause(text):
    """The part of a code's text that says when it is returned, without the state that is left."""
    text = re.sub(r"\s*\([^()]*\)", "", text).split(". ")[0].rstrip(".")
    causes, state_follows = [], False
    for clause in text.split("; "):
        if not state_follows or clause.startswith("or "):
            causes.append(clause.split(": ")[0])
        state_follows = state_follows or ": " in clause
    return "; ".join(causes)


def functions(header):
    """For every function, in order: group title, name, what it returns otherwise, and {code: cause}."""
    title = None
    for item in ITEM.finditer(header):
        if item["group"]:
            title = item["title"]
            continue
        codes, returns = {}, None
        for tag in tags(item["comment"]):
            found = CODE.fullmatch(tag)
            if found:
                codes[int(found[1])] = cause(found[2])
            elif tag.startswith("@return "):
                returns = tag[len("@return "):].split(". ")[0].rstrip(".")
        if returns is None and not codes and item["type"].strip() != "void":
            sys.exit(f"{item['name']} does not say what it returns")
        yield title, item["name"], returns, codes


def cell(text):
    text = text.replace("|", "\\|").replace("*", "\\*")
    return re.sub(r"`[^`]*`", lambda code: code[0].replace("\\*", "*"), re.sub(r"::(\w+)", r"`\1`", text))


def table(header):
    """All functions of a header as a table, with a sentence above it."""
    rows = list(functions(header))
    failures = sorted({code for row in rows for code in row[3] if code != 0}, reverse=True)
    lines = [f"{len(rows)} functions, of which {sum(1 for row in rows if row[3])} answer with a status code; the others"
             " return what they found, or nothing.\n",
             "| function | returns | " + " | ".join(f"{code}" for code in failures) + " |",
             "| --- " * (2 + len(failures)) + "|"]
    last = None
    for title, name, returns, codes in rows:
        if title != last:
            lines.append(f"| **{title}** |" + " |" * (1 + len(failures)))
            last = title
        if 0 in codes:
            returns = "0: " + codes[0]
        elif codes:
            returns = "never 0"
        cells = [cell(returns or "nothing")] + [cell(codes.get(code, "")) for code in failures]
        lines.append(f"| `{name}` | " + " | ".join(cells) + " |")
    return re.sub(r" +\|", " |", "\n".join(lines)) + "\n"


def messages():
    """What is said of the status codes of qel_archive: their numbers and names, and the texts."""
    numbers = {name: int(code) for name, code in re.findall(r"^ +(QEL_ARCHIVE_\w+) = (-?\d+)", text_of(ARCHIVE_HEADER), re.M)}
    source = text_of(MESSAGES)
    texts = dict(re.findall(r'case (QEL_ARCHIVE_\w+):\s+return "([^"]*)";', source))
    unknown = re.search(r'default:\s+return "([^"]*)";', source)
    if set(texts) != set(numbers) or unknown is None:
        sys.exit(f"{MESSAGES.name} does not have a text for each status")
    rows = "\n".join(f"| {code} | `{name}` | {texts[name]} |" for name, code in numbers.items())
    return ARCHIVE_INTRODUCTION.format(unknown=unknown[1], rows=rows)


def text_of(path):
    return path.read_text(encoding="utf-8")


def page():
    return "\n".join([INTRODUCTION, "## qel_unit\n", table(text_of(HEADER)), messages(), table(text_of(ARCHIVE_HEADER))])


def main():
    made = page()
    if "--check" not in sys.argv[1:]:
        PAGE.write_text(made, encoding="utf-8")
    elif not PAGE.exists() or PAGE.read_text(encoding="utf-8") != made:
        sys.exit("docs/error-codes.md is not what the headers say: run scripts/error_codes.py")
    else:
        print("docs/error-codes.md is up to date")


if __name__ == "__main__":
    main()
