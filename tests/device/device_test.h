// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <aidl/hardware/velta/uwb/BnCccControllerCallback.h>
#include <aidl/hardware/velta/uwb/BnFiraSessionCallback.h>
#include <aidl/hardware/velta/uwb/BnSimpleRangingCallback.h>
#include <aidl/hardware/velta/uwb/BnUwbClientCallback.h>
#include <aidl/hardware/velta/uwb/IUwb.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <condition_variable>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

namespace hardware::velta::device {

using namespace ::aidl::hardware::velta::uwb;
using namespace std::chrono_literals;
using namespace std::string_literals;
using ::ndk::ScopedAStatus;
using ::ndk::SharedRefBase;
using ::testing::Each;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::StartsWith;
using Milliseconds = std::chrono::milliseconds;
using Addresses = std::vector<UwbAddress>;

/** @return "OK", or the error code and the message of a refusal: "2: Unknown iface wpan7". */
std::string Said(const ScopedAStatus& status);

// ---- The device: each of these fails the test when it cannot do it ----

std::string ReadText(const std::string& path);
void WriteText(const std::string& path, const std::string& text);
/** Runs a command; @return what it printed. */
std::string Shell(const std::string& command);
/** Waits until done() holds; false when that takes too long. */
bool Eventually(const std::function<bool()>& done);

int ServicePid();
/** @param properties the file that the service is to read its system properties from. */
void RestartService(const std::string& properties = "", const std::string& signal = "TERM");
/** @return how the service reads notifications in this run: "event" or "poll". */
std::string NotificationsMode();
/** @return what the service has logged since this was asked last, or since the test began. */
std::string NewLog();

// ---- The virtual radio ----

/** Arms faults: lines of the radio's file "faults". */
void Fault(const std::string& lines);
/** Lays the world out from nothing: lines of the radio's file "world". */
void LayOut(const std::string& lines);
void UnloadRadio();
void LoadRadio();

/** @return what is behind key on the first such line of a radio's state; empty for none. */
std::string Radio(int radio, const std::string& key);
/** @return "idle", "running" or "stopping"; "none" for a FiRa session that the radio lacks. */
std::string RadioSession(int radio, uint32_t id);
/** @return parameters and controlees of a FiRa session: "1 1,2 0,controlee 0x1234". */
std::string RadioSessionDetails(int radio, uint32_t id);
/** @return what is not at rest in a radio; empty when all is. */
std::string RadioUnrest(int radio);
/** @return value of a calibration key and " writes N"; empty for an unknown one. */
std::string CalibrationKey(int radio, const std::string& key);

/** Where everything is, and what a radio ought to see of it. */
class World {
  public:
    World();
    struct Sight {
        double distance_mm, azimuth, elevation;
    };
    /** @param thing "tag 0x1234" or "radio 1". */
    Sight See(int radio, const std::string& thing, int64_t when_ns) const;
    int64_t now_ns() const { return now_ns_; }
    // The noise ends at six sigma; the world's file rounds to millimetres.
    double max_distance_error_mm() const { return 6 * noise_mm_ + 2; }
    double max_angle_error() const { return 6 * noise_mm_ * 582e-6 + 2e-3; }

  private:
    std::map<std::string, std::vector<double>> bodies_;
    double noise_mm_ = 0;
    int64_t now_ns_ = 0;
};

// ---- A client ----

/** What a callback was told, in order. */
template <typename T>
class Inbox {
  public:
    ScopedAStatus Put(T item) {
        const std::lock_guard lock(mutex_);
        items_.push_back(std::move(item));
        arrived_.notify_all();
        return ScopedAStatus::ok();
    }
    /** @return the next one; fails the test when none comes. */
    T Take() {
        std::unique_lock lock(mutex_);
        arrived_.wait_for(lock, 4s, [this] { return !items_.empty(); });
        EXPECT_FALSE(items_.empty()) << "nothing came";
        if (items_.empty()) return {};
        T item = std::move(items_.front());
        items_.pop_front();
        return item;
    }
    bool Empty() {
        const std::lock_guard lock(mutex_);
        return items_.empty();
    }
    /** Forgets what has come; true when nothing comes for so long, but for stragglers. */
    bool GoesQuiet(Milliseconds duration) {
        std::unique_lock lock(mutex_);
        for (int i = 0; i < 3; i++) {
            items_.clear();
            if (!arrived_.wait_for(lock, duration, [this] { return !items_.empty(); })) return true;
        }
        return false;
    }

  private:
    std::mutex mutex_;
    std::condition_variable arrived_;
    std::deque<T> items_;
};

struct FiraReport {
    FiraRangingData data;
    std::vector<FiraTwrMeasurement> measurements;
};

/** Reports, and all else as text such as "stopped 42 0" or "added 42 1234,5678". */
struct FiraEvents : BnFiraSessionCallback {
    Inbox<FiraReport> reports;
    Inbox<std::string> events;

