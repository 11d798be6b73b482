#!/usr/bin/env bash
# Installs the build into a fresh prefix and builds the examples against the installed package
# twice: with find_package(crv) and with pkg-config; then runs both programs of each build.
# Usage: package_test.sh BUILD_DIR SOURCE_DIR WORK_DIR C_COMPILER CXX_COMPILER [EXTRA_FLAGS]
# EXTRA_FLAGS (e.g. the sanitizer flags of the build) go to every compile and link.
set -euo pipefail
build=$1 source=$2 work=$3 cc=$4 cxx=$5 extra=${6:-}

rm -rf "$work"
mkdir -p "$work"
prefix=$work/prefix
cmake --install "$build" --prefix "$prefix" >"$work/install.log"

# The package as a host integrator meets it.
libdir=$(dirname "$(find "$prefix" -name 'libcrv.so' -print -quit)")
for f in include/crv/crv.h include/crv/crv.hpp include/host/seq.h include/host/geo.h bin/crv; do
  [ -e "$prefix/$f" ] || { echo "not installed: $f"; exit 1; }
done
for f in libcrv.so libcrvhost.so pkgconfig/crv.pc pkgconfig/crvhost.pc cmake/crv/crvConfig.cmake; do
  [ -e "$libdir/$f" ] || { echo "not installed: $libdir/$f"; exit 1; }
done
soname=$(objdump -p "$libdir/libcrv.so" | awk '/SONAME/ {print $2}')
[[ $soname == libcrv.so.* ]] || { echo "libcrv.so has no versioned SONAME ($soname)"; exit 1; }
[ -e "$libdir/$soname" ] || { echo "$soname is not installed"; exit 1; }
# The installed tool finds its libraries by its own RUNPATH.
"$prefix/bin/crv" --version >/dev/null

echo "== find_package(crv)"
cmake -S "$source/examples" -B "$work/cmake" -G Ninja -DCMAKE_PREFIX_PATH="$prefix" \
  -DCMAKE_C_COMPILER="$cc" -DCMAKE_CXX_COMPILER="$cxx" \
  -DCMAKE_C_FLAGS="$extra" -DCMAKE_CXX_FLAGS="$extra" -DCMAKE_EXE_LINKER_FLAGS="$extra" \
  >"$work/cmake-configure.log"
cmake --build "$work/cmake" >"$work/cmake-build.log"
"$work/cmake/host_tour"
"$work/cmake/geometry_tour"

echo "== pkg-config crv"
export PKG_CONFIG_PATH=$libdir/pkgconfig
mkdir -p "$work/pc"
# shellcheck disable=SC2046,SC2086
"$cc" -std=c99 $extra "$source/examples/host_tour.c" $(pkg-config --cflags --libs crv) -lm \
  -o "$work/pc/host_tour"
# shellcheck disable=SC2046,SC2086
"$cxx" -std=c++17 $extra "$source/examples/geometry_tour.cpp" $(pkg-config --cflags --libs crv) \
  -o "$work/pc/geometry_tour"
LD_LIBRARY_PATH=$libdir "$work/pc/host_tour"
LD_LIBRARY_PATH=$libdir "$work/pc/geometry_tour"

rm -rf "$work"
echo "package test: ok"
