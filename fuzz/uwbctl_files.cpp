// SPDX-License-Identifier: Apache-2.0

// Files and words of the client's user: recordings, the pages and scenes made of them, sessions,
// settings, peers, scenes. The first byte of the input chooses which. A Failure is a fair answer to
// anything.
#include "fuzz/input_file.h"
#include "uwbctl/client/client.h"
#include "uwbctl/client/session.h"
#include "uwbctl/recording/recording.h"
#include "uwbctl/report/report_page.h"
#include "uwbctl/world/replay.h"
#include "uwbctl/world/scene_file.h"

namespace {

using hardware::velta::InputFile;

// What is printed is read as the same again.
void Print(const uwbctl::Scene& scene) {
    const std::string printed = uwbctl::PrintScene(scene);
    const uwbctl::ParsedScene again = uwbctl::ParseScene(printed);
    if (!again.mistakes.empty() || uwbctl::PrintScene(again.scene) != printed) {
        fprintf(stderr, "not read again:\n%s", printed.c_str());
        abort();
    }
}

void Scene(const std::string& text) {
    const uwbctl::ParsedScene parsed = uwbctl::ParseScene(text);
    if (parsed.mistakes.empty()) Print(parsed.scene);
}

void Recording(const std::string& text) {
    const uwbctl::Recording recording = uwbctl::ReadRecording(InputFile(text).path());
    if (uwbctl::ReportPage(recording).empty()) abort();
    Print(uwbctl::ReplayScene(recording));
}

void Session(const std::string& text) {
    uwbctl::FiraTwrSession session = uwbctl::MakeSession(uwbctl::SessionPresets()[0].name);
    session.deviceAddress.address = {1, 2};  // One is always there when a session is written down.
    uwbctl::ApplySessionFile(InputFile(text).path(), &session);
    // What is taken can be written down and read again. By way of a text, as it is recorded.
    uwbctl::FiraTwrSession again;
    const auto json = nlohmann::ordered_json::parse(uwbctl::SessionToJson(session).dump());
    try {
        uwbctl::ApplyJson(json, "again", &again);
    } catch (const uwbctl::Failure& failure) {
        fprintf(stderr, "not taken again: %s\n", failure.what());
        abort();
    }
    if (again != session) abort();
}

void Setting(const std::string& text) {
    uwbctl::FiraTwrSession session;
    uwbctl::ApplySetting(text, &session);
}

void Peers(const std::string& text) {
    for (const auto& peer : uwbctl::ParsePeers({text, "0x1234"})) {
        if (peer.address.size() != 2) abort();
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size == 0) return 0;
    constexpr void (*kReaders[])(const std::string&) = {Recording, Session, Setting, Peers, Scene};
    try {
        kReaders[data[0] % std::size(kReaders)](std::string(data + 1, data + size));
    } catch (const uwbctl::Failure&) {
    }
    return 0;
}
