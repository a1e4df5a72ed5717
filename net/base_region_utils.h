// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>

#include "net/counters.h"
#include "net/mcps_utils.h"
#include "net/nl_socket_factory.h"

namespace hardware::velta {

/**
 * Common part of the clients of scheduler regions: the envelope of region calls in the mcps802154
 * family, and the one socket on which a region's notifications arrive.
 *
 * Messages stay the caller's. Failures are logged with the region's name.
 */
class BaseRegionUtils {
  public:
    /** @param factory borrowed. */
    BaseRegionUtils(McpsRegion region, NlSocketFactory* factory);

    /** Sets the numeric id of the mcps802154 family; calls fail before. */
    virtual void SetMcpsNetId(uint32_t id);
    virtual ~BaseRegionUtils() = default;
    BaseRegionUtils(const BaseRegionUtils&) = delete;
    BaseRegionUtils& operator=(const BaseRegionUtils&) = delete;

    const McpsRegion& region() const { return region_; }

    /** @return of this region's notifications. */
    const NotificationCounters& counters() const { return counters_; }

    /** Starts msg: generic netlink header and hardware index. */
    bool SetMcpsCommand(nl_msg* msg, uint32_t hw_index, uint8_t command, int flags) const;

    /**
     * Starts a region call.
     *
     * @param call the open nest, for EndCallMessage().
     */
    bool StartCallMessage(nl_msg* msg, uint32_t hw_index, uint8_t call_id, nlattr** call) const;

    /**
     * Starts a region call with parameters; the caller puts them before it ends the call.
     *
     * @param call the open nest, for EndCallMessageWithParams().
     * @param params the open nest of the parameters, likewise.
     */
    bool StartCallMessageWithParams(nl_msg* msg, uint32_t hw_index, uint8_t call_id, nlattr** call,
                                    nlattr** params) const;

    bool EndCallMessage(nl_msg* msg, nlattr* call) const;
    bool EndCallMessageWithParams(nl_msg* msg, nlattr* call, nlattr* params) const;

    /**
     * Sends a call on the region's ranging socket, so that notifications of what it starts arrive
     * there. The first success opens the socket, and its handler stays in force until
     * CloseRangingSocket().
     *
     * @param handler called with notifications on the event loop's thread; returns NL_OK, NL_SKIP
     *        or NL_STOP.
     */
    bool StartRangingSession(nl_msg* msg, std::function<int(nl_msg*)> handler);

    /** Ends the region's notifications. Safe from inside a notification. */
    void CloseRangingSocket();

    /**
     * Unpacks a received region call of this region.
     *
     * @param hw_index written as soon as it is read, also when the rest is bad; so is call_id.
     * @return the nest of its parameters, inside msg, or null when the message is bad or another
     *         region's.
     */
    nlattr* GetCallContent(nl_msg* msg, uint32_t* hw_index, uint8_t* call_id) const;

  protected:
    NlSocketFactory* factory() const { return factory_; }
    NotificationCounters* mutable_counters() { return &counters_; }

    /**
     * Notifications of this region were lost, which may have told of stops: ends each session that
     * runs, in the kernel and for its client, and closes the ranging socket.
     */
    virtual void OnNotificationsLost() { CloseRangingSocket(); }

  private:
    void CountLost();

    NlSocketFactory* factory_;
    std::shared_ptr<NlSocket> ranging_socket_;
    uint32_t net_id_;
    McpsRegion region_;
    std::string name_;  // The region's, as region_ has it.
    NotificationCounters counters_;
};

}  // namespace hardware::velta
