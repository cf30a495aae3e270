#!/bin/bash
# One machine, from small to large. Usage: farm_on_one_machine.sh FOLDER OUT     (each method has a folder in OUT)
set -euo pipefail
sources=$1 out=$2 cores=$(nproc)

# 1. A folder, one archive per core at a time. Called again, it continues where it ended.
qel convert "$sources" -o "$out/folder" -j "$cores" --resume

# 2. The same from a list, in parts, each with limits set by the shell: 8 GiB for a process, a day for a part.
list=$(mktemp)
trap 'rm -f "$list"' EXIT
find "$sources" -name '*.abc' -type f -print0 | sort -z >"$list"
(
    ulimit -v 8388608
    seq "$cores" | xargs -P "$cores" -I PART timeout 1d \
        qel convert --from-file "$list" --shard "PART/$cores" -o "$out/list" --resume --only tokens
)

# 3. With a manifest, retries, limits for each archive, and queries over all of them.
python3 -m qel_unit.farm convert "$sources" -o "$out/farm"
python3 -m qel_unit.farm nearest "$out/farm" 23,23,23 -k 8
