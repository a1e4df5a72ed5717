// SPDX-License-Identifier: Apache-2.0
#include "uwbctl/commands/command.h"

#include <aidl/hardware/velta/uwb/ICccController.h>
#include <aidl/hardware/velta/uwb/IFiraController.h>
#include <aidl/hardware/velta/uwb/ISimpleRangingController.h>

#include <cstdio>

#include "uwbctl/client/calibration.h"
#include "uwbctl/client/holder.h"
#include "uwbctl/client/text.h"

namespace uwbctl {
namespace {

using namespace ::aidl::hardware::velta::uwb;

template <typename T>
std::string Numbers(const std::vector<T>& values) {
    return Join(values, [](T value) { return std::to_string(value); });
}

template <typename T>
std::string Names(const std::vector<T>& values) {
    return Join(values, [](T value) { return toString(value); });
}

void Row(const char* name, const std::string& value) {
    printf("  %-18s %s\n", name, value.c_str());
}

std::string YesNo(bool value) {
    return value ? "yes" : "no";
}

void ShowFira(IUwbIface* iface) {
    std::shared_ptr<IFiraController> controller;
    Check(iface->firaController(&controller), "get the FiRa controller");
    FiraCapabilities caps;
    Check(controller->getCapabilities(&caps), "read the FiRa capabilities");
    puts("FiRa");
    int sessions = 0;
    Check(controller->getSessionCount(&sessions), "count the FiRa sessions");
    Row("channels", Numbers(caps.supportedChannels) +
                        (sessions == 0 ? "" : " (the only one while a session has it)"));
    Row("azimuth", YesNo(caps.isAzimuthSupported));
    Row("elevation", YesNo(caps.isElevationSupported));
    Row("device types", Names(caps.deviceTypes));
    Row("device roles", Names(caps.deviceRoles));
    Row("ranging", Names(caps.rangingRoundUsages));
    Row("multi-node modes", Names(caps.multiNodeModes));
    Row("frames", Names(caps.rframeConfigs));
    Row("PRF modes", Names(caps.prfModes));
    Row("preambles", Names(caps.preambleDurations));
    Row("data rates", Names(caps.psduDataRates));
    Row("BPRF PHR rates", Names(caps.bprfPhrDataRates));
    Row("FCS", Names(caps.fcsTypes));
    Row("STS", Names(caps.stsConfigs));
    Row("pulse shapes", Names(caps.pulseShapes));
    Row("hopping", Names(caps.hoppingModes));
    Row("hopping sequences", Names(caps.hoppingSequences));
}

void ShowCcc(IUwbIface* iface) {
    std::shared_ptr<ICccController> controller;
    Check(iface->cccController(&controller), "get the CCC controller");
    CccCapabilities caps;
    Check(controller->getCapabilities(&caps), "read the CCC capabilities");
    puts("CCC");
    Row("channels", Numbers(caps.supportedChannels));
    Row("protocol versions", Numbers(caps.protocolVersions));
    Row("UWB configs", Numbers(caps.uwbConfigs));
    Row("pulse shapes", Numbers(caps.pulseShapeCombinations));
    Row("RAN multiplier", std::to_string(caps.ranMultiplier));
    Row("chaps per slot", Numbers(caps.chapsPerSlot));
    Row("sync codes", Numbers(caps.syncCodes));
    Row("hopping", Numbers(caps.hoppingConfigModes));
    Row("hopping sequences", Numbers(caps.hoppingSequences));
}

void ShowSimpleRanging(IUwbIface* iface) {
    std::shared_ptr<ISimpleRangingController> controller;
    Check(iface->simpleRangingController(&controller), "get the simple ranging controller");
    SimpleRangingCapabilities caps;
    Check(controller->getCapabilities(&caps), "read the simple ranging capabilities");
    puts("simple ranging");
    Row("channels", Numbers(caps.supportedChannels));
}

ExitStatus ShowInfo(Events* events, const std::string& iface_name) {
    Client client(events);
    // What an interface can do can be read while another client has it.
    const bool is_ours = client.TryOpen();
    std::string name = iface_name;
    const std::shared_ptr<IUwbIface> iface = client.GetIface(&name);
    printf("%s\n", name.c_str());
    ShowFira(iface.get());
    ShowCcc(iface.get());
    ShowSimpleRanging(iface.get());
    puts("calibration");
    Row("in force", InForceText());
    if (!is_ours) TellHolder();
    return kDone;
}

}  // namespace

void AddInfo(CommandLine* line, CLI::App* app) {
    const auto iface = std::make_shared<std::string>();
    AddCommand(line, app, "info", "Show what an interface can do",
               "Example:\n  uwbctl info wpan0\n", iface, ShowInfo)
        ->add_option("iface", *iface, "Interface; the first one by default")
        ->type_name("IFACE");
}

}  // namespace uwbctl
