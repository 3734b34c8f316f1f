#!/usr/bin/env bash
# Installs what is missing, builds, and runs every test (the desktop
# program's tests under Qt's offscreen platform).
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/install-deps.sh
scripts/build.sh
ctest --test-dir build --output-on-failure -j"$(nproc)"
