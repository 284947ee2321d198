#!/usr/bin/env bash
# Builds and runs every benchmark (Release). CGAL is installed as the peer when missing.
# Usage: scripts/bench.sh [benchmark-name-filter]
set -euo pipefail
cd "$(dirname "$0")/.."
source scripts/jobs.sh
bash scripts/install-deps.sh
if ! dpkg -s libcgal-dev >/dev/null 2>&1; then
  apt-get update -qq && DEBIAN_FRONTEND=noninteractive apt-get install -y -qq libcgal-dev
fi
cmake -S . -B build-bench -DCMAKE_BUILD_TYPE=Release -DLUMO2D_BUILD_BENCH=ON -DLUMO2D_BUILD_TESTS=OFF
cmake --build build-bench -j"$LUMO2D_JOBS"
for b in build-bench/bench/bench_*; do
  [ -x "$b" ] || continue
  case "$(basename "$b")" in *${1:-}*) echo "== $(basename "$b")"; "$b" ;; esac
done
