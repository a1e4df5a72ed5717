// SPDX-License-Identifier: Apache-2.0

// What comes from the kernel: what is made of it, and that whatever arrives, what is handed on is
// what was sent or the stated mark of its absence.
#include <android-base/strings.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>

#include "scripted_socket.h"

namespace hardware::velta {
namespace {

using android::base::Join;
using android::base::Split;
using android::base::StringReplace;

class NotificationsTest : public RadioTest {
  public:
    // Each plays a message into its client and returns what that makes of it.
    Lines Fira(const Bytes& message) {
        return Events(fira_.OnRangingResult(ToNlMsg(message).get()));
    }
    Lines Ccc(const Bytes& message) { return Events(ccc_.OnNotification(ToNlMsg(message).get())); }
    Lines SimpleRanging(const Bytes& message) {
        return Events(mcps_.OnRangingResult(ToNlMsg(message).get()));
    }
    Lines Envelope(const Bytes& message) {
        const NlMsg msg = ToNlMsg(message);
        uint32_t hw_index = 99;
        uint8_t call_id = 99;
        const BaseRegionUtils region({7}, &kernel_);  // A region without a name of its own.
        nlattr* params = region.GetCallContent(msg.get(), &hw_index, &call_id);
        Lines lines = {std::to_string(hw_index), std::to_string(call_id)};
        if (params != nullptr) lines.push_back(nla_len(params) == 8 ? "params" : "?");
        return lines;
    }
    Lines Hardware(const Bytes& message) {
        McpsHwInfo info;
        if (!McpsUtils::ParseHwInfo(ToNlMsg(message).get(), &info)) return {};
        return {std::to_string(info.hw_index), std::to_string(info.phy_index), info.scheduler};
    }
    Lines SpiPids(const Bytes& message) {
        kernel_.answers = {{.messages = {message}}};
        McpsUtils::SpiPids pids = {1, 1};
        mcps_.GetSpiPids(5, pids);
        return {"spi " + std::to_string(pids.spi_pid), "kt " + std::to_string(pids.kt7100_pid)};
    }
    Lines Calibration(const Bytes& message) {
        if (message.size() < 20) return {};  // Not a reply at all.
        kernel_.answers = {{.messages = {message}}};
        ConfigUtils config;
        config.Set("a", "1");
        const size_t old = log_.lines().size();
        Lines result = {mcps_.ConsumeCalibration(5, config) ? "accepted" : "refused"};
        std::copy_if(log_.lines().begin() + old, log_.lines().end(), std::back_inserter(result),
                     [](const auto& line) { return line.find("Error on key") != line.npos; });
        return result;
    }
    Lines Device(const Bytes& message) {
        kernel_.answers = {{.messages = {message}}};
        bool ok = false;
        const std::vector<DevInfo> devices = ieee_.ListDevices(&ok);
        if (devices.empty()) return {};
        return {devices[0].name, std::to_string(devices[0].phy_index)};
    }
    Lines Phy(const Bytes& message) {
        kernel_.answers = {{.messages = {message}}};
        PhyInfo info;
        if (!ieee_.GetPhyInfo("lo", &info)) return {};
        Lines lines = {"phy " + std::to_string(info.phy_index)};
        for (const int channel : info.channels) lines.push_back(std::to_string(channel));
        return lines;
    }

  protected:
    using T = NotificationsTest;
    using Client = Lines (T::*)(const Bytes&);

    Lines Events(int handled) {
        EXPECT_EQ(handled, NL_STOP);
        return std::exchange(events_, {});
    }

