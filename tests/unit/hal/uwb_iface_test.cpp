// SPDX-License-Identifier: Apache-2.0
#include "hal/uwb_iface.h"

#include <sched.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>

#include "tests/unit/hal/fake_radio.h"

namespace hardware::velta {
namespace {

// Stands for a kernel thread of the SPI bus.
struct Child {
    Child() : pid(fork()) {
        if (pid != 0) return;
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        while (true) pause();
    }
    ~Child() {
        kill(pid, SIGKILL);
        waitpid(pid, nullptr, 0);
    }
    std::set<int> Cpus() const {
        cpu_set_t set;
        EXPECT_EQ(sched_getaffinity(pid, sizeof(set), &set), 0);
        std::set<int> cpus;
        for (int cpu = 0; cpu < CPU_SETSIZE; ++cpu) {
            if (CPU_ISSET(cpu, &set)) cpus.insert(cpu);
        }
        return cpus;
    }

    const pid_t pid;
};

class UwbIfaceTest : public HalTest {
  protected:
    size_t Errors(const std::string& text) { return log_.Count("E velta.uwb.UwbIface " + text); }
    void SetPids(pid_t spi, pid_t chip) {
        mcps_.pids = {static_cast<uint32_t>(spi), static_cast<uint32_t>(chip)};
    }

