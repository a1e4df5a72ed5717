// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <aidl/hardware/velta/uwb/BnCccControllerCallback.h>
#include <aidl/hardware/velta/uwb/BnFiraSessionCallback.h>
#include <aidl/hardware/velta/uwb/BnSimpleRangingCallback.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <iomanip>
#include <set>
#include <sstream>

#include "hal/ccc_controller.h"
#include "hal/fira_controller.h"
#include "hal/simple_ranging_controller.h"
#include "tests/unit/log_capture.h"

// Everything below and above the hal, as fakes that share one journal: a test compares all that was
// asked of all of them, in order, and names the calls that are to fail.
namespace hardware::velta {

using ::aidl::hardware::velta::uwb::FiraTwrSession;
using ::aidl::hardware::velta::uwb::UwbAddress;
using ::ndk::ScopedAStatus;
using ::ndk::SharedRefBase;

inline constexpr char kIface[] = "wpan0";
inline constexpr uint32_t kHw = 3;

struct Journal {
    std::string calls;
    /** Verbs (first words) of the calls that are to fail. */
    std::set<std::string> failing;
};

/** What writes to the journal. */
class Noting {
  public:
    explicit Noting(Journal* journal) : journal_(journal) {}

  protected:
    /** Notes "verb word word..."; false when the call is to fail. */
    template <typename... Words>
    bool Note(const std::string& verb, const Words&... words) {
        std::ostringstream call;
        ((call << " " << words), ...);
        journal_->calls += (journal_->calls.empty() ? "" : "; ") + verb + call.str();
        return !journal_->failing.contains(verb);
    }

    /** Notes what reached a client, which answers with an error: that must not matter. Where "told"
     * fails binder refuses it, as when the client has no room for more. */
    template <typename... Words>
    ScopedAStatus Told(const Words&... words) {
        Note("told", words...);
        return journal_->failing.contains("told")
                   ? ScopedAStatus::fromStatus(STATUS_FAILED_TRANSACTION)
                   : ScopedAStatus::fromExceptionCode(EX_ILLEGAL_STATE);
    }

    Journal* journal_;
};

/** Keeps tasks until the test runs them. */
struct TaskLoop : public EventLoop {
    void PostTask(const std::function<void()>& task) override { tasks.push_back(task); }
    bool WatchFileDescriptor(int, ReadyMode, const std::function<void(int)>&) override {
        return false;
    }
    bool StopWatchFileDescriptor(int) override { return false; }

    std::vector<std::function<void()>> tasks;
};

class FakeInterfaceTool : public InterfaceTool, Noting {
  public:
    using Noting::Noting;
    bool GetUpState(const char* iface) override { return Note("is-up", iface); }
    bool SetUpState(const char* iface, bool up) override { return Note(up ? "up" : "down", iface); }
    bool SetUpStateIfNecessary(const char* iface, bool up) override {
        return Note(up ? "ensure-up" : "ensure-down", iface);
    }
    bool SetMacAddress(const char* iface, const std::array<uint8_t, 8>& mac) override {
        return Note("mac", iface, +mac[0], +mac[1], +mac[2], +mac[3], +mac[4], +mac[5], +mac[6],
                    +mac[7]);
    }
};

class FakeMcps : public McpsUtils, Noting {
  public:
    explicit FakeMcps(Journal* journal) : McpsUtils(nullptr), Noting(journal) {}
    bool Start() override {
        const bool found = Note("mcps-start");
        if (found) net_id = 27;
        return found;
    }
    int GetNetId() const override { return net_id; }
    bool GetSpiPids(uint32_t hw, SpiPids& out) override {
        out = pids;
        return Note("pids", hw);
    }
    std::vector<McpsHwInfo> ListHardware(bool* ok) override {
        *ok = Note("list-hardware");
        return hardware;
    }
    McpsHwInfo GetHardwareInfo(uint32_t hw, bool* ok) override {
        *ok = Note("info", hw);
        return info;
    }
    bool SetScheduler(uint32_t hw, McpsScheduler id, SlotDuration slot, NodeType node,
                      bool set_params) override {
        return Note("scheduler", hw, static_cast<int>(id), static_cast<int>(slot),
                    static_cast<int>(node), set_params);
    }
    bool SetRegion(uint32_t hw, const McpsRegion& region) override {
        return Note("region", hw, region.ToString());
    }
    /** As the driver's: takes the keys without a prefix. */
    bool ConsumeCalibration(uint32_t hw, ConfigUtils& config) override {
        std::string keys;
        for (auto entry = config.begin(); entry != config.end();) {
            const bool is_prefixed = entry->first.starts_with('[');
            if (!is_prefixed) keys += entry->first + "=" + entry->second + ",";
            entry = is_prefixed ? std::next(entry) : config.Erase(entry);
        }
        return Note("driver", hw, keys);
    }
    bool SetRangingRequests(uint32_t hw, std::vector<RangingRequest> requests) override {
        std::ostringstream list;
        for (const auto& [id, param, peer] : requests)
            list << id << "/" << param << "/" << peer << ",";
        return Note("requests", hw, list.str());
    }
    bool SubscribeRangingResults(std::function<void(const RangingResult&)> callback) override {
        on_result = std::move(callback);
        return Note("subscribe-results");
    }
    void UnsubscribeRangingResults() override {
        on_result = nullptr;
        Note("unsubscribe-results");
    }

