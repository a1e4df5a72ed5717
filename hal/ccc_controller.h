// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <aidl/hardware/velta/uwb/BnCccController.h>

#include <chrono>
#include <cstdint>
#include <memory>
#include <string>

#include "diagnostics/dump_writer.h"
#include "hal/controller_listener.h"
#include "hal/ipc_utils.h"
#include "net/ccc_region_utils.h"
#include "net/config_utils.h"
#include "net/ieee_utils.h"
#include "net/mcps_utils.h"

namespace hardware::velta {

/**
 * The CCC (digital key) session of one radio: deep sleep off while it is initialised, its time
 * base, start and stop.
 */
class CccController : public ::aidl::hardware::velta::uwb::BnCccController,
                      public CccRegionCallback {
  public:
    using CccCapabilities = ::aidl::hardware::velta::uwb::CccCapabilities;
    using ICccControllerCallback = ::aidl::hardware::velta::uwb::ICccControllerCallback;

    /** All pointers are borrowed and outlive the controller. */
    CccController(std::string iface_name, uint32_t hw_index, IeeeUtils* ieee_utils,
                  CccRegionUtils* ccc_region_utils, McpsUtils* mcps_utils);
    /** As Abandon(). */
    ~CccController() override;

    ndk::ScopedAStatus initSession() override;
    ndk::ScopedAStatus startSession(int32_t session_id, int64_t delay_ms, int32_t channel,
                                    int64_t* uwb_time0) override;
    ndk::ScopedAStatus stopSession(int32_t session_id) override;
    ndk::ScopedAStatus deinitSession() override;
    ndk::ScopedAStatus getCapabilities(CccCapabilities* caps) override;
    ndk::ScopedAStatus setCallback(
        const std::shared_ptr<ICccControllerCallback>& callback) override;

    void OnSessionStopped(uint32_t hw_index, CccRegionCallback::Reason reason) override;

    /** @return 1 from a successful start until the session has stopped, otherwise 0. */
    int SessionCount() const;
    /** The same as SessionCount(): a session that does not range is none. */
    int ActiveSessionCount() const { return SessionCount(); }
    /** @param listener borrowed; null for none. */
    void SetListener(ControllerListener* listener);
    /** Takes this radio's CCC keys out of store; false when the minimum offset is missing or bad.
     */
    bool ConsumeProperties(ConfigUtils& store);
    /**
     * Ends what the client left behind: stops a running session, switches deep sleep on again,
     * forgets the callback. The client may keep calling, but drives nothing any more: the radio may
     * be another client's by then.
     */
    void Abandon();
    /** Writes whether a session runs. */
    void Dump(DumpWriter* writer) const;

  private:
    void SetRunning(bool is_running);
    // Sends the driver's deep-sleep margin.
    bool SendAutoSleepMargin(const std::string& value);
    void NotifySessionChanged();

    std::string iface_name_;
    uint32_t hw_index_;
    CccRegionUtils* ccc_region_utils_;
    McpsUtils* mcps_utils_;
    IeeeUtils* ieee_utils_;
    std::shared_ptr<ICccControllerCallback> callback_;
    ControllerListener* listener_;
    int64_t minimum_system_offset_uwbtime0_;
    std::string auto_sleep_margin_;
    bool is_running_;
    Deliveries deliveries_;
    std::chrono::steady_clock::time_point changed_ = std::chrono::steady_clock::now();
    bool is_deep_sleep_off_ = false;
    bool is_abandoned_ = false;
};

}  // namespace hardware::velta
