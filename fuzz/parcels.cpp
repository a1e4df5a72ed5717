// SPDX-License-Identifier: Apache-2.0

// The service as its clients see it: Android's own fuzzer sends random parcels to every binder
// object of a service that runs over the real rooms below it and a scripted kernel. Between its
// rounds the input plays what else happens: good calls, reports, lost reports, tasks, refusals, a
// client that dies. Callbacks misbehave: they answer with errors and call back into the service.
#include <android/binder_libbinder.h>
#include <binder/Binder.h>
#include <binder/IPCThreadState.h>
#include <binder/IServiceManager.h>
#include <fakeservicemanager/FakeServiceManager.h>
#include <fuzzbinder/libbinder_ndk_driver.h>
#include <linux/genetlink.h>
#include <netlink/errno.h>

#include <aidl/hardware/velta/uwb/BnCccControllerCallback.h>
#include <aidl/hardware/velta/uwb/BnFiraSessionCallback.h>
#include <aidl/hardware/velta/uwb/BnSimpleRangingCallback.h>
#include <aidl/hardware/velta/uwb/BnUwbClientCallback.h>
#include <android-base/properties.h>

#include <csignal>
#include <filesystem>
#include <fstream>

#include "fuzz/fuzz_world.h"
#include "fuzz/parcel_actions.h"

namespace hardware::velta {
namespace {

class Rounds {
  public:
    explicit Rounds(FuzzedDataProvider* input) : input_(*input), world_(input->ConsumeBool()) {
        world_.on_callback = [this] { return Misbehave(); };
        world_.Open();
    }

    void Run() {
        constexpr int kMaxRounds = 48;
        for (int i = 0; i < kMaxRounds && input_.remaining_bytes() > 0; i++) Round();
    }

  private:
    void Round() {
        switch (input_.ConsumeIntegral<uint8_t>() % kActions) {
            case kParcels:
                return Parcels();
            case kFira:
                return StartFira();
            case kFiraStep:
                return FiraStep();
            case kCccStep:
                return CccStep();
            case kSimpleStep:
                return SimpleStep();
            case kReport:
                return world_.Report(input_.ConsumeIntegral<uint8_t>());
            case kMessage:
                return world_.Notify(Message());
            case kLoop:
                return world_.loop.Pass();
            case kDeath:
                return world_.Die(input_.ConsumeBool());
            case kOpenOrClose:
                if (input_.ConsumeBool()) {
                    world_.service->close();
                    return;
                }
                return world_.Open();
            case kCountry: {
                constexpr const char* kCountries[] = {"FR", "", "XX", "../FR"};
                world_.service->applyCountryRestriction(
                    kCountries[input_.ConsumeIntegral<uint8_t>() % std::size(kCountries)]);
                return;
            }
            case kLost:
                return world_.LoseReports();
            default:
                world_.refusals = input_.ConsumeIntegral<uint16_t>();
                world_.tool.works = input_.ConsumeBool();
        }
    }

    void Parcels() {
        const size_t size = input_.ConsumeIntegral<uint8_t>();
        const std::vector<uint8_t> bytes = input_.ConsumeBytes<uint8_t>(size * 2);
        android::fuzzService(world_.Objects(), FuzzedDataProvider(bytes.data(), bytes.size()));
        android::IPCThreadState::self()->clearCallingIdentity();
    }

    Datagram Message() {
        Datagram datagram = {
            .bytes = input_.ConsumeBytes<uint8_t>(input_.ConsumeIntegral<uint8_t>()),
            .is_answer = false};
        if (datagram.bytes.size() >= NLMSG_HDRLEN) {
            const auto length = static_cast<uint32_t>(datagram.bytes.size());
            memcpy(datagram.bytes.data(), &length, sizeof(length));
        }
        return datagram;
    }

    int32_t SessionId() { return input_.ConsumeIntegral<uint8_t>() % 3; }

