#!/bin/sh
# Finishes the scans of a list in tasks, with GNU parallel, on this machine or on several that share its folders.
#   sh parallel.sh LIST OUT OPTIONS...
#   HOSTS=anna,bert sh parallel.sh list.txt finished -k faded-slide
# Run again, it takes up the tasks that were not finished or in which a scan failed; what is finished stays.
# TASK: scans a task (200). JOBS: tasks at a time on each machine (one per processor). HOSTS: machines reached by ssh.
set -eu
list=$1 out=$2
shift 2
mkdir -p "$out/tasks"
where=
[ -z "${HOSTS:-}" ] || where="--sshlogin $HOSTS --workdir ."
# shellcheck disable=SC2086
parallel $where --jobs "${JOBS:-100%}" --max-args "${TASK:-200}" --joblog "$out/tasks/log" --resume-failed --quote \
  "${ZEP3:-zep3}" -j 1 -q --json --root . -o "$out" "$@" -- {} :::: "$list" >>"$out/tasks/lines.jsonl"
