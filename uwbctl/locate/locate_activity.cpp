// SPDX-License-Identifier: Apache-2.0
#include "uwbctl/locate/locate_activity.h"

#include <algorithm>
#include <utility>

namespace uwbctl {
namespace {

using Json = nlohmann::ordered_json;

// How far the reports of one radio may be behind those of another.
constexpr int64_t kRadiosApartNs = 500'000'000;

}  // namespace

LocateActivity::LocateActivity(LocateTask task, EstimateHandler on_estimate, PlaceOf place_of,
                               ActivityListener* listener)
    : task_(std::move(task)),
      on_estimate_(std::move(on_estimate)),
      place_of_(std::move(place_of)),
      listener_(listener),
      locator_(task_.anchors, task_.solver) {}

void LocateActivity::Add(const std::string& iface, std::shared_ptr<IFiraController> controller,
                         const FiraTwrSession& session) {
    sessions_.push_back(
        std::make_shared<FiraActivity>(std::move(controller), iface, session, Listener()));
}

void LocateActivity::Start(Events* events) {
    order_.emplace(ifaces(), kRadiosApartNs,
                   [this](const std::string& iface, const Measurement& measurement) {
                       Take(iface, measurement);
                   });
    for (const auto& session : sessions_) {
        try {
            session->Start(events);
        } catch (const Failure& failure) {
            const bool is_first = session == sessions_.front();
            // Those from here on never began.
            sessions_.erase(std::find(sessions_.begin(), sessions_.end(), session),
                            sessions_.end());
            if (is_first) throw;
            GiveUp({.tone = Tone::kError, .reason = failure.what()});
            return;
        }
    }
    // What came while some were still to start makes no round.
    events->Post([weak = weak_from_this()] {
        if (const auto self = weak.lock()) self->is_started_ = true;
    });
}

void LocateActivity::GiveUp(const ActivityEnd& end) {
    if (is_stopping_) return;
    coming_end_ = end;
    try {
        Stop();
    } catch (const Failure&) {
        // What does not stop is given up by its own patience.
    }
}

void LocateActivity::Stop() {
    is_stopping_ = true;
    std::optional<Failure> failed;
    for (const auto& session : sessions_) {
        try {
            session->Stop();
        } catch (const Failure& failure) {
            failed = failure;  // The others are stopped all the same.
        }
    }
    if (failed) throw Failure(*failed);
}

void LocateActivity::Tick() {
    if (end_) return;
    bool all_ended = true;
    for (const auto& session : sessions_) {
        session->Tick();
        if (!session->end()) {
            all_ended = false;
        } else if (session->end()->tone != Tone::kInfo) {
            GiveUp(*session->end());
        }
    }
    if (all_ended) end_ = coming_end_;
}

std::vector<std::string> LocateActivity::ifaces() const {
    std::vector<std::string> names;
    for (const auto& session : sessions_) names.push_back(session->ifaces().front());
    return names;
}

const FiraTwrSession* LocateActivity::SessionOn(const std::string& iface) const {
    for (const auto& session : sessions_) {
        if (const FiraTwrSession* found = session->SessionOn(iface)) return found;
    }
    return nullptr;
}

void LocateActivity::OnMeasurements(const std::string& iface,
                                    const std::vector<Measurement>& measurements) {
    listener_->OnMeasurements(iface, measurements);
    if (!is_started_ || is_stopping_) return;
    for (const Measurement& measurement : measurements) order_->Add(iface, measurement);
}

void LocateActivity::OnControlees(const std::string& iface, const std::string& event,
                                  const std::vector<std::string>& peers, const std::string& words) {
    listener_->OnControlees(iface, event, peers, words);
}

void LocateActivity::Take(const std::string& iface, const Measurement& measurement) {
    if (!task_.tag.empty() && measurement.peer != task_.tag) return;
    const std::string& anchor = task_.tag.empty() ? measurement.peer : iface;
    if (const auto at = place_of_(anchor, measurement.timestamp_ns)) locator_.Move(anchor, *at);
    if (const auto estimate = locator_.Add(anchor, measurement)) on_estimate_(*estimate);
}

Json LocateActivity::Describe() const {
    Json anchors = Json::array();
    for (const Anchor& it : task_.anchors) {
        anchors.push_back({{"name", it.name},
                           {"at_m", {it.at.x, it.at.y, it.at.z}},
                           {"is_place_said", it.is_place_said}});
    }
    return {{"kind", "locate"},
            {"phase", is_stopping_ ? "stopping" : "running"},
            {"tag", task_.tag},
            {"peers", sessions_.front()->peers()},
            {"anchors", std::move(anchors)},
            {"height_m", task_.solver.height ? Json(*task_.solver.height) : Json(nullptr)},
            {"session", PublicSessionToJson(
                            *sessions_.front()->SessionOn(sessions_.front()->ifaces().front()))}};
}

}  // namespace uwbctl
