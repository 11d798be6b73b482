# Cross build for 64-bit Windows with Debian's MinGW-w64 toolchain; the programs run under wine
# (scripts/platforms.sh). The runtime is linked in statically, so crv.exe needs no DLL beside it,
# and libcrv is a static library (CRV_SHARED=OFF).
set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_SYSTEM_PROCESSOR x86_64)
# The posix thread model: the win32 one of GCC 12 has no std::thread or std::mutex.
set(CMAKE_C_COMPILER x86_64-w64-mingw32-gcc-posix)
set(CMAKE_CXX_COMPILER x86_64-w64-mingw32-g++-posix)
set(CMAKE_RC_COMPILER x86_64-w64-mingw32-windres)
set(CMAKE_FIND_ROOT_PATH /usr/x86_64-w64-mingw32)
set(CMAKE_EXE_LINKER_FLAGS_INIT "-static")
set(CRV_SHARED OFF CACHE BOOL "")

# Libraries, headers and packages come from the target's root only (host-headers.cmake brings in
# the two header-only packages of the build machine that the crv tool uses).
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
include("${CMAKE_CURRENT_LIST_DIR}/host-headers.cmake")
