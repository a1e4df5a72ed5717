// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <aidl/hardware/velta/uwb/ICccController.h>

#include <chrono>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "uwbctl/client/events.h"
#include "uwbctl/ranging/activity.h"

namespace uwbctl {

/** A CCC (digital key) session: it measures nothing that a client hears of. */
class CccActivity : public Activity, public std::enable_shared_from_this<CccActivity> {
  public:
    using ICccController = ::aidl::hardware::velta::uwb::ICccController;

    CccActivity(std::shared_ptr<ICccController> controller, std::string iface, int64_t delay_ms,
                int channel);

    /** @return UWB time 0, in milliseconds since the epoch, once it has started. */
    int64_t time0_ms() const { return time0_ms_; }
    /** @return the radio's reason for its end, nothing when it gave none. */
    const std::optional<int>& stop_reason() const { return stop_reason_; }

    void Start(Events* events) override;
    void Stop() override;
    void Tick() override;
    const std::optional<ActivityEnd>& end() const override { return end_; }
    std::vector<std::string> ifaces() const override { return {iface_}; }
    nlohmann::ordered_json Describe() const override;

  private:
    class Callback;

    void OnStopped(int reason);
    void End(Tone tone, const std::string& reason);

    std::shared_ptr<ICccController> controller_;
    std::string iface_;
    int64_t delay_ms_;
    int channel_;
    int64_t time0_ms_ = 0;
    std::chrono::steady_clock::time_point stop_time_;
    bool is_stopping_ = false;
    std::optional<int> stop_reason_;
    std::optional<ActivityEnd> end_;
};

}  // namespace uwbctl
