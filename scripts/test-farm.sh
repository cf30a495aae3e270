#!/usr/bin/env bash
# Installs missing packages, builds the libraries and the tool, and tests the farm: schedulers and workers are processes
# on 127.0.0.1. Then checks the recipes of docs/farm.md.
source "$(dirname "$0")/lib.sh"
need "${build_packages[@]}" libcli11-dev zlib1g-dev python3-distributed python3-dask python3-numpy python3-matplotlib python3-yaml mypy
cmake --preset release >/dev/null
cmake --build --preset release --target qel_unit --target qel_archive --target qel
export QEL_UNIT_LIBRARY=$PWD/build/release/src/libqel_unit.so QEL_TOOL=$PWD/build/release/tools/qel/qel PYTHONDONTWRITEBYTECODE=1
cd bindings/python
mypy --cache-dir=../../build/mypy tests_farm # with its imports; scripts/test-python.sh checks the rest
/usr/bin/python3 -m tests_farm -v
