#!/usr/bin/env bash
# Measures each golden job natively and in WebAssembly under Node, without and with SIMD128, and writes the table of
# docs/web.md to standard output: the best of 15 runs of each. Builds what it needs.
# Usage: scripts/bench-web.sh
source "$(dirname "$0")/lib.sh"
need "${build_packages[@]}" googletest emscripten node-acorn
command -v node >/dev/null || need nodejs
for preset in release wasm wasm-simd; do
    cmake --preset "$preset" >/dev/null
    cmake --build --preset "$preset" --target golden_digests >/dev/null
done
export LC_ALL=C # join and sort agree on an order
program=tests/golden/golden_digests
join <(build/release/$program --times | sort) \
    <(join <(cmake/toolchains/run-node.sh build/wasm/$program.js --times | sort) \
        <(cmake/toolchains/run-node.sh build/wasm-simd/$program.js --times | sort)) |
    awk 'BEGIN { print "| job | native, ms | WebAssembly | with SIMD128 |"; print "|---|---|---|---|" }
        { printf "| `%s` | %.4g | %.4g, %.1f × | %.4g, %.1f × |\n", $1, $2, $3, $3 / $2, $4, $4 / $2 }'
