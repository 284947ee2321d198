#!/usr/bin/env bash
# Builds the library and runs the whole test suite.
# Usage: scripts/test.sh [build-dir] [extra cmake options]
#   e.g. scripts/test.sh build-asan -DLUMO2D_SANITIZE=ON
set -euo pipefail
cd "$(dirname "$0")/.."
source scripts/jobs.sh
build=${1:-build}
shift || true
bash scripts/install-deps.sh --tests
cmake -S . -B "$build" -DCMAKE_BUILD_TYPE=Release -DLUMO2D_BUILD_TESTS=ON "$@"
cmake --build "$build" -j"$LUMO2D_JOBS"
ctest --test-dir "$build" --output-on-failure -j"$LUMO2D_JOBS"
