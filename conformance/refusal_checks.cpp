// SPDX-License-Identifier: Apache-2.0

// What the service refuses, and how it says so, whatever the driver.
#include "conformance/check.h"

namespace hardware::velta::conformance {
namespace {

class RefusalCheck : public OpenCheck {
  protected:
    void SetUp() override {
        OpenCheck::SetUp();
        if (!IsSkipped() && !HasFatalFailure()) fira = FiraClient(hal, 0);
    }

    FiraClient fira;
};

using S = FiraTwrSession;
using Change = void (*)(S&);

// Two faults in one show which is looked at first.
CONFORMANCE_CHECK(RefusalCheck, InvalidSessions, NEEDS(),
                  "a session that cannot be is refused by name of the field at fault", "nothing") {
    const struct {
        Change spoil;
        const char* message;
    } cases[] = {
        {[](S& s) { s.deviceAddress.address.resize(8), s.initiationTimeMs = -1; },
         "deviceAddress has incorrect size, only short addresses are supported in Fira 1.1"},
        {[](S& s) { s.initiationTimeMs = s.slotDurationRstu = -1; },
         "initiationTimeMs cannot be negative."},
        {[](S& s) { s.slotDurationRstu = -1; }, "slotDurationRstu cannot be negative."},
        {[](S& s) { s.slotsPerRangingRound = -1; }, "slotsPerRangingRound cannot be negative."},
        {[](S& s) { s.rangingBlockDurationMs = -1; }, "rangingBlockDurationMs cannot be negative."},
        {[](S& s) { s.blockStridingValue = -1; }, "blockStridingValue cannot be negative."},
        {[](S& s) { s.maxRangingRoundRetries = -1, s.aoaType = AoaType::ELEVATION; },
         "maxRangingRoundRetries cannot be negative."},
        {[](S& s) { s.aoaType = AoaType::ELEVATION, s.sessionPriority = -1; },
         "Unsupported AoaType: ELEVATION"},
        {[](S& s) { s.aoaType = AoaType{2}; }, "Unsupported AoaType: AZIMUTH_AND_ELEVATION"},
        {[](S& s) { s.aoaType = AoaType{3}; }, "Unknown AoaType: 3"},
        {[](S& s) { s.aoaType = AoaType{-1}; }, "Unknown AoaType: -1"},
        {[](S& s) { s.sessionPriority = -1; }, "Incorrect sessionPriority value 4294967295"},
        {[](S& s) { s.sessionPriority = 101, s.inBandTerminationAttemptCount = 0; },
         "Incorrect sessionPriority value 101"},
        {[](S& s) { s.inBandTerminationAttemptCount = 0, s.channelNumber = 16; },
         "Incorrect inBandTerminationAttemptCount value 0"},
        {[](S& s) { s.inBandTerminationAttemptCount = 11; },
         "Incorrect inBandTerminationAttemptCount value 11"},
        {[](S& s) { s.inBandTerminationAttemptCount = -1; },
         "Incorrect inBandTerminationAttemptCount value 4294967295"},
        {[](S& s) { s.channelNumber = 16, s.sfdId = 5; }, "Incorrect channel value 16"},
        {[](S& s) { s.channelNumber = -1; }, "Incorrect channel value -1"},
        {[](S& s) { s.channelNumber = 15; }, "Requested channel 15 is restricted"},
        {[](S& s) { s.sfdId = 5, s.destAddressList.clear(); }, "Incorrect sfdId value 5"},
        {[](S& s) { s.sfdId = 127; }, "Incorrect sfdId value 127"},
        {[](S& s) { s.destAddressList.clear(), s.vendorId.clear(); },
         "The device is controller of the session, destAddressList should not be empty"},
        {[](S& s) { s = ControleeSession(), s.destAddressList.clear(); },
         "The device is controller of the session, destAddressList should not be empty"},
        {[](S& s) { s.destAddressList.push_back({}), s.vendorId.clear(); },
         "destAddressList contains an incorrect address, only short addresses are supported in "
         "Fira 1.1"},
        {[](S& s) { s.vendorId.resize(3), s.staticStsIV.clear(); },
         "Session with static STS needs to pass vendorId value with size of 2"},
        {[](S& s) { s.staticStsIV.resize(5), s.channelNumber = 6; },
         "Session with static STS needs to pass vendorId value with size of 6"},
        {[](S& s) { s.stsConfig = FiraStsConfig::DYNAMIC, s.vendorId.clear(); },
         "Session without static STS should not pass vendorId value"},
        {[](S& s) { s.stsConfig = FiraStsConfig{2}, s.staticStsIV.clear(); },
         "Session without static STS should not pass staticStsIV value"},
    };
    // Which depends on the calibration in force.
    const bool has_elevation = fira.Capabilities().isElevationSupported;
    for (const auto& [spoil, message] : cases) {
        if (has_elevation && std::string(message).starts_with("Unsupported")) continue;
        FiraTwrSession session = ControllerSession();
        spoil(session);
        EXPECT_EQ(fira.Init(session), "2: "s + message);
    }
    EXPECT_EQ(fira.Count(), 0);
}

CONFORMANCE_CHECK(RefusalCheck, UnknownSessions, NEEDS(),
                  "calls on sessions that are not there do nothing", "nothing") {
    ASSERT_EQ(fira.Init(ControllerSession()), "OK");
    for (const int id : {7, -1}) {
        EXPECT_THAT((std::vector{fira.Update(ControllerSession(id)), fira.Start(id), fira.Stop(id),
                                 fira.Deinit(id), fira.Add(id, {Short(2)}, {{1, 2}}),
                                 fira.Remove(id, {Short(2)})}),
                    Each("2: Unknown session id " + std::to_string(static_cast<uint32_t>(id))));
        EXPECT_EQ(fira.Stride(id), "2: Block striding is not supported");
    }
}

CONFORMANCE_CHECK(RefusalCheck, WhatTheStateForbids, NEEDS(), "calls at the wrong time do nothing",
                  "SESSION_START and SESSION_STOP acknowledged") {
    ASSERT_EQ(fira.Init(ControllerSession()), "OK");
    EXPECT_EQ(fira.Init(ControllerSession()), "2: Session with id 42 already exist");
    EXPECT_EQ(fira.Stop(), "3: The session isn't started.");
    EXPECT_EQ(Said(fira.fira->setSessionCallback(nullptr)), "OK");
    EXPECT_THAT((std::vector{fira.Start(), fira.Start(7)}),
                Each("3: You need to register callbacks on the controller first."));
    EXPECT_EQ(Said(fira.fira->setSessionCallback(fira.events)), "OK");
    ASSERT_EQ(fira.Start(), "OK");
    EXPECT_EQ(fira.Start(), "3: The session is already running");
    EXPECT_EQ(fira.Deinit(), "3: The session is started, call stop first.");
    EXPECT_EQ(fira.Init(ControllerSession()), "2: Session with id 42 already exist");
    EXPECT_EQ(fira.Stride(kSession), "2: Block striding is not supported");
    EXPECT_EQ(fira.Next().data.sessionId, kSession) << "it ranges on";
}

}  // namespace
}  // namespace hardware::velta::conformance
