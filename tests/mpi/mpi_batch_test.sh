#!/usr/bin/env bash
# lumetra-mpi under mpirun, three ranks on whatever cores there are.
#   outputs: the outputs are byte-identical to lumetra-cli batch with 1 and 2
#            jobs, the summary has a row per record and exactly the broken
#            records failed, exit status 1.
#   killed:  rank 1 is killed mid-run; the summary left on disk names every
#            record without an output as failed, and --resume completes the
#            outputs identical to an uninterrupted run.
# usage: mpi_batch_test.sh outputs|killed LUMETRA-CLI LUMETRA-MPI WORKDIR
set -euo pipefail
mode=$1 cli=$2 mpi=$3
work=$4/mpi-$mode
rm -rf "$work" && mkdir -p "$work" && cd "$work"
fail() { echo "FAIL: $*" >&2; exit 1; }
mpirun=("${MPIRUN:-mpirun}" -np 3 --oversubscribe)

# run EXPECTED-STATUS COMMAND...: runs it with stdout to out.tsv.
run() {
  local want=$1 rc=0
  shift
  "$@" >out.tsv 2>err.txt || rc=$?
  [ "$rc" = "$want" ] || { cat err.txt >&2; fail "exit status $rc, not $want: $*"; }
}
# Moves the outputs of kind $1 into directory $2.
keep_outputs() {
  mkdir -p "$2"
  case $1 in track) mv ./*.xki "$2"/ ;; *) mv ./*test*.txt "$2"/ ;; esac
}
# Every output in $1 has a byte-identical copy here, and here has no others.
same_outputs() {
  local f n=0
  for f in "$1"/*; do
    cmp -s "$f" "$(basename "$f")" || fail "$(basename "$f") differs from $f"
    n=$((n + 1))
  done
  [ "$n" -gt 0 ] || fail "no outputs in $1"
  [ "$(ls "$2" | wc -l)" = "$n" ] || fail "$2 holds other files than $1"
}
# The summary without its seconds column.
rows() { cut -f1,2,3,5,6 "$1"; }

if [ "$mode" = outputs ]; then
  files=()
  for i in 1 2 3 4 5 6 7 8; do
    "$cli" simulate "rec$i.xkv" --width 64 --height 64 --frames 40 --spots 12 --seed "$i" >/dev/null
    files+=("rec$i.xkv")
    [ "$i" = 3 ] && files+=(empty.xkv)
    [ "$i" = 6 ] && files+=(missing.xkv)
  done
  : >empty.xkv
  for kind in track stest; do
    run 1 "$cli" batch "$kind" "${files[@]}" --jobs 1 --summary cli1.tsv
    keep_outputs "$kind" "ref1-$kind"
    run 1 "$cli" batch "$kind" "${files[@]}" --jobs 2 --summary cli2.tsv
    keep_outputs "$kind" "ref2-$kind"
    run 1 "${mpirun[@]}" "$mpi" "$kind" "${files[@]}" --summary mpi.tsv
    mkdir -p "now-$kind"
    cp ./*.xki ./*test*.txt "now-$kind"/ 2>/dev/null || true
    same_outputs "ref1-$kind" "now-$kind"
    same_outputs "ref2-$kind" "now-$kind"
    cmp -s out.tsv mpi.tsv || fail "$kind: the printed summary is not the one written"
    [ "$(wc -l <mpi.tsv)" = $((${#files[@]} + 1)) ] || fail "$kind: not one row per record"
    [ "$(awk -F'\t' '$2 == "failed" {print $1}' mpi.tsv | tr '\n' ' ')" = "empty.xkv missing.xkv " ] ||
      fail "$kind: the failed rows are not exactly the broken records"
    diff <(rows cli1.tsv) <(rows mpi.tsv) >&2 || fail "$kind: the summary differs from the CLI's"
    rm -f ./*.xki ./*test*.txt
  done
  echo "outputs: identical to --jobs 1 and --jobs 2 for track and stest"
  exit 0
fi

[ "$mode" = killed ] || fail "unknown mode $mode"
# Records that take about a second each with one thread (with --link-tracks).
files=()
for i in 1 2 3 4 5 6; do
  "$cli" simulate "big$i.xkv" --width 128 --height 128 --frames 200 --spots 80 --seed "$i" >/dev/null
  files+=("big$i.xkv")
done
opts=(--link-tracks)
run 0 "$cli" batch track "${files[@]}" "${opts[@]}" --jobs 2
keep_outputs track ref

"${mpirun[@]}" "$mpi" track "${files[@]}" "${opts[@]}" --summary s.tsv >/dev/null 2>err.txt &
job=$!
rank1=""
for _ in $(seq 600); do
  # Kill once a record is done and rank 1 is working on one. The ranks on
  # this machine are mpirun's children.
  if [ -f s.tsv ] && grep -q "	ok	" s.tsv && grep -q "rank 1 was working" s.tsv; then
    for pid in $(pgrep -P "$job"); do
      if tr '\0' '\n' <"/proc/$pid/environ" | grep -qx "OMPI_COMM_WORLD_RANK=1"; then
        rank1=$pid
        break
      fi
    done 2>/dev/null
    [ -n "$rank1" ] && break
  fi
  kill -0 "$job" 2>/dev/null || break
  sleep 0.1
done
[ -n "$rank1" ] || { wait "$job" || true; cat err.txt >&2; fail "rank 1 was not found at work"; }
kill -9 "$rank1"
rc=0
wait "$job" || rc=$?
[ "$rc" != 0 ] || fail "the killed run ended with status 0"
cp s.tsv killed.tsv && cp err.txt killed-err.txt

# What the summary on disk says: every record without its output is failed,
# every ok record's output is the uninterrupted run's, and rank 1's record is named.
[ "$(wc -l <s.tsv)" = 7 ] || fail "the summary on disk has not one row per record"
missing=0
while IFS=$'\t' read -r file status output _ _ message; do
  [ "$file" = file ] && continue
  if [ "$status" = ok ]; then
    cmp -s "$output" "ref/$output" || fail "$file is ok but its output is not the reference"
  elif [ -f "$output" ]; then
    [ "$status" = failed ] || fail "$file: status $status"
    cmp -s "$output" "ref/$output" || fail "$file: a partial output under the final name"
  else
    [ "$status" = failed ] || fail "$file has no output but reads $status"
    missing=$((missing + 1))
  fi
done <s.tsv
[ "$missing" -gt 0 ] || fail "the kill came too late: every output is there"
grep -q "not finished: rank 1 was working on it" s.tsv || fail "rank 1's record is not named"

run 0 "${mpirun[@]}" "$mpi" track "${files[@]}" "${opts[@]}" --resume --summary s.tsv
[ "$(awk -F'\t' '$2 == "failed"' s.tsv | wc -l)" = 0 ] || fail "the resumed run left failed rows"
mkdir now && cp ./*.xki now/
same_outputs ref now
echo "killed: $missing records were missing after the kill; --resume completed them"
