// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <aidl/hardware/velta/uwb/IUwb.h>
#include <sys/types.h>

#include <cstdint>
#include <memory>
#include <string>

namespace hardware::velta::soak {

/** What the virtual radio gave to sockets of FiRa sessions since it was loaded. */
struct RadioCounts {
    uint64_t reports = 0;
    uint64_t stops = 0;
    /** Reports that a socket had no room for, or that was gone. */
    uint64_t refused = 0;
};
RadioCounts ReadRadioCounts();

/** What the service says it got of them since it started. */
struct ServiceCounts {
    /** Handed on, reports and stops. */
    uint64_t delivered = 0;
    /** Malformed, unexpected or for nobody. */
    uint64_t dropped = 0;
    /** How often an unknown number was lost. */
    uint64_t overflows = 0;
    bool is_open = false;
};
ServiceCounts ReadServiceCounts(::aidl::hardware::velta::uwb::IUwb* uwb);

/** What the service holds. */
struct Resources {
    /** Resident memory, and of that what is neither code nor files. */
    int64_t resident_kib = 0;
    int64_t anonymous_kib = 0;
    int descriptors = 0;
    int threads = 0;
    /** Objects of its own that somebody refers to, and references to others' objects. */
    int binder_nodes = 0;
    int binder_references = 0;
};
Resources ReadResources(pid_t service);

/** @return how many sessions the radios have, of any kind and in any state. */
int KernelSessions();
/** @return the bit set of channels that are banned on a radio. */
int BannedChannels(int radio);

/** @return the service's process. */
pid_t ServicePid();

}  // namespace hardware::velta::soak
