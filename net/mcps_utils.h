// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <aidl/hardware/velta/uwb/RangingRequest.h>
#include <aidl/hardware/velta/uwb/RangingResult.h>

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "net/config_utils.h"
#include "net/counters.h"
#include "net/nl_socket_factory.h"

namespace hardware::velta {

/** A scheduler region: what a radio's time is given to. */
struct McpsRegion {
    /** 0 FiRa, 1 NFCC coexistence (CCC), 2 simple ranging. */
    uint8_t id;

    /** @return the region's name on the wire; the number in decimal when it has none. */
    std::string ToString() const;
};

inline constexpr McpsRegion kFiraRegion = {0};
inline constexpr McpsRegion kNfccCoexRegion = {1};
inline constexpr McpsRegion kSimpleRangingRegion = {2};

/** The driver's schedulers. */
enum class McpsScheduler : uint8_t {
    kDefault = 0,
    kSimpleRanging = 1,
    kEndless = 2,
    kOnDemand = 3,
};

/** One radio as the driver describes it. */
struct McpsHwInfo {
    uint32_t hw_index = 0;
    /** Number of the radio's WPAN PHY. */
    uint32_t phy_index = 0;
    /** Name of the scheduler that is set. */
    std::string scheduler;
};

/**
 * Client of the "mcps802154" generic netlink family: hardware, schedulers and regions, calibration
 * and simple ranging.
 *
 * Operations block for the exchange with the driver and log their own failures.
 */
class McpsUtils {
  public:
    /** Process ids of the kernel threads that serve the radio's SPI bus; 0 when not known. */
    struct SpiPids {
        uint32_t spi_pid;
        uint32_t kt7100_pid;
    };

    /** Scheduler parameter, passed to the driver unchanged. */
    enum class SlotDuration : uint32_t { kNotGiven = 0xFFFFFFFF };
    /** Scheduler parameter, passed to the driver unchanged. */
    enum class NodeType : uint32_t { kInitiator = 0, kResponder = 1, kNotGiven = 0xFFFFFFFF };

    /** What was set last, and accepted, for a radio. */
    struct SchedulerChoice {
        std::string scheduler;
        /** The regions' names; empty for a scheduler without. */
        std::vector<std::string> regions;
    };

    using RangingRequest = ::aidl::hardware::velta::uwb::RangingRequest;
    using RangingResult = ::aidl::hardware::velta::uwb::RangingResult;

    /** @param factory borrowed. */
    explicit McpsUtils(NlSocketFactory* factory);
    virtual ~McpsUtils() = default;
    McpsUtils(const McpsUtils&) = delete;
    McpsUtils& operator=(const McpsUtils&) = delete;

    /** Resolves the family; false when the driver is not there. */
    virtual bool Start();

    /** @return the family's numeric id, 0 until Start() has succeeded. */
    virtual int GetNetId() const;

    /** Asks for the SPI threads; true when the driver answered, also without a pid. */
    virtual bool GetSpiPids(uint32_t hw_index, SpiPids& pids);

    /**
     * Lists the radios in the driver's order; replies without a usable PHY name are left out.
     *
     * @param ok set to whether the exchange succeeded.
     */
    virtual std::vector<McpsHwInfo> ListHardware(bool* ok);

    /**
     * Describes one radio.
     *
     * @param ok set to whether the exchange succeeded; the record may be partly filled even so.
     */
    virtual McpsHwInfo GetHardwareInfo(uint32_t hw_index, bool* ok);

    /**
     * Selects a scheduler, or sets its parameters when set_params. The interface must be down.
     */
    virtual bool SetScheduler(uint32_t hw_index, McpsScheduler scheduler,
                              SlotDuration slot_duration, NodeType node_type, bool set_params);

    /** Selects the "endless" scheduler with one region. The interface must be down. */
    virtual bool SetRegion(uint32_t hw_index, const McpsRegion& region);

    /** Selects the "on_demand" scheduler with the FiRa and NFCC coexistence regions. */
    virtual bool SetAllRegions(uint32_t hw_index);

    /**
     * Sends every key that has no "[" prefix to the driver and removes it from config.
     *
     * @return whether all of them were sent and the driver accepted them.
     */
    virtual bool ConsumeCalibration(uint32_t hw_index, ConfigUtils& config);

    /**
     * Replaces the list of simple ranging requests; an empty list ends simple ranging.
     * Needs SubscribeRangingResults() first. A failure leaves simple ranging closed.
     */
    virtual bool SetRangingRequests(uint32_t hw_index, std::vector<RangingRequest> requests);

    /** Replaces the handler of simple ranging results, which runs on the event loop's thread. */
    virtual bool SubscribeRangingResults(std::function<void(const RangingResult&)> callback);

    /** Ends simple ranging and forgets the handler. */
    virtual void UnsubscribeRangingResults();

    /** Starts msg: generic netlink header and hardware index. */
    virtual bool SetMcpsCommand(nl_msg* msg, uint32_t hw_index, uint8_t command, int flags);

    /** Writes a complete list of simple ranging requests to msg. */
    virtual bool RangingRequestsToNlMsg(nl_msg* msg, uint32_t hw_index,
                                        std::vector<RangingRequest> requests);

    /** @return what was set last for a radio since Start(); empty for nothing. */
    virtual SchedulerChoice LastSet(uint32_t hw_index) const;

    /** @return of all requests through the factory, this class's or not. */
    virtual RequestCounters request_counters() const;

    /** @return of the results of simple ranging. */
    virtual NotificationCounters result_counters() const { return result_counters_; }

    /**
     * Parses one hardware reply.
     *
     * @return false when it is incomplete; fields that were read stay written.
     */
    static bool ParseHwInfo(nl_msg* msg, McpsHwInfo* info);

    /** Ends simple ranging; handler and requests stay. */
    void CloseRangingSocket();

    /** Handles a report; always NL_STOP. */
    int OnRangingResult(nl_msg* msg);

  private:
    class CalibrationBatch;

    void OnRangingResultsLost();
    // Sends a choice of scheduler, and remembers it when it is accepted.
    bool SendChoice(nl_msg* msg, uint32_t hw_index, SchedulerChoice choice);

    NlSocketFactory* factory_;
    int net_id_;
    std::function<void(const RangingResult&)> on_ranging_result_;
    std::shared_ptr<NlSocket> ranging_socket_;
    std::vector<RangingRequest> ranging_requests_;
    std::map<uint32_t, SchedulerChoice> last_set_;
    NotificationCounters result_counters_;
};

}  // namespace hardware::velta
