// SPDX-License-Identifier: Apache-2.0
#include "uwbctl/client/client.h"

#include <aidl/hardware/velta/uwb/BnUwbClientCallback.h>
#include <aidl/hardware/velta/uwb/ErrorCode.h>
#include <android/binder_manager.h>
#include <android/binder_process.h>
#include <unistd.h>

#include <algorithm>
#include <future>
#include <thread>
#include <utility>

#include "uwbctl/client/holder.h"
#include "uwbctl/client/text.h"

namespace uwbctl {
namespace {

using ::aidl::hardware::velta::uwb::BnUwbClientCallback;
using ::aidl::hardware::velta::uwb::ErrorCode;
using ::aidl::hardware::velta::uwb::IUwb;
using ::ndk::ScopedAStatus;
using std::chrono::milliseconds;

constexpr char kBinderDevice[] = "/dev/binder";
constexpr milliseconds kServiceManagerPatience{3000};
constexpr milliseconds kServicePollInterval{50};

std::string InstanceName() {
    return std::string(IUwb::descriptor) + "/default";
}

// Looks the service up. Without a service manager binder waits for one for ever, so it is asked
// from a thread of its own, which is left behind when it does not come back.
ndk::SpAIBinder FindBinder() {
    if (access(kBinderDevice, R_OK | W_OK) != 0) {
        throw Failure(kNoService,
                      std::string("no binder: ") + kBinderDevice + " is missing or not accessible");
    }
    auto found = std::make_shared<std::promise<ndk::SpAIBinder>>();
    std::future<ndk::SpAIBinder> result = found->get_future();
    std::thread([found] {
        found->set_value(ndk::SpAIBinder(AServiceManager_checkService(InstanceName().c_str())));
    }).detach();
    if (result.wait_for(kServiceManagerPatience) != std::future_status::ready) {
        throw Failure(kNoService, "the service manager does not answer: is it running?");
    }
    return result.get();
}

const char* CodeName(int32_t code) {
    switch (static_cast<ErrorCode>(code)) {
        case ErrorCode::FAILED:
            return "FAILED";
        case ErrorCode::INVALID_ARGUMENT:
            return "INVALID_ARGUMENT";
        case ErrorCode::INVALID_STATE:
            return "INVALID_STATE";
    }
    return "unknown error";
}

// What to try after a refusal, besides what its message says.
const char* Advice(int32_t code) {
    switch (static_cast<ErrorCode>(code)) {
        case ErrorCode::INVALID_ARGUMENT:
            return "; \"uwbctl info\" shows what the interface can do";
        case ErrorCode::INVALID_STATE:
            return "; \"uwbctl monitor\" shows the service's state";
        default:
            return "; the service's log and dmesg say why";
    }
}

// The client's end of the hold on the hardware: the service watches whether it lives.
class ClientCallback : public BnUwbClientCallback {};

}  // namespace

void Check(const ScopedAStatus& status, const std::string& asked,
           const std::function<std::string()>& reason) {
    if (status.isOk()) return;
    const std::string what = "cannot " + asked + ": ";
    if (status.getExceptionCode() != EX_SERVICE_SPECIFIC) {
        throw Failure(kNoService,
                      what + "the service did not answer (" + status.getDescription() + ")");
    }
    const int32_t code = status.getServiceSpecificError();
    // Any other code comes with a message that says it all.
    const bool is_silent = code == static_cast<int32_t>(ErrorCode::FAILED);
    const std::string known = is_silent && reason ? reason() : "";
    throw Failure(kRefused, what + status.getMessage() + " (" + CodeName(code) + ")" +
                                (known.empty() ? Advice(code) : known));
}

// What a death finds, on a thread of binder's, even when the client is gone by then.
struct Client::DeathNotice {
    Events* events;
    std::shared_ptr<bool> has_died;
};

Client::Client(Events* events)
    : death_recipient_(AIBinder_DeathRecipient_new([](void* cookie) {
          const auto* notice = static_cast<DeathNotice*>(cookie);
          notice->events->Post([has_died = notice->has_died] { *has_died = true; });
      })) {
    AIBinder_DeathRecipient_setOnUnlinked(
        death_recipient_.get(), [](void* cookie) { delete static_cast<DeathNotice*>(cookie); });
    service_ = FindService();
    if (service_ == nullptr) {
        throw Failure(kNoService, "the UWB service is not there (" + InstanceName() +
                                      " is not registered): is it running?");
    }
    ABinderProcess_setThreadPoolMaxThreadCount(1);
    ABinderProcess_startThreadPool();
    notice_ = std::make_unique<DeathNotice>(DeathNotice{events, has_died_}).release();
    AIBinder_linkToDeath(service_->asBinder().get(), death_recipient_.get(), notice_);
}

Client::~Client() {
    if (notice_ != nullptr) {
        AIBinder_unlinkToDeath(service_->asBinder().get(), death_recipient_.get(), notice_);
    }
    Close();
}

void Client::Close() {
    if (is_open_) service_->close();
    is_open_ = false;
}

std::shared_ptr<IUwb> Client::FindService() {
    return IUwb::fromBinder(FindBinder());
}

bool Client::WaitForService(Events* events, std::chrono::seconds timeout) {
    const auto deadline = std::chrono::steady_clock::now() + timeout;
    while (FindService() == nullptr) {
        if (std::chrono::steady_clock::now() >= deadline) return false;
        if (events->Wait(kServicePollInterval) == Events::Wake::kInterrupted) return false;
    }
    return true;
}

void Client::Open() {
    if (TryOpen()) return;
    const std::string holder = HolderText();
    throw Failure(kNoService, "another client holds the hardware" +
                                  (holder.empty() ? "" : ": " + holder) +
                                  "; it lets go when it ends");
}

bool Client::TryOpen() {
    if (is_open_) return true;
    const ScopedAStatus status = service_->open(ndk::SharedRefBase::make<ClientCallback>());
    if (status.getServiceSpecificError() == static_cast<int32_t>(ErrorCode::INVALID_STATE)) {
        return false;
    }
    Check(status, "open the hardware");
    is_open_ = true;
    return true;
}

std::shared_ptr<Client::IUwbIface> Client::GetIface(std::string* name) {
    std::vector<std::string> names;
    Check(service_->listIfaceNames(&names), "list the interfaces");
    if (name->empty()) {
        if (names.empty()) {
            throw Failure(kRadioFailed, "there is no UWB interface: is the radio's driver loaded?");
        }
        *name = names.front();
    }
    std::shared_ptr<IUwbIface> iface;
    const ScopedAStatus status = service_->getIface(*name, &iface);
    if (!status.isOk() && std::find(names.begin(), names.end(), *name) == names.end()) {
        const std::string known =
            Join(names, [](const std::string& known_name) { return known_name; });
        throw Failure(kRefused, std::string(status.getMessage()) + " (interfaces: " + known + ")");
    }
    Check(status, "get interface " + *name);
    return iface;
}

std::shared_ptr<Client::IFiraController> Client::GetFira(std::string* name) {
    std::shared_ptr<IFiraController> controller;
    Check(GetIface(name)->firaController(&controller), "get the FiRa controller");
    if (controller == nullptr) throw Failure(kRefused, "interface " + *name + " has no FiRa");
    return controller;
}

std::shared_ptr<Client::ICccController> Client::GetCcc(std::string* name) {
    std::shared_ptr<ICccController> controller;
    Check(GetIface(name)->cccController(&controller), "get the CCC controller");
    if (controller == nullptr) throw Failure(kRefused, "interface " + *name + " has no CCC");
    return controller;
}

std::shared_ptr<Client::ISimpleRangingController> Client::GetSimpleRanging(std::string* name) {
    std::shared_ptr<ISimpleRangingController> controller;
    Check(GetIface(name)->simpleRangingController(&controller),
          "get the simple ranging controller");
    return controller;
}

void Client::CheckAlive() const {
    if (*has_died_) throw Failure(kNoService, "the UWB service has died");
}

Ended RunUntil(Events* events, const Client& client, milliseconds patience,
               const std::function<bool()>& done) {
    while (!done()) {
        const Events::Wake wake = events->Wait(patience);
        client.CheckAlive();
        if (wake == Events::Wake::kTimeout) return Ended::kSilent;
        if (wake == Events::Wake::kInterrupted) return Ended::kInterrupted;
        if (wake == Events::Wake::kOutputClosed) return Ended::kOutputClosed;
    }
    return Ended::kDone;
}

bool FinishWithin(Events* events, const Client& client, milliseconds time,
                  const std::function<bool()>& done) {
    constexpr milliseconds kNoSpin{10};
    const auto deadline = std::chrono::steady_clock::now() + time;
    while (!done()) {
        const auto left =
            std::chrono::duration_cast<milliseconds>(deadline - std::chrono::steady_clock::now());
        if (left.count() <= 0) return false;
        // A closed output wakes at once, every time.
        if (events->Wait(left) == Events::Wake::kOutputClosed) std::this_thread::sleep_for(kNoSpin);
        client.CheckAlive();
    }
    return true;
}

}  // namespace uwbctl
