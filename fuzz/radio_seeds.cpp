// SPDX-License-Identifier: Apache-2.0
#include "fuzz/radio_seeds.h"

#include <linux/genetlink.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <utility>

#include "bench/common/session.h"
#include "fuzz/radio_steps.h"
#include "fuzz/scripted_netlink.h"
#include "net/ccc_region_utils.h"
#include "net/fira_region_utils.h"
#include "uwbctl/world/scene_file.h"
#include "uwbctl/world/virtual_world.h"

namespace hardware::velta {
namespace {

using namespace ::aidl::hardware::velta::uwb;
using bench::kSession;

constexpr int kBlockMs = 24;

Step Text(uint8_t kind, const std::string& text) {
    return {.kind = kind, .bytes = Bytes(text.begin(), text.end())};
}
Step World(const std::string& text) {
    return Text(kWorldText, text);
}
Step Faults(const std::string& text) {
    return Text(kFaultsText, text);
}
Step Wait(uint8_t ms) {
    return {.kind = kWait, .argument = ms};
}
Step Up(uint8_t radio) {
    return {.kind = kSetInterface, .argument = static_cast<uint8_t>(radio | 2)};
}
Step Down(uint8_t radio) {
    return {.kind = kSetInterface, .argument = radio};
}
Step Close(uint8_t socket) {
    return {.kind = kCloseSocket, .argument = socket};
}

// The service's classes; what they send becomes steps of the course that is being written.
class Recorder : public FiraCallback, public CccRegionCallback {
    ManualLoop loop_;
    NlSocketFactory factory_{&loop_};

  public:
    Recorder() {
        ScriptedNetlink& netlink = ScriptedNetlink::Get();
        netlink.Reset();
        netlink.on_request = [this](nl_sock* socket, const Bytes& request) {
            OnRequest(socket, request);
        };
        if (!mcps.Start()) abort();
        for (const uint32_t hw : {0, 1}) {
            ConfigUtils antennas;
            antennas.Set("[HAL]antenna_pair_azimuth", "3");
            antennas.Set("[HAL]antenna_pair_elevation", "4");
            antennas.Set("[HAL]tx_antenna", "0");
            fira.ConsumeProperties(hw, antennas);
            fira.SubscribeCallback(hw, this);
        }
        fira.SetMcpsNetId(kFamily);
        ccc.SetMcpsNetId(kFamily);
        ccc.SetCallback(this);
        mcps.SubscribeRangingResults([](const McpsUtils::RangingResult&) {});
    }
    ~Recorder() { ScriptedNetlink::Get().on_request = nullptr; }

    void OnTwrResult(const FiraRangingData&, const std::vector<FiraTwrMeasurement>&) override {}
    void OnSessionStopped(uint32_t, int) override {}
    void OnSessionStopped(uint32_t, Reason) override {}

    static FiraTwrSession Session(bool is_controller) {
        FiraTwrSession session = bench::NewSession(1, kBlockMs);
        session.deviceType = is_controller ? DeviceType::CONTROLLER : DeviceType::CONTROLEE;
        session.deviceRole = is_controller ? DeviceRole::INITIATOR : DeviceRole::RESPONDER;
        session.destAddressList = {UwbAddress{{0x12, 0x34}}};
        session.slotDurationRstu = 2400;
        session.slotsPerRangingRound = 10;
        if (!is_controller) std::swap(session.deviceAddress, session.destAddressList[0]);
        return session;
    }
    void InitFira(uint32_t hw, bool is_controller) {
        fira.InitSession(hw, kSession);
        fira.ConfigTwrSession(hw, Session(is_controller));
        if (is_controller) fira.AddControlees(hw, kSession, {UwbAddress{{0x12, 0x34}}}, nullptr);
    }
    /** Calibration keys and their values, as in a file. */
    void Calibrate(const std::vector<std::pair<std::string, std::string>>& keys) {
        ConfigUtils config;
        for (const auto& [key, value] : keys) config.Set(key, value);
        mcps.ConsumeCalibration(0, config);
    }

    Steps course;
    McpsUtils mcps{&factory_};
    FiraRegionUtils fira{&factory_};
    CccRegionUtils ccc{&factory_};

