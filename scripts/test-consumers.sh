#!/usr/bin/env bash
# Installs the libraries in every supported way and builds and runs outside programs against each installation:
# find_package, pkg-config, dlopen, a moved prefix, the static library, both linkages in one prefix, add_subdirectory,
# FetchContent, a parent's sanitizers, one translation unit, Debian packages.
# Works in a scratch folder outside the checkout; only tools are installed on this system.
source "$(dirname "$0")/lib.sh"
need gcc g++ clang cmake ninja-build pkg-config binutils python3 dpkg-dev gzip lintian
[ "$(id -u)" -eq 0 ] || need fakeroot

readonly checkout=$PWD scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
# A copy, so that a consumer cannot reach into the checkout by a relative path.
cp -r tests/consumers "$scratch/consumers"
readonly consumers=$scratch/consumers
readonly torus=$checkout/examples/data/torus.abc
readonly harbour=$checkout/examples/data/harbour.abc
version=$(scripts/interface.py --version)
readonly version major=${version%%.*}
# names_in EXPORTS: the functions of a library.
names_in() { sed -n 's/^ *\(\w*\);$/\1/p' "$1" | grep -v '^\*'; }
names_in src/exports.map >"$scratch/names"
names_in src/qel_archive/exports.map >"$scratch/archive_names"

ok() { echo "ok: $*"; }
fail() { echo "FAILED: $*" >&2; exit 1; }

# quiet COMMAND...: shows the command's output only if it fails.
quiet() {
    "$@" >"$scratch/log" 2>&1 && return
    cat "$scratch/log" >&2
    fail "$*"
}

# refused WORDS COMMAND...: the command must fail and print these words.
refused() {
    local words=$1
    shift
    if "$@" >"$scratch/log" 2>&1; then fail "was not refused: $*"; fi
    tr -s ' \n' ' ' <"$scratch/log" | grep -qF -- "$words" || { cat "$scratch/log" >&2; fail "no word of '$words': $*"; }
}

# holds_exactly FOLDER: the files in it must be those listed on standard input.
holds_exactly() {
    diff <(cd "$1" && find . ! -type d | sed 's|^\./||' | sort) <(sort) >"$scratch/log" && return
    cat "$scratch/log" >&2
    fail "$1 holds other files than expected"
}

# build PROJECT PREFIX [OPTION...]: configures and builds a consumer that finds the library in the prefix.
build() {
    local project=$1 prefix=$2
    shift 2
    rm -rf "$scratch/build"
    quiet cmake -S "$consumers/$project" -B "$scratch/build" -G Ninja -DCMAKE_PREFIX_PATH="$prefix" \
        -DCMAKE_FIND_USE_PACKAGE_REGISTRY=OFF -DCMAKE_FIND_USE_CMAKE_SYSTEM_PATH=OFF "$@"
    quiet cmake --build "$scratch/build"
}

# with_find_package PREFIX: C and C++ in one project, then C alone.
with_find_package() {
    build find_package "$1"
    quiet "$scratch/build/unit_round_trip" "$scratch/unit.qel"
    quiet "$scratch/build/scene_to_unit" "$torus" "$scratch/unit.qel"
    quiet "$scratch/build/archive_mesh" "$harbour"
    build find_package_c "$1"
    quiet "$scratch/build/unit_round_trip" "$scratch/unit.qel"
    quiet "$scratch/build/archive_mesh" "$harbour"
}

# compiled PROGRAM OPTION|PACKAGE...: builds a program with a plain C compiler and the flags of pkg-config.
compiled() {
    local flags
    read -ra flags <<<"$(pkg-config --cflags --libs "${@:2}")"
    quiet gcc -std=c99 -Wall -Wextra -Wpedantic -Werror "$consumers/$1.c" "${flags[@]}" -o "$scratch/$1"
}

