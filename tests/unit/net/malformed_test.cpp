// SPDX-License-Identifier: Apache-2.0

// Whatever arrives, what is handed on is what was sent or the stated mark of its absence.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <ctime>

#include "../log_capture.h"
#include "net/ccc_region_utils.h"
#include "net/fira_region_utils.h"
#include "net/ieee_utils.h"
#include "scripted_socket.h"

namespace hardware::velta {
namespace {

using namespace ::aidl::hardware::velta::uwb;
using ::testing::Contains;

using Fields = std::vector<std::string>;

template <typename T>
std::string Field(const std::string& name, T value) {
    return name + "=" + std::to_string(value);
}

class MalformedTest : public ::testing::Test {
  protected:
    // Plays message through deliver, first as it is, then in every broken form. A field that
    // deliver returns has to be of the whole message's or one of the marks.
    void Check(const Message& message, const Fields& whole, const Fields& marks,
               const std::function<Fields(const Bytes&)>& deliver) {
        ASSERT_EQ(deliver(Encode(message)), whole);
        Fields allowed = whole;
        allowed.insert(allowed.end(), marks.begin(), marks.end());
        int forms = 0;
        ForEachMalformed(message, [&](const Bytes& broken) {
            forms++;
            for (const std::string& field : deliver(broken)) EXPECT_THAT(allowed, Contains(field));
        });
        EXPECT_GT(forms, 20);
    }

    ScriptedKernel kernel_;
    LogCapture log_;  // Keeps thousands of lines out of the output.
};

class FiraFields : public FiraCallback {
  public:
    void OnTwrResult(const FiraRangingData& data,
                     const std::vector<FiraTwrMeasurement>& measurements) override {
        fields = {Field("session", data.sessionId), Field("block", data.blockIndex)};
        timespec now = {};
        clock_gettime(CLOCK_MONOTONIC, &now);
        for (const FiraTwrMeasurement& measurement : measurements) {
            const auto& address = measurement.peerAddress.address;
            const bool is_clock = std::abs(measurement.timestampNs / 1000000000 - now.tv_sec) <= 1;
            fields.insert(
                fields.end(),
                {Field("address", address.at(0) << 8 | address.at(1)),
                 is_clock ? "clock" : Field("time", measurement.timestampNs),
                 Field("status", measurement.status), Field("los", measurement.lineOfSight),
                 Field("distance", measurement.distance), Angle("azimuth", measurement.azimuth),
                 Field("merit", std::lround(measurement.azimuthFigureOfMerit * 255)),
                 Angle("elevation", measurement.elevation * 2),
                 Field("merit", std::lround(measurement.elevationFigureOfMerit * 255))});
            for (const FiraAntennaMeasurement& antenna : measurement.antennaMeasurements) {
                fields.insert(fields.end(),
                              {toString(antenna.axis), Angle("aoa", antenna.angleOfArrival),
                               Field("merit", std::lround(antenna.figureOfMerit * 255)),
                               Angle("pdoa", antenna.phaseDifferenceOfArrival)});
            }
        }
    }
    void OnSessionStopped(uint32_t session_id, int reason) override {
        fields = {Field("session", session_id), Field("reason", reason)};
    }

    static std::string Angle(const std::string& name, double radians) {
        return Field(name, std::lround(radians * 32768 / M_PI));
    }