    // A session that runs; some of its fields are the input's.
    void StartFira() {
        const auto fira = world_.Fira();
        if (fira == nullptr) return;
        World::FiraSession session = world_.GoodSession(SessionId());
        const auto odd = input_.ConsumeIntegral<uint8_t>();
        if ((odd & 1) != 0) session.stsConfig = World::FiraSession().stsConfig;
        if ((odd & 2) != 0) session.aoaType = decltype(session.aoaType)(odd >> 4);
        if ((odd & 4) != 0) session.sfdId = input_.ConsumeIntegral<int8_t>();
        if ((odd & 8) != 0) session.channelNumber = input_.ConsumeIntegralInRange<int>(-128, 127);
        if ((odd & 16) != 0) session.deviceType = decltype(session.deviceType)(odd >> 6);
        if ((odd & 32) != 0) session.vendorId = input_.ConsumeBytes<uint8_t>(odd >> 6);
        if ((odd & 64) != 0) session.rframeConfig = decltype(session.rframeConfig)(odd);
        if ((odd & 128) != 0) session.slotDurationRstu = input_.ConsumeIntegral<int32_t>();
        fira->setSessionCallback(world_.fira_callback);
        fira->initNewTwrSession(session);
        fira->updateTwrSession(session);
        fira->startRangingSession(session.id);
    }

    void FiraStep() {
        const auto fira = world_.Fira();
        if (fira == nullptr) return;
        const int32_t id = SessionId();
        const std::vector<World::Address> peers(input_.ConsumeIntegral<uint8_t>() % 4,
                                                World::Address{{1, 2}});
        switch (input_.ConsumeIntegral<uint8_t>() % 8) {
            case 0:
                fira->startRangingSession(id);
                return;
            case 1:
                fira->stopRangingSession(id);
                return;
            case 2:
                fira->deinitSession(id);
                return;
            case 3:
                fira->addControlees(id, peers, std::nullopt);
                return;
            case 4:
                fira->addControlees(id, peers, std::vector<int32_t>(peers.size() % 3, 7));
                return;
            case 5:
                fira->removeControlees(id, peers);
                return;
            case 6: {
                FiraController::FiraCapabilities caps;
                fira->getCapabilities(&caps);
                return;
            }
            default:
                fira->initNewTwrSession(world_.GoodSession(id));
        }
    }

    void CccStep() {
        const auto ccc = world_.Ccc();
        if (ccc == nullptr) return;
        int64_t time = 0;
        switch (input_.ConsumeIntegral<uint8_t>() % 6) {
            case 0:
                ccc->setCallback(world_.ccc_callback);
                return;
            case 1:
                ccc->initSession();
                return;
            case 2:
                ccc->startSession(1, input_.ConsumeIntegral<int8_t>(), 9, &time);
                return;
            case 3:
                ccc->stopSession(1);
                return;
            case 4:
                ccc->deinitSession();
                return;
            default:
                CccController::CccCapabilities caps;
                ccc->getCapabilities(&caps);
        }
    }

    void SimpleStep() {
        const auto simple = world_.Simple();
        if (simple == nullptr) return;
        constexpr int32_t kPanId = 1;
        constexpr int32_t kChannel = 9;
        const World::Address address = {{1, 2, 3, 4, 5, 6, 7, 8}};
        switch (input_.ConsumeIntegral<uint8_t>() % 5) {
            case 0:
                simple->setCallback(world_.simple_callback);
                return;
            case 1:
                simple->setRangings({{1, 0, 11}, {7, 0, 77}});
                return;
            case 2:
                simple->startInitiatorMode(kPanId, address, kChannel);
                return;
            case 3:
                simple->startResponderMode(kPanId, address, kChannel);
                return;
            default:
                simple->stop();
        }
    }

    // What a local client may do in the middle of being told something.
    World::Status Misbehave() {
        if (depth_ == 0 && input_.remaining_bytes() > 0) {
            depth_++;
            const auto deed = input_.ConsumeIntegral<uint8_t>() % 8;
            const auto fira = world_.Fira();
            if (deed == 1) world_.service->close();
            if (deed == 2 && fira != nullptr) fira->reset();
            if (deed == 3 && fira != nullptr) fira->clearSessionCallback();
            if (deed == 4) Round();
            if (deed == 5) world_.Die(true);
            depth_--;
        }
        return World::Status::fromExceptionCode(EX_ILLEGAL_STATE);
    }

    FuzzedDataProvider& input_;
    World world_;
    int depth_ = 0;
};

}  // namespace
}  // namespace hardware::velta

extern "C" int LLVMFuzzerInitialize(int* /*argc*/, char*** /*argv*/) {
    hardware::velta::SilenceLog();
    signal(SIGPIPE,
           SIG_IGN);  // As the service does: a random parcel may ask for a dump into a closed pipe.
    // A random binder may look for services: there is none, and none to wait for.
    android::setDefaultServiceManager(android::sp<android::FakeServiceManager>::make());
    hardware::velta::WriteCalibration();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    hardware::velta::ChooseLog(data, size);
    FuzzedDataProvider input(data, size);
    hardware::velta::Rounds(&input).Run();
    return 0;
}
