// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <chrono>
#include <string>
#include <vector>

namespace uwbctl {

/**
 * A text of parts, each under a title, for whoever looks for a fault elsewhere. A part that could
 * not be got is there with the reason in its place.
 */
class BugReport {
  public:
    /** What a part has come to: text, or why there is none. */
    struct Part {
        std::string text;
        std::string problem;
    };

    void Add(const std::string& title, const Part& part);

    const std::string& text() const { return text_; }

    /** @return "title: why" of each part that is missing. */
    const std::vector<std::string>& missing() const { return missing_; }

  private:
    std::string text_;
    std::vector<std::string> missing_;
};

/** @return text with lists of numbers in brackets, such as addresses and keys, made unreadable. */
std::string HideBytes(const std::string& text);

/** @return the last lines of text, at most so many. */
std::string LastLines(const std::string& text, size_t count);

/** The service's dump(); a service that hangs is not waited for longer than patience. */
BugReport::Part ServiceDump(std::chrono::milliseconds patience);

/** The service's log: that file, or for an empty name what the system keeps of it. */
BugReport::Part ServiceLog(const std::string& file);

/** How the service's process is: state, memory, privileges, what it waits in, its descriptors. */
BugReport::Part ServiceProcess();

/** The lines of the kernel's log that are about the radio, binder or the service. */
BugReport::Part KernelLog();

/** Modules, interfaces, generic netlink sockets and what they have dropped. */
BugReport::Part KernelState();

}  // namespace uwbctl
