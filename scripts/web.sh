#!/usr/bin/env bash
# Builds CRV for the browser into build/web/: crv.wasm (the library, Emscripten -O3, the wasm-web
# preset), crv.mjs (its ES module) and index.html (the playground), ready for any static server:
#   /usr/bin/python3 -m http.server -d build/web 8000    then open http://localhost:8000/
# Fails when crv.wasm exceeds its size budget of 300 KiB.
set -euo pipefail
cd "$(dirname "$0")/.."
out=build/web
budget=$((300 * 1024))
cmake --preset wasm-web >/dev/null
cmake --build --preset wasm-web -j "$(nproc)"
mkdir -p "$out"
cp build/wasm-web/web/crv.wasm web/crv.mjs web/index.html "$out/"
size=$(stat -c %s "$out/crv.wasm")
echo "build/web: crv.wasm $size bytes (budget $budget), crv.mjs, index.html"
if [ "$size" -gt "$budget" ]; then
  echo "crv.wasm is over its budget of $budget bytes" >&2
  exit 1
fi
