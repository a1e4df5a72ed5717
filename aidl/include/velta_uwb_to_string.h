// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <string>

// AIDL's byte is signed, and so it prints as a field. The elements of a byte[] are uint8_t in C++
// and would print unsigned: the specialization gives both one text form. It must be seen before
// any generated header, so the interface library has its users include it first.
//
// The template is android/binder_to_string.h's; including that here would bring in liblog's
// default LOG_TAG ahead of each file's own.
namespace android::internal {

template <typename T>
std::string ToString(const T& value);

template <>
inline std::string ToString<uint8_t>(const uint8_t& value) {
    return std::to_string(static_cast<int8_t>(value));
}

}  // namespace android::internal
