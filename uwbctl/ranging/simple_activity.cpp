// SPDX-License-Identifier: Apache-2.0
#include "uwbctl/ranging/simple_activity.h"

#include <aidl/hardware/velta/uwb/BnSimpleRangingCallback.h>

#include <cmath>
#include <limits>
#include <utility>

#include "uwbctl/client/checks.h"
#include "uwbctl/client/client.h"
#include "uwbctl/client/text.h"

namespace uwbctl {
namespace {

using ::aidl::hardware::velta::uwb::RangingRequest;
using ::aidl::hardware::velta::uwb::UwbAddress;
using ::ndk::ScopedAStatus;
using std::chrono::steady_clock;

constexpr int32_t kNoValue = std::numeric_limits<int32_t>::min();
constexpr uint64_t kMaxShortAddress = 0xFFFF;

// What a radio says of no figure of merit counts as one that is there.
std::optional<Angle> ToAngle(float radians) {
    if (std::isnan(radians)) return std::nullopt;
    return Angle{.radians = radians, .figure_of_merit = 1};
}

std::string PeerText(uint64_t peer) {
    constexpr size_t kShort = 2;
    constexpr size_t kExtended = 8;
    UwbAddress address;
    const size_t size = peer <= kMaxShortAddress ? kShort : kExtended;
    for (size_t i = size; i-- > 0;) {
        address.address.push_back(static_cast<uint8_t>(peer >> (i * 8)));
    }
    return AddressText(address);
}

}  // namespace

std::vector<RangingRequest> RequestsOf(const SimpleRanging& ranging) {
    CheckAnyAddress(ranging.address);
    if (ranging.peers.empty()) throw Failure(kUsage, "range with whom? name at least one peer");
    return MakeRequests(ranging.peers, ranging.address, ranging.param);
}

bool SimpleActivity::HasValue(const RangingResult& result) {
    return result.value != kNoValue;
}

class SimpleActivity::Callback : public ::aidl::hardware::velta::uwb::BnSimpleRangingCallback {
  public:
    Callback(Events* events, std::weak_ptr<SimpleActivity> activity)
        : events_(events), activity_(std::move(activity)) {}

    ScopedAStatus onRangingResult(const RangingResult& result) override {
        // Results have no time of their own.
        const auto now = steady_clock::now().time_since_epoch();
        events_->Post([weak = activity_, result,
                       ns = std::chrono::duration_cast<std::chrono::nanoseconds>(now).count()] {
            if (const auto activity = weak.lock()) activity->OnResult(result, ns);
        });
        return ScopedAStatus::ok();
    }

  private:
    Events* events_;
    std::weak_ptr<SimpleActivity> activity_;
};

SimpleActivity::SimpleActivity(std::shared_ptr<ISimpleRangingController> controller,
                               std::string iface, SimpleRanging ranging, Heard heard)
    : controller_(std::move(controller)),
      iface_(std::move(iface)),
      ranging_(std::move(ranging)),
      heard_(std::move(heard)) {}

void SimpleActivity::Start(Events* events) {
    const std::vector<RangingRequest> requests = RequestsOf(ranging_);
    const UwbAddress address = CheckAnyAddress(ranging_.address);
    ranging_.peers.clear();
    for (const RangingRequest& request : requests) {
        ranging_.peers.push_back(PeerText(static_cast<uint64_t>(request.peer)));
    }
    Check(controller_->setCallback(ndk::SharedRefBase::make<Callback>(events, weak_from_this())),
          "set the callback");
    CheckStart(ranging_.is_responder
                   ? controller_->startResponderMode(ranging_.pan_id, address, ranging_.channel)
                   : controller_->startInitiatorMode(ranging_.pan_id, address, ranging_.channel),
               "start simple ranging", ranging_.channel);
    if (const ScopedAStatus status = controller_->setRangings(requests); !status.isOk()) {
        controller_->stop();
        Check(status, "set the ranging requests");
    }
    latest_ = steady_clock::now();
}

void SimpleActivity::Stop() {
    if (end_) return;
    Check(controller_->stop(), "stop simple ranging");
    End(Tone::kInfo, "stopped");
}

void SimpleActivity::Tick() {
    if (end_ || steady_clock::now() - latest_ < kPatience) return;
    controller_->stop();
    End(Tone::kError, "no result from the radio for five seconds");
}

void SimpleActivity::OnResult(const RangingResult& result, int64_t time_ns) {
    if (end_) return;
    latest_ = steady_clock::now();
    // Each round begins with the first request.
    if (result.id == 1) rounds_++;
    Measurement measurement;
    measurement.timestamp_ns = time_ns;
    measurement.block = rounds_;
    measurement.peer = PeerText(static_cast<uint64_t>(result.peer));
    if (!HasValue(result)) {
        measurement.status = -1;
    } else {
        measurement.distance_mm = result.value;
        measurement.azimuth = ToAngle(result.angle1);
        measurement.elevation = ToAngle(result.angle2);
    }
    heard_(result, measurement);
}

void SimpleActivity::End(Tone tone, const std::string& reason) {
    end_ = ActivityEnd{.tone = tone, .reason = reason};
}

nlohmann::ordered_json SimpleActivity::Describe() const {
    return {{"kind", "simple"},
            {"phase", "running"},
            {"peers", ranging_.peers},
            {"address", ranging_.address},
            {"channel", ranging_.channel},
            {"pan_id", ranging_.pan_id},
            {"role", ranging_.is_responder ? "responder" : "initiator"}};
}

}  // namespace uwbctl
