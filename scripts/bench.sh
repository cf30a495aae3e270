#!/usr/bin/env bash
# Builds the benchmarks, runs them and prints the table; a whole run also writes it into docs/benchmarks.md. It waits up
# to five minutes for a load average below 0.3; if the load stays above, it writes "busy" into the page. Usage:
# scripts/bench.sh [FILTER]   only the rows that match the regular expression; nothing is written
#        scripts/bench.sh --quick    tiny inputs, one round: checks that every row runs; nothing is written
# Files are made below TMPDIR.
source "$(dirname "$0")/lib.sh"
need "${build_packages[@]}" libbenchmark-dev libboost1.81-dev libeigen3-dev python3
export PYTHONDONTWRITEBYTECODE=1
cmake --preset bench >/dev/null
cmake --build --preset bench

program=build/bench/bench/qel_unit_bench results=build/bench/results.json
options=(--benchmark_out="$results" --benchmark_out_format=json)
case ${1:-} in
--quick) "$program" --quick "${options[@]}" && python3 bench/table.py "$results" >/dev/null ;;
?*) "$program" --benchmark_filter="$1" "${options[@]}" && python3 bench/table.py "$results" ;;
*)
    look_at_load
    "$program" "${options[@]}" && python3 bench/table.py "$results" docs/benchmarks.md
    ;;
esac
