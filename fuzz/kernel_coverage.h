// SPDX-License-Identifier: Apache-2.0
#pragma once

namespace hardware::velta {

/**
 * Has the virtual radio count its blocks where libFuzzer looks for counters, so that it finds its
 * way in the kernel's code as in a program's. Ends the process when the module is not one for
 * fuzzing. What has run at all is written to $FUZZ_BLOCKS when the process ends, a byte a block.
 */
void MapKernelCoverage();

}  // namespace hardware::velta
