// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

#include "uwbctl/client/client.h"
#include "uwbctl/recording/recording.h"

namespace uwbctl {

/** @return a page with all there is to see in a recording: HTML that needs nothing from outside. */
std::string ReportPage(const Recording& recording);

/**
 * Writes the page of a recording to a file, or to standard output for "-". The file appears whole
 * or not at all, and is never the recording itself.
 *
 * @param wanted where to; empty for a file beside the recording, named as it with ".html".
 * @return kDone, or throws a Failure.
 */
ExitStatus WriteReport(const std::string& recording, const std::string& wanted);

}  // namespace uwbctl
