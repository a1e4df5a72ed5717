// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <sys/types.h>

#include <chrono>
#include <cstdint>
#include <stdexcept>
#include <string>
#include <vector>

namespace hardware::velta::bench {

/** Why a figure could not be measured. */
struct Failure : std::runtime_error {
    using std::runtime_error::runtime_error;
};

/** @return CLOCK_MONOTONIC, which is the clock of reports, in nanoseconds. */
int64_t NowNs();
/** @return microseconds since an earlier NowNs(). */
double MicrosecondsSince(int64_t start_ns);

/** Where programs that are started here write; in memory. */
inline constexpr char kProcessLog[] = "/tmp/bench.log";

/** A program that runs until this is destroyed. */
class Process {
  public:
    /**
     * @param arguments program and arguments.
     * @param environment "NAME=VALUE" beside what this process has.
     */
    Process(const std::vector<std::string>& arguments, const std::vector<std::string>& environment);
    ~Process();
    Process(const Process&) = delete;
    Process& operator=(const Process&) = delete;

    pid_t pid() const { return pid_; }
    /** Ends it with a signal and waits until it is gone. */
    void Stop(int signal);

  private:
    pid_t pid_;
};

std::string ReadText(const std::string& path);
void WriteText(const std::string& path, const std::string& text);

/** @return nanoseconds that a process has had a CPU, all threads together. */
int64_t CpuTimeNs(pid_t pid);
/** @return proportional set size of a process, KiB. */
double PssKib(pid_t pid);
/** @return the largest receive buffer among a process's netlink sockets; 0 when it has none. */
int NetlinkReceiveBuffer(pid_t pid);

/** Writes lines to the virtual radio's file "world" or "faults". */
void TellRadio(const std::string& file, const std::string& lines);

}  // namespace hardware::velta::bench
