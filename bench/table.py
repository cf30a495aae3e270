#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Makes the table from the benchmarks' results. Usage: table.py RESULTS.json [PAGE.md]

Prints it, and puts it between the markers of the page where one is given."""
import json
import os
import platform
import re
import subprocess
import sys
import tempfile

BEGIN, END = "<!-- measured: begin -->", "<!-- measured: end -->"
HEADINGS = ["job", "size", "ours", "model ÷ ours", "peer ÷ ours", "ours ÷ limit", "target", "met"]


def number(value):
    """Three figures, or all of a large number's."""
    if value >= 1000:
        return f"{value:,.0f}"
    return f"{value:.0f}" if value >= 100 else f"{value:.1f}" if value >= 10 else f"{value:.2f}"


def duration(milliseconds):
    if milliseconds >= 1000:
        return f"{milliseconds / 1000:.2f} s"
    return f"{milliseconds:.3g} ms" if milliseconds >= 0.1 else f"{milliseconds * 1000:.3g} µs"


def rivals(run):
    """(kind, name, target or None, ratio) of each counter that is one."""
    for key, value in run.items():
        kind, _, rest = key.partition("|")
        if kind in ("model", "peer", "limit"):
            name, _, target = rest.partition("|")
            yield kind, name, float(target) if target else None, value


def table_row(run):
    job, size = run["run_name"].split("/iterations")[0].split(" | ")
    cells = {"model": [], "peer": [], "limit": []}
    targets, met = [], []
    for kind, name, target, ratio in rivals(run):
        cells[kind].append(number(ratio) + (f" ({name})" if name else ""))
        if target is None:
            continue
        at_most = kind == "limit"
        targets.append(f"{kind} {'≤' if at_most else '≥'} {number(target) if target % 1 else int(target)}")
        met.append(ratio <= target if at_most else ratio >= target)
    if "milliseconds" in run:
        targets.append(f"≤ {run['milliseconds']:g} ms")
        met.append(run["real_time"] <= run["milliseconds"])
    columns = [job, size, duration(run["real_time"])]
    columns += [", ".join(cells[kind]) or "–" for kind in ("model", "peer", "limit")]
    return columns + ["; ".join(targets) or "–", "–" if not met else "yes" if all(met) else "**no**"]


def markdown(headings, rows):
    lines = [headings, ["---"] * len(headings)] + rows
    return "\n".join("| " + " | ".join(line) + " |" for line in lines)


def first(pattern, path):
    try:
        found = re.search(pattern, open(path, encoding="utf-8").read(), re.MULTILINE)
        return found.group(1).strip() if found else "unknown"
    except OSError:
        return "unknown"


def output(*command, line=0):
    try:
        return subprocess.run(command, capture_output=True, text=True, check=True).stdout.splitlines()[line]
    except (OSError, subprocess.CalledProcessError, IndexError):
        return "unknown"


def machine(context):
    caches = ", ".join(
        f"L{cache['level']} {cache['type'].lower()} {cache['size'] // 1024} KiB" for cache in context["caches"]
    )
    compiler = first(r"^CMAKE_CXX_COMPILER:\w+=(.*)$", "build/bench/CMakeCache.txt")
    huge_pages = first(r"\[(.*)\]", "/sys/kernel/mm/transparent_hugepage/enabled")
    processor = first(r"^model name.*: (.*)$", "/proc/cpuinfo")
    memory = first(r"^MemTotal: *([0-9]+) kB", "/proc/meminfo")
    folder = os.environ.get("TMPDIR", tempfile.gettempdir())
    return "\n".join(
        [
            f"- {processor}, {context['num_cpus']} × {context['mhz_per_cpu']} MHz; {caches}; {memory} KiB of memory",
            f"- {platform.system()} {platform.release()}; huge pages: {huge_pages}; "
            f"files on {output('df', '--output=fstype', folder, line=1)}, in the system's cache",
            f"- {output(compiler, '--version')}; load average at the start {context['load_avg'][0]:.2f}",
            f"- {context['date'][:10]}, commit {output('git', 'rev-parse', '--short', 'HEAD')}",
        ]
    )


def main():
    results = json.load(open(sys.argv[1], encoding="utf-8"))
    runs = results["benchmarks"]
    failed = [run["run_name"] for run in runs if run.get("error_occurred")]
    if failed:
        sys.exit("failed: " + ", ".join(failed))
    timed = [table_row(run) for run in runs if "peak" not in run]
    peaks = [
        table_row(run)[:2] + [f"{run['peak']:.1f} MiB", f"{run['kept']:.1f} MiB"] for run in runs if "peak" in run
    ]
    parts = [machine(results["context"])]
    if timed:
        parts.append(markdown(HEADINGS, timed))
    if peaks:
        parts.append(markdown(["job", "size", "at its highest", "held at the end"], peaks))
    text = "\n\n".join(parts)
    print(text)
    if len(sys.argv) > 2:
        page = open(sys.argv[2], encoding="utf-8").read()
        before, rest = page.split(BEGIN)
        after = rest.split(END)[1]
        with open(sys.argv[2], "w", encoding="utf-8") as file:
            file.write(f"{before}{BEGIN}\n\n{text}\n\n{END}{after}")


main()
