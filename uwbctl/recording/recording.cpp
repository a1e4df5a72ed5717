// SPDX-License-Identifier: Apache-2.0
#include "uwbctl/recording/recording.h"

#include <cerrno>
#include <cstring>
#include <fstream>

#include "uwbctl/client/client.h"

namespace uwbctl {
namespace {

using Json = nlohmann::ordered_json;

constexpr char kFormat[] = "uwbctl-recording";
constexpr int kVersion = 1;

// The library puts its own "[json.exception.…] " before what people need.
std::string Reason(const std::string& what) {
    const size_t end = what.find("] ");
    return what.rfind("[json", 0) == 0 && end != std::string::npos ? what.substr(end + 2) : what;
}

class Reader {
  public:
    explicit Reader(const std::string& file) : file_(file) {}

    Recording Read();

  private:
    [[noreturn]] void Fail(const std::string& what) const {
        throw Failure(kUsage, file_ + ":" + std::to_string(line_) + ": " + what);
    }
    void TakeLine(const std::string& line, bool is_whole);
    void TakeSession(const Json& json);
    void TakeMeasurement(const Json& json);
    void TakeEvent(const Json& json);
    void TakeEnd(const Json& json);

    const std::string file_;
    uint64_t line_ = 0;
    bool has_session_ = false;
    Recording recording_;
};

Recording Reader::Read() {
    errno = 0;
    std::ifstream in(file_);
    std::string line;
    while (std::getline(in, line)) {
        line_++;
        // Only a line that was being written when the recording stopped lacks its end.
        if (!line.empty()) TakeLine(line, !in.eof());
    }
    // A file that cannot be opened and a folder both end here, at once.
    if (!in.eof()) throw Failure(kUsage, "cannot read " + file_ + ": " + strerror(errno));
    if (!has_session_) {
        throw Failure(kUsage, file_ + ": empty; a recording starts with the line of its session");
    }
    return std::move(recording_);
}

void Reader::TakeLine(const std::string& line, bool is_whole) {
    const char* kind = has_session_ ? "line of a recording" : "session line";
    try {
        const Json json = Json::parse(line, nullptr, is_whole || !has_session_);
        if (json.is_discarded()) {
            recording_.is_last_line_cut = true;
            return;
        }
        const auto type = json.at("type").get<std::string>();
        if (!has_session_) {
            if (type != "session") Fail("a recording starts with the line of its session");
            TakeSession(json);
        } else if (type == "session") {
            Fail("a second session; a file holds one recording");
        } else if (type == "measurement") {
            TakeMeasurement(json);
        } else if (type == "event") {
            kind = "event";
            TakeEvent(json);
        } else if (type == "end") {
            kind = "end of a recording";
            TakeEnd(json);
        } else {
            recording_.skipped++;
        }
    } catch (const Json::exception& exception) {
        Fail(std::string("not a") + (strchr("ae", *kind) ? "n " : " ") + kind + ": " +
             Reason(exception.what()));
    }
}

void Reader::TakeSession(const Json& json) {
    const auto format = json.value("format", "");
    if (format != kFormat) Fail("not a recording of uwbctl (format \"" + format + "\")");
    if (const Json& version = json.at("version"); version != kVersion) {
        Fail("recording of version " + version.dump() + ", this uwbctl reads version " +
             std::to_string(kVersion));
    }
    recording_.time = json.at("time").get<std::string>();
    recording_.iface = json.at("iface").get<std::string>();
    if (const auto found = json.find("session"); found != json.end()) {
        if (!found->is_object()) Fail("not a session line: its session is not an object");
        recording_.session = *found;
    }
    has_session_ = true;
}

void Reader::TakeMeasurement(const Json& json) {
    // The library would cut the fraction off, or worse.
    for (const char* name : {"timestamp_ns", "session_id", "block", "status", "distance_mm"}) {
        const auto found = json.find(name);
        if (found != json.end() && found->is_number_float()) {
            Fail("not a measurement: " + std::string(name) + " is not a whole number");
        }
    }
    std::string error;
    const auto measurement = MeasurementFromJson(nlohmann::json(json), &error);
    if (!measurement) Fail("not a measurement: " + Reason(error));
    // No clock is there, and times are subtracted.
    if (measurement->timestamp_ns < 0) Fail("not a measurement: timestamp_ns is negative");
    recording_.measurements.push_back(*measurement);
}

void Reader::TakeEvent(const Json& json) {
    recording_.events.push_back({.name = json.at("event").get<std::string>(),
                                 .peers = json.at("peers").get<std::vector<std::string>>(),
                                 .measurements_before = recording_.measurements.size()});
}

void Reader::TakeEnd(const Json& json) {
    recording_.end = RecordingEnd{.reason = json.at("reason").get<std::string>()};
    const auto reports = json.find("reports");
    if (reports != json.end() && reports->is_number_unsigned()) {
        recording_.end->reports = reports->get<uint64_t>();
    }
}

}  // namespace

Recording ReadRecording(const std::string& file) {
    return Reader(file).Read();
}

}  // namespace uwbctl
