// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdio>
#include <string>

namespace hardware::velta::conformance {

/**
 * Another process of this program that is a client: it takes the steps to "open",
 * "fira-initialised", "fira-running", "fira-stopping", "ccc-initialised", "ccc-running" or
 * "simple-running" and stays there until it is killed; or "callbacks", after which it keeps setting
 * new ones. "close" closes what others hold; "flood" calls without end from several threads, and
 * "flood-stranger" does so as another user.
 */
class ClientProcess {
  public:
    explicit ClientProcess(const std::string& step);
    ~ClientProcess();
    ClientProcess(const ClientProcess&) = delete;
    ClientProcess& operator=(const ClientProcess&) = delete;
    int pid() const { return pid_; }
    /** What it was told last. */
    std::string said;

  private:
    FILE* output_;
    int pid_ = 0;
};

/** The other side of ClientProcess: what a program does that was started with --client=step. */
[[noreturn]] void RunClient(const std::string& step);

}  // namespace hardware::velta::conformance
