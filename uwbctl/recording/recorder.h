// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>
#include <string>

#include "uwbctl/client/output.h"

namespace uwbctl {

/** @return an output to a new recording; throws a Failure that names the file. */
std::unique_ptr<Output> MakeRecorder(const std::string& path);

/** @return an output of the same lines to standard output. */
std::unique_ptr<Output> MakeJsonOutput();

}  // namespace uwbctl
