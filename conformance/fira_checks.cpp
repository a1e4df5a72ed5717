// SPDX-License-Identifier: Apache-2.0

// FiRa sessions: what they report, how they live, what runs beside them.
#include <cmath>
#include <cstdlib>
#include <numbers>

#include "conformance/check.h"

namespace hardware::velta::conformance {
namespace {

// No calibration is so wrong, and no building is so large.
constexpr int64_t kLeastDistanceMm = -2000;
constexpr int64_t kMostDistanceMm = 500'000;

constexpr int kMeasurements = 20;

class FiraCheck : public OpenCheck {
  protected:
    void SetUp() override {
        OpenCheck::SetUp();
        if (IsSkipped() || HasFatalFailure()) return;
        fira = FiraClient(hal, 0);
        if (!TheTarget().interfaces[1].empty()) other = FiraClient(hal, 1);
    }
    /** @return distances with the first peer of the session that is running, from now on. */
    std::vector<double> Distances();

    FiraClient fira, other;
};

void ExpectPlausible(const FiraTwrMeasurement& measurement) {
    constexpr double kPi = std::numbers::pi;
    EXPECT_GE(measurement.distance, kLeastDistanceMm);
    EXPECT_LE(measurement.distance, kMostDistanceMm);
    EXPECT_LE(std::fabs(measurement.azimuth), kPi);
    EXPECT_GE(measurement.azimuthFigureOfMerit, 0);
    EXPECT_LE(measurement.azimuthFigureOfMerit, 1);
    EXPECT_FALSE(measurement.antennaMeasurements.empty()) << "the session asks for the azimuth";
}

std::vector<double> FiraCheck::Distances() {
    fira.Fresh();
    std::vector<double> distances;
    for (int i = 0; i < kMeasurements && !HasFailure(); i++) {
        const FiraReport report = fira.Next();
        if (report.measurements.empty() || report.measurements[0].status != 0) continue;
        ExpectPlausible(report.measurements[0]);
        distances.push_back(static_cast<double>(report.measurements[0].distance));
    }
    // Of a loop that ended for another failure that would be said in vain.
    if (!HasFailure()) {
        EXPECT_GE(distances.size(), size_t{kMeasurements - kMostLost}) << "the peer seldom answers";
    }
    return distances;
}

double Mean(const std::vector<double>& numbers) {
    double sum = 0;
    for (const double number : numbers) sum += number;
    return numbers.empty() ? NAN : sum / static_cast<double>(numbers.size());
}

// ---- Reports ----

CONFORMANCE_CHECK(
    FiraCheck, ReportsEveryBlockOnce, NEEDS(),
    "a session that ranges tells its client of every block, in order and in time",
    "one notification a ranging block to the socket that started the session: "
    "BLOCK_INDEX from 0 and counting, TIMESTAMP_NS one block later than the last, and "
    "a measurement for each controlee, with a STATUS other than 0 where none answers") {
    constexpr int64_t kBlockNs = 50'000'000;
    fira.Run();
    int64_t last_ns = 0;
    for (int block = 0; block < 12; block++) {
        const auto [data, measurements] = fira.Next();
        EXPECT_EQ(data.sessionId, kSession);
        ASSERT_EQ(data.blockIndex, block);
        ASSERT_EQ(measurements.size(), 1U);
        EXPECT_EQ(measurements[0].peerAddress, ControllerSession().destAddressList[0]);
        const int64_t timestamp_ns = measurements[0].timestampNs;
        if (block > 0) {
            EXPECT_NEAR(static_cast<double>(timestamp_ns - last_ns), kBlockNs, kBlockNs / 2.0);
        }
        last_ns = timestamp_ns;
    }
}

CONFORMANCE_CHECK(FiraCheck, TimestampsAreOfTheMonotonicClock, NEEDS(),
                  "timestamps can be compared with those of other sensors",
                  "TIMESTAMP_NS in nanoseconds of CLOCK_MONOTONIC, or none") {
    fira.Run();
    for (int i = 0; i < 3; i++) {
        const FiraReport report = fira.Next();
        const std::chrono::nanoseconds now = std::chrono::steady_clock::now().time_since_epoch();
        ASSERT_FALSE(report.measurements.empty());
        EXPECT_NEAR(static_cast<double>(report.measurements[0].timestampNs),
                    static_cast<double>(now.count()), 1e9);
    }
}

CONFORMANCE_CHECK(FiraCheck, MeasuresThePeer, NEEDS(Need::kPeer),
                  "distance and azimuth of a controlee that answers are measured",
                  "STATUS 0 with DISTANCE_MM, and with REPORT_AOA_AZIMUTH the nest AOA_AZIMUTH") {
    fira.Run();
    const std::vector<double> distances = Distances();
    for (const double distance : distances) {
        EXPECT_NEAR(distance, Mean(distances), TheTarget().tolerance_mm) << "the peer moves?";
    }
}

CONFORMANCE_CHECK(FiraCheck, DistanceIsTrue, NEEDS(Need::kPeer, Need::kDistance),
                  "distances are in millimetres, and calibrated",
                  "DISTANCE_MM in millimetres, with the antenna delays of the calibration") {
    fira.Run();
    EXPECT_NEAR(Mean(Distances()), *TheTarget().distance_mm, TheTarget().tolerance_mm);
}

CONFORMANCE_CHECK(FiraCheck, TwoRadiosRangeWithEachOther, NEEDS(Need::kSecondRadio),
                  "both ends of a session work, and agree",
                  "DEVICE_TYPE and DEVICE_ROLE as given; a controlee reports one measurement a "
                  "block, with the controller that DEST_SHORT_ADDR names") {
    FiraTwrSession session = ControllerSession(), controlee = ControleeSession();
    // Not the peer's, which may be there as well.
    session.destAddressList = {Short(0x4321)};
    controlee.deviceAddress = session.destAddressList[0];
    fira.Run(session);
    other.Run(controlee);
    const std::vector<double> distances = Distances();
    FiraReport report = other.Fresh();
    for (int i = 0; i < kMostLost && report.measurements.at(0).status != 0; i++) {
        report = other.Next();
    }
    ASSERT_EQ(report.measurements.size(), 1U);
    EXPECT_EQ(report.measurements[0].status, 0);
    EXPECT_EQ(report.measurements[0].peerAddress, session.deviceAddress);
    EXPECT_NEAR(static_cast<double>(report.measurements[0].distance), Mean(distances),
                TheTarget().tolerance_mm);
    other.Halt();
    EXPECT_NE(fira.Fresh().measurements.at(0).status, 0) << "nobody answers any more";
    EXPECT_TRUE(fira.events->events.Empty()) << "the other end's stop is not its own";
    EXPECT_TRUE(other.GoesQuiet());
}

// ---- Controlees ----

CONFORMANCE_CHECK(
    FiraCheck, AddsAndRemovesControleesWhileRanging, NEEDS(),
    "controlees come and go without a restart, and the client is told",
    "NEW_CONTROLEE and DEL_CONTROLEE of a running session, a list as a whole or not "
    "at all, refused for a controlee that is there, or is not; from the next block on "
    "a measurement for each one that is there") {
    const UwbAddress first = ControllerSession().destAddressList[0];
    const UwbAddress extended = {.address = {1, 2, 3, 4, 5, 6, 7, 8}};
    fira.Run();
    const auto add = [this](const Addresses& who, std::vector<int32_t> sub_sessions) {
        EXPECT_EQ(fira.Add(kSession, who, sub_sessions), "OK");
        return fira.Event();
    };
    const auto remove = [this](const Addresses& who) {
        EXPECT_EQ(fira.Remove(kSession, who), "OK");
        return fira.Event();
    };
    EXPECT_EQ(fira.Fresh().measurements.size(), 1U);
    EXPECT_EQ(add({Short(0x5678), Short(0x9abc)}, {7, -1}), "added 42 5678,9abc");
    EXPECT_EQ(fira.Fresh().measurements.size(), 3U);
    EXPECT_EQ(add({Short(0x5678)}, {1}), "add failed 42 5678 0") << "it is there already";
    EXPECT_EQ(add({}, {}), "add failed 42 0");
    EXPECT_EQ(add({extended}, {1}), "add failed 42 0102030405060708 0");
    EXPECT_EQ(remove({Short(0x9abc), Short(0x5678)}), "removed 42 9abc,5678");
    EXPECT_EQ(fira.Fresh().measurements.size(), 1U);
    EXPECT_EQ(remove({Short(0x5678)}), "remove failed 42 5678 0") << "it is not there any more";
    EXPECT_EQ(remove({}), "remove failed 42 0");
    EXPECT_EQ(fira.Fresh().measurements.at(0).peerAddress, first);
    EXPECT_THAT((std::vector{fira.Add(kSession, {Short(2)}, {{}}),
                             fira.Add(kSession, {Short(2)}, {{1, 2}})}),
                Each("2: Controlees size and sub-session id size do not match"));
    EXPECT_EQ(fira.Add(kSession, {Short(2)}), "OK") << "without any";
    EXPECT_EQ(fira.Event(), "added 42 0002");
}

// ---- Life of a session ----

CONFORMANCE_CHECK(FiraCheck, StopsAndStartsAgain, NEEDS(),
                  "a session can be stopped, started again and taken away",
                  "SESSION_STOP acknowledged at once and followed by the notification STOPPED, "
                  "reason 0, after which nothing comes; SESSION_START of a stopped session, whose "
                  "blocks count from 0 again; SESSION_DEINIT of a stopped session, also with the "
                  "interface down") {
    ASSERT_EQ(fira.Init(ControllerSession()), "OK");
    for (int i = 0; i < 2; i++) {
        EXPECT_FALSE(IsUp(0));
        ASSERT_EQ(fira.Start(), "OK");
        EXPECT_TRUE(IsUp(0));
        EXPECT_EQ(fira.Next().data.blockIndex, 0);
        fira.Halt();
        EXPECT_EQ(fira.Count(), 1);
        EXPECT_TRUE(fira.GoesQuiet());
    }
    EXPECT_EQ(fira.Deinit(), "OK");
    EXPECT_EQ(fira.Count(), 0);
}

CONFORMANCE_CHECK(FiraCheck, GivesUpWhenNobodyAnswers, NEEDS(),
                  "a session with a limit of retries ends when its peer has gone",
                  "the notification STOPPED, with a reason other than 0, after MAX_RR_RETRY blocks "
                  "without an answer") {
    FiraTwrSession session = ControllerSession();
    session.destAddressList = {Short(0xfffd)};
    session.maxRangingRoundRetries = 2;
    fira.Run(session);
    const std::string event = fira.Event();
    EXPECT_TRUE(event.starts_with("stopped 42 ") && event != "stopped 42 0") << event;
    EXPECT_EQ(fira.Stop(), "3: The session isn't started.");
    EXPECT_EQ(fira.Deinit(), "OK");
}

CONFORMANCE_CHECK(FiraCheck, InterfaceStaysUpUntilTheLastSessionStops, NEEDS(),
                  "sessions of one radio run beside each other",
                  "two running sessions, each with its own reports") {
    fira.Run(ControllerSession(1));
    fira.Run(ControllerSession(2));
    fira.Halt(1);
    EXPECT_TRUE(IsUp(0));
    EXPECT_EQ(fira.Fresh().data.sessionId, 2);
    fira.Halt(2);
    EXPECT_FALSE(IsUp(0));
}

CONFORMANCE_CHECK(
    FiraCheck, RadiosRunSessionsOfTheirOwnAtOnce, NEEDS(Need::kSecondRadio),
    "what one radio does is of no consequence for another",
    "sessions, scheduler and regions for each hardware, which HW names in requests and "
    "notifications") {
    const int channel = OtherChannel();
    fira.Run();
    other.Run(ControllerSession(43, channel));
    for (int i = 0; i < 5; i++) {
        EXPECT_EQ(fira.Next().data.sessionId, kSession);
        EXPECT_EQ(other.Next().data.sessionId, 43);
    }
    fira.Halt();
    EXPECT_FALSE(IsUp(0));
    EXPECT_TRUE(IsUp(1));
    EXPECT_TRUE(fira.GoesQuiet());
    EXPECT_EQ(other.Fresh().data.sessionId, 43);
}

CONFORMANCE_CHECK(FiraCheck, ResetForgetsEverythingAtOnce, NEEDS(),
                  "a client can begin anew in the middle of anything",
                  "the interface going down ends what runs; SCHEDULER_SET drops the regions that "
                  "were set, and their sessions: the same session can be initialised again") {
    const auto channels = fira.Capabilities().supportedChannels;
    fira.Run();
    fira.Next();
    EXPECT_EQ(fira.Reset(), "OK");
    EXPECT_EQ(fira.Count(), 0);
    EXPECT_EQ(fira.Capabilities().supportedChannels, channels);
    EXPECT_TRUE(fira.GoesQuiet());
    EXPECT_TRUE(fira.events->events.Empty()) << "a reset is no stop";
    fira.Run();
    EXPECT_EQ(fira.Next().data.blockIndex, 0);
}

CONFORMANCE_CHECK(FiraCheck, CallbackMayBeReplacedOrClearedWhileRanging, NEEDS(),
                  "reports go to the client's latest callback, and nowhere without one",
                  "nothing") {
    fira.Run();
    const auto second = SharedRefBase::make<FiraEvents>();
    EXPECT_EQ(Said(fira.fira->setSessionCallback(second)), "OK");
    EXPECT_EQ(second->reports.Take().data.sessionId, kSession);
    EXPECT_TRUE(fira.GoesQuiet());
    EXPECT_EQ(Said(fira.fira->clearSessionCallback()), "OK");
    EXPECT_TRUE(second->reports.GoesQuiet(120ms));
    EXPECT_EQ(fira.Stop(), "OK");
    EXPECT_TRUE(Eventually([this] { return fira.Deinit() == "OK"; })) << "nobody hears of the end";
    EXPECT_FALSE(IsUp(0));
}

CONFORMANCE_CHECK(FiraCheck, OneChannelForAllSessionsUntilTheLastStop, NEEDS(Need::kTwoChannels),
                  "sessions of one radio share its channel, which the first one chooses",
                  "channel page 4 of the PHY with the channels that the chip has; sessions on each "
                  "of them") {
    const auto channels = [this] { return fira.Capabilities().supportedChannels; };
    const std::vector<int> all = channels();
    const int channel = TheTarget().channel, second = OtherChannel();
    const std::string restricted = "2: Requested channel " + std::to_string(second);
    fira.Run();
    EXPECT_THAT(channels(), ElementsAre(channel));
    EXPECT_EQ(fira.Init(ControllerSession(43, second)), restricted + " is restricted");
    fira.Halt();
    EXPECT_EQ(channels(), all);
    EXPECT_EQ(fira.Init(ControllerSession(43, second)), "OK");
    EXPECT_THAT(channels(), ElementsAre(second));
    // Taking sessions away is not what releases it.
    EXPECT_EQ(fira.Deinit(43), "OK");
    EXPECT_EQ(fira.Deinit(kSession), "OK");
    EXPECT_NE(fira.Init(ControllerSession()), "OK");
    EXPECT_EQ(fira.Reset(), "OK");
    EXPECT_EQ(fira.Init(ControllerSession()), "OK");
}

}  // namespace
}  // namespace hardware::velta::conformance
