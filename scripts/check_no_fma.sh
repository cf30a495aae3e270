#!/usr/bin/env bash
# Fails if a built library holds a fused multiply-add: it rounds once, the results are defined with two roundings, so
# the same call would give other bits on other machines. First checks that such an instruction would be found. Usage:
# scripts/check_no_fma.sh [LIBRARY...]   (for another platform: with its compiler and objdump in CXX and OBJDUMP)
source "$(dirname "$0")/lib.sh"
need binutils g++
libraries=("$@")
[ $# -gt 0 ] || libraries=(build/release/src/lib{qel_unit,qel_archive}.so)

# fused OBJECT: its fused instructions, x86-64 or arm64, one per line.
fused() {
    "${OBJDUMP:-objdump}" --disassemble --no-show-raw-insn "$1" |
        grep -P '^\s*[0-9a-f]+:\t(vfn?m(add|sub)|fn?m(add|sub|ad|sb)\b|fn?ml[as]l?2?\b|vfn?m[as]\b)' || true
}

scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
flags=(-O2 -ffp-contract=fast)
[[ $("${CXX:-c++}" -dumpmachine) != x86_64* ]] || flags+=(-mfma)
echo 'double fused(double a, double b, double c) { return a * b + c; }' >"$scratch/fused.cpp"
"${CXX:-c++}" "${flags[@]}" -c "$scratch/fused.cpp" -o "$scratch/fused.o"
if [ -z "$(fused "$scratch/fused.o")" ]; then
    echo "This check does not see a fused multiply-add where there is one" >&2
    exit 2
fi

for library in "${libraries[@]}"; do
    [ -f "$library" ] || { echo "There is no $library" >&2; exit 2; }
    instructions=$("${OBJDUMP:-objdump}" --disassemble --no-show-raw-insn "$library" | grep -cP '^\s*[0-9a-f]+:\t')
    if [ "$instructions" -lt 1000 ]; then
        echo "$library does not look like a library: $instructions instructions" >&2
        exit 2
    fi
    found=$(fused "$library")
    if [ -n "$found" ]; then
        echo "Fused multiply-add in $library:" >&2
        echo "$found" >&2
        exit 1
    fi
    echo "no fused multiply-add among $instructions instructions of $library"
done
