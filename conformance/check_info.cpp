// SPDX-License-Identifier: Apache-2.0
#include "conformance/check_info.h"

#include <algorithm>

namespace hardware::velta::conformance {

const char* ToText(Need need) {
    switch (need) {
        case Need::kPeer:
            return "a FiRa controlee (--peer)";
        case Need::kSimplePeer:
            return "a simple ranging responder (--simple-peer)";
        case Need::kDistance:
            return "the distance of the peer (--distance)";
        case Need::kSecondRadio:
            return "a second radio (--second-interface)";
        case Need::kTwoChannels:
            return "a second channel, which the device has not";
        case Need::kNetAdmin:
            return "CAP_NET_ADMIN (run it as root)";
    }
    return "";
}

std::vector<CheckInfo>& AllChecks() {
    static std::vector<CheckInfo> checks;
    return checks;
}

const CheckInfo* FindCheck(const std::string& name) {
    const auto& all = AllChecks();
    const auto found =
        std::find_if(all.begin(), all.end(), [&name](const auto& it) { return it.name == name; });
    return found == all.end() ? nullptr : &*found;
}

std::string Describe(const CheckInfo& check) {
    std::string text = check.name + "\n";
    for (const Need need : check.needs) text += std::string("    needs: ") + ToText(need) + "\n";
    return text + "    proves: " + check.proves + "\n    the driver owes: " + check.owes + "\n";
}

}  // namespace hardware::velta::conformance