    // Each line of cases is "message -> result | last line logged", the latter without its tag and
    // common start. What precedes the "->" and follows it fills in the "%" of message and result.
    void Check(Client client, const std::string& message, const std::string& result,
               const std::string& log_start, const std::string& cases) {
        for (const std::string& line : Split(cases, "\n")) {
            SCOPED_TRACE(line);
            const size_t arrow = line.find("->"), bar = std::min(line.find(" | "), line.size());
            if (arrow == line.npos) continue;
            const std::string text = StringReplace(message, "%", line.substr(0, arrow), false);
            const std::string rest = line.substr(arrow + 2, bar - arrow - 2);
            EXPECT_EQ(Join((this->*client)(Wire(text)), ","),
                      rest == " none" ? "" : StringReplace(result, "%", rest, false));
            if (bar == line.size()) continue;
            const std::string logged = line.substr(bar + 3);
            EXPECT_EQ(log_.lines().back(), logged.substr(0, 1) + log_start + logged.substr(2));
        }
    }
    // Marks are what may be made of a broken message beside parts of the whole one's result.
    void CheckBroken(Client client, const std::string& message, const Lines& marks) {
        Lines allowed = (this->*client)(Wire(message));
        EXPECT_GT(allowed.size(), 0u);
        allowed.insert(allowed.end(), marks.begin(), marks.end());
        ForEachMalformed(message, [&](const Bytes& broken) {
            for (const std::string& line : (this->*client)(broken)) {
                EXPECT_THAT(allowed, ::testing::Contains(line)) << Hex(broken);
            }
        });
    }

