// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "uwbctl/client/keyboard.h"
#include "uwbctl/client/measurement.h"
#include "uwbctl/client/session.h"

namespace uwbctl {

/** Where the course of a session goes: a terminal, a pipe, a recording. */
class Output {
  public:
    virtual ~Output() = default;

    /** Ranging has begun. */
    virtual void Begin(const std::string& /*iface*/, const FiraTwrSession& /*session*/) {}

    virtual void Add(const Measurement& measurement) = 0;

    /**
     * Something else happened; for programs.
     *
     * @param event such as "controlees_added".
     */
    virtual void Event(const std::string& /*event*/, const std::vector<std::string>& /*peers*/) {}

    /** Tells the user something, in words; on standard error where there is no better place. */
    virtual void Note(const std::string& text);

    /** All of a report was added. */
    virtual void EndReport() {}

    /** What the user is typing, where there is a place for it; empty for nothing. */
    virtual void Prompt(const std::string& /*text*/) {}

    /**
     * Ranging has ended.
     *
     * @param reason such as "count" or "interrupted".
     */
    virtual void End(const std::string& /*reason*/, uint64_t /*reports*/) {}

    /** @return the terminal's keys between Begin() and End(); null where there are none. */
    virtual Keyboard* keyboard() { return nullptr; }
};

/** Says on standard error what is wrong, in words of ours and of what users gave us. */
void TellUser(const std::string& text);

/**
 * Lets standard output take whatever a command prints at once, so that FlushStandardOutput() can
 * say why it was lost. Before anything is printed.
 */
void BufferStandardOutput();

/**
 * Puts out what standard output still holds back.
 *
 * @return why something of it was lost, from then on; empty when nothing was, or only because its
 *         reader has left.
 */
std::string FlushStandardOutput();

}  // namespace uwbctl
