// SPDX-License-Identifier: Apache-2.0
#include "hal/simple_ranging_controller.h"

#include "tests/unit/hal/fake_radio.h"

namespace hardware::velta {
namespace {

class SimpleRangingControllerTest : public HalTest {
  protected:
    ScopedAStatus Subscribe(SimpleRangingController* controller) {
        return controller->setCallback(SharedRefBase::make<SimpleRangingClient>(&journal_));
    }

    const UwbAddress address_{{0x12, 0x34}};
};

TEST_F(SimpleRangingControllerTest, StartsAndEndsAtTheFirstFailure) {
    const std::string all =
        "down wpan0; scheduler 3 1 16 0 0; mac wpan0 0 0 0 0 0 0 52 18; pan wpan0 48879; phy "
        "wpan0; "
        "channel wpan0 9; up wpan0";
    EXPECT_EQ(Trace(simple_->startInitiatorMode(0x1beef, address_, 9)), all);
    for (const char* step : {"down ", "scheduler ", "mac ", "pan ", "channel ", "up "}) {
        journal_.failing = {std::string(step, strlen(step) - 1)};
        EXPECT_EQ(Trace(simple_->startInitiatorMode(0xbeef, address_, 9)),
                  all.substr(0, all.find(';', all.find(step))) + "; !1 Unknown error");
    }
    const std::string bad_channel =
        all.substr(0, all.find("; channel")) + "; !2 Incorrect channel value";
    journal_.failing = {"phy"};
    EXPECT_EQ(Trace(simple_->startInitiatorMode(0xbeef, address_, 9)), bad_channel);
    journal_.failing.clear();
    EXPECT_EQ(Trace(simple_->startInitiatorMode(0xbeef, address_, 5)), bad_channel);
    EXPECT_EQ(
        Trace(simple_->startResponderMode(1, address_, 3)),
        "down wpan0; scheduler 3 1 16 1 0; mac wpan0 0 0 0 0 0 0 52 18; pan wpan0 1; phy wpan0; "
        "channel wpan0 3; up wpan0");
}

TEST_F(SimpleRangingControllerTest, WritesAddressesLeastSignificantByteFirst) {
    simple_->SetUwbAddress({{1, 2, 3, 4, 5, 6, 7, 8, 9, 10}});
    journal_.failing = {"mac"};
    EXPECT_FALSE(simple_->SetUwbAddress({}));
    EXPECT_EQ(Trace(), "mac wpan0 8 7 6 5 4 3 2 1; mac wpan0 0 0 0 0 0 0 0 0");
}

TEST_F(SimpleRangingControllerTest, StopsTheHardwareThatTheDriverNames) {
    journal_.failing = {"down"};
    EXPECT_EQ(Trace(simple_->stop()), "info 3; requests 9 ; down wpan0");
    journal_.failing = {"requests"};
    EXPECT_EQ(Trace(simple_->stop()), "info 3; requests 9 ; !1 Unknown error");
    journal_.failing = {"info"};
    EXPECT_EQ(Trace(simple_->stop()), "info 3; !1 Unknown error");
}

TEST_F(SimpleRangingControllerTest, TakesFourteenRequestsWhileUp) {
    std::vector<SimpleRangingController::RangingRequest> requests(14);
    std::string all = "is-up wpan0; requests 3 ";
    for (int i = 0; i < 14; i++) {
        requests[static_cast<size_t>(i)] = {.id = i, .param = 50 - i, .peer = 70 + i};
        all +=
            std::to_string(i) + "/" + std::to_string(50 - i) + "/" + std::to_string(70 + i) + ",";
    }
    EXPECT_EQ(Trace(simple_->setRangings(requests)), all);
    journal_.failing = {"requests"};
    EXPECT_EQ(Trace(simple_->setRangings(requests)), all + "; !1 Unknown error");
    requests.resize(15);
    EXPECT_EQ(Trace(simple_->setRangings(requests)),
              "is-up wpan0; !2 Max ranging request size is 14");
    journal_.failing = {"is-up"};
    EXPECT_EQ(Trace(simple_->setRangings(requests)), "is-up wpan0; !3 Interface is not running");
}

TEST_F(SimpleRangingControllerTest, ForwardsResults) {
    EXPECT_EQ(Trace(simple_->setCallback(nullptr)), "!2 null client");
    EXPECT_EQ(Trace(Subscribe(simple_.get())), "subscribe-results");
    McpsUtils::RangingResult result;
    result.id = 5;
    result.peer = 6;
    result.value = 7;
    mcps_.on_result(result);
    EXPECT_EQ(Trace(), "told result 5 6 7");
}

TEST_F(SimpleRangingControllerTest, OffersTheChannelsOfThePhy) {
    SimpleRangingController::SimpleRangingCapabilities caps;
    caps.supportedChannels = {1};
    EXPECT_EQ(Trace(simple_->getCapabilities(&caps)), "phy wpan0");
    EXPECT_EQ(caps.supportedChannels, (std::vector<int>{3, 9}));
    journal_.failing = {"phy"};
    EXPECT_EQ(Trace(simple_->getCapabilities(&caps)), "phy wpan0; !1 Unknown error");
}

TEST_F(SimpleRangingControllerTest, GivesUpItsOwnSubscriptionOnly) {
    const auto later = Make<SimpleRangingController>(4, &tool_, &mcps_, &ieee_);
    Subscribe(simple_.get());
    Subscribe(later.get());
    Trace();
    simple_.reset();
    EXPECT_EQ(Trace(), "") << "the subscription is the later one's by now";
    later->Abandon();
    EXPECT_EQ(Trace(), "unsubscribe-results");
    // The client may go on calling, without effect.
    EXPECT_EQ(Trace(Subscribe(later.get())), "!3 HAL is closed");
    EXPECT_EQ(Trace(later->setRangings({})), "is-up wpan0; !3 HAL is closed");
    EXPECT_EQ(Trace(later->startInitiatorMode(1, address_, 9)), "!3 HAL is closed");
    EXPECT_EQ(Trace(later->stop()), "!3 HAL is closed");
}

}  // namespace
}  // namespace hardware::velta