    /** 0 until somebody has looked for the family. */
    int net_id = 0;
    SpiPids pids = {0, 0};
    std::vector<McpsHwInfo> hardware;
    McpsHwInfo info = {.hw_index = 9, .phy_index = 0, .scheduler = "default"};
    std::function<void(const RangingResult&)> on_result;
};

class FakeIeee : public IeeeUtils, Noting {
  public:
    explicit FakeIeee(Journal* journal) : IeeeUtils(nullptr), Noting(journal) {}
    bool Setup() override { return Note("ieee-setup"); }
    std::vector<DevInfo> ListDevices(bool* ok) override {
        *ok = Note("list-devices");
        return devices;
    }
    bool SetPanId(const char* iface, uint16_t pan_id) override {
        return Note("pan", iface, pan_id);
    }
    bool GetPhyInfo(const char* iface, PhyInfo* info) override {
        info->channels.insert(info->channels.end(), {3, 9});
        return Note("phy", iface);
    }
    bool SetChannel(const char* iface, int channel) override {
        return Note("channel", iface, channel);
    }

    std::vector<DevInfo> devices;
};

/** Makes ranging sockets, which tell the journal of their end. */
class FakeSocketFactory : public NlSocketFactory {
  public:
    explicit FakeSocketFactory(Journal* journal) : NlSocketFactory(nullptr), journal_(journal) {}
    std::unique_ptr<NlSocket> Create() override { return std::make_unique<Socket>(journal_); }

  private:
    struct Socket : public NlSocket, Noting {
        explicit Socket(Journal* journal) : NlSocket(nullptr), Noting(journal) {}
        ~Socket() override { Note("socket-closed"); }
        void DisableAutoAck() override {}
        bool SendAndAwaitAck(nl_msg*, std::function<int(nl_msg*)>) override { return true; }
        bool WatchNetlinkSocket(std::weak_ptr<NlSocket>,
                                const std::function<int(nl_msg*)>&) override {
            return true;
        }
    };

    Journal* journal_;
};

class FakeCcc : public CccRegionUtils, Noting {
  public:
    FakeCcc(NlSocketFactory* factory, Journal* journal) : CccRegionUtils(factory), Noting(journal) {
        CccRegionUtils::SetMcpsNetId(27);
    }
    void SetMcpsNetId(uint32_t id) override { Note("ccc-net-id", id); }
    bool StartCccSession(uint32_t hw, uint64_t start_ns, uint8_t channel) override {
        EXPECT_NE(callback(), nullptr) << "the region refuses to start without a callback";
        return Note("ccc-start", hw, start_ns, +channel) &&
               CccRegionUtils::StartCccSession(hw, start_ns, channel);
    }
    bool StopCccSession(uint32_t hw) override { return Note("ccc-stop", hw); }
};

/** @return short addresses in hex, each with a comma. */
inline std::string Addresses(const std::vector<UwbAddress>& list) {
    std::ostringstream text;
    for (const UwbAddress& item : list) {
        for (const uint8_t byte : item.address) {
            text << std::hex << std::setw(2) << std::setfill('0') << +byte;
        }
        text << ",";
    }
    return text.str();
}

class FakeFira : public FiraRegionUtils, Noting {
  public:
    explicit FakeFira(Journal* journal) : FiraRegionUtils(nullptr), Noting(journal) {}
    void SetMcpsNetId(uint32_t id) override { Note("fira-net-id", id); }
    void SubscribeCallback(uint32_t hw, FiraCallback* callback) override {
        Note("subscribe", hw);
        FiraRegionUtils::SubscribeCallback(hw, callback);
        subscriber = callback;
    }
    void UnsubscribeCallback(uint32_t hw) override {
        Note("unsubscribe", hw);
        FiraRegionUtils::UnsubscribeCallback(hw);
    }
    bool InitSession(uint32_t hw, uint32_t id) override { return Note("init", hw, id); }
    bool StartSession(uint32_t hw, uint32_t id) override { return Note("start", hw, id); }
    bool StopSession(uint32_t hw, uint32_t id) override { return Note("stop", hw, id); }
    bool DeinitSession(uint32_t hw, uint32_t id) override { return Note("deinit", hw, id); }
    bool ConfigTwrSession(uint32_t hw, const FiraTwrSession& session) override {
        return Note("config", hw, session.id);
    }
    bool AddControlees(uint32_t hw, uint32_t id, const std::vector<UwbAddress>& list,
                       const std::vector<int>* sub_ids) override {
        std::string subs = sub_ids ? "" : "-";
        for (const int sub : sub_ids ? *sub_ids : std::vector<int>()) {
            subs += std::to_string(sub) + ",";
        }
        return Note("add", hw, id, Addresses(list), subs);
    }
    bool RemoveControlees(uint32_t hw, uint32_t id, const std::vector<UwbAddress>& list) override {
        return Note("remove", hw, id, Addresses(list));
    }
    HwConfig GetHwConfig(uint32_t) const override { return hw_config; }