    ScopedAStatus onTwrResult(const FiraRangingData& data,
                              const std::vector<FiraTwrMeasurement>& measurements) override {
        return reports.Put({data, measurements});
    }
    ScopedAStatus Tell(const char* what, int id, const Addresses& who, const std::string& why);
    ScopedAStatus onControleesAdded(int id, const Addresses& who) override {
        return Tell("added", id, who, "");
    }
    ScopedAStatus onControleesAddFailed(int id, const Addresses& who, int reason) override {
        return Tell("add failed", id, who, " " + std::to_string(reason));
    }
    ScopedAStatus onControleesRemoved(int id, const Addresses& who) override {
        return Tell("removed", id, who, "");
    }
    ScopedAStatus onControleesRemoveFailed(int id, const Addresses& who, int reason) override {
        return Tell("remove failed", id, who, " " + std::to_string(reason));
    }
    ScopedAStatus onSessionStopped(int id, int reason) override {
        return Tell("stopped", id, {}, " " + std::to_string(reason));
    }
};

struct CccEvents : BnCccControllerCallback {
    Inbox<int> stops;
    ScopedAStatus onSessionStopped(int reason) override { return stops.Put(reason); }
};

struct SimpleEvents : BnSimpleRangingCallback {
    Inbox<RangingResult> results;
    ScopedAStatus onRangingResult(const RangingResult& it) override { return results.Put(it); }
};

/** A connection to the service. */
class Hal {
  public:
    Hal();
    IUwb* operator->() const { return uwb_.get(); }
    std::string Open() { return Said(uwb_->open(SharedRefBase::make<BnUwbClientCallback>())); }
    /** @return names of the interfaces, with a blank behind each. */
    std::string Ifaces() const;
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

UwbAddress Short(uint16_t address);
constexpr int kSession = 42;
/** A controller, 0x0001, that ranges with 0x1234 on channel 9 every 50 ms, azimuth included. */
FiraTwrSession ControllerSession(int id = kSession, int channel = 9);
/** The other end of ControllerSession(): 0x1234. */
FiraTwrSession ControleeSession(int id = kSession);

/** A FiRa controller of the service with a callback. Operations return what was Said(). */
struct FiraClient {
    FiraClient() = default;
    FiraClient(const Hal& hal, int radio);
    std::string Init(const FiraTwrSession& it) { return Said(fira->initNewTwrSession(it)); }
    std::string Update(const FiraTwrSession& it) { return Said(fira->updateTwrSession(it)); }
    std::string Start(int id = kSession) { return Said(fira->startRangingSession(id)); }
    std::string Stop(int id = kSession) { return Said(fira->stopRangingSession(id)); }
    std::string Deinit(int id = kSession) { return Said(fira->deinitSession(id)); }
    std::string Stride(int id) { return Said(fira->updateTwoWayRangingBlockStriding(id, 3)); }
    std::string Reset() { return Said(fira->reset()); }
    std::string Add(int id, const Addresses& who,
                    const std::optional<std::vector<int32_t>>& sub_sessions = {}) {
        return Said(fira->addControlees(id, who, sub_sessions));
    }
    std::string Remove(int id, const Addresses& who) {
        return Said(fira->removeControlees(id, who));
    }
    int Count();
    FiraCapabilities Capabilities();
    /** Initialises and starts. */
    void Run(const FiraTwrSession& session = ControllerSession());
    /** Stops, and waits until the service has dealt with the end. */
    void Halt(int id = kSession);
    FiraReport Next() { return events->reports.Take(); }
    /** @return a report on what happens from now on. */
    FiraReport Fresh();
    std::string Event() { return events->events.Take(); }
    bool GoesQuiet() { return events->reports.GoesQuiet(120ms); }

    std::shared_ptr<IFiraController> fira;
    std::shared_ptr<FiraEvents> events;
};

/** Expects distance and azimuth to be true within the noise. */
void ExpectTruth(const FiraTwrMeasurement& measurement, int radio, const std::string& thing);

/**
 * Another process that is a client: it takes the steps to "open", "fira-initialised",
 * "fira-running", "fira-stopping", "ccc-initialised", "ccc-running" or "simple-running" and stays
 * there until it is killed; or "callbacks", after which it keeps setting new ones.
 */
class ClientProcess {
  public:
    explicit ClientProcess(const std::string& step);
    ~ClientProcess();
    ClientProcess(const ClientProcess&) = delete;
    ClientProcess& operator=(const ClientProcess&) = delete;
    int pid() const { return pid_; }
    /** What it was told last. */
    std::string said;

  private:
    FILE* output_;
    int pid_ = 0;
};

// ---- Fixtures ----

/** Each test finds a device at rest, and has to leave one. */
class DeviceTest : public ::testing::Test {
  protected:
    void SetUp() override;
    void TearDown() override;

    Hal hal;
};

/** The hardware is open. */
class OpenTest : public DeviceTest {
  protected:
    void SetUp() override {
        DeviceTest::SetUp();
        ASSERT_EQ(hal.Open(), "OK");
    }
};

constexpr char kCalibrations[] = "/tmp/calibration/";
/** What no calibration may lack. */
constexpr char kRequiredKeys[] =
    "[HAL]minimum_system_offset_uwbtime0 = 100\n[HAL]antenna_pair_azimuth = 0\n"
    "[HAL]tx_antenna = 0\n";

/** The service runs with calibration files of the tests' own, in kCalibrations. */
class CalibratedTest : public OpenTest {
  protected:
    static void SetUpTestSuite();
    static void TearDownTestSuite();
    /** Applies a country with these calibration files, one a word; @return what was Said(). */
    std::string Apply(const std::string& country, const std::string& files);
    /** Applies one file with these keys beside the required ones. */
    std::string ApplyKeys(const std::string& keys);
};

}  // namespace hardware::velta::device
