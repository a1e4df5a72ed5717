// SPDX-License-Identifier: Apache-2.0

// Clients that die, stop, hang, answer nonsense or ask too much: the service goes on for the
// others.
#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <csignal>
#include <future>
#include <utility>

#include "tests/device/device_test.h"

namespace hardware::velta::device {
namespace {

// At each step of a client: what its radio is doing then.
struct ClientStep {
    const char *step, *key, *value;
};

class KilledClientTest : public DeviceTest, public ::testing::WithParamInterface<ClientStep> {
  protected:
    // A call that any client may make; a second is long, also where reports are polled for.
    std::string Answers() {
        const auto started = std::chrono::steady_clock::now();
        std::vector<std::string> names;
        const std::string said = Said(hal->listIfaceNames(&names));
        const auto took = std::chrono::steady_clock::now() - started;
        return took < 1500ms ? said : "late";
    }
};

TEST_P(KilledClientTest, LeavesACleanDeviceToTheNext) {
    const auto& [step, key, value] = GetParam();
    for (const bool is_stopped : {false, true}) {
        if (step == "fira-stopping"s) Fault("0 fira.stopped silence");
        {
            const ClientProcess first(step);
            ASSERT_EQ(first.said, "OK");
            ASSERT_THAT(Radio(0, key), StartsWith(value));
            if (is_stopped) {
                // For good: it holds the hardware, but nobody up.
                kill(first.pid(), SIGSTOP);
                for (int i = 0; i < 10; i++) EXPECT_EQ(Answers(), "OK");
                EXPECT_EQ(hal.Open(), "3: HAL is already open");
            }
        }
        // The service notices by itself, and refuses others until then.
        EXPECT_TRUE(Eventually([] { return RadioUnrest(0).empty(); }));
        EXPECT_TRUE(Eventually([this] { return hal.Open() == "OK"; }));
        EXPECT_EQ(Radio(0, "scheduler"), "default");
        EXPECT_EQ(RadioSession(0, kSession), "none");
        FiraClient fira(hal, 0);
        fira.Run();
        EXPECT_EQ(fira.Next().data.blockIndex, 0);
        ASSERT_EQ(Said(hal->close()), "OK");
    }
}

INSTANTIATE_TEST_SUITE_P(
    Steps, KilledClientTest,
    ::testing::Values(ClientStep{"open", "scheduler", "default"},
                      ClientStep{"fira-initialised", "fira_session 42", "state idle"},
                      ClientStep{"fira-running", "fira_session 42", "state running"},
                      ClientStep{"fira-stopping", "fira_session 42", "state "},
                      ClientStep{"ccc-initialised", "region", "0 nfcc_coex"},
                      ClientStep{"ccc-running", "ccc", "state running"},
                      ClientStep{"simple-running", "simple_ranging", "portid"}),
    [](const auto& info) { return "Client" + std::to_string(info.index); });

// Answers its first report in a way of its own, on a thread of binder's.
struct OddEvents : FiraEvents {
    explicit OddEvents(std::function<ScopedAStatus()> it) : first(std::move(it)) {}
    ScopedAStatus onTwrResult(const FiraRangingData& data,
                              const std::vector<FiraTwrMeasurement>& measurements) override {
        ScopedAStatus status = ScopedAStatus::ok();
        if (const auto odd = std::exchange(first, nullptr)) status = odd();
        reports.Put({data, measurements});
        return status;
    }
    std::function<ScopedAStatus()> first;
};

class OddClientTest : public OpenTest {
  protected:
    // Has the callback of a session that ranges do this with its first report.
    FiraClient Run(std::function<ScopedAStatus(FiraClient&)> odd) {
        FiraClient fira(hal, 0);
        fira.events = SharedRefBase::make<OddEvents>([this, odd] {
            FiraClient same = *current_;
            return odd(same);
        });
        *current_ = fira;
        EXPECT_EQ(Said(fira.fira->setSessionCallback(fira.events)), "OK");
        fira.Run();
        return fira;
    }

