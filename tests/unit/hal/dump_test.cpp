// SPDX-License-Identifier: Apache-2.0

// What the service tells of itself, and that it waits for nobody who asks.
#include <aidl/hardware/velta/uwb/BnUwbClientCallback.h>
#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <csignal>
#include <map>

#include "diagnostics/diagnostics.h"
#include "hal/uwb.h"
#include "tests/unit/hal/fake_radio.h"

namespace hardware::velta {
namespace {

using ::testing::HasSubstr;
using ::testing::Not;

// A pipe that holds a page, and reads without waiting.
class Pipe {
  public:
    Pipe() {
        EXPECT_EQ(pipe2(ends_.data(), O_CLOEXEC), 0);
        fcntl(ends_[1], F_SETPIPE_SZ, getpagesize());
        fcntl(ends_[0], F_SETFL, O_NONBLOCK);
    }
    ~Pipe() {
        for (const int end : ends_) close(end);
    }
    Pipe(const Pipe&) = delete;
    Pipe& operator=(const Pipe&) = delete;
    int in() const { return ends_[1]; }
    void LeaveReader() {
        close(ends_[0]);
        ends_[0] = open("/dev/null", O_RDONLY | O_CLOEXEC);
    }
    std::string Read() const {
        std::string text;
        std::array<char, 4096> buffer = {};
        for (ssize_t size = 0; (size = read(ends_[0], buffer.data(), buffer.size())) > 0;) {
            text.append(buffer.data(), static_cast<size_t>(size));
        }
        return text;
    }
    bool Blocks() const { return (fcntl(ends_[1], F_GETFL) & O_NONBLOCK) == 0; }

  private:
    std::array<int, 2> ends_ = {-1, -1};
};

// Keeps watches, for the test to say when a descriptor is writable.
struct WatchLoop : public TaskLoop {
    bool WatchFileDescriptor(int fd, ReadyMode mode,
                             const std::function<void(int)>& on_ready) override {
        EXPECT_EQ(mode, kModeOutput);
        watches[fd] = on_ready;
        return true;
    }
    bool StopWatchFileDescriptor(int fd) override { return watches.erase(fd) == 1; }
    void Writable() {
        for (const auto& [fd, on_ready] : std::map(watches)) on_ready(fd);
    }

    std::map<int, std::function<void(int)>> watches;
};

TEST(DumpDeliveryTest, WritesOnAsTheReaderReads) {
    WatchLoop loop;
    DumpDelivery delivery(&loop);
    const Pipe pipe;
    const std::string text = std::string(10000, 'x') + "end";
    ASSERT_TRUE(delivery.Deliver(pipe.in(), text));
    std::string got;
    for (int i = 0; i < 10 && !loop.watches.empty(); i++) {
        got += pipe.Read();
        loop.Writable();
    }
    EXPECT_TRUE(got + pipe.Read() == text);
    EXPECT_TRUE(loop.watches.empty() && pipe.Blocks()) << "the client's end is as it was";
    EXPECT_FALSE(delivery.Deliver(-1, text));
}

TEST(DumpDeliveryTest, LetsGoOfReadersThatLeaveOrAreTooMany) {
    signal(SIGPIPE, SIG_IGN);  // As the service does.
    WatchLoop loop;
    {
        DumpDelivery delivery(&loop);
        Pipe left;
        ASSERT_TRUE(delivery.Deliver(left.in(), std::string(10000, 'x')));
        left.LeaveReader();
        loop.Writable();
        EXPECT_TRUE(loop.watches.empty());
        const std::array<Pipe, DumpDelivery::kMaxPending + 2> slow;
        for (const Pipe& pipe : slow) delivery.Deliver(pipe.in(), std::string(10000, 'x'));
        EXPECT_EQ(loop.watches.size(), DumpDelivery::kMaxPending);
    }
    EXPECT_TRUE(loop.watches.empty());
}

TEST(RecentErrorsTest, KeepsTheLastTenAndCountsThoseThatComeAgain) {
    RecentErrors errors;
    for (int i = 0; i < 12; i++) errors.Note('E', "tag", std::to_string(i));
    for (int i = 0; i < 1000; i++) errors.Note('W', "tag", "flood");
    errors.Note('E', "tag", "flood");
    errors.Note('E', "tag", std::string(1000, 'x'));
    EXPECT_EQ(errors.total(), 1014U);
    ASSERT_EQ(errors.entries().size(), RecentErrors::kMaxEntries);
    EXPECT_EQ(errors.entries().front().text, "5");
    EXPECT_EQ(errors.entries()[7].count, 1000U);
    EXPECT_EQ(errors.entries()[8].count, 1U) << "an error is no warning";
    EXPECT_EQ(errors.entries().back().text.size(), RecentErrors::kMaxText);
}

class DumpTest : public HalTest {
  protected:
    using LocalClient = ::aidl::hardware::velta::uwb::BnUwbClientCallback;