    Fields fields;
};

Message FiraNotification(const std::vector<Attr>& data) {
    return {7,
            {U32(1, 5), Nest(8, {U32(1, 9), Text(2, "fira"), U32(4, 8),
                                 Nest(5, {U32(1, 0x11223344), Nest(4, data)})})}};
}

TEST_F(MalformedTest, FiraNotifications) {
    FiraRegionUtils fira(&kernel_);
    FiraFields callback;
    fira.SubscribeCallback(5, &callback);
    const auto deliver = [&](const Bytes& message) {
        callback.fields.clear();
        EXPECT_EQ(fira.OnRangingResult(ToNlMsg(message).get()), NL_STOP);
        return callback.fields;
    };
    const auto aoa = [](uint16_t attr) {
        return Nest(attr, {U8(1, 0), U16(2, 0x1357), U8(3, 0x77), U16(4, 0x2468)});
    };
    Check(FiraNotification({U64(3, 0x0102030405060708), U32(4, 0x55667788),
                            Nest(5, {Nest(1, {U16(1, 0x1234), U8(3, 0), Raw(5, {}), Raw(6, {}),
                                              U32(7, 0x12131415), aoa(9), aoa(8), U16(11, 0x3344),
                                              U8(13, 0x33), U16(12, 0x4455), U8(14, 0x44)}),
                                     Nest(2, {U16(1, 0x5678), U8(3, 0x21)})})}),
          {"session=287454020",
           "block=1432778632",
           "address=4660",
           "time=72623859790382856",
           "status=0",
           "los=0",
           "distance=303240213",
           "azimuth=13124",
           "merit=51",
           "elevation=17493",
           "merit=68",
           "AZIMUTH",
           "aoa=4951",
           "merit=119",
           "pdoa=9320",
           "address=22136",
           "time=72623859790382856",
           "status=33",
           "los=255",
           "distance=0",
           "azimuth=0",
           "merit=0",
           "elevation=0",
           "merit=0"},
          {"clock", "los=1"}, deliver);
    Check(FiraNotification({U8(1, 0x21)}), {"session=287454020", "reason=33"}, {}, deliver);
}

TEST_F(MalformedTest, CccNotifications) {
    class Callback : public CccRegionCallback {
      public:
        void OnSessionStopped(uint32_t hw_index, Reason reason) override {
            fields = {Field("hw", hw_index), Field("reason", reason)};
        }
        Fields fields;
    } callback;
    CccRegionUtils ccc(&kernel_);
    ccc.SetCallback(&callback);
    Check({7,
           {U32(1, 0x11223344), Nest(8, {U32(1, 9), Text(2, "nfcc_coex"), U32(4, 2),
                                         Nest(5, {U8(2, 0), U8(3, 0x77)})})}},
          {"hw=287454020", "reason=0"}, {}, [&](const Bytes& message) {
              callback.fields.clear();
              EXPECT_EQ(ccc.OnNotification(ToNlMsg(message).get()), NL_STOP);
              return callback.fields;
          });
}

TEST_F(MalformedTest, SimpleRangingReports) {
    McpsUtils mcps(&kernel_);
    Fields fields;
    mcps.SubscribeRangingResults([&fields](const McpsUtils::RangingResult& result) {
        fields = {Field("id", result.id), Field("value", result.value),
                  Field("angle1", std::lround(result.angle1 * 1e6)),
                  std::isnan(result.angle2) ? "nan" : Field("angle2", std::lround(result.angle2))};
        if (std::isnan(result.angle1)) fields[2] = "nan";
    });
    ASSERT_TRUE(mcps.SetRangingRequests(5, {{0x11223344, 0, 0}}));
    Check({13,
           {U32(1, 5),
            Nest(12, {U32(1, 0x11223344), U32(2, 0x22334455), U32(3, 1000), U32(4, 0x7FFFFFFF)})}},
          {"id=287454020", "value=573785173", "angle1=173131", "angle2=2"},
          {"value=-2147483648", "nan"}, [&](const Bytes& message) {
              fields.clear();
              EXPECT_TRUE(kernel_.Notify(message));
              return fields;
          });
}

TEST_F(MalformedTest, HardwareReplies) {
    Check({2, {U32(1, 0x11223344), Text(2, "phy1234567"), Text(3, "on_demand")}},
          {"hw=287454020", "phy=1234567", "on_demand"}, {"default"}, [](const Bytes& message) {
              McpsHwInfo info;
              return McpsUtils::ParseHwInfo(ToNlMsg(message).get(), &info)
                         ? Fields{Field("hw", info.hw_index), Field("phy", info.phy_index),
                                  info.scheduler}
                         : Fields{};
          });
}

TEST_F(MalformedTest, SpiPidReplies) {
    McpsUtils mcps(&kernel_);
    Check({9,
           {U32(1, 5), Nest(0x800A, {Nest(0x8001, {Text(1, "spi_pid"), U32(2, 0x11223344)}),
                                     Nest(0x8001, {Text(1, "kt7100_pid"), U32(2, 0x22334455)})})}},
          {"spi=287454020", "kt7100=573785173"}, {"spi=0", "kt7100=0"}, [&](const Bytes& message) {
              kernel_.answers = {{.messages = {message}}};
              McpsUtils::SpiPids pids = {1, 1};
              mcps.GetSpiPids(5, pids);
              return Fields{Field("spi", pids.spi_pid), Field("kt7100", pids.kt7100_pid)};
          });
}

TEST_F(MalformedTest, CalibrationReplies) {
    McpsUtils mcps(&kernel_);
    Check({8,
           {U32(1, 5), Nest(0x800A, {Nest(0x8001, {Text(1, "good"), U32(3, 0)}),
                                     Nest(0x8001, {Text(1, "bad"), U32(3, 0x11223344)})})}},
          {"good", "bad", "refused"}, {"accepted"}, [&](const Bytes& message) {
              const std::string prefix = "E velta.uwb.McpsUtils Error on key ";
              ConfigUtils config;
              config.Set("a", "1");
              kernel_.answers = {{.messages = {message}}};
              const size_t lines = log_.lines().size();
              const bool ok = mcps.ConsumeCalibration(5, config);
              Fields fields;
              for (size_t i = lines; i < log_.lines().size(); i++) {
                  const std::string& line = log_.lines()[i];
                  if (line.starts_with(prefix)) fields.push_back(line.substr(prefix.size()));
              }
              fields.push_back(ok ? "accepted" : "refused");
              return fields;
          });
}

TEST_F(MalformedTest, InterfaceReplies) {
    IeeeUtils ieee(&kernel_);
    Check({7, {U32(1, 0x11223344), U32(3, 9), Text(4, "wpan0")}}, {"wpan0", "phy=287454020"}, {},
          [&](const Bytes& message) {
              kernel_.answers = {{.messages = {message}}};
              bool ok = false;
              Fields fields;
              for (const DevInfo& device : ieee.ListDevices(&ok)) {
                  fields.insert(fields.end(), {device.name, Field("phy", device.phy_index)});
              }
              return fields;
          });
}

TEST_F(MalformedTest, PhyReplies) {
    IeeeUtils ieee(&kernel_);
    Check(
        {3,
         {U32(1, 0x11223344), Nest(24, {U32(1, 7), Nest(2, {Nest(0, {Raw(11, {})}),
                                                            Nest(4, {Raw(5, {}), Raw(9, {})})})})}},
        {"phy=287454020", "channel=5", "channel=9"}, {}, [&](const Bytes& message) {
            kernel_.answers = {{.messages = {message}}};
            PhyInfo info;
            if (!ieee.GetPhyInfo("lo", &info)) return Fields{};
            Fields fields = {Field("phy", info.phy_index)};
            for (const int channel : info.channels) fields.push_back(Field("channel", channel));
            return fields;
        });
}

}  // namespace
}  // namespace hardware::velta
