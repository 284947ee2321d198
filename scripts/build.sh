#!/usr/bin/env bash
# Builds the library and the command-line tool, what `lumo2d demo` needs; the tests are
# scripts/test.sh's job. Usage: scripts/build.sh [build-dir]
set -euo pipefail
cd "$(dirname "$0")/.."
source scripts/jobs.sh
build=${1:-build}
bash scripts/install-deps.sh
# A new build directory leaves the tests out (they need GoogleTest); one that scripts/test.sh
# configured keeps them.
tests=()
[ -f "$build/CMakeCache.txt" ] || tests=(-DLUMO2D_BUILD_TESTS=OFF)
cmake -S . -B "$build" -DCMAKE_BUILD_TYPE=Release "${tests[@]}"
cmake --build "$build" -j"$LUMO2D_JOBS" --target lumo2d lumo2d_cli
