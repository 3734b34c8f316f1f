#!/usr/bin/env bash
# Configures and builds the Release tree in build/ (the demo, the tests and the
# benchmarks all use it).
set -euo pipefail
cd "$(dirname "$0")/.."
cmake -S . -B build -G Ninja -DCMAKE_BUILD_TYPE=Release >/dev/null
cmake --build build -j"$(nproc)"