    const std::string ccc_ntf_ = "7 1=w5 8{2='nfcc_coex' 4=w2 5{%}}";
    // A report of one successful measurement.
    const std::string measured_ =
        "7 1=w5 8{2='fira' 4=w8 5{1=w42 4{3=q7 4=w1 5{1{1=h0x1234 3=b0 7=w1500 %}}}}}";
    const std::string measurement_ = "session 42,block 1,peer 1234,at 7,distance 1500%";
};

TEST_F(NotificationsTest, FiraReportsBecomeBlocksAndMeasurements) {
    Check(&T::Fira, measured_, measurement_, "", R"(
->
5=x ->,sight 2
6=x ->,sight 1
6=x 5=x ->,sight 1
11=h16384 12=h16384 ->,azimuth 16384,elevation 16384
11=h-32768 12=h-32768 ->,azimuth -32768,elevation -32768
11=h1 12=h1 13=b255 14=b2 ->,azimuth 1,merit 255,elevation 1,merit 2
11=h1 13=b1 ->,azimuth 1
13=b255 14=b255 ->
)");
    Check(&T::Fira, "7 1=w5 8{2='fira' 4=w8 5{1=w42 4{4=w7 5{%}}}}", "session 42,block 7%", "", R"(
->
1{1=h1 3=b0 7=w-2} ->,peer 0001,now,distance -2
1{1=h1 3=b33 4=b2 6=x 7=w5 11=h5 13=b9 9{2=h1 4=h1}} ->,peer 0001,now,status 33
1{1=h0xABCD 3=b9} 1{1=h2 3=b8} ->,peer abcd,now,status 9,peer 0002,now,status 8
)");
    Check(&T::Fira, "7 1=w5 8{2='fira' 4=w8 5{%}}", "%", "", R"(
1=w42 4{1=b200 4=w7 5{1{1=h1 3=b0 7=w1}}} ->stopped 42 200
1=w-2 4{1=b0} ->stopped 4294967294 0
)");
}

TEST_F(NotificationsTest, FiraAntennasBelongToAnAxis) {
    ConfigUtils config;
    config.Set("[HAL]antenna_pair_azimuth", "3");
    config.Set("[HAL]antenna_pair_elevation", "4");
    config.Set("[HAL]tx_antenna", "0");
    ASSERT_TRUE(fira_.ConsumeProperties(5, config));
    Check(&T::Fira, measured_, measurement_,
          " velta.uwb.FiraRegionUtils ParseAntennaMeasurement: ", R"(
9{2=h1 3=b51 4=h-9} 10{2=h2 4=h9} ->,AZIMUTH,aoa 1,merit 51,pdoa -9,ELEVATION,aoa 2,pdoa 9
8{1=b3 2=h3 4=h9} ->,AZIMUTH,aoa 3,pdoa 9
8{1=b4 2=h3 4=h9} ->,ELEVATION,aoa 3,pdoa 9
8{1=b5 2=h3 4=h9} ->
8{1=b255 2=h3 4=h9} ->
8{2=h3 4=h9} ->
8{1=b3 2=h3 4=h9} 9{2=h1 4=h9} ->,AZIMUTH,aoa 1,pdoa 9
8{1=b4 2=h3 4=h9} 9{2=h1 4=h9} ->,AZIMUTH,aoa 1,pdoa 9,ELEVATION,aoa 3,pdoa 9
8{1=b4 2=h3 4=h9} 10{2=h2 4=h9} ->,ELEVATION,aoa 2,pdoa 9
8{1=b3 2=h3 4=h9} 9{2=h1} ->,AZIMUTH,aoa 3,pdoa 9 | E Missing aoa data measurement fields
9{4=h1} 10{2=h2 4=h9} ->,ELEVATION,aoa 2,pdoa 9 | E Missing aoa data measurement fields
9{2=h1 4=b1} -> | E Failed to parse aoa data measurement
)");
}

TEST_F(NotificationsTest, BadFiraPartsAreDroppedWithTheirReason) {
    Check(&T::Fira,
          "7 1=w5 8{2='fira' 4=w8 5{1=w42 4{3=q7 4=w1 5{1{%} 2{1=h0x1234 3=b0 7=w1500}}}}}",
          measurement_, " velta.uwb.FiraRegionUtils ParseMeasurements: ", R"(
1=h1 3=b0 -> | E Missing fields in ranging measurement
1=h1 7=w1 -> | E Missing addr or status in ranging measurement
3=b0 7=w1 -> | E Missing addr or status in ranging measurement
1=h1 3=b0 7=w1 11=b1 -> | E Failed to parse ranging measurement
1=h1 2=x 3=b0 7=w1 -> | I Stop ranging with peer.
)");
    Check(&T::Fira, "7 %", "%", " velta.uwb.FiraRegionUtils OnRangingResult: ", R"(
1=w5 8{2='fira' 4=w2 5{1=w42}} -> none | I Not a ranging notification message.
1=w6 8{2='fira' 4=w8 5{1=w42 4{1=b0}}} -> none | I No callback for hw index: 6
1=w5 8{2='fira' 4=w8 5{1=b42 4{1=b0}}} -> none | W Failed to parse session ntf call attr
1=w5 8{2='fira' 4=w8 5{1=w42}} -> none | W Missing session ntf call attrs
1=w5 8{2='fira' 4=w8 5{4{1=b0}}} -> none | W Missing session ntf call attrs
1=w5 8{2='fira' 4=w8 5{1=w42 4{3=w1 1=b0}}} -> none | W Failed to parse session ntf call attr
1=w5 8{2='fira' 4=w8 5{1=w42 4{4=w1}}} -> none | W Missing ranging data attr
1=w5 8{2='fira' 4=w8 5{1=w42 4{5{}}}} -> none | W Missing ranging data attr
)");
}

TEST_F(NotificationsTest, EnvelopeIsCheckedPartByPart) {
    Check(&T::Envelope, "%", "%", " velta.uwb.BaseRegionUtils GetCallContent 7: ", R"(
7 1=w5 8{2='7' 4=w0x108 5{1=w3}} ->5,8,params
7 8!{5{1=w3} 4=w8 2='7'} 1=w6 ->6,8,params
6 1=w5 ->99,99 | W Incorrect command received: 6
7 1=h5 8{2='7' 4=w8 5{}} ->99,99 | E Message doesn't respect policy
7 1=w5 ->99,99 | E Missing MCPS802154_ATTR_HW or MCPS802154_ATTR_SCHEDULER_REGION_CALL
7 8{} ->99,99 | E Missing MCPS802154_ATTR_HW or MCPS802154_ATTR_SCHEDULER_REGION_CALL
7 1=w5 8{2='7' 4=h1} ->5,99 | E Incorrect MCPS802154_ATTR_SCHEDULER_REGION_CALL nested message
7 1=w5 8{2='twenty_characters_ab' 4=w8 5{}} ->5,99
7 1=w5 8{4=w8 5{}} ->5,99 | E Missing region name in mcps message
7 1=w5 8{2='77' 4=w8 5{}} ->5,99 | E Missing region name in mcps message
7 1=w5 8{2=x37003700 4=w8 5{}} ->5,99 | E Missing region name in mcps message
7 1=w5 8{2='7' 5{}} ->5,99 | E Missing region call in mcps message
7 1=w5 8{2='7' 4=w8} ->5,8 | E Missing region call params in mcps message
)");
}

TEST_F(NotificationsTest, CccTellsWhyTheSessionStopped) {
    const std::string cases = R"(
2=b1 3=b1 ->ccc stopped 5 1
2=b200 3=b0 ->ccc stopped 5 1
2=b0 3=b1 ->ccc stopped 5 0
2=b0 3=b0 -> none
2=b1 -> none | W Missing session ntf call attrs
3=b1 -> none | W Missing session ntf call attrs
2=b1 3=x -> none | W Failed to parse session ntf call attr
)";
    Check(&T::Ccc, ccc_ntf_, "%", " velta.uwb.CccRegionUtils OnNotification: ", cases);
    Check(&T::Ccc, "7 1=w5 8{2='nfcc_coex' 4=w1 5{2=b1 3=b1%}}", "%", " velta.uwb.CccRegionUtils ",
          "-> none | I OnNotification: Not a ranging notification message.");
    ccc_.SetCallback(nullptr);
    Check(&T::Ccc, ccc_ntf_, "%", "", "2=b1 3=b1 -> none");
}

TEST_F(NotificationsTest, SimpleRangingResultsGoToTheFirstRequestOfTheirId) {
    ASSERT_TRUE(mcps_.SetRangingRequests(5, {{1, 0, 11}, {7, 0, 77}, {7, 0, 78}}));
    Check(&T::SimpleRanging, "13 1=w5 12{1=w7 2=w4 %}", "id 7,peer 77,value 4,angle1 %", "", R"(
3=w0 4=w1000 5=w1 6=w1 ->0.000000,angle2 0.173131
3=w-1000 ->-0.173131,angle2 nan
3=w5800 4=w5900 ->1.529631,angle2 1.570796
3=w-32767 4=w-32768 ->-1.570796,angle2 nan
3=w0x7FFFFFFF 4=w0x80000000 ->1.570796,angle2 nan
)");
    Check(&T::SimpleRanging, "%", "id 7,peer 77,value -2147483648,angle1 nan,angle2 nan%",
          " velta.uwb.McpsUtils OnRangingResult: ", R"(
13 1=w5 12{1=w7} ->
13 1=w5 12{1=w8} -> none | W Received result for unknown request
13 1=w5 12{2=w1} -> none
7 1=w5 -> none | W Incorrect command received: 7
13 1=w5 -> none | W Missing HW or RANGING_RESULT
13 12{1=w7} -> none | W Missing HW or RANGING_RESULT
13 1=b5 12{1=w7} -> none | W Failed to parse attr
13 1=w5 12{1=w7 3=b5} -> none | W Failed to parse nested attr
)");
    mcps_.UnsubscribeRangingResults();
    Check(&T::SimpleRanging, "13 1=w5 12{1=w7}", "%", "", "-> none");
}

TEST_F(NotificationsTest, RepliesAreReadAsFarAsTheyGo) {
    Check(&T::SpiPids, "9 %", "%", "", R"(
1=w5 ->spi 0,kt 0
10!{} ->spi 0,kt 0
10{1{1='kt7100_pid' 2=w8} 1{1='x' 2=w9} 1{1='spi_pid' 2=w7}} ->spi 7,kt 8
10{1{1='spi_pid' 3=w0} 1{1='kt7100_pid' 2=w8}} ->spi 0,kt 8
10{1{1='spi_pid' 2=w7} 1{2=w9} 1{1='kt7100_pid' 2=w8}} ->spi 7,kt 0
)");
    Check(&T::Hardware, "2 %", "%", " velta.uwb.McpsUtils ParseHwInfo: ", R"(
1=w3 2='phy12' 3='endless' ->3,12,endless
1=w3 2='phy0x' ->3,0,default
1=w3 2='wpan0' -> none
1=w3 2='ph' -> none
1=w3 -> none | W Missing mcps attribute
2='phy1' -> none | W Missing mcps attribute
)");
    Check(&T::Phy, "3 %", "%", " velta.uwb.IeeeUtils operator(): ", R"(
1=w4 24{2{0{11=x 12=x} 4!{9=x 5=x} 6{7=x}}} ->phy 4,9,5
1=w4 24{2{0{11=x}}} ->phy 4
1=b4 24{} -> none | E Failed to parse CMD_GET_WPAN_PHY
1=w4 -> none | E Incorrect attr in CMD_GET_WPAN_PHY response
24{} -> none | E Incorrect attr in CMD_GET_WPAN_PHY response
1=w4 24{1=w0} -> none | E Incorrect NL802154_CAP_ATTR_CHANNELS in CMD_GET_WPAN_PHY
)");
}

TEST_F(NotificationsTest, ListsKeepTheGoodRepliesInOrder) {
    bool ok = false;
    kernel_.Reply({"7 1=w2 4='wpan0'", "7 1=w2", "7 4='wpan1'", "7 4='wpan2' 1=w3"});
    const std::vector<DevInfo> devices = ieee_.ListDevices(&ok);
    EXPECT_TRUE(ok);
    ASSERT_EQ(devices.size(), 2u);
    EXPECT_EQ(devices[0].name + devices[1].name, "wpan0wpan2");
    EXPECT_EQ(log_.Count("E velta.uwb.IeeeUtils operator(): Incorrect attr in "
                         "NL802154_CMD_GET_INTERFACE dump"),
              2u);
    kernel_.Reply({"2 1=w3 2='wpan0'", "2 1=w4 2='phy4'"});
    kernel_.answers.back().ok = false;
    const std::vector<McpsHwInfo> hardware = mcps_.ListHardware(&ok);
    EXPECT_FALSE(ok);
    ASSERT_EQ(hardware.size(), 1u);
    EXPECT_EQ(hardware[0].hw_index, 4u);
    kernel_.Reply({"2 1=w9 2='wpan0' 3='on_demand'"});
    const McpsHwInfo info = mcps_.GetHardwareInfo(9, &ok);
    EXPECT_TRUE(ok);
    EXPECT_EQ(std::to_string(info.hw_index) + info.scheduler, "9on_demand");
}

TEST_F(NotificationsTest, CallbacksMayEndWhatCallsThem) {
    on_event_ = [this, text = std::string(40, 'x')] {
        fira_.UnsubscribeCallback(5);
        ccc_.CloseRangingSocket();
        mcps_.UnsubscribeRangingResults();
        EXPECT_EQ(text.size(), 40u);  // What the callback holds is still there.
    };
    const auto once = [this](bool started, const std::string& message) {
        EXPECT_TRUE(started && kernel_.Notify(message)) << message;
        EXPECT_FALSE(kernel_.Notify(message)) << message;
    };
    once(mcps_.SetRangingRequests(5, {{1, 0, 2}}), "13 1=w5 12{1=w1}");
    fira_.SubscribeCallback(5, this);
    once(fira_.StartSession(5, 42), "7 1=w5 8{2='fira' 4=w8 5{1=w42 4{1=b0}}}");
    once(ccc_.StartCccSession(5, 1, 9), "7 1=w5 8{2='nfcc_coex' 4=w2 5{2=b1 3=b0}}");
    EXPECT_EQ(events_.size(), 7u);
}

// Of two radios each; the first one's client may end the second one's session, or its own
// subscription.
TEST_F(NotificationsTest, LostOnesEndSessionsThatRun) {
    for (const size_t told : {2, 1}) {
        if (told == 1) on_event_ = [&] { fira_.UnsubscribeCallback(6), ccc_.ForgetCallback(this); };
        for (const uint32_t radio : {5, 6}) {
            fira_.SubscribeCallback(radio, this);
            ASSERT_TRUE(fira_.StartSession(radio, 42));
        }
        kernel_.LoseNotifications();
        EXPECT_EQ(std::exchange(events_, {}), Lines(told, "lost"));
        EXPECT_FALSE(kernel_.Notify("7 1=w6 8{2='fira' 4=w8 5{1=w42 4{1=b0}}}"));

        ccc_.SetCallback(this);
        for (const uint32_t radio : {5, 6}) ASSERT_TRUE(ccc_.StartCccSession(radio, 1, 9));
        kernel_.sent.clear();
        kernel_.LoseNotifications();
        Lines stops = {"ccc stopped 5 256", "ccc stopped 6 256"};
        stops.resize(told);
        EXPECT_EQ(std::exchange(events_, {}), stops);
        EXPECT_FALSE(kernel_.Notify("7 1=w6 8{2='nfcc_coex' 4=w2 5{2=b1 3=b0}}"));
        ASSERT_EQ(kernel_.sent.size(), 2u) << "in the radio both end in any case";
        kernel_.sent.pop_back();
        ExpectSent("7 1=w5 3='endless' 8{1=w0 2='nfcc_coex' 4=w1}");
    }
    // Results of simple ranging that are missing end nothing, however often they are.
    ASSERT_TRUE(mcps_.SetRangingRequests(5, {{1, 0, 2}}));
    for (const uint64_t times : {1, 2}) {
        kernel_.LoseNotifications();
        EXPECT_EQ(mcps_.result_counters().overflows, times);
        EXPECT_TRUE(kernel_.Notify("13 1=w5 12{1=w1}"));
    }
}

TEST_F(NotificationsTest, BrokenMessagesHandOnNothingThatWasNotSent) {
    // Texts stand last, where a sanitizer sees what reads on for their NUL.
    ASSERT_TRUE(mcps_.SetRangingRequests(5, {{0x11223344, 0, 9}}));
    CheckBroken(&T::Fira,
                "7 1=w5 8{2='fira' 4=w8 5{1=w0x11223344 4{3=q0x0102030405060708 4=w0x22334455 5{"
                "1{1=h0x1234 3=b0 5=x 6=x 7=w0x12131415 9{1=b3 2=h0x1357 3=b0x77 4=h0x2468} "
                "8{1=b0 2=h0x1357 3=b0x77 4=h0x2468} 11=h0x3344 13=b0x33 12=h0x4455 14=b0x44} "
                "2{1=h0x5678 3=b0x21}}}}}",
                {"now", "sight 2"});
    CheckBroken(&T::Fira, "7 1=w5 8{2='fira' 4=w8 5{1=w0x11223344 4{1=b0x21}}}", {});
    CheckBroken(&T::Ccc, "7 1=w0x11223344 8{4=w2 5{2=b0 3=b0x77} 2='nfcc_coex'}", {});
    CheckBroken(&T::SimpleRanging, "13 1=w5 12{1=w0x11223344 2=w0x22334455 3=w1000 4=w2000}",
                {"value -2147483648", "angle1 nan", "angle2 nan"});
    CheckBroken(&T::Hardware, "2 1=w0x11223344 2='phy1234567' 3='on_demand'", {"default"});
    CheckBroken(&T::SpiPids,
                "9 10!{1!{2=w0x11223344 1='spi_pid'} 1!{2=w0x22334455 1='kt7100_pid'}}",
                {"spi 0", "kt 0"});
    CheckBroken(&T::Calibration, "8 10!{1!{3=w0 1='key'} 1!{3=w0 1='other'}}", {});
    CheckBroken(&T::Device, "7 1=w0x11223344 3=w9 4='wpan0'", {});
    CheckBroken(&T::Phy, "3 1=w0x11223344 24{1=w7 2{0{11=x} 4{5=x 9=x}}}",
                {"99"});  // A channel is a type, and that is what stands for an unknown one.
}

}  // namespace
}  // namespace hardware::velta
