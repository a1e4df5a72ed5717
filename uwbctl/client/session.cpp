// SPDX-License-Identifier: Apache-2.0
#include "uwbctl/client/session.h"

#include <android-base/stringprintf.h>
#include <android-base/strings.h>
#include <android/binder_enums.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <limits>
#include <optional>
#include <stdexcept>
#include <type_traits>

#include "uwbctl/client/client.h"
#include "uwbctl/client/json.h"
#include "uwbctl/client/session_members.h"
#include "uwbctl/client/text.h"
#include "uwbctl/client/text_file.h"

namespace uwbctl {
namespace {

using namespace ::aidl::hardware::velta::uwb;
using ::android::base::StringPrintf;
using Json = nlohmann::ordered_json;

// More than any member of a member has.
constexpr size_t kMostNames = 4;

constexpr char kControllerAddress[] = "0x0001";
constexpr char kControleeAddress[] = "0x0002";

constexpr char kPhoneToTag[] = "phone-to-tag";
constexpr char kIndoorPositioning[] = "indoor-positioning";
constexpr char kFast[] = "fast";

Json BytesToJson(const std::vector<uint8_t>& bytes) {
    std::string text;
    constexpr char kDigits[] = "0123456789abcdef";
    for (const uint8_t byte : bytes) {
        text += text.empty() ? "" : ":";
        text += {kDigits[byte >> 4], kDigits[byte & 0xF]};
    }
    return text;
}

struct Writer {
    Json* json;

    template <typename T>
    void operator()(const char* name, T* value) const {
        (*json)[name] = Convert(value);
    }

    template <typename T>
    static Json Convert(T* value) {
        if constexpr (std::is_same_v<T, bool> || std::is_integral_v<T>) {
            return *value;
        } else if constexpr (std::is_enum_v<T>) {
            return toString(*value);
        } else if constexpr (std::is_same_v<T, UwbAddress>) {
            return AddressText(*value);
        } else if constexpr (std::is_same_v<T, std::vector<UwbAddress>>) {
            Json list = Json::array();
            for (const UwbAddress& address : *value) list.push_back(AddressText(address));
            return list;
        } else if constexpr (std::is_same_v<T, std::vector<uint8_t>>) {
            return BytesToJson(*value);
        } else {
            Json object = Json::object();
            VisitMembers(value, Writer{&object});
            return object;
        }
    }
};

// Reads a member if it is there; what is left unread in the end does not exist.
class Reader {
  public:
    Reader(Json json, std::string where) : json_(std::move(json)), where_(std::move(where)) {
        if (!json_.is_object()) throw Failure(kUsage, where_ + ": not a JSON object");
    }

    template <typename T>
    void operator()(const char* name, T* value) {
        names_.emplace_back(name);
        const auto member = json_.find(name);
        if (member == json_.end()) return;
        Read(name, where_ + ": " + name, *member, value);
        json_.erase(member);
    }

    void CheckAllRead() const {
        if (json_.empty()) return;
        const std::string& name = json_.begin().key();
        throw Failure(kUsage, where_ + ": there is no " + Shortened(name) + " in a session" +
                                  LikeText(name, names_));
    }

  private:
    [[noreturn]] static void Bad(const std::string& where, const Json& json,
                                 const std::string& expected) {
        std::string text = where + ": expected " + expected;
        // Whoever looks on is told of failures as well.
        if (!IsSecret(where.substr(where.find_last_of(". ") + 1))) {
            text += NotText(json);
        }
        throw Failure(kUsage, text);
    }

    template <typename T>
    static void Read(const char* name, const std::string& where, const Json& json, T* value) {
        if constexpr (std::is_same_v<T, bool>) {
            if (!json.is_boolean()) Bad(where, json, "true or false");
            *value = json.get<bool>();
        } else if constexpr (std::is_integral_v<T>) {
            ReadInteger(MaxOf<T>(name), where, json, value);
        } else if constexpr (std::is_enum_v<T>) {
            ReadEnum(where, json, value);
        } else if constexpr (std::is_same_v<T, UwbAddress>) {
            *value = ReadAddress(where, json);
        } else if constexpr (std::is_same_v<T, std::vector<UwbAddress>>) {
            if (!json.is_array()) Bad(where, json, "a list of addresses");
            value->clear();
            for (const auto& item : json) value->push_back(ReadAddress(where, item));
        } else if constexpr (std::is_same_v<T, std::vector<uint8_t>>) {
            const bool is_empty = json.is_string() && json.get<std::string>().empty();
            *value = is_empty ? T() : ReadAddress(where, json).address;
        } else {
            Reader members(json, where);
            VisitMembers(value, members);
            members.CheckAllRead();
        }
    }

