// SPDX-License-Identifier: Apache-2.0
#include "uwbctl/client/measurement.h"

#include <gtest/gtest.h>

namespace uwbctl {
namespace {

using ::aidl::hardware::velta::uwb::FiraRangingData;
using ::aidl::hardware::velta::uwb::FiraTwrMeasurement;

FiraTwrMeasurement Sent() {
    FiraTwrMeasurement sent;
    sent.peerAddress.address = {0x12, 0x34};
    sent.timestampNs = 1'500'000'000;
    sent.lineOfSight = 1;
    sent.distance = 2345;
    sent.azimuth = 0.5;
    sent.azimuthFigureOfMerit = 0.75;
    sent.elevation = -0.25;
    sent.elevationFigureOfMerit = 0.875;
    return sent;
}

Measurement Taken(const FiraTwrMeasurement& sent) {
    FiraRangingData data;
    data.sessionId = -1;
    data.blockIndex = 7;
    return ToMeasurement(data, sent);
}

constexpr char kHead[] =
    R"({"type":"measurement","timestamp_ns":1500000000,"session_id":4294967295,"block":7,)"
    R"("peer":"0x1234",)";

TEST(MeasurementTest, PutsEachValueWhereItBelongs) {
    FiraTwrMeasurement failed = Sent();
    failed.status = 0x21;
    FiraTwrMeasurement bare = Sent();
    bare.lineOfSight = 255;
    bare.azimuthFigureOfMerit = bare.elevationFigureOfMerit = 0;
    FiraTwrMeasurement hidden = Sent();
    hidden.lineOfSight = 0;
    hidden.elevationFigureOfMerit = 0;
    const struct {
        FiraTwrMeasurement sent;
        const char* json;
        const char* csv;
        const char* line;
    } kCases[] = {
        {Sent(),
         R"("status":0,"distance_mm":2345,"line_of_sight":true,"azimuth_rad":0.5,)"
         R"("azimuth_fom":0.75,"elevation_rad":-0.25,"elevation_fom":0.875})",
         "0,2345,true,0.5,0.75,-0.25,0.875",
         "   2345 mm  LOS   azimuth  +28.6 deg (fom 0.75)  elevation  -14.3 deg (fom 0.88)"},
        {hidden,
         R"("status":0,"distance_mm":2345,"line_of_sight":false,"azimuth_rad":0.5,)"
         R"("azimuth_fom":0.75,"elevation_rad":null,"elevation_fom":null})",
         "0,2345,false,0.5,0.75,,", "   2345 mm  NLOS  azimuth  +28.6 deg (fom 0.75)"},
        {bare,
         R"("status":0,"distance_mm":2345,"line_of_sight":null,"azimuth_rad":null,)"
         R"("azimuth_fom":null,"elevation_rad":null,"elevation_fom":null})",
         "0,2345,,,,,", "   2345 mm  -   "},
        {failed,
         R"("status":33,"distance_mm":null,"line_of_sight":null,"azimuth_rad":null,)"
         R"("azimuth_fom":null,"elevation_rad":null,"elevation_fom":null})",
         "33,,,,,,", "RX timeout (0x21)"},
    };
    for (const auto& [sent, json, csv, line] : kCases) {
        const Measurement taken = Taken(sent);
        EXPECT_EQ(ToJson(taken).dump(), std::string(kHead) + json);
        EXPECT_EQ(ToCsv(taken), std::string("1500000000,4294967295,7,0x1234,") + csv);
        EXPECT_EQ(ToLine(taken), std::string("    1.500000 s  block     7  0x1234  ") + line);
        // What is read again is what was written.
        std::string error;
        const auto again = MeasurementFromJson(ToJson(taken), &error);
        ASSERT_TRUE(again) << error;
        EXPECT_EQ(ToJson(*again), ToJson(taken));
    }
    EXPECT_EQ(CsvHeader(),
              "timestamp_ns,session_id,block,peer,status,distance_mm,line_of_sight,"
              "azimuth_rad,azimuth_fom,elevation_rad,elevation_fom");
}

}  // namespace
}  // namespace uwbctl
