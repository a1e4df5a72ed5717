// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <aidl/hardware/velta/uwb/BnUwbClientCallback.h>
#include <aidl/hardware/velta/uwb/IUwb.h>
#include <android/binder_ibinder.h>
#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <string>

namespace hardware::velta::conformance {

using namespace ::aidl::hardware::velta::uwb;
using ::ndk::ScopedAStatus;
using ::ndk::SharedRefBase;

/** @return "OK", or the error code and the message of a refusal: "2: Unknown iface wpan7". */
std::string Said(const ScopedAStatus& status);

/** Waits until done() holds; false when that takes too long. */
bool Eventually(const std::function<bool()>& done);

/** @return a short address, the most significant byte first. */
UwbAddress Short(uint16_t address);

/** A connection to the service. */
class Hal {
  public:
    /** Ends the process when there is no service. */
    Hal();
    static bool IsRegistered();
    IUwb* operator->() const { return uwb_.get(); }
    std::string Open() const {
        return Said(uwb_->open(SharedRefBase::make<BnUwbClientCallback>()));
    }
    /** Has the service write its dump to a descriptor. */
    binder_status_t Dump(int fd) const {
        return AIBinder_dump(uwb_->asBinder().get(), fd, nullptr, 0);
    }
    /** @return names of the interfaces, with a blank behind each. */
    std::string Ifaces() const;
    /** @param radio 0 or 1: the target's first or second interface. */
    std::shared_ptr<IUwbIface> Iface(int radio) const;
    /** @return a controller, such as Get(0, &IUwbIface::firaController). */
    template <typename T>
    std::shared_ptr<T> Get(int radio,
                           ScopedAStatus (IUwbIface::*getter)(std::shared_ptr<T>*)) const {
        std::shared_ptr<T> controller;
        EXPECT_EQ(Said((Iface(radio).get()->*getter)(&controller)), "OK");
        return controller;
    }

  private:
    std::shared_ptr<IUwb> uwb_;
};

}  // namespace hardware::velta::conformance
