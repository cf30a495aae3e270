#!/bin/sh
# Runs a program of emscripten under Node: run-node.sh PROGRAM [ARGUMENT...]
# The loader of emscripten 3.1.6 takes Node's own fetch, which reads no files, for a browser's.
for option in --no-experimental-fetch; do
    node "$option" -e 0 2>/dev/null && set -- "$option" "$@"
done
exec node "$@"
