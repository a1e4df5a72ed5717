// SPDX-License-Identifier: Apache-2.0

// NlSocket and NlMessageReader over a scripted stream: the input is a course of steps, each a
// request, a read, a watch or a datagram with whatever errors, senders, sequence numbers and parts.
#include <linux/genetlink.h>
#include <netlink/genl/genl.h>

#include <memory>

#include "fuzz/scripted_netlink.h"
#include "fuzz/transport_steps.h"
#include "net/nl_attr.h"
#include "net/nl_socket_factory.h"
#include "net/unique_nl_msg.h"

namespace hardware::velta {
namespace {

class Transport {
  public:
    Transport() {
        // Nothing is answered but by the input.
        ScriptedNetlink::Get().Reset();
        ScriptedNetlink::Get().on_request = nullptr;
        Renew();
    }

    void Take(const Step& step) {
        // As all who use a socket do: what it hands on may make them drop it.
        const std::shared_ptr<NlSocket> held = socket_;
        const bool is_odd = step.argument % 2 != 0;
        const auto handle = [this](nl_msg* data) { return Handle(data); };
        switch (step.kind % kTransportSteps) {
            case kDatagram:
                return Receive(step);
            case kReadError:
                return ScriptedNetlink::Get().QueueForAll({.error = 1 + step.argument % 34});
            case kAwaitAck:
                return Request(is_odd, [&](nl_msg* msg) { socket_->SendAndAwaitAck(msg, handle); });
            case kAwaitResponse:
                return Request(is_odd, [&](nl_msg* msg) {
                    socket_->SendAndAwaitResponse(
                        msg, [this](nl_msg* data) { Handle(data); }, step.argument / 2);
                });
            case kReceive:
                socket_->ReceiveMessage(handle);
                return;
            case kResolve:
                socket_->Resolve("mcps802154");
                return;
            case kWatch:
                socket_->WatchNetlinkSocket(socket_, handle);
                return;
            case kPass:
                return loop_.Pass();
            case kSetLostHandler:
                return socket_->SetLostHandler([this] { Renew(); });
            case kDisableChecks:
                return is_odd ? socket_->DisableSeqCheck() : socket_->DisableAutoAck();
            case kStopWatch:
                socket_->StopWatchNetlinkSocket();
                return;
            case kSetup:
                socket_->Setup();
                return;
            default:
                factory_ = is_odd ? &by_event_ : &polled_;
                Renew();
        }
    }

  private:
    static void Receive(const Step& step) {
        Datagram datagram = {.bytes = step.bytes,
                             .sender = (step.argument & kIsStrange) != 0 ? 4242U : 0U,
                             .is_answer = (step.argument & kIsAnswer) != 0};
        if ((step.argument & kIsCut) != 0) datagram.bytes.resize(datagram.bytes.size() / 2);
        ScriptedNetlink::Get().QueueForAll(datagram);
    }

    template <typename Send>
    void Request(bool is_dump, const Send& send) {
        UniqueNlMsg msg;
        genlmsg_put(msg.get(), NL_AUTO_PORT, NL_AUTO_SEQ, kFamily, 0, is_dump ? NLM_F_DUMP : 0, 1,
                    0);
        send(msg.get());
    }

    int Handle(nl_msg* msg) {
        const std::optional<int> command = GenlCommand(msg);
        if (command == 99) Renew();  // A handler may drop the socket that calls it.
        constexpr int kResults[] = {NL_OK, NL_SKIP, NL_STOP};
        return kResults[command.value_or(0) % 3];
    }

    void Renew() {
        socket_ = factory_->Create();
        if (socket_ == nullptr) abort();
    }

    ManualLoop loop_;
    // They count what their sockets do, and outlive them.
    NlSocketFactory by_event_{&loop_, NotificationMode::kEvent};
    NlSocketFactory polled_{&loop_, NotificationMode::kPoll};
    NlSocketFactory* factory_ = &by_event_;
    std::shared_ptr<NlSocket> socket_;
};

}  // namespace
}  // namespace hardware::velta

extern "C" int LLVMFuzzerInitialize(int* /*argc*/, char*** /*argv*/) {
    hardware::velta::SilenceLog();
    return 0;
}

extern "C" size_t LLVMFuzzerCustomMutator(uint8_t* data, size_t size, size_t max_size,
                                          unsigned int seed) {
    using namespace hardware::velta;
    return MutateSteps(data, size, max_size, seed, TransportContents());
}

extern "C" size_t LLVMFuzzerCustomCrossOver(const uint8_t* data1, size_t size1,
                                            const uint8_t* data2, size_t size2, uint8_t* out,
                                            size_t max_size, unsigned int seed) {
    using namespace hardware::velta;
    return CrossSteps(data1, size1, data2, size2, out, max_size, seed, TransportContents());
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    using namespace hardware::velta;
    ChooseLog(data, size);
    constexpr size_t kMaxSteps = 64;
    Steps steps = ReadSteps(data, size);
    if (steps.size() > kMaxSteps) steps.resize(kMaxSteps);
    Transport transport;
    for (const Step& step : steps) transport.Take(step);
    return 0;
}
