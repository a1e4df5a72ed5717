// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <aidl/hardware/velta/uwb/BnSimpleRangingController.h>

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "diagnostics/dump_writer.h"
#include "hal/ipc_utils.h"
#include "net/ieee_utils.h"
#include "net/interface_tool.h"
#include "net/mcps_utils.h"

namespace hardware::velta {

/** Simple ranging on one radio: the mode itself lives in the kernel. */
class SimpleRangingController : public ::aidl::hardware::velta::uwb::BnSimpleRangingController {
  public:
    using ISimpleRangingCallback = ::aidl::hardware::velta::uwb::ISimpleRangingCallback;
    using RangingRequest = ::aidl::hardware::velta::uwb::RangingRequest;
    using SimpleRangingCapabilities = ::aidl::hardware::velta::uwb::SimpleRangingCapabilities;
    using UwbAddress = ::aidl::hardware::velta::uwb::UwbAddress;

    /** All pointers are borrowed and outlive the controller. */
    SimpleRangingController(std::string iface_name, uint32_t hw_index,
                            InterfaceTool* interface_tool, McpsUtils* mcps_utils,
                            IeeeUtils* ieee_utils);
    /** As Abandon(). */
    ~SimpleRangingController() override;

    ndk::ScopedAStatus startInitiatorMode(int32_t pan_id, const UwbAddress& address,
                                          int32_t channel) override;
    ndk::ScopedAStatus startResponderMode(int32_t pan_id, const UwbAddress& address,
                                          int32_t channel) override;
    ndk::ScopedAStatus stop() override;
    ndk::ScopedAStatus getCapabilities(SimpleRangingCapabilities* caps) override;
    ndk::ScopedAStatus setRangings(const std::vector<RangingRequest>& requests) override;
    ndk::ScopedAStatus setCallback(
        const std::shared_ptr<ISimpleRangingCallback>& callback) override;

    /**
     * Sets the interface's extended address.
     *
     * @param address at most 8 bytes count, the most significant first.
     */
    bool SetUwbAddress(const UwbAddress& address);

    /**
     * Ends what the client left behind: its requests and its subscription, when it has them. The
     * client may keep calling, but drives nothing any more: the radio may be another client's.
     */
    void Abandon();
    /** Writes the mode and how many requests there are. */
    void Dump(DumpWriter* writer) const;

  private:
    // Lives as long as the subscription of this controller does.
    struct Subscription {
        std::shared_ptr<ISimpleRangingCallback> callback;
        Deliveries deliveries;
    };

    ndk::ScopedAStatus StartMode(McpsUtils::NodeType node_type, int32_t pan_id,
                                 const UwbAddress& address, int32_t channel);

    std::string iface_name_;
    uint32_t hw_index_;
    InterfaceTool* interface_tool_;
    McpsUtils* mcps_utils_;
    IeeeUtils* ieee_utils_;
    std::weak_ptr<Subscription> subscription_;
    bool is_abandoned_ = false;
};

}  // namespace hardware::velta
