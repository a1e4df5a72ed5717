// SPDX-License-Identifier: Apache-2.0
#include "conformance/check.h"

#include <linux/capability.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cstdint>

#include "net/interface_tool.h"

namespace hardware::velta::conformance {
namespace {

bool MayAdministrateTheNetwork() {
    __user_cap_header_struct header = {.version = _LINUX_CAPABILITY_VERSION_3, .pid = 0};
    __user_cap_data_struct data[_LINUX_CAPABILITY_U32S_3] = {};
    return syscall(SYS_capget, &header, data) == 0 &&
           (data[0].effective & (1U << CAP_NET_ADMIN)) != 0;
}

// Asks the service only where it has to.
bool IsThere(Need need, const Hal& hal) {
    const Target& target = TheTarget();
    switch (need) {
        case Need::kPeer:
            return target.fira_peer.has_value();
        case Need::kSimplePeer:
            return target.simple_peer.has_value();
        case Need::kDistance:
            return target.distance_mm.has_value();
        case Need::kSecondRadio:
            return !target.interfaces[1].empty();
        case Need::kTwoChannels: {
            hal.Open();
            const bool is_there = FiraClient(hal, 0).Capabilities().supportedChannels.size() > 1;
            hal->close();
            return is_there;
        }
        case Need::kNetAdmin:
            return MayAdministrateTheNetwork();
    }
    return false;
}

}  // namespace

bool IsUp(int radio) {
    return InterfaceTool().GetUpState(TheTarget().interfaces.at(radio).c_str());
}

void Check::SetUp() {
    const auto* test = ::testing::UnitTest::GetInstance()->current_test_info();
    const CheckInfo* check = FindCheck(test->test_suite_name() + "."s + test->name());
    ASSERT_NE(check, nullptr);
    for (const Need need : check->needs) {
        if (!IsThere(need, hal)) GTEST_SKIP() << "not run: needs " << ToText(need);
    }
}

void Check::TearDown() {
    EXPECT_EQ(Said(hal->close()), "OK");
    for (const int radio : {0, 1}) {
        if (!TheTarget().interfaces.at(radio).empty()) {
            EXPECT_TRUE(Eventually([radio] { return !IsUp(radio); }))
                << TheTarget().interfaces.at(radio) << " is left up";
        }
    }
}

void OpenCheck::SetUp() {
    Check::SetUp();
    if (!IsSkipped()) ASSERT_EQ(hal.Open(), "OK");
}

int OpenCheck::OtherChannel() {
    // A FiraClient would take the callback away from the check's own.
    FiraCapabilities capabilities;
    hal.Get(0, &IUwbIface::firaController)->getCapabilities(&capabilities);
    for (const int channel : capabilities.supportedChannels) {
        if (channel != TheTarget().channel) return channel;
    }
    return TheTarget().channel;
}

}  // namespace hardware::velta::conformance
