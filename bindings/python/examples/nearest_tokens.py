# SPDX-License-Identifier: MIT
"""From an archive to the tokens nearest to one of them: nearest_tokens.py [ARCHIVE]"""

import sys
import tempfile
from pathlib import Path

from qel_unit import Archive, SceneMesh, Unit

archive_path = Path(sys.argv[1]) if len(sys.argv) > 1 else Path(__file__).parents[3] / "examples/data/torus.abc"
with Archive(archive_path) as archive, tempfile.TemporaryDirectory() as folder:
    mesh = archive.read_polymesh()
    processed = SceneMesh.from_arrays(mesh.positions, mesh.triangles(), mesh.name)
    processed.export(Path(folder, "tokens.qel"))
    with Unit.load(Path(folder, "tokens.qel")) as unit:
        for number, hops in zip(*unit.query_nearest(unit[600].morton, 5)):
            print(f"{hops} hops: {unit[number]}")
