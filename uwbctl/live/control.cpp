// SPDX-License-Identifier: Apache-2.0
#include "uwbctl/live/control.h"

#include <android-base/strings.h>
#include <unistd.h>

#include <utility>

namespace uwbctl {
namespace {

constexpr char kHelp[] = "keys: a add a controlee, r remove one, q quit";
constexpr char kBackspace = 0x08;
constexpr char kDelete = 0x7F;
constexpr char kEscape = 0x1B;

}  // namespace

Control::Control(Events* events, bool keys, Handlers handlers)
    : events_(events), keys_(keys), handlers_(std::move(handlers)) {
    if (keys_) {
        termios settings = {};
        if (tcgetattr(STDIN_FILENO, &settings) == 0) {
            terminal_ = settings;
            settings.c_lflag &= ~static_cast<tcflag_t>(ICANON | ECHO);
            tcsetattr(STDIN_FILENO, TCSANOW, &settings);
        }
        handlers_.prompt(kHelp);
    }
    events_->WatchInput(STDIN_FILENO, [this] { OnReadable(); });
}

Control::~Control() {
    events_->WatchInput(-1, {});
    if (terminal_) tcsetattr(STDIN_FILENO, TCSANOW, &*terminal_);
}

void Control::OnReadable() {
    char buffer[256];
    const ssize_t size = read(STDIN_FILENO, buffer, sizeof(buffer));
    if (size <= 0) {
        events_->WatchInput(-1, {});  // No more wishes; the session goes on.
        return;
    }
    Take(std::string(buffer, static_cast<size_t>(size)));
}

void Control::Take(const std::string& input) {
    for (const char character : input) {
        if (keys_) {
            TakeKey(character);
        } else if (character == '\n') {
            RunLine(std::exchange(line_, {}));
        } else {
            line_ += character;
        }
    }
}

void Control::TakeKey(char key) {
    if (line_.empty()) {
        if (key == 'q') handlers_.quit();
        if (key == 'a') line_ = "add ";
        if (key == 'r') line_ = "remove ";
    } else if (key == '\n' || key == '\r') {
        RunLine(std::exchange(line_, {}));
    } else if (key == kEscape) {
        line_.clear();
    } else if (key == kBackspace || key == kDelete) {
        // The verb goes as a whole.
        line_.pop_back();
        if (line_.find(' ') == std::string::npos) line_.clear();
    } else {
        line_ += key;
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
