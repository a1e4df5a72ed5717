// SPDX-License-Identifier: Apache-2.0

// A FiRa session's parameters into a netlink message.
#include <netlink/msg.h>

#include "bench/common/session.h"
#include "bench/floors/plain_radio.h"
#include "bench/host/task.h"
#include "net/fira_session_params.h"

namespace hardware::velta::bench {
namespace {

class Encode : public Task {
  public:
    ~Encode() override { nlmsg_free(msg_); }
    void Prepare() override {
        if (msg_ != nullptr) nlmsg_free(msg_);
        msg_ = nlmsg_alloc();
        nlmsg_put(msg_, 0, 0, 0, 0, 0);
    }
    std::string Result() override {
        const auto* header = reinterpret_cast<const char*>(nlmsg_hdr(msg_));
        return {header, nlmsg_hdr(msg_)->nlmsg_len};
    }

  protected:
    const ::aidl::hardware::velta::uwb::FiraTwrSession session_ = NewSession(1, 50);
    nl_msg* msg_ = nullptr;
};

class OurEncode : public Encode {
    void Run() override { PutFiraSessionParams(msg_, session_, {}); }
};

class PlainEncode : public Encode {
    void Run() override { PutPlainSessionParams(msg_, session_); }
};

}  // namespace

std::unique_ptr<Task> NewEncode(int /*size*/) {
    return std::make_unique<OurEncode>();
}

std::unique_ptr<Task> NewPlainEncode(int /*size*/) {
    return std::make_unique<PlainEncode>();
}

}  // namespace hardware::velta::bench
