// SPDX-License-Identifier: Apache-2.0
#include "uwbctl/serve/running.h"

#include <algorithm>
#include <iterator>
#include <utility>

#include "uwbctl/client/text.h"

namespace uwbctl {

using Json = nlohmann::ordered_json;

Activity* Running::On(const std::string& iface) const {
    for (const auto& activity : activities_) {
        const auto ifaces = activity->ifaces();
        if (std::find(ifaces.begin(), ifaces.end(), iface) != ifaces.end()) return activity.get();
    }
    return nullptr;
}

void Running::CheckFree(const std::string& iface) const {
    const Activity* activity = On(iface);
    if (activity == nullptr) return;
    const bool is_stopping = activity->Describe().at("phase") == "stopping";
    throw Failure(kRefused, iface + (is_stopping ? " is still stopping" : " is busy: stop first"));
}

Json Running::Describe() const {
    Json all = Json::array();
    for (const auto& activity : activities_) {
        Json description = {{"ifaces", activity->ifaces()}};
        description.update(activity->Describe());
        all.push_back(std::move(description));
    }
    return all;
}

std::vector<std::string> Running::Ifaces() const {
    std::vector<std::string> names;
    for (const auto& activity : activities_) {
        for (std::string& name : activity->ifaces()) names.push_back(std::move(name));
    }
    return names;
}

const FiraTwrSession* Running::SessionOn(const std::string& iface) const {
    const Activity* activity = On(iface);
    return activity == nullptr ? nullptr : activity->SessionOn(iface);
}

std::optional<ThingId> Running::ThingOfPeer(const std::string& iface,
                                            const std::string& peer) const {
    const FiraTwrSession* own = SessionOn(iface);
    for (const std::string& other : Ifaces()) {
        const FiraTwrSession* session = SessionOn(other);
        if (own == nullptr || session == nullptr || other == iface) continue;
        // As radios find each other.
        if (session->id == own->id && session->deviceType != own->deviceType &&
            AddressText(session->deviceAddress) == peer) {
            return ThingOf(other);
        }
    }
    return ParseThingId(peer);
}

void Running::Tick() {
    for (const auto& activity : activities_) activity->Tick();
}

void Running::Stop(const std::string& iface) {
    std::optional<Failure> failed;
    for (const auto& activity : activities_) {
        if (!iface.empty() && activity.get() != On(iface)) continue;
        try {
            activity->Stop();
        } catch (const Failure& failure) {
            failed = failure;
        }
    }
    if (failed) throw Failure(*failed);
}

Running::List Running::TakeEnded() {
    const auto over = std::stable_partition(activities_.begin(), activities_.end(),
                                            [](const auto& activity) { return !activity->end(); });
    List ended(std::make_move_iterator(over), std::make_move_iterator(activities_.end()));
    activities_.erase(over, activities_.end());
    return ended;
}

}  // namespace uwbctl
