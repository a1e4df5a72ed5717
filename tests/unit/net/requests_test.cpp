// SPDX-License-Identifier: Apache-2.0

// What goes to the kernel: the exact messages, the sockets they go on, and what is refused here.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <net/if.h>
#include <netlink/genl/genl.h>
#include <netlink/msg.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>

#include "net/unique_nl_msg.h"
#include "scripted_socket.h"

namespace hardware::velta {
namespace {

using UwbAddress = ::aidl::hardware::velta::uwb::UwbAddress;
using ::testing::ElementsAre;
using ::testing::EndsWith;
using ::testing::StartsWith;

constexpr uint32_t kNone = 0xFFFFFFFF;

struct Request {
    std::string sent, reply;  // Without a reply it awaits the acknowledgement.
    std::function<bool()> run;
};

class RequestsTest : public RadioTest {
  protected:
    bool SetScheduler(int scheduler, uint32_t slot_duration, uint32_t node_type, bool set_params) {
        return mcps_.SetScheduler(5, static_cast<McpsScheduler>(scheduler),
                                  static_cast<McpsUtils::SlotDuration>(slot_duration),
                                  static_cast<McpsUtils::NodeType>(node_type), set_params);
    }
    static std::string Call(const std::string& region, const std::string& call) {
        return "7 1=w5 3='endless' 8{1=w0 2='" + region + "' 4=w" + call + "}";
    }
    bool WithoutSockets(const std::function<bool()>& run) {
        const int sockets = std::exchange(kernel_.sockets_left, 0);
        const bool ok = run();
        kernel_.sockets_left = sockets;
        return ok;
    }

    std::vector<Request> Requests() {
        return {
            {"1+dump", "2", [this] { return mcps_.ListHardware(&ok_), ok_; }},
            {"1 1=w5", "2", [this] { return mcps_.GetHardwareInfo(5, &ok_), ok_; }},
            {"9 1=w5 10!{1!{1='spi_pid'} 1!{1='kt7100_pid'}}", "9",
             [this] { return mcps_.GetSpiPids(5, pids_); }},
            {"3 1=w5 3='default'", "", [this] { return SetScheduler(0, kNone, kNone, false); }},
            {"3 1=w5 3='simple-ranging'", "",
             [this] { return SetScheduler(1, kNone, kNone, false); }},
            {"4 1=w5 3='endless'", "", [this] { return SetScheduler(2, kNone, kNone, true); }},
            {"3 1=w5 3='on_demand'", "", [this] { return SetScheduler(3, kNone, kNone, false); }},
            {"3 1=w5 3='7'", "", [this] { return SetScheduler(7, kNone, kNone, false); }},
            {"4 1=w5 3='default' 4!{1=w5}", "", [this] { return SetScheduler(0, 5, kNone, true); }},
            {"3 1=w5 3='default' 4!{2=w0}", "",
             [this] { return SetScheduler(0, kNone, 0, false); }},
            {"4 1=w5 3='default' 4!{1=w6 2=w1}", "",
             [this] { return SetScheduler(0, 6, 1, true); }},
            {"3 1=w5 3='endless' 5{1{1=w0 2='simple_ranging'}}", "",
             [this] { return mcps_.SetRegion(5, kSimpleRangingRegion); }},
            {"3 1=w5 3='endless' 5{1{1=w0 2='9'}}", "", [this] { return mcps_.SetRegion(5, {9}); }},
            {"3 1=w5 3='on_demand' 5{1{1=w1 2='fira'} 2{1=w0 2='nfcc_coex'}}", "",
             [this] { return mcps_.SetAllRegions(5); }},
            {"5+dump", "7", [this] { return ieee_.ListDevices(&ok_), ok_; }},
            {"1 " + lo_, "3 1=w0 24{2{0{1=x}}}", [this] { return ieee_.GetPhyInfo("lo", &phy_); }},
            {"9 " + lo_ + " 7=b4 8=b0", "", [this] { return ieee_.SetChannel("lo", 0); }},
            {"9 " + lo_ + " 7=b4 8=b15", "", [this] { return ieee_.SetChannel("lo", 15); }},
            {"10 " + lo_ + " 9=h0xBEEF", "", [this] { return ieee_.SetPanId("lo", 0xBEEF); }},
            {"11 " + lo_ + " 10=h0x1234", "",
             [this] {
                 return ieee_.SetShortMacAddress("lo", {0x12, 0x34});
             }},
            {Call("fira", "1 5{1=w42}"), "", [this] { return fira_.InitSession(5, 42); }},
            {Call("fira", "3 5{1=w42}"), "", [this] { return fira_.StopSession(5, 42); }},
            {Call("fira", "4 5{1=w42}"), "", [this] { return fira_.DeinitSession(5, 42); }},
            {Call("fira", "6 5{1=w42 3{1{1=h0x1234} 2{1=h0xABCD}}}"), "",
             [this] { return fira_.AddControlees(5, 42, two_, nullptr); }},
            {Call("fira", "6 5{1=w42 3{1{1=h0x1234 2=w7} 2{1=h0xABCD 2=w-1}}}"), "",
             [this] { return fira_.AddControlees(5, 42, two_, &ids_); }},
            {Call("fira", "7 5{1=w42 3{1{1=h0x1234} 2{1=h0xABCD}}}"), "",
             [this] { return fira_.RemoveControlees(5, 42, two_); }},
            {Call("fira", "5 5{1=w42 2{11=w300}}"), "",
             [this] { return fira_.UpdateBlockStriding(5, 42, 300); }},
            {Call("nfcc_coex", "1"), "", [this] { return ccc_.StopCccSession(5); }},
        };
    }

