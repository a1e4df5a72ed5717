// SPDX-License-Identifier: Apache-2.0
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include "../log_capture.h"
#include "net/mcps_utils.h"
#include "scripted_socket.h"

namespace hardware::velta {
namespace {

using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::StartsWith;

class McpsCalibrationTest : public ::testing::Test {
  protected:
    McpsCalibrationTest() : mcps_(&kernel_) {
        EXPECT_TRUE(mcps_.Start());
        kernel_.calls.clear();
    }

    // The keys in request i, in order.
    std::vector<std::string> SentKeys(size_t i) {
        std::vector<std::string> keys;
        const Bytes& bytes = kernel_.sent_bytes.at(i);
        Bytes list = Find({bytes.begin() + 20, bytes.end()}, {0x800A});
        for (const std::string& element : Tokens(list)) EXPECT_THAT(element, StartsWith("32769="));
        while (!list.empty()) {
            const Bytes key = Find(list, {0x8001, 1});
            keys.emplace_back(key.begin(), key.end() - 1);
            list.erase(list.begin(), list.begin() + (4 + Find(list, {0x8001}).size() + 3) / 4 * 4);
        }
        return keys;
    }
    std::string LeftKeys() {
        std::string keys;
        for (const auto& [key, value] : config_) keys += key + " ";
        return keys;
    }
    // One reply for each of the next requests, with a status for one key.
    void Verdicts(const std::vector<int32_t>& statuses) {
        for (const int32_t status : statuses) {
            kernel_.Reply(
                {{8, {U32(1, 5), Nest(0x800A, {Nest(0x8001, {Text(1, "k"), U32(3, status)})})}}});
        }
    }
    // A reply that says nothing of any key, which is success.
    void Accept() { kernel_.Reply({{8, {U32(1, 5)}}}); }

