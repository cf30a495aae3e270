#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Makes the table of growth from the benchmarks' results. Usage: growth.py RESULTS.json [PAGE.md POINTS.json]

Prints it, and puts it between the markers of the page where one is given, with a chart for each job, and the points of
all jobs into a file, from which charts.py draws."""
import json
import math
import re
import sys

from page import duration, machine, markdown, number, put
from table import checked, rivals

FITTED = 4  # the exponent is fitted to the largest sizes: small ones include the fixed cost of a call
PLURALS = {"query": "queries", "vertex": "vertices", "line of 64 bytes": "lines of 64 bytes"}
HEADINGS = ["job", "element", "sizes", "time for each, smallest to largest", "exponent", "model's exponent",
            "limit's exponent", "ours ÷ limit at the largest", "peak memory"]


def point(run):
    """One size of a job; times are milliseconds for one operation per element."""
    scale = run["elements"] / run["operations"]
    ours = run["real_time"] * scale
    ways = {}
    for rival in rivals(run):
        time = ours / rival.middle if rival.kind == "limit" else ours * rival.middle
        ways[rival.kind + (f": {rival.name}" if rival.name else "")] = time
    return {"elements": int(run["elements"]), "ours": ours, **ways, "peak_mib": run["peak_mib"]}


def jobs_of(runs):
    jobs = {}
    for run in runs:
        name, element, _ = run["run_name"].split("/iterations")[0].split(" | ")
        jobs.setdefault(name, {"job": name, "element": element, "points": []})["points"].append(point(run))
    return list(jobs.values())


def exponent(points, way):
    """The slope of a line through the logarithms of size and time, by least squares; None for fewer than three sizes."""
    pairs = [(math.log(p["elements"]), math.log(p[way])) for p in points if way in p][-FITTED:]
    if len(pairs) < 3:
        return None
    x, y = (sum(pair[i] for pair in pairs) / len(pairs) for i in (0, 1))
    return sum((a - x) * (b - y) for a, b in pairs) / sum((a - x) ** 2 for a, _ in pairs)


def slope(points, way):
    value = exponent(points, way)
    return "–" if value is None else f"**{value:.2f}**" if way == "ours" and value > 1.1 else f"{value:.2f}"


def each(one):
    milliseconds = one["ours"] / one["elements"]
    return duration(milliseconds) if milliseconds >= 1e-3 else f"{milliseconds * 1e6:.3g} ns"


def plural(element):
    return PLURALS.get(element, element + "s")


def table_row(job):
    points = job["points"]
    first, last = points[0], points[-1]
    names = [way for way in last if way.startswith("limit")]
    limit_slopes = ", ".join(slope(points, way) for way in names) or "–"
    sizes = f"{first['elements']:,} – {last['elements']:,}"
    limits = [f"{number(last['ours'] / last[way])} ({way.partition(': ')[2]})" for way in names]
    return [job["job"], job["element"], sizes, f"{each(first)} – {each(last)}", slope(points, "ours"), slope(points, "model"),
            limit_slopes, ", ".join(limits) or "–", f"{last['peak_mib']:,.0f} MiB"]


def chart_name(job):
    return re.sub(r"[^a-z0-9]+", "-", job["job"].lower()).strip("-")


def main():
    jobs = jobs_of(checked(sys.argv[1]))
    text = machine() + "\n\n" + markdown(HEADINGS, [table_row(job) for job in jobs])
    print(text)
    if len(sys.argv) > 3:
        charts = [f"![{job['job']}: time over {plural(job['element'])}](images/growth/{chart_name(job)}.svg)" for job in jobs]
        put(sys.argv[2], "growth", text + "\n\n" + "\n\n".join(charts))
        with open(sys.argv[3], "w", encoding="utf-8") as file:
            lines = [json.dumps(job, ensure_ascii=False, default=str) for job in rounded(jobs)]
            file.write("[\n" + ",\n".join(lines) + "\n]\n")


def rounded(jobs):
    """Four significant digits: further ones vary between runs."""
    for job in jobs:
        points = [{way: float(f"{value:.4g}") if way != "elements" else value for way, value in p.items()} for p in job["points"]]
        yield {**job, "points": points}


if __name__ == "__main__":
    main()
