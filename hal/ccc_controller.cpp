// SPDX-License-Identifier: Apache-2.0
#define LOG_TAG "velta.uwb.CccController"

#include "hal/ccc_controller.h"

#include <android-base/logging.h>

#include <cerrno>
#include <chrono>
#include <ctime>
#include <utility>

#include "hal/ipc_utils.h"

namespace hardware::velta {
namespace {

using ::ndk::ScopedAStatus;

constexpr char kMinimumOffsetKey[] = "[HAL]minimum_system_offset_uwbtime0";
constexpr char kAutoSleepMarginKey[] = "auto_sleep_margin";
constexpr char kCccKeyMark[] = "[CCC]";

// These follow an operation's name with nothing between them on purpose: log filters know the
// lines so.
constexpr char kDisableFailed[] = "Failed to disable deepsleep, continue anyway";
constexpr char kEnableFailed[] = "Failed to enable deepsleep, continue anyway";

// The driver's word for no deep sleep.
constexpr char kNoDeepSleep[] = "-1";

// What the radio takes to wake from deep sleep.
constexpr timespec kWakeUpTime = {.tv_sec = 0, .tv_nsec = 100000000};

constexpr uint64_t kNanosecondsPerMillisecond = 1000000;

int64_t NowMilliseconds() {
    using std::chrono::microseconds;
    constexpr int64_t kMicrosecondsPerMillisecond = 1000;
    const auto since_epoch = std::chrono::system_clock::now().time_since_epoch();
    return std::chrono::duration_cast<microseconds>(since_epoch).count() /
           kMicrosecondsPerMillisecond;
}

}  // namespace

CccController::CccController(std::string iface_name, uint32_t hw_index, IeeeUtils* ieee_utils,
                             CccRegionUtils* ccc_region_utils, McpsUtils* mcps_utils)
    : iface_name_(std::move(iface_name)),
      hw_index_(hw_index),
      ccc_region_utils_(ccc_region_utils),
      mcps_utils_(mcps_utils),
      ieee_utils_(ieee_utils),
      listener_(nullptr),
      minimum_system_offset_uwbtime0_(0),
      is_running_(false),
      deliveries_("CCC callback of " + iface_name_) {}

CccController::~CccController() {
    Abandon();
}

ScopedAStatus CccController::initSession() {
    LOG(INFO) << __func__;
    if (is_abandoned_) return Closed();
    if (listener_ != nullptr) listener_->OnPreSessionOpen(ccc_region_utils_->region());
    if (!auto_sleep_margin_.empty()) {
        is_deep_sleep_off_ = true;
        if (!SendAutoSleepMargin(kNoDeepSleep)) {
            LOG(WARNING) << __func__ << kDisableFailed;
        }
    }
    if (listener_ != nullptr) listener_->OnPreSessionStart();
    // All of it, also when a signal comes between.
    for (timespec left = kWakeUpTime; nanosleep(&left, &left) != 0 && errno == EINTR;) {
    }
    return ScopedAStatus::ok();
}

ScopedAStatus CccController::startSession(int32_t /*session_id*/, int64_t delay_ms, int32_t channel,
                                          int64_t* uwb_time0) {
    LOG(INFO) << __func__;
    if (delay_ms < 0) return BadArgument("Delay cannot be negative");
    if (ScopedAStatus status = CheckUwbChannelRange(channel); !status.isOk()) return status;
    if (is_abandoned_) return Closed();
    if (listener_ != nullptr) listener_->OnPreSessionStart();
    // Unsigned, so that a client's absurd delay wraps around instead of overflowing.
    const uint64_t start_ms =
        static_cast<uint64_t>(minimum_system_offset_uwbtime0_) + static_cast<uint64_t>(delay_ms);
    *uwb_time0 = static_cast<int64_t>(static_cast<uint64_t>(NowMilliseconds()) + start_ms);
    LOG(INFO) << __func__ << "UwbTime0 = " << *uwb_time0;  // Nothing between the two on purpose.
    CccRegionCallback* const previous = ccc_region_utils_->callback();
    ccc_region_utils_->SetCallback(this);
    if (!ccc_region_utils_->StartCccSession(hw_index_, start_ms * kNanosecondsPerMillisecond,
                                            static_cast<uint8_t>(channel))) {
        ccc_region_utils_->SetCallback(previous);
        ScopedAStatus status = Error(ErrorCode::FAILED, "Failed to start ccc session");
        NotifySessionChanged();
        return status;
    }
    // Only now: a stop that was read while the start was waited for is that of an older session.
    SetRunning(true);
    return ScopedAStatus::ok();
}

ScopedAStatus CccController::stopSession(int32_t /*session_id*/) {
    LOG(INFO) << __func__;
    if (is_abandoned_) return Closed();
    if (!ccc_region_utils_->StopCccSession(hw_index_)) {
        ScopedAStatus status = Error(ErrorCode::FAILED, "Failed to stop ccc session");
        NotifySessionChanged();
        return status;
    }
    return ScopedAStatus::ok();
}

ScopedAStatus CccController::deinitSession() {
    LOG(INFO) << __func__;
    // Abandon() has put deep sleep back already; it may be another client's business by now.
    if (is_abandoned_) return ScopedAStatus::ok();
    is_deep_sleep_off_ = false;
    if (!auto_sleep_margin_.empty() && !SendAutoSleepMargin(auto_sleep_margin_)) {
        LOG(WARNING) << __func__ << kEnableFailed;
    }
    return ScopedAStatus::ok();
}

ScopedAStatus CccController::getCapabilities(CccCapabilities* caps) {
    LOG(INFO) << __func__;
    if (!ccc_region_utils_->GetCapabilities(*caps)) {
        return Error(ErrorCode::FAILED, "Failed to query capabilities");
    }
    PhyInfo info;
    if (!ieee_utils_->GetPhyInfo(iface_name_.c_str(), &info)) {
        return Error(ErrorCode::FAILED, "Failed to get supported channels");
    }
    caps->supportedChannels = info.channels;
    return ScopedAStatus::ok();
}

ScopedAStatus CccController::setCallback(const std::shared_ptr<ICccControllerCallback>& callback) {
    LOG(INFO) << __func__;
    callback_ = callback;
    return ScopedAStatus::ok();
}

void CccController::OnSessionStopped(uint32_t hw_index, CccRegionCallback::Reason reason) {
    LOG(INFO) << __func__ << " hw_index: " << hw_index << " reason: " << static_cast<int>(reason);
    const std::shared_ptr<SharedRefBase> self = ref();  // A local client may let go of this object.
    SetRunning(false);
    const std::shared_ptr<ICccControllerCallback> callback = callback_;
    if (callback != nullptr &&
        !deliveries_.Note(callback->onSessionStopped(static_cast<int32_t>(reason)))) {
        LOG(WARNING) << __func__ << ": the client does not learn of the stop";
    }
    ccc_region_utils_->EndSession(hw_index_);
    NotifySessionChanged();
}

int CccController::SessionCount() const {
    return is_running_ ? 1 : 0;
}

void CccController::SetListener(ControllerListener* listener) {
    listener_ = listener;
}

bool CccController::ConsumeProperties(ConfigUtils& store) {
    for (auto entry = store.begin(); entry != store.end();) {
        const bool is_ccc = entry->first.find(kCccKeyMark) != std::string::npos;
        entry = is_ccc ? store.Erase(entry) : std::next(entry);
    }
    const std::string offset = store.ConsumeValue(kMinimumOffsetKey);
    long offset_ms = 0;
    if (!ConfigUtils::ToInt(offset, offset_ms)) return false;
    minimum_system_offset_uwbtime0_ = offset_ms;
    store.Erase(kMinimumOffsetKey);
    auto_sleep_margin_ = store.GetValue(kAutoSleepMarginKey);  // The driver wants it as well.
    return true;
}

void CccController::Abandon() {
    is_abandoned_ = true;
    callback_.reset();
    if (ccc_region_utils_ == nullptr) return;
    if (is_running_) {
        ccc_region_utils_->StopCccSession(hw_index_);
        ccc_region_utils_->EndSession(hw_index_);
    }
    ccc_region_utils_->ForgetCallback(this);
    is_running_ = false;
    // A country loaded since may have taken the margin away: then there is nothing to put back.
    if (is_deep_sleep_off_ && !auto_sleep_margin_.empty() &&
        !SendAutoSleepMargin(auto_sleep_margin_)) {
        LOG(WARNING) << __func__ << kEnableFailed;
    }
    is_deep_sleep_off_ = false;
}

void CccController::Dump(DumpWriter* writer) const {
    const auto ccc = writer->Section("ccc");
    writer->Value("has_callback", callback_ != nullptr);
    writer->Value("state", is_running_ ? "running" : "not running");
    writer->Age("state_age_s", changed_);
    writer->Value("deep_sleep_off", is_deep_sleep_off_);
}

void CccController::SetRunning(bool is_running) {
    is_running_ = is_running;
    changed_ = std::chrono::steady_clock::now();
}

bool CccController::SendAutoSleepMargin(const std::string& value) {
    ConfigUtils store;
    store.Set(kAutoSleepMarginKey, value);
    return mcps_utils_->ConsumeCalibration(hw_index_, store);
}

void CccController::NotifySessionChanged() {
    if (listener_ != nullptr) listener_->OnSessionChanged();
}

}  // namespace hardware::velta
