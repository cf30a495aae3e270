#!/usr/bin/env bash
# Installs Chromium, builds the tool qel and tests the pages of `qel view` and the site
# of the documentation in it. Not part of scripts/test.sh.
# Usage: scripts/test-view.sh [FOLDER]     (keeps the pictures in the folder)
caller=$PWD
source "$(dirname "$0")/lib.sh"
need "${build_packages[@]}" libcli11-dev zlib1g-dev chromium chromium-driver doxygen
cmake --preset release >/dev/null
cmake --build --preset release --target qel
export QEL=$PWD/build/release/tools/qel/qel TORUS=$PWD/examples/data/torus.abc PYTHONDONTWRITEBYTECODE=1
if [ $# -gt 0 ]; then
    SHOTS=$(cd "$caller" && mkdir -p "$1" && cd "$1" && pwd)
    export SHOTS
fi
scripts/docs.sh
SITE=$PWD/build/docs/html python3 -B tests/docs/site_test.py -v
cd tests/tool
python3 -m unittest -v view_test view_moves_test view_answers_test view_limits_test