    bool ok_ = false;
    McpsUtils::SpiPids pids_;
    PhyInfo phy_;
    const std::string lo_ = "3=w" + std::to_string(if_nametoindex("lo"));  // Every host has it.
    const std::vector<UwbAddress> two_ = {UwbAddress{{0x12, 0x34}}, UwbAddress{{0xAB, 0xCD}}};
    const std::vector<int> ids_ = {7, -1};
};

TEST_F(RequestsTest, EachIsOneMessageOnASocketOfItsOwn) {
    for (const auto& [sent, reply, run] : Requests()) {
        kernel_.calls.clear();
        kernel_.Reply({reply});
        EXPECT_TRUE(run());
        ExpectSent(sent);
        const std::string how = reply.empty() ? " ack" : " response " + reply.substr(0, 1);
        EXPECT_THAT(kernel_.calls, ElementsAre(EndsWith(how), EndsWith(" gone")));
        kernel_.Refuse();
        EXPECT_FALSE(run()) << sent;
        EXPECT_FALSE(WithoutSockets(run)) << sent;
        kernel_.sent.clear();
    }
}

// However small: a message is sent whole, or not at all and with a reason in the log.
TEST_F(RequestsTest, MessagesThatDoNotFitAreNotSent) {
    std::vector<Request> requests = Requests();
    ConfigUtils config;
    requests.push_back({"calibration", "8",
                        [&] { return config.Set("k", "1"), mcps_.ConsumeCalibration(5, config); }});
    requests.push_back({"requests", "", [this] {
                            return mcps_.SetRangingRequests(5, {{1, 2, 3}, {4, 5, 6}});
                        }});
    requests.push_back({"start", "", [this] { return fira_.StartSession(5, 42); }});
    requests.push_back({"ccc start", "", [this] { return ccc_.StartCccSession(5, 1, 9); }});
    using namespace ::aidl::hardware::velta::uwb;
    const FiraTwrSession session = {.rangingRoundUsage = RangingRoundUsage::DS_TWR,
                                    .deviceAddress = two_[0],
                                    .destAddressList = two_,
                                    .rframeConfig = RframeConfig::SP3,
                                    .preambleDuration = PreambleDuration::T64_SYMBOLS,
                                    .vendorId = {1, 2},
                                    .staticStsIV = {1, 2, 3, 4, 5, 6}};
    requests.push_back({"config", "", [&] { return fira_.ConfigTwrSession(5, session); }});
    kernel_.sockets_left = 1 << 20;
    constexpr size_t kHeaders = NLMSG_HDRLEN + GENL_HDRLEN;
    for (const auto& [sent, reply, run] : requests) {
        size_t refused = 0;
        bool is_whole = false;
        for (size_t room = kHeaders; room <= 1024; room += 4) {
            nlmsg_set_default_size(room);
            kernel_.sent.clear();
            kernel_.answers.clear();
            kernel_.Reply({reply});
            const size_t lines = log_.lines().size();
            const bool ok = run();
            EXPECT_EQ(ok, !kernel_.sent.empty()) << sent << " in " << room;
            EXPECT_TRUE(ok || !is_whole) << sent << " fits into less than " << room;
            is_whole = ok;
            if (ok) continue;
            refused++;
            const auto& log = log_.lines();
            EXPECT_TRUE(std::any_of(log.begin() + static_cast<ptrdiff_t>(lines), log.end(),
                                    [](const auto& line) { return line.starts_with("E "); }))
                << sent << " in " << room;
        }
        EXPECT_TRUE(is_whole) << sent;
        // A request for all needs no more than its header.
        EXPECT_EQ(refused == 0, sent.ends_with("+dump")) << sent;
    }
    nlmsg_set_default_size(static_cast<size_t>(getpagesize()));
    kernel_.sent.clear();
}

TEST_F(RequestsTest, StartsStayOnAWatchedSocket) {
    const struct {
        std::string sent;
        std::function<bool()> run;
        std::function<void()> close;
    } kCases[] = {
        {"12 1=w5 11!{1!{1=w1 2=w2 3=q0x1122334455667788} 1!{1=w-1 2=w-2 3=q-3}}",
         [this] {
             return mcps_.SetRangingRequests(5, {{1, 2, 0x1122334455667788}, {-1, -2, -3}});
         },
         [this] { mcps_.SetRangingRequests(5, {}); }},
        {Call("fira", "2 5{1=w42}"), [this] { return fira_.StartSession(5, 42); },
         [this] { fira_.UnsubscribeCallback(5); }},
        {Call("nfcc_coex", "0 5{1{1=q0x1122334455667788 2=b9}}"),
         [this] { return ccc_.StartCccSession(5, 0x1122334455667788, 9); },
         [this] { ccc_.CloseRangingSocket(); }},
    };
    for (const auto& [sent, run, close] : kCases) {
        SCOPED_TRACE(sent);
        EXPECT_TRUE(run());
        ExpectSent(sent);
        EXPECT_THAT(kernel_.calls,
                    ElementsAre(EndsWith(" ack"), EndsWith(" no auto ack"), EndsWith(" watch")));
        EXPECT_TRUE(kernel_.Notify("99"));
        close();
        EXPECT_FALSE(kernel_.Notify("99"));
        fira_.SubscribeCallback(5, this);
        kernel_.Refuse();
        EXPECT_FALSE(run());
        kernel_.accept_watches = false;
        EXPECT_FALSE(run());
        kernel_.accept_watches = true;
        EXPECT_FALSE(kernel_.Notify("99"));
        EXPECT_FALSE(WithoutSockets(run));
        kernel_.sent.clear();
        kernel_.calls.clear();
    }
}

TEST_F(RequestsTest, OneOfTwoRadiosThatLeavesKeepsTheSocket) {
    for (const uint32_t hw : {5, 6}) {
        fira_.SubscribeCallback(hw, this);
        EXPECT_TRUE(fira_.StartSession(hw, 42));
    }
    fira_.UnsubscribeCallback(5);
    EXPECT_TRUE(kernel_.Notify("99"));
    fira_.UnsubscribeCallback(6);
    EXPECT_FALSE(kernel_.Notify("99"));
}

TEST_F(RequestsTest, ARefusedListOfRequestsEndsTheOldOne) {
    EXPECT_TRUE(mcps_.SetRangingRequests(5, {{1, 2, 3}}));
    EXPECT_TRUE(kernel_.Notify("99"));
    kernel_.Refuse();
    EXPECT_FALSE(mcps_.SetRangingRequests(5, {{1, 2, 3}}));
    EXPECT_FALSE(kernel_.Notify("99"));
}

TEST_F(RequestsTest, RegionHasOneSocketAndTheFirstHandlerUntilItIsClosed) {
    BaseRegionUtils region({7}, &kernel_);  // A region without a name of its own.
    region.SetMcpsNetId(kFamily);
    bool close_when_notified = false;
    const auto start = [&](const std::string& name) {
        UniqueNlMsg msg;
        nlattr* call = nullptr;
        EXPECT_TRUE(region.StartCallMessage(msg.get(), 5, 200, &call) &&
                    region.EndCallMessage(msg.get(), call));
        return region.StartRangingSession(msg.get(), [&, name](nl_msg* ntf) {
            events_.push_back(name + std::to_string(genlmsg_hdr(nlmsg_hdr(ntf))->cmd));
            if (close_when_notified) region.CloseRangingSocket();
            return NL_STOP;
        });
    };
    EXPECT_TRUE(start("a"));
    ExpectSent(Call("7", "200"));
    kernel_.Reply({"9"});  // Arrives before the acknowledgement.
    EXPECT_TRUE(start("b"));
    kernel_.Refuse();
    EXPECT_FALSE(start("c"));
    kernel_.Notify("8");
    EXPECT_THAT(kernel_.calls, ElementsAre("3 ack", "3 no auto ack", "3 watch", "3 ack", "3 ack"));
    // A stop of an older session, read now, closes the socket; what has started still reports.
    close_when_notified = true;
    kernel_.Reply({"9"});
    EXPECT_TRUE(start("d"));
    EXPECT_TRUE(kernel_.Notify("8"));
    EXPECT_FALSE(kernel_.Notify("8"));
    EXPECT_THAT(events_, ElementsAre("b9", "a8", "d9", "a8"));
    region.CloseRangingSocket();
    EXPECT_EQ(log_.Count("I velta.uwb.BaseRegionUtils CloseRangingSocket 7"), 2u);
}

TEST_F(RequestsTest, WhatCannotBeSentIsRefusedWithItsReason) {
    const std::string fira = "E velta.uwb.FiraRegionUtils ", ieee = "E velta.uwb.IeeeUtils ";
    const std::string missing =
        ieee + "SetIeeeCommand: Failed to resolve iface uwb_missing: No such device";
    FiraRegionUtils unresolved(&kernel_);
    CccRegionUtils no_callback(&kernel_);
    McpsUtils no_handler(&kernel_);
    PhyInfo phy;
    const struct {
        std::string line;
        std::function<bool()> run;
    } kCases[] = {
        {"I velta.uwb.IeeeUtils SetChannel: Set channel to 16",
         [&] { return ieee_.SetChannel("lo", 16); }},
        {"I velta.uwb.IeeeUtils SetChannel: Set channel to -1",
         [&] { return ieee_.SetChannel("lo", -1); }},
        {ieee + "SetShortMacAddress: Incorrect short address, size is 3",
         [&] {
             return ieee_.SetShortMacAddress("lo", {1, 2, 3});
         }},
        {missing, [&] { return ieee_.SetChannel("uwb_missing", 5); }},
        {missing, [&] { return ieee_.GetPhyInfo("uwb_missing", &phy); }},
        {"W velta.uwb.McpsUtils SetRangingRequests: The ranging result handler needs to be set "
         "first",
         [&] {
             return no_handler.SetRangingRequests(5, {{1, 2, 3}});
         }},
        {"E velta.uwb.CccRegionUtils StartCccSession: callback is not set",
         [&] { return no_callback.StartCccSession(5, 1, 9); }},
        {fira + "StartSession: Fira callback needs to be set for this hw_index.",
         [&] { return fira_.StartSession(6, 42); }},
        {"E velta.uwb.BaseRegionUtils SetMcpsCommand fira: MCPS netlink id is not resolved",
         [&] { return unresolved.InitSession(5, 42); }},
        {fira + "AddControlees: Empty controlees",
         [&] { return fira_.AddControlees(5, 42, {}, nullptr); }},
        {fira + "RemoveControlees: Empty controlees",
         [&] { return fira_.RemoveControlees(5, 42, {}); }},
        {fira +
             "PutControlees: Incorrect deviceAddress size, Fira 1.1 only supports short address.",
         [&] {
             return fira_.RemoveControlees(5, 42, {two_[0], UwbAddress{{1, 2, 3}}});
         }},
        {fira + "PutControlees: Error creating MCPS message",
         [&] { return fira_.RemoveControlees(5, 42, std::vector(1000, two_[0])); }},
    };
    for (const auto& [line, run] : kCases) {
        EXPECT_FALSE(run());
        EXPECT_EQ(log_.lines().back(), line);
    }
    EXPECT_EQ(kernel_.sent.size(), 0u);
    const std::vector<int> too_few = {1};
    EXPECT_EXIT(fira_.AddControlees(5, 42, two_, &too_few), ::testing::KilledBySignal(SIGABRT), "");
}

TEST_F(RequestsTest, FamiliesAreResolvedByName) {
    EXPECT_EQ(mcps_.GetNetId(), kFamily);
    kernel_.family = -12;
    EXPECT_FALSE(mcps_.Start());
    EXPECT_EQ(log_.lines().back(),
              "E velta.uwb.McpsUtils Start: Generic netlink mcps802154 not found.");
    EXPECT_EQ(mcps_.GetNetId(), kFamily);
    EXPECT_FALSE(ieee_.Setup());
    EXPECT_EQ(log_.lines().back(),
              "E velta.uwb.IeeeUtils Setup Generic netlink nl802154 not found.");
    EXPECT_THAT(kernel_.calls,
                ElementsAre("3 resolve mcps802154", "3 gone", "4 resolve nl802154", "4 gone"));
}

class CalibrationTest : public RadioTest {
  protected:
    // Hands the keys over, to a driver that answers each request with one of these replies.
    bool Consume(const Lines& replies) {
        for (const std::string& reply : replies) kernel_.Reply({reply});
        return mcps_.ConsumeCalibration(5, config_);
    }
    void SetKeys(int count, const std::string& value) {
        for (int i = 0; i < count; i++)
            config_.Set("calibration.key" + std::to_string(100 + i), value);
    }
    // How many of those keys the requests had.
    std::vector<int> SentKeys() {
        std::vector<int> counts;
        for (const Bytes& request : std::exchange(kernel_.sent, {})) {
            const std::string text(request.begin(), request.end());
            counts.push_back(0);
            for (size_t at = 0; (at = text.find("key", at)) != text.npos; at++) counts.back()++;
        }
        return counts;
    }
    static std::string Array(int bytes) {
        std::string text = "00";
        for (int i = 1; i < bytes; i++) text += ":00";
        return text;
    }

