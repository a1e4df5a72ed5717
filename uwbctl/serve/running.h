// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "uwbctl/ranging/activity.h"
#include "uwbctl/world/scene.h"

namespace uwbctl {

/** What runs, and on which radios: one activity at a time on each. */
class Running {
  public:
    using List = std::vector<std::shared_ptr<Activity>>;

    bool is_empty() const { return activities_.empty(); }
    const List& activities() const { return activities_; }

    /** One that has started, on interfaces where nothing else is. */
    void Add(std::shared_ptr<Activity> activity) { activities_.push_back(std::move(activity)); }

    /** @return what is on an interface, null for nothing. */
    Activity* On(const std::string& iface) const;

    /** Throws a Failure that says what hinders something new on an interface. */
    void CheckFree(const std::string& iface) const;

    /** @return "ifaces" and what each activity says of itself, in a list. */
    nlohmann::ordered_json Describe() const;

    /** @return the interfaces on which something is. */
    std::vector<std::string> Ifaces() const;

    /** @return the FiRa session on an interface, null for none. Borrowed from what runs. */
    const FiraTwrSession* SessionOn(const std::string& iface) const;

    /**
     * @return what a peer of an interface is in the world: another radio of this device that ranges
     *         with it, or else a tag; nothing for what is neither.
     */
    std::optional<ThingId> ThingOfPeer(const std::string& iface, const std::string& peer) const;

    void Tick();

    /**
     * Asks what is on an interface to end, or everything when that is empty. The Failure of one
     * comes when all the others were asked.
     */
    void Stop(const std::string& iface);

    /** @return what has ended since the last time; it is not here any more. */
    List TakeEnded();

    /** @return everything, which is not here any more, whether it has ended or not. */
    List TakeAll() { return std::exchange(activities_, {}); }

  private:
    List activities_;
};

}  // namespace uwbctl
