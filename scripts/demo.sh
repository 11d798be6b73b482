#!/usr/bin/env bash
# Builds the library and the crv tool, then runs `crv demo` on its embedded curves: it prints
# what it computes and writes the gallery (one SVG per subcommand and index.html) into ./crv-demo
# (or --out DIR), then prints where the gallery is. Then builds the browser playground
# (scripts/web.sh) and prints how to serve it.
set -euo pipefail
cd "$(dirname "$0")/.."
bash scripts/setup.sh
cmake --preset release >/dev/null
cmake --build --preset release --target crv_tool
./build/release/tools/crv/crv demo "$@"
bash scripts/web.sh
echo
echo "The playground: serve it with"
echo "  /usr/bin/python3 -m http.server -d \"$PWD/build/web\" 8000"
echo "and open http://localhost:8000/"
