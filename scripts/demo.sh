#!/usr/bin/env bash
# Builds the library and the crv tool, then runs `crv demo` on its embedded curves.
set -euo pipefail
cd "$(dirname "$0")/.."
bash scripts/setup.sh
cmake --preset release >/dev/null
cmake --build --preset release --target crv_tool
./build/release/tools/crv/crv demo "$@"
