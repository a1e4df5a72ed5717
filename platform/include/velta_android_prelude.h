// SPDX-License-Identifier: Apache-2.0
//
// Force-included before every C++ source that sees Android's headers. Those take it for granted that
// libc++ pulls these standard headers in through one another; libstdc++ does not.
#pragma once

#ifdef __cplusplus
#include <algorithm>
#include <array>
#include <atomic>
#include <bitset>
#include <climits>
#include <condition_variable>
#include <cstdint>
#include <cstring>
#include <functional>
#include <limits>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <variant>
#include <vector>
#endif
