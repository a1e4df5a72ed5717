// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <netlink/msg.h>

#include <cstdint>

#include "net/base_region_utils.h"
#include "net/nl_attr.h"
#include "net/unique_nl_msg.h"

namespace hardware::velta {

/** A region call with parameters that is being written: the message, its envelope, its writer. */
class RegionCall {
  public:
    /** Writes the envelope; started() tells whether that worked, and region has logged why not. */
    RegionCall(const BaseRegionUtils& region, uint32_t hw_index, uint8_t call_id)
        : region_(region),
          put_(msg_.get()),
          started_(
              region.StartCallMessageWithParams(msg_.get(), hw_index, call_id, &call_, &params_)) {}
    RegionCall(const RegionCall&) = delete;
    RegionCall& operator=(const RegionCall&) = delete;

    bool started() const { return started_; }

    /** Writes the parameters. */
    AttrWriter& put() { return put_; }

    /** Closes the parameters and the call; the message is complete then. */
    bool End() { return region_.EndCallMessageWithParams(msg_.get(), call_, params_); }

    /** @return the message, still owned by this object. */
    nl_msg* msg() { return msg_.get(); }

  private:
    const BaseRegionUtils& region_;
    UniqueNlMsg msg_;
    AttrWriter put_;
    nlattr* call_ = nullptr;
    nlattr* params_ = nullptr;
    bool started_;
};

}  // namespace hardware::velta
