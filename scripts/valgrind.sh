#!/usr/bin/env bash
# Runs the tests under Valgrind's memcheck: a read of uninitialized memory, a read or write outside a block, or a leak
# fails. Usage: scripts/valgrind.sh [TEST PROGRAM...]   (common, qel_unit, qel_alembic, ogawa_reader,
# qel_archive, regression)
source "$(dirname "$0")/lib.sh"
need "${build_packages[@]}" valgrind
programs=("${@:-common qel_unit qel_alembic ogawa_reader qel_archive regression}")
read -ra programs <<<"${programs[*]}"

# Tests left out because of their time or of Valgrind's limits; all others run.
without=(
    '*.ReportsAFullAddressSpace'          # Valgrind keeps the address space itself
    'MemoryLimit.*'                               # and its own memory
    RuvSqrt.RoundsTheArgumentToSinglePrecisionFirst # Valgrind rounds such a number twice, by way of a double
    AgentSave.LeavesAWholeFileWheneverTheProcessIsKilled # kills after fixed times
    'AgentLoad.Survives*'                         # tens of thousands of loads of 2.5 MB tables; the tests beside it have fewer
    AgentEquality.RandomOperationsLeaveTheModelsDirectory # scripts/msan.sh replays such sequences
    'UnitCreate.LeavesTokensBeyondAllNodes*'      # 8 million tokens
    UnitLoad.RandomBytesEndInADocumentedCode      # thousands of loads of two 32 MB tables
    UnitLoad.FilesOfEveryLengthGiveTheirWholeRecords
    HostileScene.WithAnyByteAtAnExtremeLoadsOrIsRefused # as scripts/msan.sh's scene_file
    HostileScene.OfMillionsOfMissingFramesIsReleasedWithoutAllocating
    HostileScene.ThroughAPipeAllocatesNothingForMissingVertices # measures the process's memory
    DataNodes.FollowsAtMost16777216References
)

cmake --preset release >/dev/null
cmake --build --preset release
filter=-$(IFS=:; echo "${without[*]}")

# check PROGRAM SHARD SHARDS: prints the failures and the test program's closing line.
check() {
    GTEST_TOTAL_SHARDS=$3 GTEST_SHARD_INDEX=$2 valgrind --quiet --error-exitcode=9 --leak-check=full \
        --errors-for-leak-kinds=definite,indirect,possible --track-origins=yes --num-callers=25 \
        "build/release/tests/$1_tests" --gtest_brief=1 --gtest_filter="$filter"
}
export -f check
export filter
for program in "${programs[@]}"; do
    shards=4
    for ((shard = 0; shard < shards; ++shard)); do
        echo "$program $shard $shards"
    done
done | xargs -P "$(nproc)" -L 1 bash -c 'check "$0" "$1" "$2"'
echo "valgrind: no errors, no leaks in ${programs[*]}"
