// SPDX-License-Identifier: Apache-2.0
#include "bench/floors/polled_process.h"

#include <aidl/hardware/velta/uwb/IFiraController.h>
#include <android/binder_manager.h>
#include <android/binder_process.h>
#include <poll.h>

#include <cstdlib>

namespace hardware::velta::bench {

std::string FloorInstance(const std::string& name) {
    return std::string(aidl::hardware::velta::uwb::IFiraController::descriptor) + "/" + name;
}

void RunPolled(const ndk::SpAIBinder& binder, const std::string& instance,
               const std::function<int()>& other_fd, const std::function<void()>& on_other) {
    ABinderProcess_setThreadPoolMaxThreadCount(0);
    int binder_fd = -1;
    if (ABinderProcess_setupPolling(&binder_fd) != STATUS_OK) abort();
    if (AServiceManager_addService(binder.get(), instance.c_str()) != STATUS_OK) abort();
    for (;;) {
        pollfd fds[] = {{.fd = binder_fd, .events = POLLIN, .revents = 0},
                        {.fd = other_fd(), .events = POLLIN, .revents = 0}};
        poll(fds, 2, -1);
        if (fds[1].revents != 0) on_other();
        if (fds[0].revents != 0) ABinderProcess_handlePolledCommands();
    }
}

}  // namespace hardware::velta::bench
