// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <aidl/hardware/velta/uwb/CccCapabilities.h>

#include <cstdint>
#include <map>

#include "net/base_region_utils.h"

namespace hardware::velta {

/** Events of the CCC region. */
class CccRegionCallback {
  public:
    /** Why a session stopped. */
    enum Reason : int {
        /** The radio gave up by itself. */
        kStoppedByRadio = 0,
        /** The stop was asked for. */
        kStopRequested = 1,
        /** The service lost notifications and stopped it; beyond what the radio can say. */
        kNotificationsLost = 256,
    };

    /** The session of a radio has stopped. */
    virtual void OnSessionStopped(uint32_t hw_index, Reason reason) = 0;

  protected:
    ~CccRegionCallback() = default;
};

/**
 * Client of the CCC (digital key) region "nfcc_coex". There is one callback to set, and each
 * session keeps the one that it was started with: two radios have two clients.
 */
class CccRegionUtils : public BaseRegionUtils {
  public:
    using CccCapabilities = ::aidl::hardware::velta::uwb::CccCapabilities;

    /** @param factory borrowed. */
    explicit CccRegionUtils(NlSocketFactory* factory);

    /**
     * Starts ranging; needs a callback.
     *
     * @param start_value start relative to now, in nanoseconds.
     * @param start_byte channel.
     */
    virtual bool StartCccSession(uint32_t hw_index, uint64_t start_value, uint8_t start_byte);

    /** Asks the radio to stop; the end arrives as OnSessionStopped(). */
    virtual bool StopCccSession(uint32_t hw_index);

    /** Handles a notification of the region; always NL_STOP. */
    virtual int OnNotification(nl_msg* msg);

    /** @param callback borrowed; null for none, as by ForgetCallback(). */
    virtual void SetCallback(CccRegionCallback* callback);

    /** @return the callback that was set last, null for none. */
    virtual CccRegionCallback* callback() const;

    /** The session of a radio is over: the ranging socket closes unless another radio's runs. */
    virtual void EndSession(uint32_t hw_index);

    /** Takes a callback out wherever it is known; its sessions are nobody's then. */
    virtual void ForgetCallback(CccRegionCallback* callback);

    /** Fills in what every radio of this region can do; always true. */
    bool GetCapabilities(CccCapabilities& caps) const;

  protected:
    void OnNotificationsLost() override;

  private:
    struct Session {
        // Of the last start; whoever asks for a stop twice is told twice.
        CccRegionCallback* callback;
        bool is_running;
    };

    // Who is told of a radio's session, null for nobody.
    CccRegionCallback* CallbackOf(uint32_t hw_index) const;

    CccRegionCallback* callback_;
    std::map<uint32_t, Session> sessions_;
};

}  // namespace hardware::velta
