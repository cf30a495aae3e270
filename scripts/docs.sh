#!/usr/bin/env bash
# Builds the reference into build/docs/html; a function, field or code without its comment is an error.
source "$(dirname "$0")/lib.sh"
need doxygen
mkdir -p build
doxygen docs/Doxyfile
echo "reference: build/docs/html/index.html"
