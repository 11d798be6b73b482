#!/usr/bin/env bash
# crv selftest against a reference with one value altered (this machine fuses no multiply-adds,
# so a library built with -ffp-contract=fast would not show it): exit 1, and the report names the
# export and the call, with both values.
set -u
crv=$1 golden=$2 altered=$3
sed 's/^\(CRV_TFromX 5 0\) [0-9a-f]\{16\}/\1 3ff0000000000001/' "$golden" >"$altered"
out=$("$crv" selftest --reference "$altered")
status=$?
echo "$out"
[ "$status" -eq 1 ] && grep -q '^53/54 exports reproduce the reference bits$' <<<"$out" &&
  grep -q '^CRV_TFromX call 5: reference 3ff0000000000001, this build [0-9a-f]\{16\}$' <<<"$out"
