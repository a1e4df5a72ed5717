// SPDX-License-Identifier: Apache-2.0
#include "conformance/check_listener.h"

#include <cstdio>

#include "conformance/check_info.h"

namespace hardware::velta::conformance {

void CheckListener::OnTestPartResult(const ::testing::TestPartResult& result) {
    if (result.skipped()) reason_ = result.message();
}

void CheckListener::OnTestEnd(const ::testing::TestInfo& info) {
    const std::string name = std::string(info.test_suite_name()) + "." + info.name();
    const CheckInfo* check = FindCheck(name);
    if (info.result()->Skipped()) not_run_.push_back(name + ": " + reason_);
    if (info.result()->Failed() && check != nullptr) printf("%s", Describe(*check).c_str());
    reason_.clear();
}

void CheckListener::OnTestProgramEnd(const ::testing::UnitTest& program) {
    printf("%d checks: %d passed, %d failed, %zu not run\n", program.test_to_run_count(),
           program.successful_test_count(), program.failed_test_count(), not_run_.size());
    for (const std::string& line : not_run_) printf("  %s\n", line.c_str());
    fflush(stdout);
}

}  // namespace hardware::velta::conformance
