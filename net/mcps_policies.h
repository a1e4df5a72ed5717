// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "net/mcps802154.h"
#include "net/nl_attr.h"

namespace hardware::velta {

/** Top-level receive policies that the messages of the mcps802154 family share. */
inline constexpr auto kMcpsPolicies = MakePolicies<MCPS802154_ATTR_MAX>({
    {MCPS802154_ATTR_HW, NLA_U32},
    {MCPS802154_ATTR_SCHEDULER_REGION_CALL, NLA_NESTED},
    {MCPS802154_ATTR_CALIBRATIONS, NLA_NESTED},
    {MCPS802154_ATTR_RANGING_RESULT, NLA_NESTED},
});

}  // namespace hardware::velta
