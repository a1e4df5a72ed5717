// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <android-base/unique_fd.h>
#include <httplib.h>

#include <chrono>
#include <string>
#include <string_view>

#include "uwbctl/serve/raw_head.h"

namespace uwbctl {

/** The largest body of a request, in bytes: a scene. */
constexpr size_t kMaxBody = 128 << 10;

/**
 * A browser's connection as the web server reads and writes it. A request is taken in as it arrives
 * and read by the library once all of it is there, so that who sends slowly, or nothing, keeps no
 * thread; how large it is in all, how long it takes and how long a reader may take nothing is
 * bounded here.
 */
class Connection : public httplib::Stream {
  public:
    using Clock = std::chrono::steady_clock;

    explicit Connection(android::base::unique_fd socket);

    /**
     * Takes in what has arrived; waits for nothing.
     *
     * @return false when nothing more will come, or nothing came in time.
     */
    bool Receive();
    /** @return whether a request is there, or more than any request has. */
    bool HasRequest() const { return request_size_ > 0; }
    /** @return the head of the request that is there. */
    RawHead Head() const;
    /**
     * @return whether the other end is known to have left, so that no work need be done for it. One
     *         that has only said its last word may still listen: it is told to wait, and not to
     * have left unless that is refused.
     */
    bool HasLeft();
    /**
     * @return whether more was read of the request than there is: what it says of its size can be
     *         understood in two ways, so that nobody knows where the next one begins.
     */
    bool has_run_dry() const { return has_run_dry_; }
    /** Leaves what is left of the request that is there; the next one may follow it. */
    void EndRequest();
    /** Puts out what write() has kept back, as far as the other end takes it; waits for nothing. */
    bool Flush();
    /** Says that nothing more is read from it: it is to be closed once all is put out. */
    void StopReading() { is_read_ = false; }
    /** @return whether requests are read from it. */
    bool is_read() const { return is_read_; }
    /** @return whether the other end took nothing when it was last tried. */
    bool is_stuck() const { return is_stuck_; }
    /** @return whether something is kept back. */
    bool HasOutput() const { return !output_.empty(); }
    /** @return how many requests have ended. */
    int requests() const { return requests_; }
    /** @return until when what is missing of the next request, or of the taking, may come. */
    Clock::time_point deadline() const { return deadline_; }

    bool is_readable() const override { return read_ < request_size_; }
    /** @return whether the other end is there and takes something. */
    bool is_writable() const override;
    /** From the request that is there. */
    ssize_t read(char* data, size_t size) override;
    /** Keeps what the other end does not take, up to 64 KiB; waits where it is more. */
    ssize_t write(const char* data, size_t size) override;
    void get_remote_ip_and_port(std::string& /*ip*/, int& /*port*/) const override {}
    void get_local_ip_and_port(std::string& /*ip*/, int& /*port*/) const override {}
    socket_t socket() const override { return socket_.get(); }

  private:
    bool WaitUntilWritable(Clock::time_point deadline) const;
    bool WritePiece(std::string_view piece);
    ssize_t SendSome(const char* data, size_t size) const;
    void LookForRequest();

    android::base::unique_fd socket_;
    // The request, and what has come behind it.
    std::string buffer_;
    size_t searched_ = 0;
    size_t head_size_ = 0;
    size_t request_size_ = 0;
    size_t read_ = 0;
    bool has_run_dry_ = false;
    bool has_said_go_on_ = false;
    bool is_read_ = true;
    bool is_stuck_ = false;
    std::string output_;
    int requests_ = 0;
    Clock::time_point deadline_;
};

}  // namespace uwbctl
