// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <optional>
#include <string>

namespace uwbctl {

/**
 * Finds out who has given the service a callback.
 *
 * @param binder_state the kernel's list of all binder processes and nodes.
 * @param own_pid this process, which knows no other service but the UWB service.
 * @return the process, or nothing when there is none or it cannot be told.
 */
std::optional<int> FindHolder(const std::string& binder_state, int own_pid);

/**
 * @return who holds the hardware, such as "uwbctl fira range (pid 12)"; empty when that cannot be
 *         known, as for all but root.
 */
std::string HolderText();

/** Tells on standard error that another client holds the hardware, and which one. */
void TellHolder();

}  // namespace uwbctl
