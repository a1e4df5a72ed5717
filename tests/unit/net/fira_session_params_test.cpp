// SPDX-License-Identifier: Apache-2.0
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <csignal>

#include "../log_capture.h"
#include "net/fira_region_utils.h"
#include "scripted_socket.h"

namespace hardware::velta {
namespace {

using namespace ::aidl::hardware::velta::uwb;
using ::testing::ElementsAre;

// A controller's session in which each number is different.
FiraTwrSession Session() {
    FiraTwrSession session;
    session.id = -2;
    session.deviceType = DeviceType::CONTROLLER;
    session.deviceRole = DeviceRole::INITIATOR;
    session.rangingRoundUsage = RangingRoundUsage::DS_TWR;
    session.multiNodeMode = MultiNodeMode::UNICAST;
    session.deviceAddress.address = {0x12, 0x34};
    session.destAddressList = {UwbAddress{{0xAB, 0xCD}}, UwbAddress{{1, 2}}};
    session.initiationTimeMs = 7;
    session.slotDurationRstu = 2400;
    session.slotsPerRangingRound = 25;
    session.rangingBlockDurationMs = 200;
    session.blockStridingValue = 11;
    session.sessionPriority = 50;
    session.rangingRoundControl = {true, MeasurementReportType::INITIATOR_TO_RESPONDER, true};
    session.inBandTerminationAttemptCount = 3;
    session.channelNumber = 9;
    session.preambleCodeIndex = 10;
    session.rframeConfig = RframeConfig::SP3;
    session.prfMode = PrfMode::HPRF;
    session.preambleDuration = PreambleDuration::T64_SYMBOLS;
    session.sfdId = 2;
    session.stsSegmentCount = 1;
    session.psduDataRate = PsduDataRate::RATE_7M80;
    session.bprfPhrDataRate = BprfPhrDataRate::RATE_850K;
    session.fcsType = FcsType::CRC_16;
    session.aoaType = AoaType::AZIMUTH;
    session.stsConfig = FiraStsConfig::DYNAMIC;
    session.subSessionId = 0x55;
    session.vendorId = {7, 8};
    session.staticStsIV = {1, 2, 3, 4, 5, 6};
    session.keyRotationRate = 4;
    session.aoaResultRequest = AoaResultRequest::REQ_AOA_RESULTS;
    session.resultReportConfig = {true, false, true, false};
    return session;
}

const std::vector<std::string> kSessionParams = {
    "1=01",       "2=01",        "3=02",  "4=00",        "5=3412", "7=07000000", "8=60090000",
    "9=c8000000", "10=19000000", "15=32", "19=03000000", "20=09",  "21=0a",      "22=03",
    "25=02",      "26=01",       "27=01", "34=01",       "32=00",  "36=01",      "41=00",
    "43=01",      "44=01",       "45=00", "46=01",       "47=00"};

class FiraSessionParamsTest : public ::testing::Test {
  protected:
    FiraSessionParamsTest() : fira_(&kernel_) { fira_.SetMcpsNetId(kFamily); }

    // The parameters that are sent for session.
    std::vector<std::string> Params(const FiraTwrSession& session) {
        kernel_.sent_bytes.clear();
        EXPECT_TRUE(fira_.ConfigTwrSession(5, session));
        if (kernel_.sent_bytes.empty()) return {};
        const Bytes& message = kernel_.sent_bytes.back();
        return Tokens(Find({message.begin() + 20, message.end()}, {8, 5, 2}));
    }
    // How they differ from those of Session(): "-gone +added ...".
    std::string Changes(const FiraTwrSession& session) {
        const std::vector<std::string> params = Params(session);
        std::string changes;
        const auto append = [&changes](char sign, const auto& from, const auto& other) {
            for (const std::string& param : from) {
                if (std::find(other.begin(), other.end(), param) != other.end()) continue;
                changes += (changes.empty() ? "" : " ") + std::string(1, sign) + param;
            }
        };
        append('-', kSessionParams, params);
        append('+', params, kSessionParams);
        return changes;
    }
    bool Configure(const std::string& azimuth, const std::string& elevation,
                   const std::string& tx) {
        ConfigUtils config;
        if (azimuth != "-") config.Set("[HAL]antenna_pair_azimuth", azimuth);
        if (elevation != "-") config.Set("[HAL]antenna_pair_elevation", elevation);
        if (tx != "-") config.Set("[HAL]tx_antenna", tx);
        const bool ok = fira_.ConsumeProperties(5, config);
        EXPECT_TRUE(config.IsEmpty());
        return ok;
    }
    std::string Antennas(uint32_t hw_index = 5) {
        const FiraRegionUtils::HwConfig hw = fira_.GetHwConfig(hw_index);
        return std::to_string(hw.antenna_pair_azimuth) + " " +
               std::to_string(hw.antenna_pair_elevation) + " " + std::to_string(hw.tx_antenna);
    }
    static Message Call(uint32_t call, const std::vector<Attr>& params) {
        return {7,
                {U32(1, 5), Text(3, "endless"),
                 Nest(8, {U32(1, 0), Text(2, "fira"), U32(4, call), Nest(5, params)})}};
    }

