// SPDX-License-Identifier: Apache-2.0
#include "hal/uwb.h"

#include <aidl/hardware/velta/uwb/BnUwbClientCallback.h>
#include <android-base/properties.h>
#include <android-base/strings.h>
#include <android/binder_libbinder.h>
#include <binder/Binder.h>

#include <filesystem>
#include <fstream>

#include "tests/unit/hal/fake_radio.h"

namespace hardware::velta {
namespace {

using ::aidl::hardware::velta::uwb::IUwbClientCallback;
using ::android::sp;
using ::android::status_t;
using ::android::wp;

// Is handed over, and hands over another one each time that it is asked what it is.
class NestingBinder : public android::BBinder {
  public:
    explicit NestingBinder(int* depth) : depth_(depth) {}
    const android::String16& getInterfaceDescriptor() const override {
        static const android::String16 name(IUwbClientCallback::descriptor);
        constexpr int kEnd = 1000;
        if (++*depth_ < kEnd) Hand(depth_);
        return name;
    }
    static std::shared_ptr<IUwbClientCallback> Hand(int* depth) {
        const sp<IBinder> binder = sp<NestingBinder>::make(depth);
        return IUwbClientCallback::fromBinder(ndk::SpAIBinder(AIBinder_fromPlatformBinder(binder)));
    }

  private:
    int* depth_;
};

// A client in another process, which can die. Binder holds death recipients weakly.
class RemoteBinder : public android::BBinder {
  public:
    bool isBinderAlive() const override { return is_alive; }
    status_t linkToDeath(const sp<DeathRecipient>& recipient, void*, uint32_t) override {
        recipient_ = recipient;
        return android::OK;
    }
    bool IsLinked() const { return recipient_.promote() != nullptr; }
    void TellOfDeath() { recipient_.promote()->binderDied(sp<IBinder>::fromExisting(this)); }

    bool is_alive = true;

  private:
    wp<DeathRecipient> recipient_;
};

class RemoteClient : public ::aidl::hardware::velta::uwb::IUwbClientCallbackDefault {
  public:
    ndk::SpAIBinder asBinder() override {
        return ndk::SpAIBinder(AIBinder_fromPlatformBinder(binder));
    }

    const sp<RemoteBinder> binder = sp<RemoteBinder>::make();
};

class UwbTest : public HalTest {
  protected:
    using LocalClient = ::aidl::hardware::velta::uwb::BnUwbClientCallback;

    UwbTest() {
        mcps_.hardware = {{3, 0, "default"}, {4, 1, "default"}, {5, 1, "default"}};
        ieee_.devices = {{"wpan1", 1}, {"wpan9", 9}, {"wpan0", 0}};
    }
    std::string Names() {
        std::vector<std::string> names = {"kept"};
        EXPECT_TRUE(uwb_->listIfaceNames(&names).isOk());
        return android::base::Join(names, " ");
    }

