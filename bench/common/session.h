// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <aidl/hardware/velta/uwb/FiraTwrSession.h>

namespace hardware::velta::bench {

/** Session number of every measurement. */
inline constexpr int kSession = 42;
/** Short address of the first peer; the others follow it. */
inline constexpr int kFirstPeer = 0x1001;

/** @return milliseconds of the shortest block that has room for so many peers. */
int ShortestBlockMs(int peers);

/** @return a controller's session with that many peers and blocks of that many milliseconds. */
::aidl::hardware::velta::uwb::FiraTwrSession NewSession(int peers, int block_ms);

}  // namespace hardware::velta::bench
