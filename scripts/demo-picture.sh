#!/usr/bin/env bash
# Regenerates the README's pictures from `lumo2d demo`: doc/demo.svg (the SVG drawing, as
# written), doc/demo.png (the PostScript drawing, through Ghostscript) and doc/demo-web.png
# (the browser scene in headless Chromium).
# Usage: scripts/demo-picture.sh [build-dir]
set -euo pipefail
cd "$(dirname "$0")/.."
build=${1:-build}
need=()
command -v gs >/dev/null || need+=(ghostscript)
command -v chromium >/dev/null || need+=(chromium)
if [ ${#need[@]} -gt 0 ]; then
  SUDO=""; [ "$(id -u)" -ne 0 ] && SUDO=sudo
  $SUDO apt-get update -qq
  DEBIAN_FRONTEND=noninteractive $SUDO apt-get install -y -qq "${need[@]}"
fi
[ -x "$build/apps/lumo2d" ] || bash scripts/build.sh "$build"
work=$(mktemp -d)
trap 'kill "${server:-}" 2>/dev/null || true; rm -rf "$work"' EXIT
(cd "$work" && "$OLDPWD/$build/apps/lumo2d" demo)
mkdir -p doc
cp "$work/lumo2d-demo/demo.svg" doc/demo.svg
# The drawing occupies page points 30..575 x 185..760 of the A4 page.
gs -q -dSAFER -dBATCH -dNOPAUSE -sDEVICE=png256 -r100 -dTextAlphaBits=4 -dGraphicsAlphaBits=4 \
   -g757x799 -sOutputFile=doc/demo.png -c "<</PageOffset [-30 185]>> setpagedevice" -f "$work/lumo2d-demo/demo.ps"
port=$(python3 -c 'import socket; s=socket.socket(); s.bind(("127.0.0.1", 0)); print(s.getsockname()[1])')
python3 -m http.server "$port" --bind 127.0.0.1 -d "$work/lumo2d-demo/web" >/dev/null 2>&1 &
server=$!
sleep 1
timeout 120 chromium --headless --no-sandbox --disable-gpu --no-first-run --disable-background-networking \
  --disable-component-update --disable-sync --user-data-dir="$work/profile" --window-size=1100,800 \
  --virtual-time-budget=10000 --screenshot="$PWD/doc/demo-web.png" "http://127.0.0.1:$port/index.html" 2>/dev/null
echo "wrote doc/demo.svg, doc/demo.png and doc/demo-web.png"
