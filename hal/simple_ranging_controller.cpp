// SPDX-License-Identifier: Apache-2.0
#define LOG_TAG "velta.uwb.SimpleRangingController"

#include "hal/simple_ranging_controller.h"

#include <android-base/logging.h>

#include <algorithm>
#include <array>
#include <utility>

#include "hal/ipc_utils.h"

namespace hardware::velta {
namespace {

using ::ndk::ScopedAStatus;

constexpr McpsUtils::SlotDuration kSlotDuration{16};

// What the driver takes in one request.
constexpr size_t kMaxRequests = 14;

ScopedAStatus UnknownError() {
    return Error(ErrorCode::FAILED, "Unknown error");
}

}  // namespace

SimpleRangingController::SimpleRangingController(std::string iface_name, uint32_t hw_index,
                                                 InterfaceTool* interface_tool,
                                                 McpsUtils* mcps_utils, IeeeUtils* ieee_utils)
    : iface_name_(std::move(iface_name)),
      hw_index_(hw_index),
      interface_tool_(interface_tool),
      mcps_utils_(mcps_utils),
      ieee_utils_(ieee_utils) {}

SimpleRangingController::~SimpleRangingController() {
    Abandon();
}

ScopedAStatus SimpleRangingController::startInitiatorMode(int32_t pan_id, const UwbAddress& address,
                                                          int32_t channel) {
    LOG(INFO) << __func__;
    return StartMode(McpsUtils::NodeType::kInitiator, pan_id, address, channel);
}

ScopedAStatus SimpleRangingController::startResponderMode(int32_t pan_id, const UwbAddress& address,
                                                          int32_t channel) {
    LOG(INFO) << __func__;
    return StartMode(McpsUtils::NodeType::kResponder, pan_id, address, channel);
}

// Nothing is rolled back: steps that were done stay in force.
ScopedAStatus SimpleRangingController::StartMode(McpsUtils::NodeType node_type, int32_t pan_id,
                                                 const UwbAddress& address, int32_t channel) {
    if (is_abandoned_) return Closed();
    const char* name = iface_name_.c_str();
    if (!interface_tool_->SetUpState(name, false) ||
        !mcps_utils_->SetScheduler(hw_index_, McpsScheduler::kSimpleRanging, kSlotDuration,
                                   node_type, false) ||
        !SetUwbAddress(address) || !ieee_utils_->SetPanId(name, static_cast<uint16_t>(pan_id))) {
        return UnknownError();
    }
    PhyInfo info;
    if (!ieee_utils_->GetPhyInfo(name, &info) ||
        std::find(info.channels.begin(), info.channels.end(), channel) == info.channels.end()) {
        return BadArgument("Incorrect channel value");
    }
    if (!ieee_utils_->SetChannel(name, channel) || !interface_tool_->SetUpState(name, true)) {
        return UnknownError();
    }
    return ScopedAStatus::ok();
}

bool SimpleRangingController::SetUwbAddress(const UwbAddress& address) {
    // The kernel wants the least significant byte first.
    std::array<uint8_t, 8> extended = {};
    const size_t size = std::min(address.address.size(), extended.size());
    std::copy_n(address.address.begin(), size, extended.rbegin());
    return interface_tool_->SetMacAddress(iface_name_.c_str(), extended);
}

ScopedAStatus SimpleRangingController::stop() {
    LOG(INFO) << __func__;
    if (is_abandoned_) return Closed();
    bool ok = false;
    const McpsHwInfo info = mcps_utils_->GetHardwareInfo(hw_index_, &ok);
    if (!ok || !mcps_utils_->SetRangingRequests(info.hw_index, {})) return UnknownError();
    interface_tool_->SetUpState(iface_name_.c_str(), false);
    return ScopedAStatus::ok();
}

ScopedAStatus SimpleRangingController::getCapabilities(SimpleRangingCapabilities* caps) {
    LOG(INFO) << __func__;
    PhyInfo info;
    if (!ieee_utils_->GetPhyInfo(iface_name_.c_str(), &info)) return UnknownError();
    caps->supportedChannels = info.channels;
    return ScopedAStatus::ok();
}

ScopedAStatus SimpleRangingController::setRangings(const std::vector<RangingRequest>& requests) {
    LOG(INFO) << __func__;
    if (!interface_tool_->GetUpState(iface_name_.c_str())) {
        return Error(ErrorCode::INVALID_STATE, "Interface is not running");
    }
    if (requests.size() > kMaxRequests) {
        return BadArgument("Max ranging request size is %d", static_cast<int>(kMaxRequests));
    }
    if (is_abandoned_) return Closed();
    if (!mcps_utils_->SetRangingRequests(hw_index_, requests)) return UnknownError();
    return ScopedAStatus::ok();
}

ScopedAStatus SimpleRangingController::setCallback(
    const std::shared_ptr<ISimpleRangingCallback>& callback) {
    LOG(INFO) << __func__;
    if (callback == nullptr) return BadArgument("null client");
    if (is_abandoned_) return Closed();
    auto subscription = std::make_shared<Subscription>(
        Subscription{callback, Deliveries("simple ranging callback of " + iface_name_)});
    subscription_ = subscription;
    mcps_utils_->SubscribeRangingResults(
        [subscription = std::move(subscription)](const McpsUtils::RangingResult& result) {
            // Held by itself: a local client may set another one meanwhile.
            // NOLINTNEXTLINE(performance-unnecessary-copy-initialization)
            const auto held = subscription;
            held->deliveries.Note(held->callback->onRangingResult(result));
        });
    return ScopedAStatus::ok();
}

void SimpleRangingController::Dump(DumpWriter* writer) const {
    const auto simple = writer->Section("simple_ranging");
    writer->Value("has_callback", !subscription_.expired());
}

void SimpleRangingController::Abandon() {
    is_abandoned_ = true;
    // The radios share one subscription: gone from here means that another controller took it.
    if (!subscription_.expired()) mcps_utils_->UnsubscribeRangingResults();
    subscription_.reset();
}

}  // namespace hardware::velta
