#!/usr/bin/env bash
# Builds the Debian packages from a copy of the checkout (dpkg-buildpackage writes beside the tree
# it builds, so the copy sits below WORK_DIR and the checkout stays clean), checks them with
# lintian, installs them and runs their tests (debian/tests: the examples built through pkg-config
# and find_package(crv), the installed `crv selftest`, the Python module); then purges the
# packages and checks that the system is as it was.
# Usage: deb_test.sh SOURCE_DIR WORK_DIR   (as root, on a machine that may install packages)
# The suite already ran in CI's own builds, so the packages build with nocheck unless
# CRV_DEB_CHECK=1; the golden table is checked by the installed tool either way.
set -euo pipefail
src=$(cd "$1" && pwd) work=$2
packages=(libcrv0 libcrvhost0 libcrv-dev crv-tools python3-crv libcrv-doc)
version=$(dpkg-parsechangelog -l "$src/debian/changelog" -S Version)
rm -rf "$work"
mkdir -p "$work"
work=$(cd "$work" && pwd)
tree=$work/crv-${version%-*}
mkdir "$tree"

# The files git knows of as they are in the working tree (edits included, deletions left out),
# and nothing built.
(cd "$src" && git ls-files -z --cached --others --exclude-standard |
  while IFS= read -r -d '' f; do if [ -e "$f" ] || [ -L "$f" ]; then printf '%s\0' "$f"; fi; done |
  xargs -0 cp --parents --no-dereference -t "$tree")

options="parallel=2"
[ "${CRV_DEB_CHECK:-0}" = 1 ] || options="$options nocheck"
(cd "$tree" && DEB_BUILD_OPTIONS=$options dpkg-buildpackage -us -uc -b >"$work/build.log" 2>&1) ||
  { tail -n 60 "$work/build.log"; echo "dpkg-buildpackage failed (log: $work/build.log)"; exit 1; }
lintian --fail-on error,warning "$work"/*.changes

state() { dpkg-query -W -f='${Package} ${Version} ${db:Status-Abbrev}\n' | sort; }
state >"$work/before.txt"
purge() { apt-get purge -y -qq "${packages[@]}" >"$work/purge.log" 2>&1; }
trap purge EXIT
for p in "${packages[@]}"; do
  ! dpkg-query -W -f='${db:Status-Abbrev}' "$p" 2>/dev/null | grep -q '^ii' ||
    { echo "$p is installed already: purge it first"; trap - EXIT; exit 1; }
done
debs=()  # the six packages, not their -dbgsym companions
for p in "${packages[@]}"; do debs+=("$work/${p}_${version}_"*.deb); done
DEBIAN_FRONTEND=noninteractive apt-get install -y -qq "${debs[@]}" >"$work/install.log" 2>&1 ||
  { cat "$work/install.log"; exit 1; }

# The package's own tests (debian/tests, as autopkgtest runs them): the README's examples through
# pkg-config and find_package(crv), the installed `crv selftest`, the Python module.
cd "$tree"
# shellcheck disable=SC2013  # a "Tests:" field names one test or several, split at spaces
for t in $(sed -n 's/^Tests: *//p' debian/tests/control); do
  mkdir -p "$work/autopkgtest/$t"
  AUTOPKGTEST_TMP=$work/autopkgtest/$t "debian/tests/$t"
done

purge || { cat "$work/purge.log"; exit 1; }
trap - EXIT
state | diff "$work/before.txt" - || { echo "purging left the system changed"; exit 1; }
echo "Debian package test: ok"
