#!/usr/bin/env bash
# Redraws the pictures of docs/function-curves-and-arc-length.md with the crv tool.
# Usage: bash docs/images/generate.sh [path/to/crv]   (default: build/release/tools/crv/crv)
set -euo pipefail
here=$(cd "$(dirname "$0")" && pwd)
crv=${1:-$here/../../build/release/tools/crv/crv}
[ -x "$crv" ] || { echo "no crv tool at $crv (build it with: cmake --build --preset release --target crv_tool)"; exit 1; }
cd "$here"

"$crv" ease --css 0.42,0,0.58,1 --n 9 --average 0,0.5 --svg ease-in-out.svg >/dev/null
"$crv" ease --css 0.34,1.56,0.64,1 --n 9 --svg ease-overshoot.svg >/dev/null
"$crv" ease --curve "0,0 0.9,0.2 0.1,0.8 1,1" --n 21 --svg ease-s-in-time.svg >/dev/null
"$crv" flatten --svg flatten.svg >/dev/null
"$crv" length --svg length-table.svg >/dev/null
"$crv" length --method spline --svg length-spline.svg >/dev/null
"$crv" by-distance --distance 25 --svg by-distance.svg >/dev/null
echo "pictures written to $here"
