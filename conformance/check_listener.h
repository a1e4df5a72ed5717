// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace hardware::velta::conformance {

/** Says of a failure what the driver owed, and in the end what was not run, and why. */
class CheckListener : public ::testing::EmptyTestEventListener {
  public:
    void OnTestPartResult(const ::testing::TestPartResult& result) override;
    void OnTestEnd(const ::testing::TestInfo& info) override;
    void OnTestProgramEnd(const ::testing::UnitTest& program) override;

  private:
    std::string reason_;
    std::vector<std::string> not_run_;
};

}  // namespace hardware::velta::conformance
