// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

#include "conformance/check_info.h"
#include "conformance/client_process.h"
#include "conformance/fira_client.h"
#include "conformance/target.h"

namespace hardware::velta::conformance {

using namespace std::string_literals;
using ::testing::Each;
using ::testing::ElementsAre;

/** How many measurements in a check may be lost on the air. */
constexpr int kMostLost = 4;

/** @return whether the target's first or second interface is up. */
bool IsUp(int radio);

/** Begins with a service that nobody holds, and wants the interfaces down in the end. */
class Check : public ::testing::Test {
  protected:
    /** Skips the check when it lacks what it needs. */
    void SetUp() override;
    void TearDown() override;

    Hal hal;
};

/** The hardware is open. */
class OpenCheck : public Check {
  protected:
    void SetUp() override;
    /** @return a channel of the first radio that is not the target's; the target's for want of one.
     */
    int OtherChannel();
};

}  // namespace hardware::velta::conformance
