// SPDX-License-Identifier: Apache-2.0

// Floor of FiRa sessions and reports: the calls of the FiRa controller straight to plain libnl, and
// a relay that turns each netlink report into one oneway binder call without converting it.
//   uwb_fira_floor NAME RECEIVE_BUFFER     radio 0; RECEIVE_BUFFER 0 leaves the socket's own
//   uwb_fira_floor NAME convert            the relay converts each report, by hand
//   uwb_fira_floor NAME alike              calls take the sockets, checks and log lines of the
//   service
#define LOG_TAG "velta.uwb.Floor"

#include <android-base/logging.h>
#include <netlink/attr.h>
#include <netlink/genl/genl.h>
#include <netlink/msg.h>
#include <sys/socket.h>

#include <array>
#include <cstdlib>
#include <cstring>

#include "bench/floors/floor_controller.h"
#include "bench/floors/plain_radio.h"
#include "bench/floors/plain_report.h"
#include "bench/floors/polled_process.h"
#include "host/stderr_logger.h"
#include "net/mcps802154.h"

namespace hardware::velta::bench {
namespace {

using namespace ::aidl::hardware::velta::uwb;

class FiraFloor : public FloorController {
  public:
    FiraFloor(int receive_buffer, bool converts, Manner manner)
        : radio_(0, manner),
          manner_(manner),
          receive_buffer_(receive_buffer),
          converts_(converts) {}

    int report_fd() const { return radio_.report_fd(); }
    void OnReport();

    Status setSessionCallback(const std::shared_ptr<IFiraSessionCallback>& callback) override {
        callback_ = callback;
        return Status::ok();
    }
    Status initNewTwrSession(const FiraTwrSession& session) override;
    Status startRangingSession(int32_t id) override {
        radio_.Say({__func__});
        return Answer(radio_.Start(id, receive_buffer_));
    }
    Status stopRangingSession(int32_t id) override {
        radio_.Say({__func__});
        return Answer(radio_.Stop(id));
    }
    Status deinitSession(int32_t id) override {
        radio_.Say({__func__});
        return Answer(radio_.Deinit(id));
    }
    Status reset() override {
        // Closing the starter's socket stops what runs.
        return Answer(radio_.Stopped() && (id_ == 0 || radio_.Deinit(id_)));
    }

  private:
    static Status Answer(bool ok) { return ok ? Status::ok() : Unsupported(); }

    PlainRadio radio_;
    Manner manner_;
    int receive_buffer_;
    bool converts_;
    int32_t id_ = 0;
    std::shared_ptr<IFiraSessionCallback> callback_;
    // The record of every report: what changes is patched in.
    FiraRangingData data_;
    std::vector<FiraTwrMeasurement> measurements_;
    std::array<char, 32768> buffer_ = {};
};

FloorController::Status FiraFloor::initNewTwrSession(const FiraTwrSession& session) {
    if (manner_ == Manner::kAlike) LOG(INFO) << __func__ << ":" << session.toString();
    id_ = data_.sessionId = session.id;
    measurements_.clear();
    for (const UwbAddress& address : session.destAddressList) {
        FiraTwrMeasurement measurement;
        measurement.peerAddress = address;
        measurement.distance = 3000;
        measurement.antennaMeasurements.resize(1);
        measurements_.push_back(measurement);
    }
    return Answer(radio_.Init(session));
}

void FiraFloor::OnReport() {
    const ssize_t size = recv(report_fd(), buffer_.data(), buffer_.size(), 0);
    auto* header = reinterpret_cast<nlmsghdr*>(buffer_.data());
    if (size <= 0 || header->nlmsg_type < NLMSG_MIN_TYPE) return;
    const auto in = [](nlattr* nest, int type) {
        return nla_find(static_cast<nlattr*>(nla_data(nest)), nla_len(nest), type);
    };
    nlattr* call = nlmsg_find_attr(header, GENL_HDRLEN, MCPS802154_ATTR_SCHEDULER_REGION_CALL);
    nlattr* report = in(in(call, MCPS802154_REGION_CALL_ATTR_PARAMS), FIRA_CALL_ATTR_RANGING_DATA);
    if (nlattr* reason = in(report, FIRA_RANGING_DATA_ATTR_STOPPED); reason != nullptr) {
        callback_->onSessionStopped(data_.sessionId, nla_get_u8(reason));
        radio_.Stopped();
        return;
    }
    if (converts_) {
        std::vector<FiraTwrMeasurement> measurements;
        ReadPlainReport(header, &data_, &measurements);
        callback_->onTwrResult(data_, measurements);
        return;
    }
    int64_t timestamp = 0;
    memcpy(&timestamp, nla_data(in(report, FIRA_RANGING_DATA_ATTR_TIMESTAMP_NS)),
           sizeof(timestamp));
    data_.blockIndex =
        static_cast<int32_t>(nla_get_u32(in(report, FIRA_RANGING_DATA_ATTR_BLOCK_INDEX)));
    for (FiraTwrMeasurement& measurement : measurements_) measurement.timestampNs = timestamp;
    callback_->onTwrResult(data_, measurements_);
}

}  // namespace
}  // namespace hardware::velta::bench

int main(int argc, char** argv) {
    using namespace hardware::velta::bench;
    if (argc != 3) return 2;
    const bool converts = strcmp(argv[2], "convert") == 0;
    const Manner manner = strcmp(argv[2], "alike") == 0 ? Manner::kAlike : Manner::kBare;
    android::base::SetLogger(hardware::velta::LogToStderr);
    // What is no number leaves the buffer as it is.
    const auto receive_buffer = static_cast<int>(strtol(argv[2], nullptr, 10));
    const auto floor = ndk::SharedRefBase::make<FiraFloor>(receive_buffer, converts, manner);
    RunPolled(
        floor->asBinder(), FloorInstance(argv[1]), [&] { return floor->report_fd(); },
        [&] { floor->OnReport(); });
}
