// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

#include "uwbctl/client/client.h"

namespace uwbctl {

/** Prints the interfaces and radios, one a line. */
ExitStatus ListIfaces(Events* events);

/** Prints what an interface can do; the first one for an empty name. */
ExitStatus ShowInfo(Events* events, const std::string& iface);

/** Loads the calibration for a country; empty when it is not known. */
ExitStatus ApplyCountry(Events* events, const std::string& country);

/** Waits until the service is registered. */
ExitStatus WaitForService(Events* events, const int& seconds);

}  // namespace uwbctl
