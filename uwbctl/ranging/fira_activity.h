// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <aidl/hardware/velta/uwb/IFiraController.h>

#include <chrono>
#include <memory>
#include <string>
#include <vector>

#include "uwbctl/client/controlees.h"
#include "uwbctl/client/session.h"
#include "uwbctl/client/session_callback.h"
#include "uwbctl/ranging/activity.h"

namespace uwbctl {

/** A FiRa session. */
class FiraActivity : public Activity,
                     public SessionListener,
                     public std::enable_shared_from_this<FiraActivity> {
  public:
    using IFiraController = ::aidl::hardware::velta::uwb::IFiraController;
    using FiraRangingData = ::aidl::hardware::velta::uwb::FiraRangingData;
    using FiraTwrMeasurement = ::aidl::hardware::velta::uwb::FiraTwrMeasurement;

    /** @param listener borrowed. */
    FiraActivity(std::shared_ptr<IFiraController> controller, std::string iface,
                 FiraTwrSession session, ActivityListener* listener);

    const std::vector<std::string>& peers() const { return peers_; }

    void Start(Events* events) override;
    void Stop() override;
    void Tick() override;
    const std::optional<ActivityEnd>& end() const override { return end_; }
    std::vector<std::string> ifaces() const override { return {iface_}; }
    const FiraTwrSession* SessionOn(const std::string& iface) const override {
        return iface == iface_ ? &session_ : nullptr;
    }
    void ChangeControlees(bool add, const std::vector<std::string>& peers) override;
    nlohmann::ordered_json Describe() const override;

    void OnReport(const FiraRangingData& data,
                  const std::vector<FiraTwrMeasurement>& measurements) override;
    void OnControlees(const std::string& event, const std::vector<std::string>& peers) override;
    void OnStopped(int reason) override;

  private:
    void End(Tone tone, const std::string& reason);

    std::shared_ptr<IFiraController> controller_;
    std::string iface_;
    FiraTwrSession session_;
    ActivityListener* listener_;
    Controlees controlees_;
    std::vector<std::string> peers_;
    // The latest report, or the stop that was asked for.
    std::chrono::steady_clock::time_point since_;
    bool is_stopping_ = false;
    std::optional<ActivityEnd> end_;
};

}  // namespace uwbctl
