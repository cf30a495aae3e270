#!/usr/bin/env bash
# Counts the cache misses of lookups and nearest queries in a unit of a million tokens, by callgrind's cache model: a
# first level of 32 KiB, a last level of 32 MiB. Counts do not depend on the load of the machine and need no hardware
# counters. Writes the table "cache" of docs/benchmarks.md.
# Usage: scripts/cache-model.sh [--print]    (--print: writes nothing)
source "$(dirname "$0")/lib.sh"
need "${build_packages[@]}" libbenchmark-dev libboost1.81-dev libeigen3-dev valgrind
export PYTHONDONTWRITEBYTECODE=1
tokens=1000000 calls=20000 # per round, of three rounds; a tenth of them for nearest queries
cmake --preset bench >/dev/null
cmake --build --preset bench --target qel_users_bench >/dev/null
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
build/bench/bench/qel_users_bench inputs "$scratch" 1 "$tokens"
valgrind --quiet --tool=callgrind --cache-sim=yes --D1=32768,8,64 --LL=33554432,16,64 \
    --callgrind-out-file="$scratch/calls" build/bench/bench/qel_users_bench calls "$scratch/tokens.qel" "$calls" >/dev/null 2>&1
callgrind_annotate --inclusive=yes --threshold=100 --show=Ir,Dr,D1mr,DLmr --show-percs=no "$scratch/calls" |
    /usr/bin/python3 bench/cache_table.py "$calls" ${1:+--print}
