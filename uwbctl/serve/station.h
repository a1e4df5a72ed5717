// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <chrono>
#include <memory>
#include <nlohmann/json.hpp>
#include <string>

#include "uwbctl/client/client.h"
#include "uwbctl/ranging/activity.h"
#include "uwbctl/serve/board.h"
#include "uwbctl/serve/event_log.h"
#include "uwbctl/ranging/fira_activity.h"
#include "uwbctl/serve/forms.h"
#include "uwbctl/serve/world_desk.h"

namespace uwbctl {

/**
 * The radio as pages see and command it: one activity at a time, for which it holds the hardware.
 * It outlives the service and finds it again. Publishes, beside what Board and WorldDesk do,
 *
 *     state   {"service", "hardware", "ifaces", "country", "activity", "recording"}
 *     begin   {"iface", "kind"}: what is measured from here on is a new activity's
 *     note    {"tone", "text", "time_ms"}: something that people want to know
 *
 * All of it on the thread that waits for events.
 */
class Station : private ActivityListener {
  public:
    /**
     * @param events, log borrowed.
     * @param iface empty for the first one.
     * @param folder for recordings.
     */
    Station(Events* events, EventLog* log, std::string iface, SessionDefaults defaults,
            const std::string& folder);

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
    void OnMeasurements(const std::vector<Measurement>& measurements) override;
    void OnControlees(const std::string& event, const std::vector<std::string>& peers,
                      const std::string& words) override;

    // For those that are made elsewhere, to whom the base is private.
    ActivityListener* Listener() { return this; }
    void StartFira(const nlohmann::ordered_json& arguments);
    void StartCcc(const nlohmann::ordered_json& arguments);
    void StartSimple(const nlohmann::ordered_json& arguments);
    void ChangeControlees(bool add, const nlohmann::ordered_json& arguments);
    void SetCountry(const nlohmann::ordered_json& arguments);
    void Record(const nlohmann::ordered_json& arguments);
    void Stop();

    // An interface of the opened hardware, by the name that arguments or options give.
    std::shared_ptr<Client::IUwbIface> OpenIface(const nlohmann::ordered_json& arguments,
                                                 std::string* name);
    template <typename SomeActivity>
    void Begin(const std::shared_ptr<SomeActivity>& activity, const std::string& iface,
               int64_t block_stride);
    void RequireIdle() const;
    void FinishActivity();
    void EndBoard(const std::string& reason);
    void LookAtService();
    void Note(Tone tone, const std::string& text);
    void PublishState();

    Events* events_;
    EventLog* log_;
    const std::string wanted_iface_;
    const SessionDefaults defaults_;
    Board board_;
    WorldDesk world_;
    nlohmann::ordered_json forms_;
    std::unique_ptr<Client> client_;
    std::shared_ptr<Activity> activity_;
    // The same, when it is one.
    std::shared_ptr<FiraActivity> fira_;
    std::string iface_;
    std::chrono::steady_clock::time_point looked_;
    // What is known of the service, in words.
    std::string service_;
    std::string hardware_;
    std::string country_;
    std::vector<std::string> ifaces_;
    std::string published_state_;
};

}  // namespace uwbctl
