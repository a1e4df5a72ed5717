// SPDX-License-Identifier: Apache-2.0

// Uwb: what it tells whoever looks for a fault.
#define LOG_TAG "velta.Uwb"

#include <android-base/logging.h>
#include <sys/utsname.h>
#include <unistd.h>

#include <ctime>
#include <string_view>

#include "hal/ipc_utils.h"
#include "hal/uwb.h"

namespace hardware::velta {
namespace {

constexpr char kHelp[] =
    "UWB service. Arguments:\n"
    "  (none)   its state as text\n"
    "  --json   the same as one line of JSON\n"
    "  --help   this text\n"
    "There are names, states and counts in it, but no addresses, distances or session keys;\n"
    "values of calibration only where one of the last errors names what it could not read.\n";

// As in the log, with the year.
std::string LocalTime(std::chrono::system_clock::time_point when) {
    const time_t seconds = std::chrono::system_clock::to_time_t(when);
    tm parts = {};
    localtime_r(&seconds, &parts);
    char text[sizeof("2000-12-31 23:59:59")] = {};
    strftime(text, sizeof(text), "%Y-%m-%d %H:%M:%S", &parts);
    return text;
}

void DumpNotifications(DumpWriter* writer, const char* name, const NotificationCounters& counters) {
    const auto section = writer->Section(name);
    writer->Value("delivered", counters.delivered);
    writer->Value("dropped", counters.dropped);
    writer->Value("overflows", counters.overflows);
}

}  // namespace

binder_status_t Uwb::dump(int fd, const char** args, uint32_t num_args) {
    LOG(INFO) << __func__;
    DumpWriter::Format format = DumpWriter::Format::kText;
    for (uint32_t i = 0; i < num_args; i++) {
        const std::string_view arg = args[i];
        const bool is_help = arg == "--help" || arg == "-h";
        if (arg == "--json") {
            format = DumpWriter::Format::kJson;
        } else if (is_help || arg != "-a") {
            const std::string text = is_help ? kHelp : std::string("Unknown argument.\n") + kHelp;
            const bool is_fine = dump_delivery_.Deliver(fd, text) && is_help;
            return is_fine ? STATUS_OK : STATUS_BAD_VALUE;
        }
    }
    return dump_delivery_.Deliver(fd, DumpText(format)) ? STATUS_OK : STATUS_BAD_VALUE;
}

std::string Uwb::DumpText(DumpWriter::Format format) const {
    DumpWriter writer(format);
    {
        const auto section = writer.Section("service");
        writer.Value("interface", std::string(descriptor) + " " + std::to_string(version));
        writer.Value("interface_hash", hash);
        if (diagnostics_ != nullptr) {
            for (const auto& [name, value] : diagnostics_->about) writer.Value(name, value);
        }
        utsname system = {};
        uname(&system);
        writer.Value("kernel", std::string(system.release) + " " + system.machine);
        writer.Value("pid", getpid());
        writer.Age("up_s", started_);
    }
    writer.Value("open", IsHeld());
    if (IsHeld()) {
        const auto section = writer.Section("client");
        writer.Value("pid", holder_.pid);
        writer.Value("uid", holder_.uid);
        writer.Age("age_s", holder_.since);
    }
    {
        const auto list = writer.List("hardware");
        for (const McpsHwInfo& info : hardware_) {
            const auto item = writer.Item();
            writer.Value("index", info.hw_index);
            writer.Value("phy", info.phy_index);
            writer.Value("scheduler_found", info.scheduler);
        }
    }
    {
        const auto list = writer.List("interfaces");
        for (const auto& [name, iface] : ifaces_) {
            const auto item = writer.Item();
            iface->Dump(&writer);
        }
    }
    {
        const auto list = writer.List("calibrations");
        for (const auto& [name, calibration] : calibrations_) {
            const auto item = writer.Item();
            writer.Value("interface", name);
            writer.Value("country", calibration.country);
            writer.Value("complete", calibration.is_complete);
            writer.Age("age_s", calibration.applied);
            const auto keys = writer.List("keys");
            for (const std::string& key : calibration.keys) writer.Text(key);
        }
    }
    DumpCounters(&writer);
    DumpErrors(&writer);
    return writer.Finish();
}

void Uwb::DumpCounters(DumpWriter* writer) const {
    {
        const auto section = writer->Section("requests");
        const RequestCounters requests = mcps_utils_->request_counters();
        writer->Value("sent", requests.sent);
        writer->Value("refused", requests.refused);
        writer->Value("unanswered", requests.unanswered);
        writer->Value("not_sent", requests.not_sent);
    }
    {
        const auto section = writer->Section("notifications");
        DumpNotifications(writer, "fira", fira_region_utils_->counters());
        DumpNotifications(writer, "ccc", ccc_region_utils_->counters());
        DumpNotifications(writer, "simple_ranging", mcps_utils_->result_counters());
    }
    writer->Value("calls_refused", ErrorCount());
}

void Uwb::DumpErrors(DumpWriter* writer) const {
    if (diagnostics_ == nullptr) return;
    writer->Value("errors_logged", diagnostics_->errors.total());
    const auto list = writer->List("last_errors");
    for (const RecentErrors::Entry& entry : diagnostics_->errors.entries()) {
        const auto item = writer->Item();
        writer->Value("time", LocalTime(entry.when));
        writer->Value("severity", std::string(1, entry.severity));
        writer->Value("tag", entry.tag);
        writer->Value("text", entry.text);
        writer->Value("count", entry.count);
    }
}

}  // namespace hardware::velta
