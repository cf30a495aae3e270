#!/usr/bin/env bash
# Strips the libraries of a release build and fails if one is more than 5 % larger than its figure in
# tests/programs/sizes.txt. Other compilers give other sizes; the file names the compiler of the figures.
# Usage: scripts/sizes.sh [--update]
source "$(dirname "$0")/lib.sh"
need "${build_packages[@]}" binutils
figures=tests/programs/sizes.txt
tolerance=5
cmake --preset release >/dev/null
cmake --build --preset release --target qel_unit --target qel_archive >/dev/null
compiler=$(sed -n 's/^CMAKE_CXX_COMPILER:[A-Z]*=//p' build/release/CMakeCache.txt)
made_with="$(uname -m), $("$compiler" --version | head -n 1)"
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
for library in libqel_unit libqel_archive; do
    strip --strip-unneeded -o "$scratch/stripped" "$(realpath "build/release/src/$library.so")"
    echo "$library $(stat -c %s "$scratch/stripped")"
done >"$scratch/now"
if [ "${1:-}" = --update ]; then
    { echo "# $made_with"; cat "$scratch/now"; } >"$figures"
    echo "wrote $figures"
    exit
fi
[ "$(sed -n '1s/^# //p' "$figures")" = "$made_with" ] || echo "The figures are for another compiler: $(head -n 1 "$figures")"
awk -v tolerance="$tolerance" '
    /^#/ { next }
    FNR == NR { before[$1] = $2; next }
    {
        change = before[$1] > 0 ? ($2 / before[$1] - 1) * 100 : 100
        bad = change > tolerance
        failed = failed || bad
        printf "%-16s %9d %9d bytes %+6.2f %%%s\n", $1, before[$1], $2, change, bad ? "  <--" : ""
        ++seen
    }
    END { exit failed || seen != 2 }' "$figures" "$scratch/now" || {
    echo "Where the growth is meant: scripts/sizes.sh --update" >&2
    exit 1
}
