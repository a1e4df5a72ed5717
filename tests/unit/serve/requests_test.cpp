// SPDX-License-Identifier: Apache-2.0
#include "uwbctl/serve/requests.h"

#include <android-base/strings.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstring>

#include "uwbctl/client/client.h"
#include "uwbctl/client/text.h"

namespace uwbctl {
namespace {

using Json = nlohmann::ordered_json;
using ::testing::HasSubstr;
using ::testing::Not;

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
            "members": {"channelNumber": 5}})");
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
        {locate, R"({"tag": "0x1234", "anchors": ["wpan0"]})", "anchors: two at least"},
        {locate, R"({"tag": "0x1234", "anchors": ["wpan0", "wpan7"]})", "where is anchor wpan7?"},
        {locate, R"({"tag": "0x1234", "anchors": ["wpan0", "wpan1=1,2"]})", "not a place: 1,2"},
        {locate, R"({"tag": "0x1234", "anchors": ["wpan0", "wpan1=0,0,1e300"]})",
         "anchors: not a place: 0,0,1e300"},
        {locate, R"({"tag": "0x1234", "anchors": ["=0,0,1", "wpan1"]})", "anchor without a name"},
        {locate, R"({"tag": "0x1234", "anchors": ["wpan0", "wpan0=0,0,1"]})",
         "anchors: anchor wpan0 is there twice"},
        {locate, R"({"tag": "0x1234", "anchors": ["wpan0", "wpan7=0,0,1"]})",
         "anchors: there is no interface wpan7"},
        {locate, R"({"tag": "0x1234", "height": 1, "is_3d": true})", "height: "},
        {locate, R"({"tag": "0x1234", "iface": "wpan0"})", "iface: "},
        {locate, R"({"tag": "0x1234", "members": {"destAddressList": []}})",
         "members: destAddressList: "},
        {locate, R"({"tag": "0x1234", "members": {"deviceAddress": "0x0001"}})",
         "members: deviceAddress: "},
        {locate, R"({"tag": "tag"})", "tag: not a short address: tag"},
        {locate, R"({"anchors": ["0x1=0,0,0", "0x2=1,0,0"]})", "not a short address: 0x1"},
        {locate, R"({"tag": "0x1234", "height": 1e9})",
         "height is -50000 to 50000, not 1000000000"},
        {locate, R"({"tag": "0x1234", "sigma": 0})", "sigma is 0.001 to 100, not 0"},
        {locate, R"({"tag": "tag WORD"})", "tag: not a short address: tag "},
        {locate, R"({"anchors": ["WORD", "0x2=1,0,0"]})", "anchor"},
        {locate, R"({"anchors": ["0x1234=WORD"]})", "not a place"},
        {fira, R"({"preset": "none WORD"})", "there is no preset none"},
        {fira, R"({"members": {"none WORD": 1}})", "there is no none"},
        {fira, R"({"members": {"id": "WORD"}})", "id: expected a whole number"},
        {fira, R"({"members": [{"staticStsIV": "c0:ff:ee"}]})", "members: not a JSON object"},
        {simple, R"({"peers": "WORD"})", "peers is a list of texts, not "},
        {simple, R"({"peers": {"staticStsIV": "c0:ff:ee"}})", "peers is a list of texts"},
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
        // As it is, and with a word for which there is no room.
        for (const std::string& word : {std::string(), std::string(100'000, 'x')}) {
            try {
                read(Json::parse(android::base::StringReplace(json, "WORD", word, /*all=*/true)));
                ADD_FAILURE() << json << " was taken";
            } catch (const std::exception& failure) {
                EXPECT_THAT(failure.what(), HasSubstr(why)) << json;
                EXPECT_LT(strlen(failure.what()), 1000U) << json;
                EXPECT_THAT(failure.what(), Not(HasSubstr("c0:ff"))) << "all who look on read it";
            }
        }
    }
}

}  // namespace
}  // namespace uwbctl
