#!/usr/bin/env bash
# Regenerates doc/refine.png: a lake-like domain with two islands (a .poly file with holes),
# refined by `lumo2d mesh` to angles of at least 30 degrees, drawn as PostScript and rendered by
# Ghostscript.
# Usage: scripts/refine-picture.sh [build-dir]
set -euo pipefail
cd "$(dirname "$0")/.."
build=${1:-build}
source scripts/picture-common.sh
python3 - "$work" <<'PY'
import math, sys
d = sys.argv[1]
rings = []   # counterclockwise outer shore, then the islands
rings.append([(50 + 40 * (1 + 0.2 * math.sin(3 * t) + 0.08 * math.cos(7 * t)) * math.cos(t) / 1.28,
               50 + 40 * (1 + 0.2 * math.sin(3 * t) + 0.08 * math.cos(7 * t)) * math.sin(t) / 1.28)
              for t in (2 * math.pi * k / 90 for k in range(90))])
islands = [(38, 58, 9, 24), (64, 38, 5, 16)]
for cx, cy, r, n in islands:
    rings.append([(cx + r * math.cos(2 * math.pi * k / n), cy + 0.7 * r * math.sin(2 * math.pi * k / n))
                  for k in range(n)])
with open(d + "/lake.poly", "w") as f:
    pts = [p for ring in rings for p in ring]
    f.write("%d 2 0 0\n" % len(pts))
    for i, (x, y) in enumerate(pts):
        f.write("%d %.17g %.17g\n" % (i + 1, x, y))
    f.write("%d 0\n" % len(pts))
    first = 1
    for ring in rings:
        for k in range(len(ring)):
            f.write("%d %d %d\n" % (first + k, first + k, first + (k + 1) % len(ring)))
        first += len(ring)
    f.write("%d\n" % len(islands))
    for i, (cx, cy, r, n) in enumerate(islands):
        f.write("%d %g %g\n" % (i + 1, cx, cy))
PY
(cd "$work" && "$OLDPWD/$build/apps/lumo2d" mesh lake.poly --min-angle 30 --max-area 12 --ps refine.ps)
mkdir -p doc
# The drawing occupies page points 30..575 x 185..760 of the A4 page.
gs -q -dSAFER -dBATCH -dNOPAUSE -sDEVICE=png16 -r72 -dTextAlphaBits=4 -dGraphicsAlphaBits=4 \
   -g545x575 -sOutputFile=doc/refine.png -c "<</PageOffset [-30 185]>> setpagedevice" -f "$work/refine.ps"
echo "wrote doc/refine.png"
