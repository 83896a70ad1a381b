# 32-bit x86 (int, long and pointers of 4 bytes), built with Debian's i686 cross compiler.
# The programs run directly on an x86-64 kernel: they name the sysroot's loader as their
# interpreter and find the sysroot's libraries through their run path.
#   cmake -DCMAKE_TOOLCHAIN_FILE=cmake/toolchain-i386.cmake -DZOBASE_SYSROOT=<folder> ...
set(CMAKE_SYSTEM_PROCESSOR i686)
set(ZOBASE_CROSS_TRIPLET i386-linux-gnu)
set(ZOBASE_CROSS_PREFIX i686-linux-gnu)
include(${CMAKE_CURRENT_LIST_DIR}/toolchain-common.cmake)

set(ZOBASE_RUN_PATH "-Wl,--dynamic-linker=${ZOBASE_SYSROOT}/lib/ld-linux.so.2 -Wl,-rpath,${ZOBASE_SYSROOT_LIBS}")
string(APPEND CMAKE_EXE_LINKER_FLAGS_INIT " ${ZOBASE_RUN_PATH}")
string(APPEND CMAKE_SHARED_LINKER_FLAGS_INIT " -Wl,-rpath,${ZOBASE_SYSROOT_LIBS}")
# The C library looks for its gconv modules (iconv) under /usr/lib/i386-linux-gnu by default.
set(CMAKE_CROSSCOMPILING_EMULATOR /usr/bin/env
    GCONV_PATH=${ZOBASE_SYSROOT}/usr/lib/${ZOBASE_CROSS_TRIPLET}/gconv)
