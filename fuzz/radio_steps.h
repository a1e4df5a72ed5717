// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <vector>

#include "fuzz/step_mutator.h"
#include "fuzz/steps.h"

namespace hardware::velta {

/** What a step of the virtual radio's fuzzer does. */
enum RadioStep : uint8_t {
    /** Netlink messages, on the socket that the argument counts; what comes is read. */
    kRequest,
    /** That socket is closed, and with it what it has started. */
    kCloseSocket,
    /** A text for one of the radio's files. */
    kWorldText,
    kFaultsText,
    /** A file is read, in pieces as large as the argument's upper bits say. */
    kReadFile,
    /** The argument's lowest bit is the radio, the next one whether its interface goes up. */
    kSetInterface,
    /** Milliseconds go by. */
    kWait,
    kRadioSteps,
};

inline std::vector<Content> RadioContents() {
    std::vector<Content> contents(kRadioSteps, Content::kNothing);
    contents[kRequest] = Content::kMessages;
    contents[kWorldText] = contents[kFaultsText] = Content::kText;
    return contents;
}

}  // namespace hardware::velta
