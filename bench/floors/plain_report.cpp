// SPDX-License-Identifier: Apache-2.0
#include "bench/floors/plain_report.h"

#include <linux/genetlink.h>
#include <netlink/attr.h>

#include <cstring>
#include <numbers>

#include "net/mcps802154.h"

namespace hardware::velta::bench {
namespace {

using namespace ::aidl::hardware::velta::uwb;

constexpr double kHalfTurn = std::numbers::pi / 32768;
constexpr double kBestFigure = 255;

struct Span {
    const char* begin;
    const char* end;
};

template <typename T>
T Read(Span payload) {
    T value = {};
    if (payload.end - payload.begin >= static_cast<std::ptrdiff_t>(sizeof(T))) {
        memcpy(&value, payload.begin, sizeof(T));
    }
    return value;
}

// Calls visit(type, payload) for each attribute.
template <typename Visit>
void Walk(Span span, const Visit& visit) {
    while (span.end - span.begin >= NLA_HDRLEN) {
        const auto* header = reinterpret_cast<const nlattr*>(span.begin);
        const int length = header->nla_len;
        if (length < NLA_HDRLEN || length > span.end - span.begin) return;
        visit(header->nla_type & NLA_TYPE_MASK, Span{span.begin + NLA_HDRLEN, span.begin + length});
        if (NLA_ALIGN(length) >= span.end - span.begin) return;
        span.begin += NLA_ALIGN(length);
    }
}

FiraAntennaMeasurement ReadAntenna(Span nest) {
    FiraAntennaMeasurement antenna;
    Walk(nest, [&](int type, Span payload) {
        switch (type) {
            case FIRA_AOA_ATTR_AOA:
                antenna.angleOfArrival = Read<int16_t>(payload) * kHalfTurn;
                break;
            case FIRA_AOA_ATTR_FOM:
                antenna.figureOfMerit = Read<uint8_t>(payload) / kBestFigure;
                break;
            case FIRA_AOA_ATTR_PDOA:
                antenna.phaseDifferenceOfArrival = Read<int16_t>(payload) * kHalfTurn;
                break;
            default:
                break;
        }
    });
    antenna.axis = AoaAxis::AZIMUTH;
    return antenna;
}

void ReadMeasurement(Span nest, FiraTwrMeasurement* out) {
    Walk(nest, [&](int type, Span payload) {
        switch (type) {
            case FIRA_MEASUREMENT_ATTR_SHORT_ADDR: {
                const auto address = Read<uint16_t>(payload);
                out->peerAddress.address = {static_cast<uint8_t>(address >> 8),
                                            static_cast<uint8_t>(address)};
                break;
            }
            case FIRA_MEASUREMENT_ATTR_STATUS:
                out->status = Read<uint8_t>(payload);
                break;
            case FIRA_MEASUREMENT_ATTR_LOS:
                out->lineOfSight = 1;
                break;
            case FIRA_MEASUREMENT_ATTR_NLOS:
                out->lineOfSight = 0;
                break;
            case FIRA_MEASUREMENT_ATTR_DISTANCE_MM:
                out->distance = Read<int32_t>(payload);
                break;
            case FIRA_MEASUREMENT_ATTR_AOA_AZIMUTH:
                out->antennaMeasurements.push_back(ReadAntenna(payload));
                break;
            case FIRA_MEASUREMENT_ATTR_AZIMUTH:
                out->azimuth = Read<int16_t>(payload) * kHalfTurn;
                break;
            case FIRA_MEASUREMENT_ATTR_AZIMUTH_FOM:
                out->azimuthFigureOfMerit = Read<uint8_t>(payload) / kBestFigure;
                break;
            default:
                break;
        }
    });
}

// Calls visit(payload) for each attribute of one type.
template <typename Visit>
void Descend(Span span, int wanted, const Visit& visit) {
    Walk(span, [&](int type, Span payload) {
        if (type == wanted) visit(payload);
    });
}

void ReadList(Span list, int64_t timestamp_ns, std::vector<FiraTwrMeasurement>* measurements) {
    size_t count = 0;
    Walk(list, [&](int, Span) { count++; });
    measurements->resize(count);
    FiraTwrMeasurement* next = measurements->data();
    Walk(list, [&](int, Span nest) {
        next->timestampNs = timestamp_ns;
        ReadMeasurement(nest, next++);
    });
}

void ReadParams(Span params, FiraRangingData* data, std::vector<FiraTwrMeasurement>* measurements) {
    int64_t timestamp_ns = 0;
    const auto read_data = [&](int type, Span payload) {
        if (type == FIRA_RANGING_DATA_ATTR_TIMESTAMP_NS) timestamp_ns = Read<int64_t>(payload);
        if (type == FIRA_RANGING_DATA_ATTR_BLOCK_INDEX) data->blockIndex = Read<int32_t>(payload);
        if (type == FIRA_RANGING_DATA_ATTR_MEASUREMENTS) {
            ReadList(payload, timestamp_ns, measurements);
        }
    };
    Walk(params, [&](int type, Span payload) {
        if (type == FIRA_CALL_ATTR_SESSION_ID) data->sessionId = Read<int32_t>(payload);
        if (type == FIRA_CALL_ATTR_RANGING_DATA) Walk(payload, read_data);
    });
}

}  // namespace

void ReadPlainReport(const nlmsghdr* message, FiraRangingData* data,
                     std::vector<FiraTwrMeasurement>* measurements) {
    const auto* begin = reinterpret_cast<const char*>(message);
    const Span top = {begin + NLMSG_HDRLEN + GENL_HDRLEN, begin + message->nlmsg_len};
    Descend(top, MCPS802154_ATTR_SCHEDULER_REGION_CALL, [&](Span call) {
        Descend(call, MCPS802154_REGION_CALL_ATTR_PARAMS,
                [&](Span params) { ReadParams(params, data, measurements); });
    });
}

}  // namespace hardware::velta::bench
