// SPDX-License-Identifier: Apache-2.0
#define LOG_TAG "velta.uwb.ServiceManagerWatch"

#include "host/service_manager_watch.h"

#include <android-base/logging.h>
#include <android/binder_ibinder.h>
#include <android/binder_manager.h>

#include <utility>

namespace hardware::velta {

ServiceManagerWatch::ServiceManagerWatch(std::function<void()> on_end)
    : on_end_(std::move(on_end)),
      manager_(AServiceManager_checkService("manager")),  // It is registered with itself.
      recipient_(AIBinder_DeathRecipient_new(&OnDeath)) {
    const binder_status_t status =
        manager_.get() == nullptr ? STATUS_NAME_NOT_FOUND
                                  : AIBinder_linkToDeath(manager_.get(), recipient_.get(), this);
    if (status == STATUS_DEAD_OBJECT) {
        OnDeath(this);
    } else if (status != STATUS_OK) {
        LOG(WARNING) << "The end of servicemanager will not be noticed: " << status;
    }
}

void ServiceManagerWatch::OnDeath(void* self) {
    LOG(ERROR) << "servicemanager has ended; so does this, for a supervisor to start it anew";
    static_cast<ServiceManagerWatch*>(self)->on_end_();
}

}  // namespace hardware::velta
