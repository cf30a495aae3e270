#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Makes the table from the benchmarks' results. Usage: table.py RESULTS.json [PAGE.md]

Prints it, and puts it between the markers of the page where one is given."""
import json
import sys

from page import duration, machine, markdown, number, put

HEADINGS = ["job", "size", "ours", "model ÷ ours", "peer ÷ ours", "ours ÷ limit", "target", "met"]
KINDS = ("model", "peer", "limit")


class Rival:
    """One ratio of a row: its kind, its name, its target or None, and its middle, lowest and highest over the rounds."""

    def __init__(self, kind, name, target):
        self.kind, self.name = kind, name
        self.target = float(target) if target else None
        self.middle = self.lowest = self.highest = None

    def text(self):
        spread = "" if self.lowest is None else f" [{number(self.lowest)}–{number(self.highest)}]"
        return number(self.middle) + spread + (f" ({self.name})" if self.name else "")

    def wanted(self):
        bound = number(self.target) if self.target % 1 else f"{self.target:.0f}"
        return f"{self.kind} {'≤' if self.kind == 'limit' else '≥'} {bound}"

    def met(self):
        return self.middle <= self.target if self.kind == "limit" else self.middle >= self.target


def rivals(run):
    """The ratios from the counters kind|name|target|which."""
    found = {}
    for key, value in run.items():
        parts = key.split("|")
        if len(parts) == 4 and parts[0] in KINDS:
            rival = found.setdefault(tuple(parts[:3]), Rival(*parts[:3]))
            setattr(rival, parts[3], value)
    return list(found.values())


def job_and_size(run):
    return run["run_name"].split("/iterations")[0].split(" | ")


def table_row(run):
    row = rivals(run)
    bound = [rival for rival in row if rival.target is not None]
    targets, met = [rival.wanted() for rival in bound], [rival.met() for rival in bound]
    if "milliseconds" in run:
        targets.append(f"≤ {run['milliseconds']:g} ms")
        met.append(run["real_time"] <= run["milliseconds"])
    columns = job_and_size(run) + [duration(run["real_time"]) if run["real_time"] else "–"]
    columns += [", ".join(rival.text() for rival in row if rival.kind == kind) or "–" for kind in KINDS]
    return columns + ["; ".join(targets) or "–", "–" if not met else "yes" if all(met) else "**no**"]


def checked(path):
    """The runs of a file of results; exits if one failed."""
    with open(path, encoding="utf-8") as file:
        runs = json.load(file)["benchmarks"]
    failed = [run["run_name"] for run in runs if run.get("error_occurred")]
    if failed:
        sys.exit("failed: " + ", ".join(failed))
    return runs


def main():
    runs = checked(sys.argv[1])
    timed = [table_row(run) for run in runs if "peak" not in run]
    peaks = [job_and_size(run) + [f"{run['peak']:.1f} MiB", f"{run['kept']:.1f} MiB"] for run in runs if "peak" in run]
    parts = [machine()]
    if timed:
        parts.append(markdown(HEADINGS, timed))
    if peaks:
        parts.append(markdown(["job", "size", "at its highest", "held at the end"], peaks))
    text = "\n\n".join(parts)
    print(text)
    if len(sys.argv) > 2:
        put(sys.argv[2], "measured", text)


if __name__ == "__main__":
    main()
