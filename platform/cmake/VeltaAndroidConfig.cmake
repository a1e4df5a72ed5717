# SPDX-License-Identifier: Apache-2.0
#
# find_package(VeltaAndroid REQUIRED CONFIG): Android's own libraries for this host, as built by
# platform/build.sh.
#   Android::log, base, cutils, utils, binder, binder_ndk   static libraries, C++20
#   Android::binder_fuzz                                    the fuzzer of services, likewise
#   Android::aidl, Android::servicemanager                  programs (bin/ has dumpsys and service as well)
# and VELTA_ANDROID_AIDL, VELTA_ANDROID_SERVICEMANAGER: the programs' paths.

include(CMakeFindDependencyMacro)
set(THREADS_PREFER_PTHREAD_FLAG ON)
find_dependency(Threads)

get_filename_component(_velta_android_prefix "${CMAKE_CURRENT_LIST_DIR}/../../.." ABSOLUTE)

function(_velta_android_library name)
  if(TARGET Android::${name})
    return()
  endif()
  add_library(Android::${name} STATIC IMPORTED)
  set_target_properties(Android::${name} PROPERTIES
    IMPORTED_LOCATION "${_velta_android_prefix}/lib/lib${name}.a"
    IMPORTED_LINK_INTERFACE_LANGUAGES CXX
    INTERFACE_COMPILE_FEATURES cxx_std_20
    # Warnings in Android's headers are not the including project's.
    INTERFACE_SYSTEM_INCLUDE_DIRECTORIES "${_velta_android_prefix}/include"
    INTERFACE_INCLUDE_DIRECTORIES "${_velta_android_prefix}/include"
    INTERFACE_COMPILE_OPTIONS
      "$<$<COMPILE_LANGUAGE:CXX>:SHELL:-include velta_android_prelude.h>"
    INTERFACE_LINK_LIBRARIES "${ARGN}")
endfunction()

_velta_android_library(log Threads::Threads)
_velta_android_library(base Android::log)
_velta_android_library(cutils Android::base Android::log)
_velta_android_library(utils Android::cutils Android::base Android::log)
_velta_android_library(binder Android::utils Android::cutils Android::base Android::log)
_velta_android_library(binder_ndk
  Android::binder Android::utils Android::base Android::log ${CMAKE_DL_LIBS})
_velta_android_library(binder_fuzz Android::binder_ndk)

foreach(_velta_android_program aidl servicemanager)
  string(TOUPPER ${_velta_android_program} _velta_android_variable)
  set(VELTA_ANDROID_${_velta_android_variable} "${_velta_android_prefix}/bin/${_velta_android_program}")
  if(NOT TARGET Android::${_velta_android_program})
    add_executable(Android::${_velta_android_program} IMPORTED)
    set_target_properties(Android::${_velta_android_program} PROPERTIES
      IMPORTED_LOCATION "${VELTA_ANDROID_${_velta_android_variable}}")
  endif()
endforeach()

unset(_velta_android_prefix)
unset(_velta_android_program)
unset(_velta_android_variable)
