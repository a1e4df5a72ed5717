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
#include <cstdio>
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
using ::ndk::ScopedAStatus;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::StartsWith;
using Milliseconds = std::chrono::milliseconds;

/** @return "OK", or the error code and the message of a refusal: "2: Unknown iface wpan7". */
std::string Said(const ScopedAStatus& status);

// ---- Files and programs of the device ----

std::string ReadText(const std::string& path);
/** Fails the test when the file does not take the text in one write. */
void WriteText(const std::string& path, const std::string& text);
/** Runs a simple command; @return what it printed. Fails the test when the command fails. */
std::string Shell(const std::string& command);
/** Waits until done() holds; false when that took too long. */
bool Eventually(const std::function<bool()>& done, Milliseconds patience = 3s);

/** A simple shell command that runs beside the tests. Killed when this goes away. */
class Child {
  public:
    explicit Child(const std::string& command);
    ~Child();
    Child(const Child&) = delete;
    Child& operator=(const Child&) = delete;
    /** @return the next line of its output; empty when it has ended. */
    std::string ReadLine();
    /** @return the rest of its output, once it has ended. */
    std::string ReadAll();
    /** @return its exit status, negative for a signal. */
    int Wait();
    void Kill();

  private:
    int pid_;
    FILE* output_;
};

/** The daemon as a process. */
struct Service {
    static int Pid();
    static size_t OpenDescriptors();
    /** @param properties the file that it is to read its system properties from. */
    static void Start(const std::string& properties = "");
    static void Stop(const std::string& signal = "TERM") { Shell("service-stop " + signal); }
    /** @return what it has logged since this was asked last, or since the test began. */
    static std::string NewLog();
};

// ---- The virtual radio ----

constexpr int kRadios = 2;

/** Arms faults, one a line: what the radio's file "faults" takes. */
void Fault(const std::string& lines);
/** Lays the world out from nothing, one thing a line: what the radio's file "world" takes. */
void LayOut(const std::string& lines);
void UnloadRadio();
void LoadRadio();
/** @return value and " writes N" of a calibration key of a radio; empty for an unknown one. */
std::string CalibrationKey(int radio, const std::string& key);

/** What a radio's driver says about it now. */
class RadioState {
  public:
    explicit RadioState(int radio);
    /** @return the text behind key on the first line that begins with it; empty for none. */
    std::string operator[](const std::string& key) const;
    struct FiraSession {
        std::string state = "none";
        /** By attribute number, as "1=1 2=0". */
        std::string params;
        /** As "0x1234,0x5678 sub_session 7". */
        std::string controlees;
    };
    FiraSession Session(uint32_t id) const;
    /** @return what is not at rest; empty when all is. */
    std::string Unrest() const;

  private:
    std::vector<std::string> lines_;
};

/** Where everything is, and what a radio ought to see of it. */
class World {
  public:
    World();
    struct Sight {
        double distance_mm;
        double azimuth;
        double elevation;
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
        if (!arrived_.wait_for(lock, 4s, [this] { return !items_.empty(); })) {
            ADD_FAILURE() << "nothing came";
            return {};
        }
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
    using Addresses = std::vector<UwbAddress>;
    Inbox<FiraReport> reports;
    Inbox<std::string> events;

    ScopedAStatus onTwrResult(const FiraRangingData& data,
                              const std::vector<FiraTwrMeasurement>& measurements) override {
        return reports.Put({data, measurements});
    }
    ScopedAStatus onControleesAdded(int id, const Addresses& who) override;
    ScopedAStatus onControleesAddFailed(int id, const Addresses& who, int reason) override;
    ScopedAStatus onControleesRemoved(int id, const Addresses& who) override;
    ScopedAStatus onControleesRemoveFailed(int id, const Addresses& who, int reason) override;
    ScopedAStatus onSessionStopped(int id, int reason) override;
};

struct CccEvents : BnCccControllerCallback {
    Inbox<int> stops;
    ScopedAStatus onSessionStopped(int reason) override { return stops.Put(reason); }
};

struct SimpleEvents : BnSimpleRangingCallback {
    Inbox<RangingResult> results;
    ScopedAStatus onRangingResult(const RangingResult& result) override {
        return results.Put(result);
    }
};

/** A connection to the service. */
class Hal {
  public:
    Hal();
    IUwb* operator->() const { return uwb_.get(); }
    std::string Open() { return Said(uwb_->open(ndk::SharedRefBase::make<BnUwbClientCallback>())); }
    std::vector<std::string> IfaceNames() const;
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
FiraTwrSession ControllerSession(int id = kSession);
/** The other end of ControllerSession(): 0x1234. */
FiraTwrSession ControleeSession(int id = kSession);

/** A FiRa controller of the service with a callback. Operations return what was Said(). */
struct FiraClient {
    FiraClient() = default;
    FiraClient(const Hal& hal, int radio);
    std::string Init(const FiraTwrSession& session);
    std::string Start(int id = kSession);
    std::string Stop(int id = kSession);
    std::string Deinit(int id = kSession);
    int Count();
    /** Initialises and starts. */
    void Run(const FiraTwrSession& session = ControllerSession());
    /** Stops, and waits until the service has dealt with the end. */
    void Halt(int id = kSession);
    /** @return a report on what happens from now on. */
    FiraReport Fresh();

    std::shared_ptr<IFiraController> controller;
    std::shared_ptr<FiraEvents> events;
};

/** Expects distance and angle of arrival in the horizontal to be true within the noise. */
void ExpectTruth(const FiraTwrMeasurement& measurement, int radio, const std::string& thing);

/**
 * A client process: takes the steps to "open", "fira-initialised", "fira-running",
 * "fira-stopping", "ccc-initialised", "ccc-running" or "simple-running", prints "ready" or what it
 * was told in place of "OK", and stays there until it is killed.
 */
[[noreturn]] void RunClient(const std::string& step);

/** Each test finds a device at rest, and has to leave one. */
class DeviceTest : public ::testing::Test {
  protected:
    void SetUp() override;
    void TearDown() override;
    /** Opens again: a dead client is news to the service a moment later. */
    void OpenAfterDeath();

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

/** The service runs with calibration files of the test's own; a suite at a time. */
class CalibratedTest : public DeviceTest {
  protected:
    static void SetUpTestSuite();
    static void TearDownTestSuite();
    /** Writes a calibration file. */
    static void Calibrate(const std::string& file, const std::string& keys);
    /** Writes the list of calibration files, one a word. */
    static void CalibrateBy(const std::string& files);
    /** @return what applying a country said. */
    std::string Apply(const std::string& country) {
        return Said(hal->applyCountryRestriction(country));
    }

    /** The keys that no calibration may lack. */
    static constexpr char kRequired[] =
        "[HAL]minimum_system_offset_uwbtime0 = 100\n[HAL]antenna_pair_azimuth = 0\n"
        "[HAL]tx_antenna = 0\n";
};

}  // namespace hardware::velta::device
