// SPDX-License-Identifier: Apache-2.0
#define LOG_TAG "velta.uwb.InterfaceTool"

#include "net/interface_tool.h"

#include <android-base/logging.h>
#include <android-base/unique_fd.h>
#include <linux/ethtool.h>
#include <linux/sockios.h>
#include <net/if.h>
#include <net/if_arp.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>

#if defined(__has_feature)
#if __has_feature(address_sanitizer)
#include <sanitizer/lsan_interface.h>
#define UWB_EXPECT_LEAK(pointer) __lsan_ignore_object(pointer)
#endif
#endif
#ifndef UWB_EXPECT_LEAK
#define UWB_EXPECT_LEAK(pointer) ((void)(pointer))
#endif

namespace hardware::velta {
namespace {

using android::base::unique_fd;

// linux/if_arp.h, which does not go together with net/if_arp.h.
constexpr sa_family_t kArpHardwareIeee802154 = 804;

unique_fd OpenSocket() {
    return unique_fd(socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0));
}

bool Ioctl(int fd, unsigned long request, ifreq* argument) {
    return TEMP_FAILURE_RETRY(ioctl(fd, request, argument)) == 0;
}

// Fills *request with the interface's name and flags.
bool GetIfState(const char* iface, int fd, ifreq* request) {
    memset(request, 0, sizeof(*request));  // All of its unions.
    strncpy(request->ifr_name, iface, IFNAMSIZ);
    if (request->ifr_name[IFNAMSIZ - 1] != '\0') {
        LOG(ERROR) << "Interface name is too long: " << iface;
        return false;
    }
    if (!Ioctl(fd, SIOCGIFFLAGS, request)) {
        LOG(ERROR) << "Could not read interface state for " << iface << " (" << strerror(errno)
                   << ")";
        return false;
    }
    return true;
}

}  // namespace

bool InterfaceTool::GetUpState(const char* iface) {
    const unique_fd fd = OpenSocket();
    if (fd.get() < 0) {
        LOG(ERROR) << "Failed to open socket to set up/down state (" << strerror(errno) << ")";
        return false;
    }
    ifreq request;
    return GetIfState(iface, fd.get(), &request) && (request.ifr_flags & IFF_UP) != 0;
}

bool InterfaceTool::SetUpState(const char* iface, bool up) {
    const unique_fd fd = OpenSocket();
    if (fd.get() < 0) {
        LOG(ERROR) << "Failed to open socket to set up/down state (" << strerror(errno) << ")";
        return false;
    }
    ifreq request;
    if (!GetIfState(iface, fd.get(), &request)) return false;
    if (((request.ifr_flags & IFF_UP) != 0) == up) return true;
    request.ifr_flags = static_cast<short>(request.ifr_flags ^ IFF_UP);
    if (!Ioctl(fd.get(), SIOCSIFFLAGS, &request)) {
        LOG(ERROR) << "Could not set interface flags for " << iface << " (" << strerror(errno)
                   << ")";
        return false;
    }
    return true;
}

bool InterfaceTool::SetUpStateIfNecessary(const char* iface, bool up) {
    // A state that cannot be read counts as down, so that a radio that is gone can be "taken down".
    return GetUpState(iface) == up || SetUpState(iface, up);
}

bool InterfaceTool::SetMacAddress(const char* iface, const std::array<uint8_t, 8>& address) {
    const unique_fd fd = OpenSocket();
    if (fd.get() < 0) {
        LOG(ERROR) << "Failed to open socket to set MAC address (" << strerror(errno) << ")";
        return false;
    }
    ifreq request;
    if (!GetIfState(iface, fd.get(), &request)) return false;
    request.ifr_hwaddr = {};
    request.ifr_hwaddr.sa_family = kArpHardwareIeee802154;
    memcpy(request.ifr_hwaddr.sa_data, address.data(), address.size());
    if (!Ioctl(fd.get(), SIOCSIFHWADDR, &request)) {
        LOG(ERROR) << "Could not set interface MAC address for " << iface << " (" << strerror(errno)
                   << ")";
        return false;
    }
    return true;
}

std::array<uint8_t, 8> InterfaceTool::GetFactoryMacAddress(const char* iface) {
    std::array<uint8_t, 8> address = {};
    const unique_fd fd = OpenSocket();
    if (fd.get() < 0) {
        LOG(ERROR) << "Failed to open socket to get factory MAC address (" << strerror(errno)
                   << ")";
        return address;
    }
    ifreq request;
    if (!GetIfState(iface, fd.get(), &request)) return address;
    auto* permanent =
        static_cast<ethtool_perm_addr*>(malloc(sizeof(ethtool_perm_addr) + address.size()));
    if (permanent == nullptr) {
        LOG(ERROR) << "Failed to set memory for mac address (" << strerror(errno) << ")";
        return address;
    }
    // Never freed on purpose: 16 bytes for each of a few calls in the life of the process.
    UWB_EXPECT_LEAK(permanent);
    permanent->cmd = ETHTOOL_GPERMADDR;
    permanent->size = static_cast<uint32_t>(address.size());
    request.ifr_data = reinterpret_cast<char*>(permanent);
    if (!Ioctl(fd.get(), SIOCETHTOOL, &request)) {
        LOG(ERROR) << "Could not get factory address MAC for " << iface << " (" << strerror(errno)
                   << ")";
        return address;
    }
    if (permanent->size == address.size()) {
        memcpy(address.data(), permanent->data, address.size());
    }
    return address;
}

}  // namespace hardware::velta
