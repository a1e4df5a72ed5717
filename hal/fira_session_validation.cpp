// SPDX-License-Identifier: Apache-2.0

// FiraController: validation of a new session.
#define LOG_TAG "velta.uwb.FiraController"

#include "hal/fira_controller.h"
#include "hal/ipc_utils.h"

namespace hardware::velta {
namespace {

using ::aidl::hardware::velta::uwb::AoaType;
using ::aidl::hardware::velta::uwb::FiraStsConfig;
using ::aidl::hardware::velta::uwb::FiraTwrSession;
using ::ndk::ScopedAStatus;

constexpr size_t kShortAddressSize = 2;
constexpr size_t kVendorIdSize = 2;
constexpr size_t kStaticStsIvSize = 6;
constexpr uint32_t kMaxSessionPriority = 100;
constexpr uint32_t kMaxTerminationAttempts = 10;
constexpr int8_t kSfdIds = 5;

// The byte as the unsigned 32-bit number of its sign extension: one comparison then refuses
// negative values too.
uint32_t AsUnsigned(int8_t value) {
    return static_cast<uint32_t>(int32_t{value});
}

ScopedAStatus ValidateDurations(const FiraTwrSession& session) {
    const struct {
        int value;
        const char* message;
    } durations[] = {
        {session.initiationTimeMs, "initiationTimeMs cannot be negative."},
        {session.slotDurationRstu, "slotDurationRstu cannot be negative."},
        {session.slotsPerRangingRound, "slotsPerRangingRound cannot be negative."},
        {session.rangingBlockDurationMs, "rangingBlockDurationMs cannot be negative."},
        {session.blockStridingValue, "blockStridingValue cannot be negative."},
        {session.maxRangingRoundRetries, "maxRangingRoundRetries cannot be negative."},
    };
    for (const auto& [value, message] : durations) {
        if (value < 0) return BadArgument("%s", message);
    }
    return ScopedAStatus::ok();
}

ScopedAStatus ValidateDestinations(const FiraTwrSession& session) {
    // For controlees too, in spite of the text: they need the controller's address.
    if (session.destAddressList.empty()) {
        return BadArgument(
            "The device is controller of the session, destAddressList should not be empty");
    }
    for (const auto& destination : session.destAddressList) {
        if (destination.address.size() != kShortAddressSize) {
            return BadArgument(
                "destAddressList contains an incorrect address, only short addresses are supported "
                "in Fira 1.1");
        }
    }
    return ScopedAStatus::ok();
}

ScopedAStatus ValidateSts(const FiraTwrSession& session) {
    constexpr char kStaticSize[] =
        "Session with static STS needs to pass vendorId value with size of %u";
    if (session.stsConfig == FiraStsConfig::STATIC) {
        if (session.vendorId.size() != kVendorIdSize) {
            return BadArgument(kStaticSize, static_cast<unsigned int>(kVendorIdSize));
        }
        // The message names vendorId here as well; clients know it so.
        if (session.staticStsIV.size() != kStaticStsIvSize) {
            return BadArgument(kStaticSize, static_cast<unsigned int>(kStaticStsIvSize));
        }
        return ScopedAStatus::ok();
    }
    // The opposite of what the messages say, on purpose: these sessions have always had to carry
    // both fields, and clients do.
    if (session.vendorId.empty()) {
        return BadArgument("Session without static STS should not pass vendorId value");
    }
    if (session.staticStsIV.empty()) {
        return BadArgument("Session without static STS should not pass staticStsIV value");
    }
    return ScopedAStatus::ok();
}

}  // namespace

ScopedAStatus FiraController::ValidateAoaType(const FiraTwrSession& session) const {
    const FiraRegionUtils::HwConfig hw = fira_region_utils_->GetHwConfig(hw_index_);
    const bool has_azimuth = hw.antenna_pair_azimuth != FiraRegionUtils::kNoAntennaPair;
    const bool has_elevation = hw.antenna_pair_elevation != FiraRegionUtils::kNoAntennaPair;
    bool supported = false;
    switch (session.aoaType) {
        case AoaType::AZIMUTH:
            supported = has_azimuth;
            break;
        case AoaType::ELEVATION:
            supported = has_elevation;
            break;
        case AoaType::AZIMUTH_AND_ELEVATION:
            supported = has_azimuth && has_elevation;
            break;
        default:
            return BadArgument("Unknown AoaType: %s", toString(session.aoaType).c_str());
    }
    if (supported) return ScopedAStatus::ok();
    return BadArgument("Unsupported AoaType: %s", toString(session.aoaType).c_str());
}

ScopedAStatus FiraController::ValidateSession(const FiraTwrSession& session) const {
    if (session.deviceAddress.address.size() != kShortAddressSize) {
        return BadArgument(
            "deviceAddress has incorrect size, only short addresses are supported in Fira 1.1");
    }
    if (ScopedAStatus status = ValidateDurations(session); !status.isOk()) return status;
    if (ScopedAStatus status = ValidateAoaType(session); !status.isOk()) return status;
    if (AsUnsigned(session.sessionPriority) > kMaxSessionPriority) {
        return BadArgument("Incorrect sessionPriority value %u",
                           AsUnsigned(session.sessionPriority));
    }
    if (AsUnsigned(session.inBandTerminationAttemptCount) - 1 >= kMaxTerminationAttempts) {
        return BadArgument("Incorrect inBandTerminationAttemptCount value %u",
                           AsUnsigned(session.inBandTerminationAttemptCount));
    }
    if (ScopedAStatus status = CheckUwbChannelRange(session.channelNumber); !status.isOk()) {
        return status;
    }
    // Signed on purpose: negative values pass.
    if (session.sfdId >= kSfdIds) {
        return BadArgument("Incorrect sfdId value %u",
                           static_cast<unsigned int>(static_cast<uint8_t>(session.sfdId)));
    }
    if (ScopedAStatus status = ValidateDestinations(session); !status.isOk()) return status;
    return ValidateSts(session);
}

}  // namespace hardware::velta
