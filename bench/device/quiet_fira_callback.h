// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <aidl/hardware/velta/uwb/BnFiraSessionCallback.h>

#include <vector>

namespace hardware::velta::bench {

/** A FiRa client's callback that takes changes of controlees and does nothing about them. */
class QuietFiraCallback : public ::aidl::hardware::velta::uwb::BnFiraSessionCallback {
  public:
    using Addresses = std::vector<::aidl::hardware::velta::uwb::UwbAddress>;
    using Status = ::ndk::ScopedAStatus;

    Status onControleesAdded(int32_t, const Addresses&) override { return Status::ok(); }
    Status onControleesAddFailed(int32_t, const Addresses&, int32_t) override {
        return Status::ok();
    }
    Status onControleesRemoved(int32_t, const Addresses&) override { return Status::ok(); }
    Status onControleesRemoveFailed(int32_t, const Addresses&, int32_t) override {
        return Status::ok();
    }
};

}  // namespace hardware::velta::bench
