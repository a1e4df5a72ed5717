// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <aidl/hardware/velta/uwb/BnCccControllerCallback.h>
#include <aidl/hardware/velta/uwb/BnFiraSessionCallback.h>
#include <aidl/hardware/velta/uwb/BnSimpleRangingCallback.h>
#include <gtest/gtest.h>

#include <chrono>
#include <condition_variable>
#include <deque>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "conformance/target.h"

namespace hardware::velta::conformance {

using namespace ::aidl::hardware::velta::uwb;
using namespace std::chrono_literals;
using ::ndk::ScopedAStatus;
using Milliseconds = std::chrono::milliseconds;
using Addresses = std::vector<UwbAddress>;

/** What a callback was told, in order. */
template <typename T>
class Inbox {
  public:
    ScopedAStatus Put(T item) {
        const std::lock_guard lock(mutex_);
        items_.push_back(std::move(item));
        arrived_.notify_all();
        return ScopedAStatus::ok();
    }
    /** @return the next one; fails the test when none comes. */
    T Take() {
        std::unique_lock lock(mutex_);
        arrived_.wait_for(lock, Milliseconds(TheTarget().patience_ms),
                          [this] { return !items_.empty(); });
        EXPECT_FALSE(items_.empty()) << "nothing came";
        if (items_.empty()) return {};
        T item = std::move(items_.front());
        items_.pop_front();
        return item;
    }
    bool Empty() {
        const std::lock_guard lock(mutex_);
        return items_.empty();
    }
    /** Forgets what has come; true when nothing comes for so long, but for stragglers. */
    bool GoesQuiet(Milliseconds duration) {
        std::unique_lock lock(mutex_);
        for (int i = 0; i < 3; i++) {
            items_.clear();
            if (!arrived_.wait_for(lock, duration, [this] { return !items_.empty(); })) return true;
        }
        return false;
    }

  private:
    std::mutex mutex_;
    std::condition_variable arrived_;
    std::deque<T> items_;
};

struct FiraReport {
    FiraRangingData data;
    std::vector<FiraTwrMeasurement> measurements;
};

/** Reports, and all else as text such as "stopped 42 0" or "added 42 1234,5678". */
struct FiraEvents : BnFiraSessionCallback {
    Inbox<FiraReport> reports;
    Inbox<std::string> events;

    ScopedAStatus onTwrResult(const FiraRangingData& data,
                              const std::vector<FiraTwrMeasurement>& measurements) override {
        return reports.Put({data, measurements});
    }
    ScopedAStatus Tell(const char* what, int id, const Addresses& who, const std::string& why);
    ScopedAStatus onControleesAdded(int id, const Addresses& who) override {
        return Tell("added", id, who, "");
    }
    ScopedAStatus onControleesAddFailed(int id, const Addresses& who, int reason) override {
        return Tell("add failed", id, who, " " + std::to_string(reason));
    }
    ScopedAStatus onControleesRemoved(int id, const Addresses& who) override {
        return Tell("removed", id, who, "");
    }
    ScopedAStatus onControleesRemoveFailed(int id, const Addresses& who, int reason) override {
        return Tell("remove failed", id, who, " " + std::to_string(reason));
    }
    ScopedAStatus onSessionStopped(int id, int reason) override {
        return Tell("stopped", id, {}, " " + std::to_string(reason));
    }
};

struct CccEvents : BnCccControllerCallback {
    Inbox<int> stops;
    ScopedAStatus onSessionStopped(int reason) override { return stops.Put(reason); }
};

struct SimpleEvents : BnSimpleRangingCallback {
    Inbox<RangingResult> results;
    ScopedAStatus onRangingResult(const RangingResult& it) override { return results.Put(it); }
};

}  // namespace hardware::velta::conformance
