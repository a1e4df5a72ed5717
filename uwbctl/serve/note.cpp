// SPDX-License-Identifier: Apache-2.0
#include "uwbctl/serve/note.h"

#include <chrono>

#include "uwbctl/client/json.h"
#include "uwbctl/client/text.h"

namespace uwbctl {
namespace {

const char* ToneText(Tone tone) {
    switch (tone) {
        case Tone::kInfo:
            return "info";
        case Tone::kWarning:
            return "warning";
        case Tone::kError:
            return "error";
    }
    return "";
}

}  // namespace

void PublishNote(EventLog* log, Tone tone, const std::string& text) {
    using std::chrono::milliseconds;
    // Everybody is told, and it is kept.
    constexpr size_t kLongest = 1000;
    const auto now = std::chrono::system_clock::now().time_since_epoch();
    log->Publish("note",
                 JsonText({{"tone", ToneText(tone)},
                           {"text", Shortened(text, kLongest)},
                           {"time_ms", std::chrono::duration_cast<milliseconds>(now).count()}}));
}

}  // namespace uwbctl
