#!/usr/bin/env bash
# Builds the Debian packages, one for each library, one for development and one of the tool, into build/packages.
source "$(dirname "$0")/lib.sh"
need g++ cmake ninja-build dpkg-dev file gzip libcli11-dev zlib1g-dev
build_for_install
rm -rf build/packages
cpack --config build/package/CPackConfig.cmake -G DEB -B build/packages >/dev/null
rm -rf build/packages/_CPack_Packages
ls build/packages/*.deb
