// SPDX-License-Identifier: Apache-2.0
#include "tests/device/device_test.h"

#include <android-base/file.h>
#include <android-base/logging.h>
#include <android-base/stringprintf.h>
#include <android-base/strings.h>
#include <android/binder_process.h>
#include <signal.h>
#include <unistd.h>

#include <cmath>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>
#include <utility>

#include "conformance/target.h"

namespace hardware::velta::device {
namespace {

using android::base::Split;
using android::base::StringPrintf;

constexpr char kDebugFolder[] = "/sys/kernel/debug/mcps802154_sim/";

std::vector<std::string> RadioLines(int radio, const std::string& file) {
    return Split(ReadText(kDebugFolder + StringPrintf("radio%d/", radio) + file), "\n");
}

std::string Find(const std::vector<std::string>& lines, const std::string& key) {
    for (const std::string& line : lines) {
        if (line.starts_with(key + " ")) return line.substr(key.size() + 1);
    }
    return "";
}

}  // namespace

// ---- The device ----

std::string ReadText(const std::string& path) {
    std::string text;
    EXPECT_TRUE(android::base::ReadFileToString(path, &text)) << path << ": " << strerror(errno);
    return text;
}

void WriteText(const std::string& path, const std::string& text) {
    EXPECT_TRUE(android::base::WriteStringToFile(text, path))
        << path << ": " << strerror(errno) << ": " << text;
}

std::string Shell(const std::string& command) {
    FILE* pipe = popen((command + " 2>&1").c_str(), "re");  // NOLINT(cert-env33-c)
    std::string output;
    for (int c; (c = getc(pipe)) != EOF;) output += static_cast<char>(c);
    EXPECT_EQ(pclose(pipe), 0) << command << ": " << output;
    return output;
}

int ServicePid() {
    return std::stoi(ReadText("/run/service.pid"));
}

namespace {

std::string g_notifications = "event";

}  // namespace

std::string NotificationsMode() {
    return g_notifications;
}

long ServiceDescriptors() {
    const std::filesystem::directory_iterator folder("/proc/" + std::to_string(ServicePid()) +
                                                     "/fd");
    return std::distance(begin(folder), end(folder));
}

void RestartService(const std::string& properties, const std::string& signal) {
    constexpr char kShipped[] = "/etc/velta-uwb/build.prop";
    constexpr char kMode[] = "ro.vendor.uwb.hal.notifications=";
    Shell("service-stop " + signal);
    std::string text;
    for (const std::string& line :
         Split(ReadText(properties.empty() ? kShipped : properties), "\n")) {
        if (!line.starts_with(kMode)) text += line + "\n";
    }
    WriteText("/tmp/service.prop", text + kMode + g_notifications + "\n");
    Shell("VELTA_UWB_PROPERTIES=/tmp/service.prop service-start");
}

std::string NewLog() {
    static std::streamoff read = 0;
    std::ifstream log("/host/service.log");
    log.seekg(read);
    std::string text{std::istreambuf_iterator<char>(log), {}};
    read += static_cast<std::streamoff>(text.size());
    return text;
}

// ---- The virtual radio ----

void Fault(const std::string& lines) {
    WriteText(kDebugFolder + "faults"s, lines + "\n");
}

void LayOut(const std::string& lines) {
    WriteText(kDebugFolder + "world"s, "clear\n" + lines + "\n");
}

void UnloadRadio() {
    Shell("rmmod mcps802154_sim");
}

void LoadRadio() {
    Shell("insmod /lib/modules/extra/mcps802154_sim.ko radios=2");
}

std::string Radio(int radio, const std::string& key) {
    return Find(RadioLines(radio, "state"), key);
}

std::string RadioSession(int radio, uint32_t id) {
    const std::string state = Radio(radio, StringPrintf("fira_session %u state", id));
    return state.empty() ? "none" : state.substr(0, state.find(' '));
}

std::string RadioSessionDetails(int radio, uint32_t id) {
    std::vector<std::string> details;
    bool is_here = false;
    for (const std::string& line : RadioLines(radio, "state")) {
        if (!line.starts_with("  ")) {
            is_here = line.starts_with(StringPrintf("fira_session %u ", id));
        } else if (is_here) {
            details.push_back(line.substr(line.starts_with("  param ") ? 8 : 2));
        }
    }
    return android::base::Join(details, ",");
}

std::string RadioUnrest(int radio) {
    std::string unrest;
    for (const std::string& line : RadioLines(radio, "state")) {
        const bool is_session = line.starts_with("fira_session ") || line.starts_with("ccc ");
        if (line == "interface up" || line.starts_with("simple_ranging ") ||
            (is_session && line.find(" state idle") == line.npos)) {
            unrest += line + "\n";
        }
    }
    return unrest;
}

std::string CalibrationKey(int radio, const std::string& key) {
    return Find(RadioLines(radio, "calibration"), key);
}

World::World() {
    for (const std::string& line : Split(ReadText(kDebugFolder + "world"s), "\n")) {
        std::istringstream words(line);
        std::string kind, name, skipped;
        words >> kind >> name;
        if (kind == "time_ns") {
            now_ns_ = std::stoll(name);
            words >> skipped >> skipped >> skipped >> noise_mm_;
        } else {
            auto& body = bodies_[kind.append(" ").append(name)];
            body.assign(std::istream_iterator<double>(words), {});
            body.resize(6);
        }
    }
}

World::Sight World::See(int radio, const std::string& thing, int64_t when_ns) const {
    const auto& from = bodies_.at("radio " + std::to_string(radio));
    const auto& to = bodies_.at(thing);
    const double seconds = static_cast<double>(when_ns - now_ns_) / 1e9;
    double d[3];
    for (int i = 0; i < 3; i++) d[i] = (to[i] - from[i]) + (to[i + 3] - from[i + 3]) * seconds;
    const double ground = std::hypot(d[0], d[1]);
    // Two antennas in line cannot tell front from back: both look front.
    return {std::hypot(ground, d[2]) * 1000, std::atan2(d[0], std::fabs(d[1])),
            std::atan2(d[2], ground)};
}

void ExpectTruth(const FiraTwrMeasurement& measurement, int radio, const std::string& thing) {
    const World world;
    const auto truth = world.See(radio, thing, measurement.timestampNs);
    EXPECT_EQ(measurement.status, 0);
    EXPECT_NEAR(static_cast<double>(measurement.distance), truth.distance_mm,
                world.max_distance_error_mm());
    EXPECT_NEAR(measurement.azimuth, truth.azimuth, world.max_angle_error());
    EXPECT_GT(measurement.azimuthFigureOfMerit, 0.1);
    ASSERT_FALSE(measurement.antennaMeasurements.empty());
    EXPECT_EQ(measurement.antennaMeasurements[0].axis, AoaAxis::AZIMUTH);
    EXPECT_NEAR(measurement.antennaMeasurements[0].angleOfArrival, measurement.azimuth, 1e-9);
}

// ---- Fixtures ----

void DeviceTest::SetUp() {
    NewLog();
    Fault("clear");
    LayOut("");
}

void DeviceTest::TearDown() {
    Fault("clear");
    if (kill(ServicePid(), 0) != 0) {
        ADD_FAILURE() << "the service has died";
        RestartService();
        hal = Hal();
    }
    EXPECT_EQ(Said(hal->close()), "OK");
    for (const int radio : {0, 1}) EXPECT_EQ(RadioUnrest(radio), "") << "left in radio " << radio;
}

void CalibratedTest::SetUpTestSuite() {
    std::filesystem::create_directory(kCalibrations);
    WriteText(kCalibrations + "build.prop"s,
              "ro.vendor.uwb.calibration.calibrationpaths="s + kCalibrations + "paths\n");
    RestartService(kCalibrations + "build.prop"s);
}

// The radio keeps its keys and the service some of its own: both begin anew.
void CalibratedTest::TearDownTestSuite() {
    UnloadRadio();
    LoadRadio();
    RestartService();
}

std::string CalibratedTest::Apply(const std::string& country, const std::string& files) {
    std::string paths;
    for (const std::string& file : Split(files, " ")) paths += kCalibrations + file + "\n";
    WriteText(kCalibrations + "paths"s, paths);
    return Said(hal->applyCountryRestriction(country));
}

std::string CalibratedTest::ApplyKeys(const std::string& keys) {
    WriteText(kCalibrations + "keys"s, kRequiredKeys + keys);
    return Apply("FR", "keys");
}

}  // namespace hardware::velta::device

int main(int argc, char** argv) {
    constexpr char kClient[] = "--client=";
    // The service's own classes need not log: they answer.
    android::base::SetMinimumLogSeverity(android::base::FATAL_WITHOUT_ABORT);
    hardware::velta::conformance::TheTarget().interfaces = {"wpan0", "wpan1"};
    ABinderProcess_setThreadPoolMaxThreadCount(1);
    ABinderProcess_startThreadPool();
    if (argc > 1 && argv[1] == std::string("--reach")) {
        return puts(hardware::velta::device::Reach().c_str()) < 0;
    }
    if (argc > 1 && std::string(argv[1]).starts_with(kClient)) {
        hardware::velta::conformance::RunClient(argv[1] + sizeof(kClient) - 1);
    }
    ::testing::InitGoogleMock(&argc, argv);
    constexpr char kNotifications[] = "--notifications=";
    if (argc > 1 && std::string(argv[1]).starts_with(kNotifications)) {
        hardware::velta::device::g_notifications = argv[1] + sizeof(kNotifications) - 1;
        hardware::velta::device::RestartService();
    }
    return RUN_ALL_TESTS();
}
