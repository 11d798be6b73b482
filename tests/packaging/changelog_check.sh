#!/usr/bin/env bash
# The release is numbered in three places that must agree: include/crv/version.h (which the build
# reads), the top entry of CHANGELOG.md and the upstream part of debian/changelog's top entry.
# Usage: changelog_check.sh SOURCE_DIR
set -euo pipefail
src=$1
header=$(awk '$1 == "#define" && $2 ~ /^CRV_VERSION_(MAJOR|MINOR|PATCH)$/ {v[$2] = $3}
  END {print v["CRV_VERSION_MAJOR"] "." v["CRV_VERSION_MINOR"] "." v["CRV_VERSION_PATCH"]}' \
  "$src/include/crv/version.h")
# "## 0.1.0 (unreleased)" or "## 0.1.0 - 2026-11-25": the first version heading.
changes=$(sed -n 's/^## \([0-9][0-9.]*\).*/\1/p' "$src/CHANGELOG.md" | head -n 1)
# "crv (1:0.1.0-2) unstable; ...": no epoch, no Debian revision.
debian=$(sed -n '1s/^crv (\([0-9]*:\)\{0,1\}\(.*\)-[^-]*).*/\2/p' "$src/debian/changelog")
echo "version.h $header, CHANGELOG.md $changes, debian/changelog $debian"
[[ $header =~ ^[0-9]+\.[0-9]+\.[0-9]+$ && $header == "$changes" && $header == "$debian" ]] ||
  { echo "the three versions differ (or one is missing)"; exit 1; }
