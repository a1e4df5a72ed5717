// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <vector>

namespace uwbctl {

/**
 * @return the names of this machine's IEEE 802.15.4 interfaces, sorted, whoever holds the hardware;
 *         empty where the kernel does not let a client see them.
 */
std::vector<std::string> Ieee802154Interfaces();

/** @return whether a network interface is up. */
bool IsInterfaceUp(const std::string& name);

}  // namespace uwbctl
