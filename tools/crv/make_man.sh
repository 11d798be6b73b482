#!/usr/bin/env bash
# Makes the man page crv.1 from the tool's own help: help2man formats `crv --help`, and the
# --help of each subcommand it lists goes in as a section of its own.
# Usage: make_man.sh CRV OUTPUT VERSION
set -euo pipefail
crv=$1 out=$2 version=$3
include=$(mktemp)
trap 'rm -f "$include"' EXIT
{
  echo "[SUBCOMMANDS]"
  for sub in $("$crv" --help | awk '/^Subcommands:/ {on = 1; next} on && NF == 0 {exit} on {print $1}'); do
    echo ".SS $sub"
    echo ".nf"
    # Backslashes and leading dots would read as roff.
    "$crv" "$sub" --help | sed 's/\\/\\e/g; s/^\./\\\&./'
    echo ".fi"
  done
} >"$include"
help2man --no-info --version-string="$version" --include="$include" --output="$out" \
  --name="cubic Bezier curve mathematics from the command line" "$crv"
