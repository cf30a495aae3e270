#!/usr/bin/env bash
# Replays the fuzz targets' seeds, the fuzzer's corpus (build/fuzz/corpus) and random inputs under MemorySanitizer
# (clang): a branch, an output or a file byte that depends on uninitialized memory is an error.
# Usage: scripts/msan.sh [RANDOM INPUTS per target] [TARGET...]
source "$(dirname "$0")/lib.sh"
need "${build_packages[@]}" clang libclang-rt-14-dev
count=${1:-100}
[ $# -gt 0 ] && shift
targets=("${@:-${fuzz_targets[@]}}")
cmake --preset msan >/dev/null
cmake --build --preset msan
work=$PWD/build/msan
"$work"/fuzz/make_seeds "$work"/seeds
export MSAN_OPTIONS=allocator_may_return_null=1
for target in "${targets[@]}"; do
    inputs=("-random=$count")
    if [ "$target" = archive_structure ]; then
        inputs+=(examples/data/*.abc) # its seeds cannot be made under MemorySanitizer
    else
        inputs+=("$work/seeds/$target")
    fi
    for folder in "tests/regression/inputs/$target" build/fuzz/{seeds,corpus}/"$target"; do
        [ ! -d "$folder" ] || inputs+=("$folder")
    done
    printf '%-13s ' "$target"
    "$work/fuzz/fuzz_$target" "${inputs[@]}"
done
