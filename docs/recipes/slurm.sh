#!/bin/sh
#SBATCH --output=/dev/null
# A task of a Slurm array: finishes its part of a list.
#   sbatch --array=0-49 slurm.sh list.txt finished -k faded-slide     50 tasks of 200: lists of up to 10,000 scans
# Messages and JSON lines of a task are in OUT/tasks. Submitted again, it finishes what is not finished.
# TASK: scans a task (200).
set -eu
list=$1 out=$2
shift 2
mkdir -p "$out/tasks"
part=$out/tasks/$SLURM_ARRAY_TASK_ID
first=$((SLURM_ARRAY_TASK_ID * ${TASK:-200} + 1))
last=$((first + ${TASK:-200} - 1))
sed -n "$first,${last}p" "$list" |
  "${ZEP3:-zep3}" -q --json --root . --files-from - -o "$out" "$@" >"$part.jsonl" 2>"$part.log"
