// SPDX-License-Identifier: Apache-2.0
//
// What most sources of the service and of uwbctl include, parsed once for all of them. Sources
// include what they use all the same: ./dev lint reads them without this file.
#pragma once

#include <algorithm>
#include <array>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <functional>
#include <iomanip>
#include <iostream>
#include <limits>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include <aidl/hardware/velta/uwb/BnCccController.h>
#include <aidl/hardware/velta/uwb/BnCccControllerCallback.h>
#include <aidl/hardware/velta/uwb/BnFiraController.h>
#include <aidl/hardware/velta/uwb/BnFiraSessionCallback.h>
#include <aidl/hardware/velta/uwb/BnSimpleRangingCallback.h>
#include <aidl/hardware/velta/uwb/BnSimpleRangingController.h>
#include <aidl/hardware/velta/uwb/BnUwb.h>
#include <aidl/hardware/velta/uwb/BnUwbClientCallback.h>
#include <aidl/hardware/velta/uwb/BnUwbIface.h>
#include <android-base/file.h>
#include <android-base/properties.h>
#include <android-base/stringprintf.h>
#include <android-base/strings.h>
#include <android-base/unique_fd.h>
#include <android/binder_auto_utils.h>
#include <android/binder_interface_utils.h>
#include <android/binder_manager.h>
#include <android/binder_process.h>
#include <nlohmann/json.hpp>

// Each source names its log tag ahead of its includes, and libbase's logging takes the name that it
// finds when it is read. So that header must not be here, and no default tag may stay behind.
#ifdef LOG
#error "android-base/logging.h cannot be precompiled: all log tags would be lost"
#endif
#undef LOG_TAG
