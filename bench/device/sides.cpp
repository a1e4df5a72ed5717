// SPDX-License-Identifier: Apache-2.0
#include "bench/device/sides.h"

#include <aidl/hardware/velta/uwb/BnUwbClientCallback.h>
#include <android/binder_manager.h>

#include <cmath>
#include <map>

#include "bench/floors/polled_process.h"

namespace hardware::velta::bench {
namespace {

using namespace std::chrono_literals;
using namespace ::aidl::hardware::velta::uwb;

constexpr char kProperties[] = "/tmp/bench.prop";
constexpr auto kStartPatience = 10s;

std::string g_service_program = "hardware.velta.uwb-service";  // NOLINT: set once by main().

// Hears from the service manager whenever an instance is registered.
class Registrations {
  public:
    static Registrations& Of(const std::string& instance) {
        // Never destroyed: notifications may come until the process ends.
        static auto* all = new std::map<std::string, Registrations>;
        auto [entry, is_new] = all->try_emplace(instance);
        // The name has to last as long as the registration.
        if (is_new) entry->second.Listen(entry->first.c_str());
        return entry->second;
    }
    int count() {
        const std::lock_guard lock(mutex_);
        return count_;
    }
    ndk::SpAIBinder WaitForMoreThan(int count, int64_t* when_ns) {
        std::unique_lock lock(mutex_);
        if (!changed_.wait_for(lock, kStartPatience, [&] { return count_ > count; })) {
            throw Failure("it did not register in time");
        }
        *when_ns = when_ns_;
        return binder_;
    }

  private:
    void Listen(const char* instance) {
        registration_ = AServiceManager_registerForServiceNotifications(
            instance,
            [](const char* /*instance*/, AIBinder* binder, void* cookie) {
                auto* self = static_cast<Registrations*>(cookie);
                const int64_t now_ns = NowNs();
                const std::lock_guard lock(self->mutex_);
                self->when_ns_ = now_ns;
                self->binder_ = ndk::SpAIBinder(binder);
                self->count_++;
                self->changed_.notify_all();
            },
            this);
    }

