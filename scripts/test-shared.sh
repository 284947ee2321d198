#!/usr/bin/env bash
# Builds the shared library and checks what a host sees of it: the exported symbols (public
# API only), the README example linked against it, the installed package consumed through
# find_package and pkg-config, and the installed lumo2d tool, which must find the shared
# library through its run path. Usage: scripts/test-shared.sh [build-dir]
set -euo pipefail
cd "$(dirname "$0")/.."
source scripts/jobs.sh
build=${1:-build-shared}
bash scripts/install-deps.sh --tests
cmake -S . -B "$build" -DCMAKE_BUILD_TYPE=Release -DBUILD_SHARED_LIBS=ON -DLUMO2D_BUILD_TESTS=ON -DLUMO2D_BUILD_APPS=ON
cmake --build "$build" -j"$LUMO2D_JOBS" --target lumo2d lumo2d_cli example_hello
ctest --test-dir "$build" --output-on-failure -R '^(shared_library_exports|example_hello|package_consumer)$'
