// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <functional>

namespace hardware::velta {

/**
 * Runs body in a forked child that has user and network namespaces of its own, and with them the
 * rights to its own interfaces and netlink sockets. Fails when body's expectations do, and when the
 * machine gives no such namespaces.
 */
void RunInNetNamespace(const std::function<void()>& body);

}  // namespace hardware::velta
