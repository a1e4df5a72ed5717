// SPDX-License-Identifier: Apache-2.0

// NlSocket and NlMessageReader over a scripted stream: the input is a list of steps, each a
// request, a read, a watch or a datagram with whatever errors, senders, sequence numbers and parts.
#include <fuzzer/FuzzedDataProvider.h>
#include <linux/genetlink.h>
#include <netlink/genl/genl.h>

#include <memory>

#include "fuzz/scripted_netlink.h"
#include "net/nl_attr.h"
#include "net/nl_socket_factory.h"
#include "net/unique_nl_msg.h"

namespace hardware::velta {
namespace {

class Transport {
  public:
    explicit Transport(FuzzedDataProvider* input) : input_(*input) {
        // Nothing is answered but by the input.
        ScriptedNetlink::Get().Reset();
        ScriptedNetlink::Get().on_request = nullptr;
        mode_ = input_.ConsumeBool() ? NotificationMode::kEvent : NotificationMode::kPoll;
        Renew();
    }

    void Run() {
        constexpr int kMaxSteps = 64;
        for (int i = 0; i < kMaxSteps && input_.remaining_bytes() > 0; i++) Step();
    }

  private:
    void Step() {
        switch (input_.ConsumeIntegral<uint8_t>() % 12) {
            case 0:
            case 1:
            case 2:
                return Receive();
            case 3:
                return Request([this](nl_msg* msg) {
                    socket_->SendAndAwaitAck(msg, [this](nl_msg* data) { return Handle(data); });
                });
            case 4:
                return Request([this](nl_msg* msg) {
                    const int expected = input_.ConsumeIntegral<uint8_t>();
                    socket_->SendAndAwaitResponse(
                        msg, [this](nl_msg* data) { Handle(data); }, expected);
                });
            case 5:
                socket_->ReceiveMessage([this](nl_msg* data) { return Handle(data); });
                return;
            case 6:
                socket_->Resolve("mcps802154");
                return;
            case 7:
                socket_->WatchNetlinkSocket(socket_, [this](nl_msg* data) { return Handle(data); });
                return;
            case 8:
                return loop_.Pass();
            case 9:
                socket_->SetLostHandler([this] { Renew(); });
                return;
            case 10:
                return input_.ConsumeBool() ? socket_->DisableAutoAck()
                                            : socket_->DisableSeqCheck();
            default:
                if (input_.ConsumeBool()) socket_->Setup();
                socket_->StopWatchNetlinkSocket();
        }
    }

    void Receive() {
        enum : uint8_t { kAnswer = 1, kStranger = 2, kFailure = 4, kAck = 8, kTruncate = 16 };
        const auto flags = input_.ConsumeIntegral<uint8_t>();
        Datagram datagram;
        if ((flags & kAck) != 0) {
            datagram = Ack(input_.ConsumeIntegral<int8_t>());
        } else if ((flags & kFailure) != 0) {
            datagram.error = input_.ConsumeIntegralInRange<int>(1, 34);
        } else {
            datagram.bytes = input_.ConsumeBytes<uint8_t>(input_.ConsumeIntegral<uint8_t>());
        }
        if ((flags & kTruncate) != 0) datagram.bytes.resize(datagram.bytes.size() / 2);
        datagram.is_answer = (flags & kAnswer) != 0;
        datagram.sender = (flags & kStranger) != 0 ? 4242 : 0;
        ScriptedNetlink::Get().QueueForAll(datagram);
    }

    template <typename Send>
    void Request(const Send& send) {
        UniqueNlMsg msg;
        genlmsg_put(msg.get(), NL_AUTO_PORT, NL_AUTO_SEQ, kFamily, 0,
                    input_.ConsumeBool() ? NLM_F_DUMP : 0, 1, 0);
        const std::shared_ptr<NlSocket> held = socket_;  // As every user of a request does.
        send(msg.get());
    }

    int Handle(nl_msg* msg) {
        const std::optional<int> command = GenlCommand(msg);
        if (command == 99) Renew();  // A handler may drop the socket that calls it.
        constexpr int kResults[] = {NL_OK, NL_SKIP, NL_STOP};
        return kResults[command.value_or(0) % 3];
    }

    void Renew() {
        socket_ = NlSocketFactory(&loop_, mode_).Create();
        if (socket_ == nullptr) abort();
    }

    FuzzedDataProvider& input_;
    NotificationMode mode_;
    ManualLoop loop_;
    std::shared_ptr<NlSocket> socket_;
};

}  // namespace
}  // namespace hardware::velta

extern "C" int LLVMFuzzerInitialize(int* /*argc*/, char*** /*argv*/) {
    hardware::velta::SilenceLog();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    FuzzedDataProvider input(data, size);
    hardware::velta::Transport(&input).Run();
    return 0;
}
