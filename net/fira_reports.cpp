// SPDX-License-Identifier: Apache-2.0

// FiraRegionUtils: ranging reports.
#define LOG_TAG "velta.uwb.FiraRegionUtils"

#include <android-base/logging.h>

#include <algorithm>
#include <ctime>
#include <numbers>
#include <utility>

#include "net/fira_region_utils.h"
#include "net/mcps802154.h"
#include "net/nl_attr.h"

namespace hardware::velta {
namespace {

using ::aidl::hardware::velta::uwb::AoaAxis;
using ::aidl::hardware::velta::uwb::FiraAntennaMeasurement;
using ::aidl::hardware::velta::uwb::FiraTwrMeasurement;

using MeasurementAttrs = AttrTable<FIRA_MEASUREMENT_ATTR_MAX>;

constexpr auto kReportPolicies = MakePolicies<FIRA_CALL_ATTR_MAX>({
    {FIRA_CALL_ATTR_SESSION_ID, NLA_U32},
    {FIRA_CALL_ATTR_RANGING_DATA, NLA_NESTED},
});
constexpr auto kDataPolicies = MakePolicies<FIRA_RANGING_DATA_ATTR_MAX>({
    {FIRA_RANGING_DATA_ATTR_STOPPED, NLA_U8},
    {FIRA_RANGING_DATA_ATTR_TIMESTAMP_NS, NLA_U64},
    {FIRA_RANGING_DATA_ATTR_BLOCK_INDEX, NLA_U32},
    {FIRA_RANGING_DATA_ATTR_MEASUREMENTS, NLA_NESTED},
});
constexpr auto kMeasurementPolicies = MakePolicies<FIRA_MEASUREMENT_ATTR_MAX>({
    {FIRA_MEASUREMENT_ATTR_SHORT_ADDR, NLA_U16},
    {FIRA_MEASUREMENT_ATTR_STOPPED, NLA_FLAG},
    {FIRA_MEASUREMENT_ATTR_STATUS, NLA_U8},
    {FIRA_MEASUREMENT_ATTR_SLOT_INDEX, NLA_U8},
    {FIRA_MEASUREMENT_ATTR_LOS, NLA_FLAG},
    {FIRA_MEASUREMENT_ATTR_NLOS, NLA_FLAG},
    {FIRA_MEASUREMENT_ATTR_DISTANCE_MM, NLA_U32},
    {FIRA_MEASUREMENT_ATTR_AOA, NLA_NESTED},
    {FIRA_MEASUREMENT_ATTR_AOA_AZIMUTH, NLA_NESTED},
    {FIRA_MEASUREMENT_ATTR_AOA_ELEVATION, NLA_NESTED},
    {FIRA_MEASUREMENT_ATTR_AZIMUTH, NLA_S16},
    {FIRA_MEASUREMENT_ATTR_ELEVATION, NLA_S16},
    {FIRA_MEASUREMENT_ATTR_AZIMUTH_FOM, NLA_U8},
    {FIRA_MEASUREMENT_ATTR_ELEVATION_FOM, NLA_U8},
});
constexpr auto kAoaPolicies = MakePolicies<FIRA_AOA_ATTR_MAX>({
    {FIRA_AOA_ATTR_RX_ANTENNA_PAIR, NLA_U8},
    {FIRA_AOA_ATTR_AOA, NLA_S16},
    {FIRA_AOA_ATTR_FOM, NLA_U8},
    {FIRA_AOA_ATTR_PDOA, NLA_S16},
});

constexpr int kStatusSuccess = 0;
constexpr int kNlos = 0;
constexpr int kLos = 1;

// Angles are 16-bit fractions of pi, elevations of half of it.
constexpr double kAzimuthUnit = std::numbers::pi / 32768;
constexpr double kElevationUnit = std::numbers::pi / 65536;

// An absent figure of merit is 0; 1 means none as well.
template <int kMax>
double ReadFigureOfMerit(const AttrTable<kMax>& attrs, int attr) {
    constexpr double kBest = 255;
    const uint8_t value = attrs.Has(attr) ? attrs.U8(attr) : 0;
    return value > 1 ? value / kBest : 0;
}

int64_t MonotonicNanoseconds() {
    constexpr int64_t kNanosecondsPerSecond = 1000000000;
    timespec now = {};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return now.tv_sec * kNanosecondsPerSecond + now.tv_nsec;
}

// Every field to its initial value; only the memory of the lists is kept.
void Reset(FiraTwrMeasurement* measurement) {
    FiraTwrMeasurement fresh;
    fresh.peerAddress.address.swap(measurement->peerAddress.address);
    fresh.antennaMeasurements.swap(measurement->antennaMeasurements);
    fresh.antennaMeasurements.clear();
    *measurement = std::move(fresh);
}

void ReadAntennas(const MeasurementAttrs& attrs, const FiraRegionUtils::HwConfig& hw,
                  std::vector<FiraAntennaMeasurement>* antennas) {
    FiraAntennaMeasurement antenna;
    uint8_t pair = 0;
    const auto append = [&](AoaAxis axis) {
        antenna.axis = axis;
        antennas->push_back(antenna);
    };
    const auto parse = [&](int attr) {
        antenna = {};
        return attrs.Has(attr) &&
               FiraRegionUtils::ParseAntennaMeasurement(attrs.Get(attr), &antenna, &pair);
    };
    const bool has_azimuth = parse(FIRA_MEASUREMENT_ATTR_AOA_AZIMUTH);
    if (has_azimuth) append(AoaAxis::AZIMUTH);
    const bool has_elevation = parse(FIRA_MEASUREMENT_ATTR_AOA_ELEVATION);
    if (has_elevation) append(AoaAxis::ELEVATION);
    if (!parse(FIRA_MEASUREMENT_ATTR_AOA) || pair == FiraRegionUtils::kNoAntennaPair) return;
    // A pair that the kernel did not assign to an axis belongs to the one it is configured for.
    if (!has_azimuth && pair == hw.antenna_pair_azimuth) {
        append(AoaAxis::AZIMUTH);
    } else if (!has_elevation && pair == hw.antenna_pair_elevation) {
        append(AoaAxis::ELEVATION);
    }
}

void ReadSuccess(const MeasurementAttrs& attrs, const FiraRegionUtils::HwConfig& hw,
                 FiraTwrMeasurement* out) {
    if (attrs.Has(FIRA_MEASUREMENT_ATTR_LOS)) out->lineOfSight = kLos;
    if (attrs.Has(FIRA_MEASUREMENT_ATTR_NLOS)) out->lineOfSight = kNlos;
    out->distance = attrs.S32(FIRA_MEASUREMENT_ATTR_DISTANCE_MM);
    ReadAntennas(attrs, hw, &out->antennaMeasurements);
    if (attrs.Has(FIRA_MEASUREMENT_ATTR_AZIMUTH)) {
        out->azimuth = attrs.S16(FIRA_MEASUREMENT_ATTR_AZIMUTH) * kAzimuthUnit;
        out->azimuthFigureOfMerit = ReadFigureOfMerit(attrs, FIRA_MEASUREMENT_ATTR_AZIMUTH_FOM);
    }
    if (attrs.Has(FIRA_MEASUREMENT_ATTR_ELEVATION)) {
        out->elevation = attrs.S16(FIRA_MEASUREMENT_ATTR_ELEVATION) * kElevationUnit;
        out->elevationFigureOfMerit = ReadFigureOfMerit(attrs, FIRA_MEASUREMENT_ATTR_ELEVATION_FOM);
    }
}

}  // namespace

int FiraRegionUtils::OnRangingResult(nl_msg* msg) {
    NotificationCounters::Tally tally(mutable_counters());
    uint32_t hw_index = 0;
    uint8_t call_id = 0;
    nlattr* content = GetCallContent(msg, &hw_index, &call_id);
    if (content == nullptr) return NL_STOP;
    if (call_id != FIRA_CALL_SESSION_NTF) {
        LOG(INFO) << __func__ << ": Not a ranging notification message.";
        return NL_STOP;
    }
    const HwConfig hw = GetHwConfig(hw_index);
    const auto callback = callbacks_.find(hw_index);
    if (callback == callbacks_.end()) {
        LOG(INFO) << __func__ << ": No callback for hw index: " << hw_index;
        return NL_STOP;
    }
    AttrTable<FIRA_CALL_ATTR_MAX> params;
    if (params.ParseNest(content, kReportPolicies) < 0) {
        LOG(WARNING) << __func__ << ": Failed to parse session ntf call attr";
        return NL_STOP;
    }
    if (!params.Has(FIRA_CALL_ATTR_SESSION_ID) || !params.Has(FIRA_CALL_ATTR_RANGING_DATA)) {
        LOG(WARNING) << __func__ << ": Missing session ntf call attrs";
        return NL_STOP;
    }
    AttrTable<FIRA_RANGING_DATA_ATTR_MAX> report;
    if (report.ParseNest(params.Get(FIRA_CALL_ATTR_RANGING_DATA), kDataPolicies) < 0) {
        LOG(WARNING) << __func__ << ": Failed to parse session ntf call attr";
        return NL_STOP;
    }
    const uint32_t session_id = params.U32(FIRA_CALL_ATTR_SESSION_ID);
    if (report.Has(FIRA_RANGING_DATA_ATTR_STOPPED)) {
        tally.Delivered();
        callback->second->OnSessionStopped(session_id, report.U8(FIRA_RANGING_DATA_ATTR_STOPPED));
    } else if (report.Has(FIRA_RANGING_DATA_ATTR_BLOCK_INDEX) &&
               report.Has(FIRA_RANGING_DATA_ATTR_MEASUREMENTS)) {
        const uint64_t timestamp_ns = report.Has(FIRA_RANGING_DATA_ATTR_TIMESTAMP_NS)
                                          ? report.U64(FIRA_RANGING_DATA_ATTR_TIMESTAMP_NS)
                                          : static_cast<uint64_t>(MonotonicNanoseconds());
        tally.Delivered();
        FiraRangingData data;
        data.sessionId = static_cast<int32_t>(session_id);
        data.blockIndex = static_cast<int32_t>(report.U32(FIRA_RANGING_DATA_ATTR_BLOCK_INDEX));
        // Taken out while it is used: whoever is told may have another report read meanwhile.
        std::vector<FiraTwrMeasurement> measurements = std::move(measurements_);
        ParseMeasurements(hw, report.data(), timestamp_ns, &measurements);
        callback->second->OnTwrResult(data, measurements);
        measurements_ = std::move(measurements);
    } else {
        LOG(WARNING) << __func__ << ": Missing ranging data attr";
    }
    return NL_STOP;
}

std::vector<FiraTwrMeasurement> FiraRegionUtils::ParseMeasurements(const HwConfig& hw,
                                                                   nlattr** data,
                                                                   uint64_t timestamp_ns) {
    std::vector<FiraTwrMeasurement> measurements;
    ParseMeasurements(hw, data, timestamp_ns, &measurements);
    return measurements;
}

void FiraRegionUtils::ParseMeasurements(const HwConfig& hw, nlattr** data, uint64_t timestamp_ns,
                                        std::vector<FiraTwrMeasurement>* measurements) {
    size_t count = 0;
    for (nlattr* nest : Attrs(data[FIRA_RANGING_DATA_ATTR_MEASUREMENTS])) {
        MeasurementAttrs attrs;
        if (attrs.ParseNest(nest, kMeasurementPolicies) < 0) {
            LOG(ERROR) << __func__ << ": Failed to parse ranging measurement";
            continue;
        }
        if (attrs.Has(FIRA_MEASUREMENT_ATTR_STOPPED)) {
            LOG(INFO) << __func__ << ": Stop ranging with peer.";
            continue;
        }
        if (!attrs.Has(FIRA_MEASUREMENT_ATTR_SHORT_ADDR) ||
            !attrs.Has(FIRA_MEASUREMENT_ATTR_STATUS)) {
            LOG(ERROR) << __func__ << ": Missing addr or status in ranging measurement";
            continue;
        }
        const bool is_success = attrs.U8(FIRA_MEASUREMENT_ATTR_STATUS) == kStatusSuccess;
        if (is_success && !attrs.Has(FIRA_MEASUREMENT_ATTR_DISTANCE_MM)) {
            LOG(ERROR) << __func__ << ": Missing fields in ranging measurement";
            continue;
        }
        if (count == measurements->size()) measurements->emplace_back();
        FiraTwrMeasurement& measurement = (*measurements)[count++];
        Reset(&measurement);
        const uint16_t address = attrs.U16(FIRA_MEASUREMENT_ATTR_SHORT_ADDR);
        measurement.peerAddress.address = {static_cast<uint8_t>(address >> 8),
                                           static_cast<uint8_t>(address & 0xFF)};
        measurement.timestampNs = static_cast<int64_t>(timestamp_ns);
        measurement.status = attrs.U8(FIRA_MEASUREMENT_ATTR_STATUS);
        if (is_success) ReadSuccess(attrs, hw, &measurement);
    }
    measurements->resize(count);
}

bool FiraRegionUtils::ParseAntennaMeasurement(nlattr* nest, FiraAntennaMeasurement* out,
                                              uint8_t* pair_index) {
    AttrTable<FIRA_AOA_ATTR_MAX> attrs;
    if (attrs.ParseNest(nest, kAoaPolicies) < 0) {
        LOG(ERROR) << __func__ << ": Failed to parse aoa data measurement";
        return false;
    }
    if (!attrs.Has(FIRA_AOA_ATTR_AOA) || !attrs.Has(FIRA_AOA_ATTR_PDOA)) {
        LOG(ERROR) << __func__ << ": Missing aoa data measurement fields";
        return false;
    }
    out->angleOfArrival = attrs.S16(FIRA_AOA_ATTR_AOA) * kAzimuthUnit;
    out->figureOfMerit = ReadFigureOfMerit(attrs, FIRA_AOA_ATTR_FOM);
    out->phaseDifferenceOfArrival = attrs.S16(FIRA_AOA_ATTR_PDOA) * kAzimuthUnit;
    *pair_index = attrs.Has(FIRA_AOA_ATTR_RX_ANTENNA_PAIR) ? attrs.U8(FIRA_AOA_ATTR_RX_ANTENNA_PAIR)
                                                           : static_cast<uint8_t>(kNoAntennaPair);
    return true;
}

}  // namespace hardware::velta
