// SPDX-License-Identifier: Apache-2.0
#include "uwbctl/serve/event_log.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <thread>

namespace uwbctl {
namespace {

using std::chrono::milliseconds;
using ::testing::HasSubstr;
using ::testing::Not;

constexpr milliseconds kSoon{2000};

std::string ReadAll(const EventLog& log, uint64_t* place) {
    std::string all;
    for (;;) {
        const auto text = log.Read(place, milliseconds(0));
        if (!text || text->empty()) return all;
        all += *text;
    }
}

TEST(EventLog, ReadersWalkAtTheirOwnPace) {
    EventLog log("run", 1 << 20);
    log.Publish("a", "1");
    uint64_t first = 0;
    EXPECT_EQ(ReadAll(log, &first), "id: run-1\nevent: a\ndata: 1\n\n");
    log.Publish("a", "2");
    uint64_t second = 0;
    EXPECT_THAT(ReadAll(log, &second), HasSubstr("data: 1\n\nid: run-2\nevent: a\ndata: 2\n\n"));
    EXPECT_EQ(ReadAll(log, &first), "id: run-2\nevent: a\ndata: 2\n\n");
}

TEST(EventLog, WhoComesBackGoesOnWhereItWas) {
    EventLog log("run", 1 << 20);
    for (int i = 1; i <= 3; i++) log.Publish("a", std::to_string(i));
    const struct {
        const char* last_id;
        const char* first_data;
    } kCases[] = {{"run-1", "data: 2\n"},
                  {"other-1", "data: 1\n"},
                  {"run-99", "data: 1\n"},
                  {"run-x", "data: 1\n"},
                  {"", "data: 1\n"}};
    for (const auto& [last_id, first_data] : kCases) {
        uint64_t place = log.PlaceAfter(last_id);
        const std::string text = ReadAll(log, &place);
        EXPECT_EQ(text.find("data: "), text.find(first_data)) << last_id;
    }
}

// The newest window, what is kept, and how much went by: never more memory than that.
TEST(EventLog, WhoIsTooSlowIsToldAndCatchesUp) {
    constexpr size_t kWindow = 100000;
    EventLog log("run", kWindow);
    log.Keep("state", "old");
    log.Keep("state", "new");
    uint64_t slow = 0;
    EXPECT_THAT(ReadAll(log, &slow), HasSubstr("data: new"));
    for (int i = 0; i < 100000; i++) log.Publish("report", "0123456789");
    uint64_t late = 0;
    const std::string newcomers = ReadAll(log, &late);
    EXPECT_LE(newcomers.size(), kWindow + 100);
    EXPECT_THAT(newcomers, HasSubstr("data: new"));
    EXPECT_THAT(newcomers, Not(HasSubstr("data: old")));
    EXPECT_THAT(newcomers, Not(HasSubstr("missed")));
    const std::string rest = ReadAll(log, &slow);
    EXPECT_THAT(rest, HasSubstr("event: missed"));
    EXPECT_THAT(rest, Not(HasSubstr("data: new"))) << "it knows that already";
    EXPECT_THAT(rest, HasSubstr("id: run-100002\n"));
}

TEST(EventLog, WakesWhoWaits) {
    EventLog log("run", 1 << 20);
    uint64_t place = 0;
    std::thread writer([&log] { log.Publish("a", "1"); });
    EXPECT_THAT(log.Read(&place, kSoon).value_or(""), HasSubstr("data: 1"));
    writer.join();
    std::thread closer([&log] { log.Close(); });
    EXPECT_EQ(log.Read(&place, kSoon), std::nullopt);
    closer.join();
}

}  // namespace
}  // namespace uwbctl
