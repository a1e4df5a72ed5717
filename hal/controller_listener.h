// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "net/mcps_utils.h"

namespace hardware::velta {

/** Learns from the controllers of an interface what their sessions are about to need. */
class ControllerListener {
  public:
    /** A session of region is about to be created in the kernel. */
    virtual void OnPreSessionOpen(const McpsRegion& region) = 0;

    /** A session is about to start ranging. */
    virtual void OnPreSessionStart() = 0;

    /** A session was started, stopped or removed: the counts may have changed. */
    virtual void OnSessionChanged() = 0;

    virtual ~ControllerListener() = default;
};

}  // namespace hardware::velta
