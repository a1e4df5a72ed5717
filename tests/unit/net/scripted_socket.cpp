// SPDX-License-Identifier: Apache-2.0
#include "scripted_socket.h"

#include <gtest/gtest.h>

#include <utility>

namespace hardware::velta {

class ScriptedSocket : public NlSocket {
  public:
    ScriptedSocket(ScriptedKernel* kernel, int number)
        : NlSocket(nullptr), kernel_(kernel), number_(std::to_string(number)) {}
    ~ScriptedSocket() override { Call(" gone"); }

    bool Setup() override { return true; }
    void DisableAutoAck() override { Call(" no auto ack"); }
    int Resolve(const char* family) override {
        Call(std::string(" resolve ") + family);
        return kernel_->family;
    }
    bool SendAndAwaitAck(nl_msg* msg, std::function<int(nl_msg*)> on_valid) override {
        Call(" ack");
        const ScriptedKernel::Answer answer = Exchange(msg);
        for (const Bytes& message : answer.messages) {
            if (on_valid) on_valid(ToNlMsg(message).get());
        }
        return answer.ok;
    }
    bool SendAndAwaitResponse(nl_msg* msg, std::function<void(nl_msg*)> on_response,
                              int expected_cmd) override {
        Call(" response " + std::to_string(expected_cmd));
        const ScriptedKernel::Answer answer = Exchange(msg);
        bool finished = false;
        for (const Bytes& message : answer.messages) {
            // The first byte after the message's own header; there may be none.
            if (message.size() <= 16 || message[16] != expected_cmd) continue;
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

  private:
    void Call(const std::string& what) { kernel_->calls.push_back(number_ + what); }

    ScriptedKernel::Answer Exchange(nl_msg* msg) {
        const auto* raw = reinterpret_cast<const uint8_t*>(nlmsg_hdr(msg));
        kernel_->sent_bytes.emplace_back(raw, raw + nlmsg_hdr(msg)->nlmsg_len);
        kernel_->sent.push_back(Hex(kernel_->sent_bytes.back()));
        if (kernel_->answers.empty()) return {};
        ScriptedKernel::Answer answer = kernel_->answers.front();
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

void ScriptedKernel::Reply(const std::vector<Message>& messages) {
    Answer answer;
    for (const Message& message : messages) answer.messages.push_back(Encode(message));
    answers.push_back(answer);
}

bool ScriptedKernel::Notify(const Bytes& message) {
    const std::shared_ptr<NlSocket> socket = watched_.lock();
    if (socket == nullptr) return false;
    const auto handler = handler_;
    EXPECT_EQ(handler(ToNlMsg(message).get()), NL_STOP);
    return true;
}

void ExpectSent(const ScriptedKernel& kernel, const Message& message) {
    EXPECT_EQ(kernel.sent, std::vector<std::string>{Hex(Encode(message))});
}

}  // namespace hardware::velta
