#!/usr/bin/env bash
# Breaks the libraries in many small ways, one after the other, and fails when one of them goes unnoticed by the tests.
# Usage: scripts/mutate.sh [PART OF A SOURCE'S OR FUNCTION'S NAME]... [--check | --sample N | --plausible | --help]
source "$(dirname "$0")/lib.sh"
need "${build_packages[@]}" python3 lld
exec python3 tests/mutation/mutate.py "$@"