    std::string Dump(std::vector<const char*> args, binder_status_t status = STATUS_OK) {
        const Pipe pipe;
        fcntl(pipe.in(), F_SETPIPE_SZ, 65536);
        EXPECT_EQ(uwb_->dump(pipe.in(), args.data(), static_cast<uint32_t>(args.size())), status);
        return pipe.Read();
    }

    Diagnostics diagnostics_{.about = {{"version", "1.2"}}, .errors = {}};
    std::shared_ptr<Uwb> uwb_ = SharedRefBase::make<Uwb>(&tool_, &mcps_, &ieee_, &ccc_region_,
                                                         &fira_region_, &loop_, &diagnostics_);
};

TEST_F(DumpTest, TellsNamesAndCountsButNoAddresses) {
    EXPECT_THAT(Dump({"-a"}), HasSubstr("open: no\nhardware: none\ninterfaces: none\n"));
    mcps_.hardware = {{3, 0, "default"}};
    ieee_.devices = {{"wpan0", 0}};
    ASSERT_TRUE(uwb_->open(SharedRefBase::make<LocalClient>()).isOk());
    std::shared_ptr<Uwb::IUwbIface> iface;
    std::shared_ptr<UwbIface::IFiraController> fira;
    ASSERT_TRUE(uwb_->getIface("wpan0", &iface).isOk() && iface->firaController(&fira).isOk());
    FiraTwrSession session = GoodSession(7);
    session.deviceAddress.address = session.destAddressList[0].address = {0x7A, 0x7B};
    ASSERT_TRUE(fira->initNewTwrSession(session).isOk());
    ASSERT_TRUE(fira->initNewTwrSession(GoodSession(8)).isOk());
    fira->setSessionCallback(SharedRefBase::make<FiraClient>(&journal_));
    ASSERT_TRUE(fira->startRangingSession(8).isOk());
    ASSERT_FALSE(fira->startRangingSession(9).isOk());
    diagnostics_.errors.Note('E', "tag", "a \"quoted\"\nerror \xFF");
    const std::string text = Dump({});
    for (const char* part :
         {"  version: 1.2\n", "open: yes\n", "\n    scheduler_found: default\n",
          "\n      channel: 9\n", "        - id: 7\n          state: initialised\n",
          "        - id: 8\n          state: running\n", "calls_refused: ",
          "    severity: E\n    tag: tag\n    text: a \"quoted\"?error ?\n    count: 1\n"}) {
        EXPECT_THAT(text, HasSubstr(part));
    }
    const std::string json = Dump({"--json"});
    for (const char* part :
         {R"("open":true,)", R"("sessions":[{"id":7,"state":"initialised",)",
          R"("text":"a \"quoted\"?error ?")", R"("calibrations":[],"requests":{"sent":0,)"}) {
        EXPECT_THAT(json, HasSubstr(part));
    }
    for (const char* secret : {"ddress", "7a7b", "7A7B", "7a:7b", "122, 123"}) {
        EXPECT_THAT(text + json, Not(HasSubstr(secret)));
    }
    uwb_->close();
    EXPECT_THAT(Dump({}), HasSubstr("open: no\nhardware:\n  - index: 3\n"));
}

TEST_F(DumpTest, ExplainsItsArguments) {
    EXPECT_THAT(Dump({"--help"}), HasSubstr("--json "));
    EXPECT_THAT(Dump({"--json", "--bad"}, STATUS_BAD_VALUE), HasSubstr("Unknown argument.\n"));
    EXPECT_EQ(uwb_->dump(-1, nullptr, 0), STATUS_BAD_VALUE);
}

}  // namespace
}  // namespace hardware::velta
