// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <aidl/hardware/velta/uwb/IUwb.h>

#include <string>

namespace uwbctl {

/** @return a country's code as the service wants it; throws a Failure for what is none. */
std::string CheckCountry(const std::string& typed);

/**
 * Has the service load the calibration of a country, and remembers that.
 *
 * @param code from CheckCountry().
 * @return what has been loaded, as far as the files can be seen; throws a Failure when refused.
 */
std::string ApplyCountry(::aidl::hardware::velta::uwb::IUwb* service, const std::string& code);

}  // namespace uwbctl
