#!/bin/bash
# A Dask cluster within one Slurm job: the scheduler and the client on its first node, one worker per core on all nodes.
# Copy it, set the paths and submit it: sbatch dask_on_slurm.sh. Submitted again, it continues where it ended.
#SBATCH --job-name=qel-farm
#SBATCH --nodes=8
#SBATCH --ntasks-per-node=1
#SBATCH --cpus-per-task=32
#SBATCH --mem=64G
#SBATCH --time=08:00:00
set -euo pipefail
sources=/shared/shots
out=/shared/tokens
export QEL_TOOL=/shared/bin/qel
export PATH=/shared/venv/bin:$PATH # with pip install 'qel-unit[farm]'

meeting=$(mktemp -d -p /shared qel-farm.XXXXXX) # workers find the scheduler through this folder
trap 'kill $(jobs -p); wait; rm -rf "$meeting"' EXIT
python3 -m distributed.cli.dask_scheduler --port 0 --no-dashboard --scheduler-file "$meeting/scheduler.json" &
srun python3 -m distributed.cli.dask_worker --scheduler-file "$meeting/scheduler.json" --no-dashboard \
    --nworkers "$SLURM_CPUS_PER_TASK" --nthreads 1 --local-directory "${TMPDIR:-/tmp}" &
until [ -s "$meeting/scheduler.json" ]; do sleep 1; done
address=$(python3 -c 'import json, sys; print(json.load(open(sys.argv[1]))["address"])' "$meeting/scheduler.json")

python3 -m qel_unit.farm convert "$sources" -o "$out" --scheduler "$address"
python3 -m qel_unit.farm nearest "$out" 23,23,23 -k 8 --scheduler "$address"
