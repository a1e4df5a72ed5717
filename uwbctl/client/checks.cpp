// SPDX-License-Identifier: Apache-2.0
#include "uwbctl/client/checks.h"

#include <set>

#include "uwbctl/client/calibration.h"
#include "uwbctl/client/client.h"
#include "uwbctl/client/text.h"

namespace uwbctl {

using ::aidl::hardware::velta::uwb::RangingRequest;
using ::aidl::hardware::velta::uwb::UwbAddress;

void CheckPeers(const std::vector<std::string>& peers, const std::string& own) {
    std::set<std::vector<uint8_t>> seen;
    const auto own_address = ParseAddress(own);
    for (const std::string& text : peers) {
        const auto address = ParseAddress(text);
        if (!address) continue;
        if (own_address && address->address == own_address->address) {
            throw Failure(kUsage, "peer " + Shortened(text) +
                                      " has this device's own address: give one of them another");
        }
        if (!seen.insert(address->address).second) {
            throw Failure(kUsage, "address " + Shortened(text) + " is there twice");
        }
    }
}

UwbAddress CheckAnyAddress(const std::string& text) {
    const auto address = ParseAddress(text);
    if (address && address->address.size() > 1) return *address;
    throw Failure(kUsage, "not an address: " + Shortened(text) +
                              " (expected 2 to 8 bytes as 0x1234 or 12:34)");
}

std::vector<RangingRequest> MakeRequests(const std::vector<std::string>& peers,
                                         const std::string& own, int param) {
    CheckPeers(peers, own);
    std::vector<RangingRequest> requests;
    for (const std::string& text : peers) {
        uint64_t peer = 0;
        for (const uint8_t byte : CheckAnyAddress(text).address) peer = peer << 8 | byte;
        RangingRequest request;
        request.id = static_cast<int32_t>(requests.size()) + 1;
        request.param = param;
        request.peer = static_cast<int64_t>(peer);
        requests.push_back(request);
    }
    return requests;
}

void CheckStart(const ndk::ScopedAStatus& status, const std::string& asked, int channel) {
    Check(status, asked, [channel] { return ChannelHint(channel); });
}

}  // namespace uwbctl
