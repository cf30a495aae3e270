#!/usr/bin/env bash
# Builds the benchmarks and measures how the time of jobs grows: each at seven sizes from a thousand elements on. A
# whole run waits for an idle machine like scripts/bench.sh, then writes the table of docs/growth.md, the points
# (bench/growth.json) and a chart of each job (docs/images/growth). Usage: scripts/bench-growth.sh [FILTER]   only the
# jobs that match the regular expression; nothing is written
#        scripts/bench-growth.sh --quick    the smallest size, one round, charts into a folder that is removed
#        scripts/bench-growth.sh --charts   only draws the charts again, from the points
# Files are made below TMPDIR: up to 6 GB of them; a job takes up to 8 GiB of memory.
source "$(dirname "$0")/lib.sh"
need "${build_packages[@]}" libbenchmark-dev libboost1.81-dev libeigen3-dev python3 python3-matplotlib
export PYTHONDONTWRITEBYTECODE=1
program=build/bench/bench/qel_unit_bench results=build/bench/growth-results.json
page=docs/growth.md points=bench/growth.json charts=docs/images/growth
draw() { /usr/bin/python3 bench/charts.py "$@"; } # Debian's Python, which has Matplotlib
if [ "${1:-}" = --charts ]; then
    draw "$points" "$charts"
    exit
fi
cmake --preset bench >/dev/null
cmake --build --preset bench

options=(--growth --benchmark_out="$results" --benchmark_out_format=json)
case ${1:-} in
--quick)
    scratch=$(mktemp -d)
    trap 'rm -rf "$scratch"' EXIT
    cp "$page" "$scratch"
    "$program" --quick "${options[@]}"
    python3 bench/growth.py "$results" "$scratch/growth.md" "$scratch/points.json" >/dev/null
    draw "$scratch/points.json" "$scratch/charts"
    ;;
?*) "$program" --benchmark_filter="$1" "${options[@]}" && python3 bench/growth.py "$results" ;;
*)
    look_at_load
    "$program" "${options[@]}"
    python3 bench/growth.py "$results" "$page" "$points"
    draw "$points" "$charts"
    ;;
esac
