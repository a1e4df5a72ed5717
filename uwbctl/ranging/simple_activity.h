// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <aidl/hardware/velta/uwb/ISimpleRangingController.h>
#include <aidl/hardware/velta/uwb/RangingRequest.h>
#include <aidl/hardware/velta/uwb/RangingResult.h>

#include <chrono>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "uwbctl/client/events.h"
#include "uwbctl/ranging/activity.h"

namespace uwbctl {

/** What simple ranging is asked for. */
struct SimpleRanging {
    bool is_responder = false;
    /** Addresses, as text; requests are numbered from 1 in this order. */
    std::vector<std::string> peers;
    std::string address = "0x0001";
    int pan_id = 0xCAFE;
    int channel = 9;
    /** Second value of each request, which the driver interprets. */
    int param = 0;
};

/** @return what it asks the radio for; a Failure for what cannot be asked. */
std::vector<::aidl::hardware::velta::uwb::RangingRequest> RequestsOf(const SimpleRanging& ranging);

/** Simple ranging: a list of peers, without a session. */
class SimpleActivity : public Activity, public std::enable_shared_from_this<SimpleActivity> {
  public:
    using ISimpleRangingController = ::aidl::hardware::velta::uwb::ISimpleRangingController;
    using RangingResult = ::aidl::hardware::velta::uwb::RangingResult;
    /** Hears each result, and what it is as a measurement. */
    using Heard = std::function<void(const RangingResult&, const Measurement&)>;

    /** How long no result may come. */
    static constexpr std::chrono::milliseconds kPatience{5000};
    /** @return whether the peer has answered. */
    static bool HasValue(const RangingResult& result);

    SimpleActivity(std::shared_ptr<ISimpleRangingController> controller, std::string iface,
                   SimpleRanging ranging, Heard heard);

    void Start(Events* events) override;
    void Stop() override;
    void Tick() override;
    const std::optional<ActivityEnd>& end() const override { return end_; }
    std::vector<std::string> ifaces() const override { return {iface_}; }
    nlohmann::ordered_json Describe() const override;

  private:
    class Callback;

    void OnResult(const RangingResult& result, int64_t time_ns);
    void End(Tone tone, const std::string& reason);

    std::shared_ptr<ISimpleRangingController> controller_;
    std::string iface_;
    SimpleRanging ranging_;
    Heard heard_;
    std::chrono::steady_clock::time_point latest_;
    int32_t rounds_ = 0;
    std::optional<ActivityEnd> end_;
};

}  // namespace uwbctl
