// SPDX-License-Identifier: Apache-2.0
#include "uwbctl/serve/running.h"

#include <gtest/gtest.h>

#include <memory>

namespace uwbctl {
namespace {

using ::aidl::hardware::velta::uwb::DeviceType;

// On an interface, with a session.
class FakeActivity : public Activity {
  public:
    explicit FakeActivity(std::string iface) : iface_(std::move(iface)) {}

    void Start(Events* /*events*/) override {}
    void Stop() override {}
    void Tick() override {}
    const std::optional<ActivityEnd>& end() const override { return end_; }
    std::vector<std::string> ifaces() const override { return {iface_}; }
    const FiraTwrSession* SessionOn(const std::string& /*iface*/) const override {
        return &session;
    }
    nlohmann::ordered_json Describe() const override { return {}; }

    FiraTwrSession session;

  private:
    std::string iface_;
    std::optional<ActivityEnd> end_;
};

class RunningTest : public ::testing::Test {
  protected:
    std::shared_ptr<FakeActivity> Add(const char* iface) {
        auto activity = std::make_shared<FakeActivity>(iface);
        running_.Add(activity);
        return activity;
    }

    Running running_;
};

TEST_F(RunningTest, APeerIsARadioOfOursWhenBothRangeWithEachOther) {
    const auto phone = Add("wpan0");
    const auto tag = Add("wpan1");
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