    std::shared_ptr<UwbIface> iface_ = Make<UwbIface>(kHw, &tool_, &mcps_, fira_, ccc_, simple_);
    int64_t uwb_time0_ = 0;
};

TEST_F(UwbIfaceTest, FollowsTheSessionsOfItsControllers) {
    fira_->setSessionCallback(SharedRefBase::make<FiraClient>(&journal_));
    EXPECT_EQ(Trace(fira_->initNewTwrSession(GoodSession(7))),
              "phy wpan0; channel wpan0 9; ensure-down wpan0; region 3 fira; init 3 7; config 3 7; "
              "add 3 7 1122, -; ensure-down wpan0");
    EXPECT_EQ(Trace(fira_->startRangingSession(7)), "ensure-up wpan0; subscribe 3; start 3 7");
    EXPECT_EQ(Trace(fira_->initNewTwrSession(GoodSession(8))),
              "init 3 8; config 3 8; add 3 8 1122, -");
    // CCC takes the radio in any case.
    EXPECT_EQ(Trace(ccc_->initSession()), "ensure-down wpan0; region 3 nfcc_coex; ensure-up wpan0");
    EXPECT_EQ(Trace(ccc_->startSession(0, 0, 9, &uwb_time0_)), "ensure-up wpan0; ccc-start 3 0 9");
    fira_region_.subscriber->OnSessionStopped(7, 0);
    EXPECT_EQ(Trace(), "told stopped 7 0; unsubscribe 3") << "CCC still runs";
    ccc_region_.callback()->OnSessionStopped(kHw, CccRegionCallback::kStopRequested);
    EXPECT_EQ(Trace(), "socket-closed; ensure-down wpan0");
}

TEST_F(UwbIfaceTest, LogsWhatFailsAndGoesOn) {
    const auto open = [&] { iface_->OnPreSessionOpen(kFiraRegion); };
    const auto start = [&] { iface_->OnPreSessionStart(); };
    const auto change = [&] { iface_->OnSessionChanged(); };
    const auto setup = [&] { iface_->Setup(); };
    const auto pin = [&] { iface_->SetKernelAffinity(); };
    const auto stop = [&] { iface_->Stop(); };
    const std::string reset = "pids 3; info 3; ensure-down wpan0; scheduler 3 0 -1 -1 0";
    const std::tuple<std::function<void()>, std::string, std::string, std::string> cases[] = {
        {open, "ensure-down", "ensure-down wpan0", "OnPreSessionOpen: Failed to down iface wpan0"},
        {open, "region", "ensure-down wpan0; region 3 fira",
         "OnPreSessionOpen : Failed to set regions"},
        {start, "ensure-up", "ensure-up wpan0", "OnPreSessionStart: Failed to up iface wpan0"},
        {change, "ensure-down", "ensure-down wpan0",
         "OnSessionChanged: Failed to down iface wpan0"},
        {setup, "pids", reset, "StartKernelRealTime: Failed to retrieve spi processes"},
        {setup, "info", "pids 3; info 3", "SetDefaultScheduler Failed to get hardware info"},
        {setup, "ensure-down", "pids 3; info 3; ensure-down wpan0",
         "SetDefaultScheduler: Failed to down iface wpan0"},
        {setup, "scheduler", reset, "SetDefaultScheduler: Failed to set scheduler"},
        {pin, "pids", "pids 3", "SetKernelAffinity: Failed to retrieve spi processes"},
        {stop, "ensure-down", "ensure-down wpan0", "Stop: Failed to down iface wpan0"},
    };
    iface_->Setup();
    EXPECT_EQ(Trace(), "pids 3; info 3") << "the scheduler is the default one";
    mcps_.info.scheduler = "endless";
    for (const auto& [action, failing, calls, error] : cases) {
        journal_.failing = {failing};
        action();
        EXPECT_EQ(Trace(), calls) << error;
        EXPECT_EQ(Errors(error), 1U) << error;
    }
    EXPECT_EQ(Errors("Failed to set default scheduler"), 3U);
}

TEST_F(UwbIfaceTest, LetsGoOfItsControllersWhenItStops) {
    std::shared_ptr<UwbIface::IFiraController> fira;
    std::shared_ptr<UwbIface::ICccController> ccc;
    std::shared_ptr<UwbIface::ISimpleRangingController> simple;
    const auto got = [&] {
        EXPECT_TRUE(iface_->firaController(&fira).isOk() && iface_->cccController(&ccc).isOk() &&
                    iface_->simpleRangingController(&simple).isOk());
        return std::array<bool, 3>{fira == fira_, ccc == ccc_, simple == simple_};
    };
    EXPECT_EQ(got(), (std::array<bool, 3>{true, true, true}));
    simple_->setCallback(SharedRefBase::make<SimpleRangingClient>(&journal_));
    EXPECT_TRUE(fira_->initNewTwrSession(GoodSession()).isOk());
    EXPECT_TRUE(ccc_->startSession(0, 0, 9, &uwb_time0_).isOk());
    Trace();
    iface_->Stop();
    EXPECT_EQ(Trace(),
              "ccc-stop 3; socket-closed; unsubscribe-results; ensure-down wpan0; deinit 3 7");
    EXPECT_EQ(got(), (std::array<bool, 3>{false, false, true}));
    EXPECT_TRUE(fira == nullptr && ccc == nullptr);
    fira_->OnSessionStopped(7, 0);
    ccc_->OnSessionStopped(kHw, CccRegionCallback::kStoppedByRadio);
    EXPECT_EQ(Trace(), "") << "it listens no more";
}

TEST_F(UwbIfaceTest, IsNotCalledBackOnceDestroyed) {
    iface_.reset();
    EXPECT_EQ(Trace(fira_->initNewTwrSession(GoodSession())),
              "phy wpan0; channel wpan0 9; init 3 7; config 3 7; add 3 7 1122, -");
    EXPECT_EQ(Trace(ccc_->startSession(0, 0, 9, &uwb_time0_)), "ccc-start 3 0 9");
}

TEST_F(UwbIfaceTest, RaisesTheSpiThreadsToRealTime) {
    const std::string error =
        "StartKernelRealTime: Failed to change scheduler for spi, got error: -1";
    const Child probe;
    const Child thread;
    sched_param param = {.sched_priority = 99};
    const bool may = sched_setscheduler(probe.pid, SCHED_FIFO, &param) == 0;
    SetPids(0, 0);
    iface_->Setup();
    EXPECT_EQ(Errors(error), 0U);
    EXPECT_EQ(sched_getscheduler(0), SCHED_OTHER) << "no thread: that is not this one";
    const Child alone;
    SetPids(0, alone.pid);
    iface_->Setup();
    EXPECT_EQ(sched_getscheduler(alone.pid), may ? SCHED_FIFO : SCHED_OTHER);
    EXPECT_EQ(sched_getscheduler(0), SCHED_OTHER) << "beside a real one, either";
    EXPECT_EQ(Errors(error), may ? 0U : 1U);
    SetPids(INT32_MAX, thread.pid);  // The failure of the first does not stop the second.
    iface_->Setup();
    EXPECT_EQ(Errors(error), may ? 1U : 3U);
    EXPECT_EQ(sched_getscheduler(thread.pid), may ? SCHED_FIFO : SCHED_OTHER);
    ASSERT_EQ(sched_getparam(thread.pid, &param), 0);
    EXPECT_EQ(param.sched_priority, may ? 99 : 0);
}

TEST_F(UwbIfaceTest, PinsTheSpiThreadsToTheConfiguredCpus) {
    const Child spi;
    const Child chip;
    const std::set<int> all = spi.Cpus();
    const auto configure = [&](const std::string& spi_cpu, const std::string& chip_cpu) {
        ConfigUtils config;
        config.Set("[HAL]spi_affinity", spi_cpu);
        config.Set("[HAL]kt7100_spi_affinity", chip_cpu);
        const bool ok = iface_->ConsumeProperties(config);
        iface_->SetKernelAffinity();
        return ok && config.IsEmpty();
    };
    std::ostringstream last;
    last << "0x" << std::hex << *all.rbegin();
    SetPids(spi.pid, chip.pid);
    EXPECT_TRUE(configure(last.str(), ""));
    EXPECT_EQ(spi.Cpus(), std::set<int>{*all.rbegin()});
    EXPECT_EQ(chip.Cpus(), all);
    EXPECT_TRUE(configure("", std::to_string(*all.begin())));
    EXPECT_EQ(spi.Cpus(), std::set<int>{*all.rbegin()}) << "not undone";
    EXPECT_EQ(chip.Cpus(), std::set<int>{*all.begin()});
    for (const char* bad : {"4294967296", "-2147483649", "x"}) EXPECT_FALSE(configure(bad, ""));
    // Numbers of no CPU reach the kernel, which refuses them.
    EXPECT_TRUE(configure("2000", "-2"));
    EXPECT_EQ(Errors("SetKernelAffinity: Failed to set spi affinity for spi, got error -1"), 1U);
    EXPECT_EQ(Errors("SetKernelAffinity: Failed to set spi affinity for k7100-spi, got error: -1"),
              1U);
}

}  // namespace
}  // namespace hardware::velta
