// SPDX-License-Identifier: Apache-2.0
#include "fuzz/steps.h"

#include <algorithm>

namespace hardware::velta {
namespace {

constexpr size_t kHeader = 4;
constexpr size_t kMaxBytes = 0xFFFF;

}  // namespace

Steps ReadSteps(const uint8_t* data, size_t size) {
    Steps steps;
    while (size >= kHeader) {
        const size_t length =
            std::min<size_t>(data[2] | static_cast<size_t>(data[3]) << 8, size - kHeader);
        steps.push_back({.kind = data[0],
                         .argument = data[1],
                         .bytes = Bytes(data + kHeader, data + kHeader + length)});
        data += kHeader + length;
        size -= kHeader + length;
    }
    return steps;
}

Bytes WriteSteps(const Steps& steps) {
    Bytes out;
    for (const Step& step : steps) {
        const size_t length = std::min(step.bytes.size(), kMaxBytes);
        for (const size_t byte : {size_t{step.kind}, size_t{step.argument}, length, length >> 8}) {
            out.push_back(static_cast<uint8_t>(byte));
        }
        out.insert(out.end(), step.bytes.begin(),
                   step.bytes.begin() + static_cast<ptrdiff_t>(length));
    }
    return out;
}

}  // namespace hardware::velta
