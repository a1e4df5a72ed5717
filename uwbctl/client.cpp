// SPDX-License-Identifier: Apache-2.0
#include "uwbctl/client.h"

#include <aidl/hardware/velta/uwb/BnUwbClientCallback.h>
#include <aidl/hardware/velta/uwb/ErrorCode.h>
#include <android/binder_manager.h>
#include <android/binder_process.h>
#include <poll.h>
#include <signal.h>
#include <sys/eventfd.h>
#include <sys/signalfd.h>
#include <unistd.h>

#include <algorithm>
#include <future>
#include <thread>
#include <utility>

#include "uwbctl/text.h"

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
ndk::SpAIBinder FindService() {
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

// The client's end of the hold on the hardware: the service watches whether it lives.
class ClientCallback : public BnUwbClientCallback {};

}  // namespace

void Check(const ScopedAStatus& status, const std::string& asked) {
    if (status.isOk()) return;
    const std::string what = "cannot " + asked + ": ";
    if (status.getExceptionCode() != EX_SERVICE_SPECIFIC) {
        throw Failure(kNoService,
                      what + "the service did not answer (" + status.getDescription() + ")");
    }
    const int32_t code = status.getServiceSpecificError();
    throw Failure(kRefused, what + status.getMessage() + " (" + CodeName(code) + ")");
}

Events::Events() : posted_fd_(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {
    signal(SIGPIPE, SIG_IGN);
    sigset_t signals;
    sigemptyset(&signals);
    for (const int number : {SIGINT, SIGTERM, SIGHUP}) sigaddset(&signals, number);
    sigprocmask(SIG_BLOCK, &signals, nullptr);
    signal_fd_.reset(signalfd(-1, &signals, SFD_CLOEXEC | SFD_NONBLOCK));
}

void Events::Post(std::function<void()> task) {
    const std::lock_guard lock(mutex_);
    posted_.push_back(std::move(task));
    eventfd_write(posted_fd_.get(), 1);
}

bool Events::RunPosted() {
    std::deque<std::function<void()>> posted;
    {
        const std::lock_guard lock(mutex_);
        eventfd_t count = 0;
        eventfd_read(posted_fd_.get(), &count);
        posted.swap(posted_);
    }
    for (const auto& task : posted) task();
    return !posted.empty();
}

Events::Wake Events::Wait(milliseconds timeout) {
    // Asking standard output for nothing still reports that its reader has gone.
    pollfd fds[] = {{.fd = posted_fd_.get(), .events = POLLIN, .revents = 0},
                    {.fd = signal_fd_.get(), .events = POLLIN, .revents = 0},
                    {.fd = STDOUT_FILENO, .events = 0, .revents = 0}};
    const int ready =
        poll(fds, std::size(fds), static_cast<int>(std::max(timeout, milliseconds(0)).count()));
    const bool posted = RunPosted();
    if (ready > 0 && fds[1].revents != 0) {
        signalfd_siginfo info = {};
        (void)!read(signal_fd_.get(), &info, sizeof(info));
        return Wake::kInterrupted;
    }
    if (ready > 0 && (fds[2].revents & (POLLERR | POLLHUP)) != 0) return Wake::kOutputClosed;
    return posted ? Wake::kPosted : Wake::kTimeout;
}

Client::Client(Events* events)
    : events_(events), death_recipient_(AIBinder_DeathRecipient_new([](void* cookie) {
          auto* client = static_cast<Client*>(cookie);
          client->events_->Post([client] { client->has_died_ = true; });
      })) {
    service_ = IUwb::fromBinder(FindService());
    if (service_ == nullptr) {
        throw Failure(kNoService, "the UWB service is not there (" + InstanceName() +
                                      " is not registered): is it running?");
    }
    ABinderProcess_setThreadPoolMaxThreadCount(1);
    ABinderProcess_startThreadPool();
    AIBinder_linkToDeath(service_->asBinder().get(), death_recipient_.get(), this);
}

Client::~Client() {
    AIBinder_unlinkToDeath(service_->asBinder().get(), death_recipient_.get(), this);
    if (is_open_) service_->close();
}

bool Client::WaitForService(std::chrono::seconds timeout) {
    const auto deadline = std::chrono::steady_clock::now() + timeout;
    while (FindService().get() == nullptr) {
        if (std::chrono::steady_clock::now() >= deadline) return false;
        std::this_thread::sleep_for(kServicePollInterval);
    }
    return true;
}

void Client::Open() {
    const ScopedAStatus status = service_->open(ndk::SharedRefBase::make<ClientCallback>());
    if (status.getServiceSpecificError() == static_cast<int32_t>(ErrorCode::INVALID_STATE)) {
        throw Failure(kNoService, std::string("another client holds the hardware: ") +
                                      status.getMessage() + " (it lets go when it ends)");
    }
    Check(status, "open the hardware");
    is_open_ = true;
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

void Client::CheckAlive() const {
    if (has_died_) throw Failure(kNoService, "the UWB service has died");
}

}  // namespace uwbctl
