// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <aidl/hardware/velta/uwb/BnFiraController.h>

#include <memory>
#include <optional>
#include <vector>

namespace hardware::velta::bench {

/** The FiRa controller interface with nothing behind it: floors override what they answer. */
class FloorController : public ::aidl::hardware::velta::uwb::BnFiraController {
  public:
    using FiraTwrSession = ::aidl::hardware::velta::uwb::FiraTwrSession;
    using IFiraSessionCallback = ::aidl::hardware::velta::uwb::IFiraSessionCallback;
    using Status = ::ndk::ScopedAStatus;

    Status setSessionCallback(const std::shared_ptr<IFiraSessionCallback>& /*callback*/) override {
        return Unsupported();
    }
    Status clearSessionCallback() override { return Unsupported(); }
    Status getCapabilities(
        ::aidl::hardware::velta::uwb::FiraCapabilities* /*capabilities*/) override {
        return Unsupported();
    }
    Status initNewTwrSession(const FiraTwrSession& /*session*/) override { return Unsupported(); }
    Status updateTwrSession(const FiraTwrSession& /*session*/) override { return Unsupported(); }
    Status startRangingSession(int32_t /*id*/) override { return Unsupported(); }
    Status updateTwoWayRangingBlockStriding(int32_t /*id*/, int32_t /*stride*/) override {
        return Unsupported();
    }
    Status addControlees(int32_t /*id*/,
                         const std::vector<::aidl::hardware::velta::uwb::UwbAddress>& /*who*/,
                         const std::optional<std::vector<int32_t>>& /*sub_sessions*/) override {
        return Unsupported();
    }
    Status removeControlees(
        int32_t /*id*/,
        const std::vector<::aidl::hardware::velta::uwb::UwbAddress>& /*who*/) override {
        return Unsupported();
    }
    Status stopRangingSession(int32_t /*id*/) override { return Unsupported(); }
    Status getSessionCount(int32_t* count) override {
        *count = 0;
        return Status::ok();
    }
    Status deinitSession(int32_t /*id*/) override { return Unsupported(); }
    Status reset() override { return Unsupported(); }

  protected:
    static Status Unsupported() { return Status::fromExceptionCode(EX_UNSUPPORTED_OPERATION); }
};

}  // namespace hardware::velta::bench
