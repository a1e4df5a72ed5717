// SPDX-License-Identifier: Apache-2.0

// Simple ranging: a list of peers, measured in turn.
#include <cmath>

#include "tests/device/device_test.h"

namespace hardware::velta::device {
namespace {

constexpr int kNoValue = -2147483647 - 1;

class SimpleTest : public OpenTest {
  protected:
    void SetUp() override {
        OpenTest::SetUp();
        simple = hal.Get(0, &IUwbIface::simpleRangingController);
    }
    void Listen() { ASSERT_EQ(Said(simple->setCallback(events)), "OK"); }
    std::string Initiate(int channel = 9) {
        return Said(simple->startInitiatorMode(7, Short(0x0001), channel));
    }
    std::string Range(const std::vector<RangingRequest>& requests) {
        return Said(simple->setRangings(requests));
    }
    std::string Stop() { return Said(simple->stop()); }
    RangingResult Next() { return events->results.Take(); }

    std::shared_ptr<ISimpleRangingController> simple;
    std::shared_ptr<SimpleEvents> events = SharedRefBase::make<SimpleEvents>();
};

void ExpectTruth(const RangingResult& result, const std::string& thing) {
    const World world;
    const auto truth = world.See(0, thing, world.now_ns());
    EXPECT_NEAR(result.value, truth.distance_mm, world.max_distance_error_mm());
    EXPECT_NEAR(result.angle1, truth.azimuth, world.max_angle_error());
    EXPECT_NEAR(result.angle2, truth.elevation, world.max_angle_error());
}

TEST_F(SimpleTest, MeasuresEachPeerInTurn) {
    LayOut("noise 5\nradio 0 0 0 0.5\ntag 0x1122 2 3 1\ntag 0x3344 -1 4 0");
    Listen();
    ASSERT_EQ(Initiate(5), "OK");
    EXPECT_EQ(Radio(0, "scheduler"), "simple-ranging");
    EXPECT_EQ(Radio(0, "scheduler_param slot_duration"), "16");
    EXPECT_EQ(Radio(0, "scheduler_param node_type"), "0");
    EXPECT_EQ(Radio(0, "page 4 channel"), "5");
    EXPECT_THAT(Radio(0, "pan_id"), StartsWith("0x0007 "));
    ASSERT_EQ(Range({{.id = 1, .param = 5, .peer = 0x1122}, {.id = -2, .peer = 0x3344}}), "OK");
    EXPECT_EQ(Radio(0, "  request 1"), "param 5 peer 0x1122");
    EXPECT_EQ(Radio(0, "  request 4294967294"), "param 0 peer 0x3344");
    for (int i = 0; i < 6; i++) {
        const RangingResult result = Next();
        EXPECT_EQ(result.id, i % 2 ? -2 : 1);
        EXPECT_EQ(result.peer, i % 2 ? 0x3344 : 0x1122);
        ExpectTruth(result, i % 2 ? "tag 0x3344" : "tag 0x1122");
    }
    ASSERT_EQ(Range({}), "OK");
    EXPECT_TRUE(events->results.GoesQuiet(150ms));
    EXPECT_EQ(Radio(0, "interface"), "up");
    EXPECT_EQ(Stop(), "OK");
    EXPECT_EQ(Radio(0, "interface"), "down");
}

TEST_F(SimpleTest, InitiatorAndResponderRangeWithEachOther) {
    LayOut("noise 5\nradio 0 0 0 0\nradio 1 1 4 0");
    const auto responder = hal.Get(1, &IUwbIface::simpleRangingController);
    Listen();
    ASSERT_EQ(Initiate(), "OK");
    ASSERT_EQ(Said(responder->startResponderMode(7, Short(0x1234), 9)), "OK");
    EXPECT_EQ(Radio(1, "scheduler_param node_type"), "1");
    EXPECT_EQ(Radio(1, "scheduler_param slot_duration"), "16");
    ASSERT_EQ(Range({{.id = 1, .peer = 0x3412}}), "OK");
    ExpectTruth(Next(), "radio 1");
    ASSERT_EQ(Said(responder->startInitiatorMode(7, Short(0x1234), 9)), "OK");
    EXPECT_TRUE(Eventually([this] { return Next().value == kNoValue; })) << "no two initiators";
}

TEST_F(SimpleTest, RefusesBadRequestLists) {
    const auto requests = [](size_t n) { return std::vector<RangingRequest>(n); };
    EXPECT_EQ(Range(requests(15)), "3: Interface is not running");
    ASSERT_EQ(Initiate(), "OK");
    EXPECT_THAT((std::vector{Range(requests(1)), Stop()}), Each("1: Unknown error"))
        << "nobody listens";
    Listen();
    EXPECT_EQ(Range(requests(14)), "OK");
    EXPECT_THAT(Radio(0, "simple_ranging"), HasSubstr("round_ms 224"));
    Fault("0 ranging_requests_set errno 28");
    EXPECT_EQ(Range(requests(2)), "1: Unknown error");
    EXPECT_EQ(Radio(0, "simple_ranging"), "") << "the list before has ended as well";
}

// What becomes of a result that is not as it should be; the next one, of request 2, is.
TEST_F(SimpleTest, DealsWithIncompleteResults) {
    LayOut("noise 0\ntag 3 1 3 0\ntag 5 0 5 0");
    Listen();
    ASSERT_EQ(Initiate(), "OK");
    const struct {
        const char *fault, *log;
        int first;
    } cases[] = {
        {"drop 12.2", "", 1},
        {"drop 12.3", "", 1},
        {"drop 12.4", "", 1},
        {"set 12.1 63000000", "Received result for unknown request", 2},
        {"resize 12.2 2", "Failed to parse nested attr", 2},
        {"silence", "", 2},
    };
    for (const auto& [fault, log, first] : cases) {
        NewLog();
        Fault("0 simple.report "s + fault);
        ASSERT_EQ(Range({{.id = 1, .peer = 3}, {.id = 2, .peer = 5}}), "OK");
        RangingResult result = Next();
        EXPECT_EQ(result.id, first) << fault;
        EXPECT_EQ(result.value == kNoValue, fault == "drop 12.2"s);
        EXPECT_EQ(std::isnan(result.angle1), fault == "drop 12.3"s);
        EXPECT_EQ(std::isnan(result.angle2), fault == "drop 12.4"s);
        EXPECT_THAT(NewLog(), HasSubstr(log)) << fault;
        ASSERT_EQ(Range({}), "OK");
        events->results.GoesQuiet(30ms);
    }
    LayOut("");
    ASSERT_EQ(Range({{.id = 1, .peer = 3}}), "OK");
    const RangingResult alone = Next();
    EXPECT_EQ(alone.value, kNoValue);
    EXPECT_TRUE(std::isnan(alone.angle1) && std::isnan(alone.angle2));
}

}  // namespace
}  // namespace hardware::velta::device
