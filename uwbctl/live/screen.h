// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>
#include <vector>

#include "uwbctl/live/table_frame.h"

namespace uwbctl {

/** @return whether this process is in the foreground of its terminal: may draw and read keys. */
bool IsInForeground();

/**
 * The terminal's alternate screen; one at a time. Nothing happens to the terminal while the process
 * is in the background.
 */
class Screen {
  public:
    /** @return whether standard output is a terminal that can, and this is in its foreground. */
    static bool IsPossible();
    /** @return null where it is not possible. */
    static std::unique_ptr<Screen> Open();
    ~Screen() { GiveBack(); }
    Screen(const Screen&) = delete;
    Screen& operator=(const Screen&) = delete;

    FrameSize size() const;

    /** Shows lines in place of those before. */
    void Show(const std::vector<FrameLine>& lines);

    /** @return as Keyboard::Read(). */
    int ReadKey();

    /** Leaves the terminal as it was; to show something takes it again. */
    void GiveBack();

    /** The terminal's size has changed. */
    void Resize();

    /** Gives the terminal back and stops this process, until it is continued. */
    void Suspend();

  private:
    Screen() = default;
};

}  // namespace uwbctl
