#!/usr/bin/env bash
# Builds the Debian packages, one for each library and one for development, into build/packages.
source "$(dirname "$0")/lib.sh"
need g++ cmake ninja-build dpkg-dev file gzip
build_for_install
rm -rf build/packages
cpack --config build/package/CPackConfig.cmake -G DEB -B build/packages >/dev/null
rm -rf build/packages/_CPack_Packages
ls build/packages/*.deb
