#!/usr/bin/env bash
# Installs the build into a scratch prefix and builds the examples against the installed package
# with find_package(crv) and with pkg-config, running what it builds.
# Usage: package_test.sh BUILD_DIR SOURCE_DIR WORK_DIR C_COMPILER CXX_COMPILER [EXTRA_FLAGS]
# EXTRA_FLAGS (the build's sanitizer flags, say) go to every compile and link.
set -euo pipefail
build=$1 source=$2 work=$3 cc=$4 cxx=$5 extra=${6:-}
rm -rf "$work"
mkdir -p "$work/pc"
prefix=$work/prefix
cmake --install "$build" --prefix "$prefix" >"$work/install.log"

libdir=$(dirname "$(find "$prefix" -name 'libcrv.so' -print -quit)")
for f in include/crv/crv.h include/crv/crv.hpp include/crv/host/seq.h bin/crv share/crv/golden.txt \
         "${libdir#"$prefix"/}"/{libcrvhost.so,pkgconfig/crv.pc,cmake/crv/crvConfig.cmake}; do
  [ -e "$prefix/$f" ] || { echo "not installed: $f"; exit 1; }
done
for f in include/host include/crv/host/host_test.h; do  # the stand-in host's controls stay private
  [ ! -e "$prefix/$f" ] || { echo "installed, but should not be: $f"; exit 1; }
done
soname=$(objdump -p "$libdir/libcrv.so" | awk '/SONAME/ {print $2}')
[[ $soname == libcrv.so.* && -e $libdir/$soname ]] || { echo "no versioned SONAME ($soname)"; exit 1; }
"$prefix/bin/crv" --version >/dev/null  # the tool finds its libraries by its own RUNPATH
"$prefix/bin/crv" selftest  # the installed library reproduces the installed reference bits

cmake -S "$source/examples" -B "$work/cmake" -G Ninja -DCMAKE_PREFIX_PATH="$prefix" \
  -DCMAKE_C_COMPILER="$cc" -DCMAKE_CXX_COMPILER="$cxx" -DCMAKE_C_FLAGS="$extra" \
  -DCMAKE_CXX_FLAGS="$extra" -DCMAKE_EXE_LINKER_FLAGS="$extra" >"$work/cmake-configure.log"
cmake --build "$work/cmake" >"$work/cmake-build.log"
"$work/cmake/host_tour"
"$work/cmake/geometry_tour"

export PKG_CONFIG_PATH=$libdir/pkgconfig
"$cc" -std=c99 $extra "$source/examples/host_tour.c" $(pkg-config --cflags --libs crv) -lm -o "$work/pc/host_tour"
# shellcheck disable=SC2046,SC2086
"$cxx" -std=c++17 $extra "$source/examples/geometry_tour.cpp" $(pkg-config --cflags --libs crv) -o "$work/pc/geometry_tour"
LD_LIBRARY_PATH=$libdir "$work/pc/host_tour"
rm -rf "$work"
echo "package test: ok"
