// SPDX-License-Identifier: Apache-2.0
#include "uwbctl/live/control.h"

#include <android-base/strings.h>
#include <unistd.h>

#include <chrono>
#include <string_view>
#include <thread>
#include <utility>

#include "uwbctl/live/screen.h"

namespace uwbctl {
namespace {

constexpr char kHelp[] = "keys: q quit, a add, r remove, s sort, arrows scroll";
constexpr int kDelete = 0x7F;
constexpr int kEscape = 0x1B;

// Keys that belong to the terminal's foreground stay unread: no faster than that.
constexpr std::chrono::milliseconds kBackgroundInterval{50};

}  // namespace

Control::Control(Events* events, Keyboard* keyboard, Handlers handlers)
    : events_(events), keyboard_(keyboard), handlers_(std::move(handlers)) {
    if (keyboard_ != nullptr) handlers_.prompt(kHelp);
    events_->WatchInput(STDIN_FILENO, [this] { OnReadable(); });
}

Control::~Control() {
    events_->WatchInput(-1, {});
}

void Control::OnReadable() {
    if (keyboard_ != nullptr) {
        if (!IsInForeground()) std::this_thread::sleep_for(kBackgroundInterval);
        for (int key = keyboard_->Read(); key != kNoKey; key = keyboard_->Read()) TakeKey(key);
        return;
    }
    char buffer[256];
    const ssize_t size = read(STDIN_FILENO, buffer, sizeof(buffer));
    if (size <= 0) {
        events_->WatchInput(-1, {});  // No more wishes; the session goes on.
        return;
    }
    for (const char character : std::string_view(buffer, static_cast<size_t>(size))) {
        if (character == '\n') {
            RunLine(std::exchange(line_, {}));
        } else {
            line_ += character;
        }
    }
}

void Control::TakeKey(int key) {
    if (line_.empty()) {
        if (key == 'q') handlers_.quit();
        if (key == 'a') line_ = "add ";
        if (key == 'r') line_ = "remove ";
        if (line_.empty()) keyboard_->View(key);
    } else if (key == '\n' || key == '\r') {
        RunLine(std::exchange(line_, {}));
    } else if (key == kEscape) {
        line_.clear();
    } else if (key == '\b' || key == kDelete) {
        // The verb goes as a whole.
        line_.pop_back();
        if (line_.find(' ') == std::string::npos) line_.clear();
    } else if (key < kDelete) {
        line_ += static_cast<char>(key);
    }
    handlers_.prompt(line_.empty() ? kHelp : line_ + "_");
}

void Control::RunLine(const std::string& line) {
    std::vector<std::string> words = android::base::Tokenize(line, " \t\r");
    if (words.empty()) return;
    const std::string verb = words.front();
    words.erase(words.begin());
    if (verb == "quit" && words.empty()) {
        handlers_.quit();
    } else if (verb == "add" && !words.empty()) {
        handlers_.add(words);
    } else if (verb == "remove" && !words.empty()) {
        handlers_.remove(words);
    } else {
        handlers_.complain("not understood: " + line +
                           " (expected add ADDRESS, remove ADDRESS or quit)");
    }
}

}  // namespace uwbctl
