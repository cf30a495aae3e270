#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Prints the coverage that gcovr measured and compares it with tests/coverage_exceptions.txt.

Fails if a line was not run, if a branch that the list does not name was not taken, or if one that it names was taken.
A block of the list has a source ("file PATH"), a line of it without its indentation ("- …", or with the number of
untaken branches "-3 …", or "-* …" if it depends on the processor), and the reason why they cannot be taken ("= …").
"""

import json
import pathlib
import re
import sys

ROOT = pathlib.Path(__file__).resolve().parents[1]
EXCEPTIONS = ROOT / "tests" / "coverage_exceptions.txt"


def read_exceptions():
    """The number of untaken branches by line of a source."""
    exceptions = {}
    source = key = None
    for number, text in enumerate(EXCEPTIONS.read_text().splitlines(), 1):
        line = re.match(r"-(\d*|\*) (.*)$", text)
        if not text.strip() or text.startswith("#"):
            continue
        if text.startswith("file "):
            source = text[5:].strip()
        elif line and source:
            key = (source, line[2].strip())
            exceptions[key] = None if line[1] == "*" else exceptions.get(key, 0) + int(line[1] or 1)
        elif not (text.startswith("= ") and key):
            sys.exit(f"{EXCEPTIONS.name}:{number}: not understood: {text}")
    return exceptions


def lines_for_other_processors(text):
    """The numbers of the lines of kernels that this processor cannot run."""
    flags = pathlib.Path("/proc/cpuinfo").read_text(encoding="utf-8").split()
    lines, missing = set(), False
    for number, line in enumerate(text, 1):
        target = re.match(r"QEL_TARGET_(\w+) ", line)
        if target:
            missing = not {"AVX2": {"avx2"}, "AVX512": {"avx512f", "avx512bw"}}[target[1]] <= set(flags)
        if missing:
            lines.add(number)
        if line == "}":
            missing = False
    return lines


def main():
    exceptions = read_exceptions()
    totals = [0, 0, 0, 0]
    problems, missed = [], {}
    print(f"{'source':<42}{'lines':>7}{'run':>7}{'branches':>10}{'taken':>7}")
    for file in json.load(open(sys.argv[1], encoding="utf-8"))["files"]:
        name = file["file"]
        text = (ROOT / name).read_text(encoding="utf-8").splitlines()
        counts = [0, 0, 0, 0]
        left_out = lines_for_other_processors(text)
        for line in file["lines"]:
            if line["gcovr/noncode"] or line["line_number"] in left_out:
                continue
            taken = [branch["count"] > 0 for branch in line["branches"] if not branch["throw"]]
            counts = [a + b for a, b in zip(counts, (1, line["count"] > 0, len(taken), sum(taken)))]
            code = text[line["line_number"] - 1].strip()
            if line["count"] == 0:
                problems.append(f"{name}:{line['line_number']}: not run: {code}")
            elif not all(taken):
                missed[name, code] = missed.get((name, code), 0) + taken.count(False)
        totals = [a + b for a, b in zip(totals, counts)]
        print(f"{name:<42}{counts[0]:>7}{counts[1]:>7}{counts[2]:>10}{counts[3]:>7}")
    print(f"{'all':<42}{totals[0]:>7}{totals[1]:>7}{totals[2]:>10}{totals[3]:>7}")
    for name, code in sorted(missed.keys() | exceptions.keys()):
        found, listed = missed.get((name, code), 0), exceptions.get((name, code), 0)
        if listed is not None and found != listed:
            problems.append(f"{name}: {found} branches not taken, {listed} listed: {code}")
    print("\n".join(problems) or f"all lines run; {sum(missed.values())} branches not taken, each listed with its reason")
    return 1 if problems else 0


if __name__ == "__main__":
    sys.exit(main())
