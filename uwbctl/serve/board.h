// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <chrono>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "uwbctl/client/measurement.h"
#include "uwbctl/client/output.h"
#include "uwbctl/client/session.h"
#include "uwbctl/locate/locator.h"
#include "uwbctl/recording/statistics.h"
#include "uwbctl/serve/event_log.h"

namespace uwbctl {

/** Where a peer really was when it was measured, as the radio would see it without any error. */
struct PeerTruth {
    /** What the peer is in the world, such as "0x1234" or "radio1". */
    std::string thing;
    double distance_mm = 0;
    double azimuth_rad = 0;
    double elevation_rad = 0;
};

/**
 * Tells the log of all that is measured, with statistics once a second, and records it. Publishes
 *
 *     begin    {"ifaces", "kind", "others"}: what these measure from here on is a new activity's;
 *              what the others measure goes on, anything else is forgotten
 *     report   {"n" (counts on), "iface", "m": [{"peer", "t" (ns), "block", "status", "d" (mm),
 *              "los", "az", "azf", "el", "elf", "true": {"thing", "d", "az", "el"}}]}: no member
 *              for what was not measured
 *     place    what ToJson() of an estimate has, with "what" and "true_m"
 *     stats    {"peers": [...], "place"}, see StatisticsJson()
 */
class Board {
  public:
    /** @return the truth of a measurement, nothing where it is not known. */
    using TruthOf = std::function<std::optional<PeerTruth>(const Measurement&)>;

    /**
     * @param log borrowed.
     * @param folder for recordings; one that is there.
     */
    Board(EventLog* log, std::string folder) : log_(log), folder_(std::move(folder)) {}
    /** Removes the recording. */
    ~Board() { RemoveRecording(); }
    Board(const Board&) = delete;
    Board& operator=(const Board&) = delete;

    /** What begins. */
    struct Beginning {
        std::vector<std::string> ifaces;
        /** Interfaces on which something else goes on. */
        std::vector<std::string> others;
        std::string kind;
        int64_t block_stride = 1;
    };
    /** Something new begins: what was counted is forgotten, but for what goes on. */
    void Begin(const Beginning& beginning);
    /** What was counted of everything is forgotten; all goes on. */
    void CountAnew();
    void Add(const std::string& iface, const std::vector<Measurement>& measurements,
             const TruthOf& truth_of);
    /**
     * Something was located, or not.
     *
     * @param what its name: a peer, or an interface.
     * @param truth where it really was, nothing where that is not known.
     */
    void AddPlace(const std::string& what, const Estimate& estimate,
                  const std::optional<Vec3>& truth);
    void OnControlees(const std::string& iface, const std::string& event,
                      const std::vector<std::string>& peers);
    /** Nothing more is measured on an interface. */
    void End(const std::string& iface, const std::string& reason);

    /** Begins a recording in place of the one before; a Failure when it cannot be written. */
    void StartRecording(const std::string& iface, const FiraTwrSession& session);
    void StopRecording(const std::string& reason);
    /** Its file goes; who reads it already has all of it. */
    void RemoveRecording();
    bool is_recording() const { return recorder_ != nullptr; }
    /** @return the interface whose session is, or was, recorded last. */
    const std::string& recorded_iface() const { return recorded_iface_; }
    /** @return the latest recording, whole or not; empty when there is none. */
    const std::string& recording() const { return recording_; }

    /** Publishes statistics when it is time. */
    void Tick();

  private:
    // One peer since Begin().
    struct Peer {
        std::string iface;
        std::string name;
        PeerStatistics statistics;
        uint64_t line_of_sight = 0;
        uint64_t line_of_sight_known = 0;
        // Of measured against true distance, in millimetres.
        uint64_t errors = 0;
        double error_sum = 0;
        double error_squares = 0;
    };

    // Of what was located since Begin().
    struct Places {
        uint64_t count = 0;
        uint64_t located = 0;
        // Of those whose true place is known, in metres.
        uint64_t errors = 0;
        double error_squares = 0;
        double residual_squares = 0;
    };

    Peer* Find(const std::string& iface, const std::string& name);
    nlohmann::ordered_json StatisticsJson() const;
    static nlohmann::ordered_json PeerJson(const Peer& peer);
    void Record(const std::vector<Measurement>& measurements);
    // A recording that fails is over; the Failure says so.
    void Write(const std::function<void(Output*)>& write);
    void PublishStatistics();

    EventLog* log_;
    const std::string folder_;
    std::map<std::string, int64_t> block_strides_;
    uint64_t reports_ = 0;
    std::vector<Peer> peers_;
    Places places_;
    bool has_news_ = false;
    std::chrono::steady_clock::time_point published_;
    std::unique_ptr<Output> recorder_;
    uint64_t recorded_ = 0;
    uint64_t recorded_lines_ = 0;
    uint64_t recordings_ = 0;
    std::string recording_;
    std::string recorded_iface_;
};

}  // namespace uwbctl
