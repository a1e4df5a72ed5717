// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <netlink/netlink.h>

#include <functional>
#include <memory>

#include "looper/event_loop.h"
#include "net/counters.h"
#include "net/nl_message_reader.h"

namespace hardware::velta {

/** How a watched socket is read; the integrator chooses. */
enum class NotificationMode {
    /**
     * Polled: every pass of the loop reads it once and waits up to a second for something to come.
     * Whatever else the loop serves waits as long.
     */
    kPoll,
    /** When there is something to read, without ever waiting; with a buffer for many reports. */
    kEvent,
};

/**
 * One generic netlink socket. Exchanges block the calling thread, at most one second for each read
 * and some five for all of them, whatever else keeps arriving. Only the kernel is listened to.
 *
 * Messages stay the caller's. Failures are logged and reported as false; the kernel's errno is in
 * the log only. All but Setup(), IsValid() and the watch operations need a successful Setup().
 */
class NlSocket {
  public:
    /**
     * @param event_loop borrowed, may be null; used by the watch operations only.
     * @param counters borrowed, null for nobody's.
     */
    explicit NlSocket(EventLoop* event_loop, NotificationMode mode = NotificationMode::kPoll,
                      RequestCounters* counters = nullptr);
    virtual ~NlSocket();
    NlSocket(const NlSocket&) = delete;
    NlSocket& operator=(const NlSocket&) = delete;

    /** Creates and connects the socket, replacing one from an earlier call. */
    virtual bool Setup();

    /** @return whether Setup() has succeeded. */
    virtual bool IsValid();

    /** Stops asking for acknowledgements and, with them, checking sequence numbers. */
    virtual void DisableAutoAck();

    /**
     * Stops libnl's own reads from checking sequence numbers; those of this class stop with
     * DisableAutoAck().
     */
    virtual void DisableSeqCheck();

    /** @return the numeric id of a generic netlink family, or a negative libnl error. */
    virtual int Resolve(const char* family);

    /**
     * Reads once and hands each data message to handler.
     *
     * @param handler returns NL_OK, NL_SKIP or NL_STOP.
     */
    virtual bool ReceiveMessage(std::function<int(nl_msg*)> handler);

    /**
     * Sends msg and reads until the kernel acknowledges or refuses it.
     *
     * @param on_valid called with data messages that arrive meanwhile; may be empty.
     * @return whether the acknowledgement came.
     */
    virtual bool SendAndAwaitAck(nl_msg* msg, std::function<int(nl_msg*)> on_valid);

    /**
     * Sends msg and reads until a reply with command expected_cmd has come. For a dump, on_response
     * is called with every part.
     *
     * @return whether such a reply came.
     */
    virtual bool SendAndAwaitResponse(nl_msg* msg, std::function<void(nl_msg*)> on_response,
                                      int expected_cmd);

    /**
     * Has the event loop read this socket and hand notifications to handler.
     *
     * @param self this socket; it may be destroyed while watched, which ends the watch.
     * @return false when self is gone or the socket is watched already.
     */
    virtual bool WatchNetlinkSocket(std::weak_ptr<NlSocket> self,
                                    const std::function<int(nl_msg*)>& handler);

    /** @return false when the socket is not watched. */
    virtual bool StopWatchNetlinkSocket();

    /**
     * Has on_lost called, in a task of its own, once messages of the watched socket are lost: more
     * came than its buffer holds, or it cannot be read any more. Once, until it is set again.
     */
    virtual void SetLostHandler(std::function<void()> on_lost);

  private:
    // Reads once, within the time of the exchange; a negative libnl error when that is over.
    int ReadReply();
    // Reads once, whatever comes first of a message, an error and the receive time-out.
    int Read();
    // Reads a notification, without waiting for one.
    void ReceiveWaiting(const std::function<int(nl_msg*)>& handler);
    // Makes the socket one that is read by event.
    void PrepareForEvents();
    // Counts what came of an exchange; error is the kernel's refusal, 0 for none.
    bool CountOutcome(bool is_done, int error);
    // Tells the handler, if messages are lost by what a read has come to.
    void CheckLost(int result);

    /** @return the socket's descriptor, -1 when there is none. */
    int GetFd() const;

    EventLoop* event_loop_;
    nl_sock* socket_;
    bool watching_;
    std::unique_ptr<NlMessageReader> reader_;
    NotificationMode mode_;
    RequestCounters own_counters_;  // Unless somebody else wants them.
    RequestCounters* counters_;
    bool is_nonblocking_ = false;
    std::weak_ptr<NlSocket> self_;  // While it is watched.
    std::function<void()> on_lost_;
};

}  // namespace hardware::velta
