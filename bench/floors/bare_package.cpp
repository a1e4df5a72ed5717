// SPDX-License-Identifier: Apache-2.0

// Floor of the service's footprint: a bare polled service that offers the whole interface package
// and does nothing. It links what no service of this package can do without.
//   uwb_bare_package NAME
#include <aidl/hardware/velta/uwb/BnCccController.h>
#include <aidl/hardware/velta/uwb/BnSimpleRangingController.h>
#include <aidl/hardware/velta/uwb/BnUwb.h>
#include <aidl/hardware/velta/uwb/BnUwbIface.h>
#include <netlink/genl/genl.h>
#include <netlink/netlink.h>

#include "bench/floors/floor_controller.h"
#include "bench/floors/polled_process.h"

namespace hardware::velta::bench {
namespace {

using namespace ::aidl::hardware::velta::uwb;
using Status = ::ndk::ScopedAStatus;

Status Nothing() {
    return Status::fromExceptionCode(EX_UNSUPPORTED_OPERATION);
}

struct BareCcc : BnCccController {
    Status initSession() override { return Nothing(); }
    Status startSession(int32_t, int64_t, int32_t, int64_t*) override { return Nothing(); }
    Status stopSession(int32_t) override { return Nothing(); }
    Status deinitSession() override { return Nothing(); }
    Status getCapabilities(CccCapabilities*) override { return Nothing(); }
    Status setCallback(const std::shared_ptr<ICccControllerCallback>& callback) override {
        return callback->onSessionStopped(0);
    }
};

struct BareSimple : BnSimpleRangingController {
    Status startInitiatorMode(int32_t, const UwbAddress&, int32_t) override { return Nothing(); }
    Status startResponderMode(int32_t, const UwbAddress&, int32_t) override { return Nothing(); }
    Status stop() override { return Nothing(); }
    Status getCapabilities(SimpleRangingCapabilities*) override { return Nothing(); }
    Status setRangings(const std::vector<RangingRequest>&) override { return Nothing(); }
    Status setCallback(const std::shared_ptr<ISimpleRangingCallback>& callback) override {
        return callback->onRangingResult({});
    }
};

struct BareFira : FloorController {
    Status setSessionCallback(const std::shared_ptr<IFiraSessionCallback>& callback) override {
        return callback->onTwrResult({}, {});
    }
};

struct BareIface : BnUwbIface {
    template <typename T, typename I>
    static Status Give(std::shared_ptr<I>* controller) {
        *controller = ndk::SharedRefBase::make<T>();
        return Status::ok();
    }
    Status firaController(std::shared_ptr<IFiraController>* it) override {
        return Give<BareFira>(it);
    }
    Status cccController(std::shared_ptr<ICccController>* it) override { return Give<BareCcc>(it); }
    Status simpleRangingController(std::shared_ptr<ISimpleRangingController>* it) override {
        return Give<BareSimple>(it);
    }
};

struct BareUwb : BnUwb {
    Status open(const std::shared_ptr<IUwbClientCallback>&) override {
        nl_sock* socket = nl_socket_alloc();
        const bool ok = genl_connect(socket) == 0;
        nl_socket_free(socket);
        return ok ? Status::ok() : Nothing();
    }
    Status close() override { return Status::ok(); }
    Status listHardwareIndex(std::vector<int64_t>*) override { return Status::ok(); }
    Status listIfaceNames(std::vector<std::string>*) override { return Status::ok(); }
    Status getIface(const std::string&, std::shared_ptr<IUwbIface>* iface) override {
        *iface = ndk::SharedRefBase::make<BareIface>();
        return Status::ok();
    }
    Status applyCountryRestriction(const std::string&) override { return Nothing(); }
};

}  // namespace
}  // namespace hardware::velta::bench

int main(int argc, char** argv) {
    using namespace hardware::velta::bench;
    if (argc < 2) return 2;
    const auto uwb = ndk::SharedRefBase::make<BareUwb>();
    RunPolled(
        uwb->asBinder(), FloorInstance(argv[1]), [] { return -1; }, [] {});
}
