// SPDX-License-Identifier: Apache-2.0

// What the kernel says, message by message: the first byte of the input chooses who reads it, the
// rest is the message. It takes the way it takes on a device, through libnl and a real NlSocket.
#include <sanitizer/lsan_interface.h>
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <stdexcept>

#include "fuzz/nl_mutator.h"
#include "fuzz/scripted_netlink.h"
#include "net/ccc_region_utils.h"
#include "net/fira_region_utils.h"
#include "net/ieee_utils.h"

namespace hardware::velta {
namespace {

constexpr uint32_t kHw = 5;

void Require(bool holds) {
    if (!holds) abort();
}

// All clients of the kernel, with sessions that run, and what is asked of whatever they hand on.
class Radio : public FiraCallback, public CccRegionCallback {
  public:
    explicit Radio(NotificationMode mode) : factory_(&loop_, mode) {
        ScriptedNetlink::Get().Reset();
        for (BaseRegionUtils* region :
             {static_cast<BaseRegionUtils*>(&fira_), static_cast<BaseRegionUtils*>(&ccc_)}) {
            region->SetMcpsNetId(kFamily);
        }
    }

    void OnTwrResult(const ::aidl::hardware::velta::uwb::FiraRangingData& data,
                     const std::vector<::aidl::hardware::velta::uwb::FiraTwrMeasurement>&
                         measurements) override {
        Require(!data.toString().empty());
        for (const auto& measurement : measurements) {
            Require(measurement.peerAddress.address.size() == 2);
            Require(std::abs(measurement.azimuth) <= M_PI);
            Require(std::abs(measurement.elevation) <= M_PI / 2);
            Require(measurement.antennaMeasurements.size() <= 2);
            Require(!measurement.toString().empty());
        }
    }
    void OnSessionStopped(uint32_t session_id, int /*reason*/) override {
        if (session_id % 2 == 0) fira_.UnsubscribeCallback(kHw);  // As a client may.
    }
    void OnSessionStopped(uint32_t hw_index, Reason /*reason*/) override {
        ccc_.EndSession(hw_index);
    }

    void FiraReport(const Bytes& message) {
        ConfigUtils antennas;
        antennas.Set("[HAL]antenna_pair_azimuth", "3");
        antennas.Set("[HAL]antenna_pair_elevation", "4");
        antennas.Set("[HAL]tx_antenna", "0");
        Require(fira_.ConsumeProperties(kHw, antennas));
        fira_.SubscribeCallback(kHw, this);
        Require(fira_.StartSession(kHw, 42));
        Notify(message);
    }
    void CccNotification(const Bytes& message) {
        ccc_.SetCallback(this);
        Require(ccc_.StartCccSession(kHw, 1, 9));
        Notify(message);
        ccc_.SetCallback(nullptr);
    }
    void SimpleRangingReport(const Bytes& message) {
        mcps_.SubscribeRangingResults([this](const McpsUtils::RangingResult& result) {
            Require(result.id == 1 || result.id == 7);
            Require(std::isnan(result.angle1) || std::abs(result.angle1) <= M_PI_2 + 1e-6);
            if (result.id == 7) mcps_.UnsubscribeRangingResults();
        });
        Require(mcps_.SetRangingRequests(kHw, {{1, 0, 11}, {7, 0, 77}}));
        Notify(message);
    }
    void Envelope(const Bytes& message) {
        const NlMsg msg = ToNlMsg(message);
        uint32_t hw_index = 0;
        uint8_t call_id = 0;
        const BaseRegionUtils region({7}, &factory_);
        const nlattr* params = region.GetCallContent(msg.get(), &hw_index, &call_id);
        if (params == nullptr) return;
        const auto* begin = reinterpret_cast<const uint8_t*>(nlmsg_hdr(msg.get()));
        const auto* at = static_cast<const uint8_t*>(nla_data(params));
        Require(at >= begin && at + nla_len(params) <= begin + nlmsg_hdr(msg.get())->nlmsg_len);
    }
    void HardwareList(const Bytes& message) {
        Reply(message);
        bool ok = false;
        mcps_.ListHardware(&ok);
    }
    void HardwareInfo(const Bytes& message) {
        Reply(message);
        bool ok = false;
        mcps_.GetHardwareInfo(kHw, &ok);
    }
    void SpiPids(const Bytes& message) {
        Reply(message);
        McpsUtils::SpiPids pids = {1, 1};
        mcps_.GetSpiPids(kHw, pids);
    }
    void CalibrationStatus(const Bytes& message) {
        Reply(message);
        ConfigUtils config;
        config.Set("a", "1");
        config.Set("b", "01:02");
        mcps_.ConsumeCalibration(kHw, config);
    }
    void DeviceList(const Bytes& message) {
        Reply(message);
        bool ok = false;
        ieee_.ListDevices(&ok);
    }
    void Phy(const Bytes& message) {
        Reply(message);
        PhyInfo info;
        ieee_.GetPhyInfo("wpan0", &info);
    }

