// SPDX-License-Identifier: Apache-2.0
#include "uwbctl/client/measurement.h"

#include <android-base/stringprintf.h>

#include <stdexcept>
#include <utility>

#include "uwbctl/client/json.h"
#include "uwbctl/client/text.h"
#include "uwbctl/client/units.h"

namespace uwbctl {
namespace {

using ::aidl::hardware::velta::uwb::FiraRangingData;
using ::aidl::hardware::velta::uwb::FiraTwrMeasurement;
using ::android::base::StringPrintf;
using Json = nlohmann::ordered_json;

constexpr int kLineOfSightUnknown = 255;

std::optional<Angle> ToAngle(double radians, double figure_of_merit) {
    if (figure_of_merit == 0) return std::nullopt;
    return Angle{.radians = radians, .figure_of_merit = figure_of_merit};
}

template <typename T>
Json ValueOrNull(const std::optional<T>& value) {
    return value ? Json(*value) : Json(nullptr);
}

void PutAngle(const char* name, const std::optional<Angle>& angle, Json* json) {
    const std::string prefix = name;
    (*json)[prefix + "_rad"] = angle ? Json(angle->radians) : Json(nullptr);
    (*json)[prefix + "_fom"] = angle ? Json(angle->figure_of_merit) : Json(nullptr);
}

// The library would cast a fraction, or a number that is too large, without a word.
template <typename T>
T GetInteger(const Json& json, const char* name) {
    const auto& value = json.at(name);
    const std::optional<int64_t> number = WholeNumber(value);
    if (!number || !std::in_range<T>(*number)) {
        throw std::out_of_range(std::string(name) +
                                " is not a whole number in range: " + Shortened(value.dump()));
    }
    return static_cast<T>(*number);
}

std::optional<Angle> GetAngle(const char* name, const Json& json) {
    const std::string prefix = name;
    if (json.at(prefix + "_rad").is_null()) return std::nullopt;
    return Angle{.radians = GetMember<double>(json, prefix + "_rad"),
                 .figure_of_merit = GetMember<double>(json, prefix + "_fom")};
}

std::string AngleText(const char* name, const std::optional<Angle>& angle) {
    if (!angle) return "";
    return StringPrintf("  %s %+6.1f deg (fom %.2f)", name, ToDegrees(angle->radians),
                        angle->figure_of_merit);
}

}  // namespace

Measurement ToMeasurement(const FiraRangingData& data, const FiraTwrMeasurement& measurement) {
    Measurement result;
    result.timestamp_ns = measurement.timestampNs;
    result.session_id = static_cast<uint32_t>(data.sessionId);
    result.block = data.blockIndex;
    result.peer = AddressText(measurement.peerAddress);
    result.status = measurement.status;
    if (measurement.status != 0) return result;
    result.distance_mm = measurement.distance;
    if (measurement.lineOfSight != kLineOfSightUnknown) {
        result.line_of_sight = measurement.lineOfSight != 0;
    }
    result.azimuth = ToAngle(measurement.azimuth, measurement.azimuthFigureOfMerit);
    result.elevation = ToAngle(measurement.elevation, measurement.elevationFigureOfMerit);
    return result;
}

Json ToJson(const Measurement& measurement) {
    Json json;
    json["type"] = "measurement";
    json["timestamp_ns"] = measurement.timestamp_ns;
    json["session_id"] = measurement.session_id;
    json["block"] = measurement.block;
    json["peer"] = measurement.peer;
    json["status"] = measurement.status;
    json["distance_mm"] = ValueOrNull(measurement.distance_mm);
    json["line_of_sight"] = ValueOrNull(measurement.line_of_sight);
    PutAngle("azimuth", measurement.azimuth, &json);
    PutAngle("elevation", measurement.elevation, &json);
    return json;
}

std::optional<Measurement> MeasurementFromJson(const Json& json, std::string* error) {
    try {
        Measurement result;
        result.timestamp_ns = GetInteger<int64_t>(json, "timestamp_ns");
        result.session_id = GetInteger<uint32_t>(json, "session_id");
        result.block = GetInteger<int32_t>(json, "block");
        result.peer = GetMember<std::string>(json, "peer");
        result.status = GetInteger<int>(json, "status");
        if (!json.at("distance_mm").is_null()) {
            result.distance_mm = GetInteger<int64_t>(json, "distance_mm");
        }
        if (!json.at("line_of_sight").is_null()) {
            result.line_of_sight = GetMember<bool>(json, "line_of_sight");
        }
        result.azimuth = GetAngle("azimuth", json);
        result.elevation = GetAngle("elevation", json);
        return result;
    } catch (const std::exception& exception) {
        *error = ReasonOf(exception);
        return std::nullopt;
    }
}

std::string CsvHeader() {
    std::string line;
    const Json json = ToJson(Measurement());
    for (const auto& [name, value] : json.items()) {
        if (name != "type") line += (line.empty() ? "" : ",") + name;
    }
    return line;
}

std::string ToCsv(const Measurement& measurement) {
    std::string line;
    const Json json = ToJson(measurement);
    for (const auto& [name, value] : json.items()) {
        if (name == "type") continue;
        if (name != "timestamp_ns") line += ',';
        if (value.is_string()) {
            line += value.get<std::string>();
        } else if (!value.is_null()) {
            line += value.dump();
        }
    }
    return line;
}

std::string ToLine(const Measurement& measurement) {
    const double seconds = static_cast<double>(measurement.timestamp_ns) / kNanosecondsPerSecond;
    const std::string head = StringPrintf("%12.6f s  block %5d  %s", seconds, measurement.block,
                                          measurement.peer.c_str());
    if (!measurement.distance_mm) {
        return head + "  " + StatusText(measurement.status);
    }
    const char* los = !measurement.line_of_sight   ? "-"
                      : *measurement.line_of_sight ? "LOS"
                                                   : "NLOS";
    return head +
           StringPrintf("  %7lld mm  %-4s", static_cast<long long>(*measurement.distance_mm), los) +
           AngleText("azimuth", measurement.azimuth) +
           AngleText("elevation", measurement.elevation);
}

}  // namespace uwbctl
