#!/usr/bin/env bash
# Generates the archives in examples/data. The bytes of harbour.abc are the same on every machine; those of torus.abc
# depend on the C library's sine.
# Usage: scripts/make-examples.sh [FOLDER]
caller=$PWD
source "$(dirname "$0")/lib.sh"
need "${build_packages[@]}"
cmake --preset release >/dev/null
cmake --build --preset release --target make_scene_archive make_torus_archive
programs=$PWD/build/release/tests
folder=${1:-$PWD/examples/data}
cd "$caller" # relative paths are the caller's
mkdir -p "$folder"
"$programs/make_scene_archive" "$folder/harbour.abc"
"$programs/make_torus_archive" "$folder/torus.abc"
