// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <aidl/hardware/velta/uwb/ISimpleRangingController.h>

#include <chrono>
#include <memory>
#include <string>
#include <vector>

#include "uwbctl/client/events.h"
#include "uwbctl/ranging/activity.h"

namespace uwbctl {

/** What simple ranging is asked for. */
struct SimpleRanging {
    bool is_responder = false;
    /** Addresses, as text. */
    std::vector<std::string> peers;
    std::string address = "0x0001";
    int pan_id = 0xCAFE;
    int channel = 9;
};

/** Simple ranging: a list of peers, without a session. */
class SimpleActivity : public Activity, public std::enable_shared_from_this<SimpleActivity> {
  public:
    using ISimpleRangingController = ::aidl::hardware::velta::uwb::ISimpleRangingController;

    /** @param listener borrowed. */
    SimpleActivity(std::shared_ptr<ISimpleRangingController> controller, std::string iface,
                   SimpleRanging ranging, ActivityListener* listener);

    void Start(Events* events) override;
    void Stop() override;
    void Tick() override;
    const std::optional<ActivityEnd>& end() const override { return end_; }
    std::vector<std::string> ifaces() const override { return {iface_}; }
    nlohmann::ordered_json Describe() const override;

  private:
    class Callback;

    void OnResult(const ::aidl::hardware::velta::uwb::RangingResult& result, int64_t time_ns);
    void End(Tone tone, const std::string& reason);

    std::shared_ptr<ISimpleRangingController> controller_;
    std::string iface_;
    SimpleRanging ranging_;
    ActivityListener* listener_;
    std::chrono::steady_clock::time_point latest_;
    int32_t rounds_ = 0;
    std::optional<ActivityEnd> end_;
};

}  // namespace uwbctl
