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
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cstring>

#include "../log_capture.h"
#include "wire.h"

namespace hardware::velta {
namespace {

using ::testing::AllOf;
using ::testing::Each;
using ::testing::ElementsAre;
using ::testing::SizeIs;
using namespace std::string_literals;

constexpr char kMissingInterface[] = "uwb_missing_012";  // As long as a name can be.
constexpr char kTooLong[] = "uwb_missing_0123";
constexpr std::array<uint8_t, 8> kAddress = {0x02, 0x11, 0x22, 0x33, 0x44, 0x55, 0x66, 0x77};

std::string Line(const std::string& text) {
    return "E velta.uwb.InterfaceTool " + text;
}

TEST(InterfaceToolTest, BringsAnInterfaceUpAndDownWithoutTouchingItsOtherFlags) {
    RunInNetNamespace([] {
        const android::base::unique_fd fd(socket(AF_INET, SOCK_DGRAM, 0));
        ifreq request = {.ifr_ifrn = {"lo"}};
        request.ifr_flags = IFF_LOOPBACK | IFF_PROMISC;
        ASSERT_EQ(ioctl(fd.get(), SIOCSIFFLAGS, &request), 0);
        LogCapture log;
        InterfaceTool tool;
        for (const bool up : {true, true, false, false}) {
            EXPECT_TRUE(tool.SetUpState("lo", up));
            EXPECT_EQ(tool.GetUpState("lo"), up);
            EXPECT_EQ(ioctl(fd.get(), SIOCGIFFLAGS, &request), 0);
            EXPECT_EQ(request.ifr_flags & ~IFF_RUNNING,
                      IFF_LOOPBACK | IFF_PROMISC | (up ? IFF_UP : 0));
        }
        EXPECT_TRUE(tool.SetUpStateIfNecessary("lo", true) && tool.GetUpState("lo"));
        EXPECT_EQ(log.lines().size(), 0u);
        EXPECT_FALSE(tool.SetMacAddress("lo", kAddress));  // Not an 802.15.4 interface.
        __user_cap_header_struct header = {.version = _LINUX_CAPABILITY_VERSION_3, .pid = 0};
        const __user_cap_data_struct none[2] = {};
        ASSERT_EQ(syscall(SYS_capset, &header, none), 0);
        EXPECT_FALSE(tool.SetUpStateIfNecessary("lo", false));
        rlimit files;
        ASSERT_EQ(getrlimit(RLIMIT_NOFILE, &files), 0);
        const rlimit no_files = {.rlim_cur = 0, .rlim_max = files.rlim_max};
        ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &no_files), 0);
        const bool is_up = tool.SetUpStateIfNecessary("lo", true);
        const bool is_named = tool.SetMacAddress("lo", kAddress);
        const auto address = tool.GetFactoryMacAddress("lo");
        // The sanitizers need descriptors for their own checks.
        ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &files), 0);
        EXPECT_FALSE(is_up || is_named);
        EXPECT_THAT(address, Each(0));
        const auto no_socket = [](const char* purpose) {
            return Line("Failed to open socket to "s + purpose + " (Too many open files)");
        };
        EXPECT_THAT(
            log.lines(),
            ElementsAre(Line("Could not set interface MAC address for lo (Invalid argument)"),
                        Line("Could not set interface flags for lo (Operation not permitted)"),
                        no_socket("set up/down state"), no_socket("set up/down state"),
                        no_socket("set MAC address"), no_socket("get factory MAC address")));
    });
}

TEST(InterfaceToolTest, SetsTheHardwareAddressAsIeee802154) {
    RunInNetNamespace([] {
        const android::base::unique_fd tap(open("/dev/net/tun", O_RDWR | O_CLOEXEC));
        ASSERT_GE(tap.get(), 0) << "/dev/net/tun: " << strerror(errno);
        ifreq request = {};
        std::string(kMissingInterface).copy(request.ifr_name, IFNAMSIZ - 1);
        request.ifr_flags = IFF_TAP | IFF_NO_PI;
        ASSERT_EQ(ioctl(tap.get(), TUNSETIFF, &request), 0) << strerror(errno);
        constexpr int kIeee802154 = 804;
        ASSERT_EQ(ioctl(tap.get(), TUNSETLINK, kIeee802154), 0) << strerror(errno);
        ASSERT_TRUE(InterfaceTool().SetMacAddress(kMissingInterface, kAddress));
        const android::base::unique_fd fd(socket(AF_INET, SOCK_DGRAM, 0));
        ASSERT_EQ(ioctl(fd.get(), SIOCGIFHWADDR, &request), 0);
        const char* data = request.ifr_hwaddr.sa_data;
        EXPECT_EQ(Hex({data, data + 6}), "021122334455");  // A TAP device keeps six bytes.
    });
}

TEST(InterfaceToolTest, TakesDownWhatCannotBeRead) {
    LogCapture log;
    InterfaceTool tool;
    EXPECT_TRUE(tool.SetUpStateIfNecessary(kMissingInterface, false));
    EXPECT_FALSE(tool.SetUpStateIfNecessary(kMissingInterface, true));
    const std::string missing = Line("Could not read interface state for uwb_missing_012 ");
    EXPECT_THAT(log.lines(), AllOf(SizeIs(3), Each(missing + "(No such device)")));
}

TEST(InterfaceToolTest, RefusesNamesOfSixteenCharacters) {
    LogCapture log;
    InterfaceTool tool;
    EXPECT_FALSE(tool.GetUpState(kTooLong) || tool.SetUpState(kTooLong, false) ||
                 tool.SetMacAddress(kTooLong, kAddress));
    EXPECT_THAT(tool.GetFactoryMacAddress(kTooLong), Each(0));
    EXPECT_THAT(log.lines(),
                AllOf(SizeIs(4), Each(Line("Interface name is too long: uwb_missing_0123"))));
    EXPECT_THAT(tool.GetFactoryMacAddress("lo"), Each(0));  // Six bytes: no line.
    EXPECT_EQ(log.lines().size(), 4u);
}

}  // namespace
}  // namespace hardware::velta
