// SPDX-License-Identifier: Apache-2.0
#include "hal/fira_controller.h"

#include "tests/unit/hal/fake_radio.h"

namespace hardware::velta {
namespace {

using ::aidl::hardware::velta::uwb::AoaType;
using ::aidl::hardware::velta::uwb::DeviceType;
using ::aidl::hardware::velta::uwb::FiraStsConfig;

using Change = std::function<void(FiraTwrSession&)>;
using Request = std::function<ScopedAStatus()>;

// What a new session asks for.
const std::string kNew =
    "phy wpan0; channel wpan0 9; pre-open fira; init 3 7; config 3 7; add 3 7 1122, -; changed";

class FiraControllerTest : public HalTest {
  protected:
    FiraControllerTest() { fira_->setSessionCallback(client_); }
    void Init(int32_t id = 7) { ASSERT_TRUE(fira_->initNewTwrSession(GoodSession(id)).isOk()); }
    void Start(int32_t id = 7) {
        Init(id);
        ASSERT_TRUE(fira_->startRangingSession(id).isOk());
        Trace();
    }
    // The kernel's word, on its way through the region.
    std::string KernelStops(uint32_t id) {
        fira_region_.subscriber->OnSessionStopped(id, 4);
        return Trace();
    }
    void RunTasks() {
        for (const auto& task : std::exchange(loop_.tasks, {})) task();
    }
    bool IsChannelFixed() {
        FiraController::FiraCapabilities caps;
        EXPECT_TRUE(fira_->getCapabilities(&caps).isOk());
        Trace();
        const bool is_fixed = caps.supportedChannels.size() == 1;
        EXPECT_EQ(caps.supportedChannels, is_fixed ? std::vector{9} : std::vector({3, 9}));
        return is_fixed;
    }

