// SPDX-License-Identifier: Apache-2.0
#include "soak/listener.h"

namespace hardware::velta::soak {

using ::aidl::hardware::velta::uwb::FiraRangingData;
using ::aidl::hardware::velta::uwb::FiraTwrMeasurement;

Listener::Status Listener::onTwrResult(const FiraRangingData& /*data*/,
                                       const std::vector<FiraTwrMeasurement>& /*measurements*/) {
    const std::lock_guard lock(mutex_);
    reports_++;
    changed_.notify_all();
    return Status::ok();
}

Listener::Status Listener::onSessionStopped(int32_t /*id*/, int32_t reason) {
    const std::lock_guard lock(mutex_);
    stops_.push_back(reason);
    changed_.notify_all();
    return Status::ok();
}

uint64_t Listener::reports() {
    const std::lock_guard lock(mutex_);
    return reports_;
}

bool Listener::WaitForReports(uint64_t count, std::chrono::milliseconds patience) {
    std::unique_lock lock(mutex_);
    while (reports_ < count) {
        const uint64_t before = reports_;
        if (!changed_.wait_for(lock, patience, [&] { return reports_ > before; })) return false;
    }
    return true;
}

std::optional<int> Listener::TakeStop(std::chrono::milliseconds time) {
    std::unique_lock lock(mutex_);
    if (!changed_.wait_for(lock, time, [this] { return !stops_.empty(); })) return {};
    const int reason = stops_.front();
    stops_.pop_front();
    return reason;
}

}  // namespace hardware::velta::soak
