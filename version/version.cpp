// SPDX-License-Identifier: Apache-2.0
#include "version/version.h"

#if __has_include("version/commit.h")
#include "version/commit.h"  // Made by commit.cmake at each build.
#else
#define UWB_COMMIT "unknown"
#endif

namespace hardware::velta {

const char* Commit() {
    return UWB_COMMIT;
}

}  // namespace hardware::velta
