#!/usr/bin/env bash
# The main job on a built-in demo record: install what is missing, build,
# simulate a record of diffusing single molecules, show what Lumetra reads,
# track the molecules and score the tracks against the simulation's truth; then a record of
# bleaching spots, its single steps detected and scored against the truth; last,
# a batch run of the step test over both records with its summary table.
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/install-deps.sh
scripts/build.sh
mkdir -p out
cli=build/cli/lumetra-cli
echo "== lumetra-cli simulate out/demo.xkv"
$cli simulate out/demo.xkv
echo "== lumetra-cli info out/demo.xkv"
$cli info out/demo.xkv
echo "== lumetra-cli track out/demo.xkv --out out/demo.xki --tsv out/demo.tracks.tsv"
$cli track out/demo.xkv --out out/demo.xki --tsv out/demo.tracks.tsv
echo "== lumetra-cli eval out/demo.tracks.tsv out/demo.truth.tsv"
$cli eval out/demo.tracks.tsv out/demo.truth.tsv
echo "== lumetra-cli simulate out/steps-demo.xkv --frames 300 --diffusion 0 --bleach-prob 0.005 --photons 1000"
$cli simulate out/steps-demo.xkv --frames 300 --diffusion 0 --bleach-prob 0.005 --photons 1000
echo "== lumetra-cli steps out/steps-demo.xkv --out out/steps-demo.txt --tsv out/steps-demo.tsv"
$cli steps out/steps-demo.xkv --out out/steps-demo.txt --tsv out/steps-demo.tsv
echo "== lumetra-cli eval-steps out/steps-demo.tsv out/steps-demo.steps.tsv"
$cli eval-steps out/steps-demo.tsv out/steps-demo.steps.tsv
echo "== lumetra-cli batch stest out/demo.xkv out/steps-demo.xkv --summary out/batch-summary.tsv"
$cli batch stest out/demo.xkv out/steps-demo.xkv --summary out/batch-summary.tsv
