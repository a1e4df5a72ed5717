// SPDX-License-Identifier: Apache-2.0

// Sessions on the wire and as text.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "scripted_socket.h"

namespace hardware::velta {
namespace {

using namespace ::aidl::hardware::velta::uwb;
using ::testing::ElementsAre;

class FiraSessionParamsTest : public RadioTest {
  protected:
    void ExpectParams(const std::string& params) {
        EXPECT_TRUE(fira_.ConfigTwrSession(5, s_));
        ExpectSent("7 1=w5 3='endless' 8{1=w0 2='fira' 4=w5 5{1=w-2 2{" + params + "}}}");
    }
    void SetOptions() {
        s_.rangingRoundUsage = RangingRoundUsage::SS_TWR;
        s_.multiNodeMode = MultiNodeMode::ONE_TO_MANY;
        s_.isBlockStridingEnabled = s_.isHoppingEnabled = s_.isKeyRotationEnabled = true;
        s_.maxRangingRoundRetries = 1;
        s_.sessionPriority = -1;
        s_.rangingRoundControl = {false, MeasurementReportType::RESPONDER_TO_INITIATOR, false};
        s_.inBandTerminationAttemptCount = -1;
        s_.channelNumber = 0x105;
        s_.rframeConfig = RframeConfig::SPO;
        s_.prfMode = PrfMode::BPRF;
        s_.preambleDuration = PreambleDuration::T32_SYMBOLS;
        s_.psduDataRate = PsduDataRate::RATE_6M81;
        s_.bprfPhrDataRate = BprfPhrDataRate::RATE_6M81;
        s_.fcsType = FcsType::CRC_32;
        s_.isTxAdaptivePayloadPowerEnabled = true;
        s_.stsConfig = FiraStsConfig::STATIC;
        s_.aoaResultRequest = AoaResultRequest::NO_AOA_REPORT;
        s_.resultReportConfig = {false, true, false, true};
    }
    bool Configure(const char* azimuth, const char* elevation, const char* tx_antenna) {
        ConfigUtils config;
        if (azimuth != nullptr) config.Set("[HAL]antenna_pair_azimuth", azimuth);
        if (elevation != nullptr) config.Set("[HAL]antenna_pair_elevation", elevation);
        if (tx_antenna != nullptr) config.Set("[HAL]tx_antenna", tx_antenna);
        const bool ok = fira_.ConsumeProperties(5, config);
        EXPECT_TRUE(config.IsEmpty());
        return ok;
    }
    std::vector<uint32_t> Antennas(uint32_t hw_index) {
        const FiraRegionUtils::HwConfig hw = fira_.GetHwConfig(hw_index);
        return {hw.antenna_pair_azimuth, hw.antenna_pair_elevation, hw.tx_antenna};
    }

