// SPDX-License-Identifier: Apache-2.0
#include <android-base/logging.h>
#include <linux/genetlink.h>
#include <netlink/msg.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <cstring>

#include "bench/device/figures.h"
#include "bench/floors/plain_radio.h"
#include "looper/looper_backed_event_loop.h"
#include "net/nl_socket_factory.h"

namespace hardware::velta::bench {
namespace {

constexpr char kRequestGroup[] = "netlink request";

// The request by hand: one send, one receive, one look at the answer.
class RawSocket {
  public:
    explicit RawSocket(nl_msg* msg)
        : fd_(socket(AF_NETLINK, SOCK_RAW | SOCK_CLOEXEC, NETLINK_GENERIC)) {
        const auto* header = reinterpret_cast<const char*>(nlmsg_hdr(msg));
        request_.assign(header, header + nlmsg_hdr(msg)->nlmsg_len);
        const sockaddr_nl kernel = {
            .nl_family = AF_NETLINK, .nl_pad = 0, .nl_pid = 0, .nl_groups = 0};
        if (connect(fd_, reinterpret_cast<const sockaddr*>(&kernel), sizeof(kernel)) != 0) {
            throw Failure("netlink cannot be connected");
        }
    }
    ~RawSocket() { close(fd_); }
    RawSocket(const RawSocket&) = delete;
    RawSocket& operator=(const RawSocket&) = delete;

    bool Request() {
        auto* header = reinterpret_cast<nlmsghdr*>(request_.data());
        header->nlmsg_flags = NLM_F_REQUEST | NLM_F_ACK;
        header->nlmsg_seq++;
        std::array<char, 4096> answer = {};
        if (send(fd_, request_.data(), request_.size(), 0) < 0 ||
            recv(fd_, answer.data(), answer.size(), 0) < 0) {
            return false;
        }
        const auto* reply = reinterpret_cast<const nlmsghdr*>(answer.data());
        nlmsgerr error = {};
        memcpy(&error, answer.data() + NLMSG_HDRLEN, sizeof(error));
        return reply->nlmsg_type == NLMSG_ERROR && reply->nlmsg_seq == header->nlmsg_seq &&
               error.error == 0;
    }

  private:
    int fd_;
    std::vector<char> request_;
};

// Back to what a new message is, so that sending completes it again.
void Renew(nl_msg* msg) {
    nlmsg_hdr(msg)->nlmsg_seq = NL_AUTO_SEQ;
    nlmsg_hdr(msg)->nlmsg_pid = NL_AUTO_PORT;
    nlmsg_hdr(msg)->nlmsg_flags = 0;
}

template <typename Request>
double TimeOf(const Request& request) {
    const int64_t start_ns = NowNs();
    if (!request()) throw Failure("a netlink request was refused");
    return MicrosecondsSince(start_ns);
}

}  // namespace

void MeasureNetlink(const Plan& plan) {
    PlainRadio radio(0);
    radio.Deinit(kSession);
    LayOutTags(1);
    if (!radio.Init(NewSession(1, 50))) throw Failure("the session was refused");
    LooperBackedEventLoop loop;
    // As what ships reads: by event, which receives a message once, as the floors do.
    NlSocketFactory factory(&loop, NotificationMode::kEvent);
    const std::unique_ptr<NlSocket> ours = factory.Create();
    nl_msg* msg = radio.NewStrideRequest(kSession);
    RawSocket raw(msg);

    const auto by_ours = [&] {
        Renew(msg);
        return ours->SendAndAwaitAck(msg, {});
    };
    const auto by_libnl = [&] {
        Renew(msg);
        return nl_send_auto(radio.request_socket(), msg) >= 0 &&
               nl_wait_for_ack(radio.request_socket()) == 0;
    };
    const auto by_hand = [&] { return raw.Request(); };
    // Our class logs each acknowledgement, which is another figure's business.
    const android::base::ScopedLogSeverity no_log(android::base::WARNING);
    for (int round = 0; round < plan.rounds; round++) {
        std::vector<double> ours_us, libnl_us, hand_us;
        for (int i = 0; i < plan.Times(1000); i++) {
            ours_us.push_back(TimeOf(by_ours));
            libnl_us.push_back(TimeOf(by_libnl));
            hand_us.push_back(TimeOf(by_hand));
        }
        Emit({kRequestGroup, "NlSocket against libnl", "us", RatioAtMost(1.10)}, round,
             Median(ours_us), Median(libnl_us));
        Emit({kRequestGroup, "NlSocket against send and recv", "us"}, round, Median(ours_us),
             Median(hand_us));
        Emit({kRequestGroup, "libnl itself against send and recv", "us"}, round, Median(libnl_us),
             Median(hand_us));
    }
    nlmsg_free(msg);
    radio.Deinit(kSession);
}

}  // namespace hardware::velta::bench
