// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <android/binder_auto_utils.h>

#include <functional>

namespace hardware::velta {

/**
 * Notices the end of servicemanager: the one that follows does not know this service. On Android
 * init starts both anew; elsewhere it is the service's own affair.
 */
class ServiceManagerWatch {
  public:
    /** @param on_end is called on the thread that serves binder; logs when it never will be. */
    explicit ServiceManagerWatch(std::function<void()> on_end);

  private:
    static void OnDeath(void* self);

    std::function<void()> on_end_;
    ndk::SpAIBinder manager_;
    ndk::ScopedAIBinder_DeathRecipient recipient_;
};

}  // namespace hardware::velta
