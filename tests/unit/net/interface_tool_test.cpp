// SPDX-License-Identifier: Apache-2.0
#include "net/interface_tool.h"

#include <android-base/unique_fd.h>
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <linux/capability.h>
#include <linux/if_tun.h>
#include <net/if.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <string>

#include "../log_capture.h"
#include "net_namespace.h"
#include "wire.h"

namespace hardware::velta {
namespace {

using ::testing::Each;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

constexpr char kMissing[] = "uwb_missing_012";  // As long as a name can be.
constexpr char kTooLong[] = "uwb_missing_0123";
constexpr std::array<uint8_t, 8> kAddress = {0x02, 0x11, 0x22, 0x33, 0x44, 0x55, 0x66, 0x77};

std::string Line(const std::string& text) {
    return "E velta.uwb.InterfaceTool " + text;
}

TEST(InterfaceToolTest, BringsAnInterfaceUpAndDownWithoutTouchingItsOtherFlags) {
    RunInNetNamespace([] {
        const android::base::unique_fd fd(socket(AF_INET, SOCK_DGRAM, 0));
        ifreq request = {};
        strcpy(request.ifr_name, "lo");
        const auto flags = [&] {
            EXPECT_EQ(ioctl(fd.get(), SIOCGIFFLAGS, &request), 0);
            return request.ifr_flags & ~(IFF_RUNNING | 0x10000);
        };
        request.ifr_flags = static_cast<short>(flags() | IFF_PROMISC);
        ASSERT_EQ(ioctl(fd.get(), SIOCSIFFLAGS, &request), 0);

        LogCapture log;
        InterfaceTool tool;
        for (const bool up : {true, true, false, false}) {
            EXPECT_TRUE(tool.SetUpState("lo", up));
            EXPECT_EQ(tool.GetUpState("lo"), up);
            EXPECT_EQ(flags(), IFF_LOOPBACK | IFF_PROMISC | (up ? IFF_UP : 0));
        }
        EXPECT_TRUE(tool.SetUpStateIfNecessary("lo", true));
        EXPECT_TRUE(tool.GetUpState("lo"));
        EXPECT_THAT(log.lines(), IsEmpty());
        EXPECT_FALSE(tool.SetMacAddress("lo", kAddress));  // Not an 802.15.4 interface.
        EXPECT_THAT(log.lines(), ElementsAre(Line("Could not set interface MAC address for lo "
                                                  "(Invalid argument)")));
    });
}

TEST(InterfaceToolTest, SetsTheHardwareAddressAsIeee802154) {
    RunInNetNamespace([] {
        const android::base::unique_fd tap(open("/dev/net/tun", O_RDWR | O_CLOEXEC));
        ASSERT_GE(tap.get(), 0) << "/dev/net/tun: " << strerror(errno);
        ifreq request = {};
        strcpy(request.ifr_name, kMissing);
        request.ifr_flags = IFF_TAP | IFF_NO_PI;
        ASSERT_EQ(ioctl(tap.get(), TUNSETIFF, &request), 0) << strerror(errno);
        constexpr int kIeee802154 = 804;
        ASSERT_EQ(ioctl(tap.get(), TUNSETLINK, kIeee802154), 0) << strerror(errno);

        ASSERT_TRUE(InterfaceTool().SetMacAddress(kMissing, kAddress));
        const android::base::unique_fd fd(socket(AF_INET, SOCK_DGRAM, 0));
        ASSERT_EQ(ioctl(fd.get(), SIOCGIFHWADDR, &request), 0);
        // A TAP device keeps six bytes.
        const auto* data = reinterpret_cast<const uint8_t*>(request.ifr_hwaddr.sa_data);
        EXPECT_EQ(Hex({data, data + 6}), "02112233 4455");
    });
}

TEST(InterfaceToolTest, ReportsWhatTheKernelRefuses) {
    RunInNetNamespace([] {
        __user_cap_header_struct header = {.version = _LINUX_CAPABILITY_VERSION_3};
        __user_cap_data_struct none[2] = {};
        ASSERT_EQ(syscall(SYS_capset, &header, none), 0);
        LogCapture log;
        EXPECT_FALSE(InterfaceTool().SetUpStateIfNecessary("lo", true));
        EXPECT_THAT(log.lines(), ElementsAre(Line("Could not set interface flags for lo "
                                                  "(Operation not permitted)")));
    });
}

TEST(InterfaceToolTest, TakesDownWhatCannotBeRead) {
    LogCapture log;
    InterfaceTool tool;
    const std::string line =
        Line(std::string("Could not read interface state for ") + kMissing + " (No such device)");
    EXPECT_TRUE(tool.SetUpStateIfNecessary(kMissing, false));
    EXPECT_THAT(log.lines(), ElementsAre(line));
    EXPECT_FALSE(tool.SetUpStateIfNecessary(kMissing, true));
    EXPECT_THAT(log.lines(), ElementsAre(line, line, line));
}

TEST(InterfaceToolTest, RefusesNamesOfSixteenCharacters) {
    LogCapture log;
    InterfaceTool tool;
    EXPECT_FALSE(tool.GetUpState(kTooLong));
    EXPECT_FALSE(tool.SetUpState(kTooLong, false));
    EXPECT_FALSE(tool.SetMacAddress(kTooLong, kAddress));
    EXPECT_THAT(tool.GetFactoryMacAddress(kTooLong), Each(0));
    EXPECT_THAT(log.lines(),
                ::testing::AllOf(::testing::SizeIs(4), Each(Line(std::string("Interface name is "
                                                                             "too long: ") +
                                                                 kTooLong))));
}

TEST(InterfaceToolTest, FactoryAddressOfAnotherSizeIsZeroWithoutALine) {
    LogCapture log;
    EXPECT_THAT(InterfaceTool().GetFactoryMacAddress("lo"), Each(0));
    EXPECT_THAT(log.lines(), IsEmpty());
}

}  // namespace
}  // namespace hardware::velta
