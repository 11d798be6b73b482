# Cross build for WebAssembly with Emscripten; crv.js runs under node (scripts/platforms.sh).
# libcrv is a static library (CRV_SHARED=OFF): WebAssembly has no shared libraries here.
include(/usr/share/emscripten/cmake/Modules/Platform/Emscripten.cmake)
set(CRV_SHARED OFF CACHE BOOL "")

# The tool reports bad input with exceptions, which Emscripten compiles out unless asked.
# NODERAWFS lets the program read the reference from the real file system, and EXIT_RUNTIME
# makes node exit with the program's status.
set(CMAKE_CXX_FLAGS_INIT "-fexceptions")
set(CMAKE_EXE_LINKER_FLAGS_INIT
  "-fexceptions -sNODERAWFS=1 -sEXIT_RUNTIME=1 -sALLOW_MEMORY_GROWTH=1")

# Emscripten's toolchain looks for packages in its own root only; host-headers.cmake brings in
# the two header-only packages of the build machine that the crv tool uses.
include("${CMAKE_CURRENT_LIST_DIR}/host-headers.cmake")
