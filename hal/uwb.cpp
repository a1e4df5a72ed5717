// SPDX-License-Identifier: Apache-2.0
#define LOG_TAG "velta.Uwb"

#include "hal/uwb.h"

#include <android-base/logging.h>
#include <android/binder_ibinder.h>

#include <algorithm>
#include <utility>

#include "hal/ipc_utils.h"

namespace hardware::velta {
namespace {

using ::aidl::hardware::velta::uwb::IUwbClientCallback;
using ::ndk::ScopedAStatus;

// The client that holds the hardware, and what tells of its death. One service, one client.
std::shared_ptr<IUwbClientCallback> g_client_callback;
AIBinder_DeathRecipient* g_death_recipient = nullptr;

bool IsClientAlive() {
    return AIBinder_isAlive(g_client_callback->asBinder().get());
}

}  // namespace

void LambdaOnDeath(void* cookie) {
    if (g_client_callback == nullptr || IsClientAlive()) return;
    LOG(INFO) << __func__ << " Uwb service has died";
    static_cast<Uwb*>(cookie)->InternalClose();
}

Uwb::Uwb(InterfaceTool* interface_tool, McpsUtils* mcps_utils, IeeeUtils* ieee_utils,
         CccRegionUtils* ccc_region_utils, FiraRegionUtils* fira_region_utils,
         EventLoop* event_loop, const Diagnostics* diagnostics)
    : interface_tool_(interface_tool),
      mcps_utils_(mcps_utils),
      ieee_utils_(ieee_utils),
      ccc_region_utils_(ccc_region_utils),
      fira_region_utils_(fira_region_utils),
      event_loop_(event_loop),
      diagnostics_(diagnostics),
      dump_delivery_(event_loop) {}

Uwb::~Uwb() {
    // The death link holds a pointer to this object.
    if (g_client_callback != nullptr) InternalClose();
}

ScopedAStatus Uwb::open(const std::shared_ptr<IUwbClientCallback>& callback) {
    LOG(INFO) << __func__;
    if (callback == nullptr) return BadArgument("null client callback");
    if (g_client_callback != nullptr) {
        if (IsClientAlive()) {
            LOG(INFO) << "Cannot accept two clients";
            return Error(ErrorCode::INVALID_STATE, "HAL is already open");
        }
        LOG(INFO) << "Previous client is dead";
        InternalClose();
    }
    if (!mcps_utils_->Start()) {
        LOG(ERROR) << "Failed to start mcps utils";
        return Error(ErrorCode::FAILED, "Failed to find MCPS netlink, check the kernel module");
    }
    const auto net_id = static_cast<uint32_t>(mcps_utils_->GetNetId());
    ccc_region_utils_->SetMcpsNetId(net_id);
    fira_region_utils_->SetMcpsNetId(net_id);
    if (!ieee_utils_->Setup()) {
        LOG(ERROR) << "Failed to setup ieee utils";
        return Error(ErrorCode::FAILED, "Failed to find IEEE netlink, check the kernel module");
    }
    g_client_callback = callback;
    holder_ = {.pid = AIBinder_getCallingPid(),
               .uid = AIBinder_getCallingUid(),
               .since = std::chrono::steady_clock::now()};
    g_death_recipient = AIBinder_DeathRecipient_new(LambdaOnDeath);
    const binder_status_t status =
        AIBinder_linkToDeath(callback->asBinder().get(), g_death_recipient, this);
    if (status != STATUS_OK) LOG(WARNING) << __func__ << ": linkToDeath failed: " << status;
    SetupIfaces();
    return ScopedAStatus::ok();
}

bool Uwb::IsHeld() {
    return g_client_callback != nullptr;
}

void Uwb::SetupIfaces() {
    bool ok = false;
    const std::vector<McpsHwInfo> hardware = mcps_utils_->ListHardware(&ok);
    if (!ok) return;
    hardware_ = hardware;
    const std::vector<DevInfo> devices = ieee_utils_->ListDevices(&ok);
    if (!ok) return;
    for (const DevInfo& device : devices) {
        const auto match = std::find_if(
            hardware.begin(), hardware.end(),
            [&device](const McpsHwInfo& info) { return info.phy_index == device.phy_index; });
        if (match != hardware.end()) ifaces_[device.name] = CreateUwbIface(device, *match);
    }
}

std::shared_ptr<UwbIface> Uwb::CreateUwbIface(DevInfo device, McpsHwInfo hardware) {
    using ndk::SharedRefBase;
    const std::string& name = device.name;
    const uint32_t index = hardware.hw_index;
    auto fira = SharedRefBase::make<FiraController>(name, index, ieee_utils_, fira_region_utils_,
                                                    event_loop_);
    auto ccc = SharedRefBase::make<CccController>(name, index, ieee_utils_, ccc_region_utils_,
                                                  mcps_utils_);
    auto simple_ranging = SharedRefBase::make<SimpleRangingController>(name, index, interface_tool_,
                                                                       mcps_utils_, ieee_utils_);
    auto iface = SharedRefBase::make<UwbIface>(name, index, interface_tool_, mcps_utils_, fira, ccc,
                                               simple_ranging);
    iface->Setup();  // An interface whose set-up failed is offered all the same.
    return iface;
}

ScopedAStatus Uwb::close() {
    InternalClose();
    return ScopedAStatus::ok();
}

void Uwb::InternalClose() {
    LOG(INFO) << __func__;
    for (const auto& [name, iface] : ifaces_) iface->Stop();
    ifaces_.clear();
    g_client_callback.reset();
    // Ends the link as well.
    if (g_death_recipient != nullptr) {
        AIBinder_DeathRecipient_delete(std::exchange(g_death_recipient, nullptr));
    }
}

ScopedAStatus Uwb::listIfaceNames(std::vector<std::string>* names) {
    for (const auto& [name, iface] : ifaces_) names->push_back(name);
    return ScopedAStatus::ok();
}

ScopedAStatus Uwb::getIface(const std::string& name, std::shared_ptr<IUwbIface>* iface) {
    LOG(INFO) << __func__;
    const auto entry = ifaces_.find(name);
    if (entry == ifaces_.end()) {
        LOG(WARNING) << __func__ << ": Unknown iface " << name;
        return BadArgument("Unknown iface %s", name.c_str());
    }
    *iface = entry->second;
    return ScopedAStatus::ok();
}

ScopedAStatus Uwb::listHardwareIndex(std::vector<int64_t>* indexes) {
    LOG(INFO) << __func__;
    // Nobody has to hold the hardware to list it, so nobody may have looked for the driver yet; and
    // one that was loaded anew has another family number than the last client found.
    bool ok = false;
    std::vector<McpsHwInfo> hardware;
    if (mcps_utils_->GetNetId() != 0) hardware = mcps_utils_->ListHardware(&ok);
    if (!ok && mcps_utils_->Start()) hardware = mcps_utils_->ListHardware(&ok);
    if (!ok) return Error(ErrorCode::FAILED, "Failed to list hardware");
    hardware_ = hardware;
    for (const McpsHwInfo& info : hardware) indexes->push_back(info.hw_index);
    return ScopedAStatus::ok();
}

ScopedAStatus Uwb::applyCountryRestriction(const std::string& country) {
    LOG(INFO) << __func__ << ": country code = " << country;
    ScopedAStatus status = ScopedAStatus::ok();
    for (const auto& [name, iface] : ifaces_) {
        interface_tool_->SetUpStateIfNecessary(name.c_str(), false);
        status = iface->LoadCountryCalibrations(country);
        if (iface->calibration()) calibrations_[name] = *iface->calibration();
        if (!status.isOk()) break;
    }
    return status;
}

}  // namespace hardware::velta
