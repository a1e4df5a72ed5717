// SPDX-License-Identifier: Apache-2.0
#include "hal/ipc_utils.h"

#include "tests/unit/hal/fake_radio.h"

namespace hardware::velta {
namespace {

using IpcUtilsTest = HalTest;

TEST_F(IpcUtilsTest, CarriesCodeAndMessageAndLogsTheMessageOnce) {
    errno = ENOTTY;
    EXPECT_EQ(Trace(Error(ErrorCode::INVALID_STATE, "Property %s: %d%%", "x.y", -3)),
              "!3 Property x.y: -3%");
    EXPECT_EQ(errno, ENOTTY);
    const std::string cut(1023, 'm');
    EXPECT_EQ(Trace(BadArgument("%s", std::string(2000, 'm').c_str())), "!2 " + cut);
    EXPECT_EQ(log_.lines(), (std::vector<std::string>{"E velta.uwb.IpcUtils Property x.y: -3%",
                                                      "E velta.uwb.IpcUtils " + cut}));
}

TEST_F(IpcUtilsTest, KnowsSixteenChannels) {
    EXPECT_EQ(Trace(CheckUwbChannelRange(0)), "");
    EXPECT_EQ(Trace(CheckUwbChannelRange(15)), "");
    EXPECT_EQ(Trace(CheckUwbChannelRange(16)), "!2 Incorrect channel value 16");
    EXPECT_EQ(Trace(CheckUwbChannelRange(-1)), "!2 Incorrect channel value -1");
}

}  // namespace
}  // namespace hardware::velta
