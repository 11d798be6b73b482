# Cross build for WebAssembly with Emscripten; crv.js runs under node (scripts/platforms.sh).
# libcrv is a static library (CRV_SHARED=OFF): WebAssembly has no shared libraries here.
include(/usr/share/emscripten/cmake/Modules/Platform/Emscripten.cmake)
set(CRV_SHARED OFF CACHE BOOL "")

# The tool reports bad input with exceptions, which Emscripten compiles out unless asked.
# NODERAWFS lets the program read the reference from the real file system, and EXIT_RUNTIME
# makes node exit with the program's status. SINGLE_FILE carries the WebAssembly inside crv.js:
# node 18 and later have fetch(), which this Emscripten then uses to load a separate crv.wasm,
# and fetch() takes no file paths.
set(CMAKE_CXX_FLAGS_INIT "-fexceptions")
set(CMAKE_EXE_LINKER_FLAGS_INIT
  "-fexceptions -sNODERAWFS=1 -sEXIT_RUNTIME=1 -sALLOW_MEMORY_GROWTH=1 -sSINGLE_FILE=1")

# Emscripten's toolchain looks for packages in its own root only; host-headers.cmake brings in
# the two header-only packages of the build machine that the crv tool uses.
include("${CMAKE_CURRENT_LIST_DIR}/host-headers.cmake")

# Debian's Emscripten optimises the JavaScript it links with Debian's node packages (acorn) from
# /usr/share/nodejs, where Debian's node looks by itself and another build of node does not.
set(CMAKE_CXX_LINKER_LAUNCHER "${CMAKE_COMMAND}" -E env NODE_PATH=/usr/share/nodejs)
