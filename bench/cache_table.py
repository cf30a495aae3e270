# SPDX-License-Identifier: MIT
"""Makes the table of scripts/cache-model.sh from callgrind's list of functions, read from standard input.

Usage: cache_table.py CALLS [--print]"""
import re
import sys

from page import markdown, put

ROUNDS = 3
JOBS = {"qel_unit_lookup_morton": ("lookup by Morton key, hits", 1), "qel_unit_lookup_hex": ("lookup by identity, hits", 1),
        "qel_unit_query_nearest": ("nearest, k = 8", 10)}


def main():
    calls = int(sys.argv[1]) * ROUNDS
    counts = {}
    for line in sys.stdin:
        found = re.match(r"\s*([\d,.]+) +([\d,.]+) +([\d,.]+) +([\d,.]+) +\S*:(\w+)(?: \[|$)", line)
        if found and found[5] in JOBS:
            # A function is listed once with its callees, and once for each file whose text is in it.
            numbers = [int(text.replace(",", "")) if text != "." else 0 for text in found.groups()[:4]]
            counts[found[5]] = max(counts.get(found[5], numbers), numbers)
    if len(counts) != len(JOBS):
        sys.exit(f"callgrind names only {sorted(counts)}")
    rows = []
    for function, (name, share) in JOBS.items():
        each = [number / (calls / share) for number in counts[function]]
        rows.append([name, f"{each[0]:.0f}", f"{each[1]:.1f}", f"{each[2]:.2f}", f"{each[3]:.2f}"])
    table = markdown(["job, 1 M tokens", "instructions", "reads", "not within 32 KiB", "not within 32 MiB"], rows)
    print(table)
    if "--print" not in sys.argv:
        put("docs/benchmarks.md", "cache", table)


main()
