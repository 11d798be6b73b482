#!/usr/bin/env bash
# Builds the library and the crv tool, then runs `crv demo` on its embedded curves: it prints
# what it computes and writes the gallery (one SVG per subcommand and index.html) into ./crv-demo
# (or --out DIR), then prints where the gallery is.
set -euo pipefail
cd "$(dirname "$0")/.."
bash scripts/setup.sh
cmake --preset release >/dev/null
cmake --build --preset release --target crv_tool
./build/release/tools/crv/crv demo "$@"
