// SPDX-License-Identifier: Apache-2.0
#include <aidl/hardware/velta/uwb/FiraTwrSession.h>
#include <gtest/gtest.h>

#include <string>

namespace aidl::hardware::velta::uwb {
namespace {

TEST(TextFormTest, SessionNamesEveryFieldInOrder) {
    FiraTwrSession session;
    session.id = -2;
    session.deviceType = DeviceType::CONTROLLER;
    session.deviceRole = DeviceRole::INITIATOR;
    session.rangingRoundUsage = static_cast<RangingRoundUsage>(-1);
    session.multiNodeMode = MultiNodeMode::MANY_TO_MANY;
    session.deviceAddress.address = {0x12, 0xFF};
    session.destAddressList = {UwbAddress{{1, 0x80}}, UwbAddress{}};
    session.sessionPriority = -128;
    session.rangingRoundControl = {true, MeasurementReportType::RESPONDER_TO_INITIATOR, false};
    session.rframeConfig = RframeConfig::SPO;
    session.prfMode = PrfMode::HPRF;
    session.preambleDuration = PreambleDuration::T64_SYMBOLS;
    session.psduDataRate = PsduDataRate::RATE_27M2;
    session.bprfPhrDataRate = BprfPhrDataRate::RATE_6M81;
    session.fcsType = FcsType::CRC_32;
    session.aoaType = AoaType::AZIMUTH_AND_ELEVATION;
    session.stsConfig = FiraStsConfig::DYNAMIC_FOR_CONTROLEE_INDIVIDUAL_KEY;
    session.vendorId = {0xFE, 7};
    session.isKeyRotationEnabled = true;
    session.aoaResultRequest = AoaResultRequest::REQ_AOA_RESULTS;
    session.resultReportConfig = {true, false, true, false};
    EXPECT_EQ(session.toString(),
              "FiraTwrSession{id: -2, deviceType: CONTROLLER, deviceRole: INITIATOR, "
              "rangingRoundUsage: -1, multiNodeMode: MANY_TO_MANY, deviceAddress: "
              "UwbAddress{address: [18, -1]}, destAddressList: [UwbAddress{address: [1, -128]}, "
              "UwbAddress{address: []}], initiationTimeMs: 0, slotDurationRstu: 0, "
              "slotsPerRangingRound: 0, rangingBlockDurationMs: 0, blockStridingValue: 0, "
              "maxRangingRoundRetries: 0, isHoppingEnabled: false, isBlockStridingEnabled: false, "
              "sessionPriority: -128, rangingRoundControl: RangingRoundControl{"
              "hasResultReportPhase: true, measurementReportType: RESPONDER_TO_INITIATOR, "
              "hasDeferredMode: false}, inBandTerminationAttemptCount: 0, channelNumber: 0, "
              "preambleCodeIndex: 0, rframeConfig: SPO, prfMode: HPRF, preambleDuration: "
              "T64_SYMBOLS, sfdId: 0, stsSegmentCount: 0, psduDataRate: RATE_27M2, "
              "bprfPhrDataRate: RATE_6M81, fcsType: CRC_32, isTxAdaptivePayloadPowerEnabled: "
              "false, aoaType: AZIMUTH_AND_ELEVATION, stsConfig: "
              "DYNAMIC_FOR_CONTROLEE_INDIVIDUAL_KEY, subSessionId: 0, vendorId: [-2, 7], "
              "staticStsIV: [], isKeyRotationEnabled: true, keyRotationRate: 0, aoaResultRequest: "
              "REQ_AOA_RESULTS, resultReportConfig: ResultReportConfig{hasTimeOfFlightReport: "
              "true, hasAngleOfArrivalAzimuthReport: false, hasAngleOfArrivalElevationReport: "
              "true, hasAngleOfArrivalFigureOfMeritReport: false}}");
}

// Names of the values from 0 to 4; those that are not there are numbers.
template <typename Enum>
std::string Names() {
    std::string names;
    for (int value = 0; value <= 4; value++) names += toString(static_cast<Enum>(value)) + " ";
    return names;
}

TEST(TextFormTest, EnumeratorsHaveTheirNumbers) {
    EXPECT_EQ(Names<DeviceType>(), "CONTROLLER CONTROLEE 2 3 4 ");
    EXPECT_EQ(Names<DeviceRole>(), "RESPONDER INITIATOR 2 3 4 ");
    EXPECT_EQ(Names<RangingRoundUsage>(), "OWR SS_TWR DS_TWR 3 4 ");
    EXPECT_EQ(Names<MultiNodeMode>(), "UNICAST ONE_TO_MANY MANY_TO_MANY 3 4 ");
    EXPECT_EQ(Names<RframeConfig>(), "SPO SP1 2 SP3 4 ");
    EXPECT_EQ(Names<PrfMode>(), "BPRF HPRF 2 3 4 ");
    EXPECT_EQ(Names<PreambleDuration>(), "T32_SYMBOLS T64_SYMBOLS 2 3 4 ");
    EXPECT_EQ(Names<PsduDataRate>(), "RATE_6M81 RATE_7M80 RATE_27M2 RATE_31M2 4 ");
    EXPECT_EQ(Names<BprfPhrDataRate>(), "RATE_850K RATE_6M81 2 3 4 ");
    EXPECT_EQ(Names<FcsType>(), "CRC_16 CRC_32 2 3 4 ");
    EXPECT_EQ(Names<AoaType>(), "AZIMUTH ELEVATION AZIMUTH_AND_ELEVATION 3 4 ");
    EXPECT_EQ(Names<FiraStsConfig>(), "STATIC DYNAMIC DYNAMIC_FOR_CONTROLEE_INDIVIDUAL_KEY 3 4 ");
    EXPECT_EQ(Names<AoaResultRequest>(), "NO_AOA_REPORT REQ_AOA_RESULTS 2 3 4 ");
    EXPECT_EQ(Names<MeasurementReportType>(),
              "INITIATOR_TO_RESPONDER RESPONDER_TO_INITIATOR 2 3 4 ");
}

}  // namespace
}  // namespace aidl::hardware::velta::uwb
