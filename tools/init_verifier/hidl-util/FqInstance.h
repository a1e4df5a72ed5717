// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

#include "FQName.h"

namespace android {

// As FQName, of an instance.
class FqInstance {
  public:
    bool setTo(const std::string&) { return false; }
    FQName getFqName() const { return {}; }
};

}  // namespace android
