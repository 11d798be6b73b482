#!/usr/bin/env bash
# Builds and runs every test twice, in the optimised build and under AddressSanitizer with
# UndefinedBehaviorSanitizer; then the Debian packages, the concurrency test under
# ThreadSanitizer, the golden table on every platform (scripts/platforms.sh), the playground's
# browser test (scripts/web.sh) and a short run of the fuzz target.
set -euo pipefail
cd "$(dirname "$0")/.."
bash scripts/setup.sh
jobs=$(nproc)
for preset in release asan; do
  echo "== $preset build"
  cmake --preset "$preset" >/dev/null
  cmake --build --preset "$preset" -j "$jobs"
  echo "== $preset tests"
  ctest --preset "$preset" -j "$jobs"
done

# The Debian packages, built from a copy of the tree under build/deb, checked with lintian,
# installed, used through pkg-config, find_package(crv), `crv selftest` and Python, and purged.
echo "== Debian packages"
bash tests/packaging/deb_test.sh . build/deb

# The concurrency test under ThreadSanitizer, in a build of its own that holds only that test.
# TSan maps its shadow memory at fixed addresses; where address randomisation gets in its way
# ("unexpected memory mapping") it runs with randomisation off.
echo "== tsan build"
cmake --preset tsan >/dev/null
cmake --build --preset tsan -j "$jobs"
echo "== tsan tests"
no_aslr=()
if setarch "$(uname -m)" -R true 2>/dev/null; then no_aslr=(setarch "$(uname -m)" -R); fi
"${no_aslr[@]}" ctest --preset tsan --no-tests=error

# Reproducible results: the library and the crv tool for every platform (x86-64 gcc and clang at
# -O0 and -O3, aarch64, Windows x64, WebAssembly), each running `crv selftest` against the golden
# table, which every one must reproduce bit for bit.
echo "== platforms (golden table)"
bash scripts/platforms.sh

# The playground (build/web) in headless chromium: its readouts against the native crv tool.
echo "== web playground (browser test)"
bash scripts/web.sh --test

# A short run of the fuzz target (clang, ASan + UBSan); scripts/fuzz.sh SECONDS runs
# longer ones.
echo "== fuzz smoke runs"
bash scripts/fuzz.sh 90
