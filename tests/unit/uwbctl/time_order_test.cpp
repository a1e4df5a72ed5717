// SPDX-License-Identifier: Apache-2.0
#include "uwbctl/locate/time_order.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace uwbctl {
namespace {

// What comes out after what goes in, as RADIO TIME; a radio that is silent holds up the others for
// a while only.
TEST(TimeOrder, WaitsUntilEveryRadioHasToldOfATime) {
    const struct {
        const char* radio;
        int64_t time;
        const char* out;
    } kSteps[] = {
        {"b", 20, ""},         {"b", 40, ""},
        {"a", 10, "a10 "},     {"a", 30, "b20 a30 "},
        {"a", 50, "b40 "},     {"a", 60, ""},
        {"a", 149, ""},        {"a", 150, "a50 "},
        {"b", 60, "a60 b60 "}, {"b", 155, "a149 a150 "},
    };
    std::string out;
    TimeOrder order({"a", "b"}, 100, [&out](const std::string& iface, const Measurement& it) {
        out += iface + std::to_string(it.timestamp_ns) + " ";
    });
    for (const auto& [radio, time, expected] : kSteps) {
        out.clear();
        order.Add(radio, {.timestamp_ns = time});
        EXPECT_EQ(out, expected) << radio << time;
    }
}

}  // namespace
}  // namespace uwbctl
