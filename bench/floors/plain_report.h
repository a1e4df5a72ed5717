// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <aidl/hardware/velta/uwb/FiraRangingData.h>
#include <aidl/hardware/velta/uwb/FiraTwrMeasurement.h>
#include <linux/netlink.h>

#include <vector>

namespace hardware::velta::bench {

/**
 * Converts a ranging report by one walk over its bytes: what a session that asks for azimuth gets
 * from the virtual radio, and nothing else. No policies, no log.
 */
void ReadPlainReport(const nlmsghdr* message, ::aidl::hardware::velta::uwb::FiraRangingData* data,
                     std::vector<::aidl::hardware::velta::uwb::FiraTwrMeasurement>* measurements);

}  // namespace hardware::velta::bench
