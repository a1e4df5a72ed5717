// SPDX-License-Identifier: Apache-2.0
#include "uwbctl/serve/requests.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "uwbctl/client/client.h"
#include "uwbctl/client/text.h"

namespace uwbctl {
namespace {

using Json = nlohmann::ordered_json;
using ::testing::HasSubstr;

const SessionDefaults kDefaults = {
    .preset = SessionPresets().front().name, .iface = "", .peers = {}};

// The world has two of three radios.
std::optional<Vec3> PlaceOf(const std::string& name) {
    if (name == "wpan0") return Vec3{.x = 0, .y = 0, .z = 1};
    if (name == "wpan1") return Vec3{.x = 4, .y = 0, .z = 3};
    return std::nullopt;
}

LocateRequest Locate(const std::string& json) {
    return ReadLocateRequest(Json::parse(json), kDefaults, "wpan0", {"wpan0", "wpan1"}, PlaceOf);
}

std::string AddressOf(const SessionOnIface& session) {
    return AddressText(session.second.deviceAddress);
}

TEST(Requests, ATagIsLocatedByASessionOnEachRadio) {
    const LocateRequest request = Locate(R"({"tag": "0x0002"})");
    ASSERT_EQ(request.sessions.size(), 2U);
    EXPECT_EQ(request.sessions[1].first, "wpan1");
    EXPECT_NE(request.sessions[0].second.id, request.sessions[1].second.id);
    EXPECT_EQ(AddressOf(request.sessions[0]), "0x0001");
    EXPECT_EQ(AddressOf(request.sessions[1]), "0x0003") << "the tag has the one between";
    EXPECT_EQ(request.task.solver.height, 2);
}

TEST(Requests, ARadioIsLocatedByOneSessionWithItsPeers) {
    const LocateRequest request = Locate(
        R"({"anchors": ["0xA001=0,0,2", "0xa002=4,0,2"], "is_3d": true,
            "members": {"channelNumber": 5, "destAddressList": ["0x1234"]}})");
    ASSERT_EQ(request.sessions.size(), 1U);
    const auto& [iface, session] = request.sessions.front();
    EXPECT_EQ(iface, "wpan0");
    EXPECT_EQ(session.channelNumber, 5);
    EXPECT_THAT(AddressTexts(session.destAddressList), ::testing::ElementsAre("0xa001", "0xa002"));
    EXPECT_TRUE(request.task.anchors[0].is_place_said);
    EXPECT_EQ(request.task.solver.height, std::nullopt);
}

TEST(Requests, SayWhatIsWrongWithThem) {
    const auto locate = [](const Json& json) { Locate(json.dump()); };
    const auto fira = [](const Json& json) { FiraRequest(json, kDefaults); };
    const auto ccc = [](const Json& json) { ReadCccRequest(json); };
    const auto simple = [](const Json& json) { SimpleRequest(json); };
    const struct {
        std::function<void(const Json&)> read;
        const char* json;
        const char* why;
    } kCases[] = {
        {locate, R"({"tag": "0x1234", "anchors": ["wpan0"]})", "two anchors at least"},
        {locate, R"({"tag": "0x1234", "anchors": ["wpan0", "wpan7"]})", "where is anchor wpan7?"},
        {locate, R"({"tag": "0x1234", "anchors": ["wpan0", "wpan1=1,2"]})", "not a place: 1,2"},
        {locate, R"({"tag": "tag"})", "not a short address: tag"},
        {locate, R"({"anchors": ["0x1=0,0,0", "0x2=1,0,0"]})", "not a short address: 0x1"},
        {locate, R"({"tag": "0x1234", "height": 1e9})",
         "height is -50000 to 50000, not 1000000000"},
        {locate, R"({"tag": "0x1234", "sigma": 0})", "sigma is 0.001 to 100, not 0"},
        {fira, R"({})", "name at least one peer"},
        {fira, R"({"preset": "none"})", "none"},
        {fira, R"({"members": {"destAddressList": ["0x1234", "12:34"]}})", "0x1234"},
        {fira, R"({"members": {"chanelNumber": 9}})", "did you mean channelNumber?"},
        {ccc, R"({"channel": 16})", "channel is a whole number, 0 to 15, not 16"},
        {ccc, R"({"delay_ms": -1})", "delay_ms is a whole number"},
        {simple, R"({"peers": ["0x1234"], "pan_id": 65536})", "pan_id is a whole number"},
        {simple, R"({"peers": "0x1234"})", "peers is a list of texts, not \"0x1234\""},
        {simple, R"({"peers": [1]})", "peers is a list of texts"},
        {simple, R"({"peers": ["0x1234"], "role": "x"})", "role is initiator or responder"},
        {simple, R"({})", "peers is missing"},
    };
    for (const auto& [read, json, why] : kCases) {
        try {
            read(Json::parse(json));
            ADD_FAILURE() << json << " was taken";
        } catch (const std::exception& failure) {
            EXPECT_THAT(failure.what(), HasSubstr(why)) << json;
        }
    }
}

}  // namespace
}  // namespace uwbctl
