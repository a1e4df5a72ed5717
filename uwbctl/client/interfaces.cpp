// SPDX-License-Identifier: Apache-2.0
#include "uwbctl/client/interfaces.h"

#include <net/if.h>
#include <net/if_arp.h>
#include <sys/ioctl.h>
#include <sys/socket.h>

#include <android-base/file.h>
#include <android-base/parseint.h>
#include <android-base/strings.h>
#include <android-base/unique_fd.h>

#include <algorithm>
#include <filesystem>

namespace uwbctl {

std::vector<std::string> Ieee802154Interfaces() {
    std::vector<std::string> names;
    std::error_code error;
    for (const auto& entry : std::filesystem::directory_iterator("/sys/class/net", error)) {
        std::string type;
        android::base::ReadFileToString(entry.path() / "type", &type);
        int number = 0;
        const bool is_number = android::base::ParseInt(android::base::Trim(type), &number);
        if (is_number && number == ARPHRD_IEEE802154) names.push_back(entry.path().filename());
    }
    std::sort(names.begin(), names.end());
    return names;
}

bool IsInterfaceUp(const std::string& name) {
    const android::base::unique_fd fd(socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0));
    ifreq request = {};
    name.copy(request.ifr_name, IFNAMSIZ - 1);
    return ioctl(fd.get(), SIOCGIFFLAGS, &request) == 0 && (request.ifr_flags & IFF_UP) != 0;
}

}  // namespace uwbctl
