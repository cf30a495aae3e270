#!/usr/bin/env bash
# Makes the files of a release: the tarball of the sources with its digests, and the recipes for vcpkg and Conan that
# build it. The timestamp of all files is the day in CHANGELOG.md: the same sources give the same bytes.
# Usage: scripts/release.sh [FOLDER [URL]]    (none: build/dist; the URL is where the tarball will be, none: the folder)
#        scripts/release.sh --check           (makes it in a scratch folder and builds it with both recipes)
#        scripts/release.sh --reproduce       (builds all packages and the tarball twice, elsewhere and later, and compares)
source "$(dirname "$0")/lib.sh"
need python3 git
version=$(scripts/interface.py --version)
day=$(sed -nE "s/^## ${version//./\\.}, ([0-9-]+)\$/\1/p" CHANGELOG.md)
[ -n "$day" ] || { echo "CHANGELOG.md has no day for version $version" >&2; exit 1; }
SOURCE_DATE_EPOCH=$(date -u -d "$day" +%s)
export SOURCE_DATE_EPOCH
readonly version name=qel_unit-$version

# make_release FOLDER [URL]
make_release() {
    local scratch folder
    mkdir -p "$1"
    folder=$(cd "$1" && pwd)
    scratch=$(mktemp -d)
    copy_sources "$scratch/$name"
    tar -C "$scratch" -c --sort=name --owner=0 --group=0 --numeric-owner --mode=u+rwX,go=u-w \
        --mtime="@$SOURCE_DATE_EPOCH" --format=gnu "$name" | gzip -9n >"$folder/$name.tar.gz"
    rm -rf "$scratch"
    (cd "$folder" && sha256sum "$name.tar.gz" >"$name.tar.gz.sha256" && sha512sum "$name.tar.gz" >"$name.tar.gz.sha512")
    for recipe in vcpkg conan; do
        rm -rf "${folder:?}/$recipe"
        cp -r "packaging/$recipe" "$folder/$recipe"
        sed -i -e "s|@VERSION@|$version|g" -e "s|@URL@|${2-file://$folder}|g" \
            -e "s|@SHA256@|$(cut -d' ' -f1 "$folder/$name.tar.gz.sha256")|g" \
            -e "s|@SHA512@|$(cut -d' ' -f1 "$folder/$name.tar.gz.sha512")|g" "$folder/$recipe"/*
    done
}

case "${1:-}" in
--check)
    need g++ gcc cmake ninja-build
    scratch=$(mktemp -d)
    trap 'rm -rf "$scratch"' EXIT
    make_release "$scratch/release"
    python3 -B tests/packaging/recipes_test.py "$scratch/release" "$name"
    ;;
--reproduce)
    need diffoscope-minimal
    scratch=$(mktemp -d)
    trap 'rm -rf "$scratch"' EXIT
    # Builds from the tarball alone; the result must reproduce the tarball.
    make_release "$scratch/release"
    for place in "one 022 UTC" "two/other 002 Asia/Tokyo"; do
        read -r place umask zone <<<"$place"
        (
            umask "$umask"
            export TZ=$zone
            mkdir -p "$scratch/build/$place" "$scratch/$place"
            tar -xzmf "$scratch/release/$name.tar.gz" -C "$scratch/build/$place"
            cd "$scratch/build/$place/$name"
            scripts/release.sh "$scratch/$place" >/dev/null
            scripts/package.sh "$scratch/build/$place/packages" >/dev/null
        )
        rm -r "$scratch/$place"/{vcpkg,conan} # these contain the folder's name
        mv "$scratch/build/$place/packages"/*.deb "$scratch/$place"
    done
    rm -r "$scratch/release"/{vcpkg,conan}
    cmp "$scratch/release/$name.tar.gz" "$scratch/one/$name.tar.gz"
    diffoscope --exclude-directory-metadata=yes "$scratch/one" "$scratch/two/other"
    ls "$scratch/one"
    echo "reproducible: $(find "$scratch/one" -type f | wc -l) files, the same bytes in another folder and at another time"
    ;;
*)
    make_release "${1:-build/dist}" ${2:+"$2"}
    ls -d "${1:-build/dist}"/*
    ;;
esac
