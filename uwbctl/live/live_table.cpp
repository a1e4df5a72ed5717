// SPDX-License-Identifier: Apache-2.0
#include "uwbctl/live/live_table.h"

#include <android-base/stringprintf.h>
#include <langinfo.h>
#include <signal.h>

#include <algorithm>
#include <cstdio>
#include <cstring>

namespace uwbctl {
namespace {

using ::android::base::StringPrintf;
using std::chrono::steady_clock;

// Faster than that nobody reads.
constexpr std::chrono::milliseconds kDrawInterval{100};
// Frames that follow each other, where one cannot replace the other.
constexpr std::chrono::milliseconds kPrintInterval{1000};

constexpr int64_t kAllRows = 1 << 20;

struct NamedOrder {
    PeerOrder order;
    const char* name;
};
constexpr NamedOrder kOrders[] = {{PeerOrder::kSeen, "as they came"},
                                  {PeerOrder::kAddress, "address"},
                                  {PeerOrder::kDistance, "distance"},
                                  {PeerOrder::kLoss, "loss"}};

}  // namespace

LiveTable::LiveTable(Events* events) : events_(events) {
    state_.has_unicode = strcmp(nl_langinfo(CODESET), "UTF-8") == 0;
}

LiveTable::~LiveTable() {
    Close();
}

void LiveTable::Begin(const std::string& iface, const FiraTwrSession& session) {
    state_.title =
        StringPrintf("%s  session %u  channel %d  block %d ms  %s", iface.c_str(),
                     static_cast<uint32_t>(session.id), session.channelNumber,
                     session.rangingBlockDurationMs, toString(session.deviceType).c_str());
    block_stride_ = BlockStride(session);
    screen_ = Screen::Open();
    is_live_ = true;
    if (screen_ != nullptr) {
        events_->WatchTerminal([this](int number) { OnTerminalSignal(number); });
        events_->AtDeath([screen = screen_.get()] { screen->GiveBack(); });
        Draw();
    }
}

void LiveTable::Add(const Measurement& measurement) {
    auto& peers = state_.peers;
    auto entry = std::find_if(peers.begin(), peers.end(), [&measurement](const auto& peer) {
        return peer.first == measurement.peer;
    });
    if (entry == peers.end()) {
        entry = peers.emplace(peers.end(), measurement.peer, PeerStatistics(block_stride_));
    }
    entry->second.Add(measurement);
}

void LiveTable::Event(const std::string& event, const std::vector<std::string>& peers) {
    if (event != "controlees_removed") return;
    std::erase_if(state_.peers, [&peers](const auto& entry) {
        return std::find(peers.begin(), peers.end(), entry.first) != peers.end();
    });
}

void LiveTable::Note(const std::string& text) {
    state_.note = text;
    if (screen_ != nullptr) Draw();
}

void LiveTable::EndReport() {
    state_.reports++;
    const auto interval = screen_ != nullptr ? kDrawInterval : kPrintInterval;
    if (steady_clock::now() - last_draw_ >= interval) Draw();
}

void LiveTable::Prompt(const std::string& text) {
    state_.prompt = text;
    if (screen_ != nullptr) Draw();
}

void LiveTable::End(const std::string& reason, uint64_t /*reports*/) {
    state_.note = "ended: " + reason;
    Close();
}

// However it ended, the screen goes and its last frame stays.
void LiveTable::Close() {
    if (!is_live_) return;
    is_live_ = false;
    events_->WatchTerminal({});
    events_->AtDeath({});
    screen_.reset();
    state_.prompt.clear();
    PrintFrame();
    FlushStandardOutput();
}

int LiveTable::Read() {
    return screen_->ReadKey();
}

void LiveTable::View(int key) {
    const auto page = static_cast<int64_t>(PeersShown(state_, screen_->size()));
    switch (key) {
        case 's': {
            const auto* at = std::find_if(
                std::begin(kOrders), std::end(kOrders),
                [this](const NamedOrder& named) { return named.order == state_.order; });
            const auto* next = at + 1 == std::end(kOrders) ? std::begin(kOrders) : at + 1;
            state_.order = next->order;
            state_.scrolled = 0;
            state_.note = std::string("sorted by ") + next->name;
            break;
        }
        case kKeyUp:
            Scroll(-1);
            break;
        case kKeyDown:
            Scroll(1);
            break;
        case kKeyPageUp:
            Scroll(-page);
            break;
        case kKeyPageDown:
            Scroll(page);
            break;
        case kKeyHome:
            Scroll(-kAllRows);
            break;
        case kKeyEnd:
            Scroll(kAllRows);
            break;
        default:
            return;
    }
    Draw();
}

void LiveTable::Scroll(int64_t rows) {
    const size_t last = state_.peers.size() - PeersShown(state_, screen_->size());
    state_.scrolled = static_cast<size_t>(std::clamp<int64_t>(
        static_cast<int64_t>(state_.scrolled) + rows, 0, static_cast<int64_t>(last)));
}

void LiveTable::OnTerminalSignal(int number) {
    if (number == SIGTSTP) screen_->Suspend();
    if (number == SIGWINCH) screen_->Resize();
    Draw();
}

void LiveTable::Draw() {
    last_draw_ = steady_clock::now();
    if (screen_ != nullptr) {
        screen_->Show(MakeFrame(state_, screen_->size()));
        return;
    }
    PrintFrame();
    puts("");
    FlushStandardOutput();
}

void LiveTable::PrintFrame() {
    for (const FrameLine& line : MakeFrame(state_, {})) puts(PlainText(line).c_str());
}

}  // namespace uwbctl
