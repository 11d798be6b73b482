#!/usr/bin/env bash
# Builds the libFuzzer targets (configure preset `fuzz`: clang, ASan + UBSan) and runs them.
#
#   scripts/fuzz.sh [TARGET|all] [SECONDS]     default: all targets, 30 s each
#
# Each run starts from the seeds in fuzz/corpus/<target>/ and keeps what it learns in
# build/fuzz/corpus/<target>/ (the repository's seeds are never written). A crash, a leak, a
# sanitizer report, a broken invariant or an input running longer than 10 s stops the run with
# the input saved as build/fuzz/artifacts/<target>-crash-* (or -timeout-*, -leak-*): reproduce it
# with build/fuzz/fuzz/<target> FILE. Set CRV_FUZZ_BUILD to use another build directory.
set -euo pipefail
cd "$(dirname "$0")/.."

target=${1:-all}
seconds=${2:-30}
build=${CRV_FUZZ_BUILD:-build/fuzz}
targets=(evaluation_fuzz function_curves_fuzz arclength_fuzz fit_fuzz adaptive_fuzz polynomial_fuzz)
if [ "$target" != all ]; then
  case " ${targets[*]} " in
    *" $target "*) targets=("$target") ;;
    *) echo "unknown fuzz target '$target' (one of: ${targets[*]}, all)" >&2; exit 2 ;;
  esac
fi

cmake --preset fuzz -B "$build" >/dev/null
cmake --build "$build" --target "${targets[@]}" -j "$(nproc)"

mkdir -p "$build/artifacts"
export ASAN_OPTIONS=detect_leaks=1:abort_on_error=1
export UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1
for t in "${targets[@]}"; do
  mkdir -p "$build/corpus/$t"
  echo "== fuzz $t for ${seconds}s"
  log="$build/artifacts/$t.log"
  if ! "$build/fuzz/$t" -max_total_time="$seconds" -timeout=10 -print_final_stats=1 \
      -artifact_prefix="$build/artifacts/$t-" "$build/corpus/$t" "fuzz/corpus/$t" >"$log" 2>&1; then
    tail -n 60 "$log"
    echo "fuzz $t FAILED (log: $log)" >&2
    exit 1
  fi
  grep -E "^stat::number_of_executed_units|^stat::new_units_added|^Done" "$log" || true
done
