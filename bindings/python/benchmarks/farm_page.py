# SPDX-License-Identifier: MIT
"""The figures of docs/farm.md and its picture: farm_page.py MEASURED.json SIMULATED.json PAGE.md PICTURE.svg"""

import json
import sys
from pathlib import Path
from typing import Any, Dict, List

import matplotlib

matplotlib.use("svg")
from matplotlib import pyplot  # noqa: E402

BEGIN, END = "<!-- figures: scripts/bench-farm.sh -->", "<!-- end of figures -->"
COLOURS = ("#c0392b", "#d68910", "#2471a3", "#7d3c98", "#1e8449")


def rate(run: Dict[str, Any]) -> float:
    """Archives a second of wall time."""
    return float(run["archives"] / run["wall"])


def measured_table(measured: Dict[str, Any]) -> List[str]:
    """What an archive costs, and two workers against one."""
    one, two, tool = measured["one"], measured["two"], measured["tool"]
    scheduler, client = (max(two[name] - measured[idle] * two["wall"], 0.0) / two["archives"]
                         for name, idle in (("scheduler", "idle"), ("client", "client_idle")))
    processor, clock = two["workers"] / two["archives"], sum(two["service"]) / two["archives"]
    return [
        "Measured on {} cores: {:,} archives of 9 to 196 vertices in {} tasks.".format(
            measured["cores"], two["archives"], two["tasks"]), "",
        "| an archive | ms |", "| --- | --- |",
        "| the tool, many archives in one call | {:.1f} of processor |".format(tool["together"] * 1e3),
        "| the tool, a process for each | {:.1f} of processor |".format(tool["each"] * 1e3),
        "| a worker with its tool, limits, digest, record and move | {:.1f} of processor, {:.1f} of wall time |".format(
            processor * 1e3, clock * 1e3),
        "| the client: its line in the manifest, progress | {:.3f} of processor |".format(client * 1e3),
        "| the scheduler | {:.4f} of processor |".format(scheduler * 1e3), "",
        "The scheduler's cost is {:.2f} % of an archive's processor time and {:.2f} % of its wall time. "
        "The heartbeats of two workers, busy or idle, take another {:.1f} % of a core.".format(
            scheduler / processor * 100, scheduler / clock * 100, measured["idle"] * 100), "",
        "Two workers convert {:.0f} archives a second, one {:.0f}: {:.2f} times as many by wall time, {:.2f} times by "
        "processor time ({:.1f} ms an archive with one, {:.1f} ms with two).".format(
            rate(two), rate(one), rate(two) / rate(one),
            2 * (one["workers"] / one["archives"]) / (two["workers"] / two["archives"]),
            one["workers"] / one["archives"] * 1e3, two["workers"] / two["archives"] * 1e3)]


def simulated_table(simulated: Dict[str, Any]) -> List[str]:
    """Where each farm bends."""
    last = simulated["farms"][0]["outcomes"]
    columns = [outcome["workers"] for outcome in last if outcome["workers"] in (10, 100, 1000, 10_000)]
    lines = ["| farm | {} | bends at | busy there |".format(" | ".join("{:,} workers".format(n) for n in columns)),
             "| --- |{} --- | --- |".format(" --- |" * len(columns))]
    for farm in simulated["farms"]:
        speedups = {outcome["workers"]: outcome["speedup"] for outcome in farm["outcomes"]}
        bend = farm["bend"]
        lines.append("| {} | {} | {} | {} |".format(
            farm["farm"], " | ".join("{:,.0f}".format(speedups[n]) if n in speedups else "–" for n in columns),
            "{:,} workers".format(bend["workers"]) if bend["workers"] else "–", bend["by"] or "–"))
    return lines


def write_page(page: Path, lines: List[str]) -> None:
    """Puts the figures between their marks."""
    text = page.read_text(encoding="utf-8")
    before, _, rest = text.partition(BEGIN)
    _, mark, after = rest.partition(END)
    if not mark:
        raise ValueError("{} has no marks for the figures".format(page))
    page.write_text("\n".join([before + BEGIN, "", *lines, "", mark + after]), encoding="utf-8")


def draw(measured: Dict[str, Any], simulated: Dict[str, Any], picture: Path) -> None:
    """Measured and simulated speed-up over the number of workers."""
    matplotlib.rcParams.update({"svg.hashsalt": "farm", "svg.fonttype": "none", "font.size": 10})
    figure, (left, right) = pyplot.subplots(1, 2, figsize=(10, 4.2), gridspec_kw={"width_ratios": [1, 2.2]})
    left.bar(["1", "2"], [rate(measured["one"]), rate(measured["two"])], color=COLOURS[2], width=0.6)
    left.set(title="Measured", xlabel="workers", ylabel="archives a second")
    right.plot([1, 10_000], [1, 10_000], color="#999999", linestyle=":", label="as many times as workers")
    for colour, farm in zip(COLOURS, simulated["farms"]):
        outcomes = farm["outcomes"]
        right.plot([outcome["workers"] for outcome in outcomes], [outcome["speedup"] for outcome in outcomes],
                   color=colour, marker="o", markersize=3, label=farm["farm"])
    right.set(title="Simulated, 10,000 archives a worker", xlabel="workers", ylabel="speed-up", xscale="log",
              yscale="log")
    right.legend(frameon=False, fontsize=8)
    for axes in (left, right):
        axes.spines[["top", "right"]].set_visible(False)
    figure.tight_layout()
    figure.savefig(picture, metadata={"Date": None})


def main() -> None:
    """Both from the same figures."""
    measured, simulated = (json.loads(Path(name).read_text()) for name in sys.argv[1:3])
    figures = [*measured_table(measured), "", "Simulated, with speed-ups against one worker:", "",
               *simulated_table(simulated)]
    write_page(Path(sys.argv[3]), figures)
    draw(measured, simulated, Path(sys.argv[4]))


if __name__ == "__main__":
    main()
