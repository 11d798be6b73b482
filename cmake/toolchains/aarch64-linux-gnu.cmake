# Cross build for 64-bit Arm Linux with Debian's aarch64-linux-gnu toolchain; the programs run
# under qemu-aarch64 -L /usr/aarch64-linux-gnu (scripts/platforms.sh).
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR aarch64)
set(CMAKE_C_COMPILER aarch64-linux-gnu-gcc)
set(CMAKE_CXX_COMPILER aarch64-linux-gnu-g++)
set(CMAKE_FIND_ROOT_PATH /usr/aarch64-linux-gnu)
set(CMAKE_CROSSCOMPILING_EMULATOR qemu-aarch64 -L /usr/aarch64-linux-gnu)

# Libraries, headers and packages come from the target's root only (host-headers.cmake brings in
# the two header-only packages of the build machine that the crv tool uses).
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
include("${CMAKE_CURRENT_LIST_DIR}/host-headers.cmake")
