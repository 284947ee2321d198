#!/usr/bin/env bash
# Builds the library, the command-line tool and the examples. Usage: scripts/build.sh [build-dir]
set -euo pipefail
cd "$(dirname "$0")/.."
source scripts/jobs.sh
build=${1:-build}
bash scripts/install-deps.sh
cmake -S . -B "$build" -DCMAKE_BUILD_TYPE=Release
cmake --build "$build" -j"$LUMO2D_JOBS"
