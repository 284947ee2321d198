#!/usr/bin/env bash
# Installs what the build and the tests need on a fresh Debian machine (no-op when present).
set -euo pipefail
need=()
dpkg -s libgmp-dev >/dev/null 2>&1 || need+=(libgmp-dev)
dpkg -s libgtest-dev >/dev/null 2>&1 || need+=(libgtest-dev)
dpkg -s cmake >/dev/null 2>&1 || need+=(cmake)
dpkg -s pkg-config >/dev/null 2>&1 || need+=(pkg-config)
if [ ${#need[@]} -gt 0 ]; then
  SUDO=""; [ "$(id -u)" -ne 0 ] && SUDO=sudo
  $SUDO apt-get update -qq
  DEBIAN_FRONTEND=noninteractive $SUDO apt-get install -y -qq "${need[@]}"
fi
# Test-only: CGAL, the peer of the constraint tests. Not fatal: without it CMake skips that
# comparison with a message.
if ! dpkg -s libcgal-dev >/dev/null 2>&1; then
  SUDO=""; [ "$(id -u)" -ne 0 ] && SUDO=sudo
  { $SUDO apt-get update -qq && DEBIAN_FRONTEND=noninteractive $SUDO apt-get install -y -qq libcgal-dev; } ||
    echo "install-deps: libcgal-dev could not be installed; the CGAL comparisons are skipped"
fi
