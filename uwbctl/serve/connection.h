// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <httplib.h>

#include <array>
#include <chrono>
#include <string>

namespace uwbctl {

/**
 * A browser's connection as the web server reads and writes it, which bounds what the library does
 * not: how large a request is in all, how long it takes to arrive, and how long a reader that takes
 * nothing keeps a thread.
 */
class Connection : public httplib::Stream {
  public:
    /** @param socket borrowed. */
    explicit Connection(int socket) : socket_(socket) {}

    /**
     * Waits for the next request and gives it its share of bytes and time.
     *
     * @return false when none came, or the other end has gone.
     */
    bool AwaitRequest(std::chrono::milliseconds patience);

    bool is_readable() const override;
    /** @return whether the other end is there and takes something. */
    bool is_writable() const override;
    ssize_t read(char* data, size_t size) override;
    ssize_t write(const char* data, size_t size) override;
    void get_remote_ip_and_port(std::string& /*ip*/, int& /*port*/) const override {}
    void get_local_ip_and_port(std::string& /*ip*/, int& /*port*/) const override {}
    socket_t socket() const override { return socket_; }

  private:
    using Clock = std::chrono::steady_clock;

    bool WaitUntil(short what, Clock::time_point deadline) const;

    int socket_;
    std::array<char, 4096> buffer_ = {};
    size_t buffer_start_ = 0;
    size_t buffer_end_ = 0;
    size_t bytes_left_ = 0;
    Clock::time_point deadline_;
};

}  // namespace uwbctl
