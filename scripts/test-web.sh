#!/usr/bin/env bash
# Builds the libraries for WebAssembly, without and with SIMD128, and runs the golden digests under Node. Installs what
# it needs.
# Usage: scripts/test-web.sh
source "$(dirname "$0")/lib.sh"
need g++ cmake ninja-build python3 googletest emscripten node-acorn
command -v node >/dev/null || need nodejs
for preset in wasm wasm-simd; do
    cmake --preset "$preset" >/dev/null
    cmake --build --preset "$preset" --target golden_digests
    ctest --preset "$preset" -R '^golden.Digests$'
done
