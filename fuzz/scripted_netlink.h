// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <vector>

#include "looper/event_loop.h"
#include "tests/unit/net/wire.h"

namespace hardware::velta {

/** What one read of a netlink socket brings. */
struct Datagram {
    Bytes bytes;
    /** A libnl error (NLE_...) in place of the bytes; 0 for none. */
    int error = 0;
    /** Port of the sender, 0 for the kernel. */
    uint32_t sender = 0;
    /** Whether it answers the last request of the socket: takes its sequence number and port. */
    bool is_answer = true;
};

/** @return an acknowledgement, or an error reply for an error other than 0. */
Datagram Ack(int error = 0);

/** @return an answer of these messages; with more than one, or as a dump, in parts and with an end.
 */
Datagram Answer(const Lines& texts, bool is_dump = false);

/**
 * What is below libnl in this process, in place of the kernel: each request goes to on_request,
 * which queues answers; a read of an empty queue is a time-out. No socket is opened. Sleeping,
 * scheduling of threads and the numbers of interfaces are not the kernel's either.
 */
class ScriptedNetlink {
  public:
    /** The only one. */
    static ScriptedNetlink& Get();

    /** Forgets what is queued; requests are acknowledged. */
    void Reset();
    /** Queues a datagram for the socket of a request, or for every socket that is there. */
    void Queue(nl_sock* socket, Datagram datagram);
    void QueueForAll(const Datagram& datagram);

    /** Called with each request: its socket, and the bytes from the netlink header on. */
    std::function<void(nl_sock*, const Bytes&)> on_request;

    // For the functions that libnl and the linker call.
    void Add(nl_sock* socket);
    void Remove(nl_sock* socket);
    int NumberOf(const nl_sock* socket) const;
    int Send(nl_sock* socket, nl_msg* msg);
    int Receive(nl_sock* socket, sockaddr_nl* address, unsigned char** buffer);
    /** As recvmsg(), for a socket's number. */
    ssize_t Receive(int number, msghdr* datagram);

  private:
    struct Socket {
        std::vector<Datagram> waiting;
        uint32_t sequence = 0;
        uint32_t port = 0;
        int number = -1;
    };
    int next_number_ = 0;
    std::map<nl_sock*, Socket> sockets_;
};

/** An event loop whose passes are run by hand. */
class ManualLoop : public EventLoop {
  public:
    void PostTask(const std::function<void()>& task) override { tasks_.push_back(task); }
    bool WatchFileDescriptor(int fd, ReadyMode mode,
                             const std::function<void(int)>& on_ready) override;
    bool StopWatchFileDescriptor(int fd) override { return watches_.erase(fd) > 0; }

    /** Calls every watch once, then the tasks that were posted before. */
    void Pass();
    /** Ends what is pending. */
    void Clear();

  private:
    std::map<int, std::function<void(int)>> watches_;
    std::vector<std::function<void()>> tasks_;
};

/** Keeps the log's lines, which are still made, from being written; unless $FUZZ_LOG is there. */
void SilenceLog();
/**
 * Has lines of the log made for this input, or not: with $FUZZ_LOG_ONE_IN for one input of so many,
 * chosen by its bytes, so that it is the same each time. Half of what an input costs is text that
 * nobody reads.
 */
void ChooseLog(const uint8_t* data, size_t size);

}  // namespace hardware::velta
