#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Draws a chart for each job. Usage: charts.py POINTS.json FOLDER

Time over size, both logarithmic, of the library, the plain model, the peers and the limits; on the right the library's
time for each element. The same points give the same bytes."""
import json
import os
import sys

import matplotlib

matplotlib.use("svg")
import matplotlib.pyplot  # noqa: E402  the backend is selected before

from growth import chart_name, plural  # noqa: E402

STYLES = {  # by kind: colour, line, mark
    "ours": ("#0b6e4f", "-", "o"),
    "model": ("#9a9a9a", "-", "s"),
    "peer": ("#c1666b", "-", "^"),
    "limit": ("#3a6ea5", "--", None),
}
DASHES = ("--", ":", "-.")


def draw(job, folder):
    figure, left = matplotlib.pyplot.subplots(figsize=(7, 4.2))
    points = job["points"]
    names = ["ours"] + sorted({name for point in points for name in point} - {"ours", "elements", "peak_mib"})
    seen = {}
    for name in names:
        kind = name.partition(":")[0]
        colour, line, mark = STYLES[kind]
        turn = seen[kind] = seen.get(kind, -1) + 1
        if kind != "ours" and turn:
            line = DASHES[turn % len(DASHES)]
        known = [point for point in points if name in point]
        left.plot([p["elements"] for p in known], [p[name] for p in known], line, color=colour, marker=mark,
                  markersize=4, linewidth=1.6 if kind == "ours" else 1.1, label=name)
    right = left.twinx()
    right.plot([p["elements"] for p in points], [p["ours"] / p["elements"] * 1e6 for p in points], ":",
               color=STYLES["ours"][0], linewidth=1.1)
    for axis in (left, right):
        axis.set_xscale("log")
        axis.set_yscale("log")
    left.set_xlabel(plural(job["element"]))
    left.set_ylabel("time, ms")
    right.set_ylabel(f"ours for each {job['element']}, ns (dotted)")
    left.set_title(job["job"], fontsize=11)
    left.grid(True, which="major", linewidth=0.4)
    left.legend(fontsize=7, loc="upper left")
    figure.tight_layout()
    figure.savefig(os.path.join(folder, chart_name(job) + ".svg"), metadata={"Date": None, "Creator": None})
    matplotlib.pyplot.close(figure)


def main():
    with open(sys.argv[1], encoding="utf-8") as file:
        jobs = json.load(file)
    matplotlib.rcParams.update({"svg.hashsalt": "qel", "svg.fonttype": "none", "font.family": "sans-serif", "font.size": 9})
    os.makedirs(sys.argv[2], exist_ok=True)
    for job in jobs:
        draw(job, sys.argv[2])
    print(f"charts: {len(jobs)} in {sys.argv[2]}")


if __name__ == "__main__":
    main()
