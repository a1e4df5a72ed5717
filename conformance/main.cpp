// SPDX-License-Identifier: Apache-2.0

// uwb_conformance: whether a driver, a device and the service do together what clients rely on.
#include <android-base/logging.h>
#include <android/binder_manager.h>
#include <android/binder_process.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdio>
#include <string>

#include "conformance/check_info.h"
#include "conformance/check_listener.h"
#include "conformance/client_process.h"
#include "conformance/hal.h"
#include "conformance/target.h"

namespace {

using namespace ::hardware::velta::conformance;
using namespace std::string_literals;

constexpr int kUsage = 2;
constexpr int kIncomplete = 3;
constexpr char kClient[] = "--client=";

void PrintHelp() {
    printf(
        "usage: uwb_conformance [OPTION]...\n\n"
        "Checks a UWB device: driver, chip and service, through the service. Nobody else may hold\n"
        "the hardware meanwhile.\n\n%s"
        "  --list            what each check needs, what it proves and what the driver owes for "
        "it\n"
        "  --gtest_filter=PATTERNS and others of gtest, which --gtest_help lists\n\n"
        "Exit status: 0 all checks have passed, 1 one has failed, 2 usage or no service, 3 none "
        "has\n"
        "failed but some were not run.\n",
        Target::Help().c_str());
}

void PrintChecks() {
    for (const CheckInfo& check : AllChecks()) printf("%s\n", Describe(check).c_str());
}

}  // namespace

int main(int argc, char** argv) {
    // The service's own classes need not log: they answer.
    android::base::SetMinimumLogSeverity(android::base::FATAL_WITHOUT_ABORT);
    std::string step;
    if (argc > 1 && argv[1] == "--help"s) {
        PrintHelp();
        return 0;
    }
    ::testing::InitGoogleMock(&argc, argv);
    for (int i = 1; i < argc; i++) {
        const std::string option = argv[i];
        if (option == "--list") {
            PrintChecks();
            return 0;
        }
        if (option.starts_with(kClient)) {
            step = option.substr(sizeof(kClient) - 1);
        } else if (!TheTarget().Take(option)) {
            fprintf(stderr, "error: %s: no such option, or not in its form\n", argv[i]);
            PrintHelp();
            return kUsage;
        }
    }
    if (!Hal::IsRegistered()) {
        fprintf(stderr, "error: the UWB service is not registered; is it running?\n");
        return kUsage;
    }
    ABinderProcess_setThreadPoolMaxThreadCount(1);
    ABinderProcess_startThreadPool();
    if (!step.empty()) RunClient(step);
    ::testing::UnitTest::GetInstance()->listeners().Append(new CheckListener);  // It owns it.
    const int status = RUN_ALL_TESTS();
    const auto& program = *::testing::UnitTest::GetInstance();
    if (status != 0) return 1;
    return program.successful_test_count() == program.test_to_run_count() &&
                   program.test_to_run_count() > 0
               ? 0
               : kIncomplete;
}