  private:
    void OnRequest(nl_sock* socket, const Bytes& request) {
        ScriptedNetlink& netlink = ScriptedNetlink::Get();
        nlmsghdr header;
        memcpy(&header, request.data(), sizeof(header));
        if (header.nlmsg_type == GENL_ID_CTRL) {
            netlink.Queue(socket, Answer({"1 1=h29 2='mcps802154'"}));
            return netlink.Queue(socket, Ack());
        }
        course.push_back({.kind = kRequest, .bytes = request});
        switch (request[NLMSG_HDRLEN]) {
            case 1:
                return netlink.Queue(socket, Answer({"2 1=w0 2='phy0' 3='endless'"},
                                                    (header.nlmsg_flags & NLM_F_DUMP) != 0));
            case 8:
                return netlink.Queue(socket, Answer({"8"}));
            case 9:
                return netlink.Queue(socket, Answer({"9 10{1{1='spi_pid' 2=w7}}"}));
            default:
                return netlink.Queue(socket, Ack());
        }
    }
};

// What a course is made of: requests by way of the recorder, and steps in between.
using Play = void (*)(Recorder* service, Steps* course);

void AskForEverything(Recorder* service, Steps* course) {
    bool ok = false;
    McpsUtils::SpiPids pids = {};
    service->mcps.ListHardware(&ok);
    service->mcps.GetHardwareInfo(1, &ok);
    service->mcps.GetSpiPids(0, pids);
    service->mcps.SetAllRegions(1);
    service->Calibrate({{"auto_sleep_margin", "-1"},
                        {"restricted_channels", "0x20"},
                        {"ant0_ch5_delay", "16400"},
                        {"ant4_ch9_power", "0x7fffffff"},
                        {"pair6_ch9_offset", "-5"},
                        {"pair0_ch5_curve", "01:02:03"},
                        {"chip_id", "1"},
                        {"nobody", "1"}});
    for (uint8_t file = 0; file < 7; file++) course->push_back({kReadFile, file, {}});
}

void RangeWithTags(Recorder* service, Steps* course) {
    course->push_back(World("tag 0x1234 1 3 0\ntag 0x5678 -2 4 1 0.5 0 0\nlos 0x5678 0"));
    service->mcps.SetRegion(0, kFiraRegion);
    course->push_back(Up(0));
    service->InitFira(0, true);
    service->fira.AddControlees(0, kSession, {UwbAddress{{0x56, 0x78}}}, nullptr);
    service->fira.StartSession(0, kSession);
    course->push_back(Wait(60));
    course->push_back({kReadFile, 3, {}});
    service->fira.RemoveControlees(0, kSession, {UwbAddress{{0x56, 0x78}}});
    service->fira.UpdateBlockStriding(0, kSession, 1);
    service->fira.StopSession(0, kSession);
    course->push_back(Wait(10));
    service->fira.DeinitSession(0, kSession);
    course->push_back(Down(0));
}

void RangeWithEachOther(Recorder* service, Steps* course) {
    for (const uint8_t radio : {0, 1}) {
        service->mcps.SetRegion(radio, kFiraRegion);
        course->push_back(Up(radio));
        service->InitFira(radio, radio == 0);
        service->fira.StartSession(radio, kSession);
    }
    course->push_back(Wait(60));
    course->push_back(Faults("0 stop fira 42 7\n1 stop fira 42 0x80"));
    course->push_back(Wait(10));
}

void RunCcc(Recorder* service, Steps* course) {
    service->mcps.SetRegion(0, kNfccCoexRegion);
    course->push_back(Up(0));
    service->ccc.StartCccSession(0, 1000000, 9);
    course->push_back({kReadFile, 3, {}});
    service->ccc.StopCccSession(0);
    course->push_back(Wait(8));
    service->ccc.StartCccSession(0, 0, 5);
    course->push_back(Faults("0 stop ccc 0 1"));
    course->push_back(Wait(8));
}

void RangeSimply(Recorder* service, Steps* course) {
    course->push_back(World("tag 11 2 2 0\nnoise 0\nrange 100"));
    service->mcps.SetScheduler(0, McpsScheduler::kSimpleRanging, McpsUtils::SlotDuration{16},
                               McpsUtils::NodeType::kInitiator, false);
    service->mcps.SetScheduler(0, McpsScheduler::kSimpleRanging, McpsUtils::SlotDuration{16},
                               McpsUtils::NodeType::kResponder, true);
    course->push_back(Up(0));
    service->mcps.SetRangingRequests(0, {{1, 0, 11}, {7, 0, 77}});
    course->push_back(Wait(80));
    course->push_back({kReadFile, 3, {}});
    course->push_back(Close(0));
}

// A session whose reports meet what tests do to them.
void RangeWith(const char* faults, Recorder* service, Steps* course) {
    course->push_back(World("tag 0x1234 1 3 0"));
    service->mcps.SetRegion(0, kFiraRegion);
    course->push_back(Up(0));
    course->push_back(Faults(faults));
    course->push_back({kReadFile, 2, {}});
    service->InitFira(0, true);
    service->fira.StartSession(0, kSession);
    course->push_back(Wait(60));
    service->fira.StopSession(0, kSession);
    course->push_back(Wait(8));
}

constexpr Play kPlays[] = {AskForEverything, RangeWithTags, RangeWithEachOther, RunCcc,
                           RangeSimply};

constexpr const char* kFaultTexts[] = {
    "0 fira.report cmd 9\n0 fira.report cut 9\n* fira.report repeat 3",
    "0 fira.report drop 8.5.4.5.*.7 times 2\n0 fira.stopped late 3",
    "0 fira.report resize 8.5.4.5.*.1 1 always\n0 fira.stopped silence",
    "0 fira.report set 8.5.4.4 00\n0 fira.report rename 8.5.4 2",
    "0 fira.report append 8.5.4.5.* 2 -\n0 fira.report append . 9 0102",
    "0 fira.init errno 16\n0 fira.set_params silence\n0 fira.new_controlee late 5",
    "0 fira.start noack\n0 fira.stop late 2\n0 region_call errno 22 times 3",
    "clear\n0 fira.start late 9\n0 fira.deinit noack\n0 fira.del_controlee silence",
};

// What a request for everything meets.
constexpr const char* kReplyFaultTexts[] = {
    "0 hw_query set 2 7770616e3000\n0 hw_dump cut 3\n1 hw_dump append . 9 01",
    "0 hw_dump late 4\n0 hw_query repeat 2\n0 calibration_get resize 10.1.2 1 always",
    "0 hw_dump errno 12\n0 calibration_set drop 10.1.3\n0 report_keys all",
    "0 hw_dump silence\n0 calibration_set rename 10 11\n0 calibration_get late 2",
};

constexpr const char* kWorldTexts[] = {
    "radio 0 1 2 3\nradio 1 -1 2.5 0 0.1 0 0\nseed 7\nrate 60 blocks\nwait\nscene a-name",
    "tag 0x1234 1 2 3\npath 0x1234 loop\npoint 0x1234 0 1 2 3\npoint 0x1234 2 4 5 6 nlos\n"
    "point 0x1234 3 4 5 6 lost\npath radio1 once\npoint radio1 0.5 1 1 1",
    "wall 0 1 5 1\nwall -1 2 1 2 stops\ntag 9 0 5 0\nremove 9\nrange 20\nnoise 50",
    "model * bias 30 bias_per_m -2 noise 20 noise_per_m 1 nlos_bias 300 nlos_noise 50 outliers 5\n"
    "model radio1 outlier 900 angle_noise 3 angle_edge 4 fov 120 loss 5 loss_per_m 0.5\n"
    "model radio0 burst 10 burst_length 4 drift 20 nlos_outliers 50\nmodel * none",
    "# nothing\n\nclear",
};

// The commands that a scene becomes, as uwbctl writes them.
std::string SceneCommands(const std::filesystem::path& scene) {
    std::string name = std::filesystem::temp_directory_path() / "uwb-seeds.XXXXXX";
    if (mkdtemp(name.data()) == nullptr) abort();
    const std::filesystem::path folder = name;
    std::filesystem::create_directories(folder / "radio0");
    std::filesystem::create_directories(folder / "radio1");
    std::ofstream(folder / "world").flush();
    uwbctl::VirtualWorld(folder).Load(uwbctl::ReadSceneFile(scene));
    std::ifstream file(folder / "world");
    std::string text((std::istreambuf_iterator<char>(file)), {});
    std::filesystem::remove_all(folder);
    return text;
}

// With reports for as long as an input may wait.
void RangeIn(const std::string& world, Recorder* service, Steps* course) {
    service->mcps.SetRegion(0, kFiraRegion);
    course->push_back(Up(0));
    service->InitFira(0, true);
    course->push_back(World(world));
    service->fira.StartSession(0, kSession);
    course->push_back(Wait(80));
    for (uint8_t file = 0; file < 2; file++) course->push_back({kReadFile, file, {}});
}

}  // namespace

std::vector<Bytes> RadioSeeds(const std::string& scenes) {
    std::vector<Bytes> seeds;
    const auto write = [&seeds](const auto& play) {
        Recorder service;
        play(&service, &service.course);
        seeds.push_back(WriteSteps(service.course));
    };
    for (const Play play : kPlays) write(play);
    for (const char* text : kFaultTexts) {
        write([text](auto* service, auto* course) { RangeWith(text, service, course); });
    }
    for (const char* text : kReplyFaultTexts) {
        write([text](auto* service, auto* course) {
            course->push_back(Faults(text));
            AskForEverything(service, course);
            course->push_back(Wait(8));
        });
    }
    for (const char* text : kWorldTexts) {
        write([text](auto* service, auto* course) {
            RangeIn("tag 0x1234 1 3 0\n" + std::string(text), service, course);
        });
    }
    std::vector<std::filesystem::path> files;
    for (const auto& entry : std::filesystem::directory_iterator(scenes)) {
        files.push_back(entry.path());
    }
    std::sort(files.begin(), files.end());
    for (const auto& file : files) {
        write([&file](auto* service, auto* course) {
            RangeIn(SceneCommands(file), service, course);
        });
    }
    return seeds;
}

}  // namespace hardware::velta
