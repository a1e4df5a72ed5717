// SPDX-License-Identifier: Apache-2.0
#include "conformance/target.h"

#include <android-base/parseint.h>
#include <android-base/stringprintf.h>

namespace hardware::velta::conformance {
namespace {

using ::android::base::ParseInt;
using ::android::base::ParseUint;
using ::android::base::StringPrintf;

constexpr int kMaxChannel = 15;
constexpr int kMaxPatienceMs = 600'000;
constexpr int kMaxDistanceMm = 1'000'000;

// An option: what is behind its name, how to take a value and how to give it back.
struct Option {
    const char* name;
    const char* help;
    bool (*take)(const std::string& value, Target* target);
    std::string (*give)(const Target& target);
};

template <typename T>
bool TakeUint(const std::string& value, std::optional<T>* number) {
    T taken = 0;
    if (!ParseUint(value, &taken)) return false;
    *number = taken;
    return true;
}

template <typename T>
std::string GiveHex(const std::optional<T>& number) {
    return number ? StringPrintf("0x%llx", static_cast<unsigned long long>(*number)) : "";
}

constexpr Option kOptions[] = {
    {"interface", "IFACE        the radio's interface (wpan0)",
     [](const std::string& value, Target* target) {
         target->interfaces[0] = value;
         return !value.empty();
     },
     [](const Target& target) { return target.interfaces[0]; }},
    {"second-interface", "IFACE that of another radio of this device, which hears the first one",
     [](const std::string& value, Target* target) {
         target->interfaces[1] = value;
         return !value.empty();
     },
     [](const Target& target) { return target.interfaces[1]; }},
    {"channel", "NUMBER         of all sessions (9)",
     [](const std::string& value, Target* target) {
         return ParseInt(value, &target->channel, 0, kMaxChannel);
     },
     [](const Target& target) { return std::to_string(target.channel); }},
    {"peer", "ADDRESS           short address of a FiRa controlee that is there, such as 0x1234",
     [](const std::string& value, Target* target) { return TakeUint(value, &target->fira_peer); },
     [](const Target& target) { return GiveHex(target.fira_peer); }},
    {"simple-peer", "ADDRESS    extended address of a simple ranging responder that is there",
     [](const std::string& value, Target* target) { return TakeUint(value, &target->simple_peer); },
     [](const Target& target) { return GiveHex(target.simple_peer); }},
    {"distance", "MM            how far away the peers are",
     [](const std::string& value, Target* target) {
         int distance = 0;
         if (!ParseInt(value, &distance, 0, kMaxDistanceMm)) return false;
         target->distance_mm = distance;
         return true;
     },
     [](const Target& target) {
         return target.distance_mm ? std::to_string(*target.distance_mm) : "";
     }},
    {"tolerance", "MM           how far the mean distance may be off (300)",
     [](const std::string& value, Target* target) {
         return ParseInt(value, &target->tolerance_mm, 1, kMaxDistanceMm);
     },
     [](const Target& target) { return std::to_string(target.tolerance_mm); }},
    {"patience", "MS            how long is waited for what ought to come (4000)",
     [](const std::string& value, Target* target) {
         return ParseInt(value, &target->patience_ms, 1, kMaxPatienceMs);
     },
     [](const Target& target) { return std::to_string(target.patience_ms); }},
    {"country", "CODE           a country with calibration files that allows the channel (FR)",
     [](const std::string& value, Target* target) {
         target->country = value;
         return value.size() == 2;
     },
     [](const Target& target) { return target.country; }},
};

}  // namespace

bool Target::Take(const std::string& option) {
    for (const Option& it : kOptions) {
        const std::string prefix = StringPrintf("--%s=", it.name);
        if (option.starts_with(prefix)) return it.take(option.substr(prefix.size()), this);
    }
    return false;
}

std::string Target::Options() const {
    std::string text;
    for (const Option& it : kOptions) {
        const std::string value = it.give(*this);
        if (!value.empty()) text += StringPrintf(" --%s=%s", it.name, value.c_str());
    }
    return text;
}

std::string Target::Help() {
    std::string text;
    for (const Option& it : kOptions) text += StringPrintf("  --%s=%s\n", it.name, it.help);
    return text;
}

Target& TheTarget() {
    static Target target;
    return target;
}

}  // namespace hardware::velta::conformance