    std::shared_ptr<FiraClient> current_ = std::make_shared<FiraClient>();
};

TEST_F(OddClientTest, CallbacksMayFailAndCallBack) {
    const auto other = SharedRefBase::make<FiraEvents>();
    const struct {
        const char* what;
        std::function<ScopedAStatus(FiraClient&)> odd;
        std::function<void(FiraClient&)> expect;
    } cases[] = {
        {"fails", [](FiraClient&) { return ScopedAStatus::fromExceptionCode(EX_ILLEGAL_STATE); },
         [](FiraClient& it) { EXPECT_EQ(it.Next().data.blockIndex, 1); }},
        {"stops", [](FiraClient& it) { return it.fira->stopRangingSession(kSession); },
         [](FiraClient& it) { EXPECT_EQ(it.Event(), "stopped 42 0"); }},
        {"clears", [](FiraClient& it) { return it.fira->clearSessionCallback(); },
         [](FiraClient& it) {
             EXPECT_TRUE(it.GoesQuiet());
             EXPECT_THAT(NewLog(), HasSubstr("no session callback, report dropped"));
             EXPECT_EQ(Said(it.fira->setSessionCallback(it.events)), "OK");
             it.Fresh();
         }},
        {"replaces", [&](FiraClient& it) { return it.fira->setSessionCallback(other); },
         [&](FiraClient& it) {
             EXPECT_GT(other->reports.Take().data.blockIndex, 0);
             EXPECT_TRUE(it.GoesQuiet());
         }},
        {"resets", [](FiraClient& it) { return it.fira->reset(); },
         [](FiraClient& it) {
             EXPECT_TRUE(it.GoesQuiet());
             EXPECT_EQ(it.Count(), 0);
         }},
        {"closes", [this](FiraClient&) { return hal->close(); },
         [](FiraClient& it) {
             EXPECT_TRUE(it.GoesQuiet());
             EXPECT_EQ(RadioUnrest(0), "");
         }},
    };
    for (const auto& [what, odd, expect] : cases) {
        SCOPED_TRACE(what);
        NewLog();
        FiraClient fira = Run(odd);
        EXPECT_EQ(fira.Next().data.blockIndex, 0);
        expect(fira);
        ASSERT_EQ(Said(hal->close()), "OK");
        EXPECT_EQ(RadioSession(0, kSession), "none");
        ASSERT_EQ(hal.Open(), "OK");
    }
}

TEST_F(OddClientTest, ACallbackThatHangsHoldsUpNobody) {
    LayOut("tag 0x1234 0 3 0");
    std::promise<void> go_on;
    FiraClient hanging = Run([&](FiraClient&) {
        go_on.get_future().wait();
        return ScopedAStatus::ok();
    });
    FiraClient other(hal, 1);
    other.Run();
    const int first = other.Fresh().data.blockIndex;
    for (int i = 1; i <= 10; i++) EXPECT_EQ(other.Next().data.blockIndex, first + i);
    EXPECT_EQ(hanging.Stop(), "OK");
    EXPECT_TRUE(Eventually([] { return RadioSession(0, kSession) == "idle"; }));
    EXPECT_TRUE(hanging.events->events.Empty());
    go_on.set_value();
    EXPECT_EQ(hanging.Event(), "stopped 42 0") << "what it missed comes in order";
}

// Several threads of several processes, one of them of another user, call what there is to call.
TEST_F(OddClientTest, FloodsCostOthersNoReport) {
    LayOut("tag 0x1234 0 3 0");
    FiraClient fira(hal, 0);
    fira.Run();
    const auto descriptors = ServiceDescriptors();
    {
        const ClientProcess flood("flood"), stranger("flood-stranger");
        ASSERT_EQ(flood.said + stranger.said, "3: HAL is already open3: HAL is already open");
        const int first = fira.Fresh().data.blockIndex;
        for (int i = 1; i <= 60; i++) EXPECT_EQ(fira.Next().data.blockIndex, first + i);
    }
    EXPECT_EQ(fira.Count(), 1);
    EXPECT_TRUE(Eventually([&] { return ServiceDescriptors() == descriptors; }));
}

// As IUwb says of whoever may call: there is one hardware, and it is given back.
TEST_F(OddClientTest, CloseFromAnotherProcessCounts) {
    LayOut("tag 0x1234 0 3 0");
    FiraClient fira(hal, 0);
    fira.Run();
    fira.Next();
    EXPECT_EQ(ClientProcess("close").said, "OK");
    EXPECT_EQ(RadioUnrest(0), "");
    EXPECT_TRUE(fira.GoesQuiet());
    EXPECT_TRUE(fira.events->events.Empty()) << "nobody is told";
    EXPECT_EQ(fira.Start(), "3: You need to register callbacks on the controller first.");
    ASSERT_EQ(hal.Open(), "OK");
    FiraClient(hal, 0).Run();
}

// ---- Those who ask what is the matter ----

TEST_F(OddClientTest, ToldOfByDumpsys) {
    FiraClient fira(hal, 0);
    fira.Run();
    fira.Next();
    fira.Init({});
    const std::string dump = "dumpsys hardware.velta.uwb.IUwb/default ";
    const std::string text = Shell(dump);
    for (const char* part :
         {"\nopen: yes\n", "\n    scheduler_set: endless\n    regions_set:\n      - fira\n",
          "        - id: 42\n          state: running\n",
          "\n    severity: E\n    tag: velta.uwb."}) {
        EXPECT_THAT(text, HasSubstr(part));
    }
    EXPECT_THAT(Shell(dump + "--json"), HasSubstr(R"("sessions":[{"id":42,"state":"running",)"));
    // Whoever asks and does not read: a pipe that holds a page.
    std::vector<std::array<int, 2>> pipes(8);
    for (auto& ends : pipes) {
        ASSERT_EQ(pipe2(ends.data(), O_CLOEXEC), 0);
        fcntl(ends[1], F_SETPIPE_SZ, 4096);
        const auto filled = write(ends[1], std::string(4096, ' ').data(), 4096);
        EXPECT_EQ(filled, 4096);
        EXPECT_EQ(hal.Dump(ends[1]), STATUS_OK);
    }
    const int block = fira.Fresh().data.blockIndex;
    for (int i = 1; i <= 10; i++) EXPECT_EQ(fira.Next().data.blockIndex, block + i);
    std::string late;
    close(pipes.back()[1]);
    for (char c; read(pipes.back()[0], &c, 1) == 1;) late += c;
    EXPECT_THAT(late, HasSubstr("last_errors:"));
    for (auto& ends : pipes) {
        close(ends[0]);
        if (&ends != &pipes.back()) close(ends[1]);
    }
    EXPECT_EQ(fira.Count(), 1);
}

TEST_F(OddClientTest, CollectedByABugReport) {
    FiraClient fira(hal, 0);
    fira.Run();
    const std::string report = Shell("uwbctl bugreport -");
    for (const char* part :
         {"interface hardware.velta.uwb.IUwb, version 1", "  state: running", ": /dev/binder\n",
          "interface wpan0: up", "mcps802154_sim: ", "staticStsIV: [hidden]",
          "deviceAddress: UwbAddress{address: [hidden]}"}) {
        EXPECT_THAT(report, HasSubstr(part));
    }
    EXPECT_EQ(report.find("could not be got"), report.npos) << report;
    ASSERT_EQ(Said(hal->close()), "OK");
    Shell("service-stop");
    EXPECT_THAT(Shell("uwbctl bugreport /tmp/report --log /tmp/none"),
                HasSubstr("not in it: the service's dump: the UWB service is not there\n"));
    EXPECT_THAT(ReadText("/tmp/report"), HasSubstr("could not be got: /tmp/none: No such file"));
    Shell("service-start");
    RestartService();
    hal = Hal();
}

}  // namespace
}  // namespace hardware::velta::device
