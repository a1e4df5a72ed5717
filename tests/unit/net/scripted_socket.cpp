// SPDX-License-Identifier: Apache-2.0
#include "scripted_socket.h"

#include <cmath>
#include <ctime>
#include <utility>

namespace hardware::velta {

class ScriptedSocket : public NlSocket {
  public:
    ScriptedSocket(ScriptedKernel* kernel, int number)
        : NlSocket(nullptr), kernel_(kernel), number_(std::to_string(number)) {}
    ~ScriptedSocket() override { Call(" gone"); }

    void DisableAutoAck() override { Call(" no auto ack"); }
    int Resolve(const char* family) override {
        Call(std::string(" resolve ") + family);
        return kernel_->family;
    }
    bool SendAndAwaitAck(nl_msg* msg, std::function<int(nl_msg*)> on_valid) override {
        const ScriptedKernel::Answer answer = Exchange(msg, " ack");
        for (const Bytes& message : answer.messages) {
            if (on_valid) on_valid(ToNlMsg(message).get());
        }
        return answer.ok;
    }
    bool SendAndAwaitResponse(nl_msg* msg, std::function<void(nl_msg*)> on_response,
                              int expected_cmd) override {
        const ScriptedKernel::Answer answer =
            Exchange(msg, " response " + std::to_string(expected_cmd));
        bool finished = false;
        for (const Bytes& message : answer.messages) {
            // The first byte after the message's own header; there may be none.
            if (message.size() <= NLMSG_HDRLEN || message[NLMSG_HDRLEN] != expected_cmd) continue;
            finished = true;
            on_response(ToNlMsg(message).get());
        }
        return answer.ok && finished;
    }
    bool WatchNetlinkSocket(std::weak_ptr<NlSocket> self,
                            const std::function<int(nl_msg*)>& handler) override {
        Call(" watch");
        EXPECT_EQ(self.lock().get(), this);
        if (!kernel_->accept_watches) return false;
        kernel_->watched_ = self;
        kernel_->handler_ = handler;
        return true;
    }

    void SetLostHandler(std::function<void()> on_lost) override { kernel_->on_lost_ = on_lost; }

  private:
    void Call(const std::string& what) { kernel_->calls.push_back(number_ + what); }
    ScriptedKernel::Answer Exchange(nl_msg* msg, const std::string& what) {
        Call(what);
        const auto* raw = reinterpret_cast<const uint8_t*>(nlmsg_hdr(msg));
        kernel_->sent.emplace_back(raw, raw + nlmsg_hdr(msg)->nlmsg_len);
        if (kernel_->answers.empty()) return {};
        ScriptedKernel::Answer answer = std::move(kernel_->answers.front());
        kernel_->answers.pop_front();
        return answer;
    }

    ScriptedKernel* kernel_;
    std::string number_;
};

std::unique_ptr<NlSocket> ScriptedKernel::Create() {
    if (sockets_left-- <= 0) return nullptr;
    return std::make_unique<ScriptedSocket>(this, ++created_);
}

void ScriptedKernel::Reply(const Lines& texts) {
    Answer answer;
    for (const std::string& text : texts) answer.messages.push_back(Wire(text));
    answers.push_back(answer);
}

bool ScriptedKernel::Notify(const std::string& text) {
    const std::shared_ptr<NlSocket> socket = watched_.lock();
    if (socket == nullptr) return false;
    const auto handler = handler_;
    EXPECT_EQ(handler(ToNlMsg(Wire(text)).get()), NL_STOP);
    return true;
}

RadioTest::RadioTest() : mcps_(&kernel_), ieee_(&kernel_), fira_(&kernel_), ccc_(&kernel_) {
    EXPECT_TRUE(mcps_.Start() && ieee_.Setup());
    fira_.SetMcpsNetId(kFamily);
    fira_.SubscribeCallback(5, this);
    ccc_.SetMcpsNetId(kFamily);
    ccc_.SetCallback(this);
    mcps_.SubscribeRangingResults([this, alive = std::make_shared<bool>(true)](const auto& result) {
        events_.push_back("id " + std::to_string(result.id));
        events_.push_back("peer " + std::to_string(result.peer));
        events_.push_back("value " + std::to_string(result.value));
        events_.push_back("angle1 " + std::to_string(result.angle1));
        events_.push_back("angle2 " + std::to_string(result.angle2));
        on_event_();
        EXPECT_TRUE(*alive);  // Also when the event has ended the subscription.
    });
    kernel_.calls.clear();
}

void RadioTest::OnTwrResult(const FiraRangingData& data,
                            const std::vector<FiraTwrMeasurement>& measurements) {
    const auto note = [this](const std::string& name, double value, double unit = 1) {
        if (value == 0) return;
        EXPECT_NEAR(value / unit, std::round(value / unit), 1e-9) << name;
        events_.push_back(name + " " + std::to_string(std::llround(value / unit)));
    };
    timespec now = {};
    clock_gettime(CLOCK_MONOTONIC, &now);
    note("session", data.sessionId);
    note("block", data.blockIndex);
    for (const FiraTwrMeasurement& measurement : measurements) {
        events_.push_back("peer " + Hex(measurement.peerAddress.address));
        const int64_t age =
            now.tv_sec * int64_t{1000000000} + now.tv_nsec - measurement.timestampNs;
        const bool is_now = age >= 0 && age < 1000000000;
        events_.push_back(is_now ? "now" : "at " + std::to_string(measurement.timestampNs));
        note("status", measurement.status);
        note("distance", measurement.distance);
        if (measurement.lineOfSight != 255) note("sight", 1 + measurement.lineOfSight);
        note("azimuth", measurement.azimuth, M_PI / 32768);
        note("merit", measurement.azimuthFigureOfMerit, 1 / 255.0);
        note("elevation", measurement.elevation, M_PI / 65536);
        note("merit", measurement.elevationFigureOfMerit, 1 / 255.0);
        for (const auto& antenna : measurement.antennaMeasurements) {
            events_.push_back(toString(antenna.axis));
            note("aoa", antenna.angleOfArrival, M_PI / 32768);
            note("merit", antenna.figureOfMerit, 1 / 255.0);
            note("pdoa", antenna.phaseDifferenceOfArrival, M_PI / 32768);
        }
    }
    on_event_();
}

void RadioTest::OnNotificationsLost() {
    events_.push_back("lost");
    on_event_();
}

void RadioTest::OnSessionStopped(uint32_t session_id, int reason) {
    events_.push_back("stopped " + std::to_string(session_id) + " " + std::to_string(reason));
    on_event_();
}

void RadioTest::OnSessionStopped(uint32_t hw_index, Reason reason) {
    events_.push_back("ccc stopped " + std::to_string(hw_index) + " " + std::to_string(reason));
    on_event_();
}

void RadioTest::ExpectSent(const std::string& text) {
    ASSERT_EQ(kernel_.sent.size(), 1u) << text;
    EXPECT_EQ(Hex(kernel_.sent[0]), Hex(Wire(text))) << text;
    kernel_.sent.clear();
}

}  // namespace hardware::velta
