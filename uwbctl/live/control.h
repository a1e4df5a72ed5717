// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "uwbctl/client/events.h"
#include "uwbctl/client/keyboard.h"

namespace uwbctl {

/**
 * Takes what the user wants while a session ranges, from standard input: lines ("add 0x1234",
 * "remove 0x1234", "quit"), or on a terminal the keys a, r and q.
 */
class Control {
  public:
    /** What the user may ask for. */
    struct Handlers {
        std::function<void(const std::vector<std::string>& peers)> add;
        std::function<void(const std::vector<std::string>& peers)> remove;
        std::function<void()> quit;
        /** Shows what is being typed; empty for nothing. */
        std::function<void(const std::string& text)> prompt;
        /** Tells that something was not understood. */
        std::function<void(const std::string& text)> complain;
    };

    /**
     * @param events borrowed; watches standard input while this object lives.
     * @param keyboard borrowed; where keys come from, null for lines.
     */
    Control(Events* events, Keyboard* keyboard, Handlers handlers);
    ~Control();
    Control(const Control&) = delete;
    Control& operator=(const Control&) = delete;

  private:
    void OnReadable();
    void TakeKey(int key);
    void RunLine(const std::string& line);

    Events* events_;
    Keyboard* keyboard_;
    Handlers handlers_;
    // What was typed of the current line, after the verb of a key.
    std::string line_;
};

}  // namespace uwbctl
