// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <aidl/hardware/velta/uwb/RangingRequest.h>
#include <aidl/hardware/velta/uwb/UwbAddress.h>
#include <android/binder_auto_utils.h>

#include <string>
#include <vector>

namespace uwbctl {

/**
 * Throws a Failure that names a peer that is there twice, in whatever spelling, or is this device
 * itself.
 *
 * @param own this device's address.
 */
void CheckPeers(const std::vector<std::string>& peers, const std::string& own);

/** @return an address of 2 to 8 bytes; throws a Failure for a text that is none. */
::aidl::hardware::velta::uwb::UwbAddress CheckAnyAddress(const std::string& text);

/**
 * @return a request of simple ranging for each peer, numbered from 1; throws a Failure for what is
 *         no address, there twice, or this device itself.
 * @param own this device's address.
 * @param param the second value of each request.
 */
std::vector<::aidl::hardware::velta::uwb::RangingRequest> MakeRequests(
    const std::vector<std::string>& peers, const std::string& own, int param);

/** Check() of the start of ranging on a channel: explains what the service does not. */
void CheckStart(const ndk::ScopedAStatus& status, const std::string& asked, int channel);

}  // namespace uwbctl
