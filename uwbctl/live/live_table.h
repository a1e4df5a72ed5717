// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <chrono>
#include <string>
#include <utility>
#include <vector>

#include "uwbctl/client/output.h"
#include "uwbctl/recording/statistics.h"

namespace uwbctl {

/** A table that is drawn anew in place, with a row for each peer. For terminals. */
class LiveTable : public Output {
  public:
    LiveTable();

    void Begin(const std::string& iface, const FiraTwrSession& session) override;
    void Add(const Measurement& measurement) override;
    void Event(const std::string& event, const std::vector<std::string>& peers) override;
    void EndReport() override;
    void Prompt(const std::string& text) override;
    void End(const std::string& reason, uint64_t reports) override;

    /** @return the table as lines without control characters. */
    std::vector<std::string> Lines() const;

  private:
    void Draw();
    std::string Row(const std::string& peer, const PeerStatistics& statistics) const;

    bool has_unicode_;
    std::string title_;
    std::string note_;
    std::string prompt_;
    // In the order in which they were seen first.
    std::vector<std::pair<std::string, PeerStatistics>> peers_;
    int64_t block_stride_ = 1;
    uint64_t reports_ = 0;
    size_t lines_drawn_ = 0;
    std::chrono::steady_clock::time_point last_draw_;
};

}  // namespace uwbctl
