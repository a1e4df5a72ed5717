// SPDX-License-Identifier: Apache-2.0
#define LOG_TAG "velta.uwb.UwbIface"

#include "hal/uwb_iface.h"

#include <android-base/logging.h>
#include <sched.h>

#include <limits>
#include <utility>

namespace hardware::velta {
namespace {

using ::ndk::ScopedAStatus;

constexpr char kSpiAffinityKey[] = "[HAL]spi_affinity";
constexpr char kKt7100SpiAffinityKey[] = "[HAL]kt7100_spi_affinity";

constexpr char kDefaultSchedulerName[] = "default";
constexpr int kRealTimePriority = 99;

// Reads a CPU number into *affinity; an absent one is none.
bool ConsumeAffinity(ConfigUtils* config, const char* key, int32_t none, int32_t* affinity) {
    const std::string text = config->ConsumeValue(key);
    long value = none;
    if (!text.empty() && !ConfigUtils::ToInt(text, value)) return false;
    if (value < std::numeric_limits<int32_t>::min() ||
        value > std::numeric_limits<int32_t>::max()) {
        return false;
    }
    *affinity = static_cast<int32_t>(value);
    return true;
}

// The result of the system call: not the errno.
int PinToCpu(uint32_t pid, int32_t cpu) {
    cpu_set_t set;
    CPU_ZERO(&set);
    CPU_SET(static_cast<size_t>(cpu), &set);  // A CPU beyond the set leaves it empty.
    return sched_setaffinity(static_cast<pid_t>(pid), sizeof(set), &set);
}

}  // namespace

UwbIface::UwbIface(std::string name, uint32_t hw_index, InterfaceTool* interface_tool,
                   McpsUtils* mcps_utils, std::shared_ptr<FiraController> fira,
                   std::shared_ptr<CccController> ccc,
                   std::shared_ptr<SimpleRangingController> simple_ranging)
    : name_(std::move(name)),
      hw_index_(hw_index),
      interface_tool_(interface_tool),
      mcps_utils_(mcps_utils),
      fira_controller_(std::move(fira)),
      ccc_controller_(std::move(ccc)),
      simple_ranging_controller_(std::move(simple_ranging)),
      spi_affinity_(kNoAffinity),
      kt7100_spi_affinity_(kNoAffinity),
      iface_cycled_(false) {
    fira_controller_->SetListener(this);
    ccc_controller_->SetListener(this);
}

UwbIface::~UwbIface() {
    WithdrawAsListener();
}

ScopedAStatus UwbIface::firaController(std::shared_ptr<IFiraController>* controller) {
    LOG(INFO) << __func__;
    *controller = fira_controller_;
    return ScopedAStatus::ok();
}

ScopedAStatus UwbIface::cccController(std::shared_ptr<ICccController>* controller) {
    LOG(INFO) << __func__;
    *controller = ccc_controller_;
    return ScopedAStatus::ok();
}

ScopedAStatus UwbIface::simpleRangingController(
    std::shared_ptr<ISimpleRangingController>* controller) {
    LOG(INFO) << __func__;
    *controller = simple_ranging_controller_;
    return ScopedAStatus::ok();
}

void UwbIface::OnPreSessionOpen(const McpsRegion& region) {
    LOG(INFO) << __func__ << " " << region.ToString();
    // Scheduler and region stay while FiRa sessions exist. CCC takes the radio in any case.
    if (region.id != kNfccCoexRegion.id && fira_controller_ != nullptr &&
        fira_controller_->SessionCount() != 0) {
        return;
    }
    if (!interface_tool_->SetUpStateIfNecessary(name_.c_str(), false)) {
        LOG(ERROR) << __func__ << ": Failed to down iface " << name_;
        return;
    }
    if (!mcps_utils_->SetRegion(hw_index_, region)) {
        LOG(ERROR) << __func__ << " : Failed to set regions";  // The blank is part of it.
    }
}

void UwbIface::OnPreSessionStart() {
    LOG(INFO) << __func__;
    if (!interface_tool_->SetUpStateIfNecessary(name_.c_str(), true)) {
        LOG(ERROR) << __func__ << ": Failed to up iface " << name_;
    }
}

void UwbIface::OnSessionChanged() {
    LOG(INFO) << __func__;
    if (ccc_controller_ != nullptr && ccc_controller_->ActiveSessionCount() > 0) return;
    if (fira_controller_ != nullptr && fira_controller_->ActiveSessionCount() > 0) return;
    if (!interface_tool_->SetUpStateIfNecessary(name_.c_str(), false)) {
        LOG(ERROR) << __func__ << ": Failed to down iface " << name_;
    }
}

void UwbIface::Setup() {
    StartKernelRealTime();
    if (!SetDefaultScheduler()) LOG(ERROR) << "Failed to set default scheduler";
}

void UwbIface::Stop() {
    LOG(INFO) << __func__;
    WithdrawAsListener();
    const std::shared_ptr<FiraController> fira = std::move(fira_controller_);
    const std::shared_ptr<CccController> ccc = std::move(ccc_controller_);
    // Clients may keep the controllers, but nothing of this client's may go on in the radio.
    if (ccc != nullptr) ccc->Abandon();
    if (simple_ranging_controller_ != nullptr) simple_ranging_controller_->Abandon();
    if (!interface_tool_->SetUpStateIfNecessary(name_.c_str(), false)) {
        LOG(ERROR) << __func__ << ": Failed to down iface " << name_;
    }
    if (fira != nullptr) fira->Abandon();  // With the interface down its sessions can be removed.
}

void UwbIface::Dump(DumpWriter* writer) const {
    writer->Value("name", name_);
    writer->Value("hardware", hw_index_);
    writer->Value("up", interface_tool_->GetUpState(name_.c_str()));
    const McpsUtils::SchedulerChoice choice = mcps_utils_->LastSet(hw_index_);
    writer->Value("scheduler_set", choice.scheduler.empty() ? "none" : choice.scheduler);
    {
        const auto regions = writer->List("regions_set");
        for (const std::string& region : choice.regions) writer->Text(region);
    }
    if (fira_controller_ != nullptr) fira_controller_->Dump(writer);
    if (ccc_controller_ != nullptr) ccc_controller_->Dump(writer);
    if (simple_ranging_controller_ != nullptr) simple_ranging_controller_->Dump(writer);
}

void UwbIface::WithdrawAsListener() {
    if (fira_controller_ != nullptr) fira_controller_->SetListener(nullptr);
    if (ccc_controller_ != nullptr) ccc_controller_->SetListener(nullptr);
}

void UwbIface::StartKernelRealTime() {
    LOG(INFO) << __func__;
    McpsUtils::SpiPids pids = {0, 0};
    if (!mcps_utils_->GetSpiPids(hw_index_, pids)) {
        LOG(ERROR) << __func__ << ": Failed to retrieve spi processes";
        return;
    }
    const sched_param param = {.sched_priority = kRealTimePriority};
    for (const uint32_t pid : {pids.spi_pid, pids.kt7100_pid}) {
        if (pid == 0) continue;
        const int result = sched_setscheduler(static_cast<pid_t>(pid), SCHED_FIFO, &param);
        if (result != 0) {
            // The same text for both threads, and the result in place of the errno.
            LOG(ERROR) << __func__ << ": Failed to change scheduler for spi, got error: " << result;
        }
    }
}

bool UwbIface::SetDefaultScheduler() {
    bool ok = false;
    const McpsHwInfo info = mcps_utils_->GetHardwareInfo(hw_index_, &ok);
    if (!ok) {
        LOG(ERROR) << __func__ << " Failed to get hardware info";  // No colon in this one.
        return false;
    }
    if (info.scheduler == kDefaultSchedulerName) return true;
    if (!interface_tool_->SetUpStateIfNecessary(name_.c_str(), false)) {
        LOG(ERROR) << __func__ << ": Failed to down iface " << name_;
        return false;
    }
    if (!mcps_utils_->SetScheduler(hw_index_, McpsScheduler::kDefault,
                                   McpsUtils::SlotDuration::kNotGiven,
                                   McpsUtils::NodeType::kNotGiven, false)) {
        LOG(ERROR) << __func__ << ": Failed to set scheduler";
        return false;
    }
    return true;
}

bool UwbIface::ConsumeProperties(ConfigUtils& config) {
    return ConsumeAffinity(&config, kSpiAffinityKey, kNoAffinity, &spi_affinity_) &&
           ConsumeAffinity(&config, kKt7100SpiAffinityKey, kNoAffinity, &kt7100_spi_affinity_);
}

void UwbIface::SetKernelAffinity() {
    McpsUtils::SpiPids pids = {0, 0};
    if (!mcps_utils_->GetSpiPids(hw_index_, pids)) {
        LOG(ERROR) << __func__ << ": Failed to retrieve spi processes";
        return;
    }
    if (spi_affinity_ != kNoAffinity && pids.spi_pid != 0) {
        const int result = PinToCpu(pids.spi_pid, spi_affinity_);
        if (result != 0) {
            // No colon in this one.
            LOG(ERROR) << __func__ << ": Failed to set spi affinity for spi, got error " << result;
        }
    }
    if (kt7100_spi_affinity_ != kNoAffinity && pids.kt7100_pid != 0) {
        const int result = PinToCpu(pids.kt7100_pid, kt7100_spi_affinity_);
        if (result != 0) {
            // "k7100", not "kt7100": log filters know it so.
            LOG(ERROR) << __func__
                       << ": Failed to set spi affinity for k7100-spi, got error: " << result;
        }
    }
}

}  // namespace hardware::velta
