#!/usr/bin/env bash
# Measures the times that users wait for: commands of the tool on the example scene and on an archive of 1 GB, the first
# answer of `qel nearest`, calls from Python compared with calls from C, the load of the libraries. Writes the tables of
# docs/users-times.md.
# Usage: scripts/bench-users.sh            waits for an idle machine first, like scripts/bench.sh
#        scripts/bench-users.sh --quick    an archive of 20 MB, one round; nothing is written
# Files are made below TMPDIR: 5 GB of them.
source "$(dirname "$0")/lib.sh"
need "${build_packages[@]}" libbenchmark-dev libboost1.81-dev libeigen3-dev libcli11-dev zlib1g-dev binutils python3 python3-numpy
export PYTHONDONTWRITEBYTECODE=1
cmake --preset release >/dev/null
cmake --build --preset release --target qel
cmake --preset bench >/dev/null
cmake --build --preset bench --target qel_users_bench
export QEL=$PWD/build/release/tools/qel/qel USERS_BENCH=$PWD/build/bench/bench/qel_users_bench
export QEL_UNIT_LIBRARY=$PWD/build/release/src/libqel_unit.so
if [ "${1:-}" = --quick ]; then
    /usr/bin/python3 bench/users.py --quick >/dev/null # Debian's Python, which has NumPy
    echo "users' times: every row ran"
else
    look_at_load
    /usr/bin/python3 bench/users.py --page docs/users-times.md
fi
