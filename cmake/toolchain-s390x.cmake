# 64-bit big-endian IBM Z, built with Debian's s390x cross compiler and run under qemu-user, which
# takes the loader, the libraries and the gconv modules from the sysroot.
#   cmake -DCMAKE_TOOLCHAIN_FILE=cmake/toolchain-s390x.cmake -DZOBASE_SYSROOT=<folder> ...
set(CMAKE_SYSTEM_PROCESSOR s390x)
set(ZOBASE_CROSS_TRIPLET s390x-linux-gnu)
set(ZOBASE_CROSS_PREFIX s390x-linux-gnu)
include(${CMAKE_CURRENT_LIST_DIR}/toolchain-common.cmake)

set(CMAKE_CROSSCOMPILING_EMULATOR qemu-s390x -L ${ZOBASE_SYSROOT})
