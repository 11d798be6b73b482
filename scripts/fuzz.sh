#!/usr/bin/env bash
# Builds the libFuzzer target over the test catalogue (configure preset `fuzz`: clang, ASan +
# UBSan) and runs it.
#
#   scripts/fuzz.sh [SECONDS]     default: 90
#
# The run starts from the seeds in fuzz/corpus/ (one per catalogue row) and keeps what it learns
# in build/fuzz/corpus/ (the repository's seeds are never written). A crash, a leak, a sanitizer
# report, a broken invariant or an input running longer than 10 s stops the run with the input
# saved as build/fuzz/artifacts/crash-* (or timeout-*, leak-*): reproduce it with
# build/fuzz/fuzz/catalogue_fuzz FILE. Set CRV_FUZZ_BUILD to use another build directory.
set -euo pipefail
cd "$(dirname "$0")/.."

seconds=${1:-90}
build=${CRV_FUZZ_BUILD:-build/fuzz}
cmake --preset fuzz -B "$build" >/dev/null
cmake --build "$build" --target catalogue_fuzz -j "$(nproc)"

mkdir -p "$build/artifacts" "$build/corpus"
export ASAN_OPTIONS=detect_leaks=1:abort_on_error=1
export UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1
echo "== fuzz catalogue_fuzz for ${seconds}s"
log="$build/artifacts/catalogue_fuzz.log"
if ! "$build/fuzz/catalogue_fuzz" -max_total_time="$seconds" -timeout=10 -print_final_stats=1 \
    -artifact_prefix="$build/artifacts/" "$build/corpus" fuzz/corpus >"$log" 2>&1; then
  tail -n 60 "$log"
  echo "fuzz catalogue_fuzz FAILED (log: $log)" >&2
  exit 1
fi
grep -E "^stat::number_of_executed_units|^stat::new_units_added|^Done" "$log" || true
