# SPDX-License-Identifier: Apache-2.0

# Another architecture than this machine's; scripts/arch.sh says which, scripts/sysroot.sh makes the sysroot.
foreach(variable SYSROOT TRIPLET GNU_TARGET)
  if("$ENV{VELTA_UWB_${variable}}" STREQUAL "")
    message(FATAL_ERROR "VELTA_UWB_${variable} is not set: build with ./dev and --arch")
  endif()
endforeach()

set(CMAKE_SYSTEM_NAME Linux)
string(REGEX REPLACE "-.*" "" CMAKE_SYSTEM_PROCESSOR "$ENV{VELTA_UWB_GNU_TARGET}")
set(CMAKE_SYSROOT $ENV{VELTA_UWB_SYSROOT})
set(CMAKE_LIBRARY_ARCHITECTURE $ENV{VELTA_UWB_TRIPLET})
set(CMAKE_C_COMPILER_TARGET $ENV{VELTA_UWB_GNU_TARGET})
set(CMAKE_CXX_COMPILER_TARGET $ENV{VELTA_UWB_GNU_TARGET})
set(CMAKE_EXE_LINKER_FLAGS_INIT -fuse-ld=lld)

set(CMAKE_FIND_ROOT_PATH ${CMAKE_SYSROOT})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
# Android's libraries lie outside.
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE BOTH)
set(ENV{PKG_CONFIG_SYSROOT_DIR} ${CMAKE_SYSROOT})
set(ENV{PKG_CONFIG_LIBDIR}
  ${CMAKE_SYSROOT}/usr/lib/$ENV{VELTA_UWB_TRIPLET}/pkgconfig:${CMAKE_SYSROOT}/usr/share/pkgconfig)

# Tests cannot be asked for their names while they are built.
set(CMAKE_GTEST_DISCOVER_TESTS_DISCOVERY_MODE PRE_TEST)
