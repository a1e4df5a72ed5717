// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <aidl/hardware/velta/uwb/BnUwb.h>

#include <sys/types.h>

#include <chrono>
#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "diagnostics/diagnostics.h"
#include "diagnostics/dump_delivery.h"
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

    /**
     * All pointers are borrowed and outlive the service. The kernel is left alone until open().
     *
     * @param diagnostics for dump(); null for none.
     */
    Uwb(InterfaceTool* interface_tool, McpsUtils* mcps_utils, IeeeUtils* ieee_utils,
        CccRegionUtils* ccc_region_utils, FiraRegionUtils* fira_region_utils, EventLoop* event_loop,
        const Diagnostics* diagnostics = nullptr);
    ~Uwb() override;

    ndk::ScopedAStatus open(const std::shared_ptr<IUwbClientCallback>& callback) override;
    ndk::ScopedAStatus listIfaceNames(std::vector<std::string>* names) override;
    ndk::ScopedAStatus getIface(const std::string& name,
                                std::shared_ptr<IUwbIface>* iface) override;
    ndk::ScopedAStatus close() override;
    ndk::ScopedAStatus applyCountryRestriction(const std::string& country) override;
    ndk::ScopedAStatus listHardwareIndex(std::vector<int64_t>* indexes) override;

    /**
     * Tells what the service knows of itself, without asking the driver: no addresses or keys;
     * values of calibration only where one of the last errors has what could not be read. Never
     * waits for the reader.
     *
     * @param args "--json", "--help", and "-a", which whoever dumps all services says.
     */
    binder_status_t dump(int fd, const char** args, uint32_t num_args) override;

  private:
    // Who holds the hardware.
    struct Holder {
        pid_t pid;
        uid_t uid;
        std::chrono::steady_clock::time_point since;
    };

    friend void LambdaOnDeath(void* cookie);

    void SetupIfaces();
    std::shared_ptr<UwbIface> CreateUwbIface(DevInfo device, McpsHwInfo hardware);
    void InternalClose();
    // Whether a client, dead or alive, holds the hardware.
    static bool IsHeld();
    std::string DumpText(DumpWriter::Format format) const;
    void DumpCounters(DumpWriter* writer) const;
    void DumpErrors(DumpWriter* writer) const;

    InterfaceTool* interface_tool_;
    McpsUtils* mcps_utils_;
    IeeeUtils* ieee_utils_;
    CccRegionUtils* ccc_region_utils_;
    FiraRegionUtils* fira_region_utils_;
    EventLoop* event_loop_;
    const Diagnostics* diagnostics_;
    std::map<std::string, std::shared_ptr<UwbIface>> ifaces_;
    // As it was listed last.
    std::vector<McpsHwInfo> hardware_;
    // By interface; what the driver has does not end with the client.
    std::map<std::string, UwbIface::Calibration> calibrations_;
    Holder holder_ = {};
    std::chrono::steady_clock::time_point started_ = std::chrono::steady_clock::now();
    DumpDelivery dump_delivery_;
};

/** Called by binder when a client's process has died; cookie is the Uwb. */
void LambdaOnDeath(void* cookie);

}  // namespace hardware::velta
