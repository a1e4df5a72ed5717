// SPDX-License-Identifier: Apache-2.0
#include "uwbctl/recording/recording.h"

#include <cerrno>
#include <cstring>
#include <fstream>
#include <utility>

#include "uwbctl/client/client.h"
#include "uwbctl/client/json.h"
#include "uwbctl/client/text.h"

namespace uwbctl {
namespace {

using Json = nlohmann::ordered_json;

constexpr char kFormat[] = "uwbctl-recording";
constexpr int kVersion = 1;
constexpr std::streamsize kMaxLine = 1 << 20;

class Reader {
  public:
    Reader(const std::string& file, const std::function<bool()>& goes_on)
        : file_(file), goes_on_(goes_on) {}

    Recording Read();

  private:
    [[noreturn]] void Fail(const std::string& what) const {
        throw Failure(kUsage, file_ + ":" + std::to_string(line_) + ": " + what);
    }
    [[noreturn]] void FailAs(const std::string& kind, const std::string& reason) const {
        Fail(std::string(strchr("ae", kind.front()) != nullptr ? "not an " : "not a ") + kind +
             ": " + reason);
    }
    void TakeLine(const std::string& line, bool is_whole);
    void TakeSession(const Json& json);
    void CheckNumbers(const Json& session) const;
    void TakeMeasurement(const Json& json);
    void TakeEvent(const Json& json);
    void TakeEnd(const Json& json);

    const std::string file_;
    const std::function<bool()> goes_on_;
    uint64_t line_ = 0;
    bool has_session_ = false;
    Recording recording_;
};

Recording Reader::Read() {
    errno = 0;
    std::ifstream in(file_);
    std::string line(kMaxLine, '\0');
    while (in.getline(line.data(), kMaxLine)) {
        line_++;
        if (goes_on_ && !goes_on_()) throw Failure(kNoService, "not read to its end");
        // Only a line that was being written when the recording stopped lacks its end.
        const bool is_whole = !in.eof();
        const size_t size = static_cast<size_t>(in.gcount()) - (is_whole ? 1 : 0);
        if (size > 0) TakeLine(line.substr(0, size), is_whole);
    }
    if (in.gcount() == kMaxLine - 1) {
        line_++;
        Fail("a line longer than 1 MiB; this is no recording");
    }
    // A file that cannot be opened and a folder both end here, at once.
    if (!in.eof()) throw Failure(kUsage, "cannot read " + file_ + ": " + strerror(errno));
    if (!has_session_) {
        throw Failure(kUsage, file_ + ": empty; a recording starts with the line of its session");
    }
    return std::move(recording_);
}

void Reader::TakeLine(const std::string& line, bool is_whole) {
    std::string kind = has_session_ ? "line of a recording" : "session line";
    Json json;
    try {
        json = ParseJson(line);
    } catch (const std::runtime_error& error) {
        // The beginning of a line starts as every line does.
        recording_.is_last_line_cut = has_session_ && !is_whole && line.starts_with('{');
        if (!recording_.is_last_line_cut) FailAs(kind, error.what());
        return;
    }
    try {
        const auto type = GetMember<std::string>(json, "type");
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
    } catch (const Failure&) {
        throw;
    } catch (const std::exception& exception) {
        FailAs(kind, ReasonOf(exception));
    }
}

void Reader::TakeSession(const Json& json) {
    const auto format = json.contains("format") ? GetMember<std::string>(json, "format") : "";
    if (format != kFormat) Fail("not a recording of uwbctl (format \"" + Shortened(format) + "\")");
    if (const Json& version = json.at("version"); version != kVersion) {
        Fail("recording of version " + Shortened(version.dump()) + ", this uwbctl reads version " +
             std::to_string(kVersion));
    }
    recording_.time = GetMember<std::string>(json, "time");
    recording_.iface = GetMember<std::string>(json, "iface");
    if (PrintableText(recording_.iface) != recording_.iface) Fail("the name of iface is no name");
    if (const auto found = json.find("session"); found != json.end()) {
        if (!found->is_object()) Fail("not a session line: its session is not an object");
        CheckNumbers(*found);
        recording_.session = *found;
    }
    has_session_ = true;
}

// No member of a session has more bits, and some are added and multiplied.
void Reader::CheckNumbers(const Json& session) const {
    for (const auto& [name, value] : session.items()) {
        if (!value.is_number_integer()) continue;
        const std::optional<int64_t> number = WholeNumber(value);
        if (!number || (!std::in_range<int32_t>(*number) && !std::in_range<uint32_t>(*number))) {
            Fail("not a session line: " + Shortened(name) + " is out of range: " + value.dump());
        }
    }
}

void Reader::TakeMeasurement(const Json& json) {
    std::string error;
    const auto measurement = MeasurementFromJson(json, &error);
    if (!measurement) FailAs("measurement", error);
    // No clock is there, and times are subtracted.
    if (measurement->timestamp_ns < 0) FailAs("measurement", "timestamp_ns is negative");
    recording_.measurements.push_back(*measurement);
}

void Reader::TakeEvent(const Json& json) {
    recording_.events.push_back({.name = GetMember<std::string>(json, "event"),
                                 .peers = GetMember<std::vector<std::string>>(json, "peers"),
                                 .measurements_before = recording_.measurements.size()});
}

void Reader::TakeEnd(const Json& json) {
    recording_.end = RecordingEnd{.reason = GetMember<std::string>(json, "reason")};
    const auto reports = json.find("reports");
    if (reports != json.end() && reports->is_number_unsigned()) {
        recording_.end->reports = reports->get<uint64_t>();
    }
}

}  // namespace

Recording ReadRecording(const std::string& file, const std::function<bool()>& goes_on) {
    return Reader(file, goes_on).Read();
}

}  // namespace uwbctl
