// SPDX-License-Identifier: Apache-2.0
//
// What most tests include, parsed once for all of them.
#pragma once

#include "precompiled.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
