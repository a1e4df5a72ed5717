// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <aidl/hardware/velta/uwb/FiraRangingData.h>
#include <aidl/hardware/velta/uwb/FiraTwrMeasurement.h>

#include <cstdint>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>

namespace uwbctl {

/** An angle of arrival with how far it can be trusted. */
struct Angle {
    double radians = 0;
    /** 0.0 (none) to 1.0 (best). */
    double figure_of_merit = 0;
};

/** One measurement as every output and the recording have it. */
struct Measurement {
    /** Nanoseconds of the radio's clock. */
    int64_t timestamp_ns = 0;
    uint32_t session_id = 0;
    int32_t block = 0;
    /** Short address, such as "0x1234". */
    std::string peer;
    /** 0 for success, otherwise the radio's reason; without success the rest is empty. */
    int status = 0;
    std::optional<int64_t> distance_mm;
    std::optional<bool> line_of_sight;
    std::optional<Angle> azimuth;
    std::optional<Angle> elevation;
};

/** Takes what is there: an angle without a figure of merit was not measured. */
Measurement ToMeasurement(const ::aidl::hardware::velta::uwb::FiraRangingData& data,
                          const ::aidl::hardware::velta::uwb::FiraTwrMeasurement& measurement);

/**
 * @return an object with "type": "measurement" and the members timestamp_ns, session_id, block,
 *         peer, status, distance_mm, line_of_sight, azimuth_rad, azimuth_fom, elevation_rad and
 *         elevation_fom; null for what was not measured.
 */
nlohmann::ordered_json ToJson(const Measurement& measurement);

/**
 * The other way round.
 *
 * @return nothing, with *error set, when the object is not such a measurement.
 */
std::optional<Measurement> MeasurementFromJson(const nlohmann::ordered_json& json,
                                               std::string* error);

/** The first line of CSV output; the columns are the members of ToJson() but the type. */
std::string CsvHeader();

/** One line of CSV output, empty where there is no value. */
std::string ToCsv(const Measurement& measurement);

/** One aligned line for people, with units. */
std::string ToLine(const Measurement& measurement);

}  // namespace uwbctl
