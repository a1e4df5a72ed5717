// SPDX-License-Identifier: Apache-2.0

// Files and texts of the integrator: configuration, its numbers and byte arrays, the calibration of
// a country, system properties. The first byte of the input chooses which.
#include <android-base/properties.h>
#include <android-base/strings.h>

#include <filesystem>
#include <fstream>

#include "fuzz/input_file.h"
#include "fuzz/scripted_netlink.h"
#include "hal/uwb_iface.h"
#include "host/properties_file.h"
#include "host/service_options.h"

namespace hardware::velta {
namespace {

void Require(bool holds) {
    if (!holds) abort();
}

void Numbers(const std::string& text) {
    long number = 7;
    if (ConfigUtils::ToInt(text, number)) {
        long again = 0;  // What was read is a number of its own.
        Require(ConfigUtils::ToInt(std::to_string(number), again) && again == number);
    } else {
        Require(number == 7);
    }
    unsigned long positive = 7;
    if (!ConfigUtils::ToInt(text, positive)) Require(positive == 7);
    std::vector<char> bytes;
    if (ConfigUtils::ToArray(text, bytes)) Require(bytes.size() * 3 == text.size() + 1);
}

void Configuration(const std::string& text) {
    ConfigUtils config;
    Require(config.Load(InputFile(text).path().c_str()));
    config.Dump();
    for (const auto& [key, value] : config) {
        std::string trimmed = key;
        trim(&trimmed);
        Require(trimmed == key && value.find('\n') == std::string::npos);
        Require(config.GetValue(key) == value);
        Numbers(value);
    }
    // A file of one entry is read as it was written, unless the value holds nothing at all.
    if (!config.IsEmpty()) {
        ConfigUtils one, again;
        const auto& [key, value] = *config.begin();
        one.Set(key, value);
        const InputFile file("");
        Require(one.Save(file.path().c_str()) && again.Load(file.path().c_str()));
        Require(value.empty() || again.GetValue(key) == value);
    }
}

void Properties(const std::string& text) {
    std::string error;
    const bool ok = LoadPropertiesFile(InputFile(text).path(), &error);
    Require(ok == error.empty());
    ServiceOptions options;
    error.clear();
    Require(ReadServiceOptions(&options, &error) == error.empty());
}

// The folder of the country's files, and of the one that leads to them.
const std::string& Folder() {
    static const std::string folder = [] {
        std::string name = std::filesystem::temp_directory_path() / "uwb-fuzz.XXXXXX";
        Require(mkdtemp(name.data()) != nullptr);
        android::base::SetProperty("ro.vendor.uwb.calibration.calibrationpaths", name + "/paths");
        return name;
    }();
    return folder;
}

class QuietTool : public InterfaceTool {
  public:
    bool GetUpState(const char*) override { return true; }
    bool SetUpState(const char*, bool) override { return true; }
    bool SetUpStateIfNecessary(const char*, bool) override { return true; }
};

// Country, file of paths ("@" is the folder) and the files "all" and "cal-FR", each up to a NUL.
void Country(const std::string& text) {
    constexpr uint32_t kHw = 5;
    const std::string& folder = Folder();
    std::vector<std::string> parts = android::base::Split(text, std::string(1, '\0'));
    parts.resize(4);
    const std::string paths = android::base::StringReplace(parts[1], "@", folder + "/", true);
    for (const auto& [name, content] :
         {std::pair("paths", paths), std::pair("all", parts[2]), std::pair("cal-FR", parts[3])}) {
        std::ofstream(folder + "/" + name) << content;
    }
    ScriptedNetlink& netlink = ScriptedNetlink::Get();
    netlink.Reset();
    netlink.on_request = [&netlink](nl_sock* socket, const Bytes& request) {
        const Lines replies[] = {{"8"}, {"9 10{1{1='spi_pid' 2=w7} 1{1='kt7100_pid' 2=w8}}"}};
        netlink.Queue(socket, Answer(replies[request[NLMSG_HDRLEN] == 9]));
    };
    ManualLoop loop;
    NlSocketFactory factory(&loop);
    QuietTool tool;
    McpsUtils mcps(&factory);
    IeeeUtils ieee(&factory);
    FiraRegionUtils fira(&factory);
    CccRegionUtils ccc(&factory);
    using ndk::SharedRefBase;
    const auto iface = SharedRefBase::make<UwbIface>(
        "wpan0", kHw, &tool, &mcps,
        SharedRefBase::make<FiraController>("wpan0", kHw, &ieee, &fira, &loop),
        SharedRefBase::make<CccController>("wpan0", kHw, &ieee, &ccc, &mcps),
        SharedRefBase::make<SimpleRangingController>("wpan0", kHw, &tool, &mcps, &ieee));
    iface->LoadCountryCalibrations(parts[0]);
}

}  // namespace
}  // namespace hardware::velta

extern "C" int LLVMFuzzerInitialize(int* /*argc*/, char*** /*argv*/) {
    hardware::velta::SilenceLog();
    hardware::velta::Folder();
    atexit([] { std::filesystem::remove_all(hardware::velta::Folder()); });
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    using namespace hardware::velta;
    if (size == 0) return 0;
    ChooseLog(data, size);
    constexpr void (*kReaders[])(const std::string&) = {Configuration, Numbers, Properties,
                                                        Country};
    kReaders[data[0] % std::size(kReaders)](std::string(data + 1, data + size));
    return 0;
}
