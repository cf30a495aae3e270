#!/bin/bash
# A Slurm array without a scheduler of tasks: job I of N converts the I-th part of a list. Copy it, set the three paths
# and submit it: sbatch slurm_array.sh. Submitted again, it continues where it ended.
#SBATCH --job-name=qel-convert
#SBATCH --array=1-100
#SBATCH --cpus-per-task=4
#SBATCH --mem=8G
#SBATCH --time=04:00:00
set -euo pipefail
list=/shared/archives.txt # find /shared/shots -name '*.abc' >/shared/archives.txt
out=/shared/tokens
tool=/shared/bin/qel

"$tool" convert --from-file "$list" -o "$out" --resume \
    --shard "$SLURM_ARRAY_TASK_ID/$SLURM_ARRAY_TASK_COUNT" -j "$SLURM_CPUS_PER_TASK" --only tokens,scene,cache
