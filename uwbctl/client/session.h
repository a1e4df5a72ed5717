// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <aidl/hardware/velta/uwb/FiraTwrSession.h>

#include <chrono>
#include <cstdint>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

namespace uwbctl {

using FiraTwrSession = ::aidl::hardware::velta::uwb::FiraTwrSession;

/** A session to start from. */
struct SessionPreset {
    const char* name;
    const char* description;
};

/** The presets, the default one first. */
const std::vector<SessionPreset>& SessionPresets();

/** @return the session of a preset, without peers; throws a Failure when there is none. */
FiraTwrSession MakeSession(const std::string& preset);

/**
 * @return the session with its members by name: enumerations by their names, addresses as "0x1234",
 *         bytes as "01:02".
 */
nlohmann::ordered_json SessionToJson(const FiraTwrSession& session);

/**
 * Overwrites the members that json has. Throws a Failure that names a member that does not exist or
 * has a wrong value.
 *
 * @param where what to name json by, such as a file's name.
 */
void ApplyJson(const nlohmann::ordered_json& json, const std::string& where,
               FiraTwrSession* session);

/**
 * @return whether a member says how the air is ciphered. Whoever knows it could range in a peer's
 *         place, so it goes neither into a recording nor onto a page.
 */
bool IsSecret(const std::string& member);

/** SessionToJson() without the members that are secret: what may be kept and shown. */
nlohmann::ordered_json PublicSessionToJson(const FiraTwrSession& session);

/** ApplyJson() of a file's contents, "-" for standard input; throws a Failure that names the file.
 */
void ApplySessionFile(const std::string& path, FiraTwrSession* session);

/**
 * Sets one member from "NAME=VALUE"; members of members are "NAME.NAME". The value is JSON, or a
 * text that needs no quotes.
 */
void ApplySetting(const std::string& setting, FiraTwrSession* session);

/** @return how many blocks there are from one report to the next, 1 without block striding. */
int64_t BlockStride(const FiraTwrSession& session);

/** @return how long a session may go without a report: ten of them, and some time to begin. */
std::chrono::milliseconds ReportPatience(const FiraTwrSession& session);

/** @return what is impossible about a session's timing, as a line of its own; empty for nothing. */
std::string TimingHint(const FiraTwrSession& session);

/** Gives this device the usual short address of its role, unless it has one. */
void FillDeviceAddress(FiraTwrSession* session);

/** @return the short addresses of texts such as "0x1234"; throws a Failure that names a bad one. */
std::vector<::aidl::hardware::velta::uwb::UwbAddress> ParsePeers(
    const std::vector<std::string>& peers);

}  // namespace uwbctl
