// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <aidl/hardware/velta/uwb/FiraRangingData.h>
#include <aidl/hardware/velta/uwb/FiraTwrMeasurement.h>
#include <aidl/hardware/velta/uwb/IFiraSessionCallback.h>

#include <memory>
#include <string>
#include <vector>

#include "uwbctl/client/events.h"

namespace uwbctl {

/** Hears of a FiRa session, on the thread that waits for events. */
class SessionListener {
  public:
    virtual ~SessionListener() = default;

    /** One ranging block. */
    virtual void OnReport(
        const ::aidl::hardware::velta::uwb::FiraRangingData& data,
        const std::vector<::aidl::hardware::velta::uwb::FiraTwrMeasurement>& measurements) = 0;

    /** @param event such as "controlees_added"; peers as AddressText(). */
    virtual void OnControlees(const std::string& event, const std::vector<std::string>& peers) = 0;

    /** @param reason the radio's, 0 for a stop that was asked for. */
    virtual void OnStopped(int reason) = 0;
};

/**
 * @return the callback that the service wants: what it is told, from binder's threads, the listener
 *         hears through events, until it is gone. events is borrowed, for as long as the process
 *         lives.
 */
std::shared_ptr<::aidl::hardware::velta::uwb::IFiraSessionCallback> MakeSessionCallback(
    Events* events, std::weak_ptr<SessionListener> listener);

}  // namespace uwbctl
