// SPDX-License-Identifier: Apache-2.0

// Simple ranging: a list of peers, measured in turn.
#include <limits>

#include "conformance/check.h"

namespace hardware::velta::conformance {
namespace {

constexpr int kNoValue = std::numeric_limits<int32_t>::min();
constexpr int kPanId = 7;

class SimpleCheck : public OpenCheck {
  protected:
    void SetUp() override {
        OpenCheck::SetUp();
        if (IsSkipped() || HasFatalFailure()) return;
        simple = hal.Get(0, &IUwbIface::simpleRangingController);
    }
    void Listen() { ASSERT_EQ(Said(simple->setCallback(events)), "OK"); }
    std::string Initiate() {
        return Said(simple->startInitiatorMode(kPanId, Short(0x0001), TheTarget().channel));
    }
    std::string Range(const std::vector<RangingRequest>& requests) {
        return Said(simple->setRangings(requests));
    }
    std::string Stop() { return Said(simple->stop()); }
    RangingResult Next() { return events->results.Take(); }
    /** @return the next result with a value, but for so many without. */
    RangingResult Answer() {
        RangingResult result = Next();
        for (int i = 0; i < kMostLost && result.value == kNoValue; i++) result = Next();
        return result;
    }

    std::shared_ptr<ISimpleRangingController> simple;
    std::shared_ptr<SimpleEvents> events = SharedRefBase::make<SimpleEvents>();
};

CONFORMANCE_CHECK(
    SimpleCheck, AnswersEachRequestInTurn, NEEDS(),
    "all requests of a list are served, one after the other, until it is replaced",
    "scheduler simple-ranging; after RANGING_REQUESTS_SET a RANGING_REPORT with the "
    "ID of each request in turn, also for a peer that does not answer (without VALUE); "
    "none after an empty list") {
    Listen();
    ASSERT_EQ(Initiate(), "OK");
    EXPECT_TRUE(IsUp(0));
    ASSERT_EQ(Range({{.id = 1, .param = 5, .peer = 0x1122}, {.id = -2, .peer = 0x3344}}), "OK");
    for (int i = 0; i < 6; i++) {
        const RangingResult result = Next();
        ASSERT_EQ(result.id, i % 2 ? -2 : 1);
        EXPECT_EQ(result.peer, i % 2 ? 0x3344 : 0x1122);
    }
    ASSERT_EQ(Range({}), "OK");
    EXPECT_TRUE(events->results.GoesQuiet(150ms));
    EXPECT_TRUE(IsUp(0));
    EXPECT_EQ(Stop(), "OK");
    EXPECT_FALSE(IsUp(0));
}

CONFORMANCE_CHECK(SimpleCheck, MeasuresThePeer, NEEDS(Need::kSimplePeer, Need::kDistance),
                  "distances of a responder are measured, in millimetres",
                  "a RANGING_REPORT with VALUE, the distance in millimetres") {
    Listen();
    ASSERT_EQ(Initiate(), "OK");
    const auto peer = static_cast<int64_t>(*TheTarget().simple_peer);
    ASSERT_EQ(Range({{.id = 1, .peer = peer}}), "OK");
    EXPECT_NEAR(Answer().value, *TheTarget().distance_mm, TheTarget().tolerance_mm);
}

CONFORMANCE_CHECK(SimpleCheck, InitiatorAndResponderRangeWithEachOther, NEEDS(Need::kSecondRadio),
                  "both ends of simple ranging work",
                  "NODE_TYPE as given; a responder answers to its extended address, on its PAN id "
                  "and channel") {
    const auto responder = hal.Get(1, &IUwbIface::simpleRangingController);
    Listen();
    ASSERT_EQ(Initiate(), "OK");
    ASSERT_EQ(Said(responder->startResponderMode(kPanId, Short(0x1234), TheTarget().channel)),
              "OK");
    ASSERT_EQ(Range({{.id = 1, .peer = 0x3412}}), "OK");
    EXPECT_NE(Answer().value, kNoValue);
    ASSERT_EQ(Said(responder->startInitiatorMode(kPanId, Short(0x1234), TheTarget().channel)),
              "OK");
    EXPECT_TRUE(Eventually([this] { return Next().value == kNoValue; })) << "no two initiators";
}

CONFORMANCE_CHECK(SimpleCheck, TakesFourteenRequestsAtOnce, NEEDS(),
                  "a list is as long as the interface allows",
                  "fourteen requests in one RANGING_REQUESTS_SET") {
    const auto requests = [](size_t n) { return std::vector<RangingRequest>(n); };
    EXPECT_THAT((std::vector{Range({}), Range(requests(15))}), Each("3: Interface is not running"));
    ASSERT_EQ(Initiate(), "OK");
    EXPECT_EQ(Said(simple->setCallback(nullptr)), "2: null client");
    Listen();
    EXPECT_EQ(Range(requests(15)), "2: Max ranging request size is 14");
    EXPECT_EQ(Range(requests(14)), "OK");
    EXPECT_THAT((std::vector{Stop(), Stop()}), Each("OK"));
}

CONFORMANCE_CHECK(SimpleCheck, ResultsGoToTheLatestCallback, NEEDS(),
                  "results go to the client's latest callback only", "nothing") {
    Listen();
    ASSERT_EQ(Initiate(), "OK");
    ASSERT_EQ(Range({{.id = 1}}), "OK");
    Next();
    const auto latest = SharedRefBase::make<SimpleEvents>();
    ASSERT_EQ(Said(simple->setCallback(latest)), "OK");
    EXPECT_EQ(latest->results.Take().id, 1);
    EXPECT_TRUE(events->results.GoesQuiet(150ms));
    SimpleRangingCapabilities caps;
    ASSERT_EQ(Said(simple->getCapabilities(&caps)), "OK");
    EXPECT_THAT(caps.supportedChannels, ::testing::Contains(TheTarget().channel));
}

}  // namespace
}  // namespace hardware::velta::conformance