    /** Who subscribed last. */
    FiraCallback* subscriber = nullptr;
    HwConfig hw_config;
};

class FakeListener : public ControllerListener, Noting {
  public:
    using Noting::Noting;
    void OnPreSessionOpen(const McpsRegion& region) override {
        Note("pre-open", region.ToString());
    }
    void OnPreSessionStart() override { Note("pre-start"); }
    void OnSessionChanged() override { Note("changed"); }
};

class FiraClient : public ::aidl::hardware::velta::uwb::BnFiraSessionCallback, Noting {
  public:
    using Noting::Noting;
    using Data = FiraController::FiraRangingData;
    using Measurements = std::vector<FiraController::FiraTwrMeasurement>;
    using List = std::vector<UwbAddress>;
    ScopedAStatus onTwrResult(const Data& data, const Measurements& list) override {
        return Told("twr", data.sessionId, data.blockIndex, list.size());
    }
    ScopedAStatus onControleesAdded(int32_t id, const List& list) override {
        return Told("added", id, Addresses(list));
    }
    ScopedAStatus onControleesAddFailed(int32_t id, const List& list, int32_t why) override {
        return Told("add-failed", id, Addresses(list), why);
    }
    ScopedAStatus onControleesRemoved(int32_t id, const List& list) override {
        return Told("removed", id, Addresses(list));
    }
    ScopedAStatus onControleesRemoveFailed(int32_t id, const List& list, int32_t why) override {
        return Told("remove-failed", id, Addresses(list), why);
    }
    ScopedAStatus onSessionStopped(int32_t id, int32_t why) override {
        return Told("stopped", id, why);
    }
};

class CccClient : public ::aidl::hardware::velta::uwb::BnCccControllerCallback, Noting {
  public:
    using Noting::Noting;
    ScopedAStatus onSessionStopped(int32_t reason) override { return Told("ccc-stopped", reason); }
};

class SimpleRangingClient : public ::aidl::hardware::velta::uwb::BnSimpleRangingCallback, Noting {
  public:
    using Noting::Noting;
    ScopedAStatus onRangingResult(const McpsUtils::RangingResult& result) override {
        return Told("result", result.id, result.peer, result.value);
    }
};

/** A radio on which everything works, and its controllers. */
class HalTest : public ::testing::Test {
  protected:
    HalTest() {
        fira_->SetListener(&listener_);
        ccc_->SetListener(&listener_);
    }
    /** @return the calls since the last Trace(). */
    std::string Trace() { return std::exchange(journal_.calls, {}); }
    /** @return the calls, and "!code message" when what made them has failed. */
    std::string Trace(const ScopedAStatus& status) {
        std::string trace = Trace();
        if (status.isOk()) return trace;
        EXPECT_EQ(status.getExceptionCode(), EX_SERVICE_SPECIFIC);
        trace += (trace.empty() ? "!" : "; !") + std::to_string(status.getServiceSpecificError());
        return trace + " " + status.getMessage();
    }
    template <typename Controller, typename... Args>
    std::shared_ptr<Controller> Make(uint32_t hw, Args... args) {
        return SharedRefBase::make<Controller>(kIface, hw, args...);
    }

    LogCapture log_;
    Journal journal_;
    TaskLoop loop_;
    FakeInterfaceTool tool_{&journal_};
    FakeMcps mcps_{&journal_};
    FakeIeee ieee_{&journal_};
    FakeSocketFactory sockets_{&journal_};
    FakeCcc ccc_region_{&sockets_, &journal_};
    FakeFira fira_region_{&journal_};
    FakeListener listener_{&journal_};
    std::shared_ptr<FiraController> fira_ =
        Make<FiraController>(kHw, &ieee_, &fira_region_, &loop_);
    std::shared_ptr<CccController> ccc_ = Make<CccController>(kHw, &ieee_, &ccc_region_, &mcps_);
    std::shared_ptr<SimpleRangingController> simple_ =
        Make<SimpleRangingController>(kHw, &tool_, &mcps_, &ieee_);
};

/** A session that passes validation: controller, static STS, one controlee, channel 9. */
inline FiraTwrSession GoodSession(int32_t id = 7) {
    FiraTwrSession session;
    session.id = id;
    session.deviceAddress.address = {0x11, 0x22};
    session.destAddressList = {session.deviceAddress};
    session.inBandTerminationAttemptCount = 1;
    session.channelNumber = 9;
    session.vendorId = {1, 2};
    session.staticStsIV = {1, 2, 3, 4, 5, 6};
    return session;
}

}  // namespace hardware::velta
