// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>

namespace hardware::velta::conformance {

/** What the checks are told of the device and its surroundings. */
struct Target {
    /** The radio's interface and, for what takes two, another radio's; empty for none. */
    std::array<std::string, 2> interfaces = {"wpan0", ""};
    /** Channel of all sessions; no calibration in force may ban it. */
    int channel = 9;
    /** Short address of the FiRa controlee that is there. */
    std::optional<uint16_t> fira_peer;
    /** Extended address of the simple ranging responder that is there. */
    std::optional<uint64_t> simple_peer;
    /** How far away both are. */
    std::optional<int> distance_mm;
    /** How far the mean of several measurements may be off. */
    int tolerance_mm = 300;
    /** How long is waited for what ought to come. */
    int patience_ms = 4000;
    /** A country with calibration files. */
    std::string country = "FR";

    /**
     * Takes one option, such as "--channel=5".
     *
     * @return false when it is none of these, or not in its form.
     */
    bool Take(const std::string& option);
    /** @return the options that make this target, a blank before each. */
    std::string Options() const;
    /** One line for each option. */
    static std::string Help();
};

/** The one of this process. */
Target& TheTarget();

}  // namespace hardware::velta::conformance