    const int page_ = getpagesize();
    const std::string tag_ = " velta.uwb.McpsUtils ";
    ConfigUtils config_;
};

TEST_F(CalibrationTest, ValuesAreWordsOrBytesAndOtherKeysStay) {
    // What is sent is the low half of a long, where that has two.
    const char* const one = sizeof(long) > sizeof(uint32_t) ? "4294967297" : "1";
    for (const auto& [key, value] :
         {std::pair("a", "-1"), std::pair("b", one), std::pair("d", "01:02:FF"),
          std::pair("e", "7F"), std::pair("[HAL]x", "1")}) {
        config_.Set(key, value);
    }
    EXPECT_TRUE(Consume({"8"}));
    ExpectSent("8 1=w5 10!{1!{1='a' 2=w-1} 1!{1='b' 2=w1} 1!{1='d' 2=x0102FF} 1!{1='e' 2=x7F}}");
    EXPECT_THAT(kernel_.calls, ElementsAre("3 response 8", "3 gone"));
    EXPECT_EQ(log_.Count("I" + tag_ + "Skip prefixed key [HAL]x"), 1u);
    EXPECT_TRUE(Consume({}));  // Nothing for the driver, nothing sent.
    EXPECT_EQ(kernel_.sent.size(), 0u);
    config_.Set("a", "1");
    config_.Set("b", "north");
    EXPECT_FALSE(Consume({"8"}));
    ExpectSent("8 1=w5 10!{1!{1='a' 2=w1}}");
    EXPECT_FALSE(Consume({}));
    EXPECT_EQ(log_.Count("W" + tag_ + "Skip incorrect key b"), 2u);
    EXPECT_TRUE(config_.Erase("b") && config_.Erase("[HAL]x") && config_.IsEmpty());
}

TEST_F(CalibrationTest, RequestsHoldAsMuchAsAPage) {
    SetKeys(200, "1");
    EXPECT_TRUE(Consume({"8", "8"}));
    const int most = (page_ - 32) / 36;
    EXPECT_THAT(SentKeys(), ElementsAre(most, 200 - most));
    SetKeys(6, Array(page_ / 40));  // Bytes count twelvefold.
    EXPECT_TRUE(Consume({"8", "8"}));
    EXPECT_THAT(SentKeys(), ElementsAre(4, 2));
    config_.Set(std::string(page_ - 49, 'a'), "1");
    config_.Set(std::string(page_ - 48, 'b'), "1");
    EXPECT_FALSE(Consume({"8"}));
    EXPECT_EQ(kernel_.sent.at(0).size(), static_cast<size_t>(page_));
    EXPECT_EQ(log_.lines().back(), "E" + tag_ + "Skip incorrect key " + config_.begin()->first);
    config_.Set("a", Array(page_));
    EXPECT_FALSE(Consume({}));
    EXPECT_EQ(log_.lines().back(), "E" + tag_ + "PutCalibrationKeys: Error creating MCPS message");
    EXPECT_EQ(kernel_.sent.size(), 1u);
}

TEST_F(CalibrationTest, LastStatusOfAReplyCounts) {
    const std::string bad = "1{1='bad' 3=w-22} ", good = "1{1='good' 3=w0} ";
    EXPECT_TRUE((SetKeys(1, "1"), Consume({"8 10{" + bad + good + "}"})));
    EXPECT_FALSE((SetKeys(1, "1"), Consume({"8 10{" + good + bad + "}"})));
    EXPECT_FALSE((SetKeys(1, "1"), Consume({"8 10{1{3=w-5}}"})));
    EXPECT_TRUE((SetKeys(1, "1"), Consume({"8 10{}"})));
    EXPECT_EQ(log_.Count("E" + tag_ + "Error on key bad"), 2u);
    EXPECT_TRUE(config_.IsEmpty());
}

TEST_F(CalibrationTest, FailureStopsTheRest) {
    SetKeys(500, "1");
    EXPECT_FALSE(Consume({"8 10{1{1='k' 3=w0}}", "8 10{1{1='k' 3=w-5}}", "8"}));
    const std::vector<int> counts = SentKeys();
    ASSERT_EQ(counts.size(), 2u);
    EXPECT_EQ(config_.begin()->first,
              "calibration.key" + std::to_string(100 + counts[0] + counts[1]));
    kernel_.answers.clear();
    EXPECT_FALSE(Consume({"7"}));  // Not an answer.
    SetKeys(1, "1");
    Bytes cut = Wire("8");
    cut.resize(cut[0] = 17);
    kernel_.answers = {{.messages = {cut}}};
    EXPECT_FALSE(Consume({}));
    EXPECT_THAT(log_.lines().back(),
                StartsWith("E" + tag_ + "Error parsing response for calibration -"));
    kernel_.sockets_left = 0;
    EXPECT_FALSE(Consume({}));
    EXPECT_EQ(log_.lines().back(),
              "E" + tag_ + "ConsumeCalibration: BAD_ALLOC: cannot allocate NlSocket");
}

}  // namespace
}  // namespace hardware::velta
