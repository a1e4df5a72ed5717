// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

namespace android {

// Stands in for the name of a HIDL interface, whose library the packaged sources lack: no text is
// one. A script that offers such an interface is refused, and one that offers AIDL's never asks.
class FQName {
  public:
    static bool parse(const std::string&, FQName*) { return false; }
    bool setTo(const std::string&) { return false; }
    bool isFullyQualified() const { return false; }
    bool isValidValueName() const { return false; }
    std::string string() const { return {}; }
    bool operator<(const FQName&) const { return false; }
};

}  // namespace android
