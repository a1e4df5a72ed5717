// SPDX-License-Identifier: Apache-2.0

// A ranging report out of a netlink message, into the records of the interface. The floor walks the
// bytes by hand.
#include <netlink/genl/genl.h>
#include <netlink/msg.h>

#include <cstring>
#include <numbers>

#include "bench/common/session.h"
#include "bench/host/task.h"
#include "net/fira_region_utils.h"
#include "net/mcps802154.h"
#include "net/nl_attr.h"

namespace hardware::velta::bench {
namespace {

using namespace ::aidl::hardware::velta::uwb;
using Measurements = std::vector<FiraTwrMeasurement>;

constexpr double kHalfTurn = std::numbers::pi / 32768;
constexpr double kBestFigure = 255;

void PutMeasurement(AttrWriter* put, int peer) {
    const auto measurement = put->OpenNest(peer + 1);
    put->U16(FIRA_MEASUREMENT_ATTR_SHORT_ADDR, static_cast<uint16_t>(kFirstPeer + peer));
    put->U8(FIRA_MEASUREMENT_ATTR_STATUS, 0);
    put->Bytes(FIRA_MEASUREMENT_ATTR_LOS, nullptr, 0);
    put->U32(FIRA_MEASUREMENT_ATTR_DISTANCE_MM, 3000U + static_cast<uint32_t>(peer));
    {
        const auto antenna = put->OpenNest(FIRA_MEASUREMENT_ATTR_AOA_AZIMUTH);
        put->U8(FIRA_AOA_ATTR_RX_ANTENNA_PAIR, 0);
        put->U16(FIRA_AOA_ATTR_AOA, 3000);
        put->U8(FIRA_AOA_ATTR_FOM, 230);
        put->U16(FIRA_AOA_ATTR_PDOA, 5000);
    }
    put->U16(FIRA_MEASUREMENT_ATTR_AZIMUTH, 3000);
    put->U8(FIRA_MEASUREMENT_ATTR_AZIMUTH_FOM, 230);
}

// What the virtual radio sends for a session that asks for azimuth.
nl_msg* NewReport(int peers) {
    nl_msg* msg = nlmsg_alloc_size(8192);
    genlmsg_put(msg, 0, 0, GENL_MIN_ID, 0, 0, MCPS802154_CMD_REGION_CALL, 0);
    AttrWriter put(msg);
    put.U32(MCPS802154_ATTR_HW, 0);
    const auto call = put.OpenNest(MCPS802154_ATTR_SCHEDULER_REGION_CALL);
    put.U32(MCPS802154_REGION_CALL_ATTR_ID, 0);
    put.String(MCPS802154_REGION_CALL_ATTR_NAME, MCPS802154_REGION_FIRA);
    put.U32(MCPS802154_REGION_CALL_ATTR_CALL, FIRA_CALL_SESSION_NTF);
    const auto params = put.OpenNest(MCPS802154_REGION_CALL_ATTR_PARAMS);
    put.U32(FIRA_CALL_ATTR_SESSION_ID, kSession);
    const auto data = put.OpenNest(FIRA_CALL_ATTR_RANGING_DATA);
    put.U64(FIRA_RANGING_DATA_ATTR_TIMESTAMP_NS, 123456789);
    put.U32(FIRA_RANGING_DATA_ATTR_BLOCK_INDEX, 7);
    const auto list = put.OpenNest(FIRA_RANGING_DATA_ATTR_MEASUREMENTS);
    for (int peer = 0; peer < peers; peer++) PutMeasurement(&put, peer);
    return msg;
}

class Parse : public Task, public FiraCallback {
  public:
    explicit Parse(int peers) : msg_(NewReport(peers)) {}
    ~Parse() override { nlmsg_free(msg_); }
    void OnTwrResult(const FiraRangingData& data, const Measurements& measurements) override {
        if (!keeps_) return;
        result_ = data.toString();
        for (const FiraTwrMeasurement& measurement : measurements) {
            result_ += measurement.toString();
        }
    }
    void OnSessionStopped(uint32_t /*id*/, int /*reason*/) override {}
    std::string Result() override {
        keeps_ = true;
        Run();
        return result_;
    }

  protected:
    nl_msg* msg_;

  private:
    bool keeps_ = false;
    std::string result_;
};

class OurParse : public Parse {
  public:
    explicit OurParse(int peers) : Parse(peers), region_(nullptr) {
        region_.SubscribeCallback(0, this);
    }
    void Run() override { region_.OnRangingResult(msg_); }

  private:
    FiraRegionUtils region_;
};

// ---- The floor ----

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

class PlainParse : public Parse {
  public:
    using Parse::Parse;
    void Run() override {
        nlmsghdr* header = nlmsg_hdr(msg_);
        const auto* begin = reinterpret_cast<const char*>(header);
        const Span top = {begin + NLMSG_HDRLEN + GENL_HDRLEN, begin + header->nlmsg_len};
        Descend(top, MCPS802154_ATTR_SCHEDULER_REGION_CALL, [this](Span call) {
            Descend(call, MCPS802154_REGION_CALL_ATTR_PARAMS,
                    [this](Span params) { Read(params); });
        });
    }

  private:
    template <typename Visit>
    static void Descend(Span span, int wanted, const Visit& visit) {
        Walk(span, [&](int type, Span payload) {
            if (type == wanted) visit(payload);
        });
    }
    void Read(Span params);
};

void PlainParse::Read(Span params) {
    FiraRangingData data;
    Measurements measurements;
    int64_t timestamp_ns = 0;
    const auto read_list = [&](Span list) {
        size_t count = 0;
        Walk(list, [&](int, Span) { count++; });
        measurements.resize(count);
        size_t i = 0;
        Walk(list, [&](int, Span nest) {
            measurements[i].timestampNs = timestamp_ns;
            ReadMeasurement(nest, &measurements[i++]);
        });
    };
    Walk(params, [&](int type, Span payload) {
        if (type == FIRA_CALL_ATTR_SESSION_ID) data.sessionId = bench::Read<int32_t>(payload);
        if (type != FIRA_CALL_ATTR_RANGING_DATA) return;
        Walk(payload, [&](int inner, Span value) {
            if (inner == FIRA_RANGING_DATA_ATTR_TIMESTAMP_NS) {
                timestamp_ns = bench::Read<int64_t>(value);
            }
            if (inner == FIRA_RANGING_DATA_ATTR_BLOCK_INDEX) {
                data.blockIndex = bench::Read<int32_t>(value);
            }
            if (inner == FIRA_RANGING_DATA_ATTR_MEASUREMENTS) read_list(value);
        });
    });
    OnTwrResult(data, measurements);
}

}  // namespace

std::unique_ptr<Task> NewParse(int peers) {
    return std::make_unique<OurParse>(peers);
}

std::unique_ptr<Task> NewPlainParse(int peers) {
    return std::make_unique<PlainParse>(peers);
}

}  // namespace hardware::velta::bench
