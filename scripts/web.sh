#!/usr/bin/env bash
# Builds CRV for the browser into build/web/: crv.wasm (the library, Emscripten -O3, the wasm-web
# preset), crv.mjs (its ES module) and index.html (the playground), ready for any static server:
#   /usr/bin/python3 -m http.server -d build/web 8000    then open http://localhost:8000/
# Fails when crv.wasm exceeds its size budget of 300 KiB.
#
#   scripts/web.sh --test   then checks crv.mjs bit for bit against the native crv tool (built in
#                           build/release when missing) and runs the browser test in headless
#                           chromium (web/test/); puppeteer-core is installed from web/test's
#                           lockfile into build/web-test, where the screenshots land too.
set -euo pipefail
cd "$(dirname "$0")/.."
out=build/web
budget=$((300 * 1024))
jobs=$(nproc)
# Configuring runs Emscripten's compiler checks (half a minute): only for a new build or changed
# presets (an existing build reconfigures itself when a CMakeLists.txt changes).
if [ ! -f build/wasm-web/build.ninja ] || [ CMakePresets.json -nt build/wasm-web/build.ninja ]; then
  cmake --preset wasm-web >/dev/null
fi
cmake --build --preset wasm-web -j "$jobs"
mkdir -p "$out"
cp build/wasm-web/web/crv.wasm web/crv.mjs web/index.html "$out/"
size=$(stat -c %s "$out/crv.wasm")
echo "build/web: crv.wasm $size bytes (budget $budget), crv.mjs, index.html"
if [ "$size" -gt "$budget" ]; then
  echo "crv.wasm is over its budget of $budget bytes" >&2
  exit 1
fi
[ "${1:-}" = --test ] || exit 0

# The native answers the page is checked against.
if [ ! -f build/release/build.ninja ]; then cmake --preset release >/dev/null; fi
cmake --build build/release --target crv_tool -j "$jobs"

# puppeteer-core, reinstalled only when the lockfile changed; it downloads no browser.
t=build/web-test
mkdir -p "$t"
if ! cmp -s web/test/package-lock.json "$t/package-lock.json" || [ ! -d "$t/node_modules" ]; then
  cp web/test/package.json web/test/package-lock.json "$t/"
  (cd "$t" && npm ci --no-audit --no-fund --ignore-scripts --loglevel=error)
fi
cp web/test/bits_test.mjs web/test/browser_test.mjs "$t/"
timeout 300 node "$t/bits_test.mjs" "$out/crv.mjs" build/release/tools/crv/crv
timeout 300 node "$t/browser_test.mjs" "$out" build/release/tools/crv/crv "$t/artefacts"
