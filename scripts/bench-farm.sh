#!/usr/bin/env bash
# Measures the overhead of the farm, simulates its scaling, and writes the figures and the picture of docs/farm.md.
# Asserts nothing.
# Usage: scripts/bench-farm.sh [ARCHIVES]     (none: 10,000, which take some minutes)
source "$(dirname "$0")/lib.sh"
need "${build_packages[@]}" libcli11-dev zlib1g-dev python3-distributed python3-dask python3-numpy python3-matplotlib
cmake --preset release >/dev/null
cmake --build --preset release --target qel_unit --target qel_archive --target qel
export QEL_UNIT_LIBRARY=$PWD/build/release/src/libqel_unit.so QEL_TOOL=$PWD/build/release/tools/qel/qel PYTHONDONTWRITEBYTECODE=1
figures=$PWD/build/farm page=$PWD/docs/farm.md picture=$PWD/docs/images/farm-scaling.svg
mkdir -p "$figures"
cd bindings/python/benchmarks
/usr/bin/python3 farm_measure.py "$figures/measured.json" "$@"
/usr/bin/python3 farm_simulation.py "$figures/measured.json" "$figures/simulated.json"
/usr/bin/python3 farm_page.py "$figures/measured.json" "$figures/simulated.json" "$page" "$picture"
echo "figures: $page, $picture"
