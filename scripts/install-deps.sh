#!/usr/bin/env bash
# Installs what the build and the tests need on a fresh Debian machine, from Debian's own
# packages; a no-op for what is present. Usage: scripts/install-deps.sh [--tests]
#   always:   cmake, pkg-config (the build and the installed package's .pc file) and
#             libgmp-dev (exact arithmetic, the library's only dependency)
#   --tests:  libgtest-dev (the unit tests), python3 and chromium (the browser test opens the
#             demo's scene in headless Chromium; without a browser that test is skipped)
set -euo pipefail
need=()
want() { dpkg -s "$1" >/dev/null 2>&1 || need+=("$1"); }
want cmake
want pkg-config
want libgmp-dev
if [ "${1:-}" = "--tests" ]; then
  want libgtest-dev
  command -v python3 >/dev/null || want python3
  command -v chromium >/dev/null || command -v chromium-browser >/dev/null || want chromium
fi
if [ ${#need[@]} -gt 0 ]; then
  echo "install-deps: installing ${need[*]}"
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
