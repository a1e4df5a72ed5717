// SPDX-License-Identifier: Apache-2.0
#include "device_test.h"

#include <android-base/logging.h>
#include <android-base/stringprintf.h>
#include <android-base/strings.h>
#include <android/binder_manager.h>
#include <android/binder_process.h>
#include <fcntl.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cmath>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>
#include <thread>
#include <utility>

namespace hardware::velta::device {
namespace {

using android::base::StringPrintf;
using namespace std::string_literals;

constexpr char kWorldFile[] = "/sys/kernel/debug/mcps802154_sim/world";
constexpr char kFaultsFile[] = "/sys/kernel/debug/mcps802154_sim/faults";
constexpr char kServiceLog[] = "/host/service.log";
constexpr char kCalibrationFolder[] = "/tmp/calibration/";

std::vector<std::string> RadioLines(int radio, const std::string& file) {
    const std::string folder = StringPrintf("/sys/kernel/debug/mcps802154_sim/radio%d/", radio);
    return android::base::Split(ReadText(folder + file), "\n");
}

// The rest of the first line that begins with key.
std::string Find(const std::vector<std::string>& lines, const std::string& key) {
    for (const std::string& line : lines) {
        if (line.starts_with(key + " ")) return line.substr(key.size() + 1);
    }
    return "";
}

std::string Text(int id, const std::vector<UwbAddress>& addresses) {
    std::string text = std::to_string(id);
    for (const UwbAddress& address : addresses) {
        text += &address == addresses.data() ? " " : ",";
        for (const uint8_t byte : address.address) text += StringPrintf("%02x", byte);
    }
    return text;
}

}  // namespace

std::string Said(const ScopedAStatus& status) {
    if (status.isOk()) return "OK";
    if (status.getExceptionCode() != EX_SERVICE_SPECIFIC) return status.getDescription();
    return StringPrintf("%d: %s", status.getServiceSpecificError(), status.getMessage());
}

// ---- Files and programs of the device ----

std::string ReadText(const std::string& path) {
    std::ifstream file(path);
    EXPECT_TRUE(file.is_open()) << path;
    return {std::istreambuf_iterator<char>(file), {}};
}

void WriteText(const std::string& path, const std::string& text) {
    const int fd = open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
    EXPECT_EQ(write(fd, text.data(), text.size()), static_cast<ssize_t>(text.size()))
        << path << ": " << strerror(errno) << ": " << text;
    close(fd);
}

std::string Shell(const std::string& command) {
    Child shell(command);
    const std::string output = shell.ReadAll();
    EXPECT_EQ(shell.Wait(), 0) << command << ": " << output;
    return output;
}

bool Eventually(const std::function<bool()>& done, Milliseconds patience) {
    const auto deadline = std::chrono::steady_clock::now() + patience;
    while (!done()) {
        if (std::chrono::steady_clock::now() > deadline) return false;
        std::this_thread::sleep_for(10ms);
    }
    return true;
}

Child::Child(const std::string& command) {
    const std::string line = "exec " + command + " 2>&1";
    int ends[2] = {-1, -1};
    EXPECT_EQ(pipe2(ends, O_CLOEXEC), 0);
    pid_ = fork();
    if (pid_ == 0) {
        dup2(ends[1], STDOUT_FILENO);
        execl("/bin/sh", "sh", "-c", line.c_str(), nullptr);
        _exit(127);
    }
    close(ends[1]);
    output_ = fdopen(ends[0], "r");
}

Child::~Child() {
    if (pid_ > 0) Kill();
    fclose(output_);
}

std::string Child::ReadLine() {
    std::string line;
    for (int c; (c = getc(output_)) != EOF && c != '\n';) line += static_cast<char>(c);
    return line;
}

std::string Child::ReadAll() {
    std::string text;
    for (int c; (c = getc(output_)) != EOF;) text += static_cast<char>(c);
    return text;
}

int Child::Wait() {
    int status = 0;
    waitpid(std::exchange(pid_, -1), &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
}

void Child::Kill() {
    kill(pid_, SIGKILL);
    Wait();
}

int Service::Pid() {
    return std::stoi(ReadText("/run/service.pid"));
}

size_t Service::OpenDescriptors() {
    const std::filesystem::directory_iterator folder(StringPrintf("/proc/%d/fd", Pid()));
    return std::distance(begin(folder), end(folder));
}

void Service::Start(const std::string& properties) {
    Shell(properties.empty() ? "service-start"
                             : "env VELTA_UWB_PROPERTIES=" + properties + " service-start");
}

std::string Service::NewLog() {
    static size_t read = 0;
    const std::string log = ReadText(kServiceLog);
    return log.substr(std::exchange(read, log.size()));
}

// ---- The virtual radio ----

void Fault(const std::string& lines) {
    WriteText(kFaultsFile, lines + "\n");
}

void LayOut(const std::string& lines) {
    WriteText(kWorldFile, "clear\n" + lines + "\n");
}

void UnloadRadio() {
    Shell("rmmod mcps802154_sim");
}

void LoadRadio() {
    Shell(StringPrintf("insmod /lib/modules/extra/mcps802154_sim.ko radios=%d", kRadios));
}

std::string CalibrationKey(int radio, const std::string& key) {
    return Find(RadioLines(radio, "calibration"), key);
}

RadioState::RadioState(int radio) : lines_(RadioLines(radio, "state")) {}

std::string RadioState::operator[](const std::string& key) const {
    return Find(lines_, key);
}

RadioState::FiraSession RadioState::Session(uint32_t id) const {
    FiraSession session;
    bool is_here = false;
    for (const std::string& line : lines_) {
        std::vector<std::string> words = android::base::Split(android::base::Trim(line), " ");
        if (!line.starts_with("  ")) {
            is_here = words[0] == "fira_session" && words[1] == std::to_string(id);
            if (is_here) session.state = words[3];
        } else if (is_here && words[0] == "param") {
            session.params += (session.params.empty() ? "" : " ") + words[1] + "=" + words[2];
        } else if (is_here) {
            words.erase(words.begin());
            session.controlees +=
                (session.controlees.empty() ? "" : ",") + android::base::Join(words, " ");
        }
    }
    return session;
}

std::string RadioState::Unrest() const {
    std::string unrest;
    for (const std::string& line : lines_) {
        const bool is_session = line.starts_with("fira_session ") || line.starts_with("ccc ");
        if (line == "interface up" || line.starts_with("simple_ranging ") ||
            (is_session && line.find(" state idle") == line.npos)) {
            unrest += line + "\n";
        }
    }
    return unrest;
}

World::World() {
    for (const std::string& line : android::base::Split(ReadText(kWorldFile), "\n")) {
        std::istringstream words(line);
        std::string kind, name, skipped;
        words >> kind >> name;
        if (kind == "time_ns") {
            now_ns_ = std::stoll(name);
            words >> skipped >> skipped >> skipped >> noise_mm_;
        } else {
            std::vector<double>& body = bodies_[kind + " " + name];
            body.assign(std::istream_iterator<double>(words), {});
            body.resize(6);
        }
    }
}

World::Sight World::See(int radio, const std::string& thing, int64_t when_ns) const {
    const std::vector<double>& from = bodies_.at("radio " + std::to_string(radio));
    const std::vector<double>& to = bodies_.at(thing);
    const double seconds = static_cast<double>(when_ns - now_ns_) / 1e9;
    double d[3];
    for (int i = 0; i < 3; i++) d[i] = (to[i] - from[i]) + (to[i + 3] - from[i + 3]) * seconds;
    const double ground = std::hypot(d[0], d[1]);
    // Two antennas in line cannot tell front from back: both look front.
    return {std::hypot(ground, d[2]) * 1000, std::atan2(d[0], std::fabs(d[1])),
            std::atan2(d[2], ground)};
}

// ---- A client ----

ScopedAStatus FiraEvents::onControleesAdded(int id, const Addresses& who) {
    return events.Put("added " + Text(id, who));
}

ScopedAStatus FiraEvents::onControleesAddFailed(int id, const Addresses& who, int reason) {
    return events.Put("add failed " + Text(id, who) + " " + std::to_string(reason));
}

ScopedAStatus FiraEvents::onControleesRemoved(int id, const Addresses& who) {
    return events.Put("removed " + Text(id, who));
}

ScopedAStatus FiraEvents::onControleesRemoveFailed(int id, const Addresses& who, int reason) {
    return events.Put("remove failed " + Text(id, who) + " " + std::to_string(reason));
}

ScopedAStatus FiraEvents::onSessionStopped(int id, int reason) {
    return events.Put("stopped " + Text(id, {}) + " " + std::to_string(reason));
}

Hal::Hal() {
    const std::string instance = std::string(IUwb::descriptor) + "/default";
    uwb_ = IUwb::fromBinder(ndk::SpAIBinder(AServiceManager_checkService(instance.c_str())));
    CHECK(uwb_ != nullptr) << instance << " is not registered; is the service running?";
}

std::vector<std::string> Hal::IfaceNames() const {
    std::vector<std::string> names;
    EXPECT_EQ(Said(uwb_->listIfaceNames(&names)), "OK");
    return names;
}

std::shared_ptr<IUwbIface> Hal::Iface(int radio) const {
    std::shared_ptr<IUwbIface> iface;
    EXPECT_EQ(Said(uwb_->getIface("wpan" + std::to_string(radio), &iface)), "OK");
    return iface;
}

UwbAddress Short(uint16_t address) {
    return {.address = {static_cast<uint8_t>(address >> 8), static_cast<uint8_t>(address)}};
}

FiraTwrSession ControllerSession(int id) {
    return {.id = id,
            .deviceType = DeviceType::CONTROLLER,
            .deviceRole = DeviceRole::INITIATOR,
            .rangingRoundUsage = RangingRoundUsage::DS_TWR,
            .multiNodeMode = MultiNodeMode::ONE_TO_MANY,
            .deviceAddress = Short(0x0001),
            .destAddressList = {Short(0x1234)},
            .slotDurationRstu = 2400,
            .slotsPerRangingRound = 10,
            .rangingBlockDurationMs = 50,
            .sessionPriority = 50,
            .rangingRoundControl = {.hasResultReportPhase = true, .hasDeferredMode = true},
            .inBandTerminationAttemptCount = 1,
            .channelNumber = 9,
            .preambleCodeIndex = 10,
            .rframeConfig = RframeConfig::SP3,
            .preambleDuration = PreambleDuration::T64_SYMBOLS,
            .sfdId = 2,
            .stsSegmentCount = 1,
            .vendorId = {0x07, 0x08},
            .staticStsIV = {1, 2, 3, 4, 5, 6},
            .aoaResultRequest = AoaResultRequest::REQ_AOA_RESULTS,
            .resultReportConfig = {true, true, true, true}};
}

FiraTwrSession ControleeSession(int id) {
    FiraTwrSession session = ControllerSession(id);
    session.deviceType = DeviceType::CONTROLEE;
    session.deviceRole = DeviceRole::RESPONDER;
    std::swap(session.deviceAddress, session.destAddressList[0]);
    return session;
}

FiraClient::FiraClient(const Hal& hal, int radio)
    : controller(hal.Get(radio, &IUwbIface::firaController)),
      events(ndk::SharedRefBase::make<FiraEvents>()) {
    EXPECT_EQ(Said(controller->setSessionCallback(events)), "OK");
}

std::string FiraClient::Init(const FiraTwrSession& session) {
    return Said(controller->initNewTwrSession(session));
}

std::string FiraClient::Start(int id) {
    return Said(controller->startRangingSession(id));
}

std::string FiraClient::Stop(int id) {
    return Said(controller->stopRangingSession(id));
}

std::string FiraClient::Deinit(int id) {
    return Said(controller->deinitSession(id));
}

int FiraClient::Count() {
    int32_t count = -1;
    EXPECT_EQ(Said(controller->getSessionCount(&count)), "OK");
    return count;
}

void FiraClient::Run(const FiraTwrSession& session) {
    ASSERT_EQ(Init(session), "OK");
    ASSERT_EQ(Start(session.id), "OK");
}

void FiraClient::Halt(int id) {
    ASSERT_EQ(Stop(id), "OK");
    ASSERT_EQ(events->events.Take(), "stopped " + std::to_string(id) + " 0");
    Count();  // The client is told first: what the service does then is done when it answers.
}

FiraReport FiraClient::Fresh() {
    const int64_t now_ns = World().now_ns();
    for (;;) {
        FiraReport report = events->reports.Take();
        if (report.measurements.empty() || report.measurements[0].timestampNs > now_ns) {
            return report;
        }
    }
}

void ExpectTruth(const FiraTwrMeasurement& measurement, int radio, const std::string& thing) {
    const World world;
    const World::Sight truth = world.See(radio, thing, measurement.timestampNs);
    EXPECT_EQ(measurement.status, 0);
    EXPECT_NEAR(static_cast<double>(measurement.distance), truth.distance_mm,
                world.max_distance_error_mm());
    EXPECT_NEAR(measurement.azimuth, truth.azimuth, world.max_angle_error());
    EXPECT_GT(measurement.azimuthFigureOfMerit, 0.1);
    ASSERT_FALSE(measurement.antennaMeasurements.empty());
    EXPECT_EQ(measurement.antennaMeasurements[0].axis, AoaAxis::AZIMUTH);
    EXPECT_NEAR(measurement.antennaMeasurements[0].angleOfArrival, measurement.azimuth, 1e-9);
}

void RunClient(const std::string& step) {
    Hal hal;
    std::string said = hal.Open();
    if (step.starts_with("fira-")) {
        FiraClient fira(hal, 0);
        said = fira.Init(ControllerSession());
        if (step != "fira-initialised") said = fira.Start();
        if (step == "fira-stopping") said = fira.Stop();
    } else if (step.starts_with("ccc-")) {
        const auto ccc = hal.Get(0, &IUwbIface::cccController);
        int64_t time0 = 0;
        said = Said(ccc->initSession());
        if (step == "ccc-running") said = Said(ccc->startSession(1, 50, 9, &time0));
    } else if (step == "simple-running") {
        const auto simple = hal.Get(0, &IUwbIface::simpleRangingController);
        simple->setCallback(ndk::SharedRefBase::make<SimpleEvents>());
        simple->startInitiatorMode(1, Short(0x0001), 9);
        said = Said(simple->setRangings({{.id = 1}}));
    }
    puts(said == "OK" ? "ready" : said.c_str());
    fflush(stdout);
    for (;;) pause();
}

// ---- Fixtures ----

void DeviceTest::SetUp() {
    Service::NewLog();
    Fault("clear");
    LayOut("");
}

void DeviceTest::TearDown() {
    Fault("clear");
    if (kill(Service::Pid(), 0) != 0) {
        ADD_FAILURE() << "the service has died";
        Service::Stop();
        Service::Start();
        hal = Hal();
    }
    EXPECT_EQ(Said(hal->close()), "OK");
    for (int radio = 0; radio < kRadios; radio++) {
        EXPECT_EQ(RadioState(radio).Unrest(), "") << "left in radio " << radio;
    }
}

void DeviceTest::OpenAfterDeath() {
    std::string said;
    EXPECT_TRUE(Eventually([&] { return (said = hal.Open()) == "OK"; })) << said;
}

void CalibratedTest::SetUpTestSuite() {
    std::filesystem::create_directory(kCalibrationFolder);
    WriteText(kCalibrationFolder + "build.prop"s,
              "ro.vendor.uwb.calibration.calibrationpaths="s + kCalibrationFolder + "paths\n");
    Service::Stop();
    Service::Start(kCalibrationFolder + "build.prop"s);
}

// The radio keeps its keys and the service some of its own: both begin anew.
void CalibratedTest::TearDownTestSuite() {
    Service::Stop();
    UnloadRadio();
    LoadRadio();
    Service::Start();
}

void CalibratedTest::Calibrate(const std::string& file, const std::string& keys) {
    WriteText(kCalibrationFolder + file, keys);
}

void CalibratedTest::CalibrateBy(const std::string& files) {
    std::string paths;
    for (const std::string& file : android::base::Split(files, " ")) {
        paths += kCalibrationFolder + file + "\n";
    }
    WriteText(kCalibrationFolder + "paths"s, paths);
}

}  // namespace hardware::velta::device

int main(int argc, char** argv) {
    constexpr char kClient[] = "--client=";
    // The service's own classes tell the tests what they have to tell.
    android::base::SetMinimumLogSeverity(android::base::FATAL_WITHOUT_ABORT);
    ABinderProcess_setThreadPoolMaxThreadCount(1);
    ABinderProcess_startThreadPool();
    if (argc > 1 && std::string(argv[1]).starts_with(kClient)) {
        hardware::velta::device::RunClient(argv[1] + sizeof(kClient) - 1);
    }
    ::testing::InitGoogleMock(&argc, argv);
    return RUN_ALL_TESTS();
}
