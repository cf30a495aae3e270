# SPDX-License-Identifier: MIT
"""The scripts of the page's figures: small measurements, and a simulation whose results are known."""

import json
import subprocess
import sys
from pathlib import Path

import numpy

from benchmarks.farm_simulation import Costs, Farm, bend, simulate

from .support import PACKAGE, Case

SCRIPTS = PACKAGE / "benchmarks"


class SimulationTest(Case):
    def outcome(self, farm: Farm, workers: int, **costs: float) -> float:
        known = Costs(numpy.full(100, 0.01), **{
            "scheduler_task": 0.0, "scheduler_beat": 0.0, "client_archive": 0.0, "archive_bytes": 0.0, **costs})
        return simulate(farm, workers, known, numpy.random.default_rng(1)).speedup

    def test_without_costs_each_worker_counts(self) -> None:
        for workers in (1, 10, 500):
            self.assertAlmostEqual(self.outcome(Farm("", None), workers) / workers, 1.0, 6)

    def test_what_all_share_bounds_the_speed_up(self) -> None:
        for farm, costs, limit in (
                (Farm("", None), {"client_archive": 0.0001}, 100), (Farm("", None), {"scheduler_task": 0.02}, 100),
                (Farm("", 1e8), {"archive_bytes": 1e4}, 100), (Farm("", None, 20.0), {"scheduler_task": 0.02}, 1000),
                (Farm("", None, 2.0, 10), {"client_archive": 0.0001}, 1000)):
            self.assertGreater(self.outcome(farm, limit // 10, **costs), 0.08 * limit)
            reached = self.outcome(farm, 5000, **costs)
            self.assertTrue(0.9 * limit < reached < 1.1 * limit, (farm, costs, reached))

    def test_the_point_of_diminishing_return_is_reported(self) -> None:
        costs = Costs(numpy.full(100, 0.01), 0.0, 0.0, 0.0001, 0.0)
        outcomes = [simulate(Farm("", None), workers, costs, numpy.random.default_rng(1))
                    for workers in (1, 50, 200, 1000)]
        self.assertEqual(bend(outcomes), {"workers": 200, "by": "client"})
        self.assertEqual(bend(outcomes[:2]), {"workers": None, "by": ""})


class ScriptsTest(Case):
    def test_measured_figures_become_a_page_and_a_picture(self) -> None:
        names = [str(self.folder / name) for name in ("measured.json", "simulated.json", "page.md", "picture.svg")]
        self.file("page.md",
                  b"before\n<!-- figures: scripts/bench-farm.sh -->\nold\n<!-- end of figures -->\nafter\n")
        steps = (("farm_measure", names[0], "40"), ("farm_simulation", *names[:2]), ("farm_page", *names))
        for script, *words in steps:
            subprocess.run([sys.executable, str(SCRIPTS / (script + ".py")), *words], check=True, timeout=150)
        measured = json.loads(Path(names[0]).read_text())
        self.assertEqual(measured["two"]["archives"], 40)
        self.assertEqual(len(measured["two"]["service"]), 40)
        self.assertEqual(measured["one"]["archives"], 10)
        for key in ("scheduler", "client", "workers", "wall", "bytes"):
            self.assertGreater(measured["two"][key], 0, key)
        page = Path(names[2]).read_text()
        self.assertTrue(page.startswith("before\n<!-- figures"), page)
        self.assertTrue(page.endswith("<!-- end of figures -->\nafter\n"), page)
        self.assertIn("| storage of 10 GB/s | ", page)
        self.assertNotIn("old", page)
        self.assertIn("<svg", Path(names[3]).read_text())
