// SPDX-License-Identifier: Apache-2.0
#include "uwbctl/client/text_file.h"

#include <android-base/file.h>
#include <android-base/unique_fd.h>
#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstring>

#include "uwbctl/client/client.h"

namespace uwbctl {

std::string ReadTextFile(const std::string& path, const std::string& what) {
    constexpr size_t kMaxBytes = 16 << 20;
    const bool is_input = path == "-";
    const std::string name = is_input ? "standard input" : path;
    const android::base::unique_fd fd(is_input ? fcntl(STDIN_FILENO, F_DUPFD_CLOEXEC, 0)
                                               : open(path.c_str(), O_RDONLY | O_CLOEXEC));
    std::string text;
    std::array<char, 64 << 10> piece;
    for (;;) {
        const ssize_t size = TEMP_FAILURE_RETRY(read(fd.get(), piece.data(), piece.size()));
        if (size == 0) return text;
        if (size < 0) {
            throw Failure(kUsage, "cannot read " + (what.empty() ? "" : "the " + what) + name +
                                      ": " + strerror(errno));
        }
        text.append(piece.data(), static_cast<size_t>(size));
        if (text.size() > kMaxBytes) throw Failure(kUsage, name + ": larger than 16 MiB");
    }
}

}  // namespace uwbctl
