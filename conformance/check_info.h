// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <utility>
#include <vector>

namespace hardware::velta::conformance {

/** What a check cannot do without; one that lacks it is not run. */
enum class Need {
    /** A FiRa controlee at the address that --peer names. */
    kPeer,
    /** A simple ranging responder at the address that --simple-peer names. */
    kSimplePeer,
    /** Peers as far away as --distance says. */
    kDistance,
    /** Another radio, which --second-interface names and which hears the first one. */
    kSecondRadio,
    /** A second channel. */
    kTwoChannels,
    /** CAP_NET_ADMIN, to ask the kernel itself. */
    kNetAdmin,
};

/** @return such as "a FiRa controlee (--peer)". */
const char* ToText(Need need);

/** What a check is for. */
struct CheckInfo {
    /** "Suite.Name", as gtest has it. */
    std::string name;
    std::vector<Need> needs;
    /** What is known of the device when it passes. */
    const char* proves;
    /** What the driver has to do for that. */
    const char* owes;
};

/** @return all checks, those of a file in their order. */
std::vector<CheckInfo>& AllChecks();
/** @return the check of this name, nullptr for none. */
const CheckInfo* FindCheck(const std::string& name);
/** @return what is to be known of a check, several lines. */
std::string Describe(const CheckInfo& check);

/** Adds a check when the program starts. */
struct CheckRegistration {
    explicit CheckRegistration(CheckInfo check) { AllChecks().push_back(std::move(check)); }
};

/** The needs of a check, for CONFORMANCE_CHECK. */
#define NEEDS(...) (std::vector<Need>{__VA_ARGS__})

/** A gtest of fixture suite, a Check, with its CheckInfo. */
#define CONFORMANCE_CHECK(suite, check, needs, proves, owes)                                       \
    /* NOLINTNEXTLINE(cert-err58-cpp) */                                                           \
    const CheckRegistration kThe##suite##check(CheckInfo{#suite "." #check, needs, proves, owes}); \
    TEST_F(suite, check)

}  // namespace hardware::velta::conformance
