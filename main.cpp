// SPDX-License-Identifier: Apache-2.0
#define LOG_TAG "velta.uwb.main"

#include <android-base/logging.h>
#include <android/binder_manager.h>
#include <android/binder_process.h>
#include <netlink/msg.h>
#include <netlink/version.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <map>
#include <memory>
#include <string>

#include "diagnostics/diagnostics.h"
#include "hal/uwb.h"
#include "host/properties_file.h"
#include "host/service_manager_watch.h"
#include "host/service_options.h"
#include "host/stderr_logger.h"
#include "looper/looper_backed_event_loop.h"
#include "net/ccc_region_utils.h"
#include "net/fira_region_utils.h"
#include "net/ieee_utils.h"
#include "net/interface_tool.h"
#include "net/mcps_utils.h"
#include "net/nl_socket_factory.h"

namespace {

using hardware::velta::Uwb;

const int kPageSize = getpagesize();

// Has what is logged from warnings on noted as well.
void KeepErrors(hardware::velta::RecentErrors* errors) {
    // What there is by now: on Android the platform's own.
    const auto log = std::make_shared<android::base::LogFunction>();
    *log = android::base::SetLogger(
        [errors, log](android::base::LogId id, android::base::LogSeverity severity, const char* tag,
                      const char* file, unsigned int line, const char* message) {
            (*log)(id, severity, tag, file, line, message);
            if (severity == android::base::WARNING || severity == android::base::ERROR) {
                errors->Note(severity == android::base::ERROR ? 'E' : 'W',
                             tag == nullptr ? "" : tag, message);
            }
        });
}

#ifdef __ANDROID__
// The platform's own log is in place already.
void InitLogger() {}
#else
// What Android does for a service before it starts it: a log, and system properties.
void InitLogger() {
    android::base::SetLogger(hardware::velta::LogToStderr);
    std::string error;
    if (!hardware::velta::LoadSystemProperties(&error)) {
        LOG(ERROR) << "Properties file: " << error;
        exit(EXIT_FAILURE);
    }
}
#endif

hardware::velta::ServiceOptions ReadOptionsOrExit() {
    hardware::velta::ServiceOptions options;
    std::string error;
    if (!hardware::velta::ReadServiceOptions(&options, &error)) {
        LOG(ERROR) << error;
        exit(EXIT_FAILURE);
    }
    android::base::SetMinimumLogSeverity(options.log_level);
    return options;
}

std::map<std::string, std::string> About(const hardware::velta::ServiceOptions& options) {
    const bool is_event = options.notifications == hardware::velta::NotificationMode::kEvent;
    return {{"libnl", LIBNL_VERSION},
            {"notifications", is_event ? "event" : "poll"},
            {"stall_limit_s", std::to_string(options.stall_limit.count())},
            {"version", UWB_SERVICE_VERSION}};
}

int SetupBinderOrCrash() {
    int binder_fd = -1;
    ABinderProcess_setThreadPoolMaxThreadCount(0);
    const binder_status_t status = ABinderProcess_setupPolling(&binder_fd);
    CHECK_EQ(status, STATUS_OK);
    CHECK_GE(binder_fd, 0) << "Invalid binder FD: " << binder_fd;
    return binder_fd;
}

void OnBinderReadReady(int /*fd*/) {
    ABinderProcess_handlePolledCommands();
}

void RegisterServiceOrCrash(std::shared_ptr<Uwb> uwb) {
    const std::string instance = std::string(Uwb::descriptor) + "/default";
    const binder_status_t status =
        AServiceManager_addService(uwb->asBinder().get(), instance.c_str());
    CHECK(status == STATUS_OK);
}

}  // namespace

int main() {
    LOG(INFO) << "UWB HAL start";
    signal(SIGPIPE, SIG_IGN);  // Whoever reads the log, or a dump, may leave.
    InitLogger();
    hardware::velta::Diagnostics diagnostics;
    KeepErrors(&diagnostics.errors);
    const hardware::velta::ServiceOptions options = ReadOptionsOrExit();
    diagnostics.about = About(options);
    const int binder_fd = SetupBinderOrCrash();

    hardware::velta::LooperBackedEventLoop event_dispatcher(options.stall_limit);
    // The condition is printed as it stands here, qualified names included.
    // clang-format off
    CHECK(event_dispatcher.WatchFileDescriptor(
            binder_fd, hardware::velta::EventLoop::kModeInput, &OnBinderReadReady))
        << "Failed to watch binder FD";
    // clang-format on

    hardware::velta::NlSocketFactory socket_factory(&event_dispatcher, options.notifications);
    nlmsg_set_default_size(kPageSize);
    hardware::velta::McpsUtils mcps_utils(&socket_factory);
    hardware::velta::CccRegionUtils ccc_region_utils(&socket_factory);
    hardware::velta::FiraRegionUtils fira_region_utils(&socket_factory);
    hardware::velta::IeeeUtils ieee_utils(&socket_factory);
    hardware::velta::InterfaceTool interface_tool;
    auto uwb =
        ndk::SharedRefBase::make<Uwb>(&interface_tool, &mcps_utils, &ieee_utils, &ccc_region_utils,
                                      &fira_region_utils, &event_dispatcher, &diagnostics);
    RegisterServiceOrCrash(uwb);
#ifndef __ANDROID__
    const hardware::velta::ServiceManagerWatch watch([&uwb] {
        uwb->close();
        exit(EXIT_FAILURE);
    });
#endif

    event_dispatcher.Poll();
    LOG(INFO) << "UWB HAL is about to exit";
    uwb.reset();
    return 0;
}
