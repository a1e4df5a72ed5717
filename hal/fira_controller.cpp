// SPDX-License-Identifier: Apache-2.0
#define LOG_TAG "velta.uwb.FiraController"

#include "hal/fira_controller.h"

#include <android-base/logging.h>

#include <algorithm>
#include <utility>

#include "hal/ipc_utils.h"

namespace hardware::velta {
namespace {

using ::aidl::hardware::velta::uwb::DeviceType;
using ::ndk::ScopedAStatus;

// The driver has no reasons for a refused change of controlees.
constexpr int kNoReason = 0;

ScopedAStatus UnknownSession(int32_t session_id) {
    return BadArgument("Unknown session id %u", static_cast<uint32_t>(session_id));
}

ScopedAStatus Unsupported() {
    return Error(ErrorCode::FAILED, "Unsupported operation");
}

ScopedAStatus RestrictedChannel(int channel) {
    return BadArgument("Requested channel %d is restricted", channel);
}

}  // namespace

FiraController::FiraController(std::string iface_name, uint32_t hw_index, IeeeUtils* ieee_utils,
                               FiraRegionUtils* fira_region_utils, EventLoop* event_loop)
    : iface_name_(std::move(iface_name)),
      hw_index_(hw_index),
      ieee_utils_(ieee_utils),
      event_loop_(event_loop),
      fira_region_utils_(fira_region_utils),
      active_session_count_(0),
      listener_(nullptr),
      current_channel_(kNoChannel),
      deliveries_(std::make_shared<Deliveries>("FiRa callback of " + iface_name_)) {}

FiraController::~FiraController() {
    Abandon();
}

ScopedAStatus FiraController::setSessionCallback(
    const std::shared_ptr<IFiraSessionCallback>& callback) {
    LOG(INFO) << __func__;
    session_callback_ = callback;
    return ScopedAStatus::ok();
}

ScopedAStatus FiraController::clearSessionCallback() {
    LOG(INFO) << __func__;
    session_callback_.reset();
    return ScopedAStatus::ok();
}

ScopedAStatus FiraController::getCapabilities(FiraCapabilities* caps) {
    LOG(INFO) << __func__;
    if (!fira_region_utils_->GetCapabilities(hw_index_, *caps)) {
        return Error(ErrorCode::FAILED, "Failed to query capabilities");
    }
    if (current_channel_ != kNoChannel) {
        caps->supportedChannels = {current_channel_};
        return ScopedAStatus::ok();
    }
    PhyInfo info;
    if (!ieee_utils_->GetPhyInfo(iface_name_.c_str(), &info)) {
        return Error(ErrorCode::FAILED, "Failed to get supported channels");
    }
    caps->supportedChannels = info.channels;
    return ScopedAStatus::ok();
}

// Makes channel the one of all sessions, or refuses it.
ScopedAStatus FiraController::SettleChannel(int channel) {
    if (current_channel_ != kNoChannel) {
        return channel == current_channel_ ? ScopedAStatus::ok() : RestrictedChannel(channel);
    }
    PhyInfo info;
    if (!ieee_utils_->GetPhyInfo(iface_name_.c_str(), &info)) {
        return Error(ErrorCode::FAILED, "Failed to get supported channels");
    }
    if (std::find(info.channels.begin(), info.channels.end(), channel) == info.channels.end()) {
        return RestrictedChannel(channel);
    }
    if (!ieee_utils_->SetChannel(iface_name_.c_str(), channel)) {
        return Error(ErrorCode::FAILED, "Failed to set correct channel");
    }
    return ScopedAStatus::ok();
}

ScopedAStatus FiraController::initNewTwrSession(const FiraTwrSession& session) {
    LOG(INFO) << __func__ << ":" << session.toString();
    const auto id = static_cast<uint32_t>(session.id);
    if (sessions_.contains(id)) return BadArgument("Session with id %u already exist", id);
    if (ScopedAStatus status = ValidateSession(session); !status.isOk()) return status;
    if (is_abandoned_) return Closed();
    if (ScopedAStatus status = SettleChannel(session.channelNumber); !status.isOk()) return status;

    if (listener_ != nullptr) listener_->OnPreSessionOpen(fira_region_utils_->region());
    const bool is_controller = session.deviceType == DeviceType::CONTROLLER;
    if (!fira_region_utils_->InitSession(hw_index_, id) ||
        !fira_region_utils_->ConfigTwrSession(hw_index_, session) ||
        (is_controller &&
         !fira_region_utils_->AddControlees(hw_index_, id, session.destAddressList, nullptr))) {
        // Some of it may have been done.
        if (left_behind_.size() < kMaxLeftBehind) left_behind_.insert(id);
        NotifySessionChanged();
        return Unsupported();
    }
    left_behind_.erase(id);
    sessions_[id] = {};
    current_channel_ = static_cast<int8_t>(session.channelNumber);
    NotifySessionChanged();
    return ScopedAStatus::ok();
}

ScopedAStatus FiraController::updateTwrSession(const FiraTwrSession& session) {
    LOG(INFO) << __func__;
    LOG(INFO) << session.toString();
    const SessionState* state = FindSession(session.id);
    if (state == nullptr) return UnknownSession(session.id);
    if (state->phase == SessionPhase::kRunning) {
        return Error(ErrorCode::INVALID_STATE, "Running session cannot be updated");
    }
    // Neither the field checks nor the channel rule of a new session apply here on purpose.
    if (!fira_region_utils_->ConfigTwrSession(hw_index_, session)) return Unsupported();
    return ScopedAStatus::ok();
}

ScopedAStatus FiraController::startRangingSession(int32_t session_id) {
    LOG(INFO) << __func__;
    if (session_callback_ == nullptr) {
        return Error(ErrorCode::INVALID_STATE,
                     "You need to register callbacks on the controller first.");
    }
    SessionState* state = FindSession(session_id);
    if (state == nullptr) return UnknownSession(session_id);
    if (state->phase == SessionPhase::kRunning) {
        return Error(ErrorCode::INVALID_STATE, "The session is already running");
    }
    if (listener_ != nullptr) listener_->OnPreSessionStart();
    state->Enter(SessionPhase::kRunning);
    if (active_session_count_++ == 0) fira_region_utils_->SubscribeCallback(hw_index_, this);
    if (!fira_region_utils_->StartSession(hw_index_, static_cast<uint32_t>(session_id))) {
        // One that was done but not acknowledged is not stopped here, although it runs on where
        // another session keeps the socket open: the radio's word of that stop would count against
        // a session that runs, or that the client starts again. It ends when the interface goes
        // down.
        sessions_[static_cast<uint32_t>(session_id)].Enter(SessionPhase::kInitialised);
        OnSessionInactive();
        return Unsupported();
    }
    NotifySessionChanged();
    return ScopedAStatus::ok();
}

ScopedAStatus FiraController::updateTwoWayRangingBlockStriding(int32_t session_id,
                                                               int32_t block_striding_value) {
    LOG(INFO) << __func__;
    // No blanks around the numbers on purpose: log filters know the line so.
    LOG(INFO) << "Trying to update session" << static_cast<uint32_t>(session_id)
              << " with block stride length" << block_striding_value;
    return Error(ErrorCode::INVALID_ARGUMENT, "Block striding is not supported");
}

ScopedAStatus FiraController::addControlees(
    int32_t session_id, const std::vector<UwbAddress>& controlees,
    const std::optional<std::vector<int32_t>>& sub_session_ids) {
    LOG(INFO) << __func__;
    if (FindSession(session_id) == nullptr) return UnknownSession(session_id);
    if (sub_session_ids && sub_session_ids->size() != controlees.size()) {
        return BadArgument("Controlees size and sub-session id size do not match");
    }
    const bool added =
        fira_region_utils_->AddControlees(hw_index_, static_cast<uint32_t>(session_id), controlees,
                                          sub_session_ids ? &*sub_session_ids : nullptr);
    if (session_callback_ != nullptr) {
        event_loop_->PostTask([callback = session_callback_, session_id, controlees, added,
                               deliveries = deliveries_] {
            deliveries->Note(
                added ? callback->onControleesAdded(session_id, controlees)
                      : callback->onControleesAddFailed(session_id, controlees, kNoReason));
        });
    }
    return ScopedAStatus::ok();
}

ScopedAStatus FiraController::removeControlees(int32_t session_id,
                                               const std::vector<UwbAddress>& controlees) {
    LOG(INFO) << __func__;
    if (FindSession(session_id) == nullptr) return UnknownSession(session_id);
    const bool removed = fira_region_utils_->RemoveControlees(
        hw_index_, static_cast<uint32_t>(session_id), controlees);
    if (session_callback_ != nullptr) {
        event_loop_->PostTask([callback = session_callback_, session_id, controlees, removed,
                               deliveries = deliveries_] {
            deliveries->Note(
                removed ? callback->onControleesRemoved(session_id, controlees)
                        : callback->onControleesRemoveFailed(session_id, controlees, kNoReason));
        });
    }
    return ScopedAStatus::ok();
}

ScopedAStatus FiraController::stopRangingSession(int32_t session_id) {
    LOG(INFO) << __func__;
    const SessionState* state = FindSession(session_id);
    if (state == nullptr) return UnknownSession(session_id);
    if (state->phase != SessionPhase::kRunning) {
        return Error(ErrorCode::INVALID_STATE, "The session isn't started.");
    }
    // The session stays running until the kernel reports the stop.
    if (!fira_region_utils_->StopSession(hw_index_, static_cast<uint32_t>(session_id))) {
        return Unsupported();
    }
    return ScopedAStatus::ok();
}

ScopedAStatus FiraController::getSessionCount(int32_t* count) {
    LOG(INFO) << __func__;
    *count = SessionCount();
    return ScopedAStatus::ok();
}

ScopedAStatus FiraController::deinitSession(int32_t session_id) {
    LOG(INFO) << __func__;
    const SessionState* state = FindSession(session_id);
    if (state == nullptr) return UnknownSession(session_id);
    if (state->phase != SessionPhase::kInitialised) {
        return Error(ErrorCode::INVALID_STATE, "The session is started, call stop first.");
    }
    if (!fira_region_utils_->DeinitSession(hw_index_, static_cast<uint32_t>(session_id))) {
        NotifySessionChanged();
        return Unsupported();
    }
    sessions_.erase(static_cast<uint32_t>(session_id));
    NotifySessionChanged();
    return ScopedAStatus::ok();
}

ScopedAStatus FiraController::reset() {
    LOG(INFO) << __func__;
    for (const auto& [id, state] : sessions_) left_behind_.insert(id);
    sessions_.clear();
    active_session_count_ = 0;
    current_channel_ = kNoChannel;
    UnsubscribeIfIdle();
    return ScopedAStatus::ok();
}

void FiraController::OnTwrResult(const FiraRangingData& data,
                                 const std::vector<FiraTwrMeasurement>& measurements) {
    const std::shared_ptr<IFiraSessionCallback> callback = session_callback_;
    if (callback == nullptr) {
        dropped_reports_++;
        LOG(WARNING) << __func__ << ": no session callback, report dropped";
        return;
    }
    const std::shared_ptr<SharedRefBase> self = ref();  // A local client may let go of this object.
    deliveries_->Note(callback->onTwrResult(data, measurements));
}

void FiraController::OnSessionStopped(uint32_t session_id, int reason) {
    const std::shared_ptr<SharedRefBase> self = ref();  // As above.
    const std::shared_ptr<IFiraSessionCallback> callback = session_callback_;
    if (callback == nullptr) {
        LOG(WARNING) << __func__ << ": no session callback, stop of " << session_id << " dropped";
    } else if (!deliveries_->Note(
                   callback->onSessionStopped(static_cast<int32_t>(session_id), reason))) {
        LOG(WARNING) << __func__ << ": the client does not learn of the stop of " << session_id;
    }
    sessions_[session_id].Enter(SessionPhase::kInitialised);
    // Counted down also when the session was not running: the kernel's word goes.
    OnSessionInactive();
    NotifySessionChanged();
}

void FiraController::OnNotificationsLost() {
    const std::shared_ptr<SharedRefBase> self = ref();  // As above.
    std::vector<uint32_t> running;
    for (const auto& [id, state] : sessions_) {
        if (state.phase == SessionPhase::kRunning) running.push_back(id);
    }
    // One that has stopped already is refused, which is as good.
    for (const uint32_t id : running) fira_region_utils_->StopSession(hw_index_, id);
    // Stops of sessions that never counted, as of one whose start was not acknowledged, have
    // counted down as well; with these none is left.
    active_session_count_ = static_cast<int32_t>(running.size());
    for (const uint32_t id : running) OnSessionStopped(id, kNotificationsLost);
}

int FiraController::SessionCount() const {
    return static_cast<int>(sessions_.size());
}

int FiraController::ActiveSessionCount() const {
    return active_session_count_;
}

void FiraController::SetListener(ControllerListener* listener) {
    listener_ = listener;
}

bool FiraController::ConsumeProperties(ConfigUtils& config) {
    return fira_region_utils_->ConsumeProperties(hw_index_, config);
}

void FiraController::Abandon() {
    is_abandoned_ = true;
    session_callback_.reset();
    // Never the subscription of another controller that has taken the radio since.
    if (fira_region_utils_ != nullptr && fira_region_utils_->IsSubscribed(hw_index_, this)) {
        fira_region_utils_->UnsubscribeCallback(hw_index_);
    }
    for (const auto& [id, state] : sessions_) left_behind_.insert(id);
    for (const uint32_t id : left_behind_) fira_region_utils_->DeinitSession(hw_index_, id);
    left_behind_.clear();
    sessions_.clear();
    active_session_count_ = 0;
    current_channel_ = kNoChannel;
}

void FiraController::Dump(DumpWriter* writer) const {
    const auto fira = writer->Section("fira");
    writer->Value("has_callback", session_callback_ != nullptr);
    writer->Value("reports_without_callback", dropped_reports_);
    writer->Value("events_refused", deliveries_->refused());
    if (current_channel_ != kNoChannel) writer->Value("channel", current_channel_);
    const auto sessions = writer->List("sessions");
    for (const auto& [id, state] : sessions_) {
        const auto session = writer->Item();
        writer->Value("id", id);
        writer->Value("state", state.phase == SessionPhase::kRunning ? "running" : "initialised");
        writer->Age("state_age_s", state.entered);
        writer->Age("age_s", state.created);
    }
}

FiraController::SessionState* FiraController::FindSession(int32_t session_id) {
    const auto entry = sessions_.find(static_cast<uint32_t>(session_id));
    return entry == sessions_.end() ? nullptr : &entry->second;
}

void FiraController::OnSessionInactive() {
    if (--active_session_count_ == 0) current_channel_ = kNoChannel;
    UnsubscribeIfIdle();
}

void FiraController::UnsubscribeIfIdle() {
    if (active_session_count_ == 0 && fira_region_utils_ != nullptr && !is_abandoned_) {
        fira_region_utils_->UnsubscribeCallback(hw_index_);
    }
}

void FiraController::NotifySessionChanged() {
    if (listener_ != nullptr) listener_->OnSessionChanged();
}

}  // namespace hardware::velta
