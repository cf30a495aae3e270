#!/usr/bin/env bash
# Builds the Python wheel, which contains both libraries and has no dependencies, into a folder.
# Usage: scripts/make-wheel.sh [FOLDER]     (none: build/wheel)
source "$(dirname "$0")/lib.sh"
need g++ cmake ninja-build python3 python3-pip python3-setuptools python3-wheel
mkdir -p "${1:-build/wheel}"
folder=$(cd "${1:-build/wheel}" && pwd)
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
build_for_install --target qel_unit --target qel_archive >/dev/null
# A copy, because a build writes into its sources.
cp -r bindings/python "$scratch/source"
find "$scratch/source" -name __pycache__ -prune -exec rm -rf {} +
for component in runtime archive_runtime; do
    cmake --install build/package --prefix "$scratch/prefix" --component $component --strip >/dev/null
done
for library in qel_unit qel_archive; do
    cp --dereference "$(find "$scratch/prefix" -name "lib$library.so.?")" "$scratch/source/qel_unit/lib$library.so"
done
platform=$(/usr/bin/python3 -c 'import sysconfig; print(sysconfig.get_platform().replace("-", "_"))')
/usr/bin/python3 -m pip wheel --quiet --no-build-isolation --no-deps --no-index -w "$folder" \
    --config-settings="--build-option=--plat-name=$platform" "$scratch/source"
ls "$folder"/qel_unit-*"$platform".whl
