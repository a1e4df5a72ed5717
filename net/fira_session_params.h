// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <aidl/hardware/velta/uwb/FiraTwrSession.h>
#include <aidl/hardware/velta/uwb/UwbAddress.h>
#include <netlink/msg.h>

#include <vector>

#include "net/fira_region_utils.h"

namespace hardware::velta {

/**
 * Puts all parameters of a session (enum fira_session_param_attrs) into msg's open nest, in the
 * order in which the driver documents them.
 *
 * @return false, with a log line, when a value cannot be expressed or msg is full.
 */
bool PutFiraSessionParams(nl_msg* msg, const FiraRegionUtils::FiraTwrSession& session,
                          const FiraRegionUtils::HwConfig& hw);

/**
 * Puts a list of controlees into msg's open nest.
 *
 * @param sub_session_ids one for each controlee (a shorter list aborts the process), or null.
 */
bool PutControlees(nl_msg* msg, const std::vector<FiraRegionUtils::UwbAddress>& controlees,
                   const std::vector<int>* sub_session_ids);

}  // namespace hardware::velta
