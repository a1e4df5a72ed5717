// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <vector>

#include "fuzz/step_mutator.h"
#include "fuzz/steps.h"

namespace hardware::velta {

/** What a step of the transport's fuzzer does. */
enum TransportStep : uint8_t {
    /** Something arrives on every socket; the argument is of DatagramFlags. */
    kDatagram,
    /** A read fails; the argument is libnl's error, from 1. */
    kReadError,
    /** A request, and its acknowledgement is awaited; an odd argument asks for a list. */
    kAwaitAck,
    /** A request, and an answer with the command of half the argument is awaited; odd as above. */
    kAwaitResponse,
    kReceive,
    kResolve,
    kWatch,
    kPass,
    kSetLostHandler,
    /** No acknowledgements and no sequence numbers; an odd argument: no sequence numbers alone. */
    kDisableChecks,
    kStopWatch,
    kSetup,
    /** Another socket; it is polled, or read by event for an odd argument. */
    kRenew,
    kTransportSteps,
};

enum DatagramFlags : uint8_t {
    /** It answers the last request: has its sequence number and port. */
    kIsAnswer = 1,
    /** It does not come from the kernel. */
    kIsStrange = 2,
    /** It is cut in the middle. */
    kIsCut = 4,
};

inline std::vector<Content> TransportContents() {
    std::vector<Content> contents(kTransportSteps, Content::kNothing);
    contents[kDatagram] = Content::kMessages;
    return contents;
}

}  // namespace hardware::velta
