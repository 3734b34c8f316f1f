#!/usr/bin/env bash
# Builds the fuzz targets of fuzz/ with clang's libFuzzer, AddressSanitizer and
# UndefinedBehaviorSanitizer in build-fuzz/ (the core libraries they read
# through, no Qt), runs each for SECONDS (default 60), two at a time, and then
# merges the inputs that reached new code into fuzz/corpus/NAME (not with
# FUZZ_MERGE=0). FUZZ_JOBS sets how many run at once. FUZZ_BUILD_DIR names a
# tree already configured with -DLUMETRA_FUZZ=ON to build and run them in
# instead (CI's sanitizer tree, which holds the tests as well).
#
#   scripts/fuzz.sh [SECONDS] [TARGET...]      (targets: the names in fuzz/CMakeLists.txt)
#
# A crash, a broken invariant, a leak, an input taking over 2 s or a process
# over 512 MB fails the run: the input is printed in base64 and as a hex dump,
# and kept in build-fuzz/runs/NAME/artifacts/ (or FUZZ_BUILD_DIR's). Replay it with
#   build-fuzz/fuzz/fuzz_NAME FILE
# and keep it in fuzz/regressions/NAME/ once the defect is fixed.
set -euo pipefail
cd "$(dirname "$0")/.."
seconds=${1:-60}
shift || true
jobs=${FUZZ_JOBS:-2}
max_len=${FUZZ_MAX_LEN:-4096}
merge=${FUZZ_MERGE:-1}  # 0: leave fuzz/corpus as it is (CI)

if ! command -v clang++ >/dev/null; then
  echo "fuzz: clang++ is missing: scripts/install-deps.sh installs clang and libFuzzer" >&2
  exit 1
fi
build=${FUZZ_BUILD_DIR:-build-fuzz}
if [ -z "${FUZZ_BUILD_DIR:-}" ]; then
  cmake -S . -B build-fuzz -G Ninja -DCMAKE_CXX_COMPILER=clang++ \
    -DCMAKE_BUILD_TYPE=RelWithDebInfo -DCMAKE_CXX_FLAGS_RELWITHDEBINFO="-O1 -gline-tables-only" \
    -DLUMETRA_FUZZ=ON -DLUMETRA_GUI=OFF -DLUMETRA_TESTS=OFF -DLUMETRA_BENCH=OFF -DLUMETRA_MPI=OFF \
    >/dev/null
elif ! grep -q '^LUMETRA_FUZZ:BOOL=ON' "$build/CMakeCache.txt" 2>/dev/null; then
  echo "fuzz: $build is not a tree configured with -DLUMETRA_FUZZ=ON" >&2
  exit 1
fi
cmake --build "$build" --target fuzz_targets -j"$(nproc)"

targets=("$@")
if [ ${#targets[@]} -eq 0 ]; then
  mapfile -t targets <"$build/fuzz/fuzz_targets.txt"
fi

# One target: its own new-input folder first (libFuzzer writes there), then
# the kept corpus and regression inputs to start from.
run_one() {
  local name=$1 dir=$build/runs/$1
  rm -rf "$dir"
  mkdir -p "$dir/new" "$dir/artifacts"
  local corpora=("$dir/new" "fuzz/corpus/$name")
  [ -d "fuzz/regressions/$name" ] && corpora+=("fuzz/regressions/$name")
  set +e
  "$build/fuzz/fuzz_$name" -max_total_time="$seconds" -rss_limit_mb=512 -timeout=2 \
    -max_len="$max_len" -print_final_stats=1 -artifact_prefix="$dir/artifacts/" \
    "${corpora[@]}" >"$dir/log" 2>&1
  echo $? >"$dir/status"
  set -e
}

running=0
for t in "${targets[@]}"; do
  echo "fuzz: $t for $seconds s"
  run_one "$t" &
  running=$((running + 1))
  if [ "$running" -ge "$jobs" ]; then
    wait -n
    running=$((running - 1))
  fi
done
wait

failed=0
for t in "${targets[@]}"; do
  dir=$build/runs/$t
  runs=$(sed -n 's/^stat::number_of_executed_units: *//p' "$dir/log" | tail -1)
  cov=$(grep -oE 'cov: [0-9]+ ft: [0-9]+' "$dir/log" | tail -1 || true)
  if [ "$(cat "$dir/status")" != 0 ]; then
    failed=1
    echo "fuzz: $t FAILED (exit $(cat "$dir/status")) after ${runs:-?} runs; the end of its log:"
    tail -n 60 "$dir/log"
    for a in "$dir"/artifacts/*; do
      [ -f "$a" ] || continue
      echo "fuzz: $t input $a ($(stat -c %s "$a") bytes), base64:"
      base64 -w 76 "$a"
      echo "fuzz: $t input as hex:"
      od -A x -t x1z -v "$a" | head -n 64
    done
    continue
  fi
  # Inputs that reached new code join the kept corpus.
  before=$(find "fuzz/corpus/$t" -type f | wc -l)
  if [ "$merge" != 0 ]; then
    "$build/fuzz/fuzz_$t" -merge=1 -rss_limit_mb=512 -timeout=2 -max_len="$max_len" \
      "fuzz/corpus/$t" "$dir/new" >"$dir/merge.log" 2>&1 || true
  fi
  after=$(find "fuzz/corpus/$t" -type f | wc -l)
  echo "fuzz: $t ok: ${runs:-?} runs, ${cov:-no coverage line}, corpus $before -> $after files"
done
exit "$failed"
