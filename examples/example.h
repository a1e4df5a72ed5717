// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <aidl/hardware/velta/uwb/BnUwbClientCallback.h>
#include <aidl/hardware/velta/uwb/IUwb.h>
#include <aidl/hardware/velta/uwb/IUwbIface.h>
#include <android/binder_manager.h>
#include <android/binder_process.h>

#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>
#include <vector>

namespace example {

using namespace ::aidl::hardware::velta::uwb;
using ::ndk::ScopedAStatus;
using ::ndk::SharedRefBase;

/** Every refusal carries a code of ErrorCode and a message; this ends the program with it. */
inline void Check(const char* call, const ScopedAStatus& status) {
    if (status.isOk()) return;
    fprintf(stderr, "%s: %s\n", call, status.getDescription().c_str());
    exit(EXIT_FAILURE);
}

/** The hardware, for as long as the object lives. */
class Radio {
  public:
    /** Connects, opens the hardware and takes its first interface. */
    Radio() {
        const std::string name = std::string(IUwb::descriptor) + "/default";
        service_ = IUwb::fromBinder(ndk::SpAIBinder(AServiceManager_checkService(name.c_str())));
        if (service_ == nullptr) {
            fprintf(stderr, "%s is not there\n", name.c_str());
            exit(EXIT_FAILURE);
        }
        ABinderProcess_startThreadPool();  // Callbacks arrive on its threads.
        Check("open", service_->open(alive_));
        std::vector<std::string> names;
        Check("listIfaceNames", service_->listIfaceNames(&names));
        if (names.empty()) {
            fprintf(stderr, "there is no UWB interface\n");
            exit(EXIT_FAILURE);
        }
        Check("getIface", service_->getIface(names.front(), &iface_));
    }
    ~Radio() { service_->close(); }
    Radio(const Radio&) = delete;
    Radio& operator=(const Radio&) = delete;

    IUwbIface* iface() { return iface_.get(); }

  private:
    // The service gives the hardware free when the process behind this dies.
    std::shared_ptr<IUwbClientCallback> alive_ = SharedRefBase::make<BnUwbClientCallback>();
    std::shared_ptr<IUwb> service_;
    std::shared_ptr<IUwbIface> iface_;
};

}  // namespace example
