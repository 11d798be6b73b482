#!/usr/bin/env bash
# Builds and runs every test twice, in the optimised build and under AddressSanitizer with
# UndefinedBehaviorSanitizer; then the concurrency test under ThreadSanitizer, the golden table
# under gcc -O0 and clang -O2, and a short run of the fuzz target.
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

# Reproducible results: the release and asan builds' ctest compared gcc -O2 with the golden
# table; gcc at -O0 and clang at -O2 must reproduce it bit for bit too (only the crv tool is
# built, whose selftest checks it).
for preset in golden-gcc-O0 golden-clang-O2; do
  echo "== $preset golden table"
  cmake --preset "$preset" >/dev/null
  cmake --build --preset "$preset" -j "$jobs"
  "build/$preset/tools/crv/crv" selftest --reference catalogue/golden.txt
done

# A short run of the fuzz target (clang, ASan + UBSan); scripts/fuzz.sh SECONDS runs
# longer ones.
echo "== fuzz smoke runs"
bash scripts/fuzz.sh 90