    ScriptedKernel kernel_;
    FiraRegionUtils fira_;
    LogCapture log_;
};

std::string Error(const std::string& text) {
    return "E velta.uwb.FiraRegionUtils " + text;
}

TEST_F(FiraSessionParamsTest, SendsParametersInOrderInOneCall) {
    EXPECT_EQ(Params(Session()), kSessionParams);
    const Bytes& message = kernel_.sent_bytes.back();
    const Bytes attrs(message.begin() + 20, message.end());
    EXPECT_EQ(kernel_.sent.back(),
              Hex(Encode(Call(5, {U32(1, 0xFFFFFFFE), Raw(2, Find(attrs, {8, 5, 2}))}))));
    EXPECT_THAT(kernel_.calls, ElementsAre("1 ack", "1 gone"));
}

TEST_F(FiraSessionParamsTest, EachFieldHasItsParameter) {
    const struct {
        void (*change)(FiraTwrSession*);
        const char* changes;
    } kCases[] = {
        {[](auto* s) { s->deviceType = DeviceType::CONTROLEE; }, "-1=01 +1=00 +6=cdab"},
        {[](auto* s) { s->deviceRole = DeviceRole::RESPONDER; }, "-2=01 +2=00"},
        {[](auto* s) { s->rangingRoundUsage = RangingRoundUsage::SS_TWR; }, "-3=02 +3=01"},
        {[](auto* s) { s->multiNodeMode = MultiNodeMode::ONE_TO_MANY; }, "-4=00 +4=01"},
        {[](auto* s) { s->isBlockStridingEnabled = true; }, "+11=0b000000 +14=01"},
        {[](auto* s) { s->maxRangingRoundRetries = 1; }, "+12=01000000"},
        {[](auto* s) { s->maxRangingRoundRetries = -1; }, ""},
        {[](auto* s) { s->isHoppingEnabled = true; }, "+13=01"},
        {[](auto* s) { s->sessionPriority = -1; }, "-15=32 +15=ff"},
        {[](auto* s) { s->rangingRoundControl.hasResultReportPhase = false; }, "+16=00"},
        {[](auto* s) {
             s->rangingRoundControl.measurementReportType =
                 MeasurementReportType::RESPONDER_TO_INITIATOR;
         },
         "+17=01"},
        {[](auto* s) { s->rangingRoundControl.hasDeferredMode = false; }, "+18=00"},
        {[](auto* s) {
             s->deviceType = DeviceType::CONTROLEE;
             s->rangingRoundControl = {false, MeasurementReportType::RESPONDER_TO_INITIATOR, false};
         },
         "-1=01 +1=00 +6=cdab +18=00"},
        {[](auto* s) { s->inBandTerminationAttemptCount = -1; }, "-19=03000000 +19=ffffffff"},
        {[](auto* s) { s->channelNumber = 0x105; }, "-20=09 +20=05"},
        {[](auto* s) { s->rframeConfig = RframeConfig::SPO; }, "-22=03 +22=00"},
        {[](auto* s) { s->rframeConfig = RframeConfig::SP1; }, "-22=03 +22=01"},
        {[](auto* s) { s->prfMode = PrfMode::BPRF; }, "+23=00"},
        {[](auto* s) { s->preambleDuration = PreambleDuration::T32_SYMBOLS; }, "+24=00"},
        {[](auto* s) { s->psduDataRate = PsduDataRate::RATE_6M81; }, "-27=01 +27=00"},
        {[](auto* s) { s->psduDataRate = PsduDataRate::RATE_27M2; }, "-27=01 +27=02"},
        {[](auto* s) { s->psduDataRate = PsduDataRate::RATE_31M2; }, "-27=01 +27=03"},
        {[](auto* s) { s->bprfPhrDataRate = BprfPhrDataRate::RATE_6M81; }, "+28=01"},
        {[](auto* s) { s->fcsType = FcsType::CRC_32; }, "+29=01"},
        {[](auto* s) { s->isTxAdaptivePayloadPowerEnabled = true; }, "+30=01"},
        {[](auto* s) { s->stsConfig = FiraStsConfig::STATIC; },
         "-36=01 +36=00 +38=01020304 05060708"},
        {[](auto* s) {
             s->stsConfig = FiraStsConfig::STATIC;
             s->vendorId.clear();
             s->staticStsIV.clear();
         },
         "-36=01 +36=00 +38="},
        {[](auto* s) { s->stsConfig = FiraStsConfig::DYNAMIC_FOR_CONTROLEE_INDIVIDUAL_KEY; },
         "-36=01 +36=02"},
        {[](auto* s) {
             s->stsConfig = FiraStsConfig::DYNAMIC_FOR_CONTROLEE_INDIVIDUAL_KEY;
             s->deviceType = DeviceType::CONTROLEE;
         },
         "-1=01 -36=01 +1=00 +6=cdab +36=02 +37=55000000"},
        {[](auto* s) { s->isKeyRotationEnabled = true; }, "-41=00 +41=01 +42=04"},
        {[](auto* s) { s->aoaResultRequest = AoaResultRequest::NO_AOA_REPORT; }, "-43=01 +43=00"},
        {[](auto* s) {
             s->resultReportConfig = {false, true, false, true};
         },
         "-44=01 -45=00 -46=01 -47=00 +44=00 +45=01 +46=00 +47=01"},
    };
    for (const auto& [change, changes] : kCases) {
        FiraTwrSession session = Session();
        change(&session);
        EXPECT_EQ(Changes(session), changes);
    }
}

TEST_F(FiraSessionParamsTest, AntennasFollowConfigurationAndRequest) {
    const auto kAngles = AoaResultRequest::REQ_AOA_RESULTS;
    const auto kNone = AoaResultRequest::NO_AOA_REPORT;
    const struct {
        const char* tx_antenna;
        AoaResultRequest request;
        AoaType type;
        DeviceType device;
        DeviceRole role;
        std::string antennas;
    } kCases[] = {
        {"0", kNone, AoaType::AZIMUTH, DeviceType::CONTROLLER, DeviceRole::INITIATOR,
         "34=01 32=00"},
        {"1", kNone, AoaType::AZIMUTH, DeviceType::CONTROLLER, DeviceRole::INITIATOR,
         "34=02 32=03"},
        {"2", kNone, AoaType::ELEVATION, DeviceType::CONTROLLER, DeviceRole::INITIATOR,
         "34=04 32=05"},
        {"3", kNone, AoaType::AZIMUTH, DeviceType::CONTROLLER, DeviceRole::INITIATOR,
         "34=08 32=06"},
        {"4", kNone, static_cast<AoaType>(9), DeviceType::CONTROLLER, DeviceRole::INITIATOR,
         "34=10 32=06"},
        {"2", kAngles, AoaType::AZIMUTH, DeviceType::CONTROLLER, DeviceRole::INITIATOR,
         "34=04 32=06"},
        {"2", kAngles, AoaType::ELEVATION, DeviceType::CONTROLLER, DeviceRole::INITIATOR,
         "34=04 33=02"},
        {"2", kAngles, AoaType::AZIMUTH_AND_ELEVATION, DeviceType::CONTROLLER,
         DeviceRole::RESPONDER, "34=04 32=06 33=02 35=00"},
        {"2", kAngles, AoaType::AZIMUTH_AND_ELEVATION, DeviceType::CONTROLEE, DeviceRole::INITIATOR,
         "34=04 32=06 33=02 35=00"},
        {"2", kAngles, AoaType::AZIMUTH_AND_ELEVATION, DeviceType::CONTROLEE, DeviceRole::RESPONDER,
         "34=04 32=06 33=02 35=01"},
    };
    for (const auto& test : kCases) {
        ASSERT_TRUE(Configure("6", "2", test.tx_antenna));
        FiraTwrSession session = Session();
        session.aoaResultRequest = test.request;
        session.aoaType = test.type;
        session.deviceType = test.device;
        session.deviceRole = test.role;
        std::string antennas;
        for (const std::string& param : Params(session)) {
            if (param[0] == '3' && param[1] >= '2' && param[1] <= '5' && param[2] == '=') {
                antennas += (antennas.empty() ? "" : " ") + param;
            }
        }
        EXPECT_EQ(antennas, test.antennas);
    }
    EXPECT_EQ(log_.Count("W velta.uwb.FiraRegionUtils TX antenna cannnot be used for ranging "
                         "without AOA, first antenna of the azimuth pair will be used"),
              2u);
    FiraTwrSession session = Session();
    session.aoaType = AoaType::AZIMUTH_AND_ELEVATION;
    session.deviceType = DeviceType::CONTROLEE;
    session.deviceRole = DeviceRole::RESPONDER;
    session.rangingRoundUsage = RangingRoundUsage::SS_TWR;
    EXPECT_THAT(Params(session), ::testing::Contains("35=00"));
}

TEST_F(FiraSessionParamsTest, RefusesWhatTheWireCannotExpress) {
    const struct {
        void (*change)(FiraTwrSession*);
        const char* line;
    } kCases[] = {
        {[](auto* s) { s->rangingRoundUsage = RangingRoundUsage::OWR; },
         "PutMainSessionParams: Unsupported rangingRoundUsage OWR"},
        {[](auto* s) { s->rangingRoundUsage = static_cast<RangingRoundUsage>(-1); },
         "PutMainSessionParams: Unsupported rangingRoundUsage -1"},
        {[](auto* s) { s->multiNodeMode = MultiNodeMode::MANY_TO_MANY; },
         "PutMainSessionParams: Unsupported multiNodeMode MANY_TO_MANY"},
        {[](auto* s) { s->deviceAddress.address.resize(8); },
         "PutMainSessionParams: Incorrect deviceAddress size, Fira 1.1 only supports short "
         "address."},
        {[](auto* s) {
             s->deviceType = DeviceType::CONTROLEE;
             s->destAddressList.clear();
         },
         "PutMainSessionParams: Incorrect deviceAddress size, Fira 1.1 only supports short "
         "address."},
        {[](auto* s) { s->rframeConfig = static_cast<RframeConfig>(2); },
         "PutRadioParams: Unsupported Rframe config 2"},
        {[](auto* s) { s->psduDataRate = static_cast<PsduDataRate>(4); },
         "PutRadioParams: Unsupported PSDU data rate 4"},
        {[](auto* s) { s->aoaType = static_cast<AoaType>(3); },
         "PutAntennaParams: Unsupported AoaType: 3"},
        {[](auto* s) { s->stsConfig = static_cast<FiraStsConfig>(3); },
         "PutCryptoParams: Unsupported STS configuration: 3"},
        {[](auto* s) {
             s->stsConfig = FiraStsConfig::STATIC;
             s->staticStsIV.resize(10000);
         },
         "PutCryptoParams: Error creating MCPS message"},
    };
    for (const auto& [change, line] : kCases) {
        FiraTwrSession session = Session();
        change(&session);
        EXPECT_FALSE(fira_.ConfigTwrSession(5, session));
        EXPECT_EQ(log_.lines().back(), Error(line));
    }
    EXPECT_THAT(kernel_.sent, ElementsAre());
}

TEST_F(FiraSessionParamsTest, AddsAndRemovesControlees) {
    const std::vector<UwbAddress> controlees = {UwbAddress{{0x12, 0x34}}, UwbAddress{{0xAB, 0xCD}}};
    const std::vector<int> sub_sessions = {7, -1};
    const auto list = [](const std::vector<Attr>& first, const std::vector<Attr>& second) {
        return std::vector{U32(1, 42), Nest(3, {Nest(1, first), Nest(2, second)})};
    };
    EXPECT_TRUE(fira_.AddControlees(5, 42, controlees, &sub_sessions));
    ExpectSent(kernel_,
               Call(6, list({U16(1, 0x1234), U32(2, 7)}, {U16(1, 0xABCD), U32(2, 0xFFFFFFFF)})));
    kernel_.sent.clear();
    EXPECT_TRUE(fira_.AddControlees(5, 42, controlees, nullptr));
    ExpectSent(kernel_, Call(6, list({U16(1, 0x1234)}, {U16(1, 0xABCD)})));
    kernel_.sent.clear();
    EXPECT_TRUE(fira_.RemoveControlees(5, 42, controlees));
    ExpectSent(kernel_, Call(7, list({U16(1, 0x1234)}, {U16(1, 0xABCD)})));
    kernel_.Refuse();
    EXPECT_FALSE(fira_.RemoveControlees(5, 42, controlees));
}

TEST_F(FiraSessionParamsTest, BadControleeListsAreNotSent) {
    EXPECT_FALSE(fira_.AddControlees(5, 42, {}, nullptr));
    EXPECT_EQ(log_.lines().back(), Error("AddControlees: Empty controlees"));
    EXPECT_FALSE(fira_.RemoveControlees(5, 42, {}));
    EXPECT_EQ(log_.lines().back(), Error("RemoveControlees: Empty controlees"));
    EXPECT_FALSE(fira_.RemoveControlees(5, 42, {UwbAddress{{1, 2}}, UwbAddress{{1, 2, 3}}}));
    EXPECT_EQ(log_.lines().back(), Error("PutControlees: Incorrect deviceAddress size, Fira 1.1 "
                                         "only supports short address."));
    EXPECT_FALSE(
        fira_.AddControlees(5, 42, std::vector<UwbAddress>(1000, UwbAddress{{1, 2}}), nullptr));
    EXPECT_EQ(log_.lines().back(), Error("PutControlees: Error creating MCPS message"));
    EXPECT_THAT(kernel_.sent, ElementsAre());
    const std::vector<int> one = {1};
    EXPECT_EXIT(fira_.AddControlees(5, 42, {UwbAddress{{1, 2}}, UwbAddress{{3, 4}}}, &one),
                ::testing::KilledBySignal(SIGABRT), "");
}

TEST_F(FiraSessionParamsTest, BlockStridingIsUpdatedAlone) {
    EXPECT_TRUE(fira_.UpdateBlockStriding(5, 42, 300));
    ExpectSent(kernel_, Call(5, {U32(1, 42), Nest(2, {U32(11, 300)})}));
}

TEST_F(FiraSessionParamsTest, SessionCommandsAreCallsOfTheirOwn) {
    const struct {
        bool (FiraRegionUtils::*command)(uint32_t, uint32_t);
        uint32_t call;
    } kCases[] = {{&FiraRegionUtils::InitSession, 1},
                  {&FiraRegionUtils::StopSession, 3},
                  {&FiraRegionUtils::DeinitSession, 4}};
    for (const auto& [command, call] : kCases) {
        kernel_.sent.clear();
        EXPECT_TRUE((fira_.*command)(5, 42));
        ExpectSent(kernel_, Call(call, {U32(1, 42)}));
        kernel_.Refuse();
        EXPECT_FALSE((fira_.*command)(5, 42));
    }
}

TEST_F(FiraSessionParamsTest, AntennaKeysAreValidatedOneByOne) {
    const std::string elevation = "[HAL]antenna_pair_elevation from config: ";
    const struct {
        const char *azimuth, *elevation, *tx;
        bool ok;
        std::string antennas, line;
    } kCases[] = {
        {"6", "0", "4", true, "6 0 4", ""},
        {"0x1", "255", "0", true, "1 255 0", ""},
        {"1", "-", "1", true, "1 255 1", ""},
        {"1", "", "1", true, "1 255 1", ""},
        {"-", "2", "1", false, "3 2 1", "Unable to parse [HAL]antenna_pair_azimuth from config: "},
        {"7", "2", "1", false, "3 2 1", "Invalid [HAL]antenna_pair_azimuth from config: \a"},
        {"255", "2", "1", false, "3 2 1", "Invalid [HAL]antenna_pair_azimuth from config: \xff"},
        {"256", "2", "1", false, "3 2 1",
         "Unable to parse [HAL]antenna_pair_azimuth from config: 256"},
        {"-1", "2", "1", false, "3 2 1",
         "Unable to parse [HAL]antenna_pair_azimuth from config: -1"},
        {"1", "7", "1", false, "1 4 1", "Invalid " + elevation + "\a"},
        {"1", "north", "1", false, "1 4 1", "Unable to parse " + elevation + "north"},
        {"1", "2", "-", false, "1 2 2", "Unable to parse [HAL]tx_antenna from config: "},
        {"1", "2", "5", false, "1 2 2", "Invalid [HAL]tx_antenna from config: \x05"},
    };
    EXPECT_EQ(Antennas(), "0 255 0");
    for (const auto& test : kCases) {
        SCOPED_TRACE(test.line);
        ASSERT_TRUE(Configure("3", "4", "2"));
        EXPECT_EQ(Configure(test.azimuth, test.elevation, test.tx), test.ok);
        EXPECT_EQ(Antennas(), test.antennas);
        if (!test.line.empty()) {
            EXPECT_EQ(log_.lines().back(), Error("ConsumeProperties " + test.line));
        }
    }
    EXPECT_EQ(Antennas(6), "0 255 0");
}

TEST_F(FiraSessionParamsTest, CapabilitiesFollowTheAntennas) {
    FiraCapabilities caps;
    EXPECT_TRUE(fira_.GetCapabilities(5, caps));
    EXPECT_TRUE(caps.isAzimuthSupported);
    EXPECT_FALSE(caps.isElevationSupported);
    EXPECT_THAT(caps.supportedChannels, ElementsAre(5, 9));
    Configure("0", "1", "0");
    EXPECT_TRUE(fira_.GetCapabilities(5, caps));
    EXPECT_TRUE(caps.isElevationSupported);
}

}  // namespace
}  // namespace hardware::velta
