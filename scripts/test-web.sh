#!/usr/bin/env bash
# Builds for WebAssembly, without and with SIMD128, and tests it: the test programs of the libraries under Node, the golden
# digests there and in Chromium, the npm package, and the page that opens dropped files. Installs what it needs.
# docs/platforms.md has the duration.
# Usage: scripts/test-web.sh            all of it
#        scripts/test-web.sh --quick    without the test programs
source "$(dirname "$0")/lib.sh"
need "${build_packages[@]}" libcli11-dev zlib1g-dev googletest emscripten node-acorn chromium chromium-driver
command -v npm >/dev/null || need nodejs npm
scripts/make-web.sh
for preset in wasm wasm-simd; do
    cmake --build --preset "$preset" --target golden_digests --target golden_digests_page
    ctest --preset "$preset" -R '^golden.Digests$'
    [ "${1:-}" != --quick ] || continue
    cmake --build --preset "$preset" --target qel_test_programs
    ctest --preset "$preset" -R '[.]tests$'
done
cmake --preset release >/dev/null
cmake --build --preset release --target qel
export SOURCE=$PWD PACKAGE=$PWD/build/web/package NPM=$PWD/build/web/npm PAGE=$PWD/build/web/page/index.html
export QEL=$PWD/build/release/tools/qel/qel PYTHONDONTWRITEBYTECODE=1
cd tests/web
python3 -m unittest -v golden_test package_test dropped_test