  private:
    static void Reply(const Bytes& message) {
        ScriptedNetlink::Get().on_request = [message](nl_sock* socket, const Bytes&) {
            ScriptedNetlink::Get().Queue(socket, {.bytes = message});
        };
    }
    void Notify(const Bytes& message) {
        // Twice: the first may have ended what the second is for.
        for (int i = 0; i < 2; i++) {
            ScriptedNetlink::Get().QueueForAll({.bytes = message, .is_answer = false});
            loop_.Pass();
        }
    }

    ManualLoop loop_;
    NlSocketFactory factory_;
    McpsUtils mcps_{&factory_};
    IeeeUtils ieee_{&factory_};
    FiraRegionUtils fira_{&factory_};
    CccRegionUtils ccc_{&factory_};
};

constexpr void (Radio::*kReaders[])(const Bytes&) = {
    &Radio::FiraReport, &Radio::CccNotification,   &Radio::SimpleRangingReport,
    &Radio::Envelope,   &Radio::HardwareList,      &Radio::HardwareInfo,
    &Radio::SpiPids,    &Radio::CalibrationStatus, &Radio::DeviceList,
    &Radio::Phy,
};

}  // namespace
}  // namespace hardware::velta

extern "C" int LLVMFuzzerInitialize(int* /*argc*/, char*** /*argv*/) {
    hardware::velta::SilenceLog();
    return 0;
}

extern "C" size_t LLVMFuzzerMutate(uint8_t* data, size_t size, size_t max_size);

namespace {

// Puts a message behind the byte that chooses its reader.
size_t Output(uint8_t reader, const hardware::velta::Bytes& message, uint8_t* out,
              size_t max_size) {
    if (1 + message.size() > max_size) return 0;
    out[0] = reader;
    std::copy(message.begin(), message.end(), out + 1);
    return 1 + message.size();
}

}  // namespace

extern "C" size_t LLVMFuzzerCustomMutator(uint8_t* data, size_t size, size_t max_size,
                                          unsigned int seed) {
    using namespace hardware::velta;
    Chance chance(seed);
    if (MutatesBytesOnly() || size < 1 + NLMSG_HDRLEN || chance.OneIn(8)) {
        return LLVMFuzzerMutate(data, size, max_size);
    }
    Bytes message(data + 1, data + size);
    MutateMessages(&message, &chance);
    return Output(data[0], message, data, max_size);
}

extern "C" size_t LLVMFuzzerCustomCrossOver(const uint8_t* data1, size_t size1,
                                            const uint8_t* data2, size_t size2, uint8_t* out,
                                            size_t max_size, unsigned int seed) {
    using namespace hardware::velta;
    if (MutatesBytesOnly() || size1 == 0 || size2 == 0) return 0;
    Chance chance(seed);
    Bytes message(data1 + 1, data1 + size1);
    GraftMessages(&message, Bytes(data2 + 1, data2 + size2), &chance);
    return Output(data1[0], message, out, max_size);
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    using namespace hardware::velta;
    if (size < 1 + NLMSG_HDRLEN) return 0;
    ChooseLog(data, size);
    constexpr uint8_t kEventBit = 0x80;
    const auto mode = data[0] & kEventBit ? NotificationMode::kEvent : NotificationMode::kPoll;
    Bytes message(data + 1, data + size);
    const auto reader = kReaders[(data[0] & ~kEventBit) % std::size(kReaders)];
    if (reader == &Radio::Envelope) {
        // No socket there that would look at the length first.
        const auto length = static_cast<uint32_t>(message.size());
        memcpy(message.data(), &length, sizeof(length));
    }
    Radio radio(mode);
    if (reader != &Radio::HardwareList && reader != &Radio::HardwareInfo) {
        (radio.*reader)(message);
        return 0;
    }
    // A PHY's name without a number ends the process, see McpsUtils::ParseHwInfo(): an exception
    // through libnl, which does not free what it holds then.
    const __lsan::ScopedDisabler no_leaks;
    try {
        (radio.*reader)(message);
    } catch (const std::logic_error&) {
    }
    return 0;
}
