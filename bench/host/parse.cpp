// SPDX-License-Identifier: Apache-2.0

// A ranging report out of a netlink message, into the records of the interface. The floor walks the
// bytes by hand.
#include <netlink/genl/genl.h>
#include <netlink/msg.h>

#include "bench/common/session.h"
#include "bench/floors/plain_report.h"
#include "bench/host/task.h"
#include "net/fira_region_utils.h"
#include "net/mcps802154.h"
#include "net/nl_attr.h"

namespace hardware::velta::bench {
namespace {

using namespace ::aidl::hardware::velta::uwb;
using Measurements = std::vector<FiraTwrMeasurement>;

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

class PlainParse : public Parse {
  public:
    using Parse::Parse;
    void Run() override {
        FiraRangingData data;
        Measurements measurements;
        ReadPlainReport(nlmsg_hdr(msg_), &data, &measurements);
        OnTwrResult(data, measurements);
    }
};

}  // namespace

std::unique_ptr<Task> NewParse(int peers) {
    return std::make_unique<OurParse>(peers);
}

std::unique_ptr<Task> NewPlainParse(int peers) {
    return std::make_unique<PlainParse>(peers);
}

}  // namespace hardware::velta::bench
