#!/usr/bin/env bash
# Builds the library and runs the whole test suite. Usage: scripts/test.sh [build-dir] [extra cmake options]
set -euo pipefail
cd "$(dirname "$0")/.."
build=${1:-build}
shift || true
bash scripts/install-deps.sh
cmake -S . -B "$build" -DCMAKE_BUILD_TYPE=Release -DLUMO2D_BUILD_TESTS=ON "$@"
cmake --build "$build" -j"$(nproc)"
ctest --test-dir "$build" --output-on-failure -j"$(nproc)"
