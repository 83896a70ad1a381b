# Shared part of the cross toolchain files (toolchain-i386.cmake, toolchain-s390x.cmake).
# The including file sets ZOBASE_CROSS_TRIPLET (the Debian multiarch triplet), ZOBASE_CROSS_PREFIX
# (the prefix of the cross compiler's programs) and CMAKE_SYSTEM_PROCESSOR.
#
# ZOBASE_SYSROOT names a folder into which the target architecture's Debian packages were unpacked
# (./build.sh cross does that): the C library with its loader and gconv modules, the C++ run time,
# zlib, libdeflate and GoogleTest. The cross compiler links against its own C library; at run time
# every program takes its C library, loader and gconv modules from the sysroot, all three from one
# package.
set(CMAKE_SYSTEM_NAME Linux)

if(NOT ZOBASE_SYSROOT AND DEFINED ENV{ZOBASE_SYSROOT})
  set(ZOBASE_SYSROOT "$ENV{ZOBASE_SYSROOT}")
endif()
if(NOT ZOBASE_SYSROOT)
  message(FATAL_ERROR "Set ZOBASE_SYSROOT to the unpacked ${ZOBASE_CROSS_TRIPLET} packages")
endif()
# try_compile projects read this file again and need the same folder.
set(ENV{ZOBASE_SYSROOT} "${ZOBASE_SYSROOT}")
list(APPEND CMAKE_TRY_COMPILE_PLATFORM_VARIABLES ZOBASE_SYSROOT)

set(CMAKE_C_COMPILER ${ZOBASE_CROSS_PREFIX}-gcc)
set(CMAKE_CXX_COMPILER ${ZOBASE_CROSS_PREFIX}-g++)

set(CMAKE_FIND_ROOT_PATH ${ZOBASE_SYSROOT})
set(CMAKE_LIBRARY_ARCHITECTURE ${ZOBASE_CROSS_TRIPLET})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)

# Shared libraries of the sysroot that the linker meets only as dependencies of others.
set(ZOBASE_SYSROOT_LIBS "${ZOBASE_SYSROOT}/lib/${ZOBASE_CROSS_TRIPLET}:${ZOBASE_SYSROOT}/usr/lib/${ZOBASE_CROSS_TRIPLET}")
string(APPEND CMAKE_EXE_LINKER_FLAGS_INIT " -Wl,-rpath-link,${ZOBASE_SYSROOT_LIBS}")
string(APPEND CMAKE_SHARED_LINKER_FLAGS_INIT " -Wl,-rpath-link,${ZOBASE_SYSROOT_LIBS}")
