#!/usr/bin/env bash
# Installs what is missing, builds and runs the main job: an Alembic archive goes in, tokens come out.
# Usage: scripts/demo.sh [INPUT.abc] [OUTPUT_FOLDER]
caller=$PWD
source "$(dirname "$0")/lib.sh"
need "${build_packages[@]}"
cmake --preset release >/dev/null
cmake --build --preset release --target archive_to_tokens
program=$PWD/build/release/examples/archive_to_tokens
input=${1:-$PWD/examples/data/torus.abc}
output=${2:-$PWD/build/demo}
cd "$caller" # relative paths are the caller's
mkdir -p "$output"
"$program" "$input" "$output"
echo "A file of each format is in $output"
