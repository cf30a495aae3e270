#!/usr/bin/env bash
# Breaks the library in many small ways, one after the other, and fails when one of them goes unnoticed by the tests.
# Usage: scripts/mutate.sh [PART OF A SOURCE'S PATH]... [--part I/N] [--check]   (see tests/mutation/mutate.py)
source "$(dirname "$0")/lib.sh"
need "${build_packages[@]}" python3 git
exec python3 tests/mutation/mutate.py "$@"
