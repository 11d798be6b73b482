#!/usr/bin/env bash
# Builds and runs every test twice: in the optimised build and under AddressSanitizer with
# UndefinedBehaviorSanitizer.
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