    std::shared_ptr<FiraClient> client_ = SharedRefBase::make<FiraClient>(&journal_);
};

TEST_F(FiraControllerTest, DrivesASessionThroughItsLife) {
    EXPECT_EQ(Trace(fira_->initNewTwrSession(GoodSession(7))), kNew);
    EXPECT_THAT(log_.lines(), Contains(::testing::StartsWith(
                                  "I velta.uwb.FiraController initNewTwrSession:FiraTwrSession{"
                                  "id: 7, deviceType: CONTROLLER, deviceRole: ")));
    EXPECT_EQ(Trace(fira_->startRangingSession(7)), "pre-start; subscribe 3; start 3 7; changed");
    EXPECT_EQ(fira_->ActiveSessionCount(), 1);
    FiraClient::Data data;
    data.sessionId = 7;
    data.blockIndex = 5;
    fira_region_.subscriber->OnTwrResult(data, FiraClient::Measurements(2));
    EXPECT_EQ(Trace(), "told twr 7 5 2");
    EXPECT_EQ(Trace(fira_->stopRangingSession(7)), "stop 3 7");
    EXPECT_EQ(fira_->ActiveSessionCount(), 1);
    EXPECT_EQ(Trace(fira_->deinitSession(7)), "!3 The session is started, call stop first.");
    EXPECT_EQ(KernelStops(7), "told stopped 7 4; unsubscribe 3; changed");
    EXPECT_EQ(fira_->ActiveSessionCount(), 0);
    int32_t count = 0;
    EXPECT_EQ(Trace(fira_->getSessionCount(&count)), "");
    EXPECT_EQ(count, 1);
    EXPECT_EQ(Trace(fira_->deinitSession(7)), "deinit 3 7; changed");
    EXPECT_EQ(fira_->SessionCount(), 0);
}

TEST_F(FiraControllerTest, RefusesWhatTheStateDoesNotAllow) {
    const auto init = [&] { return fira_->initNewTwrSession(GoodSession(-2)); };
    const auto update = [&] { return fira_->updateTwrSession(GoodSession(-2)); };
    const auto start = [&] { return fira_->startRangingSession(-2); };
    const auto stop = [&] { return fira_->stopRangingSession(-2); };
    const auto deinit = [&] { return fira_->deinitSession(-2); };
    const auto add = [&] { return fira_->addControlees(-2, {}, std::vector<int32_t>{1}); };
    const auto remove = [&] { return fira_->removeControlees(-2, {}); };
    for (const auto& request :
         std::initializer_list<Request>{update, start, stop, deinit, add, remove}) {
        EXPECT_EQ(Trace(request()), "!2 Unknown session id 4294967294");
    }
    EXPECT_TRUE(init().isOk());
    Trace();
    EXPECT_EQ(Trace(init()), "!2 Session with id 4294967294 already exist");
    EXPECT_EQ(Trace(stop()), "!3 The session isn't started.");
    EXPECT_EQ(Trace(add()), "!2 Controlees size and sub-session id size do not match");
    EXPECT_TRUE(start().isOk());
    Trace();
    EXPECT_EQ(Trace(update()), "!3 Running session cannot be updated");
    EXPECT_EQ(Trace(start()), "!3 The session is already running");
    fira_->clearSessionCallback();  // Asked for before the session.
    EXPECT_EQ(Trace(fira_->startRangingSession(1)),
              "!3 You need to register callbacks on the controller first.");
    EXPECT_EQ(Trace(fira_->updateTwoWayRangingBlockStriding(-1, 3)),
              "!2 Block striding is not supported");
    EXPECT_EQ(log_.Count("I velta.uwb.FiraController Trying to update session4294967295 with block "
                         "stride length3"),
              1U);
}

TEST_F(FiraControllerTest, ReportsTheFirstFaultOfASession) {
    const std::string kAddressSize =
        "deviceAddress has incorrect size, only short addresses are supported in Fira 1.1";
    const std::string kNoDestination =
        "The device is controller of the session, destAddressList should not be empty";
    const std::string kNegative = " cannot be negative.";
    const std::string kAttempts = "Incorrect inBandTerminationAttemptCount value ";
    const std::pair<Change, std::string> faults[] = {
        // In the order of the checks.
        {[](auto& s) { s.deviceAddress.address = {1}; }, kAddressSize},
        {[](auto& s) { s.deviceAddress.address.resize(8); }, kAddressSize},
        {[](auto& s) { s.initiationTimeMs = -1; }, "initiationTimeMs" + kNegative},
        {[](auto& s) { s.slotDurationRstu = -1; }, "slotDurationRstu" + kNegative},
        {[](auto& s) { s.slotsPerRangingRound = -1; }, "slotsPerRangingRound" + kNegative},
        {[](auto& s) { s.rangingBlockDurationMs = -1; }, "rangingBlockDurationMs" + kNegative},
        {[](auto& s) { s.blockStridingValue = -1; }, "blockStridingValue" + kNegative},
        {[](auto& s) { s.maxRangingRoundRetries = -1; }, "maxRangingRoundRetries" + kNegative},
        {[](auto& s) { s.aoaType = AoaType::ELEVATION; }, "Unsupported AoaType: ELEVATION"},
        {[](auto& s) { s.aoaType = AoaType{2}; }, "Unsupported AoaType: AZIMUTH_AND_ELEVATION"},
        {[](auto& s) { s.aoaType = AoaType{3}; }, "Unknown AoaType: 3"},
        {[](auto& s) { s.sessionPriority = 101; }, "Incorrect sessionPriority value 101"},
        {[](auto& s) { s.sessionPriority = -1; }, "Incorrect sessionPriority value 4294967295"},
        {[](auto& s) { s.inBandTerminationAttemptCount = 0; }, kAttempts + "0"},
        {[](auto& s) { s.inBandTerminationAttemptCount = 11; }, kAttempts + "11"},
        {[](auto& s) { s.inBandTerminationAttemptCount = -128; }, kAttempts + "4294967168"},
        {[](auto& s) { s.channelNumber = 16; }, "Incorrect channel value 16"},
        {[](auto& s) { s.sfdId = 5; }, "Incorrect sfdId value 5"},
        {[](auto& s) { s.destAddressList.clear(); }, kNoDestination},
        {[](auto& s) { s.deviceType = DeviceType::CONTROLEE, s.destAddressList.clear(); },
         kNoDestination},
        {[](auto& s) {
             s.destAddressList = {GoodSession().deviceAddress, UwbAddress()};
         },
         "destAddressList contains an incorrect address, only short addresses are supported in "
         "Fira 1.1"},
        {[](auto& s) {
             s.stsConfig = FiraStsConfig::STATIC, s.vendorId = {1, 2, 3};
         },
         "Session with static STS needs to pass vendorId value with size of 2"},
        {[](auto& s) {
             s.stsConfig = {}, s.vendorId = {1, 2}, s.staticStsIV.resize(5);
         },
         "Session with static STS needs to pass vendorId value with size of 6"},
        {[](auto& s) { s.stsConfig = FiraStsConfig::DYNAMIC, s.vendorId.clear(); },
         "Session without static STS should not pass vendorId value"},
        {[](auto& s) { s.stsConfig = FiraStsConfig{2}, s.staticStsIV.clear(); },
         "Session without static STS should not pass staticStsIV value"},
    };
    for (const auto& first : faults) {
        for (const auto* later = &first; later != std::end(faults); ++later) {
            FiraTwrSession session = GoodSession();
            later->first(session);
            first.first(session);
            EXPECT_EQ(Trace(fira_->initNewTwrSession(session)), "!2 " + first.second)
                << "with " << later->second;
        }
    }
}

TEST_F(FiraControllerTest, AcceptsTheLimitsOfAField) {
    constexpr uint32_t kNone = FiraRegionUtils::kNoAntennaPair;
    auto& antennas = fira_region_.hw_config;
    const std::pair<Change, std::string> cases[] = {
        {[](auto& s) { s.sessionPriority = 100; }, kNew},
        {[](auto& s) { s.inBandTerminationAttemptCount = 10; }, kNew},
        {[](auto& s) { s.sfdId = 4; }, kNew},
        {[](auto& s) { s.sfdId = -3; }, kNew},
        {[](auto& s) { s.stsConfig = FiraStsConfig::DYNAMIC, s.vendorId = {1}; }, kNew},
        {[](auto& s) { s.deviceType = DeviceType::CONTROLEE; },
         "phy wpan0; channel wpan0 9; pre-open fira; init 3 7; config 3 7; changed"},
        {[&](auto&) {
             antennas = {kNone, 6, 0};
         },
         "!2 Unsupported AoaType: AZIMUTH"},
        {[](auto& s) { s.aoaType = AoaType::ELEVATION; }, kNew},
        {[](auto& s) { s.aoaType = AoaType::AZIMUTH_AND_ELEVATION; },
         "!2 Unsupported AoaType: AZIMUTH_AND_ELEVATION"},
        {[&](auto& s) {
             antennas = {1, 6, 0}, s.aoaType = AoaType{2};
         },
         kNew},
    };
    for (const auto& [set, trace] : cases) {
        FiraTwrSession session = GoodSession();
        set(session);
        EXPECT_EQ(Trace(fira_->initNewTwrSession(session)), trace) << session.toString();
        fira_->reset();
        EXPECT_EQ(Trace(), "unsubscribe 3") << "the kernel is not told";
    }
}

TEST_F(FiraControllerTest, KnowsNoSessionWhoseSetUpFailed) {
    const std::pair<std::string, std::string> cases[] = {
        {"phy", "!1 Failed to get supported channels"},
        {"channel", "!1 Failed to set correct channel"},
        {"init", "changed; !1 Unsupported operation"},
        {"config", "changed; !1 Unsupported operation"},
        {"add", "changed; !1 Unsupported operation"}};
    for (const auto& [failing, end] : cases) {
        journal_.failing = {failing};
        EXPECT_EQ(Trace(fira_->initNewTwrSession(GoodSession())),
                  kNew.substr(0, kNew.find(';', kNew.find(failing)) + 2) + end);
        EXPECT_EQ(fira_->SessionCount(), 0);
        journal_.failing.clear();
        EXPECT_FALSE(IsChannelFixed());
    }
}

TEST_F(FiraControllerTest, KeepsAllSessionsOnOneChannel) {
    FiraTwrSession other = GoodSession(8);
    other.channelNumber = 5;
    EXPECT_EQ(Trace(fira_->initNewTwrSession(other)),
              "phy wpan0; !2 Requested channel 5 is restricted");
    other.channelNumber = 3;
    Start(7);
    EXPECT_EQ(Trace(fira_->initNewTwrSession(other)), "!2 Requested channel 3 is restricted");
    EXPECT_EQ(Trace(fira_->initNewTwrSession(GoodSession(6))),
              "pre-open fira; init 3 6; config 3 6; add 3 6 1122, -; changed");
    EXPECT_TRUE(IsChannelFixed());
    KernelStops(7);
    EXPECT_FALSE(IsChannelFixed()) << "nothing runs any more";
    Init(5);
    EXPECT_TRUE(IsChannelFixed());
    journal_.failing = {"start"};
    EXPECT_EQ(Trace(fira_->startRangingSession(5)),
              "pre-start; subscribe 3; start 3 5; unsubscribe 3; !1 Unsupported operation");
    EXPECT_FALSE(IsChannelFixed());
    Init(4);
    EXPECT_TRUE(fira_->deinitSession(4).isOk());
    EXPECT_TRUE(IsChannelFixed()) << "removing a session does not free the channel";
    EXPECT_TRUE(fira_->deinitSession(5).isOk()) << "it is not running";
    fira_->reset();
    EXPECT_EQ(fira_->SessionCount(), 0);
    EXPECT_FALSE(IsChannelFixed());
    journal_.failing = {"phy"};
    FiraController::FiraCapabilities caps;
    EXPECT_EQ(Trace(fira_->getCapabilities(&caps)),
              "phy wpan0; !1 Failed to get supported channels");
}

TEST_F(FiraControllerTest, StaysSubscribedUntilTheLastSessionStopped) {
    Start(7);
    Init(8);
    Trace();
    EXPECT_EQ(Trace(fira_->startRangingSession(8)), "pre-start; start 3 8; changed");
    EXPECT_EQ(KernelStops(7), "told stopped 7 4; changed");
    // The kernel's word goes, for a session that nobody knows too.
    EXPECT_EQ(KernelStops(99), "told stopped 99 4; unsubscribe 3; changed");
    EXPECT_EQ(fira_->SessionCount(), 3);
    KernelStops(8);
    EXPECT_EQ(fira_->ActiveSessionCount(), -1);
}

TEST_F(FiraControllerTest, KeepsTheStateWhenTheKernelRefuses) {
    Start();
    journal_.failing = {"stop", "deinit", "config"};
    EXPECT_EQ(Trace(fira_->stopRangingSession(7)), "stop 3 7; !1 Unsupported operation");
    EXPECT_EQ(fira_->ActiveSessionCount(), 1);
    KernelStops(7);
    EXPECT_EQ(Trace(fira_->deinitSession(7)), "deinit 3 7; changed; !1 Unsupported operation");
    FiraTwrSession unchecked;
    unchecked.id = 7;
    EXPECT_EQ(Trace(fira_->updateTwrSession(unchecked)), "config 3 7; !1 Unsupported operation");
    journal_.failing.clear();
    EXPECT_EQ(Trace(fira_->updateTwrSession(unchecked)), "config 3 7");
}

TEST_F(FiraControllerTest, ReportsControleesAfterTheCallReturned) {
    std::vector<UwbAddress> two(2);
    two[0].address = {0x12, 0x34};
    two[1].address = {0x56, 0x78};
    const auto add = [&] { return fira_->addControlees(7, two, std::vector<int32_t>{30, 31}); };
    const auto remove = [&] { return fira_->removeControlees(7, two); };
    const std::tuple<Request, std::string, std::string, std::string> cases[] = {
        {add, "", "add 3 7 1234,5678, 30,31,", "told added 7 1234,5678,"},
        {add, "add", "add 3 7 1234,5678, 30,31,", "told add-failed 7 1234,5678, 0"},
        {remove, "", "remove 3 7 1234,5678,", "told removed 7 1234,5678,"},
        {remove, "remove", "remove 3 7 1234,5678,", "told remove-failed 7 1234,5678, 0"},
    };
    Init();
    Trace();
    for (const auto& [request, failing, call, report] : cases) {
        fira_->setSessionCallback(client_);
        journal_.failing = {failing};
        EXPECT_EQ(Trace(request()), call);
        fira_->clearSessionCallback();  // The report is for who was registered then.
        RunTasks();
        EXPECT_EQ(Trace(), report);
        EXPECT_EQ(Trace(request()), call);
        RunTasks();
        EXPECT_EQ(Trace(), "") << "nobody to report to";
    }
}

TEST_F(FiraControllerTest, ChannelStaysFixedWhileTheSecondSessionRuns) {
    Start(7);
    Start(8);
    KernelStops(7);
    EXPECT_TRUE(IsChannelFixed());
    KernelStops(8);
    EXPECT_FALSE(IsChannelFixed());
}

// What was lost may have been a stop: nothing runs any more, in the kernel or for the client.
TEST_F(FiraControllerTest, StopsWhatRunsWhenReportsWereLost) {
    Init(6);
    Start(7);
    Start(8);
    journal_.failing = {"stop"};  // It may have stopped.
    fira_->OnNotificationsLost();
    EXPECT_EQ(Trace(),
              "stop 3 7; stop 3 8; told stopped 7 256; changed; told stopped 8 256; unsubscribe 3; "
              "changed");
    EXPECT_EQ(fira_->ActiveSessionCount(), 0);
    EXPECT_EQ(Trace(fira_->startRangingSession(7)), "pre-start; subscribe 3; start 3 7; changed");
}

TEST_F(FiraControllerTest, DropsReportsWithoutACallback) {
    Start();
    fira_->clearSessionCallback();
    fira_->OnTwrResult({}, {});
    EXPECT_EQ(KernelStops(7), "unsubscribe 3; changed");
    EXPECT_THAT(log_.lines(), Contains(::testing::StartsWith("W velta.uwb.Fira")).Times(2));
    EXPECT_EQ(Trace(fira_->deinitSession(7)), "deinit 3 7; changed");
}

TEST_F(FiraControllerTest, TellsWhatAClientHadNoRoomFor) {
    Start();
    const auto warnings = [this] {
        std::vector<std::string> lines = log_.lines();
        std::erase_if(lines, [](const std::string& line) { return !line.starts_with("W "); });
        return lines;
    };
    fira_->OnTwrResult({}, {});
    journal_.failing = {"told"};
    fira_->OnTwrResult({}, {});
    fira_->OnTwrResult({}, {});
    KernelStops(7);
    journal_.failing = {};
    fira_->OnTwrResult({}, {});
    EXPECT_THAT(warnings(), ::testing::ElementsAre(
                                ::testing::EndsWith("wpan0 takes no more events: they are lost"),
                                ::testing::EndsWith("the client does not learn of the stop of 7"),
                                ::testing::EndsWith("wpan0 takes events again; lost: 3")));
}

TEST_F(FiraControllerTest, LeavesNothingBehind) {
    Start(7);
    Init(8);
    Trace();
    fira_->Abandon();
    EXPECT_EQ(Trace(), "unsubscribe 3; deinit 3 7; deinit 3 8");
    EXPECT_EQ(fira_->SessionCount() + fira_->ActiveSessionCount(), 0);
    // The client may go on calling, without effect.
    EXPECT_EQ(Trace(fira_->startRangingSession(7)),
              "!3 You need to register callbacks on the controller first.");
    fira_->setSessionCallback(client_);
    EXPECT_EQ(Trace(fira_->startRangingSession(7)), "!2 Unknown session id 7");
    EXPECT_EQ(Trace(fira_->initNewTwrSession(GoodSession())), "!3 HAL is closed");
    FiraTwrSession bad = GoodSession();
    bad.sessionPriority = 101;
    EXPECT_EQ(Trace(fira_->initNewTwrSession(bad)), "!2 Incorrect sessionPriority value 101");
    EXPECT_EQ(Trace(fira_->reset()), "");
    fira_.reset();
    EXPECT_EQ(Trace(), "");
}

TEST_F(FiraControllerTest, LeavesALaterSubscriberAlone) {
    const auto later = Make<FiraController>(kHw, &ieee_, &fira_region_, &loop_);
    later->setSessionCallback(client_);
    EXPECT_TRUE(later->initNewTwrSession(GoodSession(1)).isOk());
    Start(7);
    EXPECT_TRUE(later->startRangingSession(1).isOk());
    Trace();
    fira_.reset();
    EXPECT_EQ(Trace(), "deinit 3 7");
    EXPECT_TRUE(fira_region_.IsSubscribed(kHw, later.get()));
}

}  // namespace
}  // namespace hardware::velta
