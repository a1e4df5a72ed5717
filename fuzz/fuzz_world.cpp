// SPDX-License-Identifier: Apache-2.0
#include "fuzz/fuzz_world.h"

#include <android-base/properties.h>
#include <android/binder_libbinder.h>
#include <binder/Binder.h>
#include <linux/genetlink.h>
#include <netlink/errno.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <utility>

namespace hardware::velta {
namespace {

using ::ndk::SharedRefBase;

constexpr int kIeeeFamily = kFamily + 1;

// What the radio says by itself: reports and ends of sessions 0 to 2, and of another radio's.
const char* const kReports[] = {
    "7 1=w3 8{2='fira' 4=w8 5{1=w0 4{3=q7 4=w1 5{1{1=h1 3=b0 7=w1500 9{2=h1 4=h9}}}}}}",
    "7 1=w3 8{2='fira' 4=w8 5{1=w0 4{1=b0}}}",
    "7 1=w3 8{2='fira' 4=w8 5{1=w1 4{1=b3}}}",
    "7 1=w3 8{2='fira' 4=w8 5{1=w2 4{1=b0}}}",
    "7 1=w3 8{2='nfcc_coex' 4=w2 5{2=b1 3=b0}}",
    "7 1=w3 8{2='nfcc_coex' 4=w2 5{2=b0 3=b1}}",
    "13 1=w3 12{1=w1 2=w4 3=w100}",
    "7 1=w4 8{2='fira' 4=w8 5{1=w0 4{1=b0}}}",
    "7 1=w4 8{2='nfcc_coex' 4=w2 5{2=b1 3=b0}}",
};

class FiraClient : public ::aidl::hardware::velta::uwb::BnFiraSessionCallback {
  public:
    explicit FiraClient(World* world) : world_(world) {}
    using Data = ::aidl::hardware::velta::uwb::FiraRangingData;
    using Measurements = std::vector<::aidl::hardware::velta::uwb::FiraTwrMeasurement>;
    using List = std::vector<World::Address>;
    World::Status onTwrResult(const Data&, const Measurements&) override {
        return world_->on_callback();
    }
    World::Status onControleesAdded(int32_t, const List&) override { return world_->on_callback(); }
    World::Status onControleesAddFailed(int32_t, const List&, int32_t) override {
        return world_->on_callback();
    }
    World::Status onControleesRemoved(int32_t, const List&) override {
        return world_->on_callback();
    }
    World::Status onControleesRemoveFailed(int32_t, const List&, int32_t) override {
        return world_->on_callback();
    }
    World::Status onSessionStopped(int32_t, int32_t) override { return world_->on_callback(); }

  private:
    World* world_;
};

class CccClient : public ::aidl::hardware::velta::uwb::BnCccControllerCallback {
  public:
    explicit CccClient(World* world) : world_(world) {}
    World::Status onSessionStopped(int32_t) override { return world_->on_callback(); }

  private:
    World* world_;
};

class SimpleClient : public ::aidl::hardware::velta::uwb::BnSimpleRangingCallback {
  public:
    explicit SimpleClient(World* world) : world_(world) {}
    World::Status onRangingResult(const ::aidl::hardware::velta::uwb::RangingResult&) override {
        return world_->on_callback();
    }

  private:
    World* world_;
};

// The binder of a client in another process, which can die. Binder holds recipients weakly.
class RemoteBinder : public android::BBinder {
  public:
    using Recipient = android::wp<DeathRecipient>;
    bool isBinderAlive() const override { return is_alive; }
    android::status_t linkToDeath(const android::sp<DeathRecipient>& recipient, void*,
                                  uint32_t) override {
        recipient_ = recipient;
        return android::OK;
    }
    void TellOfDeath() {
        if (const auto recipient = recipient_.promote(); recipient != nullptr) {
            recipient->binderDied(android::sp<IBinder>::fromExisting(this));
        }
    }
    bool is_alive = true;

