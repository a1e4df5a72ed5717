// SPDX-License-Identifier: Apache-2.0
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <ctime>
#include <numbers>

#include "../log_capture.h"
#include "net/fira_region_utils.h"
#include "scripted_socket.h"

namespace hardware::velta {
namespace {

using namespace ::aidl::hardware::velta::uwb;
using ::testing::ElementsAre;

constexpr double kPi = std::numbers::pi;

class FiraReportsTest : public ::testing::Test, public FiraCallback {
  protected:
    FiraReportsTest() : fira_(&kernel_) {
        fira_.SetMcpsNetId(kFamily);
        ConfigUtils config;
        config.Set("[HAL]antenna_pair_azimuth", "3");
        config.Set("[HAL]antenna_pair_elevation", "4");
        config.Set("[HAL]tx_antenna", "0");
        EXPECT_TRUE(fira_.ConsumeProperties(5, config));
    }

    void OnTwrResult(const FiraRangingData& data,
                     const std::vector<FiraTwrMeasurement>& measurements) override {
        reports_.push_back(data.toString());
        measurements_ = measurements;
    }
    void OnSessionStopped(uint32_t session_id, int reason) override {
        reports_.push_back(std::to_string(session_id) + " stopped " + std::to_string(reason));
        if (leave_when_stopped_) fira_.UnsubscribeCallback(5);
    }

    static Message Call(uint32_t call, const std::vector<Attr>& params, uint32_t hw = 5) {
        return {7, {U32(1, hw), Nest(8, {Text(2, "fira"), U32(4, call), Nest(5, params)})}};
    }
    static Message Report(const std::vector<Attr>& data) {
        return Call(8, {U32(1, 42), Nest(4, data)});
    }
    void Start() {
        fira_.SubscribeCallback(5, this);
        ASSERT_TRUE(fira_.StartSession(5, 42));
    }
    // What one measurement with these attributes beside address, status 0 and distance becomes.
    FiraTwrMeasurement Measured(std::vector<Attr> more) {
        more.insert(more.begin(), {U16(1, 0x1234), U8(3, 0), U32(7, 1500)});
        measurements_.clear();
        EXPECT_TRUE(kernel_.Notify(Report({U32(4, 1), Nest(5, {Nest(1, more)})})));
        EXPECT_EQ(measurements_.size(), 1u);
        return measurements_.empty() ? FiraTwrMeasurement() : measurements_[0];
    }
    std::string LastLine() { return log_.lines().back(); }

