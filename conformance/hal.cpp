// SPDX-License-Identifier: Apache-2.0
#include "conformance/hal.h"

#include <android-base/logging.h>
#include <android-base/stringprintf.h>
#include <android/binder_manager.h>

#include <chrono>
#include <thread>
#include <vector>

#include "conformance/target.h"

namespace hardware::velta::conformance {

using namespace std::chrono_literals;
using namespace std::string_literals;
using ::android::base::StringPrintf;

std::string Said(const ScopedAStatus& status) {
    if (status.isOk()) return "OK";
    if (status.getExceptionCode() != EX_SERVICE_SPECIFIC) return status.getDescription();
    return StringPrintf("%d: %s", status.getServiceSpecificError(), status.getMessage());
}

bool Eventually(const std::function<bool()>& done) {
    const auto deadline =
        std::chrono::steady_clock::now() + std::chrono::milliseconds(TheTarget().patience_ms);
    while (!done()) {
        if (std::chrono::steady_clock::now() > deadline) return false;
        std::this_thread::sleep_for(10ms);
    }
    return true;
}

UwbAddress Short(uint16_t address) {
    return {.address = {static_cast<uint8_t>(address >> 8), static_cast<uint8_t>(address)}};
}

namespace {

std::shared_ptr<IUwb> FindService() {
    const std::string instance = IUwb::descriptor + "/default"s;
    return IUwb::fromBinder(ndk::SpAIBinder(AServiceManager_checkService(instance.c_str())));
}

}  // namespace

Hal::Hal() : uwb_(FindService()) {
    CHECK(uwb_ != nullptr) << "the UWB service is not registered; is it running?";
}

bool Hal::IsRegistered() {
    return FindService() != nullptr;
}

std::string Hal::Ifaces() const {
    std::vector<std::string> names;
    EXPECT_EQ(Said(uwb_->listIfaceNames(&names)), "OK");
    std::string text;
    for (const std::string& name : names) text += name + " ";
    return text;
}

std::shared_ptr<IUwbIface> Hal::Iface(int radio) const {
    std::shared_ptr<IUwbIface> iface;
    EXPECT_EQ(Said(uwb_->getIface(TheTarget().interfaces.at(radio), &iface)), "OK");
    return iface;
}

}  // namespace hardware::velta::conformance
