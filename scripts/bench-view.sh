#!/usr/bin/env bash
# Installs Chromium, builds the tool qel and measures its pages in Chromium; prints the table of docs/tool.md.
# Usage: scripts/bench-view.sh [FILE...]   sheets of up to 15 million triangles and the example archives, or these files
#        ROUNDS=5 SHEETS="225 708"         rounds of each file (3), and vertices on a side of the sheets
files=()
for file in "$@"; do files+=("$(realpath "$file")"); done
source "$(dirname "$0")/lib.sh"
need "${build_packages[@]}" libcli11-dev zlib1g-dev chromium chromium-driver
cmake --preset release >/dev/null
cmake --build --preset release --target qel
export QEL=$PWD/build/release/tools/qel/qel PYTHONDONTWRITEBYTECODE=1
exec python3 tests/tool/measure_view.py "${files[@]}"
