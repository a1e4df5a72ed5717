// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <array>
#include <cstdint>

namespace hardware::velta {

/**
 * Network interface state and addresses, by interface name (at most 15 characters) and socket
 * ioctls. Each operation uses a socket of its own and logs its own failure.
 */
class InterfaceTool {
  public:
    virtual ~InterfaceTool() = default;

    /** @return whether the interface is up; false also when its state cannot be read. */
    virtual bool GetUpState(const char* iface);

    /** Brings the interface up or down; true also when it is so already. */
    virtual bool SetUpState(const char* iface, bool up);

    /**
     * SetUpState() unless GetUpState() is up already. Taking down an interface whose state cannot
     * be read therefore succeeds.
     */
    virtual bool SetUpStateIfNecessary(const char* iface, bool up);

    /** Sets the extended address, which the kernel takes only while the interface is down. */
    virtual bool SetMacAddress(const char* iface, const std::array<uint8_t, 8>& address);

    /** @return the permanent extended address, all zero on any failure. */
    virtual std::array<uint8_t, 8> GetFactoryMacAddress(const char* iface);
};

}  // namespace hardware::velta