    std::shared_ptr<Uwb> uwb_ =
        SharedRefBase::make<Uwb>(&tool_, &mcps_, &ieee_, &ccc_region_, &fira_region_, &loop_);
    std::shared_ptr<RemoteClient> client_ = SharedRefBase::make<RemoteClient>();
};

constexpr char kOpened[] =
    "mcps-start; ccc-net-id 27; fira-net-id 27; ieee-setup; list-hardware; list-devices; "
    "pids 4; info 4; pids 3; info 3";

TEST_F(UwbTest, OpensTheRadiosThatHaveAnInterface) {
    EXPECT_EQ(Trace(uwb_->open(client_)), kOpened);
    EXPECT_EQ(Names(), "kept wpan0 wpan1");
    EXPECT_TRUE(client_->binder->IsLinked());
    std::shared_ptr<Uwb::IUwbIface> iface;
    EXPECT_EQ(Trace(uwb_->getIface("wpan1", &iface)), "");
    std::shared_ptr<UwbIface::IFiraController> fira;
    EXPECT_TRUE(iface->firaController(&fira).isOk());
    EXPECT_EQ(Trace(fira->initNewTwrSession(GoodSession())),
              "phy wpan1; channel wpan1 9; ensure-down wpan1; region 4 fira; init 4 7; config 4 7; "
              "add 4 7 1122, -; ensure-down wpan1");
    EXPECT_EQ(Trace(uwb_->getIface("wpan9", &iface)), "!2 Unknown iface wpan9");
    EXPECT_EQ(log_.Count("W velta.Uwb getIface: Unknown iface wpan9"), 1U);
    EXPECT_EQ(Trace(uwb_->close()), "ensure-down wpan0; ensure-down wpan1; deinit 4 7");
    EXPECT_EQ(Names(), "kept");
    EXPECT_FALSE(client_->binder->IsLinked());
    EXPECT_EQ(Trace(uwb_->close()), "");
    uwb_.reset();
    EXPECT_EQ(Trace(fira->initNewTwrSession(GoodSession())), "!3 HAL is closed");
    EXPECT_TRUE(iface->firaController(&fira).isOk());
}

TEST_F(UwbTest, StaysClosedWhenTheKernelLacksAFamily) {
    EXPECT_EQ(Trace(uwb_->open(nullptr)), "!2 null client callback");
    journal_.failing = {"mcps-start", "ieee-setup"};
    EXPECT_EQ(Trace(uwb_->open(client_)),
              "mcps-start; !1 Failed to find MCPS netlink, check the kernel module");
    journal_.failing = {"ieee-setup"};
    EXPECT_EQ(Trace(uwb_->open(client_)),
              "mcps-start; ccc-net-id 27; fira-net-id 27; ieee-setup; "
              "!1 Failed to find IEEE netlink, check the kernel module");
    journal_.failing.clear();
    EXPECT_EQ(Trace(uwb_->open(client_)), kOpened);
    for (const char* list : {"list-hardware", "list-devices"}) {
        EXPECT_TRUE(uwb_->close().isOk());
        journal_.failing = {list};
        EXPECT_TRUE(uwb_->open(client_).isOk()) << "a list that fails is no error";
        EXPECT_EQ(Names(), "kept");
    }
}

TEST_F(UwbTest, ServesOneLivingClient) {
    EXPECT_TRUE(uwb_->open(client_).isOk());
    const auto next = SharedRefBase::make<LocalClient>();
    Trace();
    EXPECT_EQ(Trace(uwb_->open(next)), "!3 HAL is already open");
    client_->binder->TellOfDeath();
    EXPECT_EQ(Trace(), "") << "it is alive";
    client_->binder->is_alive = false;
    EXPECT_EQ(Trace(uwb_->open(next)),
              "ensure-down wpan0; ensure-down wpan1; " + std::string(kOpened));
    EXPECT_EQ(log_.Count("I velta.Uwb Previous client is dead"), 1U);
    // A client in this process cannot be linked to.
    EXPECT_THAT(log_.lines(), ::testing::Contains("W velta.Uwb open: linkToDeath failed: -38"));
}

TEST_F(UwbTest, ClosesWhenTheClientDies) {
    EXPECT_TRUE(uwb_->open(client_).isOk());
    Trace();
    client_->binder->is_alive = false;
    client_->binder->TellOfDeath();
    EXPECT_EQ(Trace(), "ensure-down wpan0; ensure-down wpan1");
    EXPECT_EQ(Names(), "kept");
    EXPECT_TRUE(uwb_->open(SharedRefBase::make<RemoteClient>()).isOk());
    uwb_.reset();  // Open: a later one starts closed.
    EXPECT_EQ(Trace(), std::string(kOpened) + "; ensure-down wpan0; ensure-down wpan1");
}

TEST_F(UwbTest, ListsTheHardwareAlsoWhenClosed) {
    std::vector<int64_t> indexes = {1};
    EXPECT_EQ(Trace(uwb_->listHardwareIndex(&indexes)), "mcps-start; list-hardware");
    EXPECT_EQ(indexes, (std::vector<int64_t>{1, 3, 4, 5}));
    EXPECT_EQ(Trace(uwb_->listHardwareIndex(&indexes)), "list-hardware");
    journal_.failing = {"list-hardware"};  // The driver may have been loaded anew.
    EXPECT_EQ(Trace(uwb_->listHardwareIndex(&indexes)),
              "list-hardware; mcps-start; list-hardware; !1 Failed to list hardware");
    journal_.failing = {"list-hardware", "mcps-start"};
    EXPECT_EQ(Trace(uwb_->listHardwareIndex(&indexes)),
              "list-hardware; mcps-start; !1 Failed to list hardware");
}

// Calibration files in a directory of this process.
class CountryTest : public UwbTest {
  protected:
    static constexpr char kProperty[] = "ro.vendor.uwb.calibration.calibrationpaths";

