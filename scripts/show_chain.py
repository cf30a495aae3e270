# SPDX-License-Identifier: MIT
"""show_chain.py QEL INPUT.abc FOLDER: prints an archive's contents, converts it, queries its tokens, makes a page."""

import json
import os
import shlex
import subprocess
import sys

QUERIES = ("0,0,0", "23,23,23", "47,47,47")  # cells of the lattice: a corner, the middle, the opposite corner
LISTED = 40  # meshes; the others are counted


def run(*call):
    """The output of a call. If it fails, this program ends with the same status; the call has printed the reason."""
    done = subprocess.run(call, stdout=subprocess.PIPE, encoding="utf-8")
    if done.returncode != 0:
        sys.exit(done.returncode)
    return done.stdout


def show_meshes(about):
    row = "{:<44} {:>8} {:>7} {:>7}  {}"
    print(row.format("MESH", "VERTICES", "FACES", "SAMPLES", "CHANGES"))
    meshes = [mesh for mesh in about["meshes"] if mesh["visible"]]
    for mesh in meshes[:LISTED]:
        print(row.format(mesh["path"][-44:], mesh["vertices"], mesh["faces"], mesh["samples"], mesh["changes"]))
    if len(meshes) > LISTED:
        print(f"and {len(meshes) - LISTED} more")


def main(qel, archive, folder):
    about = json.loads(run(qel, "info", "--json", archive))
    print(f"{archive}: {about['objects']} objects, {about['frames']} frames at {about['frames_a_second']:g} a second\n")
    show_meshes(about)
    print("\n" + run(qel, "convert", archive, "-o", folder), end="")
    unit = os.path.join(folder, "tokens.qel")
    print("\nThe first two digits of a token's identity are its mesh, the others its vertex.")
    for place in QUERIES:
        print(f"\nNearest to the cell {place}:")
        print(run(qel, "nearest", unit, place, "-k", "3"), end="")
    page = os.path.join(folder, "page.html")
    print(f"\nA file of each format is in {folder}. To see the scene beside its tokens:")
    print(f"  {shlex.join([qel, 'view', archive, '-o', page])} && xdg-open {shlex.quote(page)}")


if __name__ == "__main__":
    sys.stdout.reconfigure(encoding="utf-8", errors="replace")
    main(*sys.argv[1:])
