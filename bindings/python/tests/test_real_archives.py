# SPDX-License-Identifier: MIT
"""Real archives, if the folder exists: all of their contents can be read and are consistent."""

import os
import unittest
from pathlib import Path
from typing import Any, List

from qel_unit import ArchiveObject, open_archive

from .support import ROOT, Case

FOLDER = Path(os.environ.get("QEL_REAL_ARCHIVES", str(ROOT.parent / "shared" / "archives")))
ARCHIVES: List[Path] = sorted(FOLDER.glob("*.abc"))


@unittest.skipUnless(ARCHIVES, "needs the folder of real archives")
class RealArchives(Case):
    def check_properties(self, found: ArchiveObject) -> None:
        for name, one in found.properties.items():
            self.assertEqual(one.name, name)
            times = one.times.tolist()
            self.assertEqual(times, sorted(times))
            for sample in {0, len(one.samples) - 1} if len(one.samples) else ():
                values: Any = one.samples[sample]
                if one.values != "text" and one.extent > 1 and len(values) > 0:  # no memory view is empty in rows
                    self.assertEqual(values.shape[-1], one.extent)

    def check_mesh(self, found: ArchiveObject) -> None:
        info, stored = found.mesh_info(), found.properties[".geom/P"].samples
        self.assertEqual(info.sample_count, len(stored))
        for sample in {0, info.sample_count - 1}:
            with found.mesh(sample) as mesh:
                positions = mesh.positions
                plain = b"" if positions is None else positions.tobytes()
                self.assertEqual(plain, stored[sample].tobytes())
                self.assertGreaterEqual(len(mesh.triangles()), 0)

    def test_are_read_whole(self) -> None:
        for path in ARCHIVES:
            with self.subTest(path.name), open_archive(path) as archive:
                for found in archive:
                    self.assertEqual(archive[found.path], found)
                    self.assertIn(found.visible(archive.time_range.start), (True, False))
                    self.assertEqual(found.world_transform(archive.time_range.end).shape, (4, 4))
                    self.check_properties(found)
                meshes = list(archive.meshes())
                self.assertEqual(len(meshes), archive.info.mesh_count)
                for found in meshes:
                    self.check_mesh(found)