    CountryTest() { EXPECT_TRUE(uwb_->open(client_).isOk()); }
    // A property of this kind is set once in the life of a process: its file changes.
    static const std::string& Directory() {
        static const struct TemporaryDirectory {
            TemporaryDirectory() {
                mkdtemp(name.data());
                android::base::SetProperty(kProperty, name + "/paths");
            }
            ~TemporaryDirectory() { std::filesystem::remove_all(name); }
            std::string name = std::filesystem::temp_directory_path() / "hal_tests.XXXXXX";
        } directory;
        return directory.name;
    }
    static void Write(const std::string& name, const std::string& text) {
        std::ofstream(Directory() + "/" + name) << text;
    }
    std::string Apply(const std::string& country) {
        Trace();
        return Trace(uwb_->applyCountryRestriction(country));
    }
};

TEST(BinderNestingTest, QuestionsEndSomewhere) {
    LogCapture log;
    int depth = 0;
    EXPECT_NE(NestingBinder::Hand(&depth), nullptr) << "what was asked first is what it says";
    EXPECT_EQ(depth, 16);
    EXPECT_EQ(log.lines().size(), 1U);
    EXPECT_THAT(log.lines().front(), ::testing::HasSubstr("from within 16 calls of its own"));
    depth = 0;
    NestingBinder::Hand(&depth);
    EXPECT_EQ(depth, 16) << "and the next time";
}

TEST_F(CountryTest, NeedsTheProperty) {
    // In a process of its own, where no other test has set it.
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_EXIT(
        {
            fputs(Apply("FR").c_str(), stderr);
            _exit(0);
        },
        ::testing::ExitedWithCode(0),
        "ensure-down wpan0; ensure-up wpan0; ensure-down wpan0; !3 Property "
        "ro.vendor.uwb.calibration.calibrationpaths is not set");
}

TEST_F(CountryTest, LoadsTheFilesOfTheCountry) {
    const std::string dir = Directory() + "/";
    const std::string good =
        "[HAL]minimum_system_offset_uwbtime0=1\n[HAL]antenna_pair_azimuth=0\n[HAL]tx_antenna=0\n"
        "[CCC]any=1\n";
    Write("all", good + "who=all\nsize=1\n");
    Write("cal-FR", "who=FR\n");
    Write("cal-default", "who=default\n");
    Write("cal-unknown", "who=unknown\n");
    Write("odd", "[HAL]odd=1\n");
    Write("no-offset", "[HAL]minimum_system_offset_uwbtime0=x\n");
    Write("no-cpu", "[HAL]spi_affinity=4294967296\n");
    Write("no-antenna", "[HAL]tx_antenna=9\n");
    // The paths file, the country, the call that fails, and what is seen.
    const std::tuple<std::string, std::string, std::string, std::string> cases[] = {
        {dir + "all\n\n" + dir + "cal-<country>", "FR", "", "driver 3 size=1,who=FR,; pids 3"},
        {dir + "all\n" + dir + "cal-<country>\n", "DE", "", "driver 3 size=1,who=default,; pids 3"},
        {dir + "all\n" + dir + "cal-<country>", "", "", "driver 3 size=1,who=unknown,; pids 3"},
        {dir + "cal-<country>\n" + dir + "all", "FR", "", "driver 3 size=1,who=all,; pids 3"},
        {dir + "none", "FR", "", "!1 Failed to load calibration fle"},
        {dir + "none-<country>", "FR", "", "!1 Failed to load calibration country file"},
        {dir + "none-<country>", "", "", "!1 Failed to load calibration default country file"},
        {dir + "cal-FR", "", "", "!1 Failed to load CCC calibration keys"},
        {dir + "all\n" + dir + "no-offset", "", "", "!1 Failed to load CCC calibration keys"},
        {dir + "all\n" + dir + "no-cpu", "", "", "!1 Failed to load HAL calibration keys"},
        {dir + "all\n" + dir + "no-antenna", "", "", "!1 Failed to load HAL calibration keys"},
        {dir + "all", "", "driver",
         "driver 3 size=1,who=all,; !1 Failed to load driver calibration keys"},
        {dir + "all\n" + dir + "odd", "", "",
         "driver 3 size=1,who=all,; !1 Failed to load calibrations, unknown keys"},
    };
    ieee_.devices = {{"wpan0", 0}};
    EXPECT_TRUE(uwb_->close().isOk() && uwb_->open(client_).isOk());
    std::string cycled = "ensure-up wpan0; ensure-down wpan0; ";  // The first time only.
    for (const auto& [paths, country, failing, trace] : cases) {
        Write("paths", paths);
        journal_.failing = {failing};
        EXPECT_EQ(Apply(country), "ensure-down wpan0; " + cycled + trace) << paths;
        cycled.clear();
    }
    for (const std::string& line :
         {": load config from " + dir + "none", ": trying to load config from " + dir + "cal-DE"}) {
        EXPECT_EQ(log_.Count("I velta.uwb.UwbIface LoadCountryCalibrations" + line), 1U) << line;
    }
    EXPECT_EQ(log_.Count("E velta.uwb.UwbIface LoadCountryCalibrations unknown keys in config"),
              1U);
}

TEST_F(CountryTest, EndsAtTheFirstInterfaceThatFails) {
    std::filesystem::remove(Directory() + "/paths");
    EXPECT_EQ(Apply("FR"),
              "ensure-down wpan0; ensure-up wpan0; ensure-down wpan0; "
              "!1 Failed to load calibration config paths file");
    EXPECT_EQ(log_.Count("E velta.uwb.UwbIface LoadCountryCalibrations Cannot open file: " +
                         Directory() + "/paths"),
              1U);
    EXPECT_TRUE(uwb_->close().isOk());
    EXPECT_EQ(Apply("FR"), "") << "no interface, no error";
}

}  // namespace
}  // namespace hardware::velta
