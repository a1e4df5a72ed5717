// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <aidl/hardware/velta/uwb/IFiraController.h>
#include <aidl/hardware/velta/uwb/IUwb.h>
#include <aidl/hardware/velta/uwb/IUwbIface.h>

#include <condition_variable>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "bench/common/session.h"
#include "bench/device/guest.h"
#include "bench/device/quiet_fira_callback.h"

namespace hardware::velta::bench {

using ::aidl::hardware::velta::uwb::FiraTwrSession;
using ::aidl::hardware::velta::uwb::IFiraController;
using ::aidl::hardware::velta::uwb::IUwb;
using ::aidl::hardware::velta::uwb::IUwbIface;

/** Ends the figure when a call was refused. */
void Require(const ndk::ScopedAStatus& status, const char* what);

/** When each report of a session came, and what it was about. */
class Reports : public QuietFiraCallback {
  public:
    struct Report {
        int64_t arrived_ns;
        int64_t stamp_ns;
        int32_t block;
        double age_us() const { return static_cast<double>(arrived_ns - stamp_ns) / 1e3; }
    };

    Status onTwrResult(
        const ::aidl::hardware::velta::uwb::FiraRangingData& data,
        const std::vector<::aidl::hardware::velta::uwb::FiraTwrMeasurement>& measurements) override;
    Status onSessionStopped(int32_t id, int32_t reason) override;

    /** Forgets what has come. */
    void Clear();
    std::vector<Report> All();
    /** @return false when no stop is told in time. */
    bool WaitForStop(std::chrono::milliseconds time);
    /** Waits until so many reports are there; false after time. */
    bool WaitFor(size_t count, std::chrono::milliseconds time);

  private:
    std::mutex mutex_;
    std::condition_variable changed_;
    std::vector<Report> reports_;
    bool stopped_ = false;
};

/** One side of a comparison: a FiRa controller for radio 0 in a process of its own. */
class Side {
  public:
    virtual ~Side() = default;

    IFiraController* fira() const { return fira_.get(); }
    Reports* reports() const { return reports_.get(); }
    pid_t pid() const { return process_->pid(); }
    /** How long it took from fork() until its clients were told of it. */
    double start_ms() const { return start_ms_; }
    /** Whatever a measurement has left running ends. */
    virtual void Recover() = 0;

  protected:
    /** Starts a process and waits until it has registered instance. */
    ndk::SpAIBinder Start(const std::vector<std::string>& arguments,
                          const std::vector<std::string>& environment, const std::string& instance);
    void SetController(std::shared_ptr<IFiraController> fira);

  private:
    std::unique_ptr<Process> process_;
    std::shared_ptr<IFiraController> fira_;
    std::shared_ptr<Reports> reports_;
    double start_ms_ = 0;
};

/** The service that is measured. */
class Service : public Side {
  public:
    struct Options {
        /** Value of ro.vendor.uwb.hal.notifications. */
        std::string notifications = "event";
        /** Value of ro.vendor.uwb.hal.log_level. */
        std::string log_level = "INFO";
        /** Whether to take the hardware. */
        bool opens = true;
    };
    explicit Service(const Options& options);
    ~Service() override;
    void Recover() override;
    std::shared_ptr<IUwbIface> Iface(int radio) const;

  private:
    void Open();
    std::shared_ptr<IUwb> uwb_;
};

/** A floor's program. */
class Floor : public Side {
  public:
    /** @param argument behind the floor's name; none when empty. */
    Floor(const std::string& program, const std::string& argument);
    void Recover() override;
};

/** Where the service's binary is. */
void SetServiceProgram(const std::string& path);

/** Puts the peers of NewSession() in the virtual radio's world. */
void LayOutTags(int peers);

/** @return how many reports a session sends for certain in a time. */
double ReportsIn(int64_t time_ns, int block_ms);

/** Initialises and starts. */
void StartSession(const Side& side, const FiraTwrSession& session);
/** Stops, waits for the end and removes the session; recovers the side if that does not work. */
void EndSession(Side* side);

}  // namespace hardware::velta::bench
