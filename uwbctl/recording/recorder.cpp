// SPDX-License-Identifier: Apache-2.0
#include "uwbctl/recording/recorder.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <utility>

#include "uwbctl/client/client.h"
#include "uwbctl/client/measurement.h"
#include "uwbctl/client/session.h"

namespace uwbctl {
namespace {

using Json = nlohmann::ordered_json;

constexpr char kRecordingFormat[] = "uwbctl-recording";
constexpr int kRecordingVersion = 1;

std::string UtcNow() {
    char text[sizeof("2026-01-01T00:00:00Z")] = {};
    const time_t now = time(nullptr);
    tm parts = {};
    gmtime_r(&now, &parts);
    strftime(text, sizeof(text), "%Y-%m-%dT%H:%M:%SZ", &parts);
    return text;
}

class JsonOutput : public Output {
  public:
    // Names the file when it cannot be written; standard output's reader may leave.
    explicit JsonOutput(FILE* file, std::string path = "") : file_(file), path_(std::move(path)) {}
    ~JsonOutput() override {
        if (file_ != stdout) fclose(file_);
    }
    JsonOutput(const JsonOutput&) = delete;
    JsonOutput& operator=(const JsonOutput&) = delete;

    void Begin(const std::string& iface, const FiraTwrSession& session) override {
        Write({{"type", "session"},
               {"format", kRecordingFormat},
               {"version", kRecordingVersion},
               {"time", UtcNow()},
               {"iface", iface},
               {"session", PublicSessionToJson(session)}});
        EndReport();
    }
    void Add(const Measurement& measurement) override { Write(ToJson(measurement)); }
    void Event(const std::string& event, const std::vector<std::string>& peers) override {
        Write({{"type", "event"}, {"event", event}, {"peers", peers}});
        EndReport();
    }
    void EndReport() override {
        // Standard output's failures are seen to for all commands at once.
        if (path_.empty()) {
            FlushStandardOutput();
        } else if (fflush(file_) != 0 || ferror(file_) != 0) {
            throw Failure(kCannotWrite, "cannot write " + path_ + ": " + strerror(errno));
        }
    }
    void End(const std::string& reason, uint64_t reports) override {
        Write({{"type", "end"}, {"reason", reason}, {"reports", reports}});
        EndReport();
    }

  private:
    void Write(const Json& json) { fprintf(file_, "%s\n", json.dump().c_str()); }

    FILE* file_;
    std::string path_;
};

}  // namespace

std::unique_ptr<Output> MakeRecorder(const std::string& path) {
    FILE* file = fopen(path.c_str(), "we");
    if (file == nullptr) {
        throw Failure(kCannotWrite, "cannot write the recording " + path + ": " + strerror(errno));
    }
    return std::make_unique<JsonOutput>(file, path);
}

std::unique_ptr<Output> MakeJsonOutput() {
    return std::make_unique<JsonOutput>(stdout);
}

}  // namespace uwbctl
