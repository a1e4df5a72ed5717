// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "uwbctl/recording/statistics.h"

namespace uwbctl {

/** In what order the peers stand. */
enum class PeerOrder { kSeen, kAddress, kDistance, kLoss };

/** All that a live table shows. */
struct TableState {
    std::string title;
    uint64_t reports = 0;
    /** In the order in which they were seen first. */
    std::vector<std::pair<std::string, PeerStatistics>> peers;
    PeerOrder order = PeerOrder::kSeen;
    /** How many peers are above the first one shown. */
    size_t scrolled = 0;
    /** What happened last; empty for nothing. */
    std::string note;
    /** What is being typed, or which keys there are; empty for nothing. */
    std::string prompt;
    /** Whether bars may be drawn with more than ASCII. */
    bool has_unicode = false;
};

/** How a piece of a line looks. */
enum class Style { kPlain, kBold, kDim, kGood, kDoubtful, kBad };

/** A piece of a line. */
struct Span {
    std::string text;
    Style style = Style::kPlain;
};
using FrameLine = std::vector<Span>;

/** In characters; 0 for without end. */
struct FrameSize {
    size_t rows = 0;
    size_t columns = 0;
};

/** @return the table as lines that fit size, without control characters and without empty lines. */
std::vector<FrameLine> MakeFrame(const TableState& state, FrameSize size);

/** @return how many peers MakeFrame() has room for. */
size_t PeersShown(const TableState& state, FrameSize size);

/** @return a line's text without its styles. */
std::string PlainText(const FrameLine& line);

/**
 * @return bars for distances, oldest first, and behind them how many metres the highest bar is
 *         above the lowest possible one: a metre or more, so that noise looks like noise.
 */
std::string Trend(const std::deque<int64_t>& distances_mm, bool has_unicode);

}  // namespace uwbctl
