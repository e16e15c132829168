# Cross build for 64-bit Arm Linux with Debian's cross compilers and the arm64
# packages of a multiarch host (dpkg --add-architecture arm64). Programs built
# here run on the host through qemu's user-mode emulator.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR aarch64)
set(CMAKE_LIBRARY_ARCHITECTURE aarch64-linux-gnu)

set(CMAKE_C_COMPILER aarch64-linux-gnu-gcc)
set(CMAKE_CXX_COMPILER aarch64-linux-gnu-g++)

# The cross toolchain's own root first, then the host's /usr, whose
# lib/aarch64-linux-gnu holds the arm64 packages (liblog, googletest).
set(CMAKE_FIND_ROOT_PATH /usr/aarch64-linux-gnu /)
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)

# No "-L /usr/aarch64-linux-gnu": the programs then start with that root's
# loader, which finds the multiarch libc.so.6 of libc6:arm64 first; a loader
# and a C library from two different builds make pthread_create spin forever.
# Without it, loader and C library both come from libc6:arm64.
set(CMAKE_CROSSCOMPILING_EMULATOR qemu-aarch64)
