#!/usr/bin/env bash
# Builds for WebAssembly and makes the npm package in build/web/package and the page in build/web/page. Installs what it
# needs; esbuild and TypeScript, in the versions of web/package-lock.json, go to build/web/npm.
# Usage: scripts/make-web.sh
source "$(dirname "$0")/lib.sh"
need g++ cmake ninja-build python3 googletest emscripten node-acorn
command -v npm >/dev/null || need nodejs npm
for preset in wasm wasm-simd; do
    cmake --preset "$preset" >/dev/null
    cmake --build --preset "$preset" --target qel_module
done
cmake --build --preset wasm --target qel_page_engine

made=build/web plain=build/wasm/bindings/javascript simd=build/wasm-simd/bindings/javascript
cmp $plain/qel_module.js $simd/qel_module.js # both use one loader
rm -rf $made/package $made/page
mkdir -p $made/package $made/page $made/npm
cp bindings/javascript/{*.js,*.d.ts,package.json,README.md} LICENSE $made/package
cp $plain/qel_module.wasm $made/package/qel.wasm
cp $simd/qel_module.wasm $made/package/qel-simd.wasm
# The loader would take a global `process` for Node.
{ echo 'var process;'; cat $plain/qel_module.js; echo 'export default createModule;'; } >$made/package/qel.js

cp web/package.json web/package-lock.json $made/npm
[ $made/npm/node_modules/.package-lock.json -nt web/package-lock.json ] ||
    npm ci --prefix $made/npm --silent --no-audit --no-fund
node web/build.mjs $made/npm build/wasm/web $made/page
ls -l $made/package/*.wasm $made/page
