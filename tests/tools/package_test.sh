#!/usr/bin/env bash
# Installs the build into a scratch prefix the way README.md's "Your first program" says, and
# builds and runs its programs as it says; then builds the examples against the installed package
# with find_package(crv) and with pkg-config, running what it builds. Last, an install of a build
# that made nothing must stop before copying anything.
# Usage: package_test.sh BUILD_DIR SOURCE_DIR WORK_DIR C_COMPILER CXX_COMPILER [EXTRA_FLAGS]
# EXTRA_FLAGS (the build's sanitizer flags, say) go to every compile and link.
set -euo pipefail
build=$1 source=$2 work=$3 cc=$4 cxx=$5 extra=${6:-}
rm -rf "$work"
mkdir -p "$work/pc" "$work/readme/home"

# The fenced block after the N-th line "<!-- package_test: TAG -->" of the README.
readme_block() {
  awk -v tag="<!-- package_test: $1 -->" -v n="${2:-1}" '
    $0 == tag { seen++; next }
    seen == n && /^```/ { if (inside) exit; inside = 1; next }
    inside { print }' "$source/README.md"
}
for f in first_program.c arc_length.cpp; do
  readme_block "examples/$f" >"$work/readme/$f"
  cmp -s "$work/readme/$f" "$source/examples/$f" || { echo "README's $f is not examples/$f"; exit 1; }
done
# The README's lines as they stand, with this build and compilers (and flags) in place of
# build/release, cc and c++, and HOME a scratch directory, so the prefix is $HOME/crv.
{ readme_block install; readme_block run 1; readme_block run 2; } |
  sed -e "s#build/release#$build#" -e "s#^cc #\"$cc\" $extra #" -e "s#^c++ #\"$cxx\" $extra #" \
  >"$work/readme/steps.sh"
(cd "$work/readme" && HOME=$work/readme/home bash -euo pipefail steps.sh) >"$work/readme/log" 2>&1 ||
  { cat "$work/readme/steps.sh" "$work/readme/log"; echo "README's first programs failed"; exit 1; }
prefix=$work/readme/home/crv

libdir=$(dirname "$(find "$prefix" -name 'libcrv.so' -print -quit)")
for f in include/crv/crv.h include/crv/crv.hpp include/crv/host/seq.h bin/crv share/crv/golden.txt \
         "${libdir#"$prefix"/}"/{libcrvhost.so,pkgconfig/crv.pc,cmake/crv/crvConfig.cmake}; do
  [ -e "$prefix/$f" ] || { echo "not installed: $f"; exit 1; }
done
for f in include/host include/crv/host/host_test.h; do  # the stand-in host's controls stay private
  [ ! -e "$prefix/$f" ] || { echo "installed, but should not be: $f"; exit 1; }
done
if [ -e "$prefix/share/doc/crv/README.md" ]; then  # the docs component, where Doxygen was found
  for f in accuracy.md accuracy-nearest-by-size.svg host-integration.md; do
    [ -e "$prefix/share/doc/crv/$f" ] || { echo "not installed: share/doc/crv/$f"; exit 1; }
  done
fi
soname=$(objdump -p "$libdir/libcrv.so" | awk '/SONAME/ {print $2}')
[[ $soname == libcrv.so.* && -e $libdir/$soname ]] || { echo "no versioned SONAME ($soname)"; exit 1; }
"$prefix/bin/crv" --version >/dev/null  # the tool finds its libraries by its own RUNPATH
"$prefix/bin/crv" selftest  # the installed library reproduces the installed reference bits

cmake -S "$source/examples" -B "$work/cmake" -G Ninja -DCMAKE_PREFIX_PATH="$prefix" \
  -DCMAKE_C_COMPILER="$cc" -DCMAKE_CXX_COMPILER="$cxx" -DCMAKE_C_FLAGS="$extra" \
  -DCMAKE_CXX_FLAGS="$extra" -DCMAKE_EXE_LINKER_FLAGS="$extra" >"$work/cmake-configure.log"
cmake --build "$work/cmake" >"$work/cmake-build.log"
for example in host_tour geometry_tour first_program arc_length; do "$work/cmake/$example" >/dev/null; done

export PKG_CONFIG_PATH=$libdir/pkgconfig
"$cc" -std=c99 $extra "$source/examples/host_tour.c" $(pkg-config --cflags --libs crv) -lm -o "$work/pc/host_tour"
# shellcheck disable=SC2046,SC2086
"$cxx" -std=c++17 $extra "$source/examples/geometry_tour.cpp" $(pkg-config --cflags --libs crv) -o "$work/pc/geometry_tour"
LD_LIBRARY_PATH=$libdir "$work/pc/host_tour"

# A build that made nothing (scripts/demo.sh makes only the tool): the install stops at once,
# names the targets to build and copies nothing.
cmake -S "$source" -B "$work/unbuilt" -G Ninja -DCRV_BUILD_TESTS=OFF -DCRV_BUILD_BENCH=OFF \
  -DCRV_BUILD_PYTHON=OFF >"$work/unbuilt.log"
if cmake --install "$work/unbuilt" --prefix "$work/unbuilt-prefix" >"$work/unbuilt.log" 2>&1; then
  echo "the install of an unbuilt tree succeeded"; exit 1
fi
grep -q -- "--target crv_tool .*crv crvhost" "$work/unbuilt.log" ||
  { cat "$work/unbuilt.log"; echo "no targets named"; exit 1; }
[ ! -e "$work/unbuilt-prefix" ] || { echo "an install that stopped copied files"; exit 1; }
rm -rf "$work"
echo "package test: ok"
