// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <vector>

#include "uwbctl/client/client.h"
#include "uwbctl/client/interfaces.h"
#include "uwbctl/ranging/activity.h"
#include "uwbctl/ranging/fira_activity.h"
#include "uwbctl/serve/arguments.h"
#include "uwbctl/serve/board.h"
#include "uwbctl/serve/event_log.h"
#include "uwbctl/serve/forms.h"
#include "uwbctl/serve/running.h"
#include "uwbctl/serve/world_desk.h"

namespace uwbctl {

/**
 * The radios as pages see and command them: one activity on each at a time, for which it holds the
 * hardware. It outlives the service and finds it again. Publishes, beside what Board and WorldDesk
 * do,
 *
 *     state   {"service", "hardware", "ifaces": [{"name", "thing"}], "country",
 *             "activities": [{"ifaces", "kind", "phase", ...}], "recording", "recorded"}
 *     note    {"tone", "text", "time_ms"}: something that people want to know
 *
 * All of it on the thread that waits for events.
 */
class Station : private ActivityListener {
  public:
    /** What it finds on this machine; tests put something else in its place. */
    struct Surroundings {
        /** @return a connection to the service; a Failure where there is none. */
        std::function<std::unique_ptr<Client>(Events*)> connect = [](Events* events) {
            return std::make_unique<Client>(events);
        };
        std::function<std::vector<std::string>()> ifaces = Ieee802154Interfaces;
        std::string world = VirtualWorld::kFolder;
    };

    /**
     * @param events, log borrowed.
     * @param folder for recordings.
     */
    Station(Events* events, EventLog* log, SessionDefaults defaults, const std::string& folder,
            Surroundings surroundings);

    /** As Backend::Command(). */
    nlohmann::ordered_json Command(const std::string& name,
                                   const nlohmann::ordered_json& arguments);

    nlohmann::ordered_json Forms() const { return forms_; }
    const std::string& recording() const { return board_.recording(); }

    /** Looks at clock and service, and tells what has changed. To be called several times a second.
     */
    void Tick();

    /** Ends what goes on, and waits for it. */
    void End();

  private:
    void OnMeasurements(const std::string& iface,
                        const std::vector<Measurement>& measurements) override;
    void OnControlees(const std::string& iface, const std::string& event,
                      const std::vector<std::string>& peers, const std::string& words) override;

    // For those that are made elsewhere, to whom the base is private.
    ActivityListener* Listener() { return this; }
    static const Verbs<Station>& Commands();
    void StartFira(const nlohmann::ordered_json& arguments);
    void StartLocate(const nlohmann::ordered_json& arguments);
    void StartCcc(const nlohmann::ordered_json& arguments);
    void StartSimple(const nlohmann::ordered_json& arguments);
    template <bool kAdds>
    void ChangeControlees(const nlohmann::ordered_json& arguments);
    void StopOn(const nlohmann::ordered_json& arguments);
    void SetCountry(const nlohmann::ordered_json& arguments);
    void Record(const nlohmann::ordered_json& arguments);
    void StopRecording(const std::string& iface);
    void CountAnew(const nlohmann::ordered_json& arguments);
    // On all for an empty name.
    void Stop(const std::string& iface);

    // The interface that arguments or options name, else the first one.
    std::string NameOf(const nlohmann::ordered_json& arguments);
    void RequireInterface(const std::string& name);
    // The opened hardware, with nothing on that interface.
    Client* OpenFor(const std::string& iface);
    void Begin(const std::shared_ptr<Activity>& activity, int64_t block_stride,
               const std::string& words);
    // Where a peer, or a radio by its interface, is or was in the virtual world.
    // Without a time: where it is now.
    std::optional<Vec3> PlaceOf(const std::string& name, std::optional<int64_t> when_ns);
    std::optional<PeerTruth> TruthOf(const std::string& iface, const Measurement& measurement);
    void RequireIdle() const;
    void FinishActivities();
    void EndBoard(const Activity& activity, const std::string& reason);
    void LookAtService();
    void LookForHolder();
    void Note(Tone tone, const std::string& text);
    void PublishState();

    Events* events_;
    EventLog* log_;
    const Surroundings surroundings_;
    const SessionDefaults defaults_;
    Board board_;
    WorldDesk world_;
    nlohmann::ordered_json forms_;
    std::unique_ptr<Client> client_;
    Running running_;
    std::chrono::steady_clock::time_point looked_;
    // What is known of the service, in words.
    std::string service_;
    std::string hardware_;
    std::string country_;
    std::vector<std::string> ifaces_;
    std::string published_state_;
};

}  // namespace uwbctl