    ScriptedKernel kernel_;
    FiraRegionUtils fira_;
    std::vector<std::string> reports_;
    std::vector<FiraTwrMeasurement> measurements_;
    bool leave_when_stopped_ = false;
    LogCapture log_;
};

std::string Line(char severity, const std::string& text) {
    return severity + std::string(" velta.uwb.FiraRegionUtils ") + text;
}

Attr Angle(uint16_t attr, int16_t value) {
    return U16(attr, static_cast<uint16_t>(value));
}

TEST_F(FiraReportsTest, StartNeedsTheCallbackOfItsRadio) {
    fira_.SubscribeCallback(6, this);
    EXPECT_FALSE(fira_.StartSession(5, 42));
    EXPECT_THAT(kernel_.calls, ElementsAre());
    EXPECT_EQ(LastLine(),
              Line('E', "StartSession: Fira callback needs to be set for this hw_index."));
}

TEST_F(FiraReportsTest, StartsOnTheWatchedSocketWhichTheLastCallbackCloses) {
    Start();
    ExpectSent(kernel_,
               {7,
                {U32(1, 5), Text(3, "endless"),
                 Nest(8, {U32(1, 0), Text(2, "fira"), U32(4, 2), Nest(5, {U32(1, 42)})})}});
    fira_.SubscribeCallback(6, this);
    fira_.UnsubscribeCallback(5);
    EXPECT_THAT(kernel_.calls, ElementsAre("1 ack", "1 no auto ack", "1 watch"));
    fira_.UnsubscribeCallback(6);
    EXPECT_EQ(kernel_.calls.back(), "1 gone");
    fira_.UnsubscribeCallback(6);
}

TEST_F(FiraReportsTest, ReportBecomesDataAndMeasurements) {
    Start();
    kernel_.Notify(
        Report({U64(3, 0x1122334455667788), U32(4, 7),
                Nest(5, {Nest(1, {U16(1, 0x1234), U8(3, 0), Raw(5, {}), U32(7, 0xFFFFFFFE),
                                  Angle(11, 16384), Angle(12, 16384), U8(13, 255), U8(14, 51)}),
                         Nest(1, {U16(1, 0xABCD), U8(3, 33), U8(4, 2), Raw(6, {}), U32(7, 5),
                                  Angle(11, 5), U8(13, 9)})})}));
    EXPECT_THAT(reports_, ElementsAre("FiraRangingData{sessionId: 42, blockIndex: 7}"));
    ASSERT_EQ(measurements_.size(), 2u);
    const FiraTwrMeasurement& good = measurements_[0];
    EXPECT_THAT(good.peerAddress.address, ElementsAre(0x12, 0x34));
    EXPECT_EQ(good.timestampNs, 0x1122334455667788);
    EXPECT_EQ(good.status, 0);
    EXPECT_EQ(good.lineOfSight, 1);
    EXPECT_EQ(good.distance, -2);
    EXPECT_DOUBLE_EQ(good.azimuth, kPi / 2);
    EXPECT_DOUBLE_EQ(good.azimuthFigureOfMerit, 1);
    EXPECT_DOUBLE_EQ(good.elevation, kPi / 4);
    EXPECT_DOUBLE_EQ(good.elevationFigureOfMerit, 0.2);
    // Of a failed one only these three count.
    FiraTwrMeasurement failed;
    failed.peerAddress.address = {0xAB, 0xCD};
    failed.timestampNs = 0x1122334455667788;
    failed.status = 33;
    EXPECT_EQ(measurements_[1].toString(), failed.toString());
}

TEST_F(FiraReportsTest, StopReasonWinsOverMeasurements) {
    Start();
    kernel_.Notify(Report({U8(1, 200), U32(4, 7), Nest(5, {})}));
    kernel_.Notify(Call(8, {U32(1, 0xFFFFFFFE), Nest(4, {U8(1, 0)})}));
    EXPECT_THAT(reports_, ElementsAre("42 stopped 200", "4294967294 stopped 0"));
}

TEST_F(FiraReportsTest, StopMayEndTheSubscription) {
    Start();
    leave_when_stopped_ = true;
    EXPECT_TRUE(kernel_.Notify(Report({U8(1, 0)})));
    EXPECT_FALSE(kernel_.Notify(Report({U8(1, 0)})));
    EXPECT_EQ(reports_.size(), 1u);
}

TEST_F(FiraReportsTest, TimestampFallsBackToTheMonotonicClock) {
    Start();
    const auto now = [] {
        timespec time = {};
        clock_gettime(CLOCK_MONOTONIC, &time);
        return time.tv_sec * 1000000000L + time.tv_nsec;
    };
    const int64_t before = now();
    const int64_t timestamp = Measured({}).timestampNs;
    EXPECT_GE(timestamp, before);
    EXPECT_LE(timestamp, now());
}

TEST_F(FiraReportsTest, LineOfSightIsUnknownUnlessFlagged) {
    Start();
    EXPECT_EQ(Measured({}).lineOfSight, 255);
    EXPECT_EQ(Measured({Raw(6, {})}).lineOfSight, 0);
    EXPECT_EQ(Measured({Raw(6, {}), Raw(5, {})}).lineOfSight, 0);
}

TEST_F(FiraReportsTest, AnglesAndTheirMeritsScale) {
    Start();
    const struct {
        std::vector<Attr> attrs;
        double azimuth, azimuth_merit, elevation, elevation_merit;
    } kCases[] = {
        {{}, 0, 0, 0, 0},
        {{Angle(11, -32768), Angle(12, -32768)}, -kPi, 0, -kPi / 2, 0},
        {{Angle(11, 0), U8(13, 1), Angle(12, 0), U8(14, 2)}, 0, 0, 0, 2 / 255.0},
        {{U8(13, 255), U8(14, 255)}, 0, 0, 0, 0},
    };
    for (const auto& test : kCases) {
        const FiraTwrMeasurement measurement = Measured(test.attrs);
        EXPECT_DOUBLE_EQ(measurement.azimuth, test.azimuth);
        EXPECT_DOUBLE_EQ(measurement.azimuthFigureOfMerit, test.azimuth_merit);
        EXPECT_DOUBLE_EQ(measurement.elevation, test.elevation);
        EXPECT_DOUBLE_EQ(measurement.elevationFigureOfMerit, test.elevation_merit);
    }
}

TEST_F(FiraReportsTest, AntennaNestsBelongToAnAxis) {
    Start();
    // 3 and 4 are the pairs configured for azimuth and elevation.
    const auto aoa = [](uint16_t attr, int16_t angle, std::vector<Attr> more = {}) {
        more.insert(more.begin(), {Angle(2, angle), Angle(4, -8192), U8(3, 51)});
        return Nest(attr, more);
    };
    const struct {
        std::vector<Attr> attrs;
        std::string antennas;
    } kCases[] = {
        {{aoa(9, 100), aoa(10, 200)}, "AZIMUTH 100 ELEVATION 200 "},
        {{aoa(8, 300, {U8(1, 3)})}, "AZIMUTH 300 "},
        {{aoa(8, 300, {U8(1, 4)})}, "ELEVATION 300 "},
        {{aoa(8, 300, {U8(1, 5)})}, ""},
        {{aoa(8, 300)}, ""},
        {{aoa(8, 300, {U8(1, 255)})}, ""},
        {{aoa(8, 300, {U8(1, 3)}), aoa(9, 100)}, "AZIMUTH 100 "},
        {{aoa(8, 300, {U8(1, 4)}), aoa(9, 100)}, "AZIMUTH 100 ELEVATION 300 "},
        {{aoa(8, 300, {U8(1, 4)}), aoa(10, 200)}, "ELEVATION 200 "},
        {{Nest(9, {Angle(2, 1)}), aoa(8, 300, {U8(1, 3)})}, "AZIMUTH 300 "},
        {{Nest(9, {Angle(4, 1)}), aoa(10, 200)}, "ELEVATION 200 "},
    };
    for (const auto& [attrs, expected] : kCases) {
        std::string antennas;
        for (const FiraAntennaMeasurement& antenna : Measured(attrs).antennaMeasurements) {
            antennas += toString(antenna.axis) + " " +
                        std::to_string(std::lround(antenna.angleOfArrival * 32768 / kPi)) + " ";
            EXPECT_DOUBLE_EQ(antenna.figureOfMerit, 0.2);
            EXPECT_DOUBLE_EQ(antenna.phaseDifferenceOfArrival, -kPi / 4);
        }
        EXPECT_EQ(antennas, expected);
    }
    EXPECT_EQ(log_.Count(Line('E', "ParseAntennaMeasurement: Missing aoa data measurement fields")),
              2u);
    Measured({Nest(9, {Angle(2, 1), U8(4, 1)})});
    EXPECT_EQ(LastLine(),
              Line('E', "ParseAntennaMeasurement: Failed to parse aoa data measurement"));
}

TEST_F(FiraReportsTest, BadMeasurementsAreLeftOut) {
    Start();
    const struct {
        std::vector<Attr> attrs;
        std::string line;
    } kCases[] = {
        {{U16(1, 1), U8(3, 0)},
         Line('E', "ParseMeasurements: Missing fields in ranging measurement")},
        {{U16(1, 1), U32(7, 1)},
         Line('E', "ParseMeasurements: Missing addr or status in ranging measurement")},
        {{U8(3, 0), U32(7, 1)},
         Line('E', "ParseMeasurements: Missing addr or status in ranging measurement")},
        {{U16(1, 1), U8(3, 0), U32(7, 1), U8(11, 1)},
         Line('E', "ParseMeasurements: Failed to parse ranging measurement")},
        {{U16(1, 1), Raw(2, {}), U8(3, 0), U32(7, 1)},
         Line('I', "ParseMeasurements: Stop ranging with peer.")},
    };
    for (const auto& [attrs, line] : kCases) {
        const Attr good = Nest(1, {U16(1, 0x0A0B), U8(3, 1)});
        kernel_.Notify(Report({U32(4, 1), Nest(5, {Nest(1, attrs), good})}));
        EXPECT_EQ(LastLine(), line);
        ASSERT_EQ(measurements_.size(), 1u);
        EXPECT_THAT(measurements_[0].peerAddress.address, ElementsAre(0x0A, 0x0B));
        measurements_.clear();
    }
}

TEST_F(FiraReportsTest, ReportWithoutMeasurementsIsStillABlock) {
    Start();
    kernel_.Notify(Report({U32(4, 8), Nest(5, {})}));
    EXPECT_THAT(reports_, ElementsAre("FiraRangingData{sessionId: 42, blockIndex: 8}"));
    EXPECT_EQ(measurements_.size(), 0u);
}

TEST_F(FiraReportsTest, ForeignAndIncompleteNotificationsAreDropped) {
    Start();
    const struct {
        Message message;
        std::string line;
    } kCases[] = {
        {Call(2, {U32(1, 42)}), Line('I', "OnRangingResult: Not a ranging notification message.")},
        {Call(8, {U32(1, 42), Nest(4, {U8(1, 0)})}, 6),
         Line('I', "OnRangingResult: No callback for hw index: 6")},
        {Call(8, {U8(1, 42), Nest(4, {U8(1, 0)})}),
         Line('W', "OnRangingResult: Failed to parse session ntf call attr")},
        {Call(8, {U32(1, 42)}), Line('W', "OnRangingResult: Missing session ntf call attrs")},
        {Call(8, {Nest(4, {U8(1, 0)})}),
         Line('W', "OnRangingResult: Missing session ntf call attrs")},
        {Report({U32(3, 1), U8(1, 0)}),
         Line('W', "OnRangingResult: Failed to parse session ntf call attr")},
        {Report({U32(4, 1)}), Line('W', "OnRangingResult: Missing ranging data attr")},
        {Report({Nest(5, {})}), Line('W', "OnRangingResult: Missing ranging data attr")},
        {{7, {U32(1, 5), Nest(8, {Text(2, "nfcc_coex"), U32(4, 8), Nest(5, {})})}},
         "E velta.uwb.BaseRegionUtils GetCallContent fira: Missing region name in mcps message"},
    };
    for (const auto& [message, line] : kCases) {
        EXPECT_TRUE(kernel_.Notify(message));
        EXPECT_EQ(LastLine(), line);
    }
    EXPECT_THAT(reports_, ElementsAre());
}

}  // namespace
}  // namespace hardware::velta
