#!/usr/bin/env bash
# Counts the instructions of hot functions on fixed inputs, and fails if a count differs by more than 1 % from the
# figure in tests/programs/instructions.txt. The counts do not depend on the load of the machine. A gain also fails, so
# that the figures are updated. Other compilers generate other instructions; the file names the compiler of the figures.
# Usage: scripts/instructions.sh [--update]
source "$(dirname "$0")/lib.sh"
need "${build_packages[@]}" valgrind
figures=tests/programs/instructions.txt
tolerance=1
functions=(
    qel_unit_create qel_unit_load qel_unit_lookup_morton qel_unit_lookup_hex qel_unit_query_nearest
    qel_matrix_48_identity qel_matrix_48_reproduce
    qel_alembic_process_mesh qel_alembic_build_hash_table qel_alembic_lookup_morton qel_alembic_query_nearest
    qel_alembic_save qel_alembic_load
    ogawa_read_normals ogawa_read_positions ogawa_read_uvs ogawa_read_tangent_frame ogawa_read_polymesh
    ogawa_build_manifold ogawa_get_vertex_neighbors ogawa_compute_tangent_frame
    ogawa_compute_bounds qel_mesh_is_static_valid qel_mesh_verify_p_minus_p qel_mesh_verify_p_div_p
    qel_mesh_save qel_mesh_load qel_skin_apply
    qel_agent_dir_init qel_agent_spawn qel_agent_monitor
    qel_archive_open qel_archive_read_mesh qel_archive_read_property qel_archive_world_transform
)

cmake --preset release >/dev/null
cmake --build --preset release --target instructions >/dev/null
compiler=$(sed -n 's/^CMAKE_CXX_COMPILER:[A-Z]*=//p' build/release/CMakeCache.txt)
compiler=$("$compiler" --version | head -n 1)

# count FILE: one line for each function, its name and the instructions in it and its callees. The C library's plain
# forms of memset and similar functions are used: they are the same on every processor of an architecture.
count() {
    local scratch
    scratch=$(mktemp -d)
    GLIBC_TUNABLES=glibc.cpu.hwcaps=-ERMS,-FSRM,-AVX2,-AVX2_Usable,-AVX_Fast_Unaligned_Load \
        valgrind --quiet --tool=callgrind --callgrind-out-file="$scratch/calls" \
        build/release/tests/instructions "$scratch" >&2
    callgrind_annotate --inclusive=yes --threshold=100 "$scratch/calls" |
        awk -v wanted="${functions[*]}" '
            BEGIN { split(wanted, names, " ") }
            match($0, /:[a-z_0-9]+( \[|$)/) {
                name = substr($0, RSTART + 1, RLENGTH - 1)
                sub(/ \[$/, "", name)
                cost = $1
                gsub(/,/, "", cost)
                if (!(name in costs) || costs[name] < cost + 0) costs[name] = cost + 0
            }
            END { for (i = 1; i in names; ++i) print names[i], costs[names[i]] + 0 }' >"$1"
    rm -rf "$scratch"
}

now=$(mktemp)
trap 'rm -f "$now"' EXIT
count "$now"
if [ "${1:-}" = --update ]; then
    { echo "# $(uname -m), $compiler"; cat "$now"; } >"$figures"
    echo "wrote $figures"
    exit
fi
made_with=$(sed -n '1s/^# //p' "$figures")
[ "$made_with" = "$(uname -m), $compiler" ] || echo "The figures are for another compiler: $made_with"
awk -v tolerance="$tolerance" '
    /^#/ { next }
    FNR == NR { before[$1] = $2; next }
    {
        known = before[$1] > 0
        change = known ? ($2 / before[$1] - 1) * 100 : 0
        bad = !known || $2 == 0 || change > tolerance || change < -tolerance
        failed = failed || bad
        printf "%-30s %12d %12d %+7.2f %%%s\n", $1, before[$1], $2, change, bad ? "  <--" : ""
        delete before[$1]
    }
    END {
        for (name in before) { print name " is counted no more"; failed = 1 }
        exit failed
    }' "$figures" "$now" || {
    echo "Where the change is meant: scripts/instructions.sh --update" >&2
    exit 1
}
