# Sourced by the picture scripts after `build` is set: installs Ghostscript when missing, builds
# the tool when missing, and makes a scratch directory `work` removed on exit.
if ! command -v gs >/dev/null; then
  SUDO=""; [ "$(id -u)" -ne 0 ] && SUDO=sudo
  $SUDO apt-get update -qq
  DEBIAN_FRONTEND=noninteractive $SUDO apt-get install -y -qq ghostscript
fi
[ -x "$build/apps/lumo2d" ] || bash scripts/build.sh "$build"
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
