#!/usr/bin/env bash
# Builds crv.wasm (scripts/web.sh), installs the JavaScript peers from this folder's lockfile into
# build/web-bench and prints the table of bench/README.md's "In the browser's runtime" section.
# About a minute on two cores; not part of the test command.
set -euo pipefail
cd "$(dirname "$0")/../.."
bash scripts/web.sh >/dev/null
b=build/web-bench
mkdir -p "$b"
if ! cmp -s bench/web/package-lock.json "$b/package-lock.json" || [ ! -d "$b/node_modules" ]; then
  cp bench/web/package.json bench/web/package-lock.json "$b/"
  (cd "$b" && npm ci --no-audit --no-fund --ignore-scripts --loglevel=error)
fi
cp bench/web/bench.mjs "$b/"
# --no-liftoff: the module compiled by the optimising tier from the start, as its hot loops are
# once warm; otherwise the first rows can run before the background tier-up (slow on a busy
# machine) has finished.
node --no-liftoff "$b/bench.mjs" build/web/crv.mjs
