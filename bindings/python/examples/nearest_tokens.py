# SPDX-License-Identifier: MIT
"""From an archive to the tokens nearest to one of them: nearest_tokens.py ARCHIVE TOKENS (the file to write)"""

import sys

from qel_unit import Archive, SceneMesh, Unit

archive_path, tokens_path = sys.argv[1:]
with Archive(archive_path) as archive, archive.read_polymesh() as mesh:
    scene_mesh = SceneMesh.from_arrays(mesh.positions, mesh.triangles(), mesh.name)
scene_mesh.export(tokens_path)
with Unit.load(tokens_path) as unit:
    for number, hops in zip(*unit.query_nearest(unit[600].morton, 5)):
        print(f"{hops} hops: {unit[number]}")
