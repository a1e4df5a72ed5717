// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <aidl/hardware/velta/uwb/BnUwb.h>

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "hal/uwb_iface.h"
#include "looper/event_loop.h"
#include "net/ccc_region_utils.h"
#include "net/fira_region_utils.h"
#include "net/ieee_utils.h"
#include "net/interface_tool.h"
#include "net/mcps_utils.h"

namespace hardware::velta {

/**
 * The root service: one client at a time opens the hardware, which builds one UwbIface for each
 * radio, until the client closes it or dies. There is one service in a process.
 */
class Uwb : public ::aidl::hardware::velta::uwb::BnUwb {
  public:
    using IUwbClientCallback = ::aidl::hardware::velta::uwb::IUwbClientCallback;
    using IUwbIface = ::aidl::hardware::velta::uwb::IUwbIface;

    /** All pointers are borrowed and outlive the service. The kernel is left alone until open(). */
    Uwb(InterfaceTool* interface_tool, McpsUtils* mcps_utils, IeeeUtils* ieee_utils,
        CccRegionUtils* ccc_region_utils, FiraRegionUtils* fira_region_utils,
        EventLoop* event_loop);
    ~Uwb() override;

    ndk::ScopedAStatus open(const std::shared_ptr<IUwbClientCallback>& callback) override;
    ndk::ScopedAStatus listIfaceNames(std::vector<std::string>* names) override;
    ndk::ScopedAStatus getIface(const std::string& name,
                                std::shared_ptr<IUwbIface>* iface) override;
    ndk::ScopedAStatus close() override;
    ndk::ScopedAStatus applyCountryRestriction(const std::string& country) override;
    ndk::ScopedAStatus listHardwareIndex(std::vector<int64_t>* indexes) override;

  private:
    friend void LambdaOnDeath(void* cookie);

    void SetupIfaces();
    std::shared_ptr<UwbIface> CreateUwbIface(DevInfo device, McpsHwInfo hardware);
    void InternalClose();

    InterfaceTool* interface_tool_;
    McpsUtils* mcps_utils_;
    IeeeUtils* ieee_utils_;
    CccRegionUtils* ccc_region_utils_;
    FiraRegionUtils* fira_region_utils_;
    EventLoop* event_loop_;
    std::map<std::string, std::shared_ptr<UwbIface>> ifaces_;
};

/** Called by binder when a client's process has died; cookie is the Uwb. */
void LambdaOnDeath(void* cookie);

}  // namespace hardware::velta
