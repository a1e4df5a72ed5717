// SPDX-License-Identifier: Apache-2.0

// McpsUtils: simple ranging requests and results.
#define LOG_TAG "velta.uwb.McpsUtils"

#include <android-base/logging.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <numbers>
#include <utility>

#include "net/mcps802154.h"
#include "net/mcps_policies.h"
#include "net/mcps_utils.h"
#include "net/nl_attr.h"
#include "net/unique_nl_msg.h"

namespace hardware::velta {
namespace {

// Stands for a value or phase that the report does not have.
constexpr int32_t kNoMeasurement = std::numeric_limits<int32_t>::min();

constexpr auto kResultPolicies = MakePolicies<MCPS802154_RANGING_RESULT_ATTR_MAX>({
    {MCPS802154_RANGING_RESULT_ATTR_ID, NLA_U32},
    {MCPS802154_RANGING_RESULT_ATTR_VALUE, NLA_U32},
    {MCPS802154_RANGING_RESULT_ATTR_PHASE_1, NLA_S32},
    {MCPS802154_RANGING_RESULT_ATTR_PHASE_2, NLA_S32},
});

// Converts a phase difference in units of 2^-11 rad to the angle of arrival in radians, for two
// antennas 20.8 mm apart on channel 5 (46.1 mm wave length).
float PhaseToRad(int32_t phase) {
    constexpr int32_t kMinPhase = -32767;
    constexpr float kPhaseUnit = 0.00048828125F;
    constexpr float kWaveLength = 0.046108086F;
    constexpr float kAntennaSpacing = 0.0208F;
    if (phase < kMinPhase) return std::numeric_limits<float>::quiet_NaN();
    const float path = static_cast<float>(phase) * kPhaseUnit * kWaveLength;
    const auto turns = static_cast<float>(static_cast<double>(path) / (2 * std::numbers::pi));
    const float sine = std::fmin(std::fmax(turns / kAntennaSpacing, -1.0F), 1.0F);
    return std::asin(sine);
}

}  // namespace

bool McpsUtils::SubscribeRangingResults(std::function<void(const RangingResult&)> callback) {
    on_ranging_result_ = std::move(callback);
    return true;
}

void McpsUtils::UnsubscribeRangingResults() {
    LOG(INFO) << __func__;
    CloseRangingSocket();
    ranging_requests_.clear();
    on_ranging_result_ = nullptr;
}

bool McpsUtils::SetRangingRequests(uint32_t hw_index, std::vector<RangingRequest> requests) {
    LOG(INFO) << __func__;
    if (!on_ranging_result_) {
        LOG(WARNING) << __func__ << ": The ranging result handler needs to be set first";
        return false;
    }
    CloseRangingSocket();
    ranging_requests_.clear();
    if (requests.empty()) {
        LOG(INFO) << __func__ << ": requests empty";
        return true;
    }
    const std::shared_ptr<NlSocket> socket = factory_->Create();
    if (socket == nullptr) return false;
    UniqueNlMsg msg;
    if (msg.get() == nullptr || !RangingRequestsToNlMsg(msg.get(), hw_index, requests) ||
        !socket->SendAndAwaitAck(msg.get(), {})) {
        return false;
    }
    socket->DisableAutoAck();
    socket->SetLostHandler([this] { OnRangingResultsLost(); });
    if (!socket->WatchNetlinkSocket(socket,
                                    [this](nl_msg* report) { return OnRangingResult(report); })) {
        return false;
    }
    ranging_socket_ = socket;
    ranging_requests_ = std::move(requests);
    return true;
}

// There is no session that might have stopped unheard, only results that are missing: it goes on.
void McpsUtils::OnRangingResultsLost() {
    result_counters_.overflows++;
    LOG(ERROR) << "Simple ranging results were lost";
    if (ranging_socket_ != nullptr) {
        ranging_socket_->SetLostHandler([this] { OnRangingResultsLost(); });
    }
}

bool McpsUtils::RangingRequestsToNlMsg(nl_msg* msg, uint32_t hw_index,
                                       std::vector<RangingRequest> requests) {
    if (!SetMcpsCommand(msg, hw_index, MCPS802154_CMD_RANGING_REQUESTS_SET, 0)) return false;
    AttrWriter put(msg);
    {
        const auto list = put.OpenNest(MCPS802154_ATTR_RANGING_REQUESTS, NestFlag::kNested);
        for (const RangingRequest& request : requests) {
            const auto element =
                put.OpenNest(MCPS802154_RANGING_REQUESTS_ELEMENT, NestFlag::kNested);
            put.U32(MCPS802154_RANGING_REQUEST_ATTR_ID, static_cast<uint32_t>(request.id));
            put.U32(MCPS802154_RANGING_REQUEST_ATTR_PARAM, static_cast<uint32_t>(request.param));
            put.U64(MCPS802154_RANGING_REQUEST_ATTR_PEER, static_cast<uint64_t>(request.peer));
        }
    }
    if (!put.ok()) {
        LOG(ERROR) << __func__ << ": Error creating MCPS message";
        return false;
    }
    return true;
}

void McpsUtils::CloseRangingSocket() {
    if (ranging_socket_ == nullptr) return;
    LOG(INFO) << __func__ << ": Close ranging socket";
    ranging_socket_.reset();
}

int McpsUtils::OnRangingResult(nl_msg* msg) {
    NotificationCounters::Tally tally(&result_counters_);
    LOG(INFO) << __func__;
    const std::optional<int> command = GenlCommand(msg);
    if (!command) {
        LOG(WARNING) << __func__ << ": Failed to parse attr";
        return NL_STOP;
    }
    if (command != MCPS802154_CMD_RANGING_REPORT) {
        LOG(WARNING) << __func__ << ": Incorrect command received: " << *command;
        return NL_STOP;
    }
    if (ranging_requests_.empty() || !on_ranging_result_) return NL_STOP;
    AttrTable<MCPS802154_ATTR_MAX> attrs;
    if (attrs.ParseMessage(msg, kMcpsPolicies) < 0) {
        LOG(WARNING) << __func__ << ": Failed to parse attr";
        return NL_STOP;
    }
    if (!attrs.Has(MCPS802154_ATTR_HW) || !attrs.Has(MCPS802154_ATTR_RANGING_RESULT)) {
        LOG(WARNING) << __func__ << ": Missing HW or RANGING_RESULT";
        return NL_STOP;
    }
    AttrTable<MCPS802154_RANGING_RESULT_ATTR_MAX> report;
    if (report.ParseNest(attrs.Get(MCPS802154_ATTR_RANGING_RESULT), kResultPolicies) < 0) {
        LOG(WARNING) << __func__ << ": Failed to parse nested attr";
        return NL_STOP;
    }
    if (!report.Has(MCPS802154_RANGING_RESULT_ATTR_ID)) return NL_STOP;
    const auto read_or_none = [&report](int attr) {
        return report.Has(attr) ? report.S32(attr) : kNoMeasurement;
    };
    RangingResult result;
    result.id = static_cast<int32_t>(report.U32(MCPS802154_RANGING_RESULT_ATTR_ID));
    result.value = read_or_none(MCPS802154_RANGING_RESULT_ATTR_VALUE);
    result.angle1 = PhaseToRad(read_or_none(MCPS802154_RANGING_RESULT_ATTR_PHASE_1));
    result.angle2 = PhaseToRad(read_or_none(MCPS802154_RANGING_RESULT_ATTR_PHASE_2));
    const auto request = std::find_if(ranging_requests_.begin(), ranging_requests_.end(),
                                      [&](const auto& entry) { return entry.id == result.id; });
    if (request == ranging_requests_.end()) {
        LOG(WARNING) << __func__ << ": Received result for unknown request";
        return NL_STOP;
    }
    tally.Delivered();
    result.peer = request->peer;
    const auto handler = on_ranging_result_;  // It may replace itself.
    handler(result);
    return NL_STOP;
}

}  // namespace hardware::velta
