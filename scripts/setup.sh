#!/usr/bin/env bash
# Installs the Debian packages the build and tests need, where they are missing. Run as root on
# a fresh machine; does nothing when everything is there.
set -euo pipefail

# doxygen makes the reference, help2man the crv man page; the gallery test renders with
# rsvg-convert (librsvg2-bin) and measures labels in DejaVu Sans (fonts-dejavu-core); MPFR
# (libmpfr-dev) is the reference the correctly rounded functions are checked against.
# scripts/platforms.sh cross-builds for aarch64 (run under qemu-user), Windows x64 (MinGW-w64,
# run under wine) and WebAssembly (Emscripten, run under node). The Python module builds with
# pybind11 and NumPy for Debian's interpreter. The playground's browser test (scripts/web.sh
# --test) runs Debian's chromium headless, driven by puppeteer-core from the npm registry.
# The Debian packages build with dpkg-buildpackage (build-essential, debhelper, dh-python)
# and are checked with lintian.
packages=(cmake ninja-build g++ binutils googletest libgtest-dev libgmock-dev libbenchmark-dev
          libcli11-dev nlohmann-json3-dev pkg-config python3 librsvg2-bin fonts-dejavu-core
          doxygen help2man clang libclang-rt-14-dev libmpfr-dev
          g++-aarch64-linux-gnu qemu-user g++-mingw-w64-x86-64 wine wine64 emscripten nodejs
          pybind11-dev python3-dev python3-numpy python3-pytest python3-hypothesis
          python3-matplotlib chromium build-essential debhelper dh-python lintian)
# Debian's npm, unless the installed node brings its own.
command -v npm >/dev/null || packages+=(npm)
missing=()
for p in "${packages[@]}"; do
  dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed" || missing+=("$p")
done
if [ ${#missing[@]} -gt 0 ]; then
  echo "Installing: ${missing[*]}"
  export DEBIAN_FRONTEND=noninteractive
  apt-get update -qq
  apt-get install -y -qq --no-install-recommends "${missing[@]}"
fi
