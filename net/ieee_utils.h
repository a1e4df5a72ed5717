// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "net/nl_socket_factory.h"

namespace hardware::velta {

/** One IEEE 802.15.4 network interface. */
struct DevInfo {
    /** Interface name, such as "wpan0". */
    std::string name;
    /** Number of the WPAN PHY that it belongs to. */
    uint32_t phy_index = 0;
};

/** One WPAN PHY. */
struct PhyInfo {
    uint64_t phy_index = 0;
    /** Supported channels of channel page 4 (HRP UWB), in the kernel's order. */
    std::vector<int> channels;
};

/**
 * Client of the kernel's "nl802154" generic netlink family (the kernel's net/nl802154.h): lists
 * interfaces and sets their channel, PAN identifier and short address.
 *
 * Operations block for the exchange with the kernel and log their own failures.
 */
class IeeeUtils {
  public:
    /** @param factory borrowed. */
    explicit IeeeUtils(NlSocketFactory* factory);
    virtual ~IeeeUtils() = default;
    IeeeUtils(const IeeeUtils&) = delete;
    IeeeUtils& operator=(const IeeeUtils&) = delete;

    /** Resolves the family; false when the kernel does not have it. */
    virtual bool Setup();

    /**
     * Lists all interfaces of all PHYs, in the kernel's order.
     *
     * @param ok set to whether the exchange succeeded.
     */
    virtual std::vector<DevInfo> ListDevices(bool* ok);

    /** Sets the PAN identifier; the kernel refuses while the interface is up. */
    virtual bool SetPanId(const char* iface, uint16_t pan_id);

    /** Reads the PHY behind an interface; channels are appended to *info. */
    virtual bool GetPhyInfo(const char* iface, PhyInfo* info);

    /** Sets the channel, 0 to 15, of channel page 4. */
    virtual bool SetChannel(const char* iface, int channel);

    /**
     * Sets the short address; the kernel refuses while the interface is up.
     *
     * @param address two bytes, the most significant first.
     */
    virtual bool SetShortMacAddress(const char* iface, const std::vector<uint8_t>& address);

    /** Starts msg: generic netlink header and the index of iface. */
    bool SetIeeeCommand(nl_msg* msg, const char* iface, uint8_t command, int flags);

  private:
    NlSocketFactory* factory_;
    int net_id_;
};

}  // namespace hardware::velta