    template <typename T>
    static void ReadInteger(int64_t maximum, const std::string& where, const Json& json, T* value) {
        using Limits = std::numeric_limits<T>;
        const std::string expected =
            "a whole number, " + std::to_string(Limits::min()) + " to " + std::to_string(maximum);
        const std::optional<int64_t> number = WholeNumber(json);
        if (!number || *number < Limits::min() || *number > maximum) Bad(where, json, expected);
        *value = static_cast<T>(*number);
    }

    template <typename T>
    static void ReadEnum(const std::string& where, const Json& json, T* value) {
        std::string names;
        for (const T candidate : ndk::enum_range<T>()) {
            if (json.is_string() && toString(candidate) == json.get<std::string>()) {
                *value = candidate;
                return;
            }
            names += (names.empty() ? "" : ", ") + toString(candidate);
        }
        Bad(where, json, "one of " + names);
    }

    static UwbAddress ReadAddress(const std::string& where, const Json& json) {
        const auto address =
            json.is_string() ? ParseAddress(json.get<std::string>()) : std::optional<UwbAddress>();
        if (!address) Bad(where, json, "bytes as \"0x1234\" or \"12:34\"");
        return *address;
    }

    Json json_;
    std::string where_;
    std::vector<std::string> names_;
};

}  // namespace

const std::vector<SessionPreset>& SessionPresets() {
    static const std::vector<SessionPreset> presets = {
        {kPhoneToTag, "channel 9, five reports a second, azimuth: finding a tag"},
        {kIndoorPositioning,
         "channel 5, a report a second, no angles, hopping: many anchors share the air"},
        {kFast, "channel 9, twenty reports a second, azimuth: gestures, debugging"},
    };
    return presets;
}

// Whatever the preset, what FiRa devices agree on when they are told nothing else: DS-TWR in
// deferred mode, BPRF set 4 (SP3 frames, preamble code 10, SFD 2), static STS.
FiraTwrSession MakeSession(const std::string& preset) {
    FiraTwrSession session;
    session.id = 42;
    session.deviceRole = DeviceRole::INITIATOR;
    session.rangingRoundUsage = RangingRoundUsage::DS_TWR;
    session.multiNodeMode = MultiNodeMode::ONE_TO_MANY;
    session.slotDurationRstu = 2400;
    session.slotsPerRangingRound = 20;
    session.rangingBlockDurationMs = 200;
    session.sessionPriority = 50;
    session.rangingRoundControl.hasResultReportPhase = true;
    session.rangingRoundControl.hasDeferredMode = true;
    session.inBandTerminationAttemptCount = 1;
    session.channelNumber = 9;
    session.preambleCodeIndex = 10;
    session.rframeConfig = RframeConfig::SP3;
    session.prfMode = PrfMode::BPRF;
    session.preambleDuration = PreambleDuration::T64_SYMBOLS;
    session.sfdId = 2;
    session.stsSegmentCount = 1;
    session.psduDataRate = PsduDataRate::RATE_6M81;
    session.bprfPhrDataRate = BprfPhrDataRate::RATE_850K;
    session.fcsType = FcsType::CRC_16;
    session.stsConfig = FiraStsConfig::STATIC;
    session.vendorId = {0x07, 0x08};
    session.staticStsIV = {0x01, 0x02, 0x03, 0x04, 0x05, 0x06};
    session.aoaResultRequest = AoaResultRequest::REQ_AOA_RESULTS;
    session.resultReportConfig = {.hasTimeOfFlightReport = true,
                                  .hasAngleOfArrivalAzimuthReport = true,
                                  .hasAngleOfArrivalElevationReport = true,
                                  .hasAngleOfArrivalFigureOfMeritReport = true};
    if (preset == kPhoneToTag) return session;
    if (preset == kIndoorPositioning) {
        session.channelNumber = 5;
        session.rangingBlockDurationMs = 1000;
        session.isHoppingEnabled = true;
        session.aoaResultRequest = AoaResultRequest::NO_AOA_REPORT;
        return session;
    }
    if (preset == kFast) {
        session.rangingBlockDurationMs = 50;
        return session;
    }
    const std::string names =
        Join(SessionPresets(), [](const SessionPreset& known) { return std::string(known.name); });
    throw Failure(kUsage, "there is no preset " + Shortened(preset) + " (presets: " + names + ")");
}

Json SessionToJson(const FiraTwrSession& session) {
    FiraTwrSession copy = session;
    return Writer::Convert(&copy);
}

void ApplyJson(const Json& json, const std::string& where, FiraTwrSession* session) {
    Reader reader(json, where);
    VisitMembers(session, reader);
    reader.CheckAllRead();
}

bool IsSecret(const std::string& member) {
    std::string lower = member;
    std::transform(lower.begin(), lower.end(), lower.begin(),
                   [](unsigned char c) { return static_cast<char>(tolower(c)); });
    // How keys are rotated is none.
    return lower == "vendorid" || lower == "staticstsiv" ||
           (lower.find("key") != lower.npos && lower.find("keyrotation") == lower.npos);
}

Json PublicSessionToJson(const FiraTwrSession& session) {
    const Json all = SessionToJson(session);
    Json known = Json::object();
    for (const auto& [name, value] : all.items()) {
        if (!IsSecret(name)) known[name] = value;
    }
    return known;
}

void ApplySessionFile(const std::string& path, FiraTwrSession* session) {
    const std::string text = ReadTextFile(path, "session file ");
    const std::string name = path == "-" ? "standard input" : path;
    Json json;
    try {
        json = ParseUniqueJson(text);
    } catch (const std::runtime_error& error) {
        throw Failure(kUsage, name + ": " + error.what());
    }
    ApplyJson(json, name, session);
}

void ApplySetting(const std::string& setting, FiraTwrSession* session) {
    const size_t equals = setting.find('=');
    if (equals == std::string::npos || equals == 0) {
        throw Failure(kUsage, "--set: expected NAME=VALUE, not " + Shortened(setting));
    }
    const std::string text = setting.substr(equals + 1);
    Json value = text;
    try {
        value = ParseUniqueJson(text);
    } catch (const std::runtime_error&) {
        // A text without quotes.
    }
    std::vector<std::string> names = android::base::Split(setting.substr(0, equals), ".");
    if (names.size() > kMostNames) {
        throw Failure(kUsage, "--set: no member lies so deep: " + Shortened(setting));
    }
    for (; !names.empty(); names.pop_back()) value = Json{{names.back(), Json(value)}};
    ApplyJson(value, "--set " + Shortened(setting), session);
}

int64_t BlockStride(const FiraTwrSession& session) {
    return session.isBlockStridingEnabled ? int64_t{session.blockStridingValue} + 1 : 1;
}

std::chrono::milliseconds ReportPatience(const FiraTwrSession& session) {
    constexpr int kBlocks = 10;
    constexpr std::chrono::milliseconds kExtra{1000};
    return std::chrono::milliseconds(session.rangingBlockDurationMs) *
               (kBlocks * BlockStride(session)) +
           std::chrono::milliseconds(session.initiationTimeMs) + kExtra;
}

std::string TimingHint(const FiraTwrSession& session) {
    constexpr double kRstuPerMillisecond = 1200;
    const double slot_ms = session.slotDurationRstu / kRstuPerMillisecond;
    const double round_ms = slot_ms * session.slotsPerRangingRound;
    if (round_ms <= session.rangingBlockDurationMs) return "";
    return StringPrintf(
        "\n  a round of %d slots of %.3g ms takes %.4g ms, longer than its block of %d ms: it "
        "needs a longer block, or fewer or shorter slots (rangingBlockDurationMs, "
        "slotsPerRangingRound, slotDurationRstu)",
        session.slotsPerRangingRound, slot_ms, round_ms, session.rangingBlockDurationMs);
}

void FillDeviceAddress(FiraTwrSession* session) {
    if (!session->deviceAddress.address.empty()) return;
    const bool is_controlee = session->deviceType == DeviceType::CONTROLEE;
    session->deviceAddress =
        ParsePeers({is_controlee ? kControleeAddress : kControllerAddress}).front();
}

std::vector<UwbAddress> ParsePeers(const std::vector<std::string>& peers) {
    std::vector<UwbAddress> addresses;
    for (const std::string& text : peers) {
        const auto address = ParseAddress(text);
        if (!address || address->address.size() != kShortAddressSize) {
            throw Failure(kUsage, "not a short address: " + Shortened(text) +
                                      " (expected two bytes as 0x1234 or 12:34)");
        }
        addresses.push_back(*address);
    }
    return addresses;
}

}  // namespace uwbctl
