#!/usr/bin/env bash
# Measures each golden job natively and in WebAssembly under Node, without and with SIMD128, and writes the table of
# docs/web.md: the best of 15 measurements, each of which repeats the job until a millisecond has passed. Waits for an
# idle machine first, like scripts/bench.sh. Builds what it needs. Usage: scripts/bench-web.sh            half a minute
# without the builds
#        scripts/bench-web.sh --quick    does not wait and writes nothing
source "$(dirname "$0")/lib.sh"
need "${build_packages[@]}" googletest emscripten node-acorn
command -v node >/dev/null || need nodejs
export PYTHONDONTWRITEBYTECODE=1
for preset in release wasm wasm-simd; do
    cmake --preset "$preset" >/dev/null
    cmake --build --preset "$preset" --target golden_digests >/dev/null
done
page=(docs/web.md)
if [ "${1:-}" = --quick ]; then
    page=()
else
    look_at_load
fi
figures=build/web/times program=tests/golden/golden_digests
mkdir -p $figures
build/release/$program --times >$figures/native
for preset in wasm wasm-simd; do
    cmake/toolchains/run-node.sh build/$preset/$program.js --times >$figures/$preset
done
python3 bench/web.py $figures/{native,wasm,wasm-simd} "${page[@]}"
