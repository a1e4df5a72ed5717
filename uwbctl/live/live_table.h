// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <chrono>
#include <memory>
#include <string>
#include <vector>

#include "uwbctl/client/events.h"
#include "uwbctl/client/output.h"
#include "uwbctl/live/screen.h"
#include "uwbctl/live/table_frame.h"

namespace uwbctl {

/**
 * A table with a row for each peer. On a terminal it has the whole screen while it lives, and
 * leaves its last frame behind; elsewhere it prints a frame now and then, with an empty line
 * between two.
 */
class LiveTable : public Output, private Keyboard {
  public:
    /** @param events borrowed; tells when the terminal changes. */
    explicit LiveTable(Events* events);
    ~LiveTable() override;

    void Begin(const std::string& iface, const FiraTwrSession& session) override;
    void Add(const Measurement& measurement) override;
    void Event(const std::string& event, const std::vector<std::string>& peers) override;
    void Note(const std::string& text) override;
    void EndReport() override;
    void Prompt(const std::string& text) override;
    void End(const std::string& reason, uint64_t reports) override;
    Keyboard* keyboard() override { return screen_ == nullptr ? nullptr : this; }

    const TableState& state() const { return state_; }

  private:
    int Read() override;
    void View(int key) override;
    void Scroll(int64_t rows);
    void OnTerminalSignal(int number);
    void Draw();
    void PrintFrame();
    void Close();

    Events* events_;
    std::unique_ptr<Screen> screen_;
    TableState state_;
    int64_t block_stride_ = 1;
    std::chrono::steady_clock::time_point last_draw_;
    bool is_live_ = false;
};

}  // namespace uwbctl
