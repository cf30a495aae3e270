#!/usr/bin/env bash
# Builds the fuzz targets, makes seeds and runs the targets, two at a time; new inputs stay in build/fuzz/corpus. Exits
# with 1 if a target has a finding (its input is then in build/fuzz/findings), with 2 if one could not run, with 130 if
# one was interrupted before the end of its time.
# Usage: scripts/fuzz.sh [SECONDS per target] [TARGET...]
source "$(dirname "$0")/lib.sh"
need "${build_packages[@]}" clang libclang-rt-14-dev
seconds=${1:-60}
[ $# -gt 0 ] && shift
targets=("${@:-${fuzz_targets[@]}}")
cmake --preset fuzz >/dev/null
cmake --build --preset fuzz

work=$PWD/build/fuzz
for target in "${targets[@]}"; do
    [ -x "$work/fuzz/fuzz_$target" ] || { echo "There is no target $target, only ${fuzz_targets[*]}" >&2; exit 2; }
done
mkdir -p "$work"/{corpus,seeds,findings,logs}
"$work"/fuzz/make_seeds "$work"/seeds
# Fresh memory is filled, so a read of unwritten bytes makes the result differ from the model. The rest is for speed.
ASAN_OPTIONS=allocator_may_return_null=1:detect_stack_use_after_return=1:strict_string_checks=1
ASAN_OPTIONS+=:max_malloc_fill_size=1048576:malloc_fill_byte=203:quarantine_size_mb=32:malloc_context_size=5
export ASAN_OPTIONS UBSAN_OPTIONS=print_stacktrace=1
[ ! -d /dev/shm ] || export TMPDIR=/dev/shm # the folder of the agents' files

# run TARGET: prints one closing line. Returns 0 at the end of the time, 1 on a finding, 130 if interrupted, else 2.
run() {
    local log=$work/logs/$1.log code=0 end status
    mkdir -p "$work/corpus/$1"
    local inputs=("$work/corpus/$1" "$work/seeds/$1")
    [ ! -d "tests/regression/inputs/$1" ] || inputs+=("tests/regression/inputs/$1")
    "$work/fuzz/fuzz_$1" -max_total_time="$seconds" -max_len=65536 -timeout=20 -rss_limit_mb=3000 \
        -artifact_prefix="$work/findings/$1-" "${inputs[@]}" >"$log" 2>&1 &
    echo $! >"$work/logs/$1.pid"
    wait $! || code=$?
    rm -f "$work/logs/$1.pid"
    # An interrupted fuzzer ends regularly and reports it; a killed one prints no last line.
    if grep -Eq 'Test unit written to .*-(crash|leak|timeout|oom)-' "$log"; then
        end="FOUND SOMETHING: see build/fuzz/logs/$1.log" status=1
    elif [ "$code" -eq 72 ] || [ "$code" -gt 128 ] || grep -q 'run interrupted' "$log"; then
        end="interrupted, no findings so far" status=130
    elif [ "$code" -ne 0 ] || ! grep -q '^Done ' "$log"; then
        end="DID NOT RUN (code $code): see build/fuzz/logs/$1.log" status=2
    else
        end="finished, no findings" status=0
    fi
    # The last line of progress has the figures: "#123 DONE cov: 1 ft: 2 …".
    awk -v target="$1" -v end="$end" '
        /^#[0-9]+/ {
            executions = substr($1, 2)
            for (i = 2; i < NF; ++i) {
                if ($i == "cov:") edges = $(i + 1)
                if ($i == "ft:") features = $(i + 1)
            }
        }
        END {
            printf "%-13s %9d executions, %4d edges, %5d features, %s\n", target, executions, edges, features, end
        }' "$log"
    return "$status"
}

# A finding takes precedence over a target that did not run, and that over an interruption.
worst=0
note() {
    case $1 in
    0) ;;
    1) worst=1 ;;
    130) [ "$worst" -ne 0 ] || worst=130 ;;
    *) [ "$worst" -eq 1 ] || worst=2 ;;
    esac
}
# An interruption is passed on: the targets end regularly and print their closing lines.
trap 'cat "$work"/logs/*.pid 2>/dev/null | xargs -r kill -INT' INT TERM
rm -f "$work"/logs/*.pid
for target in "${targets[@]}"; do
    while [ "$(jobs -pr | wc -l)" -ge 2 ]; do
        wait -n || note $?
    done
    [ "$worst" -eq 130 ] && break
    run "$target" &
done
while [ "$(jobs -p | wc -l)" -gt 0 ]; do
    wait -n || note $?
done
exit "$worst"
