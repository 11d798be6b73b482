#!/usr/bin/env bash
# Builds libcrv and the crv tool (nothing else) for every platform and runs `crv selftest` there,
# the cross builds under an emulator: qemu-aarch64, wine, node. Prints one line per platform,
#   x86-64 gcc -O0: 54/54 exports reproduce the reference bits
# and exits non-zero after trying them all if any build failed or any export gave other bits.
# The logs and the selftest reports are in build/platforms/.
#
#   scripts/platforms.sh [PRESET...]   only these platforms (by preset, e.g. golden-wasm)
set -uo pipefail
cd "$(dirname "$0")/.."
reference=catalogue/golden.txt
logs=build/platforms
mkdir -p "$logs"
jobs=$(nproc)

# Preset, then the name printed. "release" is the optimised build scripts/test.sh makes first
# (gcc at the shipped -O3), reused as it is when it is there.
platforms=(
  "golden-gcc-O0|x86-64 gcc -O0"
  "release|x86-64 gcc -O3"
  "golden-clang-O0|x86-64 clang -O0"
  "golden-clang-O3|x86-64 clang -O3"
  "golden-aarch64|aarch64 gcc -O3 (qemu)"
  "golden-mingw64|Windows x64 mingw-w64 gcc -O3 (wine)"
  "golden-wasm|WebAssembly emscripten -O3 (node)"
)

# The command that runs the tool the preset built.
runner() {
  local dir="build/$1/tools/crv"
  case "$1" in
    golden-aarch64) echo qemu-aarch64 -L /usr/aarch64-linux-gnu "$dir/crv" ;;
    golden-mingw64) echo wine "$dir/crv.exe" ;;
    golden-wasm) echo node "$dir/crv.js" ;;
    *) echo "$dir/crv" ;;
  esac
}

build() {
  local preset=$1
  if [ "$preset" = release ] && [ -f build/release/build.ninja ]; then
    cmake --build build/release --target crv_tool -j "$jobs"
  else
    cmake --preset "$preset" && cmake --build --preset "$preset" --target crv_tool -j "$jobs"
  fi
}

# Wine makes its prefix on the first run (some 15 s); the build directory's own prefix keeps
# the user's out of it, and no dialog asks for the Mono or Gecko packages.
wine_env() {
  export WINEPREFIX="$PWD/build/golden-mingw64/wine" WINEDEBUG=-all WINEDLLOVERRIDES="mscoree,mshtml="
  timeout 600 wineboot --init >/dev/null 2>&1
}

failed=0
for entry in "${platforms[@]}"; do
  preset=${entry%%|*}
  name=${entry#*|}
  if [ $# -gt 0 ] && ! printf '%s\n' "$@" | grep -qxF "$preset"; then continue; fi
  log="$logs/$preset.log"
  report="$logs/$preset.selftest"
  start=$SECONDS
  if ! build "$preset" >"$log" 2>&1; then
    echo "$name: the build failed (see $log)"
    failed=1
    continue
  fi
  built=$((SECONDS - start))
  [ "$preset" = golden-mingw64 ] && wine_env
  # Windows writes its lines with CR LF.
  # shellcheck disable=SC2046
  timeout 600 $(runner "$preset") selftest --reference "$reference" 2>&1 | tr -d '\r' >"$report"
  status=${PIPESTATUS[0]}
  [ "$preset" = golden-mingw64 ] && wineserver -k 2>/dev/null
  summary=$(grep -m1 "exports reproduce the reference bits" "$report")
  echo "$name: ${summary:-crv selftest exited with $status and no summary (see $report)}"
  echo "  ($preset: built in $built s, ran in $((SECONDS - start - built)) s)" >&2
  if [ "$status" -ne 0 ]; then
    grep -oE '^CRV_[A-Za-z0-9_]+ call' "$report" | cut -d' ' -f1 | sed 's/^/  differs: /' >&2
    failed=1
  fi
done
exit "$failed"
