#!/usr/bin/env bash
# The main job on a built-in demo record: install what is missing, build,
# simulate a record of diffusing single molecules and show what Lumetra reads.
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
