// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

namespace uwbctl {

/**
 * @param path "-" for standard input.
 * @param what it is, for the error: "session file ", with a space; empty for nothing.
 * @return all of a file that a user names; throws a Failure for one that cannot be read, or that is
 *         larger than anything somebody has written, as a device is.
 */
std::string ReadTextFile(const std::string& path, const std::string& what = "");

}  // namespace uwbctl
