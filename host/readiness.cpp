// SPDX-License-Identifier: Apache-2.0
#define LOG_TAG "velta.uwb.main"

#include "host/readiness.h"

#include <android-base/logging.h>
#include <android-base/unique_fd.h>
#include <sys/socket.h>
#include <sys/un.h>

#include <algorithm>
#include <cstddef>
#include <cstdlib>
#include <string_view>

namespace hardware::velta {

void TellSupervisorReady() {
    const char* name = getenv("NOTIFY_SOCKET");
    if (name == nullptr) return;
    const std::string_view path = name;
    sockaddr_un address = {.sun_family = AF_UNIX, .sun_path = {}};
    if (path.empty() || path.size() >= sizeof(address.sun_path)) {
        LOG(WARNING) << "NOTIFY_SOCKET is no socket: " << path;
        return;
    }
    std::copy(path.begin(), path.end(), address.sun_path);
    // A name of the abstract kind begins with a zero byte, written as "@".
    if (address.sun_path[0] == '@') address.sun_path[0] = '\0';

    const android::base::unique_fd fd(socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0));
    char text[] = "READY=1";
    iovec data = {.iov_base = text, .iov_len = sizeof(text) - 1};
    msghdr message = {};
    message.msg_name = &address;
    message.msg_namelen = offsetof(sockaddr_un, sun_path) + path.size();
    message.msg_iov = &data;
    message.msg_iovlen = 1;
    // As libnl sends: one system call less that the service needs to be allowed.
    if (!fd.ok() || sendmsg(fd.get(), &message, MSG_NOSIGNAL) < 0) {
        PLOG(WARNING) << "Cannot tell " << path << " that the service is ready";
    }
}

}  // namespace hardware::velta