# with_pkg_config FOLDER [PACKAGE [--static]]: without a build system. PACKAGE may select a linkage: qel_unit-static.
with_pkg_config() {
    local PKG_CONFIG_LIBDIR=$1 package=${2-qel_unit} archive_package LD_LIBRARY_PATH
    archive_package=qel_archive${package#qel_unit}
    export PKG_CONFIG_LIBDIR
    for name in "$package" "$archive_package"; do
        [ "$(pkg-config --modversion "$name")" = "$version" ] || fail "$name.pc has another version"
    done
    [[ $(pkg-config "${@:3}" --libs "$archive_package") != *qel_unit* ]] || fail "$archive_package.pc links qel_unit"
    LD_LIBRARY_PATH=$(pkg-config --variable=libdir "$package")
    export LD_LIBRARY_PATH
    compiled unit_round_trip "${@:3}" "$package"
    quiet "$scratch/unit_round_trip" "$scratch/unit.qel"
    compiled archive_mesh "${@:3}" "$archive_package" "$package"
    quiet "$scratch/archive_mesh" "$harbour"
}

# linked_with PROGRAM shared|static: checks the linkage of a program's libraries.
linked_with() {
    local found=static wanted=0 count
    count=$(readelf -d "$1" | grep -cF "[libqel_") || true
    if [ "$count" -gt 0 ]; then found=shared; fi
    [ "$found" = "$2" ] || fail "$1 is linked with the $found library, not the $2 one"
    [[ $1 != */archive_mesh ]] || wanted=2
    [ "$found" = static ] || [ "$wanted" -eq 0 ] || [ "$count" -eq "$wanted" ] || fail "$1 is linked with $count libraries"
}

# all_linked_with FOLDER shared|static: both programs in C.
all_linked_with() {
    linked_with "$1/unit_round_trip" "$2"
    linked_with "$1/archive_mesh" "$2"
}

names_no_folder() {
    ! grep -rIlF -e "$scratch/" -e "$checkout/" "$1" || fail "an installed file names an absolute folder"
}

# ---- Shared: what is installed, and where --------------------------------------------------------------------------
quiet scripts/package.sh # the same build serves the installed copies and the packages
readonly triplet=$(gcc -print-multiarch)
readonly packaged=build/debian/qel-unit-$version/obj-$triplet
readonly libdir=lib/$triplet
# development LINKAGE LIBRARY_FILES...: the installed files below lib for development with the libraries.
development() {
    local linkage=$1 library
    printf '%s\n' cmake/qel_unit/qel_unitConfig{,Version}.cmake "${@:2}" \
        cmake/qel_unit/qel_unit_"$linkage"Targets{,-relwithdebinfo}.cmake
    for library in qel_unit qel_archive; do printf '%s\n' pkgconfig/$library{,-"$linkage"}.pc; done
}
readonly headers="include/qel_archive.h
include/qel_unit.h"
runtime_files=$(printf "$libdir/%s\n" libqel_unit.so.{"$major","$version"})
archive_runtime_files=$(printf "$libdir/%s\n" libqel_archive.so.{"$major","$version"})
development_files=$headers$'\n'$(development shared libqel_{archive,unit}.so | sed "s|^|$libdir/|")
readonly tool_files="bin/qel
share/bash-completion/completions/qel
share/man/man1/qel.1
share/zsh/vendor-completions/_qel"
readonly runtime_files archive_runtime_files development_files
quiet cmake --install "$packaged" --prefix "$scratch/runtime" --component runtime
holds_exactly "$scratch/runtime" <<<"$runtime_files"
quiet cmake --install "$packaged" --prefix "$scratch/archive_runtime" --component archive_runtime
holds_exactly "$scratch/archive_runtime" <<<"$archive_runtime_files"
quiet cmake --install "$packaged" --prefix "$scratch/development" --component development
holds_exactly "$scratch/development" <<<"$development_files"
quiet cmake --install "$packaged" --prefix "$scratch/tools" --component tools
holds_exactly "$scratch/tools" <<<"$tool_files"
quiet cmake --install "$packaged" --prefix "$scratch/shared"
holds_exactly "$scratch/shared" <<<"$runtime_files
$archive_runtime_files
$tool_files
$development_files
share/doc/qel_unit/LICENSE"
cmp LICENSE "$scratch/shared/share/doc/qel_unit/LICENSE" || fail "another licence is installed"
for library in qel_unit qel_archive; do
    dynamic=$(readelf -d "$scratch/shared/$libdir/lib$library.so")
    [[ $dynamic == *"soname: [lib$library.so.$major]"* ]] || fail "$library has no SONAME"
    ! grep NEEDED <<<"$dynamic" | grep -F libqel_ || fail "$library needs another library of the project"
done
names_no_folder "$scratch/shared"
ok "installed: version $version, SONAME lib{qel_unit,qel_archive}.so.$major, each component, no absolute path"

with_find_package "$scratch/shared"
ok "find_package from C, from C++ and without any C++"
refused "version: $version" cmake -S "$consumers/find_package" -B "$scratch/refused" -G Ninja \
    -DCMAKE_PREFIX_PATH="$scratch/shared" -DWANTED_VERSION=9
refused "version: $version" cmake -S "$consumers/find_package" -B "$scratch/refused" -G Ninja --fresh \
    -DCMAKE_PREFIX_PATH="$scratch/shared" -DWANTED_VERSION="$major.999"
quiet cmake -S "$consumers/find_package" -B "$scratch/refused" -G Ninja --fresh \
    -DCMAKE_PREFIX_PATH="$scratch/shared" -DWANTED_VERSION="${version%.*}"
quiet cmake -S "$consumers/find_package" -B "$scratch/refused" -G Ninja --fresh \
    -DCMAKE_PREFIX_PATH="$scratch/shared" "-DWANTED_COMPONENT=qel_unit;qel_archive;shared"
refused "no component qel_other" cmake -S "$consumers/find_package" -B "$scratch/refused" -G Ninja --fresh \
    -DCMAKE_PREFIX_PATH="$scratch/shared" "-DWANTED_COMPONENT=qel_archive;qel_other"
ok "find_package refuses versions 9 and $major.999 and the component qel_other, and takes ${version%.*} and both libraries"
with_pkg_config "$scratch/shared/$libdir/pkgconfig"
! pkg-config --cflags "$scratch/shared/$libdir"/pkgconfig/*.pc | grep -F QEL_UNIT_STATIC || fail "not static"
ok "pkg-config and gcc -std=c99"

mkdir "$scratch/another place" # with a blank in its name
mv "$scratch/shared" "$scratch/another place/moved"
readonly moved="$scratch/another place/moved"
with_find_package "$moved"
mv "$moved" "$scratch/moved" # pkg-config's output is split at blanks here, as in most makefiles
with_pkg_config "$scratch/moved/$libdir/pkgconfig"
ok "the prefix moved to another place"

quiet gcc -std=c99 -D_DEFAULT_SOURCE -Wall -Wextra -Werror "$consumers/load_at_run_time.c" -ldl -o "$scratch/loader"
mkdir "$scratch/bare"
cp "$scratch/moved/$libdir/libqel_unit.so.$version" "$scratch/bare/library"
quiet "$scratch/loader" "$scratch/bare/library" "$scratch/names"
ok "dlopen of the bare library: all $(wc -l <"$scratch/names") names"
quiet gcc -std=c99 -D_DEFAULT_SOURCE -Wall -Wextra -Werror -I"$scratch/moved/include" \
    "$consumers/load_archive_at_run_time.c" -ldl -o "$scratch/archive_loader"
cp "$scratch/moved/$libdir/libqel_archive.so.$version" "$scratch/bare/archive_library"
quiet "$scratch/archive_loader" "$scratch/bare/archive_library" "$scratch/archive_names" "$harbour"
ok "dlopen of qel_archive alone: all $(wc -l <"$scratch/archive_names") names, and a mesh is read"

# ---- Static --------------------------------------------------------------------------------------------------------
quiet cmake -S . -B build/static -G Ninja -DBUILD_TESTING=OFF -DQEL_UNIT_TOOLS=OFF -DBUILD_SHARED_LIBS=OFF \
    -DCMAKE_BUILD_TYPE=RelWithDebInfo -DCMAKE_INSTALL_PREFIX="$scratch/static" -DCMAKE_INSTALL_LIBDIR="$libdir"
quiet cmake --build build/static
quiet cmake --install build/static
holds_exactly "$scratch/static" <<<"$headers
$(development static libqel_{archive,unit}.a | sed "s|^|$libdir/|")
share/doc/qel_unit/LICENSE"
names_no_folder "$scratch/static"
with_find_package "$scratch/static"
with_pkg_config "$scratch/static/$libdir/pkgconfig" qel_unit --static
for file in "$scratch/static/$libdir"/pkgconfig/*.pc; do
    pkg-config --cflags "$file" | grep -qF -- -DQEL_UNIT_STATIC || fail "$file: not marked static"
done
all_linked_with "$scratch/build" static
all_linked_with "$scratch" static
ok "the static libraries, alone and together: find_package from C and C++, pkg-config --static"

# Uninstalling removes every installed file and no other.
quiet cmake --install build/static --prefix "$scratch/uninstalled"
touch "$scratch/uninstalled/$libdir/other"
quiet cmake --build build/static --target uninstall
holds_exactly "$scratch/uninstalled" <<<"$libdir/other"
[ ! -e "$scratch/uninstalled/$libdir/cmake/qel_unit" ] || fail "uninstall leaves an empty folder of ours"
refused "Nothing was installed" cmake --build build/static --target uninstall
ok "uninstall removes what was installed, once, and nothing else"

# ---- Both in one prefix --------------------------------------------------------------------------------------------
# in_both PREFIX: each linkage is installed and usable, in every order of installation.
in_both() {
    local option linkage
    for option in "shared" "shared -DBUILD_SHARED_LIBS=ON" "static -DBUILD_SHARED_LIBS=OFF" "static -DWANTED_COMPONENT=static" \
        "shared -DBUILD_SHARED_LIBS=OFF -DWANTED_COMPONENT=shared"; do
        read -ra option <<<"$option"
        build find_package "$1" "${option[@]:1}"
        quiet "$scratch/build/unit_round_trip" "$scratch/unit.qel"
        all_linked_with "$scratch/build" "${option[0]}"
        linked_with "$scratch/build/scene_to_unit" "${option[0]}"
    done
    for linkage in shared static; do
        with_pkg_config "$1/$libdir/pkgconfig" "qel_unit-$linkage"
        all_linked_with "$scratch" "$linkage"
    done
}
for order in "$packaged build/static" "build/static $packaged"; do
    for build in $order; do quiet cmake --install "$build" --prefix "$scratch/both"; done
    in_both "$scratch/both"
    with_pkg_config "$scratch/both/$libdir/pkgconfig" qel_unit --static
    if [ "$build" = build/static ]; then all_linked_with "$scratch" static; fi
    rm -rf "$scratch/both"
done
refused "qel_unit" cmake -S "$consumers/find_package" -B "$scratch/refused" -G Ninja --fresh \
    -DCMAKE_PREFIX_PATH="$scratch/static" -DWANTED_COMPONENT=shared
ok "both linkages in one prefix, in either order: find_package by component and BUILD_SHARED_LIBS, pkg-config by name"

# ---- As a part of another project ----------------------------------------------------------------------------------
# as_part PROJECT PROGRAM...: the parent has a test of each program and installs only the programs.
as_part() {
    build "$1" "$scratch/nowhere" -DQEL_UNIT_SOURCE="$checkout"
    diff <(ctest --test-dir "$scratch/build" -N | sed -n 's/^ *Test *#[0-9]*: //p' | sort) \
        <(printf 'parent.%s\n' "${@:2}" | sort) || fail "$1: the parent's tests are not its own"
    quiet ctest --test-dir "$scratch/build" --no-tests=error
    rm -rf "$scratch/parent"
    quiet cmake --install "$scratch/build" --prefix "$scratch/parent"
    holds_exactly "$scratch/parent" < <(printf 'bin/%s\n' "${@:2}")
    ok "$1: builds and runs; its settings, tests and install rules stay its own"
}
as_part add_subdirectory unit_round_trip archive_mesh
as_part fetch_content scene_to_unit archive_mesh

# ---- Sanitizers, and one translation unit --------------------------------------------------------------------------
quiet cmake -S . -B "$scratch/unity" -G Ninja -DBUILD_TESTING=OFF -DQEL_UNIT_TOOLS=OFF -DQEL_UNIT_WERROR=ON \
    -DCMAKE_UNITY_BUILD=ON -DCMAKE_UNITY_BUILD_BATCH_SIZE=0
quiet cmake --build "$scratch/unity"
ok "each library as one translation unit, without a warning"
for linkage in ON OFF; do
    build add_subdirectory "$scratch/nowhere" -DQEL_UNIT_SOURCE="$checkout" -DWANTED_SHARED=$linkage \
        -DCMAKE_C_COMPILER=clang -DCMAKE_CXX_COMPILER=clang++ \
        -DCMAKE_C_FLAGS=-fsanitize=address,undefined -DCMAKE_CXX_FLAGS=-fsanitize=address,undefined
    quiet "$scratch/build/unit_round_trip" "$scratch/unit.qel"
    build add_subdirectory "$scratch/nowhere" -DQEL_UNIT_SOURCE="$checkout" -DWANTED_SHARED=$linkage \
        -DQEL_UNIT_SANITIZE=address,undefined
    quiet "$scratch/build/unit_round_trip" "$scratch/unit.qel"
done
ok "sanitizers of a parent (clang) and of the library alone (gcc) reach what links it, shared and static"

# ---- Debian packages -----------------------------------------------------------------------------------------------
# dpkg installs them into a scratch root: dependencies, scripts and removal are tested, and no package of this system is
# changed. The scratch root's database lists the packages of this system that the libraries depend on. The scripts run
# outside the root (it has no shell); there ldconfig is passed the root.
readonly debs=("build/packages/libqel-unit${major}_${version}_"*.deb "build/packages/libqel-archive${major}_${version}_"*.deb
    "build/packages/libqel-unit-dev_${version}_"*.deb "build/packages/qel_${version}_"*.deb
    "build/packages/python3-qel-unit_${version}_all.deb")
readonly root=$scratch/root
install -d "$scratch/bin" "$root/etc"
printf '#!/bin/sh\nexec /sbin/ldconfig -r "$DPKG_ROOT"\n' >"$scratch/bin/ldconfig"
# The module's scripts would compile it for the system's Python; here they do nothing.
printf '#!/bin/sh\n' | tee "$scratch/bin/py3compile" >"$scratch/bin/py3clean"
chmod +x "$scratch/bin"/*
echo "/usr/$libdir" >"$root/etc/ld.so.conf"
as_root=()
[ "$(id -u)" -eq 0 ] || as_root=(fakeroot)
# in_root ROOT ARGUMENT...: dpkg on a scratch root.
in_root() {
    install -d "$1/var/lib/dpkg/info" "$1/var/lib/dpkg/updates" "$1/var/log"
    touch "$1/var/lib/dpkg/status"
    PATH=$scratch/bin:$PATH:/usr/sbin:/sbin "${as_root[@]}" \
        dpkg --root="$1" --log="$1/var/log/dpkg.log" --force-script-chrootless "${@:2}"
}
refused "depends on libc6" in_root "$scratch/empty" --install "${debs[@]}"
for library in unit archive; do
    for deb in "${debs[@]:2}"; do
        equal="= $version"
        [[ $deb != *python3* ]] || equal=">= $version" # it loads any library with the interface
        refused "depends on libqel-$library$major ($equal)" in_root "$scratch/empty" --install "$deb"
    done
done
install -d "$root/var/lib/dpkg"
for deb in "${debs[@]}"; do
    dpkg-deb --field "$deb" Depends
done | sed 's/([^)]*)//g; s/:any//g; s/,/ /g' | tr -s ' ' '\n' | sort -u | grep -v '^libqel-' | xargs dpkg-query --status |
    sed '/^Depends:/d; /^Pre-Depends:/d' >"$root/var/lib/dpkg/status"
quiet in_root "$root" --install "${debs[@]}"
for library in qel_unit qel_archive; do
    package=lib${library/_/-}$major
    [ "$(find "$root/var/lib/dpkg/info" -name "$package:*.p*" -o -name "$package:*.triggers")" = \
        "$root/var/lib/dpkg/info/$package:$(dpkg --print-architecture).triggers" ] || fail "$package has other scripts than the trigger"
    [ "$(grep -v '^#' "$root/var/lib/dpkg/info/$package:$(dpkg --print-architecture).triggers")" = "activate-noawait ldconfig" ] ||
        fail "$package does not call the loader's table up to date once"
done
/sbin/ldconfig -r "$root" # what libc-bin does at the trigger
for library in qel_unit qel_archive; do
    /sbin/ldconfig -r "$root" -p | grep -qF "lib$library.so.$major" || fail "the loader does not know $library"
done
for package in "libqel-unit$major" "libqel-archive$major" libqel-unit-dev qel python3-qel-unit; do
    [ -s "$root/usr/share/doc/$package/copyright" ] || fail "$package has no copyright file"
done
[ -z "$(find "$root/usr" -name LICENSE)" ] || fail "the packages hold the licence twice"
with_find_package "$root/usr"
with_pkg_config "$root/usr/$libdir/pkgconfig"
[ "$(LD_LIBRARY_PATH=$root/usr/$libdir "$root/usr/bin/qel" --version)" = "qel $version" ] || fail "the packaged tool does not run"
zcat "$root/usr/share/man/man1/qel.1.gz" | cmp - tools/qel/qel.1 || fail "another manual page is packaged"
for file in bash-completion/completions/qel zsh/vendor-completions/_qel; do
    [ -s "$root/usr/share/$file" ] || fail "the packaged tool has no $file"
done
(cd "$scratch" && PYTHONPATH=$root/usr/lib/python3/dist-packages LD_LIBRARY_PATH=$root/usr/$libdir /usr/bin/python3 -B -c "
import importlib.metadata, sys, qel_unit
assert qel_unit.__file__.startswith('$root') and importlib.metadata.version('qel-unit') == '$version'
assert {line.split()[-1] for line in open('/proc/self/maps') if 'libqel_' in line} == {'$root/usr/$libdir/libqel_unit.so.$version'}
assert qel_unit.open_archive('$harbour')['/harbour/sea'].mesh().vertex_count == 441") || fail "the packaged module does not run"
for file in "$root/usr/bin/qel" "$root/usr/$libdir"/libqel_*.so; do
    readelf -d "$file" | grep -qE 'BIND_NOW|FLAGS_1.* NOW' || fail "$file is not bound when it is loaded"
done
quiet in_root "$root" --remove python3-qel-unit qel libqel-unit-dev "libqel-unit$major" "libqel-archive$major"
[ -z "$(find "$root" -path "$root/var" -prune -o -name '*qel*' ! -path "$root/etc/*" -print)" ] || fail "removing the packages leaves files"
ok "Debian packages: dependencies, use by find_package and pkg-config, removal"
words=$(lintian --allow-root --display-info "${debs[@]}" 2>&1) || true
[ -z "$words" ] || fail "lintian says of the packages: $words"
ok "lintian has nothing to say about the packages"
echo "All consumers build and run (${SECONDS} s)"
