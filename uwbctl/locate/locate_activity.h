// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <aidl/hardware/velta/uwb/IFiraController.h>

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "uwbctl/locate/anchors.h"
#include "uwbctl/locate/locator.h"
#include "uwbctl/locate/time_order.h"
#include "uwbctl/ranging/activity.h"
#include "uwbctl/ranging/fira_activity.h"

namespace uwbctl {

/** Finds out where something is: FiRa sessions on one or more radios, and what follows from them.
 */
class LocateActivity : public Activity,
                       public std::enable_shared_from_this<LocateActivity>,
                       private ActivityListener {
  public:
    using IFiraController = ::aidl::hardware::velta::uwb::IFiraController;
    using EstimateHandler = std::function<void(const Estimate&)>;
    /** @return where an anchor was whose place is not said, nothing where that is not known. */
    using PlaceOf = std::function<std::optional<Vec3>(const std::string& name, int64_t when_ns)>;

    /**
     * @param on_estimate hears of each place that was found, or not found.
     * @param listener borrowed; hears of all that is measured.
     */
    LocateActivity(LocateTask task, EstimateHandler on_estimate, PlaceOf place_of,
                   ActivityListener* listener);

    /** A session that it is to have; before it starts. */
    void Add(const std::string& iface, std::shared_ptr<IFiraController> controller,
             const FiraTwrSession& session);

    /** When a radio refuses that is not the first, the others end, and that is how it ends. */
    void Start(Events* events) override;
    void Stop() override;
    void Tick() override;
    const std::optional<ActivityEnd>& end() const override { return end_; }
    std::vector<std::string> ifaces() const override;
    const FiraTwrSession* SessionOn(const std::string& iface) const override;
    nlohmann::ordered_json Describe() const override;

  private:
    // For the sessions, to whom the base is private.
    ActivityListener* Listener() { return this; }
    void OnMeasurements(const std::string& iface,
                        const std::vector<Measurement>& measurements) override;
    void OnControlees(const std::string& iface, const std::string& event,
                      const std::vector<std::string>& peers, const std::string& words) override;
    void Take(const std::string& iface, const Measurement& measurement);
    // The other sessions have no use without this one.
    void GiveUp(const ActivityEnd& end);

    LocateTask task_;
    EstimateHandler on_estimate_;
    PlaceOf place_of_;
    ActivityListener* listener_;
    Locator locator_;
    std::vector<std::shared_ptr<FiraActivity>> sessions_;
    std::optional<TimeOrder> order_;
    bool is_started_ = false;
    bool is_stopping_ = false;
    // How it will have ended when all sessions have.
    ActivityEnd coming_end_ = {.tone = Tone::kInfo, .reason = "stopped"};
    std::optional<ActivityEnd> end_;
};

}  // namespace uwbctl
