#!/usr/bin/env bash
# Builds for other compilers and platforms and runs the tests there, including the golden digests: results are the same
# bits everywhere. Installs what it needs. docs/platforms.md has the durations.
# Usage: scripts/test-platforms.sh [clang|windows|arm64|i386]...   (none: all)
source "$(dirname "$0")/lib.sh"

# A platform's own packages; the others are those of scripts/test.sh.
declare -A packages=(
    [clang]="clang libgtest-dev"
    [windows]="g++-mingw-w64-x86-64-posix wine wine64 googletest"
    [arm64]="g++-aarch64-linux-gnu qemu-user googletest"
    [i386]="g++-i686-linux-gnu googletest"
)

# dll_is_whole LIBRARY EXPORTS: it exports exactly its interface and needs only libraries of Windows.
dll_is_whole() {
    local dll=build/windows/bin/$1.dll listing others functions
    functions=$(sed -n 's/^ *\(\w*\);$/\1/p' "$2" | sort)
    listing=$(x86_64-w64-mingw32-objdump --private-headers "$dll")
    diff <(echo "$functions") \
        <(sed -n '/^\[Ordinal\/Name Pointer\] Table/,/^$/s/^\t*\[ *[0-9]*\]\(.*\] *\)\? *\(\w*\)$/\2/p' <<<"$listing" | sort)
    others=$(sed -n 's/^\tDLL Name: //p' <<<"$listing" | grep -viE '^(kernel32|msvcrt)\.dll$' || true)
    [ -z "$others" ] || { echo "$1.dll needs $others" >&2; return 1; }
    echo "$1.dll: $(wc -l <<<"$functions") functions, nothing needed but Windows"
}

test_platform() {
    local platform=$1 begin=$SECONDS
    read -ra own <<<"${packages[$platform]}"
    need g++ cmake ninja-build python3 "${own[@]}"
    cmake --preset "$platform" >/dev/null
    cmake --build --preset "$platform"
    case $platform in
    windows)
        cmake/toolchains/run-wine.sh wineboot --init # makes the prefix; programs started at the same time could not
        dll_is_whole qel_unit src/exports.map
        dll_is_whole qel_archive src/qel_archive/exports.map
        scripts/check_no_fma.sh build/windows/bin/{qel_unit,qel_archive}.dll
        ;;
    arm64)
        CXX=aarch64-linux-gnu-g++ OBJDUMP=aarch64-linux-gnu-objdump scripts/check_no_fma.sh \
            build/arm64/src/lib{qel_unit,qel_archive}.so
        ;;
    esac
    ctest --preset "$platform"
    summary+=("$platform: passed in $((SECONDS - begin)) s")
}

platforms=("$@")
[ $# -gt 0 ] || platforms=(clang i386 arm64 windows)
for platform in "${platforms[@]}"; do
    [ -n "${packages[$platform]:-}" ] || { echo "usage: $0 [clang|windows|arm64|i386]..." >&2; exit 2; }
done
summary=()
for platform in "${platforms[@]}"; do
    test_platform "$platform"
done
printf '%s\n' "${summary[@]}"
