#!/bin/sh
# Runs a program of emscripten under Node: run-node.sh PROGRAM [ARGUMENT...]
# The loader of emscripten 3.1.6 takes Node's own fetch, which reads no files, for a browser's.
if node --no-experimental-fetch -e 0 2>/dev/null; then
    exec node --no-experimental-fetch "$@"
fi
exec node "$@"
