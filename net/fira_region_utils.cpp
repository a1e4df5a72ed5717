// SPDX-License-Identifier: Apache-2.0
#define LOG_TAG "velta.uwb.FiraRegionUtils"

#include "net/fira_region_utils.h"

#include <android-base/logging.h>

#include "net/fira_session_params.h"
#include "net/mcps802154.h"
#include "net/region_call.h"

namespace hardware::velta {
namespace {

constexpr char kAzimuthPairKey[] = "[HAL]antenna_pair_azimuth";
constexpr char kElevationPairKey[] = "[HAL]antenna_pair_elevation";
constexpr char kTxAntennaKey[] = "[HAL]tx_antenna";

// What log lines call the writer of calls that only name a session.
constexpr char kSessionStateFunction[] = "CreateSessionStateMsg";

constexpr uint32_t kAntennaPairs = 7;
constexpr uint32_t kTxAntennas = 5;

// Reads a key of one byte into *value; an invalid one is logged and leaves it as it is.
template <typename IsValid>
bool ReadByteKey(const char* function, const char* key, const std::string& text, IsValid is_valid,
                 uint32_t* value) {
    long number = 0;
    if (!ConfigUtils::ToInt(text, number) || number < 0 || number > UINT8_MAX) {
        LOG(ERROR) << function << " Unable to parse " << key << " from config: " << text;
        return false;
    }
    if (!is_valid(static_cast<uint32_t>(number))) {
        // The number's raw byte on purpose, not its digits: log filters know the line so.
        LOG(ERROR) << function << " Invalid " << key
                   << " from config: " << static_cast<char>(number);
        return false;
    }
    *value = static_cast<uint32_t>(number);
    return true;
}

}  // namespace

FiraRegionUtils::FiraRegionUtils(NlSocketFactory* factory)
    : BaseRegionUtils(kFiraRegion, factory) {}

void FiraRegionUtils::SubscribeCallback(uint32_t hw_index, FiraCallback* callback) {
    LOG(INFO) << __func__;
    callbacks_[hw_index] = callback;
}

void FiraRegionUtils::UnsubscribeCallback(uint32_t hw_index) {
    LOG(INFO) << __func__;
    callbacks_.erase(hw_index);
    if (callbacks_.empty()) CloseRangingSocket();
}

bool FiraRegionUtils::IsSubscribed(uint32_t hw_index, const FiraCallback* callback) const {
    const auto entry = callbacks_.find(hw_index);
    return entry != callbacks_.end() && entry->second == callback;
}

void FiraRegionUtils::OnNotificationsLost() {
    const auto callbacks = callbacks_;  // They unsubscribe.
    for (const auto& [hw_index, callback] : callbacks) {
        if (IsSubscribed(hw_index, callback)) callback->OnNotificationsLost();
    }
    CloseRangingSocket();
}

// Writes the session that the call is about; a message that is full is logged as function's.
bool FiraRegionUtils::PutSessionId(const char* function, uint32_t session_id, RegionCall* call) {
    if (!call->started()) return false;
    call->put().U32(FIRA_CALL_ATTR_SESSION_ID, session_id);
    if (!call->put().ok()) LOG(ERROR) << function << ": Error creating MCPS message";
    return call->put().ok();
}

bool FiraRegionUtils::Send(RegionCall* call) {
    return call->End() && factory()->SendAndAwaitAck(call->msg());
}

bool FiraRegionUtils::SendSessionState(uint32_t hw_index, uint8_t call_id, uint32_t session_id) {
    RegionCall call(*this, hw_index, call_id);
    return PutSessionId(kSessionStateFunction, session_id, &call) && Send(&call);
}

bool FiraRegionUtils::InitSession(uint32_t hw_index, uint32_t session_id) {
    LOG(INFO) << __func__;
    return SendSessionState(hw_index, FIRA_CALL_SESSION_INIT, session_id);
}

bool FiraRegionUtils::StartSession(uint32_t hw_index, uint32_t session_id) {
    LOG(INFO) << __func__;
    if (!callbacks_.contains(hw_index)) {
        LOG(ERROR) << __func__ << ": Fira callback needs to be set for this hw_index.";
        return false;
    }
    RegionCall call(*this, hw_index, FIRA_CALL_SESSION_START);
    return PutSessionId(kSessionStateFunction, session_id, &call) && call.End() &&
           StartRangingSession(call.msg(), [this](nl_msg* ntf) { return OnRangingResult(ntf); });
}

bool FiraRegionUtils::StopSession(uint32_t hw_index, uint32_t session_id) {
    LOG(INFO) << __func__;
    return SendSessionState(hw_index, FIRA_CALL_SESSION_STOP, session_id);
}

bool FiraRegionUtils::DeinitSession(uint32_t hw_index, uint32_t session_id) {
    LOG(INFO) << __func__;
    return SendSessionState(hw_index, FIRA_CALL_SESSION_DEINIT, session_id);
}

bool FiraRegionUtils::ConfigTwrSession(uint32_t hw_index, const FiraTwrSession& session) {
    LOG(INFO) << __func__;
    RegionCall call(*this, hw_index, FIRA_CALL_SESSION_SET_PARAMS);
    if (!PutSessionId(__func__, static_cast<uint32_t>(session.id), &call)) return false;
    bool params_ok = false;
    {
        const auto nest = call.put().OpenNest(FIRA_CALL_ATTR_SESSION_PARAMS);
        params_ok =
            !call.put().ok() || PutFiraSessionParams(call.msg(), session, GetHwConfig(hw_index));
    }
    if (!params_ok) return false;  // Logged already.
    if (!call.put().ok()) {
        LOG(ERROR) << __func__ << ": Error creating MCPS message";
        return false;
    }
    return Send(&call);
}

bool FiraRegionUtils::SendControlees(const char* function, uint32_t hw_index, uint8_t call_id,
                                     uint32_t session_id, const std::vector<UwbAddress>& controlees,
                                     const std::vector<int>* sub_session_ids) {
    LOG(INFO) << function;
    if (controlees.empty()) {
        LOG(ERROR) << function << ": Empty controlees";
        return false;
    }
    RegionCall call(*this, hw_index, call_id);
    return PutSessionId(function, session_id, &call) &&
           PutControlees(call.msg(), controlees, sub_session_ids) && Send(&call);
}

bool FiraRegionUtils::AddControlees(uint32_t hw_index, uint32_t session_id,
                                    const std::vector<UwbAddress>& controlees,
                                    const std::vector<int>* sub_session_ids) {
    return SendControlees(__func__, hw_index, FIRA_CALL_NEW_CONTROLEE, session_id, controlees,
                          sub_session_ids);
}

bool FiraRegionUtils::RemoveControlees(uint32_t hw_index, uint32_t session_id,
                                       const std::vector<UwbAddress>& controlees) {
    return SendControlees(__func__, hw_index, FIRA_CALL_DEL_CONTROLEE, session_id, controlees,
                          nullptr);
}

bool FiraRegionUtils::UpdateBlockStriding(uint32_t hw_index, uint32_t session_id, uint32_t value) {
    LOG(INFO) << __func__;
    RegionCall call(*this, hw_index, FIRA_CALL_SESSION_SET_PARAMS);
    if (!PutSessionId(__func__, session_id, &call)) return false;
    {
        const auto nest = call.put().OpenNest(FIRA_CALL_ATTR_SESSION_PARAMS);
        call.put().U32(FIRA_SESSION_PARAM_BLOCK_STRIDE_LENGTH, value);
    }
    if (!call.put().ok()) {
        LOG(ERROR) << __func__ << ": Error creating MCPS message";
        return false;
    }
    return Send(&call);
}

bool FiraRegionUtils::ConsumeProperties(uint32_t hw_index, ConfigUtils& config) {
    const auto is_pair = [](uint32_t value) { return value < kAntennaPairs; };
    const auto is_pair_or_none = [](uint32_t value) {
        return value < kAntennaPairs || value == kNoAntennaPair;
    };
    const auto is_tx_antenna = [](uint32_t value) { return value < kTxAntennas; };

    HwConfig hw = GetHwConfig(hw_index);
    bool ok = ReadByteKey(__func__, kAzimuthPairKey, config.ConsumeValue(kAzimuthPairKey), is_pair,
                          &hw.antenna_pair_azimuth);
    const std::string elevation = config.ConsumeValue(kElevationPairKey);
    if (elevation.empty()) {
        hw.antenna_pair_elevation = kNoAntennaPair;
    } else if (!ReadByteKey(__func__, kElevationPairKey, elevation, is_pair_or_none,
                            &hw.antenna_pair_elevation)) {
        ok = false;
    }
    if (!ReadByteKey(__func__, kTxAntennaKey, config.ConsumeValue(kTxAntennaKey), is_tx_antenna,
                     &hw.tx_antenna)) {
        ok = false;
    }
    hw_configs_[hw_index] = hw;
    return ok;
}

FiraRegionUtils::HwConfig FiraRegionUtils::GetHwConfig(uint32_t hw_index) const {
    const auto entry = hw_configs_.find(hw_index);
    return entry == hw_configs_.end() ? HwConfig() : entry->second;
}

bool FiraRegionUtils::GetCapabilities(uint32_t hw_index, FiraCapabilities& caps) const {
    using namespace ::aidl::hardware::velta::uwb;
    const HwConfig hw = GetHwConfig(hw_index);
    caps.supportedChannels = {5, 9};
    caps.isAzimuthSupported = hw.antenna_pair_azimuth != kNoAntennaPair;
    caps.isElevationSupported = hw.antenna_pair_elevation != kNoAntennaPair;
    caps.deviceTypes = {DeviceType::CONTROLLER, DeviceType::CONTROLEE};
    caps.deviceRoles = {DeviceRole::RESPONDER, DeviceRole::INITIATOR};
    caps.rangingRoundUsages = {RangingRoundUsage::SS_TWR, RangingRoundUsage::DS_TWR};
    caps.multiNodeModes = {MultiNodeMode::UNICAST, MultiNodeMode::ONE_TO_MANY};
    caps.rframeConfigs = {RframeConfig::SPO, RframeConfig::SP1, RframeConfig::SP3};
    caps.prfModes = {PrfMode::BPRF, PrfMode::HPRF};
    caps.preambleDurations = {PreambleDuration::T32_SYMBOLS, PreambleDuration::T64_SYMBOLS};
    caps.psduDataRates = {PsduDataRate::RATE_6M81, PsduDataRate::RATE_7M80, PsduDataRate::RATE_27M2,
                          PsduDataRate::RATE_31M2};
    caps.bprfPhrDataRates = {BprfPhrDataRate::RATE_850K, BprfPhrDataRate::RATE_6M81};
    caps.fcsTypes = {FcsType::CRC_16, FcsType::CRC_32};
    caps.stsConfigs = {FiraStsConfig::STATIC, FiraStsConfig::DYNAMIC,
                       FiraStsConfig::DYNAMIC_FOR_CONTROLEE_INDIVIDUAL_KEY};
    caps.pulseShapes = {PulseShape::SYMMETRICAL_ROOT_RAISED_COSINE};
    caps.hoppingModes = {HoppingMode::NO_HOPPING, HoppingMode::CONTINUOUS};
    caps.hoppingSequences = {HoppingSequence::DEFAULT};
    return true;
}

}  // namespace hardware::velta
