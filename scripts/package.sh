#!/usr/bin/env bash
# Builds the Debian packages, one for each library, one for development, one of the tool and one for Python, into
# build/packages. Their timestamps are the day in CHANGELOG.md, and the same sources give the same bytes in every
# folder. Usage: scripts/package.sh [FOLDER]     (the build folder; none: build/debian)
source "$(dirname "$0")/lib.sh"
need g++ cmake ninja-build debhelper dh-python pybuild-plugin-pyproject python3-all python3-setuptools libcli11-dev zlib1g-dev
folder=${1:-build/debian}
version=$(scripts/interface.py --version)
readonly folder sources=$folder/qel-unit-$version
rm -rf "$folder"
copy_sources "$sources"
cp -r packaging/debian "$sources/debian"
sed -nE 's/^## ([0-9.]+), ([0-9-]+)$/\1 \2/p' CHANGELOG.md | while read -r release day; do
    printf 'qel-unit (%s) unstable; urgency=medium\n\n  * The changes are in CHANGELOG.md of the sources.\n\n' "$release"
    printf ' -- %s  %s\n\n' "$(sed -n 's/^Maintainer: //p' packaging/debian/control)" "$(LC_ALL=C date -u -R -d "$day")"
done >"$sources/debian/changelog"
# The system's own Python comes first in the path.
(cd "$sources" && PATH=/usr/sbin:/usr/bin:/sbin:/bin DEB_BUILD_OPTIONS=noautodbgsym dpkg-buildpackage --build=binary --no-sign >../log 2>&1) || {
    tail -20 "$folder/log" >&2
    exit 1
}
if [ $# -eq 0 ]; then
    rm -rf build/packages
    mkdir build/packages
    mv "$folder"/*.deb build/packages
    ls build/packages/*.deb
fi