    AServiceManager_NotificationRegistration* registration_ = nullptr;
    std::mutex mutex_;
    std::condition_variable changed_;
    ndk::SpAIBinder binder_;
    int64_t when_ns_ = 0;
    int count_ = 0;
};

}  // namespace

void SetServiceProgram(const std::string& path) {
    g_service_program = path;
}

void Require(const ndk::ScopedAStatus& status, const char* what) {
    if (!status.isOk()) throw Failure(std::string(what) + ": " + status.getDescription());
}

// ---- Reports ----

Reports::Status Reports::onTwrResult(const FiraRangingData& data,
                                     const std::vector<FiraTwrMeasurement>& measurements) {
    const int64_t now_ns = NowNs();
    const std::lock_guard lock(mutex_);
    reports_.push_back({.arrived_ns = now_ns,
                        .stamp_ns = measurements.empty() ? 0 : measurements.front().timestampNs,
                        .block = data.blockIndex});
    changed_.notify_all();
    return Status::ok();
}

Reports::Status Reports::onSessionStopped(int32_t /*id*/, int32_t /*reason*/) {
    const std::lock_guard lock(mutex_);
    stopped_ = true;
    changed_.notify_all();
    return Status::ok();
}

void Reports::Clear() {
    const std::lock_guard lock(mutex_);
    reports_.clear();
    stopped_ = false;
}

std::vector<Reports::Report> Reports::All() {
    const std::lock_guard lock(mutex_);
    return reports_;
}

bool Reports::WaitForStop(std::chrono::milliseconds time) {
    std::unique_lock lock(mutex_);
    return changed_.wait_for(lock, time, [this] { return stopped_; });
}

bool Reports::WaitFor(size_t count, std::chrono::milliseconds time) {
    std::unique_lock lock(mutex_);
    return changed_.wait_for(lock, time, [&] { return reports_.size() >= count; });
}

// ---- Sides ----

ndk::SpAIBinder Side::Start(const std::vector<std::string>& arguments,
                            const std::vector<std::string>& environment,
                            const std::string& instance) {
    Registrations& registrations = Registrations::Of(instance);
    const int before = registrations.count();
    const int64_t start_ns = NowNs();
    process_ = std::make_unique<Process>(arguments, environment);
    int64_t registered_ns = 0;
    ndk::SpAIBinder binder = registrations.WaitForMoreThan(before, &registered_ns);
    start_ms_ = static_cast<double>(registered_ns - start_ns) / 1e6;
    return binder;
}

void Side::SetController(std::shared_ptr<IFiraController> fira) {
    fira_ = std::move(fira);
    reports_ = ndk::SharedRefBase::make<Reports>();
    // The bare service has no use for it.
    fira_->setSessionCallback(reports_);
}

Service::Service(const Options& options) {
    WriteText(kProperties, "ro.vendor.uwb.hal.notifications=" + options.notifications +
                               "\nro.vendor.uwb.hal.stall_limit_s=10" +
                               "\nro.vendor.uwb.hal.log_level=" + options.log_level + "\n");
    std::vector<std::string> environment = {std::string("VELTA_UWB_PROPERTIES=") + kProperties};
    if (options.log_level != "INFO") environment.emplace_back("ANDROID_LOG_TAGS=*:w");
    uwb_ = IUwb::fromBinder(
        Start({g_service_program}, environment, std::string(IUwb::descriptor) + "/default"));
    if (options.opens) Open();
}

Service::~Service() {
    uwb_->close();
}

void Service::Open() {
    Require(uwb_->open(ndk::SharedRefBase::make<BnUwbClientCallback>()), "open");
    std::shared_ptr<IFiraController> fira;
    Require(Iface(0)->firaController(&fira), "firaController");
    SetController(fira);
}

void Service::Recover() {
    TellRadio("faults", "clear");
    uwb_->close();
    Open();
}

std::shared_ptr<IUwbIface> Service::Iface(int radio) const {
    std::shared_ptr<IUwbIface> iface;
    Require(uwb_->getIface("wpan" + std::to_string(radio), &iface), "getIface");
    return iface;
}

Floor::Floor(const std::string& program, const std::string& argument) {
    // One name for each floor that may run beside another.
    const std::string name = program + argument;
    std::vector<std::string> arguments = {program, name};
    if (!argument.empty()) arguments.push_back(argument);
    // A floor of another interface is only started.
    const auto fira = IFiraController::fromBinder(Start(arguments, {}, FloorInstance(name)));
    if (fira != nullptr) SetController(fira);
}

void Floor::Recover() {
    TellRadio("faults", "clear");
    fira()->reset();
}

// ---- Sessions ----

void LayOutTags(int peers) {
    std::string world = "clear";
    for (int i = 0; i < peers; i++) {
        world += "\ntag " + std::to_string(kFirstPeer + i) + " 1 " + std::to_string(3 + i) + " 0";
    }
    TellRadio("world", world);
}

double ReportsIn(int64_t time_ns, int block_ms) {
    return std::floor(static_cast<double>(time_ns) / 1e6 / block_ms);
}

void StartSession(const Side& side, const FiraTwrSession& session) {
    side.reports()->Clear();
    Require(side.fira()->initNewTwrSession(session), "initNewTwrSession");
    Require(side.fira()->startRangingSession(session.id), "startRangingSession");
}

void EndSession(Side* side) {
    const bool ended =
        side->fira()->stopRangingSession(kSession).isOk() && side->reports()->WaitForStop(3s);
    // The client is told first; what the service does then is done when it answers.
    int32_t count = 0;
    side->fira()->getSessionCount(&count);
    if (!ended || !side->fira()->deinitSession(kSession).isOk()) side->Recover();
}

}  // namespace hardware::velta::bench
