#!/usr/bin/env bash
# The Slurm job-array script run here, task by task: three tasks of one
# manifest, their summaries merged, give the summary and the outputs of a
# single run of the whole manifest.
# usage: batch_array_test.sh LUMETRA-CLI SBATCH-SCRIPT WORKDIR
set -euo pipefail
cli=$1 script=$2
work=$3/batch-array
rm -rf "$work" && mkdir -p "$work" && cd "$work"
fail() { echo "FAIL: $*" >&2; exit 1; }
rows() { cut -f1,2,3,5,6 "$1"; }  # without the seconds

for i in 1 2 3 4 5 6 7; do
  "$cli" simulate "rec$i.xkv" --width 64 --height 64 --frames 30 --spots 10 --seed "$i" >/dev/null
  echo "rec$i.xkv" >>files.txt
  [ "$i" = 4 ] && echo "missing.xkv" >>files.txt
done

status=0
"$cli" batch track --manifest files.txt --jobs 2 --summary single.tsv >/dev/null 2>&1 || status=$?
[ "$status" = 1 ] || fail "the single run ended with $status, not 1 (missing.xkv fails)"
mkdir single && mv ./*.xki single/

export LUMETRA_CLI=$cli LUMETRA_MANIFEST=files.txt SLURM_ARRAY_TASK_COUNT=3
failed_tasks=0
for task in 0 1 2; do
  SLURM_ARRAY_TASK_ID=$task bash "$script" >/dev/null 2>&1 || failed_tasks=$((failed_tasks + 1))
  [ -f "summary-$task.tsv" ] || fail "task $task wrote no summary"
done
# 8 records in 3 blocks: 0-1, 2-4 (missing.xkv is the fifth), 5-7.
[ "$failed_tasks" = 1 ] || fail "$failed_tasks tasks failed, not exactly the one with missing.xkv"
[ "$(tail -n +2 summary-1.tsv | cut -f1 | tr '\n' ' ')" = "rec3.xkv rec4.xkv missing.xkv " ] ||
  fail "task 1 did not take the middle block"

status=0
"$cli" batch merge summary-*.tsv --manifest files.txt --out merged.tsv >/dev/null || status=$?
[ "$status" = 1 ] || fail "merge ended with $status, not 1"
diff <(rows single.tsv) <(rows merged.tsv) >&2 || fail "the merged summary is not the single run's"
for f in single/*; do
  cmp -s "$f" "$(basename "$f")" || fail "$(basename "$f") differs from the single run's"
done
[ "$(ls ./*.xki | wc -l)" = "$(ls single | wc -l)" ] || fail "not the single run's outputs"

# A task that never reported: its records are failed rows of the merge, the
# others keep theirs.
"$cli" batch merge summary-0.tsv summary-2.tsv --manifest files.txt --out partial.tsv \
  >/dev/null || true
[ "$(awk -F'\t' '$2 == "failed" {print $1}' partial.tsv | tr '\n' ' ')" = \
  "rec3.xkv rec4.xkv missing.xkv " ] || fail "a missing task's records are not failed rows"

# Submitted again, the tasks skip what is done.
SLURM_ARRAY_TASK_ID=0 bash "$script" >/dev/null 2>&1
[ "$(tail -n +2 summary-0.tsv | cut -f2 | sort -u)" = skipped ] || fail "a rerun did not resume"
echo "array: 3 tasks merged equal the single run"
