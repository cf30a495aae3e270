#!/usr/bin/env bash
# Installs missing packages, builds and runs the main job: converts every mesh of an Alembic archive into tokens, a
# scene over time and mesh caches, and runs queries over the tokens.
# Usage: scripts/demo.sh [INPUT.abc] [OUTPUT_FOLDER]
caller=$PWD
source "$(dirname "$0")/lib.sh"
need "${build_packages[@]}" libcli11-dev
cmake --preset release >/dev/null
cmake --build --preset release --target qel
project=$PWD
input=${1:-$PWD/examples/data/harbour.abc}
output=${2:-$PWD/build/demo}
cd "$caller" # relative paths are the caller's
python3 -B "$project/scripts/show_chain.py" "$project/build/release/tools/qel/qel" "$input" "$output"
