#!/usr/bin/env bash
# Builds the site into build/docs/html. A warning is an error (for example a function, field or code without a comment),
# and so is a local link without a target.
source "$(dirname "$0")/lib.sh"
need doxygen python3
rm -rf build/docs # pages of earlier runs could be targets of links
mkdir -p build
doxygen docs/Doxyfile
scripts/search_index.py build/docs/html
scripts/check_links.py build/docs/html
echo "site: build/docs/html/index.html"
