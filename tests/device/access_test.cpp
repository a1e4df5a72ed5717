// SPDX-License-Identifier: Apache-2.0

// Who may do what: each domain of the policy, and the service itself.
#include <android-base/strings.h>
#include <android-base/unique_fd.h>
#include <android/binder_manager.h>
#include <fcntl.h>
#include <linux/android/binder.h>
#include <sys/ioctl.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <cerrno>

#include "tests/device/device_test.h"

namespace hardware::velta::device {
namespace {

const std::string kName = IUwb::descriptor + "/default"s;
// The service under a name that everybody may find.
constexpr char kSmuggled[] = "uwb.smuggled";

bool Registers(const std::string& name) {
    const auto binder = SharedRefBase::make<BnUwbClientCallback>()->asBinder();
    return AServiceManager_addService(binder.get(), name.c_str()) == STATUS_OK;
}

using AccessTest = DeviceTest;

struct DomainReach {
    const char *domain, *reach;
};

class DomainAccessTest : public AccessTest, public ::testing::WithParamInterface<DomainReach> {};

TEST_P(DomainAccessTest, ReachesWhatItsDomainMay) {
    const auto service = ndk::SpAIBinder(AServiceManager_checkService(kName.c_str()));
    ASSERT_EQ(AServiceManager_addService(service.get(), kSmuggled), STATUS_OK);
    EXPECT_EQ(Shell("as-domain "s + GetParam().domain + " device_tests --reach"),
              GetParam().reach + "\n"s);
    EXPECT_EQ(Said(Hal()->close()), "OK") << "the name is still its own";
}

INSTANTIATE_TEST_SUITE_P(Domains, DomainAccessTest,
                         ::testing::Values(DomainReach{"su", "find call transfer add "},
                                           DomainReach{"uwb_caller", "find call "},
                                           DomainReach{"uwb_finder", "find "},
                                           DomainReach{"untrusted_app", ""},
                                           DomainReach{"hal_other_default", "add "}),
                         [](const auto& info) { return std::string(info.param.domain); });

// What root's shell may do and the service's domain may not, as root, with all capabilities.
TEST_F(AccessTest, TheServicesDomainReachesNothingElse) {
    Shell("cp /bin/busybox /tmp/busybox");
    constexpr char kLabel[] = "u:object_r:hal_velta_uwb_default_exec:s0";
    ASSERT_EQ(setxattr("/tmp/busybox", "security.selinux", kLabel, sizeof(kLabel), 0), 0);
    WriteText("/tmp/other", "");
    const std::string pid = std::to_string(getpid());
    for (const std::string& command : {
             "cat /etc/vdev/config"s,
             "cat /tmp/other"s,
             "cat /proc/1/environ"s,
             "cat /sys/kernel/debug/mcps802154_sim/world"s,
             "ls /etc/velta-uwb"s,
             "touch /etc/velta-uwb/calibration.conf"s,
             "mkdir /tmp/calibration.new"s,
             "sh -c 'exec /bin/iwpan phy'"s,
             "kill -CONT "s + pid,
             "kill -CONT 1"s,
             "ip link show lo"s,
             "ifconfig lo mtu 1000"s,
             "nc 127.0.0.1 7777"s,
             "ping -c 1 127.0.0.1"s,
             "udhcpc -n -q -t 1 -i lo"s,
             "mount -t tmpfs tmpfs /tmp/calibration.new"s,
             "chroot / true"s,
             "dmesg"s,
             "rmmod nothing"s,
         }) {
        const auto said = [&command](const std::string& domain) {
            return Shell("{ as-domain " + domain + " /tmp/busybox " + command + "; } 2>&1; true");
        };
        const auto is_denied =
            ::testing::AnyOf(HasSubstr("ermission denied"), HasSubstr("not permitted"));
        EXPECT_THAT(said("hal_velta_uwb_default"), is_denied) << command;
        EXPECT_THAT(said("su"), ::testing::Not(is_denied)) << command;
    }
}

std::string Status(const std::string& key) {
    return Shell("sed -n 's/^" + key + ":[[:space:]]*//p' /proc/" + std::to_string(ServicePid()) +
                 "/status");
}

TEST_F(AccessTest, TheServiceHasTheLeastPrivileges) {
    EXPECT_EQ(ReadText("/proc/" + std::to_string(ServicePid()) + "/attr/current"),
              "u:r:hal_velta_uwb_default:s0\0"s);
    EXPECT_EQ(Status("Uid"), "1083\t1083\t1083\t1083\n");
    EXPECT_EQ(Status("Gid"), "1083\t1083\t1083\t1083\n");
    EXPECT_EQ(Status("Groups"), "\n");
    // CAP_NET_ADMIN and CAP_SYS_NICE.
    for (const char* set : {"CapPrm", "CapEff", "CapBnd"})
        EXPECT_EQ(Status(set), "0000000000801000\n") << set;
    EXPECT_EQ(Status("NoNewPrivs"), "1\n");
    EXPECT_EQ(Status("Seccomp"), "2\n");
    EXPECT_EQ(ReadText("/sys/fs/selinux/enforce") + ReadText("/sys/fs/selinux/deny_unknown"), "11");
}

TEST_F(AccessTest, ABugReportMayAskIt) {
    EXPECT_THAT(Shell("dumpsys " + kName), HasSubstr("interface_hash"));
    EXPECT_THAT(Shell("dumpsys --pid " + kName), HasSubstr(std::to_string(ServicePid())));
}

TEST_F(AccessTest, ASystemCallThatIsNotListedEndsTheProcess) {
    const std::string list = "seccomp-exec /etc/vdev/seccomp.policy ";
    EXPECT_THAT(Shell(list + "hardware.velta.uwb-service 2>&1; true"), HasSubstr("UWB HAL start"));
    EXPECT_THAT(Shell("{ " + list + "mkdir /tmp/new; } 2>&1; echo $?"),
                HasSubstr("Bad system call"));
}

TEST_F(AccessTest, ServesOnAfterAnEndOfServicemanager) {
    ASSERT_EQ(hal.Open(), "OK");
    FiraClient(hal, 0).Run();
    const int pid = ServicePid();
    Shell("kill -KILL $(cat /run/servicemanager.pid)");
    EXPECT_TRUE(Eventually([pid] { return kill(pid, 0) != 0; }));
    EXPECT_THAT(NewLog(), HasSubstr("servicemanager has ended"));
    EXPECT_EQ(RadioUnrest(0), "");
    Shell("servicemanager-start && service-start");
    hal = Hal();
    EXPECT_EQ(hal.Open(), "OK");
}

}  // namespace

std::string Reach() {
    std::string reach;
    // Of itself, and only to thaw it: what is refused is to ask.
    binder_freeze_info thaw = {
        .pid = static_cast<uint32_t>(getpid()), .enable = 0, .timeout_ms = 0};
    const android::base::unique_fd driver(open("/dev/binder", O_RDWR | O_CLOEXEC));
    if (ioctl(driver.get(), BINDER_FREEZE, &thaw) == 0 || errno != EACCES) reach += "freeze ";
    ndk::SpAIBinder binder(AServiceManager_checkService(kName.c_str()));
    if (binder.get() != nullptr) reach += "find ";
    if (binder.get() == nullptr) binder.set(AServiceManager_checkService(kSmuggled));
    if (binder.get() == nullptr) return "nothing to call";
    const auto uwb = IUwb::fromBinder(binder);
    std::vector<int64_t> indexes;
    if (uwb != nullptr && uwb->listHardwareIndex(&indexes).isOk()) reach += "call ";
    if (uwb != nullptr && uwb->open(SharedRefBase::make<BnUwbClientCallback>()).isOk())
        reach += "transfer ";
    if (Registers("uwb.other")) reach += "add ";
    if (Registers(kName)) reach += "take ";
    return reach;
}

}  // namespace hardware::velta::device
