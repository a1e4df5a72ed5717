// SPDX-License-Identifier: Apache-2.0
#include "uwbctl/serve/running.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>

namespace uwbctl {
namespace {

using ::aidl::hardware::velta::uwb::DeviceType;
using ::testing::ElementsAre;

// On its interfaces, with one session on each; its radio may refuse to stop.
class FakeActivity : public Activity {
  public:
    explicit FakeActivity(std::vector<std::string> ifaces) : ifaces_(std::move(ifaces)) {}

    void Start(Events* /*events*/) override {}
    void Stop() override {
        asked++;
        if (refuses) throw Failure(kRefused, ifaces_.front() + " does not stop");
        end_ = ActivityEnd{.tone = Tone::kInfo, .reason = "stopped"};
    }
    void Tick() override {}
    const std::optional<ActivityEnd>& end() const override { return end_; }
    std::vector<std::string> ifaces() const override { return ifaces_; }
    const FiraTwrSession* SessionOn(const std::string& iface) const override {
        return iface == ifaces_.front() ? &session : nullptr;
    }
    nlohmann::ordered_json Describe() const override { return {}; }

    FiraTwrSession session;
    bool refuses = false;
    int asked = 0;

  private:
    std::vector<std::string> ifaces_;
    std::optional<ActivityEnd> end_;
};

class RunningTest : public ::testing::Test {
  protected:
    std::shared_ptr<FakeActivity> Add(std::vector<std::string> ifaces) {
        auto activity = std::make_shared<FakeActivity>(std::move(ifaces));
        running_.Add(activity);
        return activity;
    }

    Running running_;
};

TEST_F(RunningTest, StopsWhatIsOnARadioOrEverything) {
    const auto one = Add({"wpan0", "wpan2"});
    const auto other = Add({"wpan1"});
    const auto last = Add({"wpan3"});
    running_.Stop("wpan2");
    EXPECT_THAT(running_.TakeEnded(), ElementsAre(one));
    EXPECT_THAT(running_.Ifaces(), ElementsAre("wpan1", "wpan3"));
    running_.Stop("wpan2");
    EXPECT_EQ(other->asked + last->asked, 0) << "nothing is there any more";
    other->refuses = true;
    EXPECT_THROW(running_.Stop(""), Failure);
    EXPECT_THAT(running_.TakeEnded(), ElementsAre(last)) << "it was asked all the same";
    EXPECT_EQ(running_.On("wpan1"), other.get());
}

TEST_F(RunningTest, APeerIsARadioOfOursWhenBothRangeWithEachOther) {
    const auto phone = Add({"wpan0"});
    const auto tag = Add({"wpan1"});
    phone->session.deviceType = DeviceType::CONTROLLER;
    tag->session.deviceAddress.address = {0x00, 0x02};
    const struct {
        int id;
        DeviceType type;
        const char* peer;
        const char* thing;
    } kCases[] = {
        {0, DeviceType::CONTROLEE, "0x0002", "radio1"},
        {0, DeviceType::CONTROLEE, "0x1234", "0x1234"},
        {0, DeviceType::CONTROLLER, "0x0002", "0x0002"},
        {7, DeviceType::CONTROLEE, "0x0002", "0x0002"},
    };
    for (const auto& [id, type, peer, thing] : kCases) {
        tag->session.id = id;
        tag->session.deviceType = type;
        EXPECT_EQ(ToText(*running_.ThingOfPeer("wpan0", peer)), thing);
    }
    EXPECT_EQ(running_.ThingOfPeer("wpan0", "12:34:56"), std::nullopt);
}

}  // namespace
}  // namespace uwbctl
