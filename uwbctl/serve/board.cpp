// SPDX-License-Identifier: Apache-2.0
#include "uwbctl/serve/board.h"

#include <unistd.h>

#include <algorithm>
#include <cmath>

#include "uwbctl/client/client.h"
#include "uwbctl/client/text.h"
#include "uwbctl/client/units.h"
#include "uwbctl/locate/estimate.h"
#include "uwbctl/recording/recorder.h"
#include "uwbctl/serve/note.h"

namespace uwbctl {
namespace {

using Json = nlohmann::ordered_json;
using std::chrono::steady_clock;

constexpr std::chrono::milliseconds kStatisticsInterval{1000};
// About an hour of eight peers at twenty reports a second; a device has no more to spare.
constexpr uint64_t kMaxRecorded = 600000;

void PutAngle(const char* name, const char* merit, const std::optional<Angle>& angle, Json* json) {
    if (!angle) return;
    (*json)[name] = angle->radians;
    (*json)[merit] = angle->figure_of_merit;
}

Json ReportOf(const Measurement& measurement, const std::optional<PeerTruth>& truth) {
    Json json = {{"peer", measurement.peer},
                 {"t", measurement.timestamp_ns},
                 {"block", measurement.block},
                 {"status", measurement.status}};
    if (measurement.distance_mm) json["d"] = *measurement.distance_mm;
    if (measurement.line_of_sight) json["los"] = *measurement.line_of_sight;
    PutAngle("az", "azf", measurement.azimuth, &json);
    PutAngle("el", "elf", measurement.elevation, &json);
    if (truth) {
        json["true"] = {{"thing", truth->thing},
                        {"d", truth->distance_mm},
                        {"az", truth->azimuth_rad},
                        {"el", truth->elevation_rad}};
    }
    return json;
}

template <typename T>
Json OrNull(const std::optional<T>& value) {
    return value ? Json(*value) : Json(nullptr);
}

}  // namespace

void Board::RemoveRecording() {
    recorder_.reset();
    if (!recording_.empty()) unlink(recording_.c_str());
    recording_.clear();
}

void Board::Begin(const Beginning& beginning) {
    const auto goes_on = [&beginning](const std::string& iface) {
        return std::find(beginning.others.begin(), beginning.others.end(), iface) !=
               beginning.others.end();
    };
    std::erase_if(peers_, [&goes_on](const Peer& peer) { return !goes_on(peer.iface); });
    if (beginning.others.empty() || beginning.kind == "locate") places_ = {};
    for (const std::string& iface : beginning.ifaces) {
        block_strides_[iface] = beginning.block_stride;
    }
    log_->Keep(
        "begin",
        Json{{"ifaces", beginning.ifaces}, {"kind", beginning.kind}, {"others", beginning.others}}
            .dump());
    PublishStatistics();
}

void Board::CountAnew() {
    peers_.clear();
    places_ = {};
    PublishStatistics();
}

Board::Peer* Board::Find(const std::string& iface, const std::string& name) {
    auto found = std::find_if(peers_.begin(), peers_.end(), [&](const Peer& peer) {
        return peer.name == name && peer.iface == iface;
    });
    if (found == peers_.end()) {
        found = peers_.insert(found, Peer{.iface = iface,
                                          .name = name,
                                          .statistics = PeerStatistics(block_strides_[iface])});
    }
    return &*found;
}

void Board::Add(const std::string& iface, const std::vector<Measurement>& measurements,
                const TruthOf& truth_of) {
    Json list = Json::array();
    for (const Measurement& measurement : measurements) {
        const std::optional<PeerTruth> truth = truth_of(measurement);
        list.push_back(ReportOf(measurement, truth));
        Peer* peer = Find(iface, measurement.peer);
        peer->statistics.Add(measurement);
        if (measurement.line_of_sight) {
            peer->line_of_sight_known++;
            if (*measurement.line_of_sight) peer->line_of_sight++;
        }
        if (truth && measurement.distance_mm) {
            const double error = static_cast<double>(*measurement.distance_mm) - truth->distance_mm;
            peer->errors++;
            peer->error_sum += error;
            peer->error_squares += error * error;
        }
    }
    log_->Publish("report",
                  Json{{"n", ++reports_}, {"iface", iface}, {"m", std::move(list)}}.dump());
    has_news_ = true;
    if (iface == recorded_iface_) Record(measurements);
}

void Board::AddPlace(const std::string& what, const Estimate& estimate,
                     const std::optional<Vec3>& truth) {
    const auto& location = estimate.solution.location;
    std::optional<double> error;
    places_.count++;
    if (location) {
        places_.located++;
        places_.residual_squares += location->residual * location->residual;
    }
    if (location && truth) {
        error = ErrorOf(*location, *truth);
        places_.errors++;
        places_.error_squares += *error * *error;
    }
    Json json = {{"what", what}};
    json.update(ToJson(estimate, error));
    if (truth) json["true_m"] = {truth->x, truth->y, truth->z};
    log_->Publish("place", json.dump());
    has_news_ = true;
}

void Board::Record(const std::vector<Measurement>& measurements) {
    Write([&measurements](Output* recorder) {
        for (const Measurement& measurement : measurements) recorder->Add(measurement);
        recorder->EndReport();
    });
    if (recorder_ == nullptr) return;
    recorded_++;
    recorded_lines_ += measurements.size();
    if (recorded_lines_ > kMaxRecorded) StopRecording("full");
}

void Board::Write(const std::function<void(Output*)>& write) {
    if (recorder_ == nullptr) return;
    try {
        write(recorder_.get());
    } catch (const Failure&) {
        recorder_.reset();  // What could not be written will not be ended either.
        throw;
    }
}

void Board::OnControlees(const std::string& iface, const std::string& event,
                         const std::vector<std::string>& peers) {
    if (event == "controlees_removed") {
        for (const std::string& name : peers) Find(iface, name)->statistics.Leave();
    }
    if (iface == recorded_iface_) Write([&](Output* recorder) { recorder->Event(event, peers); });
}

void Board::End(const std::string& iface, const std::string& reason) {
    PublishStatistics();
    if (iface == recorded_iface_) StopRecording(reason);
}

void Board::StartRecording(const std::string& iface, const FiraTwrSession& session) {
    StopRecording("another recording");
    RemoveRecording();
    const std::string path = folder_ + "/walk-" + std::to_string(++recordings_) + ".jsonl";
    recorder_ = MakeRecorder(path);
    recording_ = path;
    recorded_iface_ = iface;
    recorded_ = 0;
    recorded_lines_ = 0;
    Write([&](Output* recorder) { recorder->Begin(iface, session); });
    PublishNote(log_, Tone::kInfo, "recording " + iface);
}

void Board::StopRecording(const std::string& reason) {
    if (recorder_ == nullptr) return;
    // Whatever comes of the last line, there is nothing more to write.
    const std::unique_ptr<Output> recorder = std::move(recorder_);
    recorder->End(reason, recorded_);
    PublishNote(log_, Tone::kInfo,
                "the recording of " + recorded_iface_ + " has ended: " +
                    CountText(recorded_, "report") + (reason == "full" ? ", no more fit" : ""));
}

void Board::Tick() {
    if (has_news_ && steady_clock::now() - published_ >= kStatisticsInterval) PublishStatistics();
}

void Board::PublishStatistics() {
    log_->Keep("stats", StatisticsJson().dump());
    published_ = steady_clock::now();
    has_news_ = false;
}

Json Board::PeerJson(const Peer& peer) {
    const PeerStatistics& numbers = peer.statistics;
    const bool has_any = numbers.distances() > 0;
    const auto ratio = [](uint64_t part, uint64_t all) {
        return static_cast<double>(part) / static_cast<double>(all);
    };
    Json json = {{"iface", peer.iface},
                 {"peer", peer.name},
                 {"distances", numbers.distances()},
                 {"losses", numbers.losses()},
                 {"loss_ratio", numbers.LossRatio()},
                 {"mean_mm", OrNull(numbers.Mean())},
                 {"spread_mm", OrNull(numbers.Spread())},
                 {"min_mm", has_any ? Json(numbers.minimum_mm()) : Json(nullptr)},
                 {"max_mm", has_any ? Json(numbers.maximum_mm()) : Json(nullptr)},
                 {"rate", OrNull(numbers.AverageRate())},
                 {"worst_gap_s",
                  numbers.distances() > 1
                      ? Json(static_cast<double>(numbers.worst_gap_ns()) / kNanosecondsPerSecond)
                      : Json(nullptr)},
                 {"los_ratio", peer.line_of_sight_known > 0
                                   ? Json(ratio(peer.line_of_sight, peer.line_of_sight_known))
                                   : Json(nullptr)}};
    if (peer.errors > 0) {
        const auto count = static_cast<double>(peer.errors);
        json["error_mean_mm"] = peer.error_sum / count;
        json["error_rms_mm"] = std::sqrt(peer.error_squares / count);
    }
    return json;
}

Json Board::StatisticsJson() const {
    Json json = {{"peers", Json::array()}};
    for (const Peer& peer : peers_) json["peers"].push_back(PeerJson(peer));
    if (places_.count == 0) return json;
    const auto rms = [](double squares, uint64_t count) {
        return count == 0 ? Json(nullptr) : Json(std::sqrt(squares / static_cast<double>(count)));
    };
    json["place"] = {{"count", places_.count},
                     {"located", places_.located},
                     {"residual_rms_m", rms(places_.residual_squares, places_.located)},
                     {"error_rms_m", rms(places_.error_squares, places_.errors)}};
    return json;
}

}  // namespace uwbctl
