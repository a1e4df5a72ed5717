// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <aidl/hardware/velta/uwb/FiraAntennaMeasurement.h>
#include <aidl/hardware/velta/uwb/FiraCapabilities.h>
#include <aidl/hardware/velta/uwb/FiraRangingData.h>
#include <aidl/hardware/velta/uwb/FiraTwrMeasurement.h>
#include <aidl/hardware/velta/uwb/FiraTwrSession.h>
#include <aidl/hardware/velta/uwb/UwbAddress.h>

#include <cstdint>
#include <map>
#include <vector>

#include "net/base_region_utils.h"
#include "net/config_utils.h"

namespace hardware::velta {

class RegionCall;

/** Reports and events of the FiRa sessions of one radio. */
class FiraCallback {
  public:
    /** One ranging block of a session. */
    virtual void OnTwrResult(
        const ::aidl::hardware::velta::uwb::FiraRangingData& data,
        const std::vector<::aidl::hardware::velta::uwb::FiraTwrMeasurement>& measurements) = 0;

    /** A session has stopped; reason is the radio's. */
    virtual void OnSessionStopped(uint32_t session_id, int reason) = 0;

    /** Reports were lost, and with them perhaps stops: nothing that runs can be relied upon. */
    virtual void OnNotificationsLost() {}

  protected:
    ~FiraCallback() = default;
};

/**
 * Client of the FiRa region "fira": session parameters, commands and ranging reports. Keeps one
 * callback and one antenna configuration for each radio; sessions live in the kernel.
 */
class FiraRegionUtils : public BaseRegionUtils {
  public:
    using FiraAntennaMeasurement = ::aidl::hardware::velta::uwb::FiraAntennaMeasurement;
    using FiraCapabilities = ::aidl::hardware::velta::uwb::FiraCapabilities;
    using FiraRangingData = ::aidl::hardware::velta::uwb::FiraRangingData;
    using FiraTwrMeasurement = ::aidl::hardware::velta::uwb::FiraTwrMeasurement;
    using FiraTwrSession = ::aidl::hardware::velta::uwb::FiraTwrSession;
    using UwbAddress = ::aidl::hardware::velta::uwb::UwbAddress;

    /** Antenna pair of an axis that the hardware cannot measure. */
    static constexpr uint32_t kNoAntennaPair = 255;

    /** Antennas of one radio. */
    struct HwConfig {
        /** Pair that measures azimuth, 0 to 6. */
        uint32_t antenna_pair_azimuth = 0;
        /** Pair that measures elevation, 0 to 6 or kNoAntennaPair. */
        uint32_t antenna_pair_elevation = kNoAntennaPair;
        /** Transmit antenna, 0 to 4. */
        uint32_t tx_antenna = 0;
    };

    /** @param factory borrowed. */
    explicit FiraRegionUtils(NlSocketFactory* factory);

    /** Sets or replaces the callback of a radio, which is borrowed. */
    virtual void SubscribeCallback(uint32_t hw_index, FiraCallback* callback);

    /** Forgets the callback of a radio; the last one closes the ranging socket. */
    virtual void UnsubscribeCallback(uint32_t hw_index);

    virtual bool InitSession(uint32_t hw_index, uint32_t session_id);

    /** Starts a session; the radio needs a callback. */
    virtual bool StartSession(uint32_t hw_index, uint32_t session_id);

    /** Asks the radio to stop; the end arrives as FiraCallback::OnSessionStopped(). */
    virtual bool StopSession(uint32_t hw_index, uint32_t session_id);

    virtual bool DeinitSession(uint32_t hw_index, uint32_t session_id);

    /** Sends all parameters of a session; false also for values that the radio cannot have. */
    virtual bool ConfigTwrSession(uint32_t hw_index, const FiraTwrSession& session);

    /**
     * Adds controlees to a session.
     *
     * @param sub_session_ids one for each controlee (a shorter list aborts the process), or null.
     */
    virtual bool AddControlees(uint32_t hw_index, uint32_t session_id,
                               const std::vector<UwbAddress>& controlees,
                               const std::vector<int>* sub_session_ids);

    virtual bool RemoveControlees(uint32_t hw_index, uint32_t session_id,
                                  const std::vector<UwbAddress>& controlees);

    virtual bool UpdateBlockStriding(uint32_t hw_index, uint32_t session_id, uint32_t value);

    /**
     * Takes the antenna keys out of config: "[HAL]antenna_pair_azimuth",
     * "[HAL]antenna_pair_elevation" (absent for none) and "[HAL]tx_antenna".
     *
     * @return false when a key is missing or out of range; its old value stays.
     */
    virtual bool ConsumeProperties(uint32_t hw_index, ConfigUtils& config);

    /** @return the antennas of a radio, the defaults when nothing was configured. */
    virtual HwConfig GetHwConfig(uint32_t hw_index) const;

    /** @return whether callback is the one of this radio. */
    virtual bool IsSubscribed(uint32_t hw_index, const FiraCallback* callback) const;

    /** Fills in what the region can do with this radio's antennas; always true. */
    bool GetCapabilities(uint32_t hw_index, FiraCapabilities& caps) const;

    /** Handles a notification of the region; always NL_STOP. */
    int OnRangingResult(nl_msg* msg);

    /**
     * Converts the measurements of a report; bad ones are logged and left out.
     *
     * @param data attributes of the ranging data, by type up to FIRA_RANGING_DATA_ATTR_MAX; the
     *        list of measurements must be there.
     */
    static std::vector<FiraTwrMeasurement> ParseMeasurements(const HwConfig& hw, nlattr** data,
                                                             uint64_t timestamp_ns);

    /**
     * Converts one angle-of-arrival nest; the axis is left to the caller.
     *
     * @param pair_index the antenna pair, kNoAntennaPair when the nest does not name it.
     */
    static bool ParseAntennaMeasurement(nlattr* nest, FiraAntennaMeasurement* out,
                                        uint8_t* pair_index);

  protected:
    void OnNotificationsLost() override;

  private:
    // Into records that are there already: most reports are like the last one, and then none of
    // this takes memory anew.
    static void ParseMeasurements(const HwConfig& hw, nlattr** data, uint64_t timestamp_ns,
                                  std::vector<FiraTwrMeasurement>* measurements);
    static bool PutSessionId(const char* function, uint32_t session_id, RegionCall* call);
    bool Send(RegionCall* call);
    bool SendSessionState(uint32_t hw_index, uint8_t call_id, uint32_t session_id);
    bool SendControlees(const char* function, uint32_t hw_index, uint8_t call_id,
                        uint32_t session_id, const std::vector<UwbAddress>& controlees,
                        const std::vector<int>* sub_session_ids);

    std::map<uint32_t, FiraCallback*> callbacks_;
    std::map<uint32_t, HwConfig> hw_configs_;
    std::vector<FiraTwrMeasurement> measurements_;  // Of the last report.
};

}  // namespace hardware::velta
