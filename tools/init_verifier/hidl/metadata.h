// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <vector>

// Which HIDL interfaces a platform tree has: none, here.
struct HidlInterfaceMetadata {
    std::string name;
    std::vector<std::string> inherited;

    static std::vector<HidlInterfaceMetadata> all() { return {}; }
};
