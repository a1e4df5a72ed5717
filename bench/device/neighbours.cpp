// SPDX-License-Identifier: Apache-2.0
#include "bench/device/neighbours.h"

#include <aidl/hardware/velta/uwb/BnCccControllerCallback.h>
#include <aidl/hardware/velta/uwb/BnSimpleRangingCallback.h>

#include <future>

namespace hardware::velta::bench {
namespace {

using namespace std::chrono_literals;
using namespace ::aidl::hardware::velta::uwb;

constexpr int kChannel = 9;

class CccStop : public BnCccControllerCallback {
  public:
    ndk::ScopedAStatus onSessionStopped(int32_t /*reason*/) override {
        stopped.set_value();
        return ndk::ScopedAStatus::ok();
    }
    std::promise<void> stopped;
};

class CccNeighbour : public Neighbour {
  public:
    explicit CccNeighbour(const Service& service) {
        Require(service.Iface(1)->cccController(&ccc_), "cccController");
        Require(ccc_->setCallback(stop_), "setCallback");
        Require(ccc_->initSession(), "initSession");
        int64_t time0_ms = 0;
        Require(ccc_->startSession(1, 0, kChannel, &time0_ms), "startSession");
    }
    ~CccNeighbour() override {
        if (ccc_->stopSession(1).isOk()) stop_->stopped.get_future().wait_for(5s);
        ccc_->deinitSession();
    }

  private:
    std::shared_ptr<ICccController> ccc_;
    std::shared_ptr<CccStop> stop_ = ndk::SharedRefBase::make<CccStop>();
};

class IgnoredResults : public BnSimpleRangingCallback {
    ndk::ScopedAStatus onRangingResult(const RangingResult& /*result*/) override {
        return ndk::ScopedAStatus::ok();
    }
};

class SimpleRangingNeighbour : public Neighbour {
  public:
    explicit SimpleRangingNeighbour(const Service& service) {
        Require(service.Iface(1)->simpleRangingController(&simple_), "simpleRangingController");
        Require(simple_->setCallback(ndk::SharedRefBase::make<IgnoredResults>()), "setCallback");
        Require(simple_->startInitiatorMode(7, {.address = {0, 1}}, kChannel), "initiator mode");
        Require(simple_->setRangings({{.id = 1, .peer = 0x1001}}), "setRangings");
    }
    ~SimpleRangingNeighbour() override {
        simple_->setRangings({});
        simple_->stop();
    }

  private:
    std::shared_ptr<ISimpleRangingController> simple_;
};

}  // namespace

std::unique_ptr<Neighbour> NewCccNeighbour(const Service& service) {
    return std::make_unique<CccNeighbour>(service);
}

std::unique_ptr<Neighbour> NewSimpleRangingNeighbour(const Service& service) {
    return std::make_unique<SimpleRangingNeighbour>(service);
}

}  // namespace hardware::velta::bench
