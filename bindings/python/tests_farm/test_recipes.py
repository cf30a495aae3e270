# SPDX-License-Identifier: MIT
"""The recipes of examples/farm work, with the folders of this test for the shared ones."""

import ast
import os
import re
import stat
import subprocess
import sys
from pathlib import Path
from typing import List

import yaml

from .support import PACKAGE, TOOL, Case, Cluster, farm, grid

RECIPES = PACKAGE.parent.parent / "examples" / "farm"
PAGE = PACKAGE.parent.parent / "docs" / "farm.md"


class RecipeTest(Case):
    def setUp(self) -> None:
        super().setUp()
        for i in range(5):
            self.file("shared/shots/s{}/a.abc".format(i % 2) if i < 2 else "shared/shots/b{}.abc".format(i), grid(4, i))
        (self.folder / "bin").mkdir()
        (self.folder / "bin" / "qel").symlink_to(TOOL)
        (self.folder / "bin" / "python3").symlink_to(sys.executable)
        srun = self.file("bin/srun", b'#!/bin/sh\nexec "$@"\n')
        srun.chmod(srun.stat().st_mode | stat.S_IXUSR)

    def run_recipe(self, name: str, *words: str, **variables: str) -> str:
        text = (RECIPES / name).read_text().replace("/shared/bin", str(self.folder / "bin"))
        script = self.file("recipe.sh", text.replace("/shared/", str(self.folder / "shared") + "/").replace(
            "-p /shared ", "-p {} ".format(self.folder / "shared")).encode())
        run = subprocess.run(
            ["bash", str(script), *words], cwd=self.folder, capture_output=True, text=True, timeout=120,
            env={**os.environ, "PATH": "{}:{}".format(self.folder / "bin", os.environ["PATH"]),
                 "PYTHONPATH": str(PACKAGE), **variables})
        self.assertEqual(run.returncode, 0, run.stderr)
        return run.stdout

    def units(self, folder: Path) -> List[str]:
        return sorted(path.parent.relative_to(folder).as_posix() for path in folder.rglob("tokens.qel"))

    def test_one_machine(self) -> None:
        for _ in range(2):  # the second run continues the first
            shown = self.run_recipe("farm_on_one_machine.sh", str(self.folder / "shared" / "shots"), str(self.out))
        self.assertEqual(shown.count(": done before\n"), 10, shown)
        self.assertIn("0 converted, 5 done before, 0 failed", shown)
        self.assertEqual(self.units(self.out / "folder"), ["b2", "b3", "b4", "s0/a", "s1/a"])
        self.assertEqual(len(self.units(self.out / "list")), 5)
        self.assertEqual(self.units(self.out / "farm"), ["b2.abc", "b3.abc", "b4.abc", "s0/a.abc", "s1/a.abc"])

    def test_slurm_array(self) -> None:
        shots = self.folder / "shared" / "shots"
        self.file("shared/archives.txt", "".join("{}\n".format(path) for path in sorted(shots.rglob("*.abc"))).encode())
        for part in "12":
            self.run_recipe("slurm_array.sh", SLURM_ARRAY_TASK_ID=part, SLURM_ARRAY_TASK_COUNT="2",
                            SLURM_CPUS_PER_TASK="2")
        self.assertEqual(self.units(self.folder / "shared" / "tokens"), ["a", "a-2", "b2", "b3", "b4"])

    def test_dask_on_slurm(self) -> None:
        shown = self.run_recipe("dask_on_slurm.sh", SLURM_CPUS_PER_TASK="2")
        self.assertIn("5 archives: 5 converted, 0 done before, 0 failed", shown)
        self.assertEqual(len([line for line in shown.splitlines() if line.endswith("tokens.qel")]), 8)

    def test_the_program_of_the_page(self) -> None:
        (program,) = re.findall(r"(?ms)^```python\n(.*?)^```$", PAGE.read_text())
        cluster = Cluster(self, 1)
        shots = str(self.folder / "shared" / "shots")
        converted = farm("convert", shots, "-o", self.folder / "tokens", "--scheduler", cluster.address)
        self.assertEqual(converted.returncode, 0)
        run = subprocess.run(
            [sys.executable, "-c", program.replace("tcp://head:8786", cluster.address)], cwd=self.folder,
            capture_output=True, text=True, timeout=120, env={**os.environ, "PYTHONPATH": str(PACKAGE)})
        self.assertEqual(run.returncode, 0, run.stderr)
        found = ast.literal_eval(run.stdout)
        self.assertEqual(len(found), 16, "8 of each key")
        self.assertLessEqual(set(found), {unit + "/tokens.qel" for unit in self.units(self.folder / "tokens")})

    def test_dask_on_kubernetes(self) -> None:
        """Without a cluster: the objects, and that what they name fits together."""
        objects = {one["kind"] + " " + one["metadata"]["name"]: one
                   for one in yaml.safe_load_all((RECIPES / "dask_on_kubernetes.yaml").read_text())}
        self.assertEqual(sorted(objects), ["Deployment qel-scheduler", "Deployment qel-worker", "Job qel-convert",
                                           "Service qel-scheduler"])
        for name in ("Deployment qel-scheduler", "Deployment qel-worker"):
            wanted = objects[name]["spec"]
            self.assertEqual(wanted["selector"]["matchLabels"], wanted["template"]["metadata"]["labels"])
        self.assertEqual(objects["Service qel-scheduler"]["spec"]["selector"],
                         objects["Deployment qel-scheduler"]["spec"]["template"]["metadata"]["labels"])
        for name in ("Deployment qel-worker", "Job qel-convert"):
            (container,) = objects[name]["spec"]["template"]["spec"]["containers"]
            self.assertIn("tcp://qel-scheduler:8786", container["command"])
            self.assertEqual(container["volumeMounts"], [{"name": "shared", "mountPath": "/shared"}])
