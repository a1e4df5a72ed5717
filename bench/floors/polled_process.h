// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <android/binder_auto_utils.h>

#include <functional>
#include <string>

namespace hardware::velta::bench {

/** Instance that a floor registers: the FiRa controller interface under the floor's own name. */
std::string FloorInstance(const std::string& name);

/**
 * Runs a binder service the barest way that one thread can: polled, with one poll(2) over binder
 * and at most one more descriptor. Does not return.
 *
 * @param other_fd asked before each wait; -1 when there is nothing to wait for but binder.
 * @param on_other called when other_fd is readable.
 */
[[noreturn]] void RunPolled(const ndk::SpAIBinder& binder, const std::string& instance,
                            const std::function<int()>& other_fd,
                            const std::function<void()>& on_other);

}  // namespace hardware::velta::bench