    ScriptedKernel kernel_;
    McpsUtils mcps_;
    ConfigUtils config_;
    LogCapture log_;
};

Attr Entry(const std::string& key, const Attr& value) {
    return Nest(0x8001, {Text(1, key), value});
}

TEST_F(McpsCalibrationTest, ValuesAreWordsOrBytes) {
    for (const auto& [key, value] :
         {std::pair("a", "-1"), std::pair("b", "4294967297"), std::pair("c", "0x10"),
          std::pair("d", "01:02:FF"), std::pair("e", "7F")}) {
        config_.Set(key, value);
    }
    Accept();
    EXPECT_TRUE(mcps_.ConsumeCalibration(5, config_));
    ExpectSent(kernel_,
               {8,
                {U32(1, 5), Nest(0x800A, {Entry("a", U32(2, 0xFFFFFFFF)), Entry("b", U32(2, 1)),
                                          Entry("c", U32(2, 16)), Entry("d", Raw(2, {1, 2, 0xFF})),
                                          Entry("e", Raw(2, {0x7F}))})}});
    EXPECT_TRUE(config_.IsEmpty());
    EXPECT_THAT(kernel_.calls, ElementsAre("2 response 8", "2 gone"));
}

TEST_F(McpsCalibrationTest, NothingIsSentWithoutDriverKeys) {
    EXPECT_TRUE(mcps_.ConsumeCalibration(5, config_));
    config_.Set("[HAL]tx_antenna", "1");
    EXPECT_TRUE(mcps_.ConsumeCalibration(5, config_));
    EXPECT_THAT(kernel_.sent, ElementsAre());
    EXPECT_EQ(LeftKeys(), "[HAL]tx_antenna ");
    EXPECT_THAT(log_.lines(),
                ElementsAre("I velta.uwb.McpsUtils Skip prefixed key [HAL]tx_antenna"));
}

TEST_F(McpsCalibrationTest, UnconvertibleKeyIsKeptAndSpoilsTheResultOfTheOthers) {
    config_.Set("a", "1");
    config_.Set("b", "north");
    config_.Set("c", "");
    config_.Set("d", "3");
    Accept();
    EXPECT_FALSE(mcps_.ConsumeCalibration(5, config_));
    EXPECT_THAT(SentKeys(0), ElementsAre("a", "d"));
    EXPECT_EQ(LeftKeys(), "b c ");
    EXPECT_EQ(log_.Count("W velta.uwb.McpsUtils Skip incorrect key b"), 1u);
}

TEST_F(McpsCalibrationTest, LongestKeyFillsAPageAndALongerOneIsSkipped) {
    const size_t longest = getpagesize() - 49;
    config_.Set(std::string(longest, 'a'), "1");
    config_.Set(std::string(longest + 1, 'b'), "1");
    Accept();
    EXPECT_FALSE(mcps_.ConsumeCalibration(5, config_));
    ASSERT_EQ(kernel_.sent.size(), 1u);
    EXPECT_EQ(kernel_.sent_bytes[0].size(), static_cast<size_t>(getpagesize()));
    EXPECT_EQ(
        log_.Count("E velta.uwb.McpsUtils Skip incorrect key " + std::string(longest + 1, 'b')),
        1u);
}

TEST_F(McpsCalibrationTest, KeysBeyondAPageGoIntoFurtherRequests) {
    std::vector<std::string> keys;
    for (int i = 100; i < 300; i++) {
        keys.push_back("key" + std::to_string(i));
        config_.Set(keys.back(), std::to_string(i));
    }
    Accept();
    Accept();
    EXPECT_TRUE(mcps_.ConsumeCalibration(5, config_));
    ASSERT_EQ(kernel_.sent.size(), 2u);
    const std::vector<std::string> second = SentKeys(1);
    std::vector<std::string> all = SentKeys(0);
    EXPECT_EQ(all.size(), (static_cast<size_t>(getpagesize()) - 32) / 24);
    all.insert(all.end(), second.begin(), second.end());
    EXPECT_EQ(all, keys);
}

TEST_F(McpsCalibrationTest, ArraysAreCountedTwelvefold) {
    std::string array = "00";
    for (int i = 1; i < getpagesize() / 40; i++) array += ":00";
    for (const char* key : {"a", "b", "c", "d", "e", "f"}) config_.Set(key, array);
    Accept();
    Accept();
    EXPECT_TRUE(mcps_.ConsumeCalibration(5, config_));
    EXPECT_THAT(SentKeys(0), ElementsAre("a", "b", "c", "d"));
    EXPECT_THAT(SentKeys(1), ElementsAre("e", "f"));
}

TEST_F(McpsCalibrationTest, ArrayLargerThanAMessageFails) {
    std::string array = "00";
    for (int i = 1; i < getpagesize(); i++) array += ":00";
    config_.Set("a", array);
    EXPECT_FALSE(mcps_.ConsumeCalibration(5, config_));
    EXPECT_THAT(kernel_.sent, ElementsAre());
    EXPECT_EQ(log_.lines().back(),
              "E velta.uwb.McpsUtils PutCalibrationKeys: Error creating MCPS message");
}

TEST_F(McpsCalibrationTest, LastStatusOfAReplyCounts) {
    const Attr bad = Nest(0x8001, {Text(1, "bad"), U32(3, static_cast<uint32_t>(-22))});
    const Attr good = Nest(0x8001, {Text(1, "good"), U32(3, 0)});
    for (const auto& [elements, expected] :
         {std::pair(std::vector{bad, good}, true), std::pair(std::vector{good, bad}, false)}) {
        config_.Set("a", "1");
        kernel_.Reply({{8, {Nest(0x800A, elements)}}});
        EXPECT_EQ(mcps_.ConsumeCalibration(5, config_), expected);
    }
    EXPECT_EQ(log_.Count("E velta.uwb.McpsUtils Error on key bad"), 2u);
    EXPECT_TRUE(config_.IsEmpty());
}

TEST_F(McpsCalibrationTest, RejectedRequestStopsTheRest) {
    for (int i = 100; i < 600; i++) config_.Set("key" + std::to_string(i), "1");
    Verdicts({0, -5, 0});
    EXPECT_FALSE(mcps_.ConsumeCalibration(5, config_));
    ASSERT_EQ(kernel_.sent.size(), 2u);
    EXPECT_EQ(config_.begin()->first, "key" + std::to_string(100 + SentKeys(0).size() * 2));
}

TEST_F(McpsCalibrationTest, FailedExchangeOrMissingSocketFails) {
    config_.Set("a", "1");
    kernel_.Refuse();
    EXPECT_FALSE(mcps_.ConsumeCalibration(5, config_));
    EXPECT_TRUE(config_.IsEmpty());
    kernel_.sockets_left = 0;
    EXPECT_FALSE(mcps_.ConsumeCalibration(5, config_));
    EXPECT_EQ(log_.lines().back(),
              "E velta.uwb.McpsUtils ConsumeCalibration: BAD_ALLOC: cannot allocate NlSocket");
}

TEST_F(McpsCalibrationTest, ReplyWithoutAWholeHeaderIsAFailure) {
    config_.Set("a", "1");
    Bytes cut = Encode(Message{.cmd = 8});
    cut.resize(17);
    cut[0] = 17;
    kernel_.answers.push_back({.messages = {cut}});
    EXPECT_FALSE(mcps_.ConsumeCalibration(5, config_));
    EXPECT_THAT(log_.lines(), Contains(StartsWith("E velta.uwb.McpsUtils Error parsing response "
                                                  "for calibration -")));
}

}  // namespace
}  // namespace hardware::velta
