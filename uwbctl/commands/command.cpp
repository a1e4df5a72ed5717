// SPDX-License-Identifier: Apache-2.0
#include "uwbctl/commands/command.h"

#include <aidl/hardware/velta/uwb/ErrorCode.h>

#include <limits>
#include <set>

#include "uwbctl/client/calibration.h"
#include "uwbctl/client/text.h"

namespace uwbctl {

void CheckPeers(const std::vector<std::string>& peers, const std::string& own) {
    std::set<std::vector<uint8_t>> seen;
    const auto own_address = ParseAddress(own);
    for (const std::string& text : peers) {
        const auto address = ParseAddress(text);
        if (!address) continue;
        if (own_address && address->address == own_address->address) {
            throw Failure(kUsage,
                          "peer " + text + " is this device itself; --address gives it another");
        }
        if (!seen.insert(address->address).second) {
            throw Failure(kUsage, "address " + text + " is there twice");
        }
    }
}

void CheckWithHint(const ndk::ScopedAStatus& status, const std::string& asked,
                   const std::function<std::string()>& hint) {
    try {
        Check(status, asked);
    } catch (const Failure& failure) {
        // Any other code comes with a message that says it all.
        const bool is_silent =
            status.getServiceSpecificError() ==
            static_cast<int32_t>(::aidl::hardware::velta::uwb::ErrorCode::FAILED);
        throw Failure(failure.status(), failure.what() + (is_silent ? hint() : ""));
    }
}

void CheckStart(const ndk::ScopedAStatus& status, const std::string& asked, int channel) {
    CheckWithHint(status, asked, [channel] { return ChannelHint(channel); });
}

CLI::Validator NumberRange(int64_t from, int64_t to) {
    return CLI::Range(from, to).description("");
}

CLI::Validator SecondsRange() {
    return NumberRange(0, std::numeric_limits<int>::max());
}

void AddIface(CLI::App* command, std::string* iface) {
    command->add_option("-i,--iface", *iface, "Interface; the first one by default")
        ->type_name("IFACE");
}

void AddCount(CLI::App* command, uint64_t* count, const std::string& what) {
    // A negative number would be taken for a very large one.
    command->add_option("-n,--count", *count, what + " after which it ends; 0 for no end")
        ->type_name("NUMBER")
        ->check(NumberRange(0, std::numeric_limits<uint32_t>::max()))
        ->capture_default_str();
}

void AddTime(CLI::App* command, int* seconds) {
    command->add_option("-t,--time", *seconds, "Seconds after which it ends; 0 for no end")
        ->type_name("SECONDS")
        ->check(SecondsRange())
        ->capture_default_str();
}

}  // namespace uwbctl
