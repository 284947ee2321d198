#!/usr/bin/env bash
# Regenerates doc/constraints.png: 300 random points and 12 crossing constraint segments,
# triangulated by `lumo2d triangulate --segments`, drawn as PostScript and rendered by Ghostscript.
# Usage: scripts/constraints-picture.sh [build-dir]
set -euo pipefail
cd "$(dirname "$0")/.."
build=${1:-build}
source scripts/picture-common.sh
python3 - "$work" <<'PY'
import math, random, sys
random.seed(7)
d = sys.argv[1]
with open(d + "/pts.txt", "w") as f:
    for _ in range(300):
        f.write("%.17g %.17g\n" % (random.uniform(0, 100), random.uniform(0, 100)))
with open(d + "/segs.con", "w") as f:
    for k in range(12):
        a = math.pi * k / 12
        f.write("%.17g %.17g %.17g %.17g\n" % (50 - 45 * math.cos(a), 50 - 40 * math.sin(a) + 5 * k - 30,
                                              50 + 45 * math.cos(a), 50 + 40 * math.sin(a)))
PY
(cd "$work" && "$OLDPWD/$build/apps/lumo2d" triangulate pts.txt --segments segs.con --ps constraints.ps)
mkdir -p doc
gs -q -dSAFER -dBATCH -dNOPAUSE -sDEVICE=png256 -r100 -dTextAlphaBits=4 -dGraphicsAlphaBits=4 \
   -g757x799 -sOutputFile=doc/constraints.png -c "<</PageOffset [-30 185]>> setpagedevice" -f "$work/constraints.ps"
echo "wrote doc/constraints.png"
