#!/usr/bin/env bash
# Installs missing packages, builds and runs all tests.
# Usage: scripts/test.sh [PRESET]   (release, debug, clang, asan-ubsan)
source "$(dirname "$0")/lib.sh"
preset=${1:-release}
need "${build_packages[@]}" libcli11-dev zlib1g-dev locales pkg-config zsh
[ "$preset" != clang ] || need clang
cmake --preset "$preset"
cmake --build --preset "$preset"
ctest --preset "$preset"
