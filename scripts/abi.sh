#!/usr/bin/env bash
# Checks that programs built with an earlier release of this major version keep working: its headers, functions and
# records are kept, its headers compile against the new libraries, and the new headers against its libraries.
# packaging/interface has a folder for each release: its headers, and abidw's dumps of its libraries on x86-64.
# Another major version has other SONAMEs and is not compared.
# Usage: scripts/abi.sh [--write]     (--write makes the folder of the present version, before its release)
source "$(dirname "$0")/lib.sh"
need "${build_packages[@]}" gcc git abigail-tools
# The preset that does not merge functions of equal code: of two at one address, abidw records only one.
export CCACHE_DISABLE=1 # scripts/stack.sh uses the same folder
cmake --preset stack >/dev/null
cmake --build --preset stack >/dev/null
readonly built=build/stack/src harbour=examples/data/harbour.abc
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
version=$(scripts/interface.py --version)
readonly scratch version

# dump LIBRARY HEADERS FILE: the interface of a library.
dump() {
    abidw --exported-interfaces-only --drop-private-types --headers-dir "$2" --no-corpus-path --no-comp-dir-path \
        --no-show-locs --no-elf-needed --no-parameter-names --type-id-style hash "$1" |
        sed "s|path='[^']*src/|path='src/|" >"$3"
    ! grep "path='/" "$3" || { echo "the dump of $1 names folders of this machine" >&2; exit 1; }
}

# runs HEADERS LIBRARIES: compiles the programs in C with the headers and runs them with the libraries.
runs() {
    local program libraries
    for program in unit_round_trip archive_mesh; do
        libraries=(-lqel_unit)
        [ $program = unit_round_trip ] || libraries=(-lqel_archive -lqel_unit)
        gcc -std=c99 -Wall -Wextra -Wpedantic -Werror -I"$1" tests/consumers/$program.c -L"$2" "${libraries[@]}" \
            -o "$scratch/$program"
    done
    LD_LIBRARY_PATH=$2 "$scratch/unit_round_trip" "$scratch/unit.qel" >/dev/null
    LD_LIBRARY_PATH=$2 "$scratch/archive_mesh" "$harbour" >/dev/null
}

# old_libraries VERSION: builds the libraries of a release from its tag into the scratch folder.
old_libraries() {
    mkdir "$scratch/$1"
    git archive "v$1" | tar -x -C "$scratch/$1"
    cmake -S "$scratch/$1" -B "$scratch/$1/build" -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo -DBUILD_TESTING=OFF \
        -DQEL_UNIT_TOOLS=OFF >/dev/null
    cmake --build "$scratch/$1/build" >/dev/null
}

functions=0
for library in qel_unit qel_archive; do
    dump $built/lib$library.so include "$scratch/lib$library.abi"
    functions=$((functions + $(grep -c '<function-decl .*elf-symbol-id' "$scratch/lib$library.abi")))
done
wanted=$(scripts/interface.py | wc -l)
[ "$functions" -eq "$wanted" ] || { echo "abidw sees $functions of $wanted functions: no debug information?" >&2; exit 1; }

if [ "${1:-}" = --write ]; then
    [ "$(uname -m)" = x86_64 ] || { echo "the dumps are those of x86-64" >&2; exit 2; }
    ! git rev-parse -q --verify "refs/tags/v$version" >/dev/null || { echo "$version is released" >&2; exit 2; }
    mkdir -p "packaging/interface/$version"
    cp include/*.h "$scratch"/libqel_*.abi "packaging/interface/$version"
    echo "packaging/interface/$version: the interface of $functions functions"
    exit
fi

scripts/check_interface.py
for folder in packaging/interface/"${version%%.*}".*/; do
    release=$(basename "$folder")
    runs "$folder" $built
    echo "$release: programs built with its headers run with these libraries"
    if [ "$(uname -m)" = x86_64 ]; then
        for library in qel_unit qel_archive; do
            # It also exits with 0 if it cannot read a dump: only empty output means that nothing was broken.
            abidiff --no-added-syms "$folder/lib$library.abi" "$scratch/lib$library.abi" >"$scratch/news" 2>&1 || true
            [ ! -s "$scratch/news" ] || { cat "$scratch/news" >&2; echo "lib$library breaks programs built with $release" >&2; exit 1; }
        done
        echo "$release: its functions and records are those of these libraries"
    fi
    if [ "$release" = "$version" ]; then
        continue # these are the release's libraries
    elif git rev-parse -q --verify "refs/tags/v$release" >/dev/null; then
        old_libraries "$release"
        runs include "$scratch/$release/build/src"
        echo "$release: programs built with these headers run with its libraries"
    else
        echo "$release: its libraries are not tried, this clone has no tag v$release" >&2
    fi
done