    // A controller's session in which each number is different and what is optional is left out.
    FiraTwrSession s_ = {
        .id = -2,
        .deviceRole = DeviceRole::INITIATOR,
        .rangingRoundUsage = RangingRoundUsage::DS_TWR,
        .deviceAddress = {{0x12, 0x34}},
        .destAddressList = {{{0xAB, 0xCD}}, {{1, 2}}},
        .initiationTimeMs = 7,
        .slotDurationRstu = 2400,
        .slotsPerRangingRound = 25,
        .rangingBlockDurationMs = 200,
        .blockStridingValue = 11,
        .maxRangingRoundRetries = -1,
        .sessionPriority = 50,
        .rangingRoundControl = {true, MeasurementReportType::INITIATOR_TO_RESPONDER, true},
        .inBandTerminationAttemptCount = 3,
        .channelNumber = 9,
        .preambleCodeIndex = 10,
        .rframeConfig = RframeConfig::SP3,
        .prfMode = PrfMode::HPRF,
        .preambleDuration = PreambleDuration::T64_SYMBOLS,
        .sfdId = 2,
        .stsSegmentCount = 1,
        .psduDataRate = PsduDataRate::RATE_7M80,
        .stsConfig = FiraStsConfig::DYNAMIC,
        .subSessionId = 0x55,
        .vendorId = {7, 0xFE},
        .staticStsIV = {1, 2, 3, 4, 5, 6},
        .keyRotationRate = 4,
        .aoaResultRequest = AoaResultRequest::REQ_AOA_RESULTS,
        .resultReportConfig = {true, false, true, false}};
};

TEST_F(FiraSessionParamsTest, AreSentInOrderInOneCall) {
    ExpectParams(
        "1=b1 2=b1 3=b2 4=b0 5=h0x1234 7=w7 8=w2400 9=w200 10=w25 15=b50 19=w3 20=b9 21=b10 22=b3 "
        "25=b2 26=b1 27=b1 34=b1 32=b0 36=b1 41=b0 43=b1 44=b1 45=b0 46=b1 47=b0");
    EXPECT_THAT(kernel_.calls, ElementsAre("3 ack", "3 gone"));
    kernel_.Refuse();
    EXPECT_FALSE(fira_.ConfigTwrSession(5, s_));
}

TEST_F(FiraSessionParamsTest, OptionsAreSentWhereTheyDiffer) {
    SetOptions();
    ExpectParams(
        "1=b1 2=b1 3=b1 4=b1 5=h0x1234 7=w7 8=w2400 9=w200 10=w25 11=w11 12=w1 13=b1 14=b1 15=b-1 "
        "16=b0 17=b1 18=b0 19=w-1 20=b5 21=b10 22=b0 23=b0 24=b0 25=b2 26=b1 27=b0 28=b1 29=b1 "
        "30=b1 34=b1 32=b0 36=b0 38=x01020304050607FE 41=b1 42=b4 43=b0 44=b0 45=b1 46=b0 47=b1");
    // The other combinations: a controlee, and a controller without what its controlees need.
    s_.deviceType = DeviceType::CONTROLEE;
    s_.deviceRole = DeviceRole::RESPONDER;
    s_.maxRangingRoundRetries = 0;
    s_.isHoppingEnabled = s_.isTxAdaptivePayloadPowerEnabled = false;
    s_.prfMode = PrfMode::HPRF;
    s_.fcsType = FcsType::CRC_16;
    s_.psduDataRate = PsduDataRate::RATE_31M2;
    s_.vendorId = s_.staticStsIV = {};
    ExpectParams(
        "1=b0 2=b0 3=b1 4=b1 5=h0x1234 6=h0xABCD 7=w7 8=w2400 9=w200 10=w25 11=w11 14=b1 15=b-1 "
        "18=b0 19=w-1 20=b5 21=b10 22=b0 24=b0 25=b2 26=b1 27=b3 28=b1 34=b1 32=b0 36=b0 38=x "
        "41=b1 "
        "42=b4 43=b0 44=b0 45=b1 46=b0 47=b1");
    s_.isBlockStridingEnabled = s_.isKeyRotationEnabled = false;
    s_.rframeConfig = RframeConfig::SP1;
    s_.psduDataRate = PsduDataRate::RATE_27M2;
    s_.rangingRoundControl.hasDeferredMode = true;
    s_.stsConfig = FiraStsConfig::DYNAMIC_FOR_CONTROLEE_INDIVIDUAL_KEY;
    ExpectParams(
        "1=b0 2=b0 3=b1 4=b1 5=h0x1234 6=h0xABCD 7=w7 8=w2400 9=w200 10=w25 15=b-1 19=w-1 20=b5 "
        "21=b10 22=b1 24=b0 25=b2 26=b1 27=b2 28=b1 34=b1 32=b0 36=b2 37=w0x55 41=b0 43=b0 44=b0 "
        "45=b1 46=b0 47=b1");
    s_.deviceType = DeviceType::CONTROLLER;
    s_.rangingRoundControl.measurementReportType = MeasurementReportType::INITIATOR_TO_RESPONDER;
    ExpectParams(
        "1=b1 2=b0 3=b1 4=b1 5=h0x1234 7=w7 8=w2400 9=w200 10=w25 15=b-1 16=b0 19=w-1 20=b5 21=b10 "
        "22=b1 24=b0 25=b2 26=b1 27=b2 28=b1 34=b1 32=b0 36=b2 41=b0 43=b0 44=b0 45=b1 46=b0 "
        "47=b1");
}

TEST_F(FiraSessionParamsTest, AntennasFollowConfigurationAndRequest) {
    const struct {
        const char* tx_antenna;
        bool angles;
        int type, device, role, usage;
        std::string antennas;
    } kCases[] = {
        {"0", false, 0, 0, 1, 2, "34=b1 32=b0"},
        {"1", false, 0, 0, 1, 2, "34=b2 32=b3"},
        {"2", false, 1, 0, 1, 2, "34=b4 32=b5"},
        {"3", false, 0, 0, 1, 2, "34=b8 32=b6"},
        {"4", false, 9, 0, 1, 2, "34=b16 32=b6"},
        {"2", true, 0, 1, 0, 2, "34=b4 32=b6"},
        {"2", true, 1, 1, 0, 2, "34=b4 33=b2"},
        {"2", true, 2, 1, 0, 2, "34=b4 32=b6 33=b2 35=b1"},
        {"2", true, 2, 0, 0, 2, "34=b4 32=b6 33=b2 35=b0"},
        {"2", true, 2, 1, 1, 2, "34=b4 32=b6 33=b2 35=b0"},
        {"2", true, 2, 1, 0, 1, "34=b4 32=b6 33=b2 35=b0"},
    };
    for (const auto& test : kCases) {
        ASSERT_TRUE(Configure("6", "2", test.tx_antenna));
        s_.aoaResultRequest = static_cast<AoaResultRequest>(test.angles);
        s_.aoaType = static_cast<AoaType>(test.type);
        s_.deviceType = static_cast<DeviceType>(test.device);
        s_.deviceRole = static_cast<DeviceRole>(test.role);
        s_.rangingRoundUsage = static_cast<RangingRoundUsage>(test.usage);
        ExpectParams(
            "1=b" + std::to_string(1 - test.device) + " 2=b" + std::to_string(test.role) + " 3=b" +
            std::to_string(test.usage) + " 4=b0 5=h0x1234 " +
            (test.device == 1 ? "6=h0xABCD " : "") +
            "7=w7 8=w2400 9=w200 10=w25 15=b50 19=w3 20=b9 21=b10 22=b3 25=b2 26=b1 27=b1 " +
            test.antennas + " 36=b1 41=b0 43=b" + (test.angles ? "1" : "0") +
            " 44=b1 45=b0 46=b1 47=b0");
    }
    EXPECT_EQ(log_.Count("W velta.uwb.FiraRegionUtils TX antenna cannnot be used for ranging "
                         "without AOA, first antenna of the azimuth pair will be used"),
              2u);
}

TEST_F(FiraSessionParamsTest, RefusedWhenTheWireCannotExpressThem) {
    const std::string bad_address =
        "PutMainSessionParams: Incorrect deviceAddress size, Fira 1.1 only supports short address.";
    const struct {
        std::string line;
        void (*change)(FiraTwrSession*);
    } kCases[] = {
        {"PutMainSessionParams: Unsupported rangingRoundUsage OWR",
         [](auto* s) { s->rangingRoundUsage = RangingRoundUsage::OWR; }},
        {"PutMainSessionParams: Unsupported multiNodeMode -1",
         [](auto* s) { s->multiNodeMode = static_cast<MultiNodeMode>(-1); }},
        {"PutMainSessionParams: Unsupported multiNodeMode MANY_TO_MANY",
         [](auto* s) { s->multiNodeMode = MultiNodeMode::MANY_TO_MANY; }},
        {bad_address, [](auto* s) { s->deviceAddress.address.resize(8); }},
        {bad_address,
         [](auto* s) { s->deviceType = DeviceType::CONTROLEE, s->destAddressList.clear(); }},
        {"PutRadioParams: Unsupported Rframe config 2",
         [](auto* s) { s->rframeConfig = static_cast<RframeConfig>(2); }},
        {"PutRadioParams: Unsupported PSDU data rate 4",
         [](auto* s) { s->psduDataRate = static_cast<PsduDataRate>(4); }},
        {"PutAntennaParams: Unsupported AoaType: 3",
         [](auto* s) { s->aoaType = static_cast<AoaType>(3); }},
        {"PutCryptoParams: Unsupported STS configuration: 3",
         [](auto* s) { s->stsConfig = static_cast<FiraStsConfig>(3); }},
        {"PutCryptoParams: Error creating MCPS message",
         [](auto* s) { s->stsConfig = FiraStsConfig::STATIC, s->vendorId.resize(10000); }},
    };
    for (const auto& [line, change] : kCases) {
        FiraTwrSession session = s_;
        change(&session);
        EXPECT_FALSE(fira_.ConfigTwrSession(5, session));
        EXPECT_EQ(log_.lines().back(), "E velta.uwb.FiraRegionUtils " + line);
    }
    EXPECT_EQ(kernel_.sent.size(), 0u);
}

TEST_F(FiraSessionParamsTest, AntennaKeysAreValidatedOneByOne) {
    const std::string azimuth = "[HAL]antenna_pair_azimuth from config: ";
    const std::string elevation = "[HAL]antenna_pair_elevation from config: ";
    const std::string tx_antenna = "[HAL]tx_antenna from config: ";
    const struct {
        const char *azimuth, *elevation, *tx_antenna;
        std::vector<uint32_t> antennas;
        std::string line;
    } kCases[] = {
        {"6", "0", "4", {6, 0, 4}, ""},
        {"0x1", "255", "0", {1, 255, 0}, ""},
        {"1", nullptr, "1", {1, 255, 1}, ""},
        {"1", "", "1", {1, 255, 1}, ""},
        {nullptr, "2", "1", {3, 2, 1}, "Unable to parse " + azimuth},
        {"-1", "2", "1", {3, 2, 1}, "Unable to parse " + azimuth + "-1"},
        {"255", "2", "1", {3, 2, 1}, "Invalid " + azimuth + "\xff"},
        {"1", "7", "1", {1, 4, 1}, "Invalid " + elevation + "\a"},
        {"1", "north", "1", {1, 4, 1}, "Unable to parse " + elevation + "north"},
        {"1", "2", nullptr, {1, 2, 2}, "Unable to parse " + tx_antenna},
        {"1", "2", "5", {1, 2, 2}, "Invalid " + tx_antenna + "\x05"},
    };
    for (const auto& test : kCases) {
        ASSERT_TRUE(Configure("3", "4", "2"));
        EXPECT_EQ(Configure(test.azimuth, test.elevation, test.tx_antenna), test.line.empty());
        EXPECT_EQ(Antennas(5), test.antennas) << test.line;
        const std::string line = "E velta.uwb.FiraRegionUtils ConsumeProperties " + test.line;
        EXPECT_TRUE(test.line.empty() || log_.lines().back() == line) << log_.lines().back();
    }
    EXPECT_THAT(Antennas(6), ElementsAre(0, 255, 0));
}

TEST_F(FiraSessionParamsTest, CapabilitiesFollowTheAntennas) {
    FiraCapabilities caps;
    EXPECT_TRUE(fira_.GetCapabilities(5, caps));
    EXPECT_EQ(caps.toString(),
              "FiraCapabilities{supportedChannels: [5, 9], isAzimuthSupported: true, "
              "isElevationSupported: false, deviceTypes: [CONTROLLER, CONTROLEE], deviceRoles: "
              "[RESPONDER, INITIATOR], rangingRoundUsages: [SS_TWR, DS_TWR], multiNodeModes: "
              "[UNICAST, ONE_TO_MANY], rframeConfigs: [SPO, SP1, SP3], prfModes: [BPRF, HPRF], "
              "preambleDurations: [T32_SYMBOLS, T64_SYMBOLS], psduDataRates: [RATE_6M81, "
              "RATE_7M80, RATE_27M2, RATE_31M2], bprfPhrDataRates: [RATE_850K, RATE_6M81], "
              "fcsTypes: [CRC_16, CRC_32], stsConfigs: [STATIC, DYNAMIC, "
              "DYNAMIC_FOR_CONTROLEE_INDIVIDUAL_KEY], pulseShapes: "
              "[SYMMETRICAL_ROOT_RAISED_COSINE], hoppingModes: [NO_HOPPING, CONTINUOUS], "
              "hoppingSequences: [DEFAULT]}");
    Configure("0", "1", "0");
    EXPECT_TRUE(fira_.GetCapabilities(5, caps));
    EXPECT_TRUE(caps.isAzimuthSupported && caps.isElevationSupported);
}

// What logs and dumps show: unknown numbers as such, and bytes signed.
TEST_F(FiraSessionParamsTest, TextFormShowsWhateverIsThere) {
    s_.rframeConfig = static_cast<RframeConfig>(2);
    s_.stsConfig = static_cast<FiraStsConfig>(-1);
    s_.destAddressList.push_back({});
    const std::string text = s_.toString();
    for (const char* part :
         {"FiraTwrSession{id: -2, deviceType: CONTROLLER, deviceRole: INITIATOR, ",
          "destAddressList: [UwbAddress{address: [-85, -51]}, UwbAddress{address: [1, 2]}, ",
          "UwbAddress{address: [1, 2]}, UwbAddress{address: []}], ",
          "rangingRoundControl: RangingRoundControl{hasResultReportPhase: true, ",
          "rframeConfig: 2, ", "stsConfig: -1, ", "vendorId: [7, -2], "}) {
        EXPECT_THAT(text, ::testing::HasSubstr(part));
    }
}

}  // namespace
}  // namespace hardware::velta
