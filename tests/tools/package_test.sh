#!/usr/bin/env bash
# Installs the build into a fresh prefix and builds the examples against the installed package
# twice: with find_package(crv) and with pkg-config; then runs both programs of each build. Also
# installs the package without its stand-in host component, as a real host's deployment would,
# and configures the examples against that.
# Usage: package_test.sh BUILD_DIR SOURCE_DIR WORK_DIR C_COMPILER CXX_COMPILER [EXTRA_FLAGS
#        [HAVE_DOCS HAVE_MAN]]
# EXTRA_FLAGS (e.g. the sanitizer flags of the build) go to every compile and link. HAVE_DOCS and
# HAVE_MAN are 1 when the build made the reference and the man page, which must then install.
set -euo pipefail
build=$1 source=$2 work=$3 cc=$4 cxx=$5 extra=${6:-} have_docs=${7:-0} have_man=${8:-0}

rm -rf "$work"
mkdir -p "$work"
prefix=$work/prefix
cmake --install "$build" --prefix "$prefix" >"$work/install.log"

# The package as a host integrator meets it.
libdir=$(dirname "$(find "$prefix" -name 'libcrv.so' -print -quit)")
for f in include/crv/crv.h include/crv/version.h include/crv/crv.hpp include/crv/host/seq.h \
         include/crv/host/geo.h bin/crv; do
  [ -e "$prefix/$f" ] || { echo "not installed: $f"; exit 1; }
done
[ "$have_docs" = 0 ] || for f in reference/index.html host-integration.md LICENSE CHANGELOG.md; do
  [ -e "$prefix/share/doc/crv/$f" ] || { echo "not installed: share/doc/crv/$f"; exit 1; }
done
[ "$have_man" = 0 ] || grep -q '^\.SS by-distance' "$prefix/share/man/man1/crv.1" ||
  { echo "no man page with the subcommands at share/man/man1/crv.1"; exit 1; }
# The host interface lives below include/crv/; the stand-in host's test controls stay private.
for f in include/host include/crv/host/host_test.h; do
  [ ! -e "$prefix/$f" ] || { echo "installed, but should not be: $f"; exit 1; }
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

echo "== the README's snippets, and its run path for pkg-config builds"
# Each C and C++ block of the README's tour, as the body of a main.
snippet() {
  awk -v lang="$1" '$0 == "```" lang {on = 1; next} on && /^```/ {exit} on' "$source/README.md"
}
{ echo '#include <crv/crv.h>'; echo 'int main(void) {'; snippet c; echo 'return 0; }'; } \
  >"$work/pc/readme.c"
{ echo '#include <crv/crv.hpp>'; echo 'int main() {'; snippet cpp; echo '}'; } >"$work/pc/readme.cpp"
# shellcheck disable=SC2046,SC2086
"$cc" -std=c99 $extra "$work/pc/readme.c" $(pkg-config --cflags --libs crv) \
  -Wl,-rpath,"$(pkg-config --variable=libdir crv)" -o "$work/pc/readme_c"
# shellcheck disable=SC2046,SC2086
"$cxx" -std=c++17 $extra "$work/pc/readme.cpp" $(pkg-config --cflags --libs crv) \
  -Wl,-rpath,"$(pkg-config --variable=libdir crv)" -o "$work/pc/readme_cpp"
"$work/pc/readme_c"
"$work/pc/readme_cpp"

echo "== version macros against the package's version"
printf '#include <stdio.h>\n#include <crv/crv.h>\nint main(void) { printf("%%d.%%d.%%d\\n", CRV_VERSION_MAJOR, CRV_VERSION_MINOR, CRV_VERSION_PATCH); return 0; }\n' \
  >"$work/pc/version.c"
# shellcheck disable=SC2046
"$cc" -std=c99 "$work/pc/version.c" $(pkg-config --cflags crv) -o "$work/pc/version"
[ "$("$work/pc/version")" = "$(pkg-config --modversion crv)" ] ||
  { echo "crv.h says $("$work/pc/version"), the package $(pkg-config --modversion crv)"; exit 1; }

echo "== without the stand-in host"
bare=$work/bare
for component in runtime development; do
  cmake --install "$build" --prefix "$bare" --component "$component" >>"$work/install.log"
done
[ -z "$(find "$bare" -name 'libcrvhost*' -print -quit)" ] || { echo "libcrvhost installed"; exit 1; }
cmake -S "$source/examples" -B "$work/bare-build" -G Ninja -DCMAKE_PREFIX_PATH="$bare" \
  -DCMAKE_C_COMPILER="$cc" -DCMAKE_CXX_COMPILER="$cxx" >"$work/bare-configure.log"

rm -rf "$work"
echo "package test: ok"
