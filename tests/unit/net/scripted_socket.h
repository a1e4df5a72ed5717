// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <deque>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "net/nl_socket_factory.h"
#include "wire.h"

namespace hardware::velta {

/** A factory of sockets that record what is sent on them and answer from a script. */
class ScriptedKernel : public NlSocketFactory {
  public:
    /** What one request meets. */
    struct Answer {
        /** false is an error reply or silence. */
        bool ok = true;
        /** Data messages that come before it. */
        std::vector<Bytes> messages;
    };

    ScriptedKernel() : NlSocketFactory(nullptr) {}

    std::unique_ptr<NlSocket> Create() override;

    /** Answers the next request with these messages. */
    void Reply(const std::vector<Message>& messages);
    /** Refuses the next request, or does not answer it. */
    void Refuse() { answers.push_back({.ok = false}); }

    /** Plays a notification into the watched socket; false when none is watched. */
    bool Notify(const Bytes& message);
    bool Notify(const Message& message) { return Notify(Encode(message)); }

    /** Requests in hex, as they were handed over. */
    std::vector<std::string> sent;
    /** The same in bytes. */
    std::vector<Bytes> sent_bytes;
    /** What happened to sockets, such as "1 ack", "2 response 9", "2 gone". */
    std::vector<std::string> calls;
    /** One for each request; requests beyond succeed without data. */
    std::deque<Answer> answers;
    /** How often Create() still works. */
    int sockets_left = 100;
    /** Answer to Resolve(). */
    int family = kFamily;
    bool accept_watches = true;

  private:
    friend class ScriptedSocket;
    int created_ = 0;
    std::weak_ptr<NlSocket> watched_;
    std::function<int(nl_msg*)> handler_;
};

/** Expects exactly one request, equal to message. */
void ExpectSent(const ScriptedKernel& kernel, const Message& message);

}  // namespace hardware::velta
