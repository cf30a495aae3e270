#!/usr/bin/env bash
# Mutates the libraries in many small ways, one at a time, and fails if the tests do not detect one of the mutants.
# Usage: scripts/mutate.sh [PART OF A SOURCE'S OR FUNCTION'S NAME]... [--check | --sample N | --plausible | --help]
source "$(dirname "$0")/lib.sh"
need "${build_packages[@]}" python3 lld
exec python3 tests/mutation/mutate.py "$@"
