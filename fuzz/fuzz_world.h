// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <aidl/hardware/velta/uwb/BnCccControllerCallback.h>
#include <aidl/hardware/velta/uwb/BnFiraSessionCallback.h>
#include <aidl/hardware/velta/uwb/BnSimpleRangingCallback.h>
#include <aidl/hardware/velta/uwb/FiraTwrSession.h>

#include <functional>
#include <memory>
#include <vector>

#include "fuzz/scripted_netlink.h"
#include "hal/uwb.h"

namespace hardware::velta {

/** Interfaces that are up or down as told, and take everything unless they do not work. */
class ToldTool : public InterfaceTool {
  public:
    bool GetUpState(const char* /*iface*/) override { return is_up_; }
    bool SetUpState(const char* /*iface*/, bool up) override {
        if (works) is_up_ = up;
        return works;
    }
    bool SetUpStateIfNecessary(const char* iface, bool up) override {
        return SetUpState(iface, up);
    }
    bool SetMacAddress(const char* /*iface*/, const std::array<uint8_t, 8>& /*mac*/) override {
        return works;
    }
    bool works = true;

  private:
    bool is_up_ = true;
};

/** Writes the calibration that World's service loads, and sets the property that leads there. */
void WriteCalibration();

/** A whole service over a kernel of two radios, "wpan0" and "wpan1", with its clients. */
class World {
  public:
    using Status = ndk::ScopedAStatus;
    using FiraSession = ::aidl::hardware::velta::uwb::FiraTwrSession;
    using Address = ::aidl::hardware::velta::uwb::UwbAddress;

    /** @param by_event how notifications are read. */
    explicit World(bool by_event);
    /** Closes the service, which is one in a process. */
    ~World();

    /** Opens the service with a client in another process, a new one if that has died. */
    void Open();
    /** Has the client die; with a notice of it or without. */
    void Die(bool tell);
    /** Plays one of the messages that the kernel sends by itself. */
    void Report(uint8_t which);
    void Notify(const Datagram& message);
    /** Has every socket that is watched lose messages. */
    void LoseReports();

    /** @return every binder object that there is now, callbacks too. */
    std::vector<ndk::SpAIBinder> Objects();
    /** @return controllers of the first radio; null while the service is closed. */
    std::shared_ptr<FiraController::IFiraController> Fira();
    std::shared_ptr<UwbIface::ICccController> Ccc();
    std::shared_ptr<UwbIface::ISimpleRangingController> Simple();
    static FiraSession GoodSession(int32_t id);

    /** What callbacks do and answer. */
    std::function<Status()> on_callback = [] { return Status::ok(); };
    /** Requests that the kernel refuses: one bit each, in order, lowest first. */
    uint16_t refusals = 0;

    ManualLoop loop;
    ToldTool tool;

  private:
    class RemoteClient;

    void OnRequest(nl_sock* socket, const Bytes& request);
    std::shared_ptr<Uwb::IUwbIface> Iface();

    NlSocketFactory factory_;
    McpsUtils mcps_{&factory_};
    IeeeUtils ieee_{&factory_};
    CccRegionUtils ccc_{&factory_};
    FiraRegionUtils fira_{&factory_};
    std::shared_ptr<RemoteClient> client_;

  public:
    std::shared_ptr<Uwb> service;
    std::shared_ptr<::aidl::hardware::velta::uwb::BnFiraSessionCallback> fira_callback;
    std::shared_ptr<::aidl::hardware::velta::uwb::BnCccControllerCallback> ccc_callback;
    std::shared_ptr<::aidl::hardware::velta::uwb::BnSimpleRangingCallback> simple_callback;
};

}  // namespace hardware::velta
