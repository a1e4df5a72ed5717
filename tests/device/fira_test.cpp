// SPDX-License-Identifier: Apache-2.0

// FiRa sessions: what they measure, how they live, what is refused.
#include <functional>

#include "device_test.h"

namespace hardware::velta::device {
namespace {

class FiraTest : public OpenTest {
  protected:
    void SetUp() override {
        OpenTest::SetUp();
        fira = FiraClient(hal, 0);
        other = FiraClient(hal, 1);
    }

    std::vector<int> Channels() {
        FiraCapabilities caps;
        EXPECT_EQ(Said(fira.controller->getCapabilities(&caps)), "OK");
        return caps.supportedChannels;
    }

    FiraClient fira;
    FiraClient other;
};

// ---- Measurements ----

TEST_F(FiraTest, ControllerMeasuresItsMovingControlees) {
    LayOut(
        "noise 5\nradio 0 1 0 0.5\ntag 0x1234 -3 2 0 4 0 0\ntag 0x5678 1 2 0.5 0 2.5 0\n"
        "los 0x5678 0");
    FiraTwrSession session = ControllerSession();
    session.destAddressList = {Short(0x1234), Short(0x5678)};
    fira.Run(session);
    int64_t last_ns = 0;
    for (int block = 0; block < 12; block++) {
        const auto [data, measurements] = fira.events->reports.Take();
        EXPECT_EQ(data.sessionId, kSession);
        EXPECT_EQ(data.blockIndex, block);
        ASSERT_EQ(measurements.size(), 2U);
        EXPECT_EQ(measurements[0].peerAddress, Short(0x1234));
        EXPECT_EQ(measurements[1].peerAddress, Short(0x5678));
        EXPECT_EQ(measurements[0].lineOfSight, 1);
        EXPECT_EQ(measurements[1].lineOfSight, 0);
        ExpectTruth(measurements[0], 0, "tag 0x1234");
        ExpectTruth(measurements[1], 0, "tag 0x5678");
        if (block > 0) EXPECT_EQ(measurements[0].timestampNs - last_ns, 50'000'000);
        last_ns = measurements[0].timestampNs;
    }
}

TEST_F(FiraTest, ControleeMeasuresItsController) {
    LayOut("noise 5\ntag 0x0001 2 2 0 0 -1 0");
    fira.Run(ControleeSession());
    for (int i = 0; i < 3; i++) {
        const auto measurements = fira.events->reports.Take().measurements;
        ASSERT_EQ(measurements.size(), 1U);
        EXPECT_EQ(measurements[0].peerAddress, Short(0x0001));
        ExpectTruth(measurements[0], 0, "tag 0x0001");
    }
}

TEST_F(FiraTest, TwoRadiosRangeWithEachOther) {
    LayOut("noise 5\nradio 0 0 0 0\nradio 1 1.5 4 0 -1 0 0");
    fira.Run();
    const FiraTwrMeasurement alone = fira.events->reports.Take().measurements.at(0);
    EXPECT_EQ(alone.status, 0x21) << "nobody is there to answer yet";
    EXPECT_EQ(alone.distance, 0);
    EXPECT_EQ(alone.lineOfSight, 255);
    other.Run(ControleeSession());
    for (int i = 0; i < 3; i++) {
        const FiraTwrMeasurement controlees = other.Fresh().measurements.at(0);
        EXPECT_EQ(controlees.peerAddress, Short(0x0001));
        ExpectTruth(controlees, 1, "radio 0");
        const FiraTwrMeasurement controllers = fira.Fresh().measurements.at(0);
        EXPECT_EQ(controllers.peerAddress, Short(0x1234));
        ExpectTruth(controllers, 0, "radio 1");
    }
    other.Halt();
    EXPECT_EQ(fira.Fresh().measurements.at(0).status, 0x21);
    EXPECT_TRUE(fira.events->events.Empty()) << "the other end's stop is not its own";
    EXPECT_TRUE(other.events->reports.GoesQuiet(120ms));
}

TEST_F(FiraTest, RadiosRunSessionsOfTheirOwnAtOnce) {
    LayOut("tag 0x1234 0 3 0\ntag 0x5678 0 3 0");
    FiraTwrSession session = ControllerSession(43);
    session.channelNumber = 5;
    session.destAddressList = {Short(0x5678)};
    fira.Run();
    other.Run(session);
    for (int i = 0; i < 5; i++) {
        const FiraReport mine = fira.events->reports.Take();
        EXPECT_EQ(mine.data.sessionId, kSession);
        EXPECT_EQ(mine.measurements.at(0).peerAddress, Short(0x1234));
        const FiraReport others = other.events->reports.Take();
        EXPECT_EQ(others.data.sessionId, 43);
        EXPECT_EQ(others.measurements.at(0).peerAddress, Short(0x5678));
    }
    fira.Halt();
    EXPECT_EQ(RadioState(0)["interface"], "down");
    EXPECT_EQ(RadioState(1)["interface"], "up");
    EXPECT_TRUE(fira.events->reports.GoesQuiet(120ms));
    EXPECT_EQ(other.Fresh().data.sessionId, 43);
}

TEST_F(FiraTest, AnglesAreThereOnlyWhenAskedFor) {
    LayOut("tag 0x1234 2 2 0");
    FiraTwrSession session = ControllerSession();
    session.aoaResultRequest = AoaResultRequest::NO_AOA_REPORT;
    fira.Run(session);
    const FiraTwrMeasurement measurement = fira.events->reports.Take().measurements.at(0);
    EXPECT_EQ(measurement.azimuth, 0);
    EXPECT_EQ(measurement.azimuthFigureOfMerit, 0);
    EXPECT_THAT(measurement.antennaMeasurements, IsEmpty());
}

// ---- Controlees ----

TEST_F(FiraTest, AddsAndRemovesControleesWhileRanging) {
    LayOut("tag 0x1234 0 3 0\ntag 0x5678 0 4 0\ntag 0x9abc 0 5 0");
    fira.Run();
    const auto add = [this](const std::vector<UwbAddress>& who,
                            const std::optional<std::vector<int32_t>>& sub_sessions = {}) {
        EXPECT_EQ(Said(fira.controller->addControlees(kSession, who, sub_sessions)), "OK");
        return fira.events->events.Take();
    };
    const auto remove = [this](const std::vector<UwbAddress>& who) {
        EXPECT_EQ(Said(fira.controller->removeControlees(kSession, who)), "OK");
        return fira.events->events.Take();
    };
    const UwbAddress extended = {.address = {1, 2, 3, 4, 5, 6, 7, 8}};
    EXPECT_EQ(fira.Fresh().measurements.size(), 1U);
    EXPECT_EQ(add({Short(0x5678), Short(0x9abc)}, {{7, -1}}), "added 42 5678,9abc");
    EXPECT_EQ(fira.Fresh().measurements.size(), 3U);
    EXPECT_EQ(RadioState(0).Session(kSession).controlees,
              "0x1234,0x5678 sub_session 7,0x9abc sub_session 4294967295");
    EXPECT_EQ(add({Short(0x5678)}), "add failed 42 5678 0") << "it is there already";
    EXPECT_EQ(add({}), "add failed 42 0");
    EXPECT_EQ(add({extended}), "add failed 42 0102030405060708 0");
    EXPECT_EQ(remove({Short(0x1234), Short(0x5678)}), "removed 42 1234,5678");
    EXPECT_EQ(fira.Fresh().measurements.size(), 1U);
    EXPECT_EQ(remove({Short(0x1234)}), "remove failed 42 1234 0");
    EXPECT_EQ(remove({}), "remove failed 42 0");
    for (const std::vector<int32_t>& sub_sessions : {std::vector<int32_t>{}, {1, 2}}) {
        EXPECT_EQ(Said(fira.controller->addControlees(kSession, {Short(2)}, sub_sessions)),
                  "2: Controlees size and sub-session id size do not match");
    }
    EXPECT_EQ(RadioState(0).Session(kSession).controlees, "0x9abc sub_session 4294967295");
    EXPECT_TRUE(fira.events->events.Empty());
}

// ---- Life of a session ----

TEST_F(FiraTest, StopsAndStartsAgain) {
    ASSERT_EQ(fira.Init(ControllerSession()), "OK");
    for (int i = 0; i < 2; i++) {
        EXPECT_EQ(RadioState(0)["interface"], "down");
        ASSERT_EQ(fira.Start(), "OK");
        EXPECT_EQ(RadioState(0)["interface"], "up");
        EXPECT_EQ(fira.events->reports.Take().data.blockIndex, 0);
        fira.Halt();
        EXPECT_EQ(fira.Count(), 1);
        EXPECT_TRUE(fira.events->reports.GoesQuiet(120ms));
    }
    EXPECT_EQ(RadioState(0)["scheduler"], "endless");
    EXPECT_EQ(RadioState(0)["region 0"], "fira");
    EXPECT_EQ(fira.Deinit(), "OK");
    EXPECT_EQ(fira.Count(), 0);
    EXPECT_EQ(RadioState(0).Session(kSession).state, "none");
}

// What the kernel does by itself counts, and so does its reason.
TEST_F(FiraTest, KernelEndsSessions) {
    FiraTwrSession impatient = ControllerSession();
    impatient.maxRangingRoundRetries = 2;
    fira.Run();
    Fault("0 stop fira 42 130");
    EXPECT_EQ(fira.events->events.Take(), "stopped 42 130");
    EXPECT_EQ(fira.Stop(), "3: The session isn't started.");
    EXPECT_EQ(fira.Deinit(), "OK");
    fira.Run(impatient);
    EXPECT_EQ(fira.events->events.Take(), "stopped 42 1") << "nobody answered twice";
    LayOut("tag 0x1234 0 3 0");
    ASSERT_EQ(fira.Start(), "OK");
    Shell("ip link set wpan0 down");
    EXPECT_EQ(fira.events->events.Take(), "stopped 42 128");
    EXPECT_EQ(fira.Deinit(), "OK");
}

TEST_F(FiraTest, InterfaceStaysUpUntilTheLastSessionStops) {
    fira.Run(ControllerSession(1));
    fira.Run(ControllerSession(2));
    fira.Halt(1);
    EXPECT_EQ(RadioState(0)["interface"], "up");
    EXPECT_EQ(fira.Fresh().data.sessionId, 2);
    fira.Halt(2);
    EXPECT_EQ(RadioState(0)["interface"], "down");
    EXPECT_EQ(fira.Count(), 2);
}

TEST_F(FiraTest, ResetForgetsEverythingAtOnce) {
    fira.Run();
    fira.events->reports.Take();
    EXPECT_EQ(Said(fira.controller->reset()), "OK");
    EXPECT_EQ(fira.Count(), 0);
    EXPECT_THAT(Channels(), ElementsAre(5, 9));
    EXPECT_TRUE(fira.events->reports.GoesQuiet(120ms));
    EXPECT_TRUE(fira.events->events.Empty()) << "a reset is no stop";
    EXPECT_EQ(fira.Stop(), "2: Unknown session id 42");
    fira.Run();
    EXPECT_EQ(fira.events->reports.Take().data.blockIndex, 0);
}

TEST_F(FiraTest, CallbackMayBeReplacedOrClearedWhileRanging) {
    fira.Run();
    const auto second = ndk::SharedRefBase::make<FiraEvents>();
    EXPECT_EQ(Said(fira.controller->setSessionCallback(second)), "OK");
    EXPECT_EQ(second->reports.Take().data.sessionId, kSession);
    EXPECT_TRUE(fira.events->reports.GoesQuiet(120ms));
    EXPECT_EQ(Said(fira.controller->clearSessionCallback()), "OK");
    EXPECT_TRUE(second->reports.GoesQuiet(120ms));
    EXPECT_EQ(fira.Stop(), "OK");
    EXPECT_TRUE(Eventually([this] { return fira.Deinit() == "OK"; }))
        << "its end counts all the same";
    EXPECT_EQ(RadioState(0)["interface"], "down");
}

TEST_F(FiraTest, UpdateDescribesAnIdleSessionAnew) {
    FiraTwrSession session = ControllerSession();
    ASSERT_EQ(fira.Init(session), "OK");
    session.sessionPriority = 101;
    EXPECT_EQ(Said(fira.controller->updateTwrSession(session)), "1: Unsupported operation")
        << "the service leaves the checks to the radio here";
    session.sessionPriority = 100;
    session.channelNumber = 5;
    session.isKeyRotationEnabled = true;
    session.keyRotationRate = 3;
    EXPECT_EQ(Said(fira.controller->updateTwrSession(session)), "OK") << "no channel rule either";
    EXPECT_THAT(RadioState(0).Session(kSession).params, HasSubstr(" 15=100 "));
    EXPECT_THAT(RadioState(0).Session(kSession).params, HasSubstr(" 20=5 "));
    EXPECT_THAT(RadioState(0).Session(kSession).params, HasSubstr(" 42=3 "));
    EXPECT_EQ(fira.Start(), "OK");
    EXPECT_EQ(Said(fira.controller->updateTwrSession(session)),
              "3: Running session cannot be updated");
}

// What a radio is told of a session, and what it is not told because it assumes so.
TEST_F(FiraTest, RadioGetsTheParametersOfTheSession) {
    ASSERT_EQ(fira.Init(ControllerSession()), "OK");
    EXPECT_EQ(RadioState(0).Session(kSession).params,
              "1=1 2=1 3=2 4=1 5=1 7=0 8=2400 9=50 10=10 15=50 19=1 20=9 21=10 22=3 23=0 25=2 "
              "26=1 27=0 32=0 34=1 36=0 38=0102030405060708 41=0 43=1 44=1 45=1 46=1 47=1");
    FiraTwrSession session = ControleeSession(2);
    session.rangingRoundUsage = RangingRoundUsage::SS_TWR;
    session.multiNodeMode = MultiNodeMode::UNICAST;
    session.initiationTimeMs = 5;
    session.isBlockStridingEnabled = session.isHoppingEnabled = true;
    session.blockStridingValue = 2;
    session.maxRangingRoundRetries = 9;
    session.rangingRoundControl = {};
    session.prfMode = PrfMode::HPRF;
    session.preambleDuration = PreambleDuration::T32_SYMBOLS;
    session.psduDataRate = PsduDataRate::RATE_31M2;
    session.bprfPhrDataRate = BprfPhrDataRate::RATE_6M81;
    session.fcsType = FcsType::CRC_32;
    session.isTxAdaptivePayloadPowerEnabled = true;
    session.stsConfig = FiraStsConfig::DYNAMIC_FOR_CONTROLEE_INDIVIDUAL_KEY;
    session.subSessionId = 77;
    session.aoaResultRequest = AoaResultRequest::NO_AOA_REPORT;
    session.resultReportConfig = {};
    ASSERT_EQ(fira.Init(session), "OK");
    EXPECT_EQ(RadioState(0).Session(2).params,
              "1=0 2=0 3=1 4=0 5=4660 6=1 7=5 8=2400 9=50 10=10 11=2 12=9 13=1 14=1 15=50 18=0 "
              "19=1 20=9 21=10 22=3 24=0 25=2 26=1 27=3 28=1 29=1 30=1 32=0 34=1 36=2 37=77 41=0 "
              "43=0 44=0 45=0 46=0 47=0");
}

TEST_F(FiraTest, OneChannelForAllSessionsUntilTheLastStop) {
    FiraTwrSession five = ControllerSession(43);
    five.channelNumber = 5;
    FiraTwrSession six = ControllerSession(44);
    six.channelNumber = 6;
    EXPECT_THAT(Channels(), ElementsAre(5, 9));
    EXPECT_EQ(fira.Init(six), "2: Requested channel 6 is restricted") << "no radio has it";
    fira.Run();
    EXPECT_THAT(Channels(), ElementsAre(9));
    EXPECT_EQ(fira.Init(five), "2: Requested channel 5 is restricted");
    fira.Halt();
    EXPECT_THAT(Channels(), ElementsAre(5, 9));
    EXPECT_EQ(fira.Init(five), "OK");
    EXPECT_THAT(Channels(), ElementsAre(5));
    // Taking sessions away is not what releases it.
    EXPECT_EQ(fira.Deinit(43), "OK");
    EXPECT_EQ(fira.Deinit(kSession), "OK");
    EXPECT_EQ(fira.Init(ControllerSession()), "2: Requested channel 9 is restricted");
    EXPECT_EQ(Said(fira.controller->reset()), "OK");
    EXPECT_EQ(fira.Init(ControllerSession()), "OK");
}

TEST_F(FiraTest, CapabilitiesFollowTheHardware) {
    FiraCapabilities caps;
    ASSERT_EQ(Said(fira.controller->getCapabilities(&caps)), "OK");
    EXPECT_THAT(caps.supportedChannels, ElementsAre(5, 9));
    EXPECT_TRUE(caps.isAzimuthSupported);
    EXPECT_FALSE(caps.isElevationSupported);
}

// ---- Refusals ----

using Session = FiraTwrSession;
using Change = std::function<void(Session&)>;

TEST_F(FiraTest, RefusesInvalidSessions) {
    const struct {
        Change spoil;
        const char* message;
    } cases[] = {
        {[](Session& s) { s.deviceAddress.address.clear(); },
         "deviceAddress has incorrect size, only short addresses are supported in Fira 1.1"},
        {[](Session& s) { s.deviceAddress.address.resize(8), s.initiationTimeMs = -1; },
         "deviceAddress has incorrect size, only short addresses are supported in Fira 1.1"},
        {[](Session& s) { s.initiationTimeMs = s.slotDurationRstu = -1; },
         "initiationTimeMs cannot be negative."},
        {[](Session& s) { s.slotDurationRstu = -1; }, "slotDurationRstu cannot be negative."},
        {[](Session& s) { s.slotsPerRangingRound = s.rangingBlockDurationMs = -1; },
         "slotsPerRangingRound cannot be negative."},
        {[](Session& s) { s.rangingBlockDurationMs = -2147483647 - 1; },
         "rangingBlockDurationMs cannot be negative."},
        {[](Session& s) { s.blockStridingValue = s.maxRangingRoundRetries = -1; },
         "blockStridingValue cannot be negative."},
        {[](Session& s) { s.maxRangingRoundRetries = -1, s.aoaType = AoaType::ELEVATION; },
         "maxRangingRoundRetries cannot be negative."},
        {[](Session& s) { s.aoaType = AoaType::ELEVATION, s.sessionPriority = -1; },
         "Unsupported AoaType: ELEVATION"},
        {[](Session& s) { s.aoaType = AoaType::AZIMUTH_AND_ELEVATION; },
         "Unsupported AoaType: AZIMUTH_AND_ELEVATION"},
        {[](Session& s) { s.aoaType = AoaType{3}; }, "Unknown AoaType: 3"},
        {[](Session& s) { s.aoaType = AoaType{-1}; }, "Unknown AoaType: -1"},
        {[](Session& s) { s.sessionPriority = -1; }, "Incorrect sessionPriority value 4294967295"},
        {[](Session& s) { s.sessionPriority = 101, s.inBandTerminationAttemptCount = 0; },
         "Incorrect sessionPriority value 101"},
        {[](Session& s) { s.inBandTerminationAttemptCount = 0, s.channelNumber = 16; },
         "Incorrect inBandTerminationAttemptCount value 0"},
        {[](Session& s) { s.inBandTerminationAttemptCount = 11; },
         "Incorrect inBandTerminationAttemptCount value 11"},
        {[](Session& s) { s.inBandTerminationAttemptCount = -1; },
         "Incorrect inBandTerminationAttemptCount value 4294967295"},
        {[](Session& s) { s.channelNumber = 16, s.sfdId = 5; }, "Incorrect channel value 16"},
        {[](Session& s) { s.channelNumber = -1; }, "Incorrect channel value -1"},
        {[](Session& s) { s.channelNumber = 15; }, "Requested channel 15 is restricted"},
        {[](Session& s) { s.sfdId = 5, s.destAddressList.clear(); }, "Incorrect sfdId value 5"},
        {[](Session& s) { s.sfdId = 127; }, "Incorrect sfdId value 127"},
        {[](Session& s) { s.destAddressList.clear(), s.vendorId.clear(); },
         "The device is controller of the session, destAddressList should not be empty"},
        {[](Session& s) { s = ControleeSession(), s.destAddressList.clear(); },
         "The device is controller of the session, destAddressList should not be empty"},
        {[](Session& s) { s.destAddressList.push_back({}), s.vendorId.clear(); },
         "destAddressList contains an incorrect address, only short addresses are supported in "
         "Fira 1.1"},
        {[](Session& s) { s.vendorId.resize(3), s.staticStsIV.clear(); },
         "Session with static STS needs to pass vendorId value with size of 2"},
        {[](Session& s) { s.staticStsIV.resize(5), s.channelNumber = 6; },
         "Session with static STS needs to pass vendorId value with size of 6"},
        {[](Session& s) { s.stsConfig = FiraStsConfig::DYNAMIC, s.vendorId.clear(); },
         "Session without static STS should not pass vendorId value"},
        {[](Session& s) { s.stsConfig = FiraStsConfig{2}, s.staticStsIV.clear(); },
         "Session without static STS should not pass staticStsIV value"},
    };
    for (const auto& [spoil, message] : cases) {
        FiraTwrSession session = ControllerSession();
        spoil(session);
        EXPECT_EQ(fira.Init(session), std::string("2: ") + message);
    }
    EXPECT_EQ(fira.Count(), 0);
    EXPECT_EQ(RadioState(0)["scheduler"], "default") << "the radio was not bothered";
}

TEST_F(FiraTest, RefusesSessionsThatCannotBeEncodedOrThatTheRadioRefuses) {
    const Change cases[] = {
        [](Session& s) { s.rangingRoundUsage = RangingRoundUsage::OWR; },
        [](Session& s) { s.multiNodeMode = MultiNodeMode::MANY_TO_MANY; },
        [](Session& s) { s.rframeConfig = RframeConfig{2}; },
        [](Session& s) { s.psduDataRate = PsduDataRate{4}; },
        [](Session& s) { s.stsConfig = FiraStsConfig{3}; },
        [](Session& s) { s.sfdId = -3; },
        [](Session& s) { s.preambleCodeIndex = 8; },
        [](Session& s) { s.rangingBlockDurationMs = 0; },
        [](Session& s) { s.destAddressList.push_back(Short(0x1234)); },
    };
    for (const Change& spoil : cases) {
        FiraTwrSession session = ControllerSession();
        spoil(session);
        EXPECT_EQ(fira.Init(session), "1: Unsupported operation") << &spoil - cases;
        EXPECT_EQ(fira.Count(), 0);
        EXPECT_EQ(RadioState(0)["interface"], "down");
    }
    fira.Run();  // What they left behind is in nobody's way.
}

TEST_F(FiraTest, AcceptsValuesAtTheirLimits) {
    const Change limits[] = {
        [](Session& s) { s.sessionPriority = 0, s.inBandTerminationAttemptCount = 10; },
        [](Session& s) { s.sessionPriority = 100, s.sfdId = 4; },
        [](Session& s) { s.stsConfig = FiraStsConfig::DYNAMIC, s.vendorId = {1}; },
        [](Session& s) { s.rframeConfig = RframeConfig::SPO, s.slotsPerRangingRound = 255; },
    };
    int id = 0;
    for (const Change& change : limits) {
        FiraTwrSession session = ControllerSession(-++id);
        change(session);
        EXPECT_EQ(fira.Init(session), "OK") << id;
    }
    EXPECT_EQ(fira.Count(), 4);
    EXPECT_EQ(RadioState(0).Session(4294967293U).state, "idle") << "ids are unsigned to the radio";
}

TEST_F(FiraTest, RefusesUnknownSessions) {
    ASSERT_EQ(fira.Init(ControllerSession()), "OK");
    for (const int id : {7, -1}) {
        const std::string said =
            "2: Unknown session id " + std::to_string(static_cast<uint32_t>(id));
        EXPECT_EQ(Said(fira.controller->updateTwrSession(ControllerSession(id))), said);
        EXPECT_EQ(fira.Start(id), said);
        EXPECT_EQ(fira.Stop(id), said);
        EXPECT_EQ(fira.Deinit(id), said);
        EXPECT_EQ(Said(fira.controller->addControlees(id, {Short(2)}, {{1, 2}})), said);
        EXPECT_EQ(Said(fira.controller->removeControlees(id, {Short(2)})), said);
        EXPECT_EQ(Said(fira.controller->updateTwoWayRangingBlockStriding(id, 3)),
                  "2: Block striding is not supported");
    }
    EXPECT_EQ(other.Start(), "2: Unknown session id 42") << "it is the other radio's";
}

TEST_F(FiraTest, RefusesWhatTheStateForbids) {
    ASSERT_EQ(fira.Init(ControllerSession()), "OK");
    EXPECT_EQ(fira.Init(ControllerSession()), "2: Session with id 42 already exist");
    EXPECT_EQ(fira.Stop(), "3: The session isn't started.");
    EXPECT_EQ(Said(fira.controller->setSessionCallback(nullptr)), "OK");
    for (const int id : {kSession, 7}) {
        EXPECT_EQ(fira.Start(id), "3: You need to register callbacks on the controller first.");
    }
    EXPECT_EQ(Said(fira.controller->setSessionCallback(fira.events)), "OK");
    ASSERT_EQ(fira.Start(), "OK");
    EXPECT_EQ(fira.Start(), "3: The session is already running");
    EXPECT_EQ(fira.Deinit(), "3: The session is started, call stop first.");
    EXPECT_EQ(fira.Init(ControllerSession()), "2: Session with id 42 already exist");
    EXPECT_EQ(Said(fira.controller->updateTwoWayRangingBlockStriding(kSession, 3)),
              "2: Block striding is not supported");
    EXPECT_EQ(RadioState(0).Session(kSession).state, "running");
}

}  // namespace
}  // namespace hardware::velta::device
