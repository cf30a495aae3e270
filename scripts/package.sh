#!/usr/bin/env bash
# Builds the Debian packages, one for each library and one for development, into build/packages.
source "$(dirname "$0")/lib.sh"
need g++ cmake ninja-build dpkg-dev file gzip
cmake -S . -B build/package -G Ninja -DBUILD_TESTING=OFF -DQEL_UNIT_TOOLS=OFF -DCMAKE_BUILD_TYPE=RelWithDebInfo \
    -DCMAKE_INSTALL_PREFIX=/usr >/dev/null # /usr: Debian's folder for libraries depends on it
cmake --build build/package
rm -rf build/packages
cpack --config build/package/CPackConfig.cmake -G DEB -B build/packages >/dev/null
rm -rf build/packages/_CPack_Packages
ls build/packages/*.deb
