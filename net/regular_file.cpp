// SPDX-License-Identifier: Apache-2.0
#include "net/regular_file.h"

#include <android-base/unique_fd.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

namespace hardware::velta {

std::optional<std::string> ReadRegularFile(const std::string& path, std::string* error) {
    // Opening a FIFO would wait for a writer.
    const android::base::unique_fd fd(open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
    struct stat status = {};
    error->clear();
    if (!fd.ok() || fstat(fd.get(), &status) != 0) return std::nullopt;
    if (!S_ISREG(status.st_mode)) {
        *error = ", not a regular file";
        return std::nullopt;
    }
    // One byte more than there is, which shows a file that grows; in the end one byte more than is
    // allowed, which shows a file that is too long.
    std::string text(std::min(static_cast<size_t>(status.st_size), kMaxConfigSize) + 1, '\0');
    size_t size = 0;
    for (;;) {
        const ssize_t count =
            TEMP_FAILURE_RETRY(read(fd.get(), text.data() + size, text.size() - size));
        if (count < 0) {
            *error = std::string(", ") + strerror(errno);
            return std::nullopt;
        }
        size += static_cast<size_t>(count);
        if (count == 0 || size > kMaxConfigSize) break;
        if (size == text.size()) text.resize(kMaxConfigSize + 1);
    }
    if (size > kMaxConfigSize) {
        *error = ", longer than " + std::to_string(kMaxConfigSize) + " bytes";
        return std::nullopt;
    }
    text.resize(size);
    return text;
}

}  // namespace hardware::velta
