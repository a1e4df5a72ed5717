// SPDX-License-Identifier: Apache-2.0
#define LOG_TAG "velta.uwb.FiraRegionUtils"

#include "net/fira_session_params.h"

#include <android-base/logging.h>

#include <optional>
#include <string>

#include "net/mcps802154.h"
#include "net/nl_attr.h"

namespace hardware::velta {
namespace {

using namespace ::aidl::hardware::velta::uwb;
using HwConfig = FiraRegionUtils::HwConfig;

constexpr char kBadAddressSize[] =
    ": Incorrect deviceAddress size, Fira 1.1 only supports short address.";

// The kernel numbers controller and controlee the other way round.
constexpr uint8_t kWireControlee = 0;
constexpr uint8_t kWireController = 1;
constexpr uint8_t kWireResponder = 0;
constexpr uint8_t kWireInitiator = 1;

constexpr char kCreatingFailed[] = ": Error creating MCPS message";

constexpr size_t kShortAddressSize = 2;

bool PutShortAddress(nl_msg* msg, int attribute, const UwbAddress& address) {
    bool ok = false;
    const uint16_t short_address = ToShortAddress(address.address, &ok);
    if (!ok) return false;
    AttrWriter put(msg);
    put.U16(attribute, short_address);
    if (!put.ok()) {
        LOG(ERROR) << __func__ << kCreatingFailed;
        return false;
    }
    return true;
}

// What a function says after its name when PutShortAddress() has refused address.
const char* PutShortAddressFailure(const UwbAddress& address) {
    return address.address.size() == kShortAddressSize ? kCreatingFailed : kBadAddressSize;
}

std::optional<uint8_t> ToWire(RangingRoundUsage usage) {
    switch (usage) {
        case RangingRoundUsage::SS_TWR:
            return 1;
        case RangingRoundUsage::DS_TWR:
            return 2;
        case RangingRoundUsage::OWR:
            break;
    }
    return std::nullopt;
}

std::optional<uint8_t> ToWire(MultiNodeMode mode) {
    switch (mode) {
        case MultiNodeMode::UNICAST:
            return 0;
        case MultiNodeMode::ONE_TO_MANY:
            return 1;
        case MultiNodeMode::MANY_TO_MANY:
            break;
    }
    return std::nullopt;
}

std::optional<uint8_t> ToWire(RframeConfig config) {
    switch (config) {
        case RframeConfig::SPO:
            return 0;
        case RframeConfig::SP1:
            return 1;
        case RframeConfig::SP3:
            return 3;
    }
    return std::nullopt;
}

std::optional<uint8_t> ToWire(PsduDataRate rate) {
    switch (rate) {
        case PsduDataRate::RATE_6M81:
            return 0;
        case PsduDataRate::RATE_7M80:
            return 1;
        case PsduDataRate::RATE_27M2:
            return 2;
        case PsduDataRate::RATE_31M2:
            return 3;
    }
    return std::nullopt;
}

std::optional<uint8_t> ToWire(FiraStsConfig config) {
    switch (config) {
        case FiraStsConfig::STATIC:
            return 0;
        case FiraStsConfig::DYNAMIC:
            return 1;
        case FiraStsConfig::DYNAMIC_FOR_CONTROLEE_INDIVIDUAL_KEY:
            return 2;
    }
    return std::nullopt;
}

bool PutMainSessionParams(nl_msg* msg, const FiraTwrSession& session) {
    LOG(INFO) << __func__;
    const auto usage = ToWire(session.rangingRoundUsage);
    if (!usage) {
        LOG(ERROR) << __func__ << ": Unsupported rangingRoundUsage "
                   << toString(session.rangingRoundUsage);
        return false;
    }
    const auto mode = ToWire(session.multiNodeMode);
    if (!mode) {
        LOG(ERROR) << __func__ << ": Unsupported multiNodeMode " << toString(session.multiNodeMode);
        return false;
    }
    const bool is_controlee = session.deviceType == DeviceType::CONTROLEE;
    const bool is_responder = session.deviceRole == DeviceRole::RESPONDER;
    AttrWriter put(msg);
    put.U8(FIRA_SESSION_PARAM_DEVICE_TYPE, is_controlee ? kWireControlee : kWireController);
    put.U8(FIRA_SESSION_PARAM_DEVICE_ROLE, is_responder ? kWireResponder : kWireInitiator);
    put.U8(FIRA_SESSION_PARAM_RANGING_ROUND_USAGE, *usage);
    put.U8(FIRA_SESSION_PARAM_MULTI_NODE_MODE, *mode);
    if (!put.ok()) {
        LOG(ERROR) << __func__ << kCreatingFailed;
        return false;
    }
    if (!PutShortAddress(msg, FIRA_SESSION_PARAM_SHORT_ADDR, session.deviceAddress)) {
        LOG(ERROR) << __func__ << PutShortAddressFailure(session.deviceAddress);
        return false;
    }
    if (!is_controlee) return true;
    // A controlee that was not told its controller has no address to send, as with a bad one.
    const UwbAddress none;
    const UwbAddress& destination =
        session.destAddressList.empty() ? none : session.destAddressList.front();
    if (!PutShortAddress(msg, FIRA_SESSION_PARAM_DEST_SHORT_ADDR, destination)) {
        LOG(ERROR) << __func__ << PutShortAddressFailure(destination);
        return false;
    }
    return true;
}

bool PutTimingsParams(nl_msg* msg, const FiraTwrSession& session) {
    LOG(INFO) << __func__;
    AttrWriter put(msg);
    put.U32(FIRA_SESSION_PARAM_INITIATION_TIME_MS, session.initiationTimeMs);
    put.U32(FIRA_SESSION_PARAM_SLOT_DURATION_RSTU, session.slotDurationRstu);
    put.U32(FIRA_SESSION_PARAM_BLOCK_DURATION_MS, session.rangingBlockDurationMs);
    put.U32(FIRA_SESSION_PARAM_ROUND_DURATION_SLOTS, session.slotsPerRangingRound);
    if (session.isBlockStridingEnabled) {
        put.U32(FIRA_SESSION_PARAM_BLOCK_STRIDE_LENGTH, session.blockStridingValue);
    }
    if (!put.ok()) LOG(ERROR) << __func__ << kCreatingFailed;
    return put.ok();
}

// In this group and the radio's, several parameters are sent only when they differ from what the
// kernel takes for granted.
bool PutBehaviorParams(nl_msg* msg, const FiraTwrSession& session) {
    LOG(INFO) << __func__;
    const bool is_controller = session.deviceType == DeviceType::CONTROLLER;
    const RangingRoundControl& control = session.rangingRoundControl;
    AttrWriter put(msg);
    if (session.maxRangingRoundRetries >= 1) {
        put.U32(FIRA_SESSION_PARAM_MAX_RR_RETRY, session.maxRangingRoundRetries);
    }
    if (session.isHoppingEnabled) put.U8(FIRA_SESSION_PARAM_ROUND_HOPPING, 1);
    if (session.isBlockStridingEnabled) put.U8(FIRA_SESSION_PARAM_BLOCK_STRIDING, 1);
    put.U8(FIRA_SESSION_PARAM_PRIORITY, session.sessionPriority);
    if (is_controller && !control.hasResultReportPhase) {
        put.U8(FIRA_SESSION_PARAM_RESULT_REPORT_PHASE, 0);
    }
    if (is_controller &&
        control.measurementReportType == MeasurementReportType::RESPONDER_TO_INITIATOR) {
        put.U8(FIRA_SESSION_PARAM_MR_AT_INITIATOR, 1);
    }
    if (!control.hasDeferredMode) put.U8(FIRA_SESSION_PARAM_DEFERRED_MODE, 0);
    put.U32(FIRA_SESSION_PARAM_IN_BAND_TERMINATION_ATTEMPTS, session.inBandTerminationAttemptCount);
    if (!put.ok()) LOG(ERROR) << __func__ << kCreatingFailed;
    return put.ok();
}

bool PutRadioParams(nl_msg* msg, const FiraTwrSession& session) {
    LOG(INFO) << __func__;
    const auto rframe = ToWire(session.rframeConfig);
    if (!rframe) {
        LOG(ERROR) << __func__ << ": Unsupported Rframe config " << toString(session.rframeConfig);
        return false;
    }
    const auto rate = ToWire(session.psduDataRate);
    if (!rate) {
        LOG(ERROR) << __func__ << ": Unsupported PSDU data rate " << toString(session.psduDataRate);
        return false;
    }
    AttrWriter put(msg);
    put.U8(FIRA_SESSION_PARAM_CHANNEL_NUMBER, static_cast<uint8_t>(session.channelNumber));
    put.U8(FIRA_SESSION_PARAM_PREAMBLE_CODE_INDEX, session.preambleCodeIndex);
    put.U8(FIRA_SESSION_PARAM_RFRAME_CONFIG, *rframe);
    if (session.prfMode == PrfMode::BPRF) put.U8(FIRA_SESSION_PARAM_PRF_MODE, 0);
    if (session.preambleDuration == PreambleDuration::T32_SYMBOLS) {
        put.U8(FIRA_SESSION_PARAM_PREAMBLE_DURATION, 0);
    }
    put.U8(FIRA_SESSION_PARAM_SFD_ID, session.sfdId);
    put.U8(FIRA_SESSION_PARAM_NUMBER_OF_STS_SEGMENTS, session.stsSegmentCount);
    put.U8(FIRA_SESSION_PARAM_PSDU_DATA_RATE, *rate);
    if (session.bprfPhrDataRate == BprfPhrDataRate::RATE_6M81) {
        put.U8(FIRA_SESSION_PARAM_BPRF_PHR_DATA_RATE, 1);
    }
    if (session.fcsType == FcsType::CRC_32) put.U8(FIRA_SESSION_PARAM_MAC_FCS_TYPE, 1);
    if (session.isTxAdaptivePayloadPowerEnabled) {
        put.U8(FIRA_SESSION_PARAM_TX_ADAPTIVE_PAYLOAD_POWER, 1);
    }
    if (!put.ok()) LOG(ERROR) << __func__ << " Error creating MCPS message";  // No colon here.
    return put.ok();
}

// Receive pair that contains the transmit antenna, for sessions without angles.
uint8_t PairForTxAntenna(const HwConfig& hw) {
    switch (hw.tx_antenna) {
        case 0:
            return 0;
        case 1:
            return 3;
        case 2:
            return 5;
        default:
            LOG(WARNING) << "TX antenna cannnot be used for ranging without AOA, first antenna of "
                            "the azimuth pair will be used";
            return static_cast<uint8_t>(hw.antenna_pair_azimuth);
    }
}

bool PutAntennaParams(nl_msg* msg, const FiraTwrSession& session, const HwConfig& hw) {
    LOG(INFO) << __func__;
    constexpr uint32_t kSetBits = 32;
    const auto azimuth = static_cast<uint8_t>(hw.antenna_pair_azimuth);
    const auto elevation = static_cast<uint8_t>(hw.antenna_pair_elevation);
    AttrWriter put(msg);
    put.U8(FIRA_SESSION_PARAM_TX_ANTENNA_SELECTION,
           static_cast<uint8_t>(1U << (hw.tx_antenna % kSetBits)));
    if (session.aoaResultRequest == AoaResultRequest::NO_AOA_REPORT) {
        put.U8(FIRA_SESSION_PARAM_RX_ANTENNA_PAIR_AZIMUTH, PairForTxAntenna(hw));
    } else if (session.aoaType == AoaType::AZIMUTH) {
        put.U8(FIRA_SESSION_PARAM_RX_ANTENNA_PAIR_AZIMUTH, azimuth);
    } else if (session.aoaType == AoaType::ELEVATION) {
        put.U8(FIRA_SESSION_PARAM_RX_ANTENNA_PAIR_ELEVATION, elevation);
    } else if (session.aoaType == AoaType::AZIMUTH_AND_ELEVATION) {
        const bool on_final_message = session.deviceRole == DeviceRole::RESPONDER &&
                                      session.rangingRoundUsage == RangingRoundUsage::DS_TWR &&
                                      session.deviceType == DeviceType::CONTROLEE;
        put.U8(FIRA_SESSION_PARAM_RX_ANTENNA_PAIR_AZIMUTH, azimuth);
        put.U8(FIRA_SESSION_PARAM_RX_ANTENNA_PAIR_ELEVATION, elevation);
        put.U8(FIRA_SESSION_PARAM_RX_ANTENNA_SWITCH, on_final_message ? 1 : 0);
    } else {
        LOG(ERROR) << __func__ << ": Unsupported AoaType: " << toString(session.aoaType);
        return false;
    }
    if (!put.ok()) LOG(ERROR) << __func__ << kCreatingFailed;
    return put.ok();
}

bool PutCryptoParams(nl_msg* msg, const FiraTwrSession& session) {
    LOG(INFO) << __func__;
    const auto sts_config = ToWire(session.stsConfig);
    if (!sts_config) {
        LOG(ERROR) << __func__
                   << ": Unsupported STS configuration: " << toString(session.stsConfig);
        return false;
    }
    AttrWriter put(msg);
    put.U8(FIRA_SESSION_PARAM_STS_CONFIG, *sts_config);
    if (session.stsConfig == FiraStsConfig::DYNAMIC_FOR_CONTROLEE_INDIVIDUAL_KEY &&
        session.deviceType == DeviceType::CONTROLEE) {
        put.U32(FIRA_SESSION_PARAM_SUB_SESSION_ID, session.subSessionId);
    }
    if (session.stsConfig == FiraStsConfig::STATIC) {
        std::string key(session.staticStsIV.begin(), session.staticStsIV.end());  // Short: no heap.
        key.append(session.vendorId.begin(), session.vendorId.end());
        put.Bytes(FIRA_SESSION_PARAM_STATIC_STS_IV_VENDOR_ID, key.data(), key.size());
    }
    put.U8(FIRA_SESSION_PARAM_KEY_ROTATION, session.isKeyRotationEnabled ? 1 : 0);
    if (session.isKeyRotationEnabled) {
        put.U8(FIRA_SESSION_PARAM_KEY_ROTATION_RATE, session.keyRotationRate);
    }
    if (!put.ok()) LOG(ERROR) << __func__ << kCreatingFailed;
    return put.ok();
}

bool PutReportParams(nl_msg* msg, const FiraTwrSession& session) {
    LOG(INFO) << __func__;
    const ResultReportConfig& report = session.resultReportConfig;
    AttrWriter put(msg);
    put.U8(FIRA_SESSION_PARAM_AOA_RESULT_REQ, static_cast<uint8_t>(session.aoaResultRequest));
    put.U8(FIRA_SESSION_PARAM_REPORT_TOF, report.hasTimeOfFlightReport ? 1 : 0);
    put.U8(FIRA_SESSION_PARAM_REPORT_AOA_AZIMUTH, report.hasAngleOfArrivalAzimuthReport ? 1 : 0);
    put.U8(FIRA_SESSION_PARAM_REPORT_AOA_ELEVATION,
           report.hasAngleOfArrivalElevationReport ? 1 : 0);
    put.U8(FIRA_SESSION_PARAM_REPORT_AOA_FOM, report.hasAngleOfArrivalFigureOfMeritReport ? 1 : 0);
    if (!put.ok()) LOG(ERROR) << __func__ << kCreatingFailed;
    return put.ok();
}

}  // namespace

bool PutFiraSessionParams(nl_msg* msg, const FiraTwrSession& session, const HwConfig& hw) {
    return PutMainSessionParams(msg, session) && PutTimingsParams(msg, session) &&
           PutBehaviorParams(msg, session) && PutRadioParams(msg, session) &&
           PutAntennaParams(msg, session, hw) && PutCryptoParams(msg, session) &&
           PutReportParams(msg, session);
}

bool PutControlees(nl_msg* msg, const std::vector<UwbAddress>& controlees,
                   const std::vector<int>* sub_session_ids) {
    AttrWriter put(msg);
    {
        const auto list = put.OpenNest(FIRA_CALL_ATTR_CONTROLEES);
        for (size_t i = 0; i < controlees.size() && put.ok(); i++) {
            const auto controlee = put.OpenNest(static_cast<int>(i) + 1);
            if (put.ok() && !PutShortAddress(msg, FIRA_CONTROLEE_ATTR_SHORT_ADDR, controlees[i])) {
                LOG(ERROR) << __func__ << PutShortAddressFailure(controlees[i]);
                return false;
            }
            if (sub_session_ids != nullptr) {
                CHECK_LT(i, sub_session_ids->size());
                put.U32(FIRA_CONTROLEE_ATTR_SUB_SESSION_ID, (*sub_session_ids)[i]);
            }
        }
    }
    if (!put.ok()) LOG(ERROR) << __func__ << kCreatingFailed;
    return put.ok();
}

}  // namespace hardware::velta