  private:
    Recipient recipient_;
};

}  // namespace

class World::RemoteClient : public ::aidl::hardware::velta::uwb::IUwbClientCallbackDefault {
  public:
    ndk::SpAIBinder asBinder() override {
        return ndk::SpAIBinder(AIBinder_fromPlatformBinder(binder));
    }
    const android::sp<RemoteBinder> binder = android::sp<RemoteBinder>::make();
};

void WriteCalibration() {
    static std::string folder = std::filesystem::temp_directory_path() / "uwb-fuzz.XXXXXX";
    if (mkdtemp(folder.data()) == nullptr) abort();
    atexit([] { std::filesystem::remove_all(folder); });
    std::ofstream(folder + "/paths") << folder << "/cal-<country>\n";
    const char* const start = "[HAL]minimum_system_offset_uwbtime0=5\nauto_sleep_margin=20\n";
    std::ofstream(folder + "/cal-FR")
        << start << "[HAL]antenna_pair_azimuth=0\n[HAL]antenna_pair_elevation=1\n"
        << "[HAL]tx_antenna=0\n[CCC]any=1\n[HAL]spi_affinity=1\n[HAL]kt7100_spi_affinity=0\n"
        << "size=1\nbytes=01:02\n";
    std::ofstream(folder + "/cal-default") << start << "[HAL]spi_affinity=x\n";
    android::base::SetProperty("ro.vendor.uwb.calibration.calibrationpaths", folder + "/paths");
}

World::World(bool by_event)
    : factory_(&loop, by_event ? NotificationMode::kEvent : NotificationMode::kPoll),
      service(SharedRefBase::make<Uwb>(&tool, &mcps_, &ieee_, &ccc_, &fira_, &loop)),
      fira_callback(SharedRefBase::make<FiraClient>(this)),
      ccc_callback(SharedRefBase::make<CccClient>(this)),
      simple_callback(SharedRefBase::make<SimpleClient>(this)) {
    ScriptedNetlink& netlink = ScriptedNetlink::Get();
    netlink.Reset();
    netlink.on_request = [this](nl_sock* socket, const Bytes& request) {
        OnRequest(socket, request);
    };
}

World::~World() {
    on_callback = [] { return Status::ok(); };
    service->close();
    service.reset();
    loop.Pass();
    loop.Clear();
    ScriptedNetlink::Get().on_request = nullptr;
}

void World::OnRequest(nl_sock* socket, const Bytes& request) {
    ScriptedNetlink& netlink = ScriptedNetlink::Get();
    const bool is_refused = (refusals & 1) != 0;
    refusals = static_cast<uint16_t>(refusals >> 1);
    if (is_refused) return netlink.Queue(socket, Ack(-EOPNOTSUPP));
    nlmsghdr header;
    memcpy(&header, request.data(), sizeof(header));
    const int command = request[NLMSG_HDRLEN];
    // Made once: most of what is done for an input is its service's opening.
    static const Datagram mcps = Answer({"1 1=h29 2='mcps802154'"});
    static const Datagram ieee = Answer({"1 1=h30 2='nl802154'"});
    static const Datagram ack = Ack();
    static const Datagram radio = Answer({"2 1=w3 2='phy0' 3='endless'"});
    static const Datagram radios =
        Answer({"2 1=w3 2='phy0' 3='default'", "2 1=w4 2='phy1' 3='endless'"});
    static const std::map<std::pair<int, int>, Datagram> answers = {
        {{kFamily, 9}, Answer({"9 10{1{1='spi_pid' 2=w7} 1{1='kt7100_pid' 2=w8}}"})},
        {{kFamily, 8}, Answer({"8"})},
        {{kIeeeFamily, 1}, Answer({"3 1=w0 24{2{4{5=x 9=x}}}"})},
        {{kIeeeFamily, 5}, Answer({"7 1=w0 4='wpan0'", "7 1=w1 4='wpan1'"})},
    };
    if (header.nlmsg_type == GENL_ID_CTRL) {
        const bool is_ieee =
            std::string(request.begin(), request.end()).find("nl8") != std::string::npos;
        netlink.Queue(socket, is_ieee ? ieee : mcps);
        return netlink.Queue(socket, ack);
    }
    if (header.nlmsg_type == kFamily && command == 1) {
        const bool is_dump = (header.nlmsg_flags & NLM_F_DUMP) == NLM_F_DUMP;
        return netlink.Queue(socket, is_dump ? radios : radio);
    }
    const auto answer = answers.find({header.nlmsg_type, command});
    netlink.Queue(socket, answer == answers.end() ? ack : answer->second);
}

void World::Open() {
    if (client_ == nullptr || !client_->binder->is_alive) {
        client_ = SharedRefBase::make<RemoteClient>();
    }
    service->open(client_);
}

void World::Die(bool tell) {
    if (client_ == nullptr) return;
    const auto client = client_;
    client->binder->is_alive = false;
    if (tell) client->binder->TellOfDeath();
}

void World::Report(uint8_t which) {
    Datagram report = Answer({kReports[which % std::size(kReports)]});
    report.is_answer = false;
    Notify(report);
}

void World::Notify(const Datagram& message) {
    ScriptedNetlink::Get().QueueForAll(message);
    loop.Pass();
}

void World::LoseReports() {
    Notify({.error = NLE_NOMEM});
    loop.Pass();
}

std::shared_ptr<Uwb::IUwbIface> World::Iface() {
    std::shared_ptr<Uwb::IUwbIface> iface;
    service->getIface("wpan0", &iface);
    return iface;
}

std::shared_ptr<FiraController::IFiraController> World::Fira() {
    std::shared_ptr<FiraController::IFiraController> fira;
    if (const auto iface = Iface(); iface != nullptr) iface->firaController(&fira);
    return fira;
}

std::shared_ptr<UwbIface::ICccController> World::Ccc() {
    std::shared_ptr<UwbIface::ICccController> ccc;
    if (const auto iface = Iface(); iface != nullptr) iface->cccController(&ccc);
    return ccc;
}

std::shared_ptr<UwbIface::ISimpleRangingController> World::Simple() {
    std::shared_ptr<UwbIface::ISimpleRangingController> simple;
    if (const auto iface = Iface(); iface != nullptr) iface->simpleRangingController(&simple);
    return simple;
}

std::vector<ndk::SpAIBinder> World::Objects() {
    std::vector<ndk::SpAIBinder> objects = {service->asBinder(), fira_callback->asBinder(),
                                            ccc_callback->asBinder(), simple_callback->asBinder()};
    if (const auto iface = Iface(); iface != nullptr) {
        objects.push_back(iface->asBinder());
        // More of those that do the work.
        for (int i = 0; i < 2; i++) {
            if (const auto fira = Fira(); fira != nullptr) objects.push_back(fira->asBinder());
            if (const auto ccc = Ccc(); ccc != nullptr) objects.push_back(ccc->asBinder());
            if (const auto simple = Simple()) objects.push_back(simple->asBinder());
        }
    }
    return objects;
}

World::FiraSession World::GoodSession(int32_t id) {
    FiraSession session;
    session.id = id;
    session.rangingRoundUsage = decltype(session.rangingRoundUsage)::DS_TWR;
    session.multiNodeMode = decltype(session.multiNodeMode)::ONE_TO_MANY;
    session.rframeConfig = decltype(session.rframeConfig)::SP3;
    session.psduDataRate = decltype(session.psduDataRate)::RATE_6M81;
    session.deviceAddress.address = {0x11, 0x22};
    session.destAddressList = {session.deviceAddress};
    session.inBandTerminationAttemptCount = 1;
    session.channelNumber = 9;
    session.vendorId = {1, 2};
    session.staticStsIV = {1, 2, 3, 4, 5, 6};
    return session;
}

}  // namespace hardware::velta
