// SPDX-License-Identifier: Apache-2.0
#pragma once

namespace uwbctl {

/** What a key is when it is not a character. */
enum Key : int {
    kNoKey = -1,
    kKeyUp = 0x100,
    kKeyDown,
    kKeyPageUp,
    kKeyPageDown,
    kKeyHome,
    kKeyEnd,
};

/** The keys of a terminal that an output has for itself. */
class Keyboard {
  public:
    virtual ~Keyboard() = default;

    /** @return the next character or Key; kNoKey when none was pressed, without waiting. */
    virtual int Read() = 0;

    /** Changes what is shown, such as its order, for a key that means nothing to the session. */
    virtual void View(int key) = 0;
};

}  // namespace uwbctl
