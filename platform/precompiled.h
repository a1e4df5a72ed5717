// SPDX-License-Identifier: Apache-2.0
//
// What the sources of libbinder and its NDK half include most, parsed once for each.
#pragma once

#ifdef __cplusplus
#include <velta_android_prelude.h>

#include <chrono>
#include <map>
#include <set>
#include <sstream>
#include <thread>
#include <unordered_map>

#include <android-base/unique_fd.h>
#include <binder/Parcel.h>
#include <utils/String16.h>
#include <utils/String8.h>

#endif
